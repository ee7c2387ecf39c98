#include "quicktime/atoms/FragmentAtoms.h"

#include <algorithm>

#include "frame/FourCC.h"
#include "quicktime/atoms/Wire.h"

namespace Corvidane::QuickTime {

namespace {

// Reads the version and flags behind the 8-byte header; the reader stands after them.
bool readHead(FieldReader& in, FullAtomHead& head)
{
    uint32_t word = 0;
    if (!in.skip(8) || !in.u32(word))
        return false;
    head.version = static_cast<uint8_t>(word >> 24);
    head.flags = word & 0xFFFFFF;
    return true;
}

// Writes fields behind the 12-byte head of a full atom of known size.
class FieldWriter {
public:
    FieldWriter(unsigned char* buffer, uint64_t size, uint32_t code, const FullAtomHead& head)
        : m_p(buffer)
    {
        writeBE32(m_p, static_cast<uint32_t>(size));
        writeCode(m_p + 4, code);
        writeBE32(m_p + 8, uint32_t(head.version) << 24 | (head.flags & 0xFFFFFF));
        m_p += 12;
    }
    void u32(uint32_t v) { writeBE32(m_p, v), m_p += 4; }
    void u64(uint64_t v) { writeBE64(m_p, v), m_p += 8; }
    void varying(uint64_t v, bool wide) { wide ? u64(v) : u32(static_cast<uint32_t>(v)); }
    void number(uint32_t v, size_t bytes)
    {
        for (size_t i = bytes; i-- > 0; v >>= 8)
            m_p[i] = static_cast<unsigned char>(v);
        m_p += bytes;
    }

private:
    unsigned char* m_p;
};

bool readNumber(FieldReader& in, size_t bytes, uint32_t& value)
{
    value = 0;
    for (size_t i = 0; i < bytes; ++i) {
        uint8_t byte = 0;
        if (!in.u8(byte))
            return false;
        value = value << 8 | byte;
    }
    return true;
}

} // namespace

bool MovieExtendsHeader::fromData(const unsigned char* data, size_t length)
{
    FieldReader in(data, length);
    return readHead(in, *this) && in.varying(fragmentDuration, version == 1);
}

size_t MovieExtendsHeader::toData(unsigned char* buffer, size_t capacity) const
{
    if (capacity < getSize())
        return 0;
    FieldWriter(buffer, getSize(), fourCC("mehd"), *this).varying(fragmentDuration, version == 1);
    return static_cast<size_t>(getSize());
}

bool TrackExtends::fromData(const unsigned char* data, size_t length)
{
    FieldReader in(data, length);
    return readHead(in, *this) && in.u32(track_id) && in.u32(default_sample_description_index) &&
           in.u32(default_sample_duration) && in.u32(default_sample_size) && in.u32(default_sample_flags);
}

size_t TrackExtends::toData(unsigned char* buffer, size_t capacity) const
{
    if (capacity < getSize())
        return 0;
    FieldWriter out(buffer, getSize(), fourCC("trex"), *this);
    for (uint32_t v : {track_id, default_sample_description_index, default_sample_duration, default_sample_size,
                       default_sample_flags})
        out.u32(v);
    return static_cast<size_t>(getSize());
}

bool MovieFragmentHeader::fromData(const unsigned char* data, size_t length)
{
    FieldReader in(data, length);
    return readHead(in, *this) && in.u32(sequence_number);
}

size_t MovieFragmentHeader::toData(unsigned char* buffer, size_t capacity) const
{
    if (capacity < getSize())
        return 0;
    FieldWriter(buffer, getSize(), fourCC("mfhd"), *this).u32(sequence_number);
    return static_cast<size_t>(getSize());
}

bool TrackFragmentHeader::fromData(const unsigned char* data, size_t length)
{
    FieldReader in(data, length);
    return readHead(in, *this) && in.u32(track_id) && (!has(hasBaseDataOffset) || in.u64(base_data_offset)) &&
           (!has(hasDescriptionIndex) || in.u32(sample_description_index)) &&
           (!has(hasDuration) || in.u32(default_sample_duration)) && (!has(hasSize) || in.u32(default_sample_size)) &&
           (!has(hasFlags) || in.u32(default_sample_flags));
}

uint64_t TrackFragmentHeader::getSize() const
{
    return 16 + (has(hasBaseDataOffset) ? 8 : 0) + 4 * (has(hasDescriptionIndex) + has(hasDuration) + has(hasSize) +
                                                         has(hasFlags));
}

size_t TrackFragmentHeader::toData(unsigned char* buffer, size_t capacity) const
{
    if (capacity < getSize())
        return 0;
    FieldWriter out(buffer, getSize(), fourCC("tfhd"), *this);
    out.u32(track_id);
    if (has(hasBaseDataOffset))
        out.u64(base_data_offset);
    if (has(hasDescriptionIndex))
        out.u32(sample_description_index);
    if (has(hasDuration))
        out.u32(default_sample_duration);
    if (has(hasSize))
        out.u32(default_sample_size);
    if (has(hasFlags))
        out.u32(default_sample_flags);
    return static_cast<size_t>(getSize());
}

size_t TrackRunSampleList::entrySize() const
{
    return 4 * size_t(has(hasDuration) + has(hasSize) + has(hasFlags) + has(hasCompositionOffset));
}

bool TrackRunSampleList::fromData(const unsigned char* data, size_t length)
{
    FieldReader in(data, length);
    uint32_t word = 0;
    if (!readHead(in, *this) || !in.u32(sample_count) || (has(hasDataOffset) && !in.u32(word)) ||
        (has(hasFirstSampleFlags) && !in.u32(first_sample_flags)))
        return false;
    data_offset = static_cast<int32_t>(word);
    samples.clear();
    size_t size = entrySize();
    if (size == 0)
        return true;
    samples.reserve(std::min<size_t>(sample_count, in.remaining() / size));
    for (uint32_t i = 0; i < sample_count && in.has(size); ++i) {
        TrackRunSample s;
        uint32_t offset = 0;
        if (has(hasDuration))
            in.u32(s.sample_duration);
        if (has(hasSize))
            in.u32(s.sample_size);
        if (has(hasFlags))
            in.u32(s.sample_flags);
        if (has(hasCompositionOffset)) {
            in.u32(offset);
            s.sample_composition_time_offsets = version == 1 ? int64_t(int32_t(offset)) : int64_t(offset);
        }
        samples.push_back(s);
    }
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
    FieldWriter out(buffer, getSize(), fourCC("trun"), *this);
    out.u32(entrySize() ? static_cast<uint32_t>(samples.size()) : sample_count);
    if (has(hasDataOffset))
        out.u32(static_cast<uint32_t>(data_offset));
    if (has(hasFirstSampleFlags))
        out.u32(first_sample_flags);
    for (const TrackRunSample& s : samples) {
        if (has(hasDuration))
            out.u32(s.sample_duration);
        if (has(hasSize))
            out.u32(s.sample_size);
        if (has(hasFlags))
            out.u32(s.sample_flags);
        if (has(hasCompositionOffset))
            out.u32(static_cast<uint32_t>(s.sample_composition_time_offsets));
    }
    return static_cast<size_t>(getSize());
}

bool TrackFragmentRandomAccess::fromData(const unsigned char* data, size_t length)
{
    FieldReader in(data, length);
    uint32_t count = 0;
    if (!readHead(in, *this) || !in.u32(track_id) || !in.u32(lengthCodes) || !in.u32(count))
        return false;
    entries.clear();
    entries.reserve(std::min<size_t>(count, in.remaining() / entrySize()));
    for (uint32_t i = 0; i < count && in.has(entrySize()); ++i) {
        TrackFragmentRandomAccessEntry e;
        in.varying(e.Time, version == 1);
        in.varying(e.MoofOffset, version == 1);
        readNumber(in, trafNumLength(), e.traf_number);
        readNumber(in, trunNumLength(), e.trun_number);
        readNumber(in, sampleNumLength(), e.sample_number);
        entries.push_back(e);
    }
    return true;
}

size_t TrackFragmentRandomAccess::toData(unsigned char* buffer, size_t capacity) const
{
    if (capacity < getSize())
        return 0;
    FieldWriter out(buffer, getSize(), fourCC("tfra"), *this);
    out.u32(track_id);
    out.u32(lengthCodes);
    out.u32(static_cast<uint32_t>(entries.size()));
    for (const auto& e : entries) {
        out.varying(e.Time, version == 1);
        out.varying(e.MoofOffset, version == 1);
        out.number(e.traf_number, trafNumLength());
        out.number(e.trun_number, trunNumLength());
        out.number(e.sample_number, sampleNumLength());
    }
    return static_cast<size_t>(getSize());
}

bool MovieFragmentRandomAccessOffset::fromData(const unsigned char* data, size_t length)
{
    FieldReader in(data, length);
    return readHead(in, *this) && in.u32(mfraLength);
}

size_t MovieFragmentRandomAccessOffset::toData(unsigned char* buffer, size_t capacity) const
{
    if (capacity < getSize())
        return 0;
    FieldWriter(buffer, getSize(), fourCC("mfro"), *this).u32(mfraLength);
    return static_cast<size_t>(getSize());
}

} // namespace Corvidane::QuickTime
