#pragma once
#include <cstddef>
#include <cstdint>
#include <vector>

// The atoms of fragmented movies: mvex's mehd and trex, moof's mfhd, tfhd and
// trun, mfra's tfra and mfro. Each reads its layout from the atom's header on
// (`fromData` answers false when the bytes can't hold the fixed fields) and
// writes it back (`toData`, `getSize`), both through one description of its
// fields (`describe`, over a FieldReader or a FieldWriter).
namespace Corvidane::QuickTime {

// The 32-bit sample flags of trex, tfhd and trun.
struct SampleFlags {
    static unsigned dependsOn(uint32_t flags) { return (flags >> 24) & 3; }
    static unsigned isDependedOn(uint32_t flags) { return (flags >> 22) & 3; }
    // A sample to start decoding at: not marked non-sync, and not said to
    // depend on others. Writers leave `sample_depends_on` at 0 (unknown) on
    // key frames as often as they set it to 2.
    static bool isSync(uint32_t flags) { return dependsOn(flags) != 1 && !(flags & 0x10000); }
};

// The version byte and the 24 flag bits that follow every full atom's header.
struct FullAtomHead {
    uint8_t version = 0;
    uint32_t flags = 0;
};

struct MovieExtendsHeader : FullAtomHead {
    uint64_t fragmentDuration = 0;
    template <class Atom, class Fields> static bool describe(Atom& atom, Fields& fields);
    bool fromData(const unsigned char* data, size_t length);
    uint64_t getSize() const { return version == 1 ? 20 : 16; }
    size_t toData(unsigned char* buffer, size_t capacity) const;
};

struct TrackExtends : FullAtomHead {
    uint32_t track_id = 0;
    uint32_t default_sample_description_index = 0;
    uint32_t default_sample_duration = 0;
    uint32_t default_sample_size = 0;
    uint32_t default_sample_flags = 0;
    template <class Atom, class Fields> static bool describe(Atom& atom, Fields& fields);
    bool fromData(const unsigned char* data, size_t length);
    uint64_t getSize() const { return 32; }
    size_t toData(unsigned char* buffer, size_t capacity) const;
};

struct MovieFragmentHeader : FullAtomHead {
    uint32_t sequence_number = 0;
    template <class Atom, class Fields> static bool describe(Atom& atom, Fields& fields);
    bool fromData(const unsigned char* data, size_t length);
    uint64_t getSize() const { return 16; }
    size_t toData(unsigned char* buffer, size_t capacity) const;
};

struct TrackFragmentHeader : FullAtomHead {
    enum : uint32_t {
        hasBaseDataOffset = 0x1,
        hasDescriptionIndex = 0x2,
        hasDuration = 0x8,
        hasSize = 0x10,
        hasFlags = 0x20,
        durationIsEmpty = 0x10000,
        defaultBaseIsMoof = 0x20000,
    };
    uint32_t track_id = 0;
    uint64_t base_data_offset = 0;
    uint32_t sample_description_index = 0;
    uint32_t default_sample_duration = 0;
    uint32_t default_sample_size = 0;
    uint32_t default_sample_flags = 0;
    bool has(uint32_t flag) const { return (flags & flag) != 0; }
    template <class Atom, class Fields> static bool describe(Atom& atom, Fields& fields);
    bool fromData(const unsigned char* data, size_t length);
    uint64_t getSize() const;
    size_t toData(unsigned char* buffer, size_t capacity) const;
};

struct TrackRunSample {
    uint32_t sample_duration = 0;
    uint32_t sample_size = 0;
    uint32_t sample_flags = 0;
    int64_t sample_composition_time_offsets = 0;
};

// trun. A run whose entries carry no field holds its count alone; otherwise
// no more entries are kept than the atom's bytes hold.
struct TrackRunSampleList : FullAtomHead {
    enum : uint32_t {
        hasDataOffset = 0x1,
        hasFirstSampleFlags = 0x4,
        hasDuration = 0x100,
        hasSize = 0x200,
        hasFlags = 0x400,
        hasCompositionOffset = 0x800,
    };
    uint32_t sample_count = 0;
    int32_t data_offset = 0;
    uint32_t first_sample_flags = 0;
    std::vector<TrackRunSample> samples;
    bool has(uint32_t flag) const { return (flags & flag) != 0; }
    // Samples the run describes: the count, or the entries read when they carry fields.
    uint32_t sampleCount() const { return entrySize() ? static_cast<uint32_t>(samples.size()) : sample_count; }
    size_t entrySize() const;
    template <class Atom, class Fields> static bool describe(Atom& atom, Fields& fields);
    template <class Sample, class Fields>
    static bool describeEntry(const TrackRunSampleList& run, Sample& sample, Fields& fields);
    bool fromData(const unsigned char* data, size_t length);
    uint64_t getSize() const;
    size_t toData(unsigned char* buffer, size_t capacity) const;
};

struct TrackFragmentRandomAccessEntry {
    uint64_t Time = 0;
    uint64_t MoofOffset = 0;
    uint32_t traf_number = 1;
    uint32_t trun_number = 1;
    uint32_t sample_number = 1;
};

// tfra; entries are kept only as far as the atom's bytes hold them.
struct TrackFragmentRandomAccess : FullAtomHead {
    uint32_t track_id = 0;
    uint32_t lengthCodes = 0;
    std::vector<TrackFragmentRandomAccessEntry> entries;
    size_t trafNumLength() const { return ((lengthCodes >> 4) & 3) + 1; }
    size_t trunNumLength() const { return ((lengthCodes >> 2) & 3) + 1; }
    size_t sampleNumLength() const { return (lengthCodes & 3) + 1; }
    size_t entrySize() const { return (version == 1 ? 16 : 8) + trafNumLength() + trunNumLength() + sampleNumLength(); }
    template <class Atom, class Fields> static bool describe(Atom& atom, Fields& fields);
    template <class Entry, class Fields>
    static bool describeEntry(const TrackFragmentRandomAccess& table, Entry& entry, Fields& fields);
    bool fromData(const unsigned char* data, size_t length);
    uint64_t getSize() const { return 24 + entries.size() * entrySize(); }
    size_t toData(unsigned char* buffer, size_t capacity) const;
};

struct MovieFragmentRandomAccessOffset : FullAtomHead {
    uint32_t mfraLength = 0;
    template <class Atom, class Fields> static bool describe(Atom& atom, Fields& fields);
    bool fromData(const unsigned char* data, size_t length);
    uint64_t getSize() const { return 16; }
    size_t toData(unsigned char* buffer, size_t capacity) const;
};

} // namespace Corvidane::QuickTime
