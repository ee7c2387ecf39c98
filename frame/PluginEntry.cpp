#include "frame/DeviceDriver.h"

// The one symbol the host looks up. The driver is built on the first call and
// lives until the library's exit handlers run.
extern "C" __attribute__((visibility("default"))) bool hcPluginInstance(HcPluginBase*& out)
{
    static CvWrappers::DeviceDriver driver;
    out = &driver;
    return driver.initialised();
}
