#pragma once
#include <cstdint>
#include <vector>

#include "mxf/model/BaseSet.h"

namespace Corvidane::MXF {

// What every essence descriptor says: the track it describes, the rate and
// length of its essence, and the container and codec labels.
class CMxf_SM_DescriptorGeneric : public CMxf_SM_BaseSet {
public:
    CMxf_SM_DescriptorGeneric() = default;
    CMxf_SM_DescriptorGeneric(const CMxf_SM_DescriptorGeneric& other) : CMxf_SM_BaseSet() { assign(other); }
    CMxf_SM_DescriptorGeneric& operator=(const CMxf_SM_DescriptorGeneric& other)
    {
        assign(other);
        return *this;
    }
    void assign(const CMxf_SM_DescriptorGeneric& other);

    static const SetDescription& description();

    uint32_t linkedTrackID = 0;
    MXFRATIONAL sampleRate;
    int64_t containerDuration = 0;
    MXFUL essenceContainer;
    MXFUL codec;
    std::vector<CMxfLocator> locators;  // external essence is not followed; the list stays empty
    // Sub descriptors of the essence (an AVC sub descriptor), and the
    // descriptors a multiple descriptor gathers.
    std::vector<GUID> subDescriptorUIDs;
};

// The descriptor of a file package with more than one essence track.
class CMxf_SM_DescriptorMutipleSet : public CMxf_SM_DescriptorGeneric {
public:
    CMxf_SM_DescriptorMutipleSet() = default;
    CMxf_SM_DescriptorMutipleSet(const CMxf_SM_DescriptorMutipleSet& other) : CMxf_SM_DescriptorGeneric()
    {
        assign(other);
    }
    CMxf_SM_DescriptorMutipleSet& operator=(const CMxf_SM_DescriptorMutipleSet& other)
    {
        assign(other);
        return *this;
    }
    void assign(const CMxf_SM_DescriptorMutipleSet& other);

    void append(const GUID& subDescriptor) { subDescriptorUIDs.push_back(subDescriptor); }

    static const SetDescription& description();
};

// Descriptors that are known by their class alone.
template <int Kind>
class KindOnlyDescriptor : public CMxf_SM_DescriptorGeneric {
public:
    KindOnlyDescriptor() = default;
    KindOnlyDescriptor(const KindOnlyDescriptor& other) : CMxf_SM_DescriptorGeneric() { assign(other); }
    KindOnlyDescriptor& operator=(const KindOnlyDescriptor& other)
    {
        assign(other);
        return *this;
    }
    void assign(const KindOnlyDescriptor& other)
    {
        if (&other == this)
            throwSelfAssignment(className());
        CMxf_SM_DescriptorGeneric::assign(other);
    }
    static const char* className();
};

using AncDescriptor = KindOnlyDescriptor<0>;
using VbiDescriptor = KindOnlyDescriptor<1>;
using AafTapeDescriptor = KindOnlyDescriptor<2>;

// The properties of data descriptors (VBI and ANC): the data coding label is
// recognised and not kept.
const SetDescription& dataDescriptorDescription();

} // namespace Corvidane::MXF
