#include "mxf/model/DescriptiveSetID.h"

#include <cstring>
#include <iterator>

namespace Corvidane::MXF {

namespace {

// Names as SMPTE 380M gives them; 0x1708 and 0x1709 are listed unnamed.
const DescriptiveSetID::Row dms1Rows[] = {
    {0x0101, "ProductionFramework"}, {0x0102, "ClipFramework"},      {0x0103, "SceneFramework"},
    {0x1001, "Titles"},              {0x1101, "Identification"},     {0x1201, "GroupRelationship"},
    {0x1301, "Branding"},            {0x1401, "Event"},              {0x1402, "Publication"},
    {0x1501, "Award"},               {0x1601, "CaptionDescription"}, {0x1701, "Annotation"},
    {0x1702, "SettingPeriod"},       {0x1703, "Scripting"},          {0x1704, "Classification"},
    {0x1705, "Shot"},                {0x1706, "KeyPoint"},           {0x1708, nullptr},
    {0x1709, nullptr},               {0x1801, "Participant"},        {0x1901, "ContactsList"},
    {0x1A02, "Person"},              {0x1A03, "Organisation"},       {0x1A04, "Location"},
    {0x1B01, "Address"},             {0x1B02, "Communications"},     {0x1C01, "Contract"},
    {0x1C02, "Rights"},              {0x1D01, "PictureFormat"},      {0x1E01, "DeviceParameters"},
    {0x1F01, "NameValue"},           {0x2001, "Processing"},         {0x2002, "Project"},
};

const DescriptiveSetID::Row textBasedRows[] = {
    {0x0101, "TextBasedFramework"},
    {0x0201, "GenericStreamTextBasedSet"},
    {0x0202, "UTF8TextBasedSet"},
    {0x0203, "UTF16TextBasedSet"},
};

const unsigned char keyPrefix[] = {0x06, 0x0E, 0x2B, 0x34, 0x02, 0x53, 0x01};
const unsigned char keyClass[] = {0x0D, 0x01, 0x04, 0x01};

} // namespace

DescriptiveSetID::DescriptiveSetID(unsigned char classByte, const Row* rows, size_t count)
    : m_class(classByte), m_rows(rows), m_count(count)
{
}

void DescriptiveSetID::fromKey(const MXFUL& key)
{
    m_key = key;
    m_id = OtherClass;
    if (std::memcmp(key.bytes, keyPrefix, 7) != 0 || std::memcmp(key.bytes + 8, keyClass, 4) != 0 ||
        key[12] != m_class || key[15] != 0)
        return;
    m_id = Unlisted;
    const long id = long(key[13]) << 8 | key[14];
    for (size_t i = 0; i < m_count; ++i)
        if (m_rows[i].id == id)
            m_id = id;
}

bool DescriptiveSetID::create(long id)
{
    for (size_t i = 0; i < m_count; ++i)
        if (m_rows[i].id == id) {
            m_id = id;
            m_key = MXFUL();
            std::memcpy(m_key.bytes, keyPrefix, 7);
            m_key[7] = 0x01;
            std::memcpy(m_key.bytes + 8, keyClass, 4);
            m_key[12] = m_class;
            m_key[13] = static_cast<unsigned char>(id >> 8);
            m_key[14] = static_cast<unsigned char>(id);
            return true;
        }
    return false;
}

const char* DescriptiveSetID::className() const
{
    for (size_t i = 0; i < m_count; ++i)
        if (m_rows[i].id == m_id)
            return m_rows[i].className;
    return nullptr;
}

CMxf_DM_SetID::CMxf_DM_SetID() : DescriptiveSetID(0x01, dms1Rows, std::size(dms1Rows)) {}
CMxf_DM_SetID::CMxf_DM_SetID(const MXFUL& key) : CMxf_DM_SetID() { fromKey(key); }
CMxf_DM_SetID::CMxf_DM_SetID(long id) : CMxf_DM_SetID() { create(id); }

CMxf_TBDM_SetID::CMxf_TBDM_SetID() : DescriptiveSetID(0x04, textBasedRows, std::size(textBasedRows)) {}
CMxf_TBDM_SetID::CMxf_TBDM_SetID(const MXFUL& key) : CMxf_TBDM_SetID() { fromKey(key); }
CMxf_TBDM_SetID::CMxf_TBDM_SetID(long id) : CMxf_TBDM_SetID() { create(id); }

} // namespace Corvidane::MXF
