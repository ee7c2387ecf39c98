#include "mxf/model/EssenceIdentification.h"

#include <cwchar>

#include "frame/FourCC.h"
#include "mxf/model/DescriptorPicture.h"
#include "mxf/model/EssenceCodingTables.h"

namespace Corvidane::MXF {

namespace {

unsigned pictureCode(const CMxf_SM_DescriptorPicture& picture)
{
    if (const unsigned fcc = fccFromResolutionId(static_cast<int32_t>(picture.avidResolutionID)))
        return fcc;
    if (picture.pictureEssenceCoding == avidDnxhdCoding())
        return fourCC("AVdn");
    return fccFromEssenceCodingType(picture.pictureEssenceCoding);
}

bool isStandardHeight(int32_t height)
{
    static const int32_t heights[] = {480, 486, 576, 720, 1080};
    for (int32_t standard : heights)
        if (height == standard)
            return true;
    return false;
}

} // namespace

bool essenceIDFromDescriptor(const StreamEssenceFacts& facts, CMxf_GC_EssenceID& id, unsigned& fcc,
                             std::wstring& errorText)
{
    if (!facts.descriptor)
        return false;
    if (id.setFromUL(facts.descriptor->essenceContainer))
        return true;
    if (facts.partitionContainer && id.setFromUL(*facts.partitionContainer))
        return true;
    if (!facts.isVideo)
        return id.setFromFCC(fourCC("WAVE"), facts.rate.numerator, 0, 0, 2, 0);

    const auto* picture = dynamic_cast<const CMxf_SM_DescriptorPicture*>(facts.descriptor);
    if (!picture)
        return false;
    fcc = pictureCode(*picture);
    if (!fcc)
        return false;
    if (!isStandardHeight(facts.height)) {
        wchar_t text[80];
        std::swprintf(text, sizeof text / sizeof *text, L"essenceIDFromUL failed due to invalid height %d",
                      facts.height);
        errorText = text;
        return false;
    }
    const int32_t polarity = facts.height == 720 ? 4 : 3;
    return id.setFromFCC(fcc, facts.rate.numerator, facts.rate.denominator, 100000, 2, polarity);
}

} // namespace Corvidane::MXF
