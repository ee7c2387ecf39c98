#pragma once
#include <cstdint>

#include "mxf/model/BaseSet.h"

namespace Corvidane::MXF {

// The AVC properties a picture descriptor refers to as its sub descriptor.
class AvcSubDescriptor : public CMxf_SM_BaseSet {
public:
    AvcSubDescriptor() = default;
    AvcSubDescriptor(const AvcSubDescriptor& other) : CMxf_SM_BaseSet() { assign(other); }
    AvcSubDescriptor& operator=(const AvcSubDescriptor& other)
    {
        assign(other);
        return *this;
    }
    void assign(const AvcSubDescriptor& other);

    static const SetDescription& description();

    uint8_t decodingDelay = 0;  // 0xFF: unknown
    uint8_t profile = 0;
    uint8_t level = 0;
};

} // namespace Corvidane::MXF
