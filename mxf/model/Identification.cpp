#include "mxf/model/Identification.h"

namespace Corvidane::MXF {

void CMxf_SM_IdSet::assign(const CMxf_SM_IdSet& other)
{
    if (&other == this)
        throwSelfAssignment("CMxf_SM_IdSet");
    CMxf_SM_BaseSet::assign(other);
    companyName = other.companyName;
    productName = other.productName;
    versionString = other.versionString;
    productUID = other.productUID;
    modificationDate = other.modificationDate;
    productVersion = other.productVersion;
    toolkitVersion = other.toolkitVersion;
    platform = other.platform;
}

const SetDescription& CMxf_SM_IdSet::description()
{
    using S = CMxf_SM_IdSet;
    static const SetDescription items("Identification", &CMxf_SM_BaseSet::description(),
        {
            memberItem(0x3C09, "02.05.20.07.01.01.00.00.00", "ThisGenerationUID", ItemType::Uuid,
                       &CMxf_SM_BaseSet::generationUUID),
            memberItem(0x3C01, "02.05.20.07.01.02.01.00.00", "CompanyName", ItemType::Utf16, &S::companyName),
            memberItem(0x3C02, "02.05.20.07.01.03.01.00.00", "ProductName", ItemType::Utf16, &S::productName),
            memberItem(0x3C04, "02.05.20.07.01.05.01.00.00", "VersionString", ItemType::Utf16, &S::versionString),
            memberItem(0x3C05, "02.05.20.07.01.07.00.00.00", "ProductUID", ItemType::Label, &S::productUID),
            memberItem(0x3C06, "02.07.02.01.10.02.03.00.00", "ModificationDate", ItemType::Timestamp,
                       &S::modificationDate),
            memberItem(0x3C03, "02.05.20.07.01.04.00.00.00", "ProductVersion", ItemType::ProductVersion,
                       &S::productVersion),
            memberItem(0x3C07, "02.05.20.07.01.0A.00.00.00", "ToolkitVersion", ItemType::ProductVersion,
                       &S::toolkitVersion),
            memberItem(0x3C08, "02.05.20.07.01.06.01.00.00", "Platform", ItemType::Utf16, &S::platform),
        });
    return items;
}

} // namespace Corvidane::MXF
