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
    // Locators of external essence: kept to be written again, not followed.
    std::vector<CMxfLocator> locators;
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

// The descriptor of data essence (VBI and ANC): what codes the data.
class CMxf_SM_DescriptorData : public CMxf_SM_DescriptorGeneric {
public:
    CMxf_SM_DescriptorData() = default;
    CMxf_SM_DescriptorData(const CMxf_SM_DescriptorData& other) : CMxf_SM_DescriptorGeneric() { assign(other); }
    CMxf_SM_DescriptorData& operator=(const CMxf_SM_DescriptorData& other)
    {
        assign(other);
        return *this;
    }
    void assign(const CMxf_SM_DescriptorData& other);

    static const SetDescription& description();

    MXFUL dataEssenceCoding;
};

// Descriptors that are known by their class alone.
template <int Kind, class Base = CMxf_SM_DescriptorGeneric>
class KindOnlyDescriptor : public Base {
public:
    KindOnlyDescriptor() = default;
    KindOnlyDescriptor(const KindOnlyDescriptor& other) : Base() { assign(other); }
    KindOnlyDescriptor& operator=(const KindOnlyDescriptor& other)
    {
        assign(other);
        return *this;
    }
    void assign(const KindOnlyDescriptor& other)
    {
        if (&other == this)
            throwSelfAssignment(className());
        Base::assign(other);
    }
    static const char* className();
};

using AncDescriptor = KindOnlyDescriptor<0, CMxf_SM_DescriptorData>;
using VbiDescriptor = KindOnlyDescriptor<1, CMxf_SM_DescriptorData>;
using AafTapeDescriptor = KindOnlyDescriptor<2>;

} // namespace Corvidane::MXF
