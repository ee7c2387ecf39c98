#pragma once
#include "frame/CvFileIOFactory.h"
#include "host/Plugin.h"

namespace CvWrappers {

// The plug-in object that the host gets from hcPluginInstance. It owns the
// resources and is the file service of all container code.
class DeviceDriver : public HcDeviceDriverBase, public CvFileIOFactory {
public:
    DeviceDriver();
    ~DeviceDriver() override;

    bool postLoadInitialization() override;
    void preUnloadDeinitialization() override;

    bool isSupportedPath(const std::wstring& path) const override;
    Ptr<iFile> open(const wchar_t* path, unsigned access, iFile::eOpenBehaviour behaviour, iFile::eShareMode share,
                    unsigned flags) const override;
    bool exists(const wchar_t* path) const override;
    bool deleteFile(const wchar_t* path) const override;
    Ptr<iDiskDrive> openDrive(const wchar_t* path) const override;
    uint64_t getSize(const wchar_t* path) const override;

    bool initialised() const { return m_initialised; }

private:
    bool m_initialised = false;
};

} // namespace CvWrappers
