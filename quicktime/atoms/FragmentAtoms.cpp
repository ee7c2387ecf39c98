#include "quicktime/atoms/FragmentAtoms.h"

#include <algorithm>

#include "frame/FourCC.h"
#include "quicktime/atoms/Wire.h"

namespace Corvidane::QuickTime {

namespace {

// The 8-byte header, version and flags, then the fields of the atom's description.
template <class Atom> bool readDescribed(Atom& atom, FieldReader& in)
{
    return in.skip(8) && in.u8(atom.version) && in.number(atom.flags, 3) && Atom::describe(atom, in);
}

template <class Atom> bool writeDescribed(const Atom& atom, uint32_t code, FieldWriter& out)
{
    return out.u32(static_cast<uint32_t>(atom.getSize())) && out.code(code) && out.u8(atom.version) &&
           out.number(atom.flags, 3) && Atom::describe(atom, out);
}

// An atom of fixed fields: read whole, or written whole into its size.
template <class Atom> bool readFixed(Atom& atom, const unsigned char* data, size_t length)
{
    FieldReader in(data, length);
    return readDescribed(atom, in);
}

template <class Atom> size_t writeFixed(const Atom& atom, uint32_t code, unsigned char* buffer, size_t capacity)
{
    if (capacity < atom.getSize())
        return 0;
    FieldWriter out(buffer, static_cast<size_t>(atom.getSize()));
    return writeDescribed(atom, code, out) ? out.position() : 0;
}

} // namespace

template <class Atom, class Fields> bool MovieExtendsHeader::describe(Atom& atom, Fields& fields)
{
    return fields.varying(atom.fragmentDuration, atom.version == 1);
}

bool MovieExtendsHeader::fromData(const unsigned char* data, size_t length) { return readFixed(*this, data, length); }

size_t MovieExtendsHeader::toData(unsigned char* buffer, size_t capacity) const
{
    return writeFixed(*this, fourCC("mehd"), buffer, capacity);
}

template <class Atom, class Fields> bool TrackExtends::describe(Atom& atom, Fields& fields)
{
    return fields.u32(atom.track_id) && fields.u32(atom.default_sample_description_index) &&
           fields.u32(atom.default_sample_duration) && fields.u32(atom.default_sample_size) &&
           fields.u32(atom.default_sample_flags);
}

bool TrackExtends::fromData(const unsigned char* data, size_t length) { return readFixed(*this, data, length); }

size_t TrackExtends::toData(unsigned char* buffer, size_t capacity) const
{
    return writeFixed(*this, fourCC("trex"), buffer, capacity);
}

template <class Atom, class Fields> bool MovieFragmentHeader::describe(Atom& atom, Fields& fields)
{
    return fields.u32(atom.sequence_number);
}

bool MovieFragmentHeader::fromData(const unsigned char* data, size_t length) { return readFixed(*this, data, length); }

size_t MovieFragmentHeader::toData(unsigned char* buffer, size_t capacity) const
{
    return writeFixed(*this, fourCC("mfhd"), buffer, capacity);
}

template <class Atom, class Fields> bool TrackFragmentHeader::describe(Atom& atom, Fields& fields)
{
    return fields.u32(atom.track_id) && (!atom.has(hasBaseDataOffset) || fields.u64(atom.base_data_offset)) &&
           (!atom.has(hasDescriptionIndex) || fields.u32(atom.sample_description_index)) &&
           (!atom.has(hasDuration) || fields.u32(atom.default_sample_duration)) &&
           (!atom.has(hasSize) || fields.u32(atom.default_sample_size)) &&
           (!atom.has(hasFlags) || fields.u32(atom.default_sample_flags));
}

bool TrackFragmentHeader::fromData(const unsigned char* data, size_t length) { return readFixed(*this, data, length); }

uint64_t TrackFragmentHeader::getSize() const
{
    return 16 + (has(hasBaseDataOffset) ? 8 : 0) + 4 * (has(hasDescriptionIndex) + has(hasDuration) + has(hasSize) +
                                                         has(hasFlags));
}

size_t TrackFragmentHeader::toData(unsigned char* buffer, size_t capacity) const
{
    return writeFixed(*this, fourCC("tfhd"), buffer, capacity);
}

size_t TrackRunSampleList::entrySize() const
{
    return 4 * size_t(has(hasDuration) + has(hasSize) + has(hasFlags) + has(hasCompositionOffset));
}

// The fields ahead of the entries; the count is the list's own when written.
template <class Atom, class Fields> bool TrackRunSampleList::describe(Atom& atom, Fields& fields)
{
    return (!atom.has(hasDataOffset) || fields.s32(atom.data_offset)) &&
           (!atom.has(hasFirstSampleFlags) || fields.u32(atom.first_sample_flags));
}

template <class Sample, class Fields>
bool TrackRunSampleList::describeEntry(const TrackRunSampleList& run, Sample& sample, Fields& fields)
{
    return (!run.has(hasDuration) || fields.u32(sample.sample_duration)) &&
           (!run.has(hasSize) || fields.u32(sample.sample_size)) &&
           (!run.has(hasFlags) || fields.u32(sample.sample_flags)) &&
           (!run.has(hasCompositionOffset) || fields.offset32(sample.sample_composition_time_offsets, run.version == 1));
}

bool TrackRunSampleList::fromData(const unsigned char* data, size_t length)
{
    FieldReader in(data, length);
    if (!in.skip(8) || !in.u8(version) || !in.number(flags, 3) || !in.u32(sample_count) || !describe(*this, in))
        return false;
    samples.clear();
    const size_t size = entrySize();
    if (size == 0)
        return true;
    samples.resize(std::min<size_t>(sample_count, in.remaining() / size));
    for (TrackRunSample& sample : samples)
        describeEntry(*this, sample, in);
    return true;
}

uint64_t TrackRunSampleList::getSize() const
{
    return 16 + (has(hasDataOffset) ? 4 : 0) + (has(hasFirstSampleFlags) ? 4 : 0) + samples.size() * entrySize();
}

size_t TrackRunSampleList::toData(unsigned char* buffer, size_t capacity) const
{
    if (capacity < getSize())
        return 0;
    FieldWriter out(buffer, static_cast<size_t>(getSize()));
    bool whole = out.u32(static_cast<uint32_t>(getSize())) && out.code(fourCC("trun")) && out.u8(version) &&
                 out.number(flags, 3) && out.u32(sampleCount()) && describe(*this, out);
    for (const TrackRunSample& sample : samples)
        whole = whole && describeEntry(*this, sample, out);
    return whole ? out.position() : 0;
}

// The fields ahead of the entries; the count is the list's own when written.
template <class Atom, class Fields> bool TrackFragmentRandomAccess::describe(Atom& atom, Fields& fields)
{
    return fields.u32(atom.track_id) && fields.u32(atom.lengthCodes);
}

template <class Entry, class Fields>
bool TrackFragmentRandomAccess::describeEntry(const TrackFragmentRandomAccess& table, Entry& entry, Fields& fields)
{
    return fields.varying(entry.Time, table.version == 1) && fields.varying(entry.MoofOffset, table.version == 1) &&
           fields.number(entry.traf_number, table.trafNumLength()) &&
           fields.number(entry.trun_number, table.trunNumLength()) &&
           fields.number(entry.sample_number, table.sampleNumLength());
}

bool TrackFragmentRandomAccess::fromData(const unsigned char* data, size_t length)
{
    FieldReader in(data, length);
    uint32_t count = 0;
    if (!readDescribed(*this, in) || !in.u32(count))
        return false;
    entries.assign(std::min<size_t>(count, in.remaining() / entrySize()), TrackFragmentRandomAccessEntry{});
    for (TrackFragmentRandomAccessEntry& entry : entries)
        describeEntry(*this, entry, in);
    return true;
}

size_t TrackFragmentRandomAccess::toData(unsigned char* buffer, size_t capacity) const
{
    if (capacity < getSize())
        return 0;
    FieldWriter out(buffer, static_cast<size_t>(getSize()));
    bool whole = writeDescribed(*this, fourCC("tfra"), out) && out.u32(static_cast<uint32_t>(entries.size()));
    for (const TrackFragmentRandomAccessEntry& entry : entries)
        whole = whole && describeEntry(*this, entry, out);
    return whole ? out.position() : 0;
}

template <class Atom, class Fields> bool MovieFragmentRandomAccessOffset::describe(Atom& atom, Fields& fields)
{
    return fields.u32(atom.mfraLength);
}

bool MovieFragmentRandomAccessOffset::fromData(const unsigned char* data, size_t length)
{
    return readFixed(*this, data, length);
}

size_t MovieFragmentRandomAccessOffset::toData(unsigned char* buffer, size_t capacity) const
{
    return writeFixed(*this, fourCC("mfro"), buffer, capacity);
}

} // namespace Corvidane::QuickTime
