#include "mxf/model/DescriptiveSets.h"

namespace Corvidane::MXF {

namespace {

// The text-based sets share their description of the text.
std::vector<SetItem> textDescriptionItems()
{
    return {
        propertyItem(0x8102, "0D.04.06.08.06.00.00.00.00", "Payload Scheme Identifer", ItemType::Label),
        propertyItem(0x8103, "0D.04.09.02.02.00.00.00.00", "Text MIME Media Type", ItemType::Utf16),
        propertyItem(0x8104, "0D.03.01.01.02.02.14.00.00", "RFC5646 Text Language Code", ItemType::Utf16),
        propertyItem(0x8105, "0D.03.02.01.06.03.02.00.00", "Text Data Description", ItemType::Utf16),
    };
}

} // namespace

const SetDescription& DMTextLanguage::description()
{
    static const SetDescription items("DMTextLanguage", &CMxf_SM_BaseSet::description(),
        {
            propertyItem(0x8001, "01.03.01.01.02.02.13.00.00", "Framework Extended Text Language Code",
                         ItemType::Iso7Text),
        });
    return items;
}

const SetDescription& DMThesaurus::description()
{
    static const SetDescription items("DMThesaurus", &DMTextLanguage::description(),
        {
            propertyItem(0x8002, "01.03.02.01.02.15.01.00.00", "Framework Thesaurus Name", ItemType::Utf16),
        });
    return items;
}

const SetDescription& DMClipFrameWork::description()
{
    static const SetDescription items("DMClipFrameWork", &DMThesaurus::description(),
        {
            propertyItem(0x8010, "01.01.05.0F.01.00.00.00.00", "Framework Title", ItemType::Utf16),
            propertyItem(0x8011, "01.03.01.01.02.03.11.00.00", "Primary Extended Spoken Language Code",
                         ItemType::Iso7Text),
            propertyItem(0x8012, "01.03.01.01.02.03.12.00.00", "Secondary Extended Spoken Language Code",
                         ItemType::Iso7Text),
            propertyItem(0x8013, "01.03.01.01.02.03.13.00.00", "Original Extended Spoken Language Code",
                         ItemType::Iso7Text),
            propertyItem(0x8014, "01.03.02.05.04.00.00.00.00", "Clip Kind", ItemType::Utf16),
            propertyItem(0x8015, "01.01.05.0C.00.00.00.00.00", "Clip Number", ItemType::Utf16),
            propertyItem(0x8016, "01.01.01.15.09.00.00.00.00", "Extended Clip ID", ItemType::Umid),
            propertyItem(0x8017, "01.07.02.01.10.01.04.00.00", "Clip Creation Date & Time", ItemType::Timestamp),
            propertyItem(0x8018, "01.01.05.07.00.00.00.00.00", "Take Number", ItemType::UInt16),
            propertyItem(0x8019, "01.03.02.05.03.00.00.00.00", "Slate Information", ItemType::Utf16),
            propertyItem(0x801A, "01.06.01.01.04.06.0C.00.00", "Metadata Server Locators", ItemType::ReferenceBatch),
            propertyItem(0x801B, "01.06.01.01.04.05.40.04.00", "Titles Sets", ItemType::ReferenceBatch),
            propertyItem(0x801C, "01.06.01.01.04.05.40.0D.00", "Annotation Sets", ItemType::ReferenceBatch),
            propertyItem(0x801D, "01.06.01.01.04.05.40.13.00", "Participant Sets", ItemType::ReferenceBatch),
            propertyItem(0x801E, "01.06.01.01.04.02.40.22.00", "Contacts List Set", ItemType::Reference),
            propertyItem(0x801F, "01.06.01.01.04.03.40.16.00", "Location Sets", ItemType::ReferenceBatch),
            propertyItem(0x8020, "01.06.01.01.04.05.40.0C.00", "Captions Description Sets", ItemType::ReferenceBatch),
            propertyItem(0x8021, "01.06.01.01.04.05.40.19.00", "Contract Sets", ItemType::ReferenceBatch),
            propertyItem(0x8022, "01.06.01.01.04.02.40.1D.00", "Image Format Set", ItemType::Reference),
            propertyItem(0x8023, "01.06.01.01.04.02.40.21.00", "Project Set", ItemType::Reference),
            propertyItem(0x8024, "01.06.01.01.04.05.40.0F.00", "Scripting Sets", ItemType::ReferenceBatch),
            propertyItem(0x8025, "01.06.01.01.04.05.40.11.02", "Shot Sets (Clip)", ItemType::ReferenceBatch),
            propertyItem(0x8026, "01.06.01.01.04.05.40.1E.00", "Device Parameters Sets", ItemType::ReferenceBatch),
            propertyItem(0x8027, "01.06.01.01.04.02.40.20.00", "Processing Set", ItemType::Reference),
        });
    return items;
}

const SetDescription& DMParticipantSet::description()
{
    static const SetDescription items("DMParticipantSet", &DMThesaurus::description(),
        {
            propertyItem(0x8030, "01.01.01.15.40.01.01.00.00", "Participant UID", ItemType::Uuid),
            propertyItem(0x8031, "01.02.30.01.02.01.01.00.00", "Contribution Status", ItemType::Utf16),
            propertyItem(0x8032, "01.02.30.05.01.01.00.00.00", "Job Function", ItemType::Utf16),
            propertyItem(0x8033, "01.02.30.05.01.02.00.00.00", "Job Function Code", ItemType::Iso7Text),
            propertyItem(0x8034, "01.02.30.05.02.01.00.00.00", "Role or Identity Name", ItemType::Utf16),
            propertyItem(0x8035, "01.06.01.01.04.03.40.14.00", "Person Sets", ItemType::ReferenceBatch),
            propertyItem(0x8036, "01.06.01.01.04.03.40.15.01", "Organization Sets", ItemType::ReferenceBatch),
        });
    return items;
}

const SetDescription& DMPersonSet::description()
{
    static const SetDescription items("DMPersonSet", &DMThesaurus::description(),
        {
            propertyItem(0x8040, "01.01.01.15.40.01.02.00.00", "Contact UID", ItemType::Uuid),
            propertyItem(0x8041, "01.02.30.06.03.01.01.01.00", "Family Name", ItemType::Utf16),
            propertyItem(0x8042, "01.02.30.06.03.01.02.01.00", "First Given Name", ItemType::Utf16),
            propertyItem(0x8043, "01.02.30.06.03.01.08.01.00", "Other Given Names", ItemType::Utf16),
            propertyItem(0x8044, "01.02.30.06.03.01.0A.01.00", "Linking Name", ItemType::Utf16),
            propertyItem(0x8045, "01.02.30.06.03.01.05.01.00", "Salutation", ItemType::Utf16),
            propertyItem(0x8046, "01.02.30.06.03.01.0B.01.00", "Name Suffix", ItemType::Utf16),
            propertyItem(0x8047, "01.02.30.06.03.01.06.01.00", "Honors, qualifications", ItemType::Utf16),
            propertyItem(0x8048, "01.02.30.06.03.01.0C.01.00", "Former Family Name", ItemType::Utf16),
            propertyItem(0x8049, "01.02.30.06.03.01.07.01.00", "Person Description", ItemType::Utf16),
            propertyItem(0x804A, "01.02.30.06.03.01.09.01.00", "Alternate Name", ItemType::Utf16),
            propertyItem(0x804B, "01.02.30.06.03.01.0D.01.00", "Nationality", ItemType::Utf16),
            propertyItem(0x804C, "01.02.30.06.03.01.0E.01.00", "Citizenship", ItemType::Utf16),
            propertyItem(0x804D, "01.06.01.01.04.03.40.15.02", "Organization Sets", ItemType::ReferenceBatch),
            propertyItem(0x804E, "01.06.01.01.04.05.40.1F.02", "Name-Value Sets", ItemType::ReferenceBatch),
            propertyItem(0x804F, "01.06.01.01.04.05.40.17.00", "Address Sets", ItemType::ReferenceBatch),
        });
    return items;
}

const SetDescription& DMProjectSet::description()
{
    static const SetDescription items("DMProjectSet", &CMxf_SM_BaseSet::description(),
        {
            propertyItem(0x8050, "01.01.03.01.06.00.00.00.00", "Project Number", ItemType::Utf16),
            propertyItem(0x8051, "01.01.03.01.08.01.00.00.00", "Project Name or Title", ItemType::Utf16),
        });
    return items;
}

const SetDescription& DMContactsListSet::description()
{
    static const SetDescription items("DMContactsListSet", &CMxf_SM_BaseSet::description(),
        {
            propertyItem(0x8060, "01.06.01.01.04.05.40.14.00", "Person Sets", ItemType::ReferenceBatch),
            propertyItem(0x8061, "01.06.01.01.04.05.40.15.00", "Organization Sets", ItemType::ReferenceBatch),
            propertyItem(0x8062, "01.06.01.01.04.05.40.16.00", "Location Sets", ItemType::ReferenceBatch),
        });
    return items;
}

const SetDescription& TBDMTextBasedFrameWork::description()
{
    static const SetDescription items("TBDMTextBasedFrameWork", &DMThesaurus::description(), [] {
        std::vector<SetItem> own = {
            propertyItem(0x8101, "0D.06.01.01.04.05.41.01.00", "Text-Based Object", ItemType::Reference),
        };
        for (SetItem& item : textDescriptionItems())
            own.push_back(item);
        return own;
    }());
    return items;
}

const SetDescription& TBDMUTF8TextBased::description()
{
    static const SetDescription items("TBDMUTF8TextBased", &DMThesaurus::description(), [] {
        std::vector<SetItem> own = textDescriptionItems();
        own.push_back(propertyItem(0x8106, "0D.03.01.02.20.03.01.00.00", "UTF-8 Text Data", ItemType::Utf8Text));
        return own;
    }());
    return items;
}

} // namespace Corvidane::MXF
