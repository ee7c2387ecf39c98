#pragma once
#include <string>
#include <vector>

namespace Hc {
class FileReaderResource;
class FileWriterResource;
}

// A resource that a plug-in offers the host: a reader or a writer of files.
class HcComponentBase {
public:
    virtual ~HcComponentBase() = default;
    virtual std::string resourceName() const = 0;
    // Four letters, such as "CVRD".
    virtual std::string resourceCode() const = 0;
    // The host asks a resource what it is instead of casting across the library boundary.
    virtual Hc::FileReaderResource* asFileReader() { return nullptr; }
    virtual Hc::FileWriterResource* asFileWriter() { return nullptr; }
};

// What the host keeps of a loaded plug-in: its name, version and resources.
class HcPluginBase {
public:
    HcPluginBase(std::string name, std::string version)
        : m_name(std::move(name)), m_version(std::move(version)) {}
    virtual ~HcPluginBase() { closedown(); }
    HcPluginBase(const HcPluginBase&) = delete;
    HcPluginBase& operator=(const HcPluginBase&) = delete;

    virtual bool postLoadInitialization() = 0;
    virtual void postEnumerationInitialization() {}
    virtual void preUnloadDeinitialization() = 0;

    const std::string& name() const { return m_name; }
    const std::string& version() const { return m_version; }
    const std::vector<HcComponentBase*>& resources() const { return m_resources; }

protected:
    void addResource(HcComponentBase* resource) { m_resources.push_back(resource); }
    // Releases the resources, last created first.
    void closedown()
    {
        while (!m_resources.empty()) {
            delete m_resources.back();
            m_resources.pop_back();
        }
    }

private:
    std::string m_name;
    std::string m_version;
    std::vector<HcComponentBase*> m_resources;
};

class HcDeviceDriverBase : public HcPluginBase {
public:
    using HcPluginBase::HcPluginBase;
};
