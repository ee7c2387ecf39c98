#include "quicktime/read/MovieParsers.h"

#include <algorithm>
#include <cstring>

#include "frame/FourCC.h"
#include "frame/Text.h"
#include "frame/Utf8.h"
#include "quicktime/read/Fragments.h"

namespace Corvidane::QuickTime {

CvResult AtomParser_moov::OnAtom(const uint32_t* type, const unsigned char* data, size_t length)
{
    if (*type == fourCC("mvhd")) {
        if (!m_movie.movieHeader) {
            m_movie.movieHeader = std::make_unique<MovieHeader>();
            m_movie.movieHeader->fromData(data, length);
        }
    } else if (*type == fourCC("trak")) {
        return AtomParser_trak(m_movie).Parse(data, length, filename, fileOffset);
    } else if (*type == fourCC("mvex")) {
        m_movie.setFragmented();
        return AtomParser_mvex(m_movie.movieExtendsHeader, m_movie.trackExtends).Parse(data, length, filename, fileOffset);
    } else if (*type == fourCC("udta")) {
        collectUserData(data, length);
    } else if (*type == fourCC("meta")) {
        m_movie.json.startChild();
        CvResult result = AtomParser_meta(m_movie).Parse(data, length, filename, fileOffset);
        m_movie.json.endChild();
        return result;
    }
    return OK;
}

void AtomParser_moov::collectUserData(const unsigned char* data, size_t length)
{
    // Items of up to 1,024 bytes are kept; a larger one ends the collecting,
    // and so does one of length 0, which would never advance.
    size_t position = 8;
    while (length >= position + 8) {
        uint32_t itemLength = readBE32(data + position);
        if (itemLength == 0 || itemLength > std::min<size_t>(length - position, 1024))
            break;
        CByteBuffer item(itemLength);
        item.append(data + position, itemLength);
        m_movie.userData.push_back(item);
        position += itemLength;
    }
}

CvResult AtomParser_trak::OnParseStart()
{
    if (!m_movie.movieHeader)
        return FileInvalid;
    m_track = std::make_unique<Metadata_Track>(m_movie.isMp4(), m_movie.movieHeader->TimeScale);
    return OK;
}

CvResult AtomParser_trak::OnAtom(const uint32_t* type, const unsigned char* data, size_t length)
{
    if (*type == fourCC("tkhd")) {
        if (!m_track->trackHeader) {
            m_track->trackHeader = std::make_unique<TrackHeader>();
            m_track->trackHeader->fromData(data, length);
        }
    } else if (*type == fourCC("edts")) {
        // The atom behind the edts header is taken as the edit list, whatever its code.
        if (!m_track->editList && length > 8) {
            auto edits = std::make_unique<EditList>();
            edits->fromData(data + 8, length - 8);
            if (edits->get_Count() > 0)
                m_track->editList = std::move(edits);
        }
    } else if (*type == fourCC("mdia")) {
        return AtomParser_mdia(*m_track).Parse(data, length, filename, fileOffset);
    }
    return OK;
}

CvResult AtomParser_trak::OnParseEnd()
{
    if (!m_track->trackHeader || !m_track->mediaHeader)
        return Fail;
    m_movie.tracks.push_back(std::move(m_track));
    return OK;
}

CvResult AtomParser_mdia::OnAtom(const uint32_t* type, const unsigned char* data, size_t length)
{
    if (*type == fourCC("mdhd")) {
        if (!m_track.mediaHeader) {
            m_track.mediaHeader = std::make_unique<MediaHeader>();
            m_track.mediaHeader->fromData(data, length);
        }
    } else if (*type == fourCC("hdlr")) {
        if (!m_track.handler) {
            if (m_track.isMp4())
                m_track.handler = std::make_unique<HandlerRef_MP4>();
            else
                m_track.handler = std::make_unique<HandlerRef>();
            m_track.handler->fromData(data, length);
            m_track.setType(m_track.handler->ComponentSubtype);
        }
    } else if (*type == fourCC("minf")) {
        return AtomParser_minf(m_track).Parse(data, length, filename, fileOffset);
    }
    return OK;
}

CvResult AtomParser_minf::OnAtom(const uint32_t* type, const unsigned char* data, size_t length)
{
    if (*type == fourCC("dinf"))
        return AtomParser_dinf(m_track).Parse(data, length, filename, fileOffset);
    if (*type == fourCC("stbl"))
        return AtomParser_stbl(m_track).Parse(data, length, filename, fileOffset);
    return OK;
}

CvResult AtomParser_dinf::OnAtom(const uint32_t* type, const unsigned char* data, size_t length)
{
    if (*type != fourCC("dref") || length <= 16 || readBE32(data + 12) == 0)
        return OK;
    size_t end = std::min<size_t>(readBE32(data), length);
    for (size_t position = 16; position < end;) {
        AliasFile alias;
        if (alias.fromData(data + position, length - position) == 0)
            break;
        std::string name = !alias.Path.empty() ? alias.Path : alias.FileName;
        if (!name.empty()) {
            // The alias gives its folders joined by backslashes; files here
            // are found by POSIX paths.
            std::replace(name.begin(), name.end(), '\\', '/');
            m_track.setEssenceFile(fromUtf8(name));
            break;
        }
        // Step over the record; one that claims no length ends the walk.
        if (alias.size < 8)
            break;
        position += alias.size;
    }
    return OK;
}

template <typename List>
void AtomParser_stbl::readIndexList(std::unique_ptr<List>& list, const unsigned char* data, size_t length)
{
    list = std::make_unique<List>(filename, fileOffset);
    list->fromData(data, length);
}

CvResult AtomParser_stbl::OnAtom(const uint32_t* type, const unsigned char* data, size_t length)
{
    Metadata_Track& t = m_track;
    uint32_t code = *type;
    if (code == fourCC("stsd") && !t.sampleDescriptions) {
        t.sampleDescriptions = std::make_unique<SampleDescriptionList>(t.type());
        t.sampleDescriptions->fromData(data, length);
    } else if (code == fourCC("stts") && !t.timeToSample) {
        t.timeToSample = std::make_unique<Time2SampleList>();
        t.timeToSample->fromData(data, length);
    } else if (code == fourCC("ctts") && !t.compositionOffsets) {
        t.compositionOffsets = std::make_unique<CTTSList>();
        t.compositionOffsets->fromData(data, length);
    } else if (code == fourCC("stsc") && !t.sampleToChunk) {
        t.sampleToChunk = std::make_unique<Sample2ChunkList>();
        t.sampleToChunk->fromData(data, length);
    } else if (code == fourCC("stsz") && !t.sampleSizes) {
        readIndexList(t.sampleSizes, data, length);
    } else if (code == fourCC("stco") && !t.chunkOffsets) {
        readIndexList(t.chunkOffsets, data, length);
        if (t.chunkOffsets->getEntriesOnDisk() == 0)
            t.chunkOffsets.reset();
    } else if (code == fourCC("co64") && !t.chunkOffsets64) {
        readIndexList(t.chunkOffsets64, data, length);
        if (t.chunkOffsets64->getEntriesOnDisk() == 0)
            t.chunkOffsets64.reset();
    } else if (code == fourCC("stss")) {
        readIndexList(t.syncSamples, data, length);
    } else if (code == fourCC("stps")) {
        readIndexList(t.partialSyncSamples, data, length);
    } else if (code == fourCC("sdtp")) {
        readIndexList(t.sampleDependency, data, length);
    }
    return OK;
}

CvResult AtomParser_meta::OnAtom(const uint32_t* type, const unsigned char* data, size_t length)
{
    if (*type == fourCC("keys"))
        m_keys.fromData(data, length);
    else if (*type == fourCC("ilst"))
        return AtomParser_ilst(m_movie, m_keys).Parse(data, length, filename, fileOffset);
    return OK;
}

namespace {

int64_t readSigned(const std::vector<unsigned char>& v)
{
    switch (v.size()) {
    case 1: return static_cast<int8_t>(v[0]);
    case 2: return static_cast<int16_t>(readBE16(v.data()));
    default: return static_cast<int32_t>(readBE32(v.data()));
    }
}

uint64_t readUnsigned(const std::vector<unsigned char>& v)
{
    switch (v.size()) {
    case 1: return v[0];
    case 2: return readBE16(v.data());
    default: return readBE32(v.data());
    }
}

// UTF-16 big-endian text up to its first NUL unit.
std::string utf16Text(const std::vector<unsigned char>& v)
{
    std::wstring text;
    for (size_t i = 0; i + 1 < v.size(); i += 2) {
        uint32_t unit = readBE16(v.data() + i);
        if (unit == 0)
            break;
        if (unit >= 0xD800 && unit < 0xDC00 && i + 3 < v.size()) {
            uint32_t low = readBE16(v.data() + i + 2);
            if (low >= 0xDC00 && low < 0xE000) {
                unit = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
                i += 2;
            }
        }
        text += static_cast<wchar_t>(unit);
    }
    std::string out;
    toUtf8(text, out);
    return out;
}

} // namespace

CvResult AtomParser_ilst::OnAtom(const uint32_t* type, const unsigned char* data, size_t length)
{
    if (length < 9)
        return OK;
    QTValueAtom value;
    if (length - 8 >= 8)
        value.fromData(data + 8, length - 8);
    uint32_t index = readBE32(reinterpret_cast<const unsigned char*>(type));
    // Keys count from 1; an index of 0 names no key.
    if (index == 0 || index > m_keys.keys.size())
        return Fail;
    const std::string& name = m_keys.keys[index - 1].name;
    const std::vector<unsigned char>& v = value.value;
    JSON::Builder& json = m_movie.json;
    switch (value.valueType) {
    case QTValueAtom::Utf8: json.add(name, std::string(v.begin(), v.end())); break;
    case QTValueAtom::Utf16:
        if (!v.empty())
            json.add(name, utf16Text(v));
        break;
    case QTValueAtom::SignedInteger:
        if (v.size() == 1 || v.size() == 2 || v.size() == 4)
            json.add(name, readSigned(v));
        break;
    case QTValueAtom::UnsignedInteger:
        if (v.size() == 1 || v.size() == 2 || v.size() == 4)
            json.add(name, readUnsigned(v));
        break;
    case QTValueAtom::Float32:
        if (v.size() >= 4) {
            uint32_t bits = readBE32(v.data());
            float number;
            std::memcpy(&number, &bits, 4);
            json.add(name, static_cast<double>(number));
        }
        break;
    default: {
        json.add(name, "<binary>");
        CByteBuffer bytes(v.size());
        bytes.append(v.data(), v.size());
        m_movie.binaryItems[name] = bytes;
        break;
    }
    }
    return OK;
}

} // namespace Corvidane::QuickTime
