#pragma once
#include <memory>
#include <string>

#include "host/FileReaderResource.h"
#include "host/Plugin.h"

// Loads the plug-in library as the editor does: finds hcPluginInstance, runs
// the initialisation, and unloads it again on destruction.
class PluginHost {
public:
    PluginHost() = default;
    ~PluginHost();
    PluginHost(const PluginHost&) = delete;
    PluginHost& operator=(const PluginHost&) = delete;

    // False with error() set when the library or its entry can't be had.
    bool load(const std::string& libraryPath);
    HcPluginBase& plugin() const { return *m_plugin; }
    // The first resource that reads files, or null.
    Hc::FileReaderResource* fileReader() const;
    const std::string& error() const { return m_error; }

private:
    void* m_library = nullptr;
    HcPluginBase* m_plugin = nullptr;
    std::string m_error;
};

// Opens a file as the editor opens a clip: for its pictures and sound, or,
// when it has no pictures to give, for its sound alone. Null when neither;
// then what the plug-in logged of the first attempt goes to `refusal` when
// one is given, else to the log, once.
std::unique_ptr<FileReadInstance> openLikeTheEditor(Hc::FileReaderResource& resource, const std::wstring& path,
                                                    std::string* refusal = nullptr);

// openLikeTheEditor for a command that reads the file: when the plug-in
// refuses it, says so on standard error, the plug-in's own account after.
std::unique_ptr<FileReadInstance> openClip(Hc::FileReaderResource& resource, const std::wstring& path);
