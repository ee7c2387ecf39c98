#include "mxf/model/SetID.h"

#include <cstring>

namespace Corvidane::MXF {

namespace {

struct SetKeyRow {
    long id;
    unsigned char yy;
    const char* className;  // null where the registers' name isn't used by this system
};

const SetKeyRow setKeys[] = {
    {0, 0x2F, "Preface"},
    {1, 0x30, "Identification"},
    {2, 0x18, "ContentStorage"},
    {3, 0x23, "EssenceContainerData"},
    {4, 0x36, "MaterialPackage"},
    {5, 0x37, "SourcePackage"},
    {6, 0x3B, "TimelineTrack"},
    {7, 0x39, "EventTrack"},
    {8, 0x3A, "StaticTrack"},
    {9, 0x0F, "Sequence"},
    {10, 0x11, "SourceClip"},
    {11, 0x14, "TimecodeComponent"},
    {12, 0x41, "DMSegment"},
    {13, 0x45, "DMSourceClip"},
    {14, 0x25, "FileDescriptor"},
    {15, 0x27, "GenericPictureEssenceDescriptor"},
    {16, 0x28, "CDCIEssenceDescriptor"},
    {17, 0x29, "RGBAEssenceDescriptor"},
    {18, 0x42, "GenericSoundEssenceDescriptor"},
    {19, 0x43, "GenericDataEssenceDescriptor"},
    {20, 0x44, "MultipleDescriptor"},
    {21, 0x32, "NetworkLocator"},
    {22, 0x33, "TextLocator"},
    {23, 0x50, nullptr},
    {24, 0x4F, nullptr},
    {25, 0x47, "AES3PCMDescriptor"},
    {26, 0x48, "WAVEPCMDescriptor"},
    {27, 0x51, "MPEG2VideoDescriptor"},
    {28, 0x5B, "VBIDataDescriptor"},
    {29, 0x5C, "ANCDataDescriptor"},
    {30, 0x2E, "TapeDescriptor"},
    {31, 0x3F, "TaggedValue"},
    {32, 0x22, "Dictionary"},
    {33, 0x4C, nullptr},
    {34, 0x1C, nullptr},
    {35, 0x1B, "DataDefinition"},
    {36, 0x20, nullptr},
    {37, 0x09, "Filler"},
    {38, 0x4A, nullptr},
    {39, 0x15, nullptr},
};

// Sets of the class that the table doesn't list but that writers use (ffmpeg
// refers to an AVC sub descriptor from H.264 picture descriptors): named, and unlisted.
const struct {
    unsigned char yy;
    const char* className;
} unlistedNames[] = {
    {0x6E, "AVCSubDescriptor"},
};

const unsigned char setKeyPrefix[] = {0x06, 0x0E, 0x2B, 0x34, 0x02, 0x53, 0x01};
const unsigned char setKeyClass[] = {0x0D, 0x01, 0x01, 0x01, 0x01, 0x01};

} // namespace

CMxf_SM_SetID::CMxf_SM_SetID(const MXFUL& key) : m_key(key)
{
    if (std::memcmp(key.bytes, setKeyPrefix, 7) != 0 || std::memcmp(key.bytes + 8, setKeyClass, 6) != 0 ||
        key[15] != 0)
        return;
    m_id = Unlisted;
    for (const SetKeyRow& row : setKeys)
        if (row.yy == key[14])
            m_id = row.id;
}

bool CMxf_SM_SetID::create(long id)
{
    if (!((id >= 0 && id <= 31) || id == 37 || id == 38))
        return false;
    for (const SetKeyRow& row : setKeys)
        if (row.id == id) {
            m_id = id;
            m_key = MXFUL();
            std::memcpy(m_key.bytes, setKeyPrefix, 7);
            m_key[7] = 0x01;
            std::memcpy(m_key.bytes + 8, setKeyClass, 6);
            m_key[14] = row.yy;
            return true;
        }
    return false;
}

const char* CMxf_SM_SetID::className() const
{
    for (const SetKeyRow& row : setKeys)
        if (row.id == m_id)
            return row.className;
    if (m_id == Unlisted)
        for (const auto& row : unlistedNames)
            if (row.yy == m_key[14])
                return row.className;
    return nullptr;
}

} // namespace Corvidane::MXF
