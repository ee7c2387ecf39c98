// The movie header as a tree of atoms, each writing its own bytes.
#include <array>
#include <ctime>

#include "frame/FourCC.h"
#include "quicktime/write/FileWriter.h"

namespace Corvidane::QuickTime {

namespace {

constexpr uint32_t macEpochOffset = 2082844800u;

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

} // namespace Corvidane::QuickTime
