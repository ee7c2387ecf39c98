#include "frame/DeviceDriver.h"

#include <cerrno>
#include <climits>

#include "front/read/FileReader.h"
#include "front/write/FileWriters.h"
#include "frame/Utf8.h"
#include "host/Config.h"
#include "host/OS.h"

namespace CvWrappers {

namespace {

// Read once when the library loads. At 1 the host's own AVI writer takes over
// and this plug-in doesn't offer one.
const int useFFmpegAVI = config_int("useFFmpegAVI", 0, INT_MIN, INT_MAX);

// The host's file service takes UTF-8 paths.
bool hostPath(const wchar_t* path, std::string& out)
{
    if (path && Corvidane::toUtf8(path, out))
        return true;
    errno = path ? EILSEQ : EINVAL;
    return false;
}

} // namespace

DeviceDriver::DeviceDriver() : HcDeviceDriverBase("Halcyonics CvWrappers", "17.1.0.149111") {}

// The driver dies among the library's exit handlers, after the provider it
// registered with may already have gone, so it leaves the provider alone.
DeviceDriver::~DeviceDriver() = default;

bool DeviceDriver::postLoadInitialization()
{
    if (m_initialised)
        return true;
    auto& provider = CvFileIOFactoryProvider::instance();
    provider.unregisterCvFileIOFactory(this);
    provider.registerCvFileIOFactory(this);
    addResource(new CvWrappers::FileReader());
    if (useFFmpegAVI != 1)
        addResource(new avi::FileWriter());
    addResource(new mxf::FileWriter());
    addResource(new qt::FileWriter());
    m_initialised = true;
    return true;
}

void DeviceDriver::preUnloadDeinitialization()
{
    if (!m_initialised)
        return;
    m_initialised = false;
    try {
        closedown();
    } catch (...) {
        // Unloading never fails.
    }
}

bool DeviceDriver::isSupportedPath(const std::wstring&) const { return true; }

Ptr<iFile> DeviceDriver::open(const wchar_t* path, unsigned access, iFile::eOpenBehaviour behaviour,
                              iFile::eShareMode share, unsigned flags) const
{
    std::string narrow;
    if (!hostPath(path, narrow))
        return nullptr;
    return OS().fileService().open(narrow, access, behaviour, share, flags);
}

bool DeviceDriver::exists(const wchar_t* path) const
{
    std::string narrow;
    return hostPath(path, narrow) && OS().fileService().exists(narrow);
}

bool DeviceDriver::deleteFile(const wchar_t* path) const
{
    std::string narrow;
    return hostPath(path, narrow) && OS().fileService().deleteFile(narrow);
}

Ptr<iDiskDrive> DeviceDriver::openDrive(const wchar_t* path) const
{
    std::string narrow;
    return hostPath(path, narrow) ? OS().fileService().openDrive(narrow) : nullptr;
}

uint64_t DeviceDriver::getSize(const wchar_t* path) const
{
    std::string narrow;
    return hostPath(path, narrow) ? OS().fileService().getSize(narrow) : 0;
}

} // namespace CvWrappers
