#pragma once
#include "frame/DeviceDriver.h"

// Makes a driver the file service of the container code of this process for
// the object's lifetime: for the commands that use the container code
// directly instead of through the loaded plug-in.
class DriverRegistration {
public:
    DriverRegistration() { CvFileIOFactoryProvider::instance().registerCvFileIOFactory(&m_driver); }
    ~DriverRegistration() { CvFileIOFactoryProvider::instance().unregisterCvFileIOFactory(&m_driver); }
    DriverRegistration(const DriverRegistration&) = delete;
    DriverRegistration& operator=(const DriverRegistration&) = delete;

private:
    CvWrappers::DeviceDriver m_driver;
};
