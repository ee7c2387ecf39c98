#pragma once
#include <string>
#include <vector>

#include "mxf/model/CategorizedComment.h"
#include "mxf/model/PackageDescriptor.h"
#include "mxf/model/Track.h"

namespace Corvidane::MXF {

// What material, file and tape packages share: the package's UMID, dates and name.
class CMxf_SM_PackageSet : public CMxf_SM_BaseSet {
public:
    CMxf_SM_PackageSet() = default;
    CMxf_SM_PackageSet(const CMxf_SM_PackageSet& other) : CMxf_SM_BaseSet() { assign(other); }
    CMxf_SM_PackageSet& operator=(const CMxf_SM_PackageSet& other)
    {
        assign(other);
        return *this;
    }
    void assign(const CMxf_SM_PackageSet& other);

    const std::wstring& getName() const { return name; }

    static const SetDescription& description();

    UMID packageUID;
    MXFTIMESTAMP creationDate;
    MXFTIMESTAMP modifiedDate;
    std::wstring name;
};

// A package with its tracks, the descriptors of its essence, and its comments.
class CMxf_SM_Package : public CMxf_SM_PackageSet {
public:
    CMxf_SM_Package() = default;
    CMxf_SM_Package(const CMxf_SM_Package& other) : CMxf_SM_PackageSet() { assign(other); }
    CMxf_SM_Package& operator=(const CMxf_SM_Package& other)
    {
        assign(other);
        return *this;
    }
    void assign(const CMxf_SM_Package& other);

    bool hasTapeDescriptor() const;
    // The descriptor of a track: an index into `descriptors` when one read
    // names it (or is the only one, naming no track), else an index into
    // `packageDescriptors` whose placed set names it (or is the only one,
    // naming none; or holds no set, for track 65535); -1 when none does.
    int findDescriptor(uint32_t trackId) const;
    // Drops the descriptors read and those placed in the package's slots.
    void deleteDescriptors();

    static const SetDescription& description();

    std::vector<CMxf_SM_Track> tracks;
    std::vector<PACKAGE_DESCRIPTOR> packageDescriptors;
    std::vector<CDescriptor> descriptors;
    std::vector<CategorizedComment> comments;
};

} // namespace Corvidane::MXF
