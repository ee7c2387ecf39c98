#pragma once
#include <array>
#include <string>

#include "quicktime/atoms/QTAtom.h"
#include "quicktime/atoms/Wire.h"

// The fixed header atoms of a movie: mvhd, tkhd, mdhd, hdlr and the alias
// records of dref.
namespace Corvidane::QuickTime {

// Creation and modification times, seconds since 1904; 64-bit on the wire
// when the version's low bit is set.
class QTHeaderBase2 : public QTHeaderBase1 {
public:
    using QTHeaderBase1::QTHeaderBase1;
    uint64_t CreationTime = 0;
    uint64_t ModifyTime = 0;

protected:
    // The head, then the creation and modification times.
    template <class Atom, class Fields> static bool describeHead(Atom& atom, Fields& fields)
    {
        return QTHeaderBase1::describe(atom, fields) && fields.varying(atom.CreationTime, atom.isVersion1()) &&
               fields.varying(atom.ModifyTime, atom.isVersion1());
    }
};

// mvhd. Version 1 widens the times only; a version 1 atom of another writer,
// whose duration is 64-bit, reads the fields behind the duration out of step.
class MovieHeader : public QTHeaderBase2 {
public:
    MovieHeader() { initVariables(); }
    void initVariables();
    template <class Atom, class Fields> static bool describe(Atom& atom, Fields& fields);
    size_t fromData(const unsigned char* data, size_t length) override;
    size_t toData(unsigned char* buffer, size_t capacity) const override;
    uint64_t getSize() const override { return isVersion1() ? 116 : 108; }

    uint32_t TimeScale = 0;
    uint32_t Duration = 0;
    float Rate = 1.0f;
    float Volume = 1.0f;
    std::array<unsigned char, 10> Reserved{};
    std::array<uint32_t, 9> Matrix{};
    uint32_t PreviewTime = 0, PreviewDuration = 0, PosterTime = 0, SelectionTime = 0, SelectionDuration = 0,
             CurrentTime = 0, NextTrackID = 0;
};

// tkhd. Version 1 widens the times only, as for mvhd.
class TrackHeader : public QTHeaderBase2 {
public:
    TrackHeader() { initVariables(); }
    void initVariables();
    template <class Atom, class Fields> static bool describe(Atom& atom, Fields& fields);
    size_t fromData(const unsigned char* data, size_t length) override;
    size_t toData(unsigned char* buffer, size_t capacity) const override;
    uint64_t getSize() const override { return isVersion1() ? 100 : 92; }

    uint32_t TrackID = 0;
    uint32_t Reserved1 = 0;
    uint32_t Duration = 0;
    uint64_t Reserved2 = 0;
    uint16_t Layer = 0, AlternateGroup = 0;
    float Volume = 0.0f;
    uint16_t Reserved3 = 0;
    // a, b, u, c, d, v, x, y, w; a to d in 16.16, the rest as the file has them.
    std::array<uint32_t, 9> Matrix{};
    uint16_t WidthWhole = 0, WidthFraction = 0, HeightWhole = 0, HeightFraction = 0;
};

// mdhd. Version 1 widens the times and the duration.
class MediaHeader : public QTHeaderBase2 {
public:
    MediaHeader() { initVariables(); }
    void initVariables();
    template <class Atom, class Fields> static bool describe(Atom& atom, Fields& fields);
    size_t fromData(const unsigned char* data, size_t length) override;
    size_t toData(unsigned char* buffer, size_t capacity) const override;
    uint64_t getSize() const override { return isVersion1() ? 44 : 32; }
    uint64_t duration() const { return isVersion1() ? Duration64 : Duration; }

    uint32_t TimeScale = 0;
    uint32_t Duration = 0;
    uint64_t Duration64 = 0;
    uint16_t Language = 0, Quality = 0;
};

// hdlr of a QuickTime movie: the name is a Pascal string.
class HandlerRef : public QTHeaderBase1 {
public:
    HandlerRef();
    template <class Atom, class Fields> static bool describe(Atom& atom, Fields& fields);
    size_t fromData(const unsigned char* data, size_t length) override;
    size_t toData(unsigned char* buffer, size_t capacity) const override;
    uint64_t getSize() const override { return 33 + ComponentName.size(); }

    uint32_t ComponentType = 0;
    uint32_t ComponentSubtype = 0;
    uint32_t ComponentManufacturer = 0;
    uint32_t ComponentFlags = 0;
    uint32_t ComponentFlagsMask = 0;
    std::string ComponentName;

protected:
    // Reads the five fields; the position after them, or 0 when short.
    size_t readFields(const unsigned char* data, size_t length);
    // The Pascal reading of the name at 32; the position after it, or 0.
    size_t readPascalName(const unsigned char* data, size_t length);
};

// hdlr of an MP4 file: the name is a C string, and none is written.
class HandlerRef_MP4 : public HandlerRef {
public:
    size_t fromData(const unsigned char* data, size_t length) override;
    size_t toData(unsigned char* buffer, size_t capacity) const override;
    uint64_t getSize() const override { return 34; }
};

// clef, prof, enof of tapt: an aperture's width and height.
class TrackApertureDimensions : public QTHeaderBase1 {
public:
    explicit TrackApertureDimensions(uint32_t code = 0) : QTHeaderBase1(20, code) {}
    template <class Atom, class Fields> static bool describe(Atom& atom, Fields& fields);
    size_t fromData(const unsigned char* data, size_t length) override;
    size_t toData(unsigned char* buffer, size_t capacity) const override;
    uint64_t getSize() const override { return 20; }
    float width = 0.0f, height = 0.0f;
};

// The "@inf" text item of udta. Its two numbers are written little-endian,
// as the files that carry it have always had them. Written only.
class InfAtom : public QTAtom {
public:
    InfAtom(uint16_t language, std::string text);
    size_t toData(unsigned char* buffer, size_t capacity) const override;
    uint64_t getSize() const override { return (m_text.size() + 1) / 2 * 2 + 12; }

private:
    uint16_t m_language;
    std::string m_text;
};

// The tmcd child of tref: the id of the timecode track. Written only; the
// writer sets the type.
class TmcdAtom : public QTAtom {
public:
    explicit TmcdAtom(uint32_t id = 0) : QTAtom(12, 0), trackId(id) {}
    size_t toData(unsigned char* buffer, size_t capacity) const override;
    uint64_t getSize() const override { return 12; }
    uint32_t trackId;
};

// One entry of dref: a Macintosh alias record. Of it only the file name and
// the path in its tail are used; the volume before the first ':' is of no use
// on this machine.
class AliasFile : public QTHeaderBase1 {
public:
    static constexpr size_t fixedPart = 126;
    // fixedPart for an entry that holds all fields and at least one byte more.
    size_t fromData(const unsigned char* data, size_t length) override;

    uint32_t UserType = 0;
    uint16_t RecordSize = 0, Version = 0, AliasKind = 0;
    std::string VolumeName;
    std::string FileName;
    // The tail's path with ':' turned into '\\', the volume left out.
    std::string Path;
};

} // namespace Corvidane::QuickTime
