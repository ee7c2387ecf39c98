#include "tools/PluginHost.h"

#include <dlfcn.h>

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

std::unique_ptr<FileReadInstance> openLikeTheEditor(Hc::FileReaderResource& resource, const std::wstring& path)
{
    std::unique_ptr<FileReadInstance> file(resource.openFile(path, 0, OpenVideoAndAudio));
    if (!file)
        file.reset(resource.openFile(path, 0, OpenAudio));
    return file;
}
