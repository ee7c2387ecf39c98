#include "mxf/model/Preface.h"

#include <cstring>

#include "frame/BigEndian.h"

namespace Corvidane::MXF {

void CMxf_SM_PrefaceSet::assign(const CMxf_SM_PrefaceSet& other)
{
    if (&other == this)
        throwSelfAssignment("CMxf_SM_PrefaceSet");
    CMxf_SM_BaseSet::assign(other);
    version = other.version;
    lastModifiedDate = other.lastModifiedDate;
    operationalPattern = other.operationalPattern;
    contentStorage = other.contentStorage;
    essenceContainers = other.essenceContainers;
    dmSchemes = other.dmSchemes;
    identifications = other.identifications;
    primaryPackage = other.primaryPackage;
    objectModelVersion = other.objectModelVersion;
    byteOrder = other.byteOrder;
    dictionary = other.dictionary;
    avidIdentifier = other.avidIdentifier;
    avidNumber = other.avidNumber;
    avidSecondIdentifier = other.avidSecondIdentifier;
    projectName = other.projectName;
}

void CMxf_SM_PrefaceSet::Reset()
{
    instanceUUID = GUID{};
    generationUUID = GUID{};
    identifications.clear();
    const unsigned char versionBytes[2] = {0x01, 0x02};
    std::memcpy(&version, versionBytes, 2);
    objectModelVersion = 1;
    byteOrder = 0x4949;
    dictionary = avidIdentifier = avidSecondIdentifier = GUID{};
    avidNumber = 0;
    projectName.clear();
    lastModifiedDate = MXFTIMESTAMP{};
    operationalPattern = CMxfOperationalPattern();
    contentStorage = CMxf_SM_ContentStorageSet();
    essenceContainers.clear();
    dmSchemes.clear();
    primaryPackage = GUID{};
}

CMxf_SM_IdSet* CMxf_SM_PrefaceSet::FindIdSetFromUUID(const GUID& uuid)
{
    for (CMxf_SM_IdSet& identification : identifications)
        if (identification.generationUUID == uuid || identification.instanceUUID == uuid)
            return &identification;
    return nullptr;
}

const SetDescription& CMxf_SM_PrefaceSet::description()
{
    using S = CMxf_SM_PrefaceSet;
    static const SetDescription items = [] {
        // The version keeps its wire bytes in memory as they stand.
        SetItem versionItem = ignoredItem(0x3B05, "02.03.01.02.01.05.00.00.00", "Version", ItemType::UInt16);
        versionItem.store = [](CMxf_SM_BaseSet& set, const ItemValue& v) {
            unsigned char wire[2];
            writeBE16(wire, static_cast<uint16_t>(std::get<uint64_t>(v)));
            std::memcpy(&static_cast<S&>(set).version, wire, 2);
        };
        versionItem.load = [](const CMxf_SM_BaseSet& set) {
            unsigned char wire[2];
            std::memcpy(wire, &static_cast<const S&>(set).version, 2);
            return ItemValue(uint64_t(readBE16(wire)));
        };
        SetItem pattern = ignoredItem(0x3B09, "05.01.02.02.03.00.00.00.00", "OperationalPattern", ItemType::Label);
        pattern.store = [](CMxf_SM_BaseSet& set, const ItemValue& v) {
            static_cast<S&>(set).operationalPattern.SetFromData(std::get<MXFUL>(v).bytes);
        };
        pattern.load = [](const CMxf_SM_BaseSet& set) {
            return ItemValue(static_cast<const S&>(set).operationalPattern.label());
        };
        // Avid's items carry labels of their own and the tags Avid gives them.
        auto avidItem = [](SetItem item, const char* label) {
            item.label = labelFromText(label);
            return item;
        };
        SetItem identifications =
            referenceListItem(0x3B06, "02.06.01.01.04.06.04.00.00", "Identifications", &S::identifications);
        identifications.anyItemSize = true;
        return SetDescription(
            "Preface", &CMxf_SM_BaseSet::description(),
            {
                memberItem(0x3B02, "02.07.02.01.10.02.04.00.00", "LastModifiedDate", ItemType::Timestamp,
                           &S::lastModifiedDate),
                versionItem,
                memberItem(0x3B07, "02.03.01.02.01.04.00.00.00", "ObjectModelVersion", ItemType::UInt32,
                           &S::objectModelVersion),
                memberItem(0x3B08, "04.06.01.01.04.01.08.00.00", "PrimaryPackage", ItemType::Reference,
                           &S::primaryPackage),
                identifications,
                referenceItem(0x3B03, "02.06.01.01.04.02.01.00.00", "ContentStorage", &S::contentStorage),
                memberItem(0x3B04, "02.06.01.01.04.02.02.00.00", "Dictionary", ItemType::Reference, &S::dictionary),
                pattern,
                memberItem(0x3B0A, "05.01.02.02.10.02.01.00.00", "EssenceContainers", ItemType::LabelBatch,
                           &S::essenceContainers),
                memberItem(0x3B0B, "05.01.02.02.10.02.02.00.00", "DMSchemes", ItemType::LabelBatch, &S::dmSchemes),
                memberItem(0x3B01, "03.01.02.01.02.00.00.00.00", "ByteOrder", ItemType::UInt16, &S::byteOrder),
                avidItem(memberItem(0xFFFF, "", "AvidIdentifier", ItemType::Uuid, &S::avidIdentifier),
                         "AE.58.78.E0.41.45.41.79.FF.DD.41.E1.AE.2C.49.C6"),
                avidItem(memberItem(0xFFFC, "", "AvidNumber", ItemType::UInt32, &S::avidNumber),
                         "8C.70.A7.18.46.7A.E4.86.F3.65.46.B1.38.7C.4E.E9"),
                avidItem(memberItem(0xFFFE, "", "AvidSecondIdentifier", ItemType::Uuid, &S::avidSecondIdentifier),
                         "8B.2F.68.0D.FF.61.13.81.AB.F1.B7.71.8E.FD.48.02"),
                avidItem(memberItem(0xFFFD, "", "ProjectName", ItemType::Utf16, &S::projectName),
                         "A5.FB.7B.25.F6.15.94.B9.62.FC.37.17.49.2D.42.BF"),
            });
    }();
    return items;
}

} // namespace Corvidane::MXF
