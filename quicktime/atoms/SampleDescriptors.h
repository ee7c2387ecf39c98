#pragma once
#include <string>

#include "frame/MediaFileReader.h"
#include "quicktime/atoms/Extensions.h"
#include "quicktime/atoms/QTList.h"

// The entries of stsd: what a track's samples are.
namespace Corvidane::QuickTime {

// The 16 bytes every entry starts with: length, format, 6 reserved bytes and
// the data reference index.
class SampleDescriptor : public QTAtom {
public:
    using QTAtom::QTAtom;
    virtual bool findExtension(uint32_t code) const { return false; }
    template <class Atom, class Fields> static bool describe(Atom& atom, Fields& fields);
    size_t fromData(const unsigned char* data, size_t length) override;
    size_t toData(unsigned char* buffer, size_t capacity) const override;
    uint64_t getSize() const override { return 16; }

    unsigned char reserved[6] = {0, 0, 0, 0, 0, 0};
    uint16_t dataReferenceIndex = 1;
};

// The audio and video head: version, revision, vendor; and the extensions,
// closed on the wire by four zero bytes when there are any.
class AvDescriptor : public SampleDescriptor {
public:
    using SampleDescriptor::SampleDescriptor;
    bool findExtension(uint32_t code) const override;
    template <class Atom, class Fields> static bool describe(Atom& atom, Fields& fields);
    const QTAtom* extension(uint32_t code) const;
    size_t fromData(const unsigned char* data, size_t length) override;
    size_t toData(unsigned char* buffer, size_t capacity) const override;
    uint64_t getSize() const override { return 24; }

    uint16_t Version = 0, Revision = 0;
    uint32_t Vendor = 0;
    ExtensionVector extensions;

protected:
    uint64_t extensionsSize() const;
    size_t writeExtensions(unsigned char* buffer, size_t capacity) const;
    // Counts the four zero bytes that close a list of extensions.
    size_t skipTerminator(const unsigned char* data, size_t length, size_t position) const;
};

class VideoDescriptor : public AvDescriptor {
public:
    explicit VideoDescriptor(uint32_t format = 0) : AvDescriptor(86, format) { initVariables(); }
    virtual void initVariables();
    template <class Atom, class Fields> static bool describe(Atom& atom, Fields& fields);
    size_t fromData(const unsigned char* data, size_t length) override;
    size_t toData(unsigned char* buffer, size_t capacity) const override;
    uint64_t getSize() const override { return 86 + extensionsSize(); }

    uint32_t TemporalQuality = 0, SpatialQuality = 0;
    uint16_t Width = 0, Height = 0;
    float HRes = 72.0f, VRes = 72.0f;
    uint32_t DataSize = 0;
    uint16_t FrameCount = 1;
    std::string CompressorName2;
    uint16_t Depth = 0;
    uint16_t ColourTableId = 0xFFFF;
    // Not read: when non-zero, written as both resolution fields in place of
    // HRes and VRes (the writer stores the bits of the float 72.0).
    uint32_t resolutionBits = 0;
};

// Version 0 sound entry.
class SoundDescriptor : public AvDescriptor {
public:
    explicit SoundDescriptor(uint32_t format = 0) : AvDescriptor(36, format) {}
    template <class Atom, class Fields> static bool describe(Atom& atom, Fields& fields);
    size_t fromData(const unsigned char* data, size_t length) override;
    size_t toData(unsigned char* buffer, size_t capacity) const override;
    uint64_t getSize() const override { return 36 + extensionsSize(); }
    // The fields without the extensions; the bytes written.
    virtual size_t toData_fieldsOnly(unsigned char* buffer, size_t capacity) const;
    // The writer calls this once: an esds for mp4a.
    virtual void addExtensions();
    virtual size_t fromData_fieldsOnly(const unsigned char* data, size_t length);

