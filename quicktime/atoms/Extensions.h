#pragma once
#include <memory>
#include <vector>

#include "quicktime/atoms/QTAtom.h"

// The extension atoms that follow a sample description entry.
namespace Corvidane::QuickTime {

using ExtensionVector = std::vector<std::unique_ptr<QTAtom>>;

// fiel: 1 field (progressive) or 2 (interlaced), and the field detail.
class ImageExtension_fiel : public QTAtom {
public:
    ImageExtension_fiel();
    template <class Atom, class Fields> static bool describe(Atom& atom, Fields& fields);
    size_t fromData(const unsigned char* data, size_t length) override;
    size_t toData(unsigned char* buffer, size_t capacity) const override;
    uint64_t getSize() const override { return 10; }
    uint8_t fields = 1;
    uint8_t detail = 0;
};

// colr: the colour parameter type and three 16-bit code points.
class ImageExtension_colr : public QTAtom {
public:
    ImageExtension_colr();
    template <class Atom, class Fields> static bool describe(Atom& atom, Fields& fields);
    size_t fromData(const unsigned char* data, size_t length) override;
    size_t toData(unsigned char* buffer, size_t capacity) const override;
    uint64_t getSize() const override { return 18; }
    uint32_t parameterType = 0;
    uint16_t primaries = 6, transferFunction = 1, matrix = 6;
};

// pasp: pixel aspect ratio.
class ImageExtension_pasp : public QTAtom {
public:
    ImageExtension_pasp();
    template <class Atom, class Fields> static bool describe(Atom& atom, Fields& fields);
    size_t fromData(const unsigned char* data, size_t length) override;
    size_t toData(unsigned char* buffer, size_t capacity) const override;
    uint64_t getSize() const override { return 16; }
    uint32_t hSpacing = 0, vSpacing = 0;
};

// clap: clean aperture, eight 32-bit terms.
class ImageExtension_clap : public QTAtom {
public:
    ImageExtension_clap();
    template <class Atom, class Fields> static bool describe(Atom& atom, Fields& fields);
    size_t fromData(const unsigned char* data, size_t length) override;
    size_t toData(unsigned char* buffer, size_t capacity) const override;
    uint64_t getSize() const override { return 40; }
    uint32_t widthN = 0, widthD = 0, heightN = 0, heightD = 0, horizOffN = 0, horizOffD = 0, vertOffN = 0,
             vertOffD = 0;
};

// An extension written from a block the writer prepares (ACLR, APRG, the
// writer's ARES, avcC). Reading takes the header only.
class OpaqueExtension : public QTAtom {
public:
    explicit OpaqueExtension(uint32_t code) : QTAtom(8, code) {}
    void setData(const unsigned char* bytes, size_t count);
    size_t toData(unsigned char* buffer, size_t capacity) const override;
    uint64_t getSize() const override { return 8 + m_block.size(); }

private:
    std::vector<unsigned char> m_block;
};

// ARES as read: an 8-byte tag, then the Avid resolution id.
class ImageExtension_ARES : public QTAtom {
public:
    ImageExtension_ARES();
    size_t fromData(const unsigned char* data, size_t length) override;
    uint64_t getSize() const override { return 20; }
    unsigned char tag[8] = {'A', 'R', 'E', 'S', '0', '0', '0', '1'};
    uint32_t resolutionID = 0;
};

// ADHR: an 8-byte tag and four 32-bit words, the second the resolution id.
class ImageExtension_ADHR : public QTAtom {
public:
    ImageExtension_ADHR();
    size_t fromData(const unsigned char* data, size_t length) override;
    uint64_t getSize() const override { return 28; }
    uint32_t words[4] = {0, 0, 0, 0};
    uint32_t resolutionID() const { return words[1]; }
};

// enda: non-zero for little-endian samples.
class SoundExtension_enda : public QTAtom {
public:
    explicit SoundExtension_enda(bool littleEndian = false);
    template <class Atom, class Fields> static bool describe(Atom& atom, Fields& fields);
    size_t fromData(const unsigned char* data, size_t length) override;
    size_t toData(unsigned char* buffer, size_t capacity) const override;
    uint64_t getSize() const override { return 10; }
    uint16_t LittleEndian = 0;
};

// frma: the original format. Read, the code is held as a big-endian number;
// constructed, as given; written, as held.
class SoundExtension_frma : public QTAtom {
public:
    explicit SoundExtension_frma(uint32_t code = 0);
    size_t fromData(const unsigned char* data, size_t length) override;
    size_t toData(unsigned char* buffer, size_t capacity) const override;
    uint64_t getSize() const override { return 12; }
    uint32_t DataFormat = 0;
};

// wave: child atoms, of which enda tells the byte order.
class SoundExtension_wave : public QTAtom {
public:
    // With a non-zero `endian` (1 little, 2 big): a frma of `code` and an enda.
    explicit SoundExtension_wave(int endian = 0, uint32_t code = 0);
    size_t fromData(const unsigned char* data, size_t length) override;
    size_t toData(unsigned char* buffer, size_t capacity) const override;
    uint64_t getSize() const override;
    // 0 unknown, 1 little-endian, 2 big-endian.
    int byteOrder = 0;
    ExtensionVector children;
};

// esds: the MPEG-4 elementary stream descriptor the writer adds to mp4a
// (audio form) or mp4v (video form, a fixed MPEG-4 Visual descriptor).
class Extension_esds : public QTHeaderBase1 {
public:
    enum EsdsType { Video = 0, Audio = 1 };
    explicit Extension_esds(EsdsType kind);
    // Fields at fixed offsets, as if the descriptor heads were absent; the
    // rest is taken as the decoder configuration.
    size_t fromData(const unsigned char* data, size_t length) override;
    size_t toData(unsigned char* buffer, size_t capacity) const override;
    uint64_t getSize() const override;
    void setDecoderConfig(const unsigned char* bytes, size_t count);
    const std::vector<unsigned char>& decoderConfig() const { return m_config; }

    EsdsType kind;
    uint16_t esid = 0;
    uint8_t streamPriority = 0, objectTypeId = 0x40, streamType = 0x15;
    uint32_t bufferSizeDB = 6144, maxBitrate = 128000, avgBitrate = 128000;

private:
    std::vector<unsigned char> m_config;
};

// Walks the children of an atom from `position` up to `end`, stopping where
// fewer than 8 bytes remain or at a length of 0. Each child is made by `make`
// (null for a raw one) and kept in order. The position where the walk ended.
template <typename Make>
size_t readChildAtoms(const unsigned char* data, size_t position, size_t end, ExtensionVector& into, Make make);

} // namespace Corvidane::QuickTime

#include "quicktime/atoms/Extensions.inl"
