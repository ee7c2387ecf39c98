#include "quicktime/atoms/SampleDescriptors.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "frame/FourCC.h"
#include "quicktime/atoms/Described.h"

namespace Corvidane::QuickTime {

template <class Atom, class Fields> bool SampleDescriptor::describe(Atom& atom, Fields& fields)
{
    return QTAtom::describe(atom, fields) && fields.bytes(atom.reserved, sizeof atom.reserved) &&
           fields.u16(atom.dataReferenceIndex);
}

size_t SampleDescriptor::fromData(const unsigned char* data, size_t length)
{
    return readDescribed(*this, data, length);
}

size_t SampleDescriptor::toData(unsigned char* buffer, size_t capacity) const
{
    return writeDescribed(*this, buffer, capacity);
}

bool AvDescriptor::findExtension(uint32_t code) const { return extension(code) != nullptr; }

const QTAtom* AvDescriptor::extension(uint32_t code) const
{
    for (const auto& item : extensions)
        if (item->type == code)
            return item.get();
    return nullptr;
}

template <class Atom, class Fields> bool AvDescriptor::describe(Atom& atom, Fields& fields)
{
    return SampleDescriptor::describe(atom, fields) && fields.u16(atom.Version) && fields.u16(atom.Revision) &&
           fields.u32(atom.Vendor);
}

size_t AvDescriptor::fromData(const unsigned char* data, size_t length) { return readDescribed(*this, data, length); }

size_t AvDescriptor::toData(unsigned char* buffer, size_t capacity) const
{
    return writeDescribed(*this, buffer, capacity);
}

uint64_t AvDescriptor::extensionsSize() const
{
    uint64_t total = 0;
    for (const auto& item : extensions)
        total += item->getSize();
    return extensions.empty() ? 0 : total + 4;
}

size_t AvDescriptor::writeExtensions(unsigned char* buffer, size_t capacity) const
{
    size_t position = 0;
    for (const auto& item : extensions)
        position += item->toData(buffer + position, capacity - position);
    if (!extensions.empty() && capacity - position >= 4) {
        writeBE32(buffer + position, 0);
        position += 4;
    }
    return position;
}

size_t AvDescriptor::skipTerminator(const unsigned char* data, size_t length, size_t position) const
{
    if (!extensions.empty() && position + 4 <= length && readBE32(data + position) == 0)
        return position + 4;
    return position;
}

void VideoDescriptor::initVariables()
{
    Vendor = readBE32(reinterpret_cast<const unsigned char*>("appl"));
    TemporalQuality = SpatialQuality = 0;
    Width = Height = 0;
    HRes = VRes = 72.0f;
    DataSize = 0;
    FrameCount = 1;
    CompressorName2.clear();
    Depth = 0;
    ColourTableId = 0xFFFF;
}

// The writer may give the resolution fields' bits instead of the two numbers.
template <class Atom, class Fields> bool VideoDescriptor::describe(Atom& atom, Fields& fields)
{
    const bool resolutionAsBits = Fields::writing && atom.resolutionBits != 0;
    return AvDescriptor::describe(atom, fields) && fields.u32(atom.TemporalQuality) &&
           fields.u32(atom.SpatialQuality) && fields.u16(atom.Width) && fields.u16(atom.Height) &&
           (resolutionAsBits ? fields.u32(atom.resolutionBits) && fields.u32(atom.resolutionBits)
                             : fields.fixed16(atom.HRes) && fields.fixed16(atom.VRes)) &&
           fields.u32(atom.DataSize) && fields.u16(atom.FrameCount) && fields.pascalName(atom.CompressorName2, 32) &&
           fields.u16(atom.Depth) && fields.u16(atom.ColourTableId);
}

size_t VideoDescriptor::fromData(const unsigned char* data, size_t length)
{
    if (readDescribed(*this, data, length) == 0)
        return 0;
    size_t end = std::min<size_t>(size, length);
    size_t position = readChildAtoms(data, 86, end, extensions, [](uint32_t code) -> std::unique_ptr<QTAtom> {
        if (code == fourCC("fiel"))
            return std::make_unique<ImageExtension_fiel>();
        if (code == fourCC("colr"))
            return std::make_unique<ImageExtension_colr>();
        if (code == fourCC("pasp"))
            return std::make_unique<ImageExtension_pasp>();
        if (code == fourCC("clap"))
            return std::make_unique<ImageExtension_clap>();
        if (code == fourCC("ACLR") || code == fourCC("APRG"))
            return std::make_unique<OpaqueExtension>(code);
        if (code == fourCC("ARES"))
            return std::make_unique<ImageExtension_ARES>();
        if (code == fourCC("ADHR"))
            return std::make_unique<ImageExtension_ADHR>();
        return nullptr;
    });
    return skipTerminator(data, length, std::max<size_t>(position, 86));
}

size_t VideoDescriptor::toData(unsigned char* buffer, size_t capacity) const
{
    const size_t position = writeDescribed(*this, buffer, capacity);
    return position == 0 ? 0 : position + writeExtensions(buffer + position, capacity - position);
}

template <class Atom, class Fields> bool SoundDescriptor::describe(Atom& atom, Fields& fields)
{
    return AvDescriptor::describe(atom, fields) && fields.u16(atom.Channels) && fields.u16(atom.SampleSize) &&
           fields.u16(atom.CompressionId) && fields.u16(atom.PacketSize) && fields.fixed16(atom.SampleRate);
}

size_t SoundDescriptor::fromData_fieldsOnly(const unsigned char* data, size_t length)
{
    const size_t position = readDescribed(static_cast<SoundDescriptor&>(*this), data, length);
    if (position != 0)
        settleFields();
    return position;
}

void SoundDescriptor::settleFields()
{
    // Some writers leave 16 in the field of these formats.
    if (type == fourCC("in32"))
        SampleSize = 32;
    else if (type == fourCC("in24"))
        SampleSize = 24;
    endianType = CompressionId == 0xFFFE ? 1 : 2;
}

size_t SoundDescriptor::toData_fieldsOnly(unsigned char* buffer, size_t capacity) const
{
    FieldWriter out(buffer, capacity);
    return describe(*this, out) ? out.position() : 0;
}

size_t SoundDescriptor::toData(unsigned char* buffer, size_t capacity) const
{
    if (getSize() > capacity)
        return 0;
    size_t position = toData_fieldsOnly(buffer, capacity);
    if (position == 0)
        return 0;
    return position + writeExtensions(buffer + position, capacity - position);
}

namespace {

// The two bytes of an AAC LC AudioSpecificConfig for a rate and channel count.
bool aacConfig(float rate, uint16_t channels, unsigned char config[2])
{
    static const struct {
        unsigned rate;
        unsigned char first;
        bool highBit;
    } rates[] = {{8000, 0x15, true},  {11025, 0x15, false}, {12000, 0x14, true}, {16000, 0x14, false},
                 {22050, 0x13, true}, {24000, 0x13, false}, {32000, 0x12, true}, {44100, 0x12, false},
                 {48000, 0x11, true}, {64000, 0x11, false}, {88200, 0x10, true}, {96000, 0x10, false}};
    for (const auto& entry : rates) {
        if (static_cast<float>(entry.rate) != rate)
            continue;
        config[0] = entry.first;
        config[1] = static_cast<unsigned char>((entry.highBit ? 0x80 : 0) | ((channels * 8) & 0x7F));
        return true;
    }
    return false;
}

} // namespace

void SoundDescriptor::addExtensions()
{
    if (type != fourCC("mp4a"))
        return;
    auto esds = std::make_unique<Extension_esds>(Extension_esds::Audio);
    unsigned char config[2];
    if (aacConfig(SampleRate, Channels, config))
        esds->setDecoderConfig(config, 2);
    extensions.push_back(std::move(esds));
    size = static_cast<uint32_t>(getSize());
}

template <class Atom, class Fields> bool SoundDescriptorV1::describe(Atom& atom, Fields& fields)
{
    return SoundDescriptor::describe(atom, fields) && fields.u32(atom.SamplesPerPacket) &&
           fields.u32(atom.BytesPerPacket) && fields.u32(atom.BytesPerFrame) && fields.u32(atom.bytesPerSample);
}

size_t SoundDescriptorV1::toData_fieldsOnly(unsigned char* buffer, size_t capacity) const
{
    FieldWriter out(buffer, capacity);
    return describe(*this, out) ? out.position() : 0;
}

void SoundDescriptorV1::addExtensions()
{
    SoundDescriptor::addExtensions();
    if (endianType != 0) {
        extensions.push_back(std::make_unique<SoundExtension_wave>(endianType, type));
        size = static_cast<uint32_t>(getSize());
    }
}

size_t SoundDescriptor::fromData(const unsigned char* data, size_t length)
{
    size_t position = fromData_fieldsOnly(data, length);
    if (position == 0)
        return 0;
    size_t end = std::min<size_t>(size, length);
    // An enda inside a wave of a version 0 entry: found by its code alone.
    if (end > position + 32) {
        for (size_t p = position; p + 4 <= end; ++p) {
            if (readCode(data + p) != fourCC("enda"))
                continue;
            position = p + 4;
            if (position + 2 <= end && readBE16(data + position) != 0)
                endianType = 1;
            break;
        }
    }
    position = readChildAtoms(data, position, end, extensions, [](uint32_t) { return nullptr; });
    return skipTerminator(data, length, position);
}

size_t SoundDescriptorV1::fromData(const unsigned char* data, size_t length)
{
    if (readDescribed(*this, data, length) == 0)
        return 0;
    settleFields();
    size_t end = std::min<size_t>(size, length);
    size_t position = 52;
    while (position < end && end - position >= 8) {
        uint32_t childLength = readBE32(data + position);
        if (childLength == 0)
            break;
        size_t available = std::min<size_t>(childLength, end - position);
        uint32_t code = readCode(data + position + 4);
        if (code == fourCC("wave")) {
            auto wave = std::make_unique<SoundExtension_wave>();
            wave->fromData(data + position, available);
            if (wave->byteOrder != 0)
                endianType = wave->byteOrder;
            extensions.push_back(std::move(wave));
        } else if (code == fourCC("esds")) {
            auto esds = std::make_unique<QTAtomRaw>();
            esds->fromData(data + position, available);
            extensions.push_back(std::move(esds));
        }
        position += available;
    }
    return skipTerminator(data, length, position);
}

size_t SoundDescriptorV2::fromData(const unsigned char* data, size_t length)
{
    if (AvDescriptor::fromData(data, length) == 0)
        return 0;
    FieldReader in(data, length, 36);
    uint64_t rateBits = 0;
    uint32_t always = 0;
    if (!in.u32(structSize) || !in.u64(rateBits) || !in.u32(channelCount) || !in.u32(always) ||
        !in.u32(bitsPerChannel) || !in.u32(formatFlags) || !in.u32(bytesPerPacket) || !in.u32(framesPerPacket))
        return 0;
    std::memcpy(&sampleRate, &rateBits, 8);
    return 72;
}

template <class Atom, class Fields> bool TimecodeDescriptor::describe(Atom& atom, Fields& fields)
{
    return SampleDescriptor::describe(atom, fields) && fields.u32(atom.ReservedA) && fields.u32(atom.Flags) &&
           fields.u32(atom.Timescale) && fields.u32(atom.FrameDuration) && fields.u8(atom.NumberOfFrames) &&
           fields.u8(atom.ReservedB);
}

size_t TimecodeDescriptor::fromData(const unsigned char* data, size_t length)
{
    if (readDescribed(*this, data, length) == 0)
        return 0;
    size_t end = std::min<size_t>(size, length);
    for (size_t p = 34; p + 12 <= end;) {
        uint32_t childLength = readBE32(data + p);
        if (childLength < 8)
            break;
        if (readCode(data + p + 4) == fourCC("name")) {
            size_t count = std::min<size_t>(readBE16(data + p + 8), end - p - 12);
            name.assign(reinterpret_cast<const char*>(data + p + 12), count);
            break;
        }
        p += childLength;
    }
    return end;
}

size_t TimecodeDescriptor::toData(unsigned char* buffer, size_t capacity) const
{
    const size_t position = writeDescribed(*this, buffer, capacity);
    if (position == 0 || name.empty())
        return position;
    // The name child: length, code, text length, language, text padded to an even length.
    FieldWriter out(buffer, capacity, position);
    const bool written = out.u32(static_cast<uint32_t>(nameAtomSize())) && out.code(fourCC("name")) &&
                         out.u16(static_cast<uint16_t>(name.size())) && out.u16(0) &&
                         out.bytes(name.data(), name.size()) && out.reserved(name.size() % 2);
    return written ? out.position() : 0;
}

uint64_t ClosedCaptionDescriptor::getSize() const { return type == fourCC("c708") ? 28 : 16; }

size_t ClosedCaptionDescriptor::toData(unsigned char* buffer, size_t capacity) const
{
    if (getSize() > capacity || SampleDescriptor::toData(buffer, capacity) == 0)
        return 0;
    if (type == fourCC("c708"))
        std::memcpy(buffer + 16, extra, sizeof extra);
    return static_cast<size_t>(getSize());
}

size_t ClosedCaptionDescriptor::fromData(const unsigned char* data, size_t length)
{
    if (SampleDescriptor::fromData(data, length) == 0)
        return 0;
    if (type != fourCC("c708")) {
        size = 16;
        return 16;
    }
    size_t more = std::min<size_t>({12, length - 16, size > 16 ? size - 16 : 0});
    std::memcpy(extra, data + 16, more);
    return 16 + more;
}

size_t SampleDescriptionList::fromData(const unsigned char* data, size_t length)
{
    if (length < 16)
        return 0;
    QTHeaderBase1::fromData(data, length);
    uint32_t count = readBE32(data + 12);
    size_t p = 16;
    if (count == 0 || uint64_t(count) * itemWireSize() > length - p)
        return 0;
    for (uint32_t i = 0; i < count && p < length; ++i) {
        SampleDescriptor* item = nullptr;
        size_t used = AddItem(&item, data + p, length - p);
        std::unique_ptr<SampleDescriptor> owned(item);
        if (used == 0)
            break;
        // Step to the next entry by the declared length where it is sane.
        uint32_t declared = length - p >= 4 ? readBE32(data + p) : 0;
        if (owned)
            m_items.push_back(std::move(owned));
        p += declared >= used && declared <= length - p ? declared : used;
    }
    return p;
}

size_t SampleDescriptionList::AddItem(SampleDescriptor** item, const unsigned char* data, size_t length)
{
    uint16_t version = length >= 18 ? readBE16(data + 16) : 0;
    std::unique_ptr<SampleDescriptor> entry;
    switch (m_streamType) {
    case StreamVideo: entry = std::make_unique<VideoDescriptor>(); break;
    case StreamAudio:
        if (version == 2)
            entry = std::make_unique<SoundDescriptorV2>();
        else if (version == 1)
            entry = std::make_unique<SoundDescriptorV1>();
        else
            entry = std::make_unique<SoundDescriptor>();
        break;
    case StreamTimecode: entry = std::make_unique<TimecodeDescriptor>(); break;
    case StreamAncillary: entry = std::make_unique<ClosedCaptionDescriptor>(); break;
    default:
        // An entry of a type this list doesn't read is stepped over.
        *item = nullptr;
        return length < 8 ? 0 : readBE32(data);
    }
    size_t used = entry->fromData(data, length);
    *item = entry.release();
    return used;
}

namespace {

template <typename T>
const T* entryAs(const SampleDescriptor* entry)
{
    return dynamic_cast<const T*>(entry);
}

} // namespace

uint32_t SampleDescriptionList::getFcc(size_t index) const
{
    const SampleDescriptor* entry = item(index);
    return entry ? entry->type : 0;
}

int SampleDescriptionList::getBitsPerSample(size_t index) const
{
    const SampleDescriptor* entry = item(index);
    if (auto video = entryAs<VideoDescriptor>(entry))
        return video->Depth;
    if (auto v2 = entryAs<SoundDescriptorV2>(entry))
        return static_cast<int>(v2->bitsPerChannel);
    if (auto sound = entryAs<SoundDescriptor>(entry))
        return sound->SampleSize;
    return 0;
}

unsigned SampleDescriptionList::getAudioSampleRate(size_t index) const
{
    const SampleDescriptor* entry = item(index);
    // Version 2 stores the rate as a 64-bit float: any value a damaged file
    // holds, infinities and NaN included, must be range-checked first.
    if (auto v2 = entryAs<SoundDescriptorV2>(entry))
        return v2->sampleRate >= 0 && v2->sampleRate < 4294967295.0 ? static_cast<unsigned>(v2->sampleRate + 0.5) : 0;
    if (auto sound = entryAs<SoundDescriptor>(entry))
        return static_cast<unsigned>(std::lround(sound->SampleRate));
    return 0;
}

unsigned SampleDescriptionList::getAudioChannelCount(size_t index) const
{
    const SampleDescriptor* entry = item(index);
    if (auto v2 = entryAs<SoundDescriptorV2>(entry))
        return v2->channelCount;
    if (auto sound = entryAs<SoundDescriptor>(entry))
        return sound->Channels;
    return 0;
}

unsigned SampleDescriptionList::getAudioBlockSize(size_t index) const
{
    const SampleDescriptor* entry = item(index);
    if (auto v2 = entryAs<SoundDescriptorV2>(entry))
        return v2->bytesPerPacket ? v2->bytesPerPacket : v2->bitsPerChannel / 8 * v2->channelCount;
    if (auto v1 = entryAs<SoundDescriptorV1>(entry); v1 && v1->BytesPerFrame)
        return v1->BytesPerFrame;
    if (auto sound = entryAs<SoundDescriptor>(entry))
        return sound->SampleSize / 8u * sound->Channels;
    return 0;
}

int SampleDescriptionList::getAudioByteOrder(size_t index) const
{
    const SampleDescriptor* entry = item(index);
    uint32_t format = entry ? entry->type : 0;
    if (auto v2 = entryAs<SoundDescriptorV2>(entry); v2 && (v2->formatFlags & 2))
        return format == fourCC("sowt") ? 1 : 2;
    if (auto v1 = entryAs<SoundDescriptorV1>(entry); v1 && v1->endianType != 0) {
        if (format == fourCC("sowt"))
            return 1;
        if (format == fourCC("twos"))
            return 2;
        return v1->endianType;
    }
    if (format == fourCC("sowt"))
        return 1;
    if (format == fourCC("twos") || format == fourCC("in24") || format == fourCC("in32"))
        return 2;
    return 0;
}

} // namespace Corvidane::QuickTime
