#include "tools/PluginHost.h"

#include <cstdio>
#include <dlfcn.h>

#include "frame/Utf8.h"
#include "host/Log.h"
#include "tools/PluginLog.h"

namespace {
using EntryPoint = bool (*)(HcPluginBase*&);
}

bool PluginHost::load(const std::string& libraryPath)
{
    m_library = ::dlopen(libraryPath.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!m_library) {
        const char* reason = ::dlerror();
        m_error = reason ? reason : "cannot load " + libraryPath;
        return false;
    }
    auto entry = reinterpret_cast<EntryPoint>(::dlsym(m_library, "hcPluginInstance"));
    if (!entry) {
        m_error = libraryPath + " has no hcPluginInstance";
        return false;
    }
    HcPluginBase* plugin = nullptr;
    entry(plugin);
    if (!plugin) {
        m_error = "hcPluginInstance gave no plug-in object";
        return false;
    }
    m_plugin = plugin;
    if (!m_plugin->postLoadInitialization()) {
        m_error = "the plug-in failed to initialise";
        return false;
    }
    m_plugin->postEnumerationInitialization();
    return true;
}

Hc::FileReaderResource* PluginHost::fileReader() const
{
    if (!m_plugin)
        return nullptr;
    for (HcComponentBase* resource : m_plugin->resources())
        if (Hc::FileReaderResource* reader = resource->asFileReader())
            return reader;
    return nullptr;
}

PluginHost::~PluginHost()
{
    if (m_plugin)
        m_plugin->preUnloadDeinitialization();
    if (m_library)
        ::dlclose(m_library);
}

std::unique_ptr<FileReadInstance> openLikeTheEditor(Hc::FileReaderResource& resource, const std::wstring& path,
                                                    std::string* refusal)
{
    PluginLogCapture picturesAndSound;
    std::unique_ptr<FileReadInstance> file(resource.openFile(path, 0, OpenVideoAndAudio));
    if (file) {
        picturesAndSound.passOn();
        return file;
    }
    // A file of sound alone is refused for pictures first; that refusal is
    // no news when the second open takes it.
    const std::string reason = picturesAndSound.take();
    PluginLogCapture soundAlone;
    file.reset(resource.openFile(path, 0, OpenAudio));
    if (file) {
        soundAlone.passOn();
        return file;
    }
    if (refusal)
        *refusal = reason;
    else if (!reason.empty())
        Log("%s", reason.c_str());
    return nullptr;
}

std::unique_ptr<FileReadInstance> openClip(Hc::FileReaderResource& resource, const std::wstring& path)
{
    std::string refusal;
    std::unique_ptr<FileReadInstance> file = openLikeTheEditor(resource, path, &refusal);
    if (file && file->containerReader())
        return file;
    std::string name;
    Corvidane::toUtf8(path, name);
    std::fprintf(stderr, "cvtool: %s: the plug-in can't open this file%s\n", name.c_str(), refusal.empty() ? "" : ":");
    // The plug-in's lines, indented under ours.
    for (size_t start = 0; start < refusal.size();) {
        size_t end = refusal.find('\n', start);
        end = end == std::string::npos ? refusal.size() : end;
        std::fprintf(stderr, "  %s\n", refusal.substr(start, end - start).c_str());
        start = end + 1;
    }
    return nullptr;
}
