#include "host/MovAvcToH264ByteStream.h"

namespace {

const unsigned char startCode[4] = {0, 0, 0, 1};
constexpr unsigned nalIdrSlice = 5;
constexpr unsigned nalSequenceParameterSet = 7;

} // namespace

bool MovAvcToH264ByteStream::initAvcc(const unsigned char* data, size_t size)
{
    m_parameterSets.clear();
    // version, profile, compatibility, level, length size, then the sets.
    if (!data || size < 7 || data[0] != 1)
        return false;
    m_lengthSize = (data[4] & 3u) + 1;
    std::vector<unsigned char> sets;
    size_t at = 5;
    for (int list = 0; list < 2; ++list) {
        if (at >= size)
            return false;
        const unsigned count = list == 0 ? data[at] & 0x1Fu : data[at];
        ++at;
        for (unsigned i = 0; i < count; ++i) {
            if (size - at < 2)
                return false;
            const size_t length = size_t(data[at]) << 8 | data[at + 1];
            at += 2;
            if (size - at < length)
                return false;
            sets.insert(sets.end(), startCode, startCode + 4);
            sets.insert(sets.end(), data + at, data + at + length);
            at += length;
        }
    }
    m_parameterSets = std::move(sets);
    return true;
}

Ptr<ByteBufferImpl> MovAvcToH264ByteStream::transform(unsigned, const Ptr<ByteBufferImpl>& buffer) const
{
    if (!buffer || m_parameterSets.empty())
        return buffer;
    const unsigned char* in = buffer->content();
    const size_t size = buffer->size();
    // Each unit grows by at most 4 bytes, less its length field.
    std::vector<std::pair<size_t, size_t>> units;
    size_t grown = 0;
    for (size_t at = 0; at < size;) {
        if (size - at < m_lengthSize)
            return buffer;
        size_t length = 0;
        for (unsigned i = 0; i < m_lengthSize; ++i)
            length = length << 8 | in[at + i];
        at += m_lengthSize;
        if (length > size - at)
            return buffer;
        units.emplace_back(at, length);
        grown += 4 + length;
        at += length;
    }
    // The parameter sets go in front of each instantaneous decoder refresh,
    // where a decode may start, unless the sample carries its own (avc3).
    bool idr = false, ownSets = false;
    for (const auto& unit : units) {
        const unsigned type = unit.second ? in[unit.first] & 0x1Fu : 0;
        idr = idr || type == nalIdrSlice;
        ownSets = ownSets || type == nalSequenceParameterSet;
    }
    const bool withSets = idr && !ownSets;
    Ptr<ByteBufferImpl> out(new ByteBufferImpl((withSets ? m_parameterSets.size() : 0) + grown));
    unsigned char* p = out->data();
    if (withSets) {
        std::copy(m_parameterSets.begin(), m_parameterSets.end(), p);
        p += m_parameterSets.size();
    }
    for (const auto& unit : units) {
        std::copy(startCode, startCode + 4, p);
        std::copy(in + unit.first, in + unit.first + unit.second, p + 4);
        p += 4 + unit.second;
    }
    out->setUsed(size_t(p - out->data()));
    return out;
}
