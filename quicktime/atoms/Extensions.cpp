#include "quicktime/atoms/Extensions.h"

#include <algorithm>

#include "frame/FourCC.h"

namespace Corvidane::QuickTime {

ImageExtension_fiel::ImageExtension_fiel() : QTAtom(10, fourCC("fiel")) {}

size_t ImageExtension_fiel::fromData(const unsigned char* data, size_t length)
{
    if (QTAtom::fromData(data, length) == 0)
        return 0;
    FieldReader in(data, length, 8);
    in.u8(fields), in.u8(detail);
    return 10;
}

size_t ImageExtension_fiel::toData(unsigned char* buffer, size_t capacity) const
{
    if (getSize() > capacity)
        return 0;
    QTAtom::toData(buffer, capacity);
    buffer[8] = fields;
    buffer[9] = detail;
    return 10;
}

ImageExtension_colr::ImageExtension_colr() : QTAtom(18, fourCC("colr")), parameterType(fourCC("nclc")) {}

size_t ImageExtension_colr::fromData(const unsigned char* data, size_t length)
{
    if (QTAtom::fromData(data, length) == 0)
        return 0;
    FieldReader in(data, length, 8);
    in.code(parameterType) && in.u16(primaries) && in.u16(transferFunction) && in.u16(matrix);
    return 18;
}

size_t ImageExtension_colr::toData(unsigned char* buffer, size_t capacity) const
{
    if (getSize() > capacity)
        return 0;
    QTAtom::toData(buffer, capacity);
    writeCode(buffer + 8, parameterType);
    writeBE16(buffer + 12, primaries);
    writeBE16(buffer + 14, transferFunction);
    writeBE16(buffer + 16, matrix);
    return 18;
}

ImageExtension_pasp::ImageExtension_pasp() : QTAtom(16, fourCC("pasp")) {}

size_t ImageExtension_pasp::fromData(const unsigned char* data, size_t length)
{
    if (QTAtom::fromData(data, length) == 0)
        return 0;
    FieldReader in(data, length, 8);
    in.u32(hSpacing) && in.u32(vSpacing);
    return 16;
}

size_t ImageExtension_pasp::toData(unsigned char* buffer, size_t capacity) const
{
    if (getSize() > capacity)
        return 0;
    QTAtom::toData(buffer, capacity);
    writeBE32(buffer + 8, hSpacing);
    writeBE32(buffer + 12, vSpacing);
    return 16;
}

ImageExtension_clap::ImageExtension_clap() : QTAtom(40, fourCC("clap")) {}

size_t ImageExtension_clap::fromData(const unsigned char* data, size_t length)
{
    if (QTAtom::fromData(data, length) == 0)
        return 0;
    FieldReader in(data, length, 8);
    for (uint32_t* term : {&widthN, &widthD, &heightN, &heightD, &horizOffN, &horizOffD, &vertOffN, &vertOffD})
        if (!in.u32(*term))
            break;
    return 40;
}

size_t ImageExtension_clap::toData(unsigned char* buffer, size_t capacity) const
{
    if (getSize() > capacity)
        return 0;
    QTAtom::toData(buffer, capacity);
    unsigned char* p = buffer + 8;
    for (uint32_t term : {widthN, widthD, heightN, heightD, horizOffN, horizOffD, vertOffN, vertOffD})
        writeBE32(p, term), p += 4;
    return 40;
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

size_t SoundExtension_enda::fromData(const unsigned char* data, size_t length)
{
    if (QTAtom::fromData(data, length) == 0)
        return 0;
    FieldReader in(data, length, 8);
    in.u16(LittleEndian);
    return 10;
}

size_t SoundExtension_enda::toData(unsigned char* buffer, size_t capacity) const
{
    if (getSize() > capacity)
        return 0;
    QTAtom::toData(buffer, capacity);
    writeBE16(buffer + 8, LittleEndian);
    return 10;
}

SoundExtension_frma::SoundExtension_frma(uint32_t code) : QTAtom(12, fourCC("frma")), DataFormat(code) {}

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
    QTAtom::toData(buffer, capacity);
    writeCode(buffer + 8, DataFormat);
    return 12;
}

SoundExtension_wave::SoundExtension_wave(int endian, uint32_t code) : QTAtom(0, fourCC("wave"))
{
    if (endian == 0)
        return;
    children.push_back(std::make_unique<SoundExtension_frma>(code));
    children.push_back(std::make_unique<SoundExtension_enda>(endian == 1));
    byteOrder = endian;
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

} // namespace Corvidane::QuickTime
