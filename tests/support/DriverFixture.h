#pragma once
#include <gtest/gtest.h>

#include "frame/DeviceDriver.h"

// Registers a driver as the file service of the container code, as the
// plug-in does when it loads, and unregisters it afterwards.
class DriverFixture : public ::testing::Test {
protected:
    void SetUp() override
    {
        auto& provider = CvFileIOFactoryProvider::instance();
        provider.registerCvFileIOFactory(&m_factory);
    }
    void TearDown() override { CvFileIOFactoryProvider::instance().unregisterCvFileIOFactory(&m_factory); }

    // The driver without its resources: only its file service is wanted.
    CvWrappers::DeviceDriver m_factory;
};
