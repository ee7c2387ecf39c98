#include "mxf/model/AvcSubDescriptor.h"

namespace Corvidane::MXF {

void AvcSubDescriptor::assign(const AvcSubDescriptor& other)
{
    if (&other == this)
        throwSelfAssignment("AvcSubDescriptor");
    CMxf_SM_BaseSet::assign(other);
    decodingDelay = other.decodingDelay;
    profile = other.profile;
    level = other.level;
}

const SetDescription& AvcSubDescriptor::description()
{
    using S = AvcSubDescriptor;
    // Their local tags are dynamic: the file's primer gives them.
    static const SetDescription items("AVCSubDescriptor", &CMxf_SM_BaseSet::description(),
        {
            memberItem(0, "0E.04.01.06.06.01.0E.00.00", "AVCDecodingDelay", ItemType::UInt8, &S::decodingDelay),
            memberItem(0, "0E.04.01.06.06.01.0A.00.00", "AVCProfile", ItemType::UInt8, &S::profile),
            memberItem(0, "0E.04.01.06.06.01.0D.00.00", "AVCLevel", ItemType::UInt8, &S::level),
        });
    return items;
}

} // namespace Corvidane::MXF
