#include "quicktime/atoms/Extensions.h"

#include <algorithm>

#include "frame/FourCC.h"
#include "quicktime/atoms/Described.h"

namespace Corvidane::QuickTime {

ImageExtension_fiel::ImageExtension_fiel() : QTAtom(10, fourCC("fiel")) {}

template <class Atom, class Fields> bool ImageExtension_fiel::describe(Atom& atom, Fields& fields)
{
    return QTAtom::describe(atom, fields) && fields.u8(atom.fields) && fields.u8(atom.detail);
}

size_t ImageExtension_fiel::fromData(const unsigned char* data, size_t length)
{
    return readKeepingDefaults(*this, data, length, 10);
}

size_t ImageExtension_fiel::toData(unsigned char* buffer, size_t capacity) const
{
    return writeDescribed(*this, buffer, capacity);
}

ImageExtension_colr::ImageExtension_colr() : QTAtom(18, fourCC("colr")), parameterType(fourCC("nclc")) {}

template <class Atom, class Fields> bool ImageExtension_colr::describe(Atom& atom, Fields& fields)
{
    return QTAtom::describe(atom, fields) && fields.code(atom.parameterType) && fields.u16(atom.primaries) && fields.u16(atom.transferFunction) &&
           fields.u16(atom.matrix);
}

size_t ImageExtension_colr::fromData(const unsigned char* data, size_t length)
{
    return readKeepingDefaults(*this, data, length, 18);
}

size_t ImageExtension_colr::toData(unsigned char* buffer, size_t capacity) const
{
    return writeDescribed(*this, buffer, capacity);
}

ImageExtension_pasp::ImageExtension_pasp() : QTAtom(16, fourCC("pasp")) {}

template <class Atom, class Fields> bool ImageExtension_pasp::describe(Atom& atom, Fields& fields)
{
    return QTAtom::describe(atom, fields) && fields.u32(atom.hSpacing) && fields.u32(atom.vSpacing);
}

size_t ImageExtension_pasp::fromData(const unsigned char* data, size_t length)
{
    return readKeepingDefaults(*this, data, length, 16);
}

size_t ImageExtension_pasp::toData(unsigned char* buffer, size_t capacity) const
{
    return writeDescribed(*this, buffer, capacity);
}

ImageExtension_clap::ImageExtension_clap() : QTAtom(40, fourCC("clap")) {}

template <class Atom, class Fields> bool ImageExtension_clap::describe(Atom& atom, Fields& fields)
{
    return QTAtom::describe(atom, fields) && fields.u32(atom.widthN) && fields.u32(atom.widthD) && fields.u32(atom.heightN) &&
           fields.u32(atom.heightD) && fields.u32(atom.horizOffN) && fields.u32(atom.horizOffD) &&
           fields.u32(atom.vertOffN) && fields.u32(atom.vertOffD);
}

size_t ImageExtension_clap::fromData(const unsigned char* data, size_t length)
{
    return readKeepingDefaults(*this, data, length, 40);
}

size_t ImageExtension_clap::toData(unsigned char* buffer, size_t capacity) const
{
    return writeDescribed(*this, buffer, capacity);
}

void OpaqueExtension::setData(const unsigned char* bytes, size_t count)
{
    m_block.assign(count, 0);
    if (bytes)
        std::copy(bytes, bytes + count, m_block.begin());
    size = static_cast<uint32_t>(count + 8);
}

size_t OpaqueExtension::toData(unsigned char* buffer, size_t capacity) const
{
    if (getSize() > capacity)
        return 0;
    QTAtom::toData(buffer, capacity);
    std::copy(m_block.begin(), m_block.end(), buffer + 8);
    return static_cast<size_t>(getSize());
}

ImageExtension_ARES::ImageExtension_ARES() : QTAtom(20, fourCC("ARES")) {}

size_t ImageExtension_ARES::fromData(const unsigned char* data, size_t length)
{
    if (QTAtom::fromData(data, length) == 0)
        return 0;
    FieldReader in(data, length, 8);
    in.bytes(tag, sizeof tag) && in.u32(resolutionID);
    return 20;
}

ImageExtension_ADHR::ImageExtension_ADHR() : QTAtom(28, fourCC("ADHR")) {}

size_t ImageExtension_ADHR::fromData(const unsigned char* data, size_t length)
{
    if (QTAtom::fromData(data, length) == 0)
        return 0;
    FieldReader in(data, length, 16);
    for (uint32_t& word : words)
        if (!in.u32(word))
            break;
    return 28;
}

SoundExtension_enda::SoundExtension_enda(bool littleEndian) : QTAtom(10, fourCC("enda")), LittleEndian(littleEndian)
{
}

template <class Atom, class Fields> bool SoundExtension_enda::describe(Atom& atom, Fields& fields)
{
    return QTAtom::describe(atom, fields) && fields.u16(atom.LittleEndian);
}

size_t SoundExtension_enda::fromData(const unsigned char* data, size_t length)
{
    return readKeepingDefaults(*this, data, length, 10);
}

size_t SoundExtension_enda::toData(unsigned char* buffer, size_t capacity) const
{
    return writeDescribed(*this, buffer, capacity);
}

SoundExtension_frma::SoundExtension_frma(uint32_t code) : QTAtom(12, fourCC("frma")), DataFormat(code) {}

// Not one description: the code is read as a big-endian number, so reversed,
// and written as it lies, as the files' other readers have always had it. The
// writer only writes the frma records it made itself.
size_t SoundExtension_frma::fromData(const unsigned char* data, size_t length)
{
    if (QTAtom::fromData(data, length) == 0)
        return 0;
    FieldReader in(data, length, 8);
    in.u32(DataFormat);
    return 12;
}

size_t SoundExtension_frma::toData(unsigned char* buffer, size_t capacity) const
{
    if (getSize() > capacity)
        return 0;
    FieldWriter out(buffer, capacity, QTAtom::toData(buffer, capacity));
    return out.code(DataFormat) ? out.position() : 0;
}

SoundExtension_wave::SoundExtension_wave(int endian, uint32_t code) : QTAtom(0, fourCC("wave"))
{
    if (endian == 0)
        return;
    children.push_back(std::make_unique<SoundExtension_frma>(code));
    children.push_back(std::make_unique<SoundExtension_enda>(endian == 1));
    byteOrder = endian;
    size = static_cast<uint32_t>(getSize());
}

size_t SoundExtension_wave::fromData(const unsigned char* data, size_t length)
{
    if (QTAtom::fromData(data, length) == 0)
        return 0;
    size_t end = std::min<size_t>(size, length);
    readChildAtoms(data, 8, end, children, [](uint32_t code) -> std::unique_ptr<QTAtom> {
        if (code == fourCC("enda"))
            return std::make_unique<SoundExtension_enda>();
        return nullptr;
    });
    for (const auto& child : children)
        if (child->type == fourCC("enda"))
            byteOrder = static_cast<SoundExtension_enda&>(*child).LittleEndian ? 1 : 2;
    return 8;
}

// The stored length of a wave read from a file, else the children's sum.
uint64_t SoundExtension_wave::getSize() const
{
    if (size != 0)
        return size;
    uint64_t total = 8;
    for (const auto& child : children)
        total += child->getSize();
    return total;
}

size_t SoundExtension_wave::toData(unsigned char* buffer, size_t capacity) const
{
    if (getSize() > capacity)
        return 0;
    size_t position = QTAtom::toData(buffer, capacity);
    for (const auto& child : children)
        position += child->toData(buffer + position, capacity - position);
    return position;
}

Extension_esds::Extension_esds(EsdsType esdsType) : QTHeaderBase1(0, fourCC("esds")), kind(esdsType)
{
    if (kind == Video) {
        esid = 3;
        streamPriority = 1;
        objectTypeId = 0x20;
        streamType = 0x11;
        bufferSizeDB = 64000;
        maxBitrate = 800000;
        avgBitrate = 9600000;
    }
    size = static_cast<uint32_t>(getSize());
}

uint64_t Extension_esds::getSize() const
{
    if (kind == Video)
        return 84;
    return m_config.empty() ? 44 : 49 + m_config.size();
}

void Extension_esds::setDecoderConfig(const unsigned char* bytes, size_t count)
{
    m_config.assign(bytes, bytes + count);
    size = static_cast<uint32_t>(getSize());
}

size_t Extension_esds::fromData(const unsigned char* data, size_t length)
{
    if (QTHeaderBase1::fromData(data, length) == 0)
        return 0;
    FieldReader in(data, length, 12);
    uint8_t high = 0;
    uint16_t low = 0;
    if (!in.u16(esid) || !in.u8(streamPriority) || !in.u8(objectTypeId) || !in.u8(streamType) || !in.u8(high) ||
        !in.u16(low) || !in.u32(maxBitrate) || !in.u32(avgBitrate))
        return 0;
    bufferSizeDB = uint32_t(high) << 16 | low;
    size_t end = std::min<size_t>(size, length);
    if (end > in.position())
        m_config.assign(in.here(), data + end);
    return end;
}

namespace {

// An MPEG-4 descriptor head: the tag, three continuation bytes, the length.
unsigned char* descriptorHead(unsigned char* p, uint8_t tag, size_t length)
{
    p[0] = tag;
    p[1] = p[2] = p[3] = 0x80;
    p[4] = static_cast<unsigned char>(length & 0x7F);
    return p + 5;
}

const unsigned char mpeg4VisualDescriptor[72] = {
    0x03, 0x46, 0x00, 0x01, 0x00, 0x04, 0x3E, 0x20, 0x11, 0x00, 0x00, 0x00, 0x00, 0x0C, 0x35, 0x00, 0x00, 0x00,
    0x00, 0x00, 0x05, 0x2F, 0x00, 0x00, 0x01, 0xB0, 0x01, 0x00, 0x00, 0x01, 0xB5, 0x89, 0x13, 0x00, 0x00, 0x01,
    0x00, 0x00, 0x00, 0x01, 0x20, 0x00, 0xC4, 0xF9, 0xD9, 0xB5, 0x88, 0x00, 0xCD, 0x0B, 0x44, 0x24, 0x14, 0x63,
    0x00, 0x00, 0x01, 0xB2, 0x4C, 0x61, 0x76, 0x63, 0x35, 0x31, 0x2E, 0x37, 0x31, 0x2E, 0x30, 0x06, 0x01, 0x02};

} // namespace

size_t Extension_esds::toData(unsigned char* buffer, size_t capacity) const
{
    if (getSize() > capacity)
        return 0;
    QTHeaderBase1::toData(buffer, capacity);
    unsigned char* p = buffer + 12;
    if (kind == Video) {
        std::copy(std::begin(mpeg4VisualDescriptor), std::end(mpeg4VisualDescriptor), p);
        return 84;
    }
    size_t extra = m_config.empty() ? 0 : m_config.size() + 5;
    p = descriptorHead(p, 3, 27 + extra);
    writeBE16(p, esid);
    p[2] = streamPriority;
    p = descriptorHead(p + 3, 4, 13 + extra);
    p[0] = objectTypeId;
    p[1] = streamType;
    p[2] = static_cast<unsigned char>(bufferSizeDB >> 16);
    writeBE16(p + 3, static_cast<uint16_t>(bufferSizeDB));
    writeBE32(p + 5, maxBitrate);
    writeBE32(p + 9, avgBitrate);
    p += 13;
    if (!m_config.empty()) {
        p = descriptorHead(p, 5, m_config.size());
        p = std::copy(m_config.begin(), m_config.end(), p);
    }
    p = descriptorHead(p, 6, 1);
    *p++ = 2;
    return static_cast<size_t>(p - buffer);
}

} // namespace Corvidane::QuickTime