    uint16_t Channels = 0, SampleSize = 0, CompressionId = 0, PacketSize = 0;
    float SampleRate = 0.0f;
    // Not on the wire: 0 unknown, 1 little-endian, 2 big-endian.
    int endianType = 0;

protected:
    // What the fields read mean: the sample size of in24 and in32, the byte order.
    void settleFields();
};

class SoundDescriptorV1 : public SoundDescriptor {
public:
    using SoundDescriptor::SoundDescriptor;
    template <class Atom, class Fields> static bool describe(Atom& atom, Fields& fields);
    size_t fromData(const unsigned char* data, size_t length) override;
    uint64_t getSize() const override { return 52 + extensionsSize(); }
    size_t toData_fieldsOnly(unsigned char* buffer, size_t capacity) const override;
    // The esds of mp4a, then a wave with frma and enda when the byte order is known.
    void addExtensions() override;

    uint32_t SamplesPerPacket = 0, BytesPerPacket = 0, BytesPerFrame = 0, bytesPerSample = 0;
};

// Version 2 sound entry; its extensions are not read.
class SoundDescriptorV2 : public AvDescriptor {
public:
    explicit SoundDescriptorV2(uint32_t format = 0) : AvDescriptor(72, format) { Version = 2; }
    size_t fromData(const unsigned char* data, size_t length) override;
    // Only the head is written: a version 2 entry can't be written.
    size_t toData(unsigned char* buffer, size_t capacity) const override { return AvDescriptor::toData(buffer, capacity); }
    uint64_t getSize() const override { return 72; }

    uint32_t structSize = 72;
    double sampleRate = 48000.0;
    uint32_t channelCount = 0;
    uint32_t bitsPerChannel = 0;
    uint32_t formatFlags = 0;
    uint32_t bytesPerPacket = 0;
    uint32_t framesPerPacket = 0;
};

// tmcd entry, with the source tape's name from its name child.
class TimecodeDescriptor : public SampleDescriptor {
public:
    TimecodeDescriptor() : SampleDescriptor(34, 0) {}
    template <class Atom, class Fields> static bool describe(Atom& atom, Fields& fields);
    size_t fromData(const unsigned char* data, size_t length) override;
    size_t toData(unsigned char* buffer, size_t capacity) const override;
    uint64_t getSize() const override { return 34 + nameAtomSize(); }
    // Text, padding to an even length, and the 12 bytes of the name child; none without a name.
    uint64_t nameAtomSize() const { return name.empty() ? 0 : name.size() + name.size() % 2 + 12; }

    uint32_t ReservedA = 0, Flags = 0, Timescale = 0, FrameDuration = 0;
    uint8_t NumberOfFrames = 0, ReservedB = 0;
    std::string name;
};

// c608 or c708 closed caption entry; c708 keeps up to 12 bytes more.
class ClosedCaptionDescriptor : public SampleDescriptor {
public:
    ClosedCaptionDescriptor() : SampleDescriptor(16, 0) {}
    size_t fromData(const unsigned char* data, size_t length) override;
    size_t toData(unsigned char* buffer, size_t capacity) const override;
    uint64_t getSize() const override;
    unsigned char extra[12] = {0x0C, 0, 0, 0, 0x6C, 0x70, 0x6D, 0x63, 0x38, 0x30, 0x36, 0x64};
};

// stsd, read for the track's stream type, which decides each entry's class.
class SampleDescriptionList : public QTList<SampleDescriptor> {
public:
    explicit SampleDescriptionList(int streamType) : m_streamType(streamType) {}
    // Entries are read until one fails; what came before is kept.
    size_t fromData(const unsigned char* data, size_t length) override;
    size_t AddItem(SampleDescriptor** item, const unsigned char* data, size_t length) override;

    uint32_t getFcc(size_t index) const;
    int getBitsPerSample(size_t index) const;
    unsigned getAudioSampleRate(size_t index) const;
    unsigned getAudioChannelCount(size_t index) const;
    // Bytes of one sample frame on disk.
    unsigned getAudioBlockSize(size_t index) const;
    // 0 unknown, 1 little-endian, 2 big-endian.
    int getAudioByteOrder(size_t index) const;

protected:
    size_t itemWireSize() const override { return 20; }

private:
    int m_streamType;
};

} // namespace Corvidane::QuickTime
