#include "quicktime/atoms/HeaderAtoms.h"

#include <algorithm>

#include "frame/FourCC.h"
#include "quicktime/atoms/Wire.h"

namespace Corvidane::QuickTime {

bool QTHeaderBase2::readTimes(FieldReader& in)
{
    return in.varying(CreationTime, isVersion1()) && in.varying(ModifyTime, isVersion1());
}

size_t QTHeaderBase2::writeTimes(unsigned char* p) const
{
    if (isVersion1()) {
        writeBE64(p, CreationTime);
        writeBE64(p + 8, ModifyTime);
        return 16;
    }
    writeBE32(p, static_cast<uint32_t>(CreationTime));
    writeBE32(p + 4, static_cast<uint32_t>(ModifyTime));
    return 8;
}

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

size_t MovieHeader::fromData(const unsigned char* data, size_t length)
{
    if (QTHeaderBase1::fromData(data, length) == 0)
        return 0;
    FieldReader in(data, length, 12);
    uint32_t rate = 0;
    uint16_t volume = 0;
    if (!readTimes(in) || !in.u32(TimeScale) || !in.u32(Duration) || !in.u32(rate))
        return 0;
    Rate = fixed16ToFloat(rate);
    if (!in.u16(volume))
        return 0;
    Volume = fixed8ToFloat(volume);
    if (!in.bytes(Reserved.data(), Reserved.size()))
        return 0;
    for (uint32_t& word : Matrix)
        if (!in.u32(word))
            return 0;
    for (uint32_t* field : {&PreviewTime, &PreviewDuration, &PosterTime, &SelectionTime, &SelectionDuration,
                            &CurrentTime, &NextTrackID})
        if (!in.u32(*field))
            return 0;
    return size;
}

size_t MovieHeader::toData(unsigned char* buffer, size_t capacity) const
{
    if (getSize() > capacity)
        return 0;
    unsigned char* p = buffer + QTHeaderBase1::toData(buffer, capacity);
    p += writeTimes(p);
    writeBE32(p, TimeScale);
    writeBE32(p + 4, Duration);
    writeBE32(p + 8, floatToFixed16(Rate));
    writeBE16(p + 12, floatToFixed8(Volume));
    std::copy(Reserved.begin(), Reserved.end(), p + 14);
    p += 24;
    for (uint32_t word : Matrix)
        writeBE32(p, word), p += 4;
    for (uint32_t field : {PreviewTime, PreviewDuration, PosterTime, SelectionTime, SelectionDuration, CurrentTime,
                           NextTrackID})
        writeBE32(p, field), p += 4;
    return static_cast<size_t>(p - buffer);
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

size_t TrackHeader::fromData(const unsigned char* data, size_t length)
{
    if (QTHeaderBase1::fromData(data, length) == 0)
        return 0;
    FieldReader in(data, length, 12);
    uint16_t volume = 0;
    if (!readTimes(in) || !in.u32(TrackID) || !in.u32(Reserved1) || !in.u32(Duration) || !in.u64(Reserved2) ||
        !in.u16(Layer) || !in.u16(AlternateGroup) || !in.u16(volume))
        return 0;
    Volume = fixed8ToFloat(volume);
    if (!in.u16(Reserved3))
        return 0;
    for (uint32_t& word : Matrix)
        if (!in.u32(word))
            return 0;
    if (!in.u16(WidthWhole) || !in.u16(WidthFraction) || !in.u16(HeightWhole) || !in.u16(HeightFraction))
        return 0;
    return size;
}

size_t TrackHeader::toData(unsigned char* buffer, size_t capacity) const
{
    if (getSize() > capacity)
        return 0;
    unsigned char* p = buffer + QTHeaderBase1::toData(buffer, capacity);
    p += writeTimes(p);
    writeBE32(p, TrackID);
    writeBE32(p + 4, Reserved1);
    writeBE32(p + 8, Duration);
    writeBE64(p + 12, Reserved2);
    writeBE16(p + 20, Layer);
    writeBE16(p + 22, AlternateGroup);
    writeBE16(p + 24, floatToFixed8(Volume));
    writeBE16(p + 26, Reserved3);
    p += 28;
    for (uint32_t word : Matrix)
        writeBE32(p, word), p += 4;
    for (uint16_t half : {WidthWhole, WidthFraction, HeightWhole, HeightFraction})
        writeBE16(p, half), p += 2;
    return static_cast<size_t>(p - buffer);
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

size_t MediaHeader::fromData(const unsigned char* data, size_t length)
{
    if (QTHeaderBase1::fromData(data, length) == 0)
        return 0;
    FieldReader in(data, length, 12);
    if (!readTimes(in) || !in.u32(TimeScale))
        return 0;
    if (!(isVersion1() ? in.u64(Duration64) : in.u32(Duration)))
        return 0;
    if (!in.u16(Language) || !in.u16(Quality))
        return 0;
    return in.position();
}

size_t MediaHeader::toData(unsigned char* buffer, size_t capacity) const
{
    if (getSize() > capacity)
        return 0;
    unsigned char* p = buffer + QTHeaderBase1::toData(buffer, capacity);
    p += writeTimes(p);
    writeBE32(p, TimeScale);
    p += 4;
    if (isVersion1())
        writeBE64(p, Duration64), p += 8;
    else
        writeBE32(p, Duration), p += 4;
    writeBE16(p, Language);
    writeBE16(p + 2, Quality);
    return static_cast<size_t>(p + 4 - buffer);
}

HandlerRef::HandlerRef() : QTHeaderBase1(0, fourCC("hdlr"))
{
    ComponentType = fourCC("mhlr");
    ComponentManufacturer = fourCC("appl");
    size = static_cast<uint32_t>(getSize());
}

size_t HandlerRef::readFields(const unsigned char* data, size_t length)
{
    if (QTHeaderBase1::fromData(data, length) == 0)
        return 0;
    FieldReader in(data, length, 12);
    if (!in.code(ComponentType) || !in.code(ComponentSubtype))
        return 0;
    // Some writers leave the type empty.
    bool knownType = ComponentType == fourCC("mhlr") || ComponentType == fourCC("dhlr");
    if (!knownType && (ComponentSubtype == fourCC("soun") || ComponentSubtype == fourCC("tmcd") ||
                       ComponentSubtype == fourCC("vide")))
        ComponentType = fourCC("mhlr");
    if (!in.code(ComponentManufacturer) || !in.u32(ComponentFlags) || !in.u32(ComponentFlagsMask))
        return 0;
    return in.position();
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
    if (capacity < 32 || getSize() > capacity)
        return 0;
    QTHeaderBase1::toData(buffer, capacity);
    writeCode(buffer + 12, ComponentType);
    writeCode(buffer + 16, ComponentSubtype);
    writeCode(buffer + 20, ComponentManufacturer);
    writeBE32(buffer + 24, ComponentFlags);
    writeBE32(buffer + 28, ComponentFlagsMask);
    buffer[32] = static_cast<unsigned char>(ComponentName.size());
    std::copy(ComponentName.begin(), ComponentName.end(), buffer + 33);
    return 33 + ComponentName.size();
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
    if (getSize() > capacity)
        return 0;
    QTHeaderBase1::toData(buffer, capacity);
    writeCode(buffer + 12, ComponentType);
    writeCode(buffer + 16, ComponentSubtype);
    writeCode(buffer + 20, ComponentManufacturer);
    writeBE32(buffer + 24, ComponentFlags);
    writeBE32(buffer + 28, ComponentFlagsMask);
    buffer[32] = buffer[33] = 0;
    return 34;
}

size_t TrackApertureDimensions::fromData(const unsigned char* data, size_t length)
{
    if (QTHeaderBase1::fromData(data, length) == 0)
        return 0;
    FieldReader in(data, length, 12);
    uint32_t w = 0, h = 0;
    if (!in.u32(w) || !in.u32(h))
        return 0;
    width = fixed16ToFloat(w);
    height = fixed16ToFloat(h);
    return 20;
}

size_t TrackApertureDimensions::toData(unsigned char* buffer, size_t capacity) const
{
    if (getSize() > capacity)
        return 0;
    QTHeaderBase1::toData(buffer, capacity);
    writeBE32(buffer + 12, floatToFixed16(width));
    writeBE32(buffer + 16, floatToFixed16(height));
    return 20;
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
