#include "host/OS.h"

HcOS::HcOS() : m_files(makePosixFileService()) {}

void HcOS::setFileService(std::shared_ptr<iFileService> service)
{
    m_files = service ? std::move(service) : makePosixFileService();
}

HcOS& OS()
{
    static HcOS os;
    return os;
}
