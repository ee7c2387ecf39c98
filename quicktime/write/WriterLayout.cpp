// The movie header as a tree of atoms, the header region that
// holds it, and the index tables that grow as chunks reach the disk.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <ctime>

#include "frame/FourCC.h"
#include "quicktime/write/FileWriter.h"

namespace Corvidane::QuickTime {

namespace {

constexpr uint32_t macEpochOffset = 2082844800u;
constexpr unsigned mdatSlot = 16; // a "wide" atom and the mdat header, or the 64-bit header

// Bytes of a fixed template atom, big-endian fields in order.
class Bytes {
public:
    Bytes& u8(uint8_t v) { b.push_back(v); return *this; }
    Bytes& u16(uint16_t v) { return u8(uint8_t(v >> 8)).u8(uint8_t(v)); }
    Bytes& u32(uint32_t v) { return u16(uint16_t(v >> 16)).u16(uint16_t(v)); }
    Bytes& code(const char* c) { return u8(c[0]).u8(c[1]).u8(c[2]).u8(c[3]); }
    Bytes& pascal(const std::string& s) { u8(uint8_t(s.size())); b.insert(b.end(), s.begin(), s.end()); return *this; }
    Bytes& append(const std::vector<unsigned char>& more) { b.insert(b.end(), more.begin(), more.end()); return *this; }
    // Prefixes the size and code: an atom of the bytes so far.
    std::vector<unsigned char> atom(const char* type) const
    {
        Bytes out;
        out.u32(uint32_t(b.size() + 8)).code(type).append(b);
        return out.b;
    }
    std::vector<unsigned char> b;
};

const std::array<uint32_t, 9> unityMatrix = {0x00010000, 0, 0, 0, 0x00010000, 0, 0, 0, 0x40000000};

template <typename T>
T* addLeaf(Atom& parent, std::unique_ptr<T> record)
{
    record->size = static_cast<decltype(record->size)>(record->getSize());
    auto leaf = std::make_unique<AtomEx<Atom, T>>(std::move(record));
    T* held = &leaf->record();
    parent.appendAtom(std::move(leaf));
    return held;
}

std::unique_ptr<Atom> container(const char (&type)[5]) { return std::make_unique<AtomEx<ContainerAtom, QTAtom>>(fourCC(type)); }

uint32_t nowMac() { return static_cast<uint32_t>(uint64_t(std::time(nullptr)) + macEpochOffset); }

} // namespace

uint64_t FileWriter::roundToSector(uint64_t value) const
{
    return (value + m_sectorSize - 1) / m_sectorSize * m_sectorSize;
}

// --- Header size ---------------------------------------------------------

void FileWriter::getChunkDetails(unsigned track, uint64_t& chunks, uint64_t& total, bool& hasPartialChunk) const
{
    const Track& t = m_tracks[track];
    hasPartialChunk = false;
    uint64_t divisor = 0;
    if (t.data.streamType == StreamVideo) {
        total = m_maxFileAtoms;
        divisor = uint64_t(std::max(t.essence.samplesPerChunk, 1));
    } else if (t.data.streamType == StreamAudio) {
        total = uint64_t(double(t.data.audio.sampleRate) * m_maxDuration);
        divisor = uint64_t(std::max(t.essence.samplesPerChunk, 1)) / 2;
    } else {
        return;
    }
    if (divisor < 2) {
        chunks = divisor == 0 ? total : total / divisor;
        if (divisor == 0)
            chunks = 1;
        if (divisor == 1)
            chunks = total;
        return;
    }
    chunks = total / divisor;
    if (total % divisor) {
        ++chunks, ++total;
        hasPartialChunk = true;
    }
}

namespace {
unsigned gopValue(unsigned gopSize) { return (gopSize + 1 - (gopSize % 2 == 0 ? 1 : 0)) >> 1; }
} // namespace

uint64_t FileWriter::getStssSize(unsigned frames) const
{
    const Track* v = firstVideo();
    if (!v || v->data.video.gopSize < 2)
        return 0;
    unsigned divisor = v->data.video.fourcc == fourCC("mp4v") ? 1 : gopValue(v->data.video.gopSize);
    return uint64_t(frames / std::max(divisor, 1u)) * 4 + 16;
}

uint64_t FileWriter::getStpsSize(unsigned frames) const
{
    const Track* v = firstVideo();
    if (!v || v->data.video.gopSize < 2)
        return 0;
    return uint64_t(frames / std::max(gopValue(v->data.video.gopSize), 1u)) * 4 + 16;
}

uint64_t FileWriter::getCtssSize(unsigned frames) const
{
    const Track* v = firstVideo();
    if (!v || v->data.video.gopSize < 2 || v->data.video.gopPeriod < 1)
        return 0;
    return uint64_t(frames) * 8 + 16;
}

uint64_t FileWriter::getSdtpSize(unsigned frames) const { return isOpenGOP() ? uint64_t(frames) + 20 : 0; }

uint64_t FileWriter::getOpenGopMaxChunks(unsigned frames) const
{
    uint64_t a = m_chunkCycle.size() > 0 ? std::max(m_chunkCycle[0], 1u) : 1;
    uint64_t b = m_chunkCycle.size() > 1 ? std::max(m_chunkCycle[1], 1u) : 1;
    uint64_t f = frames;
    return (f * a / (a + b) + 1) / a + (f * b / (a + b) + 1) / b + 2;
}

uint64_t FileWriter::calcHeaderSize(unsigned maxFrames)
{
    const Track* video = firstVideo();
    double rate = video ? videoRate() : 25.0;
    if (rate <= 0)
        rate = 25.0;
    if (maxFrames == 0)
        m_maxFileAtoms = unsigned(m_maxFileAtoms * rate / 25.0);
    else if (maxFrames < m_maxFileAtoms)
        m_maxFileAtoms = maxFrames + (video && video->data.video.gopSize > 1 ? video->data.video.gopSize : 0);
    bool perChunk = maxFrames == 0 || !video || !(video->data.video.flags & VideoFollowGuidelines);
    unsigned frames = m_maxFileAtoms;
    m_maxDuration = frames / rate;
    if (!(m_maxDuration > 0))
        m_maxDuration = 1.0;
    uint64_t stss = getStssSize(frames), ctts = getCtssSize(frames), stps = getStpsSize(frames),
             sdtp = getSdtpSize(frames);

    // The cfg operations tell the chunking; what they record is cleared after.
    m_maxChunks.assign(m_tracks.size(), 0);
    m_maxChunkOffsets.assign(m_tracks.size(), 0);
    m_headerAtomSizes.clear();
    unsigned videoCount = 0, audioCount = 0, ccCount = 0, tcCount = 0;
    for (unsigned i = 0; i < m_tracks.size(); ++i) {
        Track& t = m_tracks[i];
        uint64_t chunks = 1, total = 0;
        bool partial = false;
        HeaderAtomSizes sizes;
        if (t.data.streamType == StreamVideo) {
            ++videoCount;
            cfgVideo(i);
            getChunkDetails(i, chunks, total, partial);
            uint64_t maxChunks = chunks, maxOffsets = chunks;
            if (isOpenGOP()) {
                maxChunks = maxOffsets = getOpenGopMaxChunks(frames) + 1;
            } else if (t.data.video.gopSize > 1) {
                maxOffsets += t.data.video.gopSize;
            }
            unsigned spc = unsigned(std::max(t.essence.samplesPerChunk, 1));
            sizes.stco = maxOffsets * 8 + 16;
            sizes.stsc = perChunk ? maxChunks * 12 + 16 : (maxChunks > 1 && frames % spc != 0 ? 40 : 28);
            sizes.stsz = t.essence.variableSizes ? uint64_t(frames) * 4 + (perChunk ? 24 : 20) : 24;
            sizes.stts = 24;
            sizes.stss = stss, sizes.ctts = ctts, sizes.stps = stps, sizes.sdtp = sdtp;
            m_maxChunks[i] = uint32_t(std::min<uint64_t>(maxChunks, UINT32_MAX));
            m_maxChunkOffsets[i] = uint32_t(std::min<uint64_t>(maxOffsets, UINT32_MAX));
        } else if (t.data.streamType == StreamAudio) {
            ++audioCount;
            cfgAudio(i);
            getChunkDetails(i, chunks, total, partial);
            uint64_t maxChunks = chunks, maxOffsets = chunks;
            if (isAac(i)) {
                uint64_t samples = uint64_t(t.data.audio.sampleRate * m_maxDuration);
                sizes.stsz = ((samples >> 10) + 1) * 4 + 24;
                maxChunks = uint64_t(std::ceil(m_maxDuration)) + 1;
                maxOffsets = 2 * maxChunks;
            } else {
                sizes.stsz = 24;
                if (isOpenGOP())
                    maxChunks = maxOffsets = uint64_t(std::max(m_maxDuration, 30.0) * rate);
            }
            double secondsPerChunkCheck = std::fmod(frames / std::ceil(rate), 0.5);
            sizes.stsc = perChunk ? maxChunks * 12 + 16 : (maxChunks > 1 && secondsPerChunkCheck != 0 ? 40 : 28);
            sizes.stco = maxOffsets * 8 + 16;
            sizes.stts = 24;
            m_maxChunks[i] = uint32_t(std::min<uint64_t>(maxChunks, UINT32_MAX));
            m_maxChunkOffsets[i] = uint32_t(std::min<uint64_t>(maxOffsets, UINT32_MAX));
        } else if (t.data.streamType == StreamTimecode) {
            ++tcCount;
            cfgTimecode(i);
            sizes.stsc = 28, sizes.stsz = 24, sizes.stco = 24, sizes.stts = 24;
            m_maxChunks[i] = m_maxChunkOffsets[i] = 1;
        } else if (t.data.streamType == StreamAncillary) {
            ++ccCount;
            cfgAnc(i);
            if (t.data.anc.fixedSampleSize) {
                m_maxChunks[i] = 1, m_maxChunkOffsets[i] = frames;
                sizes.stsc = 28, sizes.stsz = 24;
            } else {
                m_maxChunks[i] = m_maxChunkOffsets[i] = frames;
                sizes.stsc = 28 + uint64_t(frames) * 12, sizes.stsz = 24 + uint64_t(frames) * 4;
            }
            sizes.stco = uint64_t(frames) * 8 + 16;
            sizes.stts = 24;
        } else {
            continue;
        }
        alignSampleSizeMode(i);
        // Tracks of one type share reserved sizes; the largest of them
        // stands, so that no track's table is cut (docs/decisions.md).
        auto found = m_headerAtomSizes.find(t.data.streamType);
        if (found == m_headerAtomSizes.end()) {
            m_headerAtomSizes[t.data.streamType] = sizes;
        } else {
            HeaderAtomSizes& kept = found->second;
            auto keepLarger = [](uint64_t& a, uint64_t b) {
                if (a == HeaderAtomSizes::unset || (b != HeaderAtomSizes::unset && b > a))
                    a = b;
            };
            keepLarger(kept.stsc, sizes.stsc), keepLarger(kept.stsz, sizes.stsz), keepLarger(kept.stco, sizes.stco);
            keepLarger(kept.stts, sizes.stts), keepLarger(kept.stss, sizes.stss), keepLarger(kept.ctts, sizes.ctts);
            keepLarger(kept.stps, sizes.stps), keepLarger(kept.sdtp, sizes.sdtp);
        }
    }
    // What the cfg calls recorded is forgotten; buildMovie runs them again.
    m_sampleSizeMode.clear();
    for (Track& t : m_tracks)
        t.essence = TrackEssenceBuffer{};

    auto v = [](uint64_t x) { return x == HeaderAtomSizes::unset ? 0 : x; };
    uint64_t total = 2048;
    if (videoCount) {
        const HeaderAtomSizes& s = m_headerAtomSizes[StreamVideo];
        total += videoCount * (v(s.stss) + v(s.ctts) + v(s.stps) + v(s.sdtp) + v(s.stco) + v(s.stsz) + v(s.stsc) + 1048);
    }
    if (audioCount) {
        const HeaderAtomSizes& s = m_headerAtomSizes[StreamAudio];
        total += audioCount * (v(s.stsc) + v(s.stco) + v(s.stsz) + 1048);
    }
    if (ccCount) {
        const HeaderAtomSizes& s = m_headerAtomSizes[StreamAncillary];
        total += ccCount * (v(s.stco) + v(s.stsc) + v(s.stsz) + 1048);
    }
    total += tcCount * 1124;
    return std::max<uint64_t>(total, 0x10000);
}

void FileWriter::alignSampleSizeMode(unsigned track)
{
    // A cfg call that records no entry of its own ("dvh1" at other heights,
    // an audio format of no known kind) leaves the track the last entry's
    // rule; a copy of it keeps the list indexed by track.
    while (m_sampleSizeMode.size() < size_t(track) + 1)
        m_sampleSizeMode.push_back(m_sampleSizeMode.empty() ? allOnes : m_sampleSizeMode.back());
    TrackEssenceBuffer& e = m_tracks[track].essence;
    if (m_sampleSizeMode[track] == allOnes)
        e.variableSizes = true;
}

// --- The tree ------------------------------------------------------------

void FileWriter::setFileBrand(std::vector<unsigned char>& ftyp) const
{
    Bytes b;
    if (isFlagSet(FlagMP4))
        b.code("mp42").u32(0).code("mp42");
    else
        b.code("qt  ").u32(0x20050300).u8(0x71).u8(0x74).u8(0x20).u8(0x02);
    b.u32(0).u32(0).u32(0);
    ftyp = b.atom("ftyp");
}

std::unique_ptr<Atom> FileWriter::rawAtom(std::vector<unsigned char> bytes)
{
    m_rawBlocks.push_back(std::make_unique<std::vector<unsigned char>>(std::move(bytes)));
    const auto& held = *m_rawBlocks.back();
    return std::make_unique<AtomEx<Atom, QTAtomRawEx>>(QTAtomRawEx{held.data(), held.size()});
}

template <typename T>
std::unique_ptr<T> FileWriter::sizedTable(uint32_t type, StreamType stream, uint64_t HeaderAtomSizes::*field)
{
    auto table = std::make_unique<T>();
    table->type = type;
    auto found = m_headerAtomSizes.find(stream);
    if (!writingIndexTableAtTheEnd() && found != m_headerAtomSizes.end() &&
        found->second.*field != HeaderAtomSizes::unset && found->second.*field != 0)
        table->fixedSize = found->second.*field;
    return table;
}

namespace {
// QTListEx needs its size and type through the constructor; these give the
// default constructor that sizedTable uses.
struct SttsTable : QTListEx<Time2SampleItem> { SttsTable() : QTListEx(0, fourCC("stts")) {} };
struct StscTable : QTListEx<Sample2ChunkItem> { StscTable() : QTListEx(0, fourCC("stsc")) {} };
struct CttsTable : QTListEx<CTTSItem> { CttsTable() : QTListEx(0, fourCC("ctts")) {} };
struct SyncTable : QTListEx<unsigned int> { SyncTable() : QTListEx(0, fourCC("stss")) {} };
struct Co64Table : QTListEx<unsigned long> { Co64Table() : QTListEx(0, fourCC("co64")) {} };
struct ElstTable : QTListEx<EditListItem> { ElstTable() : QTListEx(0, fourCC("elst")) {} };
struct StsdTable : QTListEx<SampleDescriptor> { StsdTable() : QTListEx(0, fourCC("stsd")) {} };
} // namespace

std::unique_ptr<Atom> FileWriter::writeUserData()
{
    auto udta = container("udta");
    addLeaf(*udta, std::make_unique<InfAtom>(0, "Halcyonics Quicktime"));
    return udta;
}

std::unique_ptr<Atom> FileWriter::writeAtom_tapt(unsigned width, unsigned height)
{
    auto tapt = container("tapt");
    float clefW = float(width), clefH = float(height), profW = float(width), profH = float(height);
    if (width == 1920)
        clefW = 1888, clefH = height == 1080 ? 1062 : float(height);
    if (height == 486)
        clefW = 640, clefH = 480, profW = 654.36f, profH = 486;
    const char* codes[3] = {"clef", "prof", "enof"};
    float dims[3][2] = {{clefW, clefH}, {profW, profH}, {float(width), float(height)}};
    for (int i = 0; i < 3; ++i) {
        auto d = std::make_unique<TrackApertureDimensions>(
            uint32_t(uint8_t(codes[i][0])) | uint32_t(uint8_t(codes[i][1])) << 8 |
            uint32_t(uint8_t(codes[i][2])) << 16 | uint32_t(uint8_t(codes[i][3])) << 24);
        d->width = dims[i][0], d->height = dims[i][1];
        addLeaf(*tapt, std::move(d));
    }
    return tapt;
}

std::unique_ptr<Atom> FileWriter::writeAtom_edts(unsigned track)
{
    auto edts = container("edts");
    auto elst = std::make_unique<ElstTable>();
    elst->addItem(EditListItem{0, 0, 1.0f});
    m_tracks[track].tables.elst = addLeaf<QTListEx<EditListItem>>(*edts, std::move(elst));
    return edts;
}

std::unique_ptr<Atom> FileWriter::writeAtom_stbl(unsigned track)
{
    Track& t = m_tracks[track];
    TrackTables& tables = t.tables;
    StreamType type = t.data.streamType;
    auto stbl = container("stbl");

    auto stsd = std::make_unique<StsdTable>();
    std::unique_ptr<SampleDescriptor> description;
    if (type == StreamVideo) {
        auto video = cfgVideo(track);
        for (auto& extension : video->extensions) {
            if (extension->type == fourCC("avcC"))
                tables.avcC = static_cast<OpaqueExtension*>(extension.get());
            else if (extension->type == fourCC("ARES"))
                tables.ares = static_cast<OpaqueExtension*>(extension.get());
            else if (extension->type == fourCC("ACLR"))
                tables.aclr = static_cast<OpaqueExtension*>(extension.get());
            else if (extension->type == fourCC("APRG"))
                tables.aprg = static_cast<OpaqueExtension*>(extension.get());
            else if (extension->type == fourCC("ADHR"))
                tables.adhr = static_cast<OpaqueExtension*>(extension.get());
        }
        description = std::move(video);
    } else if (type == StreamAudio) {
        description = cfgAudio(track);
    } else if (type == StreamTimecode) {
        description = cfgTimecode(track);
    } else {
        description = cfgAnc(track);
    }
    alignSampleSizeMode(track);
    tables.description = description.get();
    SampleDescriptor* raw = description.release();
    stsd->AddItem(&raw, nullptr, 0);
    addLeaf<QTListEx<SampleDescriptor>>(*stbl, std::move(stsd));

    auto stts = sizedTable<SttsTable>(fourCC("stts"), type, &HeaderAtomSizes::stts);
    // The entry counts the samples written; none yet (the timecode track's
    // one sample is there from the start).
    stts->addItem(Time2SampleItem{type == StreamTimecode ? 1u : 0u, t.sampleDuration});
    tables.stts = addLeaf<QTListEx<Time2SampleItem>>(*stbl, std::move(stts));

    auto stsc = sizedTable<StscTable>(fourCC("stsc"), type, &HeaderAtomSizes::stsc);
    if (type == StreamTimecode)
        stsc->addItem(Sample2ChunkItem{1, 1, 1});
    tables.stsc = addLeaf<QTListEx<Sample2ChunkItem>>(*stbl, std::move(stsc));

    auto stsz = std::make_unique<SampleSizeListEx>();
    auto found = m_headerAtomSizes.find(type);
    if (!writingIndexTableAtTheEnd() && found != m_headerAtomSizes.end() && found->second.stsz != HeaderAtomSizes::unset)
        stsz->fixedSize = found->second.stsz;
    uint32_t mode = track < m_sampleSizeMode.size() ? m_sampleSizeMode[track] : allOnes;
    if (mode != 0 && mode != allOnes)
        stsz->sampleSize = mode;
    tables.stsz = addLeaf(*stbl, std::move(stsz));

    if (type == StreamVideo) {
        const VideoStructuralData& v = t.data.video;
        if (isOpenGOP()) {
            auto sdtp = std::make_unique<SampleDependencyList>();
            if (found != m_headerAtomSizes.end() && !writingIndexTableAtTheEnd() && found->second.sdtp)
                sdtp->fixedSize = found->second.sdtp;
            tables.sdtp = addLeaf(*stbl, std::move(sdtp));
        }
        if (v.gopSize >= 2) {
            auto stss = sizedTable<SyncTable>(fourCC("stss"), type, &HeaderAtomSizes::stss);
            tables.stss = addLeaf<QTListEx<unsigned int>>(*stbl, std::move(stss));
            if (isOpenGOP()) {
                auto stps = sizedTable<SyncTable>(fourCC("stps"), type, &HeaderAtomSizes::stps);
                tables.stps = addLeaf<QTListEx<unsigned int>>(*stbl, std::move(stps));
            }
            if (v.gopPeriod >= 1) {
                auto ctts = sizedTable<CttsTable>(fourCC("ctts"), type, &HeaderAtomSizes::ctts);
                tables.ctts = addLeaf<QTListEx<CTTSItem>>(*stbl, std::move(ctts));
            }
        }
    }
    auto co64 = sizedTable<Co64Table>(fourCC("co64"), type, &HeaderAtomSizes::stco);
    tables.co64 = addLeaf<QTListEx<unsigned long>>(*stbl, std::move(co64));
    return stbl;
}

std::unique_ptr<Atom> FileWriter::writeAtom_minf(unsigned track)
{
    StreamType type = m_tracks[track].data.streamType;
    bool mp4 = isFlagSet(FlagMP4);
    auto minf = container("minf");
    Bytes gmin;
    gmin.u32(0).u16(0x0040).u16(0x8000).u16(0x8000).u16(0x8000).u16(0).u16(0);
    if (type == StreamVideo) {
        Bytes b;
        b.u32(1).u16(0x0040).u16(0x8000).u16(0x8000).u16(0x8000);
        minf->appendAtom(rawAtom(b.atom("vmhd")));
    } else if (type == StreamAudio) {
        Bytes b;
        b.u32(0).u32(0);
        minf->appendAtom(rawAtom(b.atom("smhd")));
    } else if (type == StreamTimecode) {
        Bytes tcmi;
        tcmi.u32(0).u16(0x0400).u16(0).u16(12).u16(0).u16(0).u16(0).u16(0).u16(0xFFFF).u16(0xFFFF).u16(0xFFFF)
            .pascal("Lucida Grande");
        Bytes tmcd;
        tmcd.append(tcmi.atom("tcmi"));
        Bytes gmhd;
        gmhd.append(gmin.atom("gmin")).append(tmcd.atom("tmcd"));
        minf->appendAtom(rawAtom(gmhd.atom("gmhd")));
    } else {
        Bytes gmhd;
        gmhd.append(gmin.atom("gmin"));
        minf->appendAtom(rawAtom(gmhd.atom("gmhd")));
    }
    if (!mp4) {
        auto dhlr = std::make_unique<HandlerRef>();
        dhlr->ComponentType = fourCC("dhlr");
        dhlr->ComponentSubtype = fourCC("alis");
        dhlr->ComponentManufacturer = fourCC("appl");
        dhlr->ComponentFlags = 0x10000001;
        dhlr->ComponentFlagsMask = (type == StreamAudio || type == StreamTimecode) ? 0x000100E2 : 0x0001022E;
        dhlr->ComponentName = "Apple Alias Data Handler";
        addLeaf(*minf, std::move(dhlr));
    }
    Bytes entry;
    entry.u32(1);
    Bytes dref;
    dref.u32(0).u32(1).append(entry.atom(mp4 ? "url " : "alis"));
    Bytes dinf;
    dinf.append(dref.atom("dref"));
    minf->appendAtom(rawAtom(dinf.atom("dinf")));
    minf->appendAtom(writeAtom_stbl(track));
    return minf;
}

std::unique_ptr<Atom> FileWriter::writeAtom_mdia(unsigned track)
{
    Track& t = m_tracks[track];
    bool mp4 = isFlagSet(FlagMP4);
    auto mdia = container("mdia");
    auto mdhd = std::make_unique<MediaHeader>();
    mdhd->CreationTime = mdhd->ModifyTime = nowMac();
    mdhd->TimeScale = t.mediaTimeScale;
    mdhd->Language = mp4 ? 5575 : 0;
    t.tables.mdhd = addLeaf(*mdia, std::move(mdhd));

    std::unique_ptr<HandlerRef> hdlr = mp4 ? std::make_unique<HandlerRef_MP4>() : std::make_unique<HandlerRef>();
    hdlr->ComponentType = fourCC("mhlr");
    switch (t.data.streamType) {
    case StreamVideo:
        hdlr->ComponentSubtype = fourCC("vide"), hdlr->ComponentFlags = 0x10000001, hdlr->ComponentFlagsMask = 1;
        hdlr->ComponentName = "Video Media Handler";
        break;
    case StreamAudio:
        hdlr->ComponentSubtype = fourCC("soun"), hdlr->ComponentName = "Sound Media Handler";
        break;
    case StreamTimecode:
        hdlr->ComponentSubtype = fourCC("tmcd"), hdlr->ComponentFlags = 0x10000001;
        hdlr->ComponentFlagsMask = 0x0001021C, hdlr->ComponentName = "Time Code Media Handler";
        break;
    default:
        hdlr->ComponentSubtype = fourCC("clcp"), hdlr->ComponentFlags = 0x10000001;
        hdlr->ComponentFlagsMask = 0x0001021B, hdlr->ComponentName = "Closed Caption Media Handler";
        break;
    }
    addLeaf(*mdia, std::move(hdlr));
    mdia->appendAtom(writeAtom_minf(track));
    return mdia;
}

std::unique_ptr<Atom> FileWriter::writeAtom_trak(unsigned track)
{
    Track& t = m_tracks[track];
    const Track* video = firstVideo();
    auto trak = container("trak");
    auto tkhd = std::make_unique<TrackHeader>();
    tkhd->versionAndFlags = isFlagSet(FlagMP4) ? 0x07000000 : 0x0F000000;
    tkhd->CreationTime = tkhd->ModifyTime = nowMac();
    tkhd->TrackID = track + 1;
    tkhd->Matrix = unityMatrix;
    unsigned width = 0, height = 0;
    switch (t.data.streamType) {
    case StreamAudio:
        tkhd->Volume = 1.0f;
        break;
    case StreamVideo:
        width = t.data.video.width, height = t.data.video.height;
        break;
    case StreamTimecode:
        width = video ? video->data.video.width : 0, height = 20;
        break;
    default:
        width = video ? video->data.video.width : 0, height = video ? video->data.video.height : 0;
        break;
    }
    tkhd->WidthWhole = uint16_t(width), tkhd->HeightWhole = uint16_t(height);
    t.tables.tkhd = addLeaf(*trak, std::move(tkhd));
    if (t.data.streamType == StreamVideo || t.data.streamType == StreamAncillary)
        trak->appendAtom(writeAtom_tapt(width, height));
    trak->appendAtom(writeAtom_edts(track));
    if (t.data.streamType == StreamVideo) {
        std::unique_ptr<Atom> tref;
        for (unsigned i = 0; i < m_tracks.size(); ++i) {
            if (i == track || m_tracks[i].data.streamType != StreamTimecode)
                continue;
            if (!tref)
                tref = container("tref");
            auto tmcd = std::make_unique<TmcdAtom>(i + 1);
            tmcd->type = fourCC("tmcd");
            addLeaf(*tref, std::move(tmcd));
        }
        if (tref)
            trak->appendAtom(std::move(tref));
    }
    trak->appendAtom(writeAtom_mdia(track));
    return trak;
}

void FileWriter::buildMovie()
{
    m_rawBlocks.clear();
    m_sampleSizeMode.clear();
    // Time scales of each track's media.
    const Track* video = firstVideo();
    uint32_t videoScale = 25, videoDuration = 1;
    if (video)
        getTimeScaleFromRate(video->data.video.rateNumerator, video->data.video.rateDenominator, videoScale,
                             videoDuration);
    for (unsigned i = 0; i < m_tracks.size(); ++i) {
        Track& t = m_tracks[i];
        switch (t.data.streamType) {
        case StreamVideo:
            getTimeScaleFromRate(t.data.video.rateNumerator, t.data.video.rateDenominator, t.mediaTimeScale,
                                 t.sampleDuration);
            break;
        case StreamAudio:
            t.mediaTimeScale = t.data.audio.sampleRate, t.sampleDuration = isAac(i) ? 1024 : 1;
            break;
        case StreamTimecode:
            t.mediaTimeScale = video ? videoScale : 25, t.sampleDuration = video ? videoDuration : 1;
            break;
        default: {
            // As the nearest video track before this one.
            t.mediaTimeScale = 25, t.sampleDuration = 1;
            for (unsigned j = i; j-- > 0;)
                if (m_tracks[j].data.streamType == StreamVideo) {
                    t.mediaTimeScale = m_tracks[j].mediaTimeScale, t.sampleDuration = m_tracks[j].sampleDuration;
                    break;
                }
            break;
        }
        }
    }

    auto moov = container("moov");
    auto mvhd = std::make_unique<MovieHeader>();
    mvhd->CreationTime = mvhd->ModifyTime = nowMac();
    mvhd->TimeScale = m_timeScale;
    mvhd->Rate = 1.0f, mvhd->Volume = 1.0f;
    mvhd->Matrix = unityMatrix;
    mvhd->NextTrackID = uint32_t(m_tracks.size() + 1);
    m_mvhd = addLeaf(*moov, std::move(mvhd));
    moov->appendAtom(writeUserData());
    for (unsigned i = 0; i < m_tracks.size(); ++i)
        moov->appendAtom(writeAtom_trak(i));
    m_moov = std::move(moov);
}

// --- The header region and the mdat header ---------------------------------

void FileWriter::renderMdatHeader(unsigned char* slot) const
{
    QTAtomExtendable mdat(fourCC("mdat"));
    mdat.extended = m_mdatPayload + 8 > UINT32_MAX;
    mdat.size = m_mdatPayload + (mdat.extended ? 16 : 8);
    mdat.toData(slot, mdatSlot);
}

CvResult FileWriter::doInitialSetupForMoovBeforeMdat(uint64_t headerSize)
{
    uint64_t region = roundToSector(m_ftyp.size() + headerSize + mdatSlot);
    if (!m_headerBuffer.alloc(region)) {
        setLastError(OutOfMemory, L"Failed to allocate %d bytes for header buffer", int(region));
        return OutOfMemory;
    }
    m_headerBuffer.flush(0);
    m_headerBuffer.setUsed(region);
    std::memcpy(m_headerBuffer.getBuffer(), m_ftyp.data(), m_ftyp.size());
    m_moovPosition = m_ftyp.size();
    m_mdatOffset = region - mdatSlot;
    m_dataStart = region;
    renderMdatHeader(m_headerBuffer.getBuffer(m_mdatOffset));
    return OK;
}

CvResult FileWriter::doInitialSetupForMoovAfterMdat()
{
    uint64_t block = roundToSector(m_ftyp.size());
    if (block > m_ftyp.size() && block - m_ftyp.size() < 8)
        block = roundToSector(m_ftyp.size() + 8);
    std::vector<unsigned char> head(block, 0);
    std::memcpy(head.data(), m_ftyp.data(), m_ftyp.size());
    if (block > m_ftyp.size()) {
        writeBE32(head.data() + m_ftyp.size(), uint32_t(block - m_ftyp.size()));
        writeCode(head.data() + m_ftyp.size() + 4, fourCC("free"));
    }
    if (m_hasDiskFile) {
        unsigned written = 0;
        CvResult result = m_file.write(head.data(), unsigned(head.size()), written);
        if (!isSuccess(result) || written != head.size())
            return isSuccess(result) ? Fail : result;
    }
    m_mdatBlockStart = block;
    m_moovPosition = block;
    return formatMdatAndWriteToFile(false);
}

CvResult FileWriter::formatMdatAndWriteToFile(bool rewrite)
{
    if (!rewrite) {
        uint64_t block = roundToSector(mdatSlot);
        if (block > mdatSlot && block - mdatSlot < 8)
            block = roundToSector(mdatSlot + 8);
        m_mdatBlock.assign(block, 0);
        if (block > mdatSlot) {
            writeBE32(m_mdatBlock.data(), uint32_t(block - mdatSlot));
            writeCode(m_mdatBlock.data() + 4, fourCC("free"));
        }
        m_mdatOffset = m_mdatBlockStart + block - mdatSlot;
        m_dataStart = m_mdatBlockStart + block;
    }
    renderMdatHeader(m_mdatBlock.data() + m_mdatBlock.size() - mdatSlot);
    if (!m_hasDiskFile)
        return OK;
    unsigned long previous = 0;
    CvResult result = OK;
    if (rewrite) {
        result = m_file.seek(m_mdatBlockStart, &previous, 0);
        if (!isSuccess(result))
            return result;
    }
    unsigned written = 0;
    result = m_file.write(m_mdatBlock.data(), unsigned(m_mdatBlock.size()), written);
    if (isSuccess(result) && written != m_mdatBlock.size())
        result = Fail;
    if (rewrite && isSuccess(result))
        result = m_file.seek(previous, nullptr, 0);
    return result;
}

CvResult FileWriter::writeHeader()
{
    if (!m_moov)
        return OK;
    uint64_t moovSize = m_moov->atomSize();
    if (!writingIndexTableAtTheEnd()) {
        uint64_t region = m_headerBuffer.capacity();
        uint64_t room = region - m_ftyp.size() - mdatSlot;
        // A gap of under 8 bytes could hold no free atom.
        if (moovSize > room || (moovSize < room && room - moovSize < 8)) {
            setLastError(Fail, L"writeHeader, not enough room in the header.");
            return Fail;
        }
        unsigned char* at = m_headerBuffer.getBuffer(m_moovPosition);
        std::memset(at, 0, size_t(room));
        size_t rendered = m_moov->write(at, size_t(room));
        if (rendered != moovSize) {
            setLastError(Fail, L"writeHeader, the movie atom rendered %zu bytes of %llu.", rendered,
                         (unsigned long long)moovSize);
            return Fail;
        }
        if (room > moovSize) {
            writeBE32(at + moovSize, uint32_t(room - moovSize));
            writeCode(at + moovSize + 4, fourCC("free"));
        }
        if (!m_hasDiskFile)
            return OK;
        unsigned long previous = 0;
        CvResult result = m_file.seek(0, &previous, 0);
        if (!isSuccess(result)) {
            setLastError(result, L"writeHeader failed to seek.");
            return result;
        }
        // Only the sectors that changed since the last header reached the
        // disk are written again: the reserved tables make the region tens
        // of megabytes, of which a flush changes a few sectors.
        const unsigned char* now = m_headerBuffer.getBuffer();
        std::vector<std::pair<uint64_t, uint64_t>> runs;
        if (m_headerOnDisk.size() != region) {
            runs.emplace_back(0, region);
        } else {
            for (uint64_t sector = 0; sector < region; sector += m_sectorSize) {
                uint64_t length = std::min<uint64_t>(m_sectorSize, region - sector);
                if (std::memcmp(now + sector, m_headerOnDisk.data() + sector, size_t(length)) == 0)
                    continue;
                if (!runs.empty() && runs.back().first + runs.back().second == sector)
                    runs.back().second += length;
                else
                    runs.emplace_back(sector, length);
            }
        }
        for (const auto& [start, length] : runs) {
            unsigned written = 0;
            result = m_file.seek(start, nullptr, 0);
            if (isSuccess(result))
                result = m_file.write(now + start, unsigned(length), written);
            if (isSuccess(result) && written != length)
                result = Fail;
            if (!isSuccess(result)) {
                m_headerOnDisk.clear();
                setLastError(result, L"writeHeader failed to write.");
                m_file.seek(std::max<uint64_t>(previous, essencePosition()), nullptr, 0);
                return result;
            }
        }
        try {
            m_headerOnDisk.assign(now, now + region);
        } catch (const std::bad_alloc&) {
            m_headerOnDisk.clear();
        }
        // The essence goes on where it stood, and never into the region.
        result = m_file.seek(std::max<uint64_t>(previous, essencePosition()), nullptr, 0);
        if (!isSuccess(result)) {
            setLastError(result, L"writeHeader failed to seek.");
            return result;
        }
        return OK;
    }

    // Index last: the mdat header takes its final size, the moov follows the essence.
    if (!m_hasDiskFile)
        return OK;
    CvResult result = formatMdatAndWriteToFile(true);
    if (!isSuccess(result)) {
        setLastError(result, L"writeHeader failed to write.");
        return result;
    }
    uint64_t padded = roundToSector(moovSize);
    if (padded > moovSize && padded - moovSize < 8)
        padded = roundToSector(moovSize + 8);
    std::vector<unsigned char> block;
    try {
        block.assign(size_t(padded), 0);
    } catch (const std::bad_alloc&) {
        setLastError(OutOfMemory, L"Failed to allocate %d bytes for header buffer", int(padded));
        return OutOfMemory;
    }
    size_t rendered = m_moov->write(block.data(), block.size());
    if (rendered != moovSize) {
        setLastError(Fail, L"writeHeader, the movie atom rendered %zu bytes of %llu.", rendered,
                     (unsigned long long)moovSize);
        return Fail;
    }
    if (padded > moovSize) {
        writeBE32(block.data() + moovSize, uint32_t(padded - moovSize));
        writeCode(block.data() + moovSize + 4, fourCC("free"));
    }
    unsigned long previous = 0;
    result = m_file.seek(essencePosition(), &previous, 0);
    if (!isSuccess(result)) {
        setLastError(result, L"writeHeader failed to seek.");
        return result;
    }
    unsigned written = 0;
    result = m_file.write(block.data(), unsigned(block.size()), written);
    if (isSuccess(result) && written != block.size())
        result = Fail;
    if (!isSuccess(result)) {
        setLastError(result, L"writeHeader failed to write.");
        return result;
    }
    return m_file.seek(previous, nullptr, 0);
}

void FileWriter::updateMdatSize(uint64_t bytes)
{
    m_mdatPayload += bytes;
    if (writingIndexTableAtTheEnd())
        m_moovPosition = essencePosition();
    else if (m_headerBuffer.capacity() >= mdatSlot)
        renderMdatHeader(m_headerBuffer.getBuffer(m_mdatOffset));
}

// --- Index tables ----------------------------------------------------------

namespace {
template <typename List>
bool tableFull(const List* list, size_t entryBytes, size_t head)
{
    return list && list->fixedSize != List::notSet && (list->get_Count() + 1) * entryBytes + head > list->fixedSize;
}
} // namespace

CvResult FileWriter::updateIndexes(unsigned track, const PendingChunk& chunk, bool sizeKnown, bool continueChunk,
                                   bool startNewChunk)
{
    Track& t = m_tracks[track];
    TrackTables& tables = t.tables;
    bool indexFirst = !writingIndexTableAtTheEnd();
    Sample2ChunkItem* last = tables.stsc->get_LastItem();
    bool newEntry = true, addOffset = true;
    uint32_t chunkCount = uint32_t(tables.co64->get_Count());
    if (last && last->samplesPerChunk == chunk.samples && !continueChunk && !startNewChunk) {
        newEntry = false;
    } else if (continueChunk && !startNewChunk && last && chunkCount > 0) {
        newEntry = false;
        if (isOpenGOP())
            addOffset = false;
        if (last->firstChunk == chunkCount) {
            last->samplesPerChunk += chunk.samples;
        } else {
            newEntry = true; // the grown chunk gets an entry of its own
        }
    }
    if (newEntry) {
        if (indexFirst && tables.stsc->get_Count() + 1 > m_maxChunks[track]) {
            setLastError(Fail, L"updateIndexes, not enough room in the header. MaxChunks[%d]=%d count=%d", int(track),
                         int(m_maxChunks[track]), int(tables.stsc->get_Count()));
            return Fail;
        }
        if (continueChunk && !startNewChunk && last && chunkCount > 0)
            tables.stsc->addItem(Sample2ChunkItem{chunkCount, last->samplesPerChunk + chunk.samples, 1});
        else
            tables.stsc->addItem(Sample2ChunkItem{chunkCount + 1, chunk.samples, 1});
    }
    if (addOffset && indexFirst && tables.co64->get_Count() + 1 > m_maxChunkOffsets[track]) {
        setLastError(MaxFileSizeExceeded,
                     L"updateIndexes, not enough room in the header. MaxChunkOffsets[%d]=%d count=%d", int(track),
                     int(m_maxChunkOffsets[track]), int(tables.co64->get_Count()));
        return MaxFileSizeExceeded;
    }
    if (Time2SampleItem* stts = tables.stts->get_LastItem())
        stts->count = t.samplesWritten;
    uint32_t mode = track < m_sampleSizeMode.size() ? m_sampleSizeMode[track] : allOnes;
    if (mode > 0 || sizeKnown)
        updateIndex_stsz(track, chunk.samples, chunk.sizes);
    if (t.data.streamType == StreamVideo) {
        CvResult result = updateIndex_sync(track, chunk);
        if (isSuccess(result))
            result = updateIndex_ctts(track, chunk);
        if (!isSuccess(result))
            return result;
        updateIndex_sdtp(track, chunk);
    }
    if (addOffset)
        tables.co64->addItem(static_cast<unsigned long>(chunk.offset));

    if (writingIndexTableAtTheEnd() && t.indexer) {
        bool perCall = t.data.streamType == StreamAudio && !isAac(track);
        uint64_t at = chunk.offset;
        if (perCall) {
            // One entry a call, numbered in order: the indexer takes each
            // row's number as the one after the last.
            for (uint32_t size : chunk.callSizes) {
                uint32_t number = t.externalEntries++;
                addExternalIndex(track, at, size, number, number, 0);
                at += size;
            }
        } else {
            uint32_t first = t.samplesWritten - chunk.samples;
            for (uint32_t i = 0; i < chunk.samples; ++i) {
                uint32_t size = chunk.sizes.size() > i ? chunk.sizes[i] : chunk.sizes.empty() ? 0 : chunk.sizes[0];
                uint32_t type = i < chunk.frameTypes.size() ? chunk.frameTypes[i] : HalcIFrame;
                uint32_t shown = i < chunk.presentation.size() ? chunk.presentation[i] : first + i;
                addExternalIndex(track, at, size, shown, first + i, type);
                at += size;
            }
        }
        t.pendingSizes.clear();
    }
    return OK;
}

void FileWriter::updateIndex_stsz(unsigned track, uint32_t samples, const std::vector<uint32_t>& sizes)
{
    Track& t = m_tracks[track];
    SampleSizeListEx* stsz = t.tables.stsz;
    stsz->sampleCount += samples;
    bool indexed = t.data.streamType == StreamVideo || t.data.streamType == StreamAncillary || isAac(track);
    if (!indexed)
        return;
    if (m_sampleSizeMode[track] == allOnes) {
        for (uint32_t i = 0; i < samples && i < sizes.size(); ++i)
            stsz->addSize(sizes[i]);
    } else if (!sizes.empty()) {
        stsz->sampleSize = sizes[0];
    }
}

CvResult FileWriter::updateIndex_sync(unsigned track, const PendingChunk& chunk)
{
    Track& t = m_tracks[track];
    uint32_t frame = t.samplesWritten - uint32_t(chunk.frameTypes.size()) + 1;
    for (uint32_t type : chunk.frameTypes) {
        if (type & HalcIFrame) {
            QTListEx<unsigned int>* table = t.tables.stss;
            if (isOpenGOP() && frame > t.data.video.gopSize && t.tables.stps)
                table = t.tables.stps;
            if (table) {
                if (tableFull(table, 4, 16)) {
                    setLastError(Fail, L"updateIndexes, not enough room in the header for the sync sample table.");
                    return Fail;
                }
                table->addItem(frame);
            }
        }
        ++frame;
    }
    return OK;
}

CvResult FileWriter::updateIndex_ctts(unsigned track, const PendingChunk& chunk)
{
    Track& t = m_tracks[track];
    QTListEx<CTTSItem>* ctts = t.tables.ctts;
    if (!ctts)
        return OK;
    uint32_t decode = t.samplesWritten - uint32_t(chunk.presentation.size());
    for (uint32_t shown : chunk.presentation) {
        int32_t offset = int32_t((int64_t(shown) - int64_t(decode)) * int64_t(t.sampleDuration));
        CTTSItem* last = ctts->get_LastItem();
        if (last && last->offset == offset) {
            ++last->count;
        } else {
            if (tableFull(ctts, 8, 16)) {
                setLastError(Fail, L"updateIndexes, not enough room in the header for the composition offsets.");
                return Fail;
            }
            ctts->addItem(CTTSItem{1, offset});
        }
        ++decode;
    }
    return OK;
}

void FileWriter::updateIndex_sdtp(unsigned track, const PendingChunk& chunk)
{
    SampleDependencyList* sdtp = m_tracks[track].tables.sdtp;
    if (!sdtp || !isOpenGOP())
        return;
    for (uint32_t type : chunk.frameTypes) {
        if (type & HalcIFrame)
            sdtp->addItem(0x60);
        else if (type & HalcPFrame)
            sdtp->addItem(0x08);
        else if (type & HalcBFrame)
            sdtp->addItem(0x40);
        else
            break;
    }
}

void FileWriter::updateExistingIndex(unsigned track, uint32_t chunk, uint64_t offset)
{
    m_tracks[track].tables.co64->setValue(chunk, static_cast<unsigned long>(offset));
}

void FileWriter::updateTrackDurations(unsigned track)
{
    Track& t = m_tracks[track];
    uint64_t media = uint64_t(t.samplesWritten) * t.sampleDuration;
    uint64_t movie = t.mediaTimeScale ? media * m_timeScale / t.mediaTimeScale : 0;
    uint32_t movie32 = uint32_t(std::min<uint64_t>(movie, UINT32_MAX));
    if (t.tables.tkhd)
        t.tables.tkhd->Duration = movie32;
    if (t.tables.elst)
        if (EditListItem* edit = t.tables.elst->get_LastItem())
            edit->trackDuration = movie32;
    if (t.tables.mdhd)
        t.tables.mdhd->Duration = uint32_t(std::min<uint64_t>(media, UINT32_MAX));
    int source = firstVideoIndex();
    if (source < 0)
        source = 0;
    if (m_mvhd && unsigned(source) == track)
        m_mvhd->Duration = movie32;
}

CvResult FileWriter::writeInitialTimecode(unsigned track)
{
    Track& t = m_tracks[track];
    uint64_t blockSize = m_sectorSize > 1 ? m_sectorSize : 4;
    std::vector<unsigned char> block(size_t(blockSize), 0);
    writeBE32(block.data(), t.data.timecode.startFrame);
    if (m_hasDiskFile) {
        unsigned written = 0;
        CvResult result = m_file.write(block.data(), unsigned(block.size()), written);
        if (isSuccess(result) && written != block.size())
            result = Fail;
        if (!isSuccess(result)) {
            setLastError(result, L"Failed to write the timecode sample of track %d.", int(track));
            return result;
        }
    }
    t.tables.co64->addItem(static_cast<unsigned long>(essencePosition()));
    t.tables.stsz->sampleCount = 1;
    t.tables.stsz->sampleSize = 4;
    updateMdatSize(blockSize);
    return OK;
}

} // namespace Corvidane::QuickTime
