#include "quicktime/atoms/HeaderAtoms.h"

#include <algorithm>

#include "frame/FourCC.h"
#include "quicktime/atoms/Described.h"

namespace Corvidane::QuickTime {

void MovieHeader::initVariables()
{
    type = fourCC("mvhd");
    versionAndFlags = 0;
    CreationTime = ModifyTime = 0;
    TimeScale = Duration = 0;
    Rate = Volume = 1.0f;
    Reserved.fill(0);
    Matrix.fill(0);
    PreviewTime = PreviewDuration = PosterTime = SelectionTime = SelectionDuration = CurrentTime = NextTrackID = 0;
    size = static_cast<uint32_t>(getSize());
}

template <class Atom, class Fields> bool MovieHeader::describe(Atom& atom, Fields& fields)
{
    if (!describeHead(atom, fields) || !fields.u32(atom.TimeScale) || !fields.u32(atom.Duration) ||
        !fields.fixed16(atom.Rate) || !fields.fixed8(atom.Volume) ||
        !fields.bytes(atom.Reserved.data(), atom.Reserved.size()))
        return false;
    for (auto& word : atom.Matrix)
        if (!fields.u32(word))
            return false;
    return fields.u32(atom.PreviewTime) && fields.u32(atom.PreviewDuration) && fields.u32(atom.PosterTime) &&
           fields.u32(atom.SelectionTime) && fields.u32(atom.SelectionDuration) && fields.u32(atom.CurrentTime) &&
           fields.u32(atom.NextTrackID);
}

size_t MovieHeader::fromData(const unsigned char* data, size_t length)
{
    return readDescribed(*this, data, length) ? size : 0;
}

size_t MovieHeader::toData(unsigned char* buffer, size_t capacity) const
{
    return writeDescribed(*this, buffer, capacity);
}

void TrackHeader::initVariables()
{
    type = fourCC("tkhd");
    versionAndFlags = 0x0F000000; // 00 00 00 0F in file order
    CreationTime = ModifyTime = 0;
    TrackID = Reserved1 = Duration = 0;
    Reserved2 = 0;
    Layer = AlternateGroup = Reserved3 = 0;
    Volume = 0.0f;
    Matrix.fill(0);
    WidthWhole = WidthFraction = HeightWhole = HeightFraction = 0;
    size = static_cast<uint32_t>(getSize());
}

template <class Atom, class Fields> bool TrackHeader::describe(Atom& atom, Fields& fields)
{
    if (!describeHead(atom, fields) || !fields.u32(atom.TrackID) || !fields.u32(atom.Reserved1) ||
        !fields.u32(atom.Duration) || !fields.u64(atom.Reserved2) || !fields.u16(atom.Layer) ||
        !fields.u16(atom.AlternateGroup) || !fields.fixed8(atom.Volume) || !fields.u16(atom.Reserved3))
        return false;
    for (auto& word : atom.Matrix)
        if (!fields.u32(word))
            return false;
    return fields.u16(atom.WidthWhole) && fields.u16(atom.WidthFraction) && fields.u16(atom.HeightWhole) &&
           fields.u16(atom.HeightFraction);
}

size_t TrackHeader::fromData(const unsigned char* data, size_t length)
{
    return readDescribed(*this, data, length) ? size : 0;
}

size_t TrackHeader::toData(unsigned char* buffer, size_t capacity) const
{
    return writeDescribed(*this, buffer, capacity);
}

void MediaHeader::initVariables()
{
    type = fourCC("mdhd");
    versionAndFlags = 0;
    CreationTime = ModifyTime = 0;
    TimeScale = Duration = 0;
    Duration64 = 0;
    Language = Quality = 0;
    size = static_cast<uint32_t>(getSize());
}

template <class Atom, class Fields> bool MediaHeader::describe(Atom& atom, Fields& fields)
{
    return describeHead(atom, fields) && fields.u32(atom.TimeScale) &&
           (atom.isVersion1() ? fields.u64(atom.Duration64) : fields.u32(atom.Duration)) &&
           fields.u16(atom.Language) && fields.u16(atom.Quality);
}

size_t MediaHeader::fromData(const unsigned char* data, size_t length) { return readDescribed(*this, data, length); }

size_t MediaHeader::toData(unsigned char* buffer, size_t capacity) const
{
    return writeDescribed(*this, buffer, capacity);
}

HandlerRef::HandlerRef() : QTHeaderBase1(0, fourCC("hdlr"))
{
    ComponentType = fourCC("mhlr");
    ComponentManufacturer = fourCC("appl");
    size = static_cast<uint32_t>(getSize());
}

template <class Atom, class Fields> bool HandlerRef::describe(Atom& atom, Fields& fields)
{
    return QTHeaderBase1::describe(atom, fields) && fields.code(atom.ComponentType) &&
           fields.code(atom.ComponentSubtype) &&
           fields.code(atom.ComponentManufacturer) && fields.u32(atom.ComponentFlags) &&
           fields.u32(atom.ComponentFlagsMask);
}

size_t HandlerRef::readFields(const unsigned char* data, size_t length)
{
    const size_t end = readDescribed(*this, data, length);
    // Some writers leave the type empty.
    bool knownType = ComponentType == fourCC("mhlr") || ComponentType == fourCC("dhlr");
    if (!knownType && (ComponentSubtype == fourCC("soun") || ComponentSubtype == fourCC("tmcd") ||
                       ComponentSubtype == fourCC("vide")))
        ComponentType = fourCC("mhlr");
    return end;
}

size_t HandlerRef::readPascalName(const unsigned char* data, size_t length)
{
    if (length <= 32)
        return 0;
    bool pascal = false;
    ComponentName = readNameString(data + 32, length - 32, 4096, pascal);
    size_t end = 32 + ComponentName.size() + 1;
    return end > length ? 0 : end;
}

size_t HandlerRef::fromData(const unsigned char* data, size_t length)
{
    if (readFields(data, length) == 0)
        return 0;
    return readPascalName(data, length);
}

size_t HandlerRef::toData(unsigned char* buffer, size_t capacity) const
{
    const size_t end = writeDescribed(*this, buffer, capacity);
    if (end == 0)
        return 0;
    buffer[end] = static_cast<unsigned char>(ComponentName.size());
    std::copy(ComponentName.begin(), ComponentName.end(), buffer + end + 1);
    return end + 1 + ComponentName.size();
}

size_t HandlerRef_MP4::fromData(const unsigned char* data, size_t length)
{
    if (readFields(data, length) == 0)
        return 0;
    if (ComponentSubtype != fourCC("soun") && ComponentSubtype != fourCC("vide") && ComponentType == 0) {
        size_t end = 32;
        while (end < length && data[end] != 0)
            ++end;
        size_t count = end - 32;
        if (count >= 1 && count <= 4096 && end < length) {
            ComponentName.assign(reinterpret_cast<const char*>(data + 32), count);
            return length;
        }
    }
    readPascalName(data, length);
    return length;
}

size_t HandlerRef_MP4::toData(unsigned char* buffer, size_t capacity) const
{
    const size_t end = writeDescribed(*this, buffer, capacity);
    if (end == 0)
        return 0;
    buffer[end] = buffer[end + 1] = 0;
    return end + 2;
}

template <class Atom, class Fields> bool TrackApertureDimensions::describe(Atom& atom, Fields& fields)
{
    return QTHeaderBase1::describe(atom, fields) && fields.fixed16(atom.width) && fields.fixed16(atom.height);
}

size_t TrackApertureDimensions::fromData(const unsigned char* data, size_t length)
{
    return readDescribed(*this, data, length) ? 20 : 0;
}

size_t TrackApertureDimensions::toData(unsigned char* buffer, size_t capacity) const
{
    return writeDescribed(*this, buffer, capacity);
}

InfAtom::InfAtom(uint16_t language, std::string text)
    : QTAtom(0, fourCC("@inf")), m_language(language), m_text(std::move(text))
{
    size = static_cast<uint32_t>(getSize());
}

size_t InfAtom::toData(unsigned char* buffer, size_t capacity) const
{
    if (getSize() > capacity)
        return 0;
    QTAtom::toData(buffer, capacity);
    uint16_t length = static_cast<uint16_t>(m_text.size());
    buffer[8] = static_cast<unsigned char>(m_language);
    buffer[9] = static_cast<unsigned char>(m_language >> 8);
    buffer[10] = static_cast<unsigned char>(length);
    buffer[11] = static_cast<unsigned char>(length >> 8);
    std::fill(buffer + 12, buffer + getSize(), 0);
    std::copy(m_text.begin(), m_text.end(), buffer + 12);
    return static_cast<size_t>(getSize());
}

size_t TmcdAtom::toData(unsigned char* buffer, size_t capacity) const
{
    if (getSize() > capacity)
        return 0;
    QTAtom::toData(buffer, capacity);
    writeBE32(buffer + 8, trackId);
    return 12;
}

size_t AliasFile::fromData(const unsigned char* data, size_t length)
{
    if (length <= fixedPart || QTHeaderBase1::fromData(data, length) == 0)
        return 0;
    FieldReader in(data, length, 12);
    uint8_t count = 0;
    in.u32(UserType), in.u16(RecordSize), in.u16(Version), in.u16(AliasKind), in.u8(count);
    VolumeName.assign(reinterpret_cast<const char*>(in.here()), std::min<size_t>(count, 27));
    count = data[62];
    FileName.assign(reinterpret_cast<const char*>(data + 63), std::min<size_t>(count, 63));
    // The tail: volume, then the path's parts, each behind a ':'.
    Path.clear();
    size_t p = fixedPart;
    while (p < length && data[p] != ':')
        ++p;
    if (p < length && data[p] == ':')
        for (++p; p < length && data[p] != 0; ++p)
            Path += data[p] == ':' ? '\\' : static_cast<char>(data[p]);
    return fixedPart;
}

} // namespace Corvidane::QuickTime
