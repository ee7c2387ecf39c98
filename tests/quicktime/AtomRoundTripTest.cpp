#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <set>
#include <string>

#include "frame/BigEndian.h"
#include "frame/FourCC.h"
#include "quicktime/MovieBytes.h"
#include "quicktime/atoms/Extensions.h"
#include "quicktime/atoms/FragmentAtoms.h"
#include "quicktime/atoms/HeaderAtoms.h"
#include "quicktime/atoms/QTListEx.h"
#include "quicktime/atoms/SampleDescriptors.h"
#include "quicktime/atoms/SampleTables.h"
#include "support/TempDir.h"
#include "support/TestMedia.h"

// Every atom of fixed fields is read and written through one description of
// its fields. Read from movies that ffmpeg made and written again, each gives
// back the bytes it was read from, so the two directions can't drift apart.
using namespace Corvidane::QuickTime;
using namespace movie_bytes;

namespace {

const unsigned char* bytesOf(const std::string& s) { return reinterpret_cast<const unsigned char*>(s.data()); }

// Reads an atom through `Atom` and writes it again; "unread" when it can't be read.
template <class Atom> std::string rewritten(const std::string& atomBytes)
{
    Atom atom;
    if (!atom.fromData(bytesOf(atomBytes), atomBytes.size()))
        return "unread";
    std::string out(atomBytes.size() + 64, '\0');
    out.resize(atom.toData(reinterpret_cast<unsigned char*>(&out[0]), out.size()));
    return out;
}

// Reads a table through the reader's list and writes its entries through the writer's.
template <class Item, class ReadList> std::string rewrittenTable(const std::string& atomBytes)
{
    // An empty table reads as nothing to parse, but its head is read.
    ReadList read;
    read.fromData(bytesOf(atomBytes), atomBytes.size());
    QTListEx<Item> written(0, read.type);
    written.versionAndFlags = read.versionAndFlags;
    for (size_t i = 0; i < read.get_Count(); ++i)
        written.addItem(*read.item(i));
    written.size = static_cast<uint32_t>(written.getSize());
    std::string out(written.getSize(), '\0');
    out.resize(written.toData(reinterpret_cast<unsigned char*>(&out[0]), out.size()));
    return out;
}

using Rewrite = std::function<std::string(const std::string&)>;

// The atoms compared whole, by type.
const std::map<std::string, Rewrite>& wholeAtoms()
{
    static const std::map<std::string, Rewrite> table = {
        {"mvhd", rewritten<MovieHeader>},
        {"tkhd", rewritten<TrackHeader>},
        {"mdhd", rewritten<MediaHeader>},
        {"fiel", rewritten<ImageExtension_fiel>},
        {"colr", rewritten<ImageExtension_colr>},
        {"pasp", rewritten<ImageExtension_pasp>},
        {"clap", rewritten<ImageExtension_clap>},
        {"stts", rewrittenTable<Time2SampleItem, Time2SampleList>},
        {"ctts", rewrittenTable<CTTSItem, CTTSList>},
        {"stsc", rewrittenTable<Sample2ChunkItem, Sample2ChunkList>},
        {"elst", rewrittenTable<EditListItem, EditList>},
        {"mehd", rewritten<MovieExtendsHeader>},
        {"trex", rewritten<TrackExtends>},
        {"mfhd", rewritten<MovieFragmentHeader>},
        {"tfhd", rewritten<TrackFragmentHeader>},
        {"trun", rewritten<TrackRunSampleList>},
        {"tfra", rewritten<TrackFragmentRandomAccess>},
        {"mfro", rewritten<MovieFragmentRandomAccessOffset>},
    };
    return table;
}

struct Box {
    std::string type;
    size_t offset;
    size_t size;
};

// The atoms of a file, containers opened, in file order.
void walk(const std::string& file, size_t begin, size_t end, std::vector<Box>& boxes)
{
    static const std::set<std::string> containers = {"moov", "trak", "mdia", "minf", "stbl", "edts",
                                                     "mvex", "moof", "traf", "mfra", "dinf"};
    for (size_t p = begin; p + 8 <= end;) {
        uint64_t length = Corvidane::readBE32(bytesOf(file) + p);
        size_t head = 8;
        if (length == 1 && p + 16 <= end)
            length = Corvidane::readBE64(bytesOf(file) + p + 8), head = 16;
        else if (length == 0)
            length = end - p;
        if (length < head || length > end - p)
            return;
        Box box{file.substr(p + 4, 4), p, static_cast<size_t>(length)};
        boxes.push_back(box);
        if (containers.count(box.type))
            walk(file, p + head, p + box.size, boxes);
        p += box.size;
    }
}

// A sample description entry's fixed fields, read and written again: the
// bytes behind the length, up to `fixedEnd`.
template <class Descriptor> void expectEntryFieldsKept(const std::string& entry, size_t fixedEnd)
{
    Descriptor descriptor;
    ASSERT_NE(descriptor.fromData(bytesOf(entry), entry.size()), 0u);
    std::string out(descriptor.getSize(), '\0');
    ASSERT_NE(descriptor.toData(reinterpret_cast<unsigned char*>(&out[0]), out.size()), 0u);
    // in24 and in32 entries say 16 bits, and are read as their format's size.
    const std::string format = entry.substr(4, 4);
    if (format == "in24" || format == "in32")
        out.replace(26, 2, entry.substr(26, 2));
    EXPECT_EQ(out.substr(4, fixedEnd - 4), entry.substr(4, fixedEnd - 4));
}

// The entries of a stsd, each checked by the kind of its track; the
// extensions behind a picture entry are atoms compared whole.
void checkEntries(const std::string& file, const Box& stsd, const std::string& handler, std::set<std::string>& seen,
                  std::vector<Box>& extensions)
{
    for (size_t p = stsd.offset + 16; p + 16 <= stsd.offset + stsd.size;) {
        const size_t length = Corvidane::readBE32(bytesOf(file) + p);
        if (length < 16 || length > stsd.offset + stsd.size - p)
            return;
        const std::string entry = file.substr(p, length);
        SCOPED_TRACE(handler + " entry " + entry.substr(4, 4));
        if (handler == "vide") {
            expectEntryFieldsKept<VideoDescriptor>(entry, 86);
            walk(file, p + 86, p + length, extensions);
            seen.insert("video entry");
        } else if (handler == "soun") {
            const uint16_t version = Corvidane::readBE16(bytesOf(entry) + 16);
            if (version == 0)
                expectEntryFieldsKept<SoundDescriptor>(entry, 36), seen.insert("sound entry");
            else if (version == 1)
                expectEntryFieldsKept<SoundDescriptorV1>(entry, 52), seen.insert("sound entry");
        } else if (handler == "tmcd") {
            expectEntryFieldsKept<TimecodeDescriptor>(entry, 34);
            seen.insert("timecode entry");
        }
        p += length;
    }
}

class AtomRoundTrip : public ::testing::TestWithParam<const char*> {};

TEST(AtomRoundTripAll, EveryDescribedAtomComesBackAsItWasRead)
{
    std::set<std::string> seen;
    for (const char* name : {"prores_pcm24_tc.mov", "mjpeg_reel_tc.mov", "h264_dropframe.mov", "mpeg2_longgop.mov",
                             "front_sd_anamorphic.mov", "front_bt709.mov", "front_interlaced_tff.mov",
                             "h264_edit_after_key.mp4", "frag_base_moof.mp4", "frag_negative_cts.mp4", "frag_moov_samples.mp4",
                             "frag_separate_moof.mp4"}) {
        SCOPED_TRACE(name);
        const std::string file = readFile(testMedia(name));
        std::vector<Box> boxes;
        walk(file, 0, file.size(), boxes);
        std::string handler;
        std::vector<Box> extensions;
        for (const Box& box : boxes) {
            // A track's kind is the media's handler, the first of the track.
            if (box.type == "trak")
                handler.clear();
            if (box.type == "hdlr" && box.size >= 20 && handler.empty())
                handler = file.substr(box.offset + 16, 4);
            if (box.type == "stsd")
                checkEntries(file, box, handler, seen, extensions);
        }
        boxes.insert(boxes.end(), extensions.begin(), extensions.end());
        for (const Box& box : boxes) {
            auto rewrite = wholeAtoms().find(box.type);
            if (rewrite == wholeAtoms().end())
                continue;
            const std::string atom = file.substr(box.offset, box.size);
            // colr of the nclx kind carries one byte more than the nclc fields.
            if (box.type == "colr" && atom.substr(8, 4) != "nclc")
                continue;
            SCOPED_TRACE(box.type + " at " + std::to_string(box.offset));
            EXPECT_EQ(rewrite->second(atom), atom);
            seen.insert(box.type);
        }
    }
    // ffmpeg writes no mehd; one of each version, made here.
    for (const std::string& mehd : {fullAtom("mehd", 0, be32(9000)), fullAtom("mehd", 0x01000000, be64(1ull << 40))}) {
        EXPECT_EQ(wholeAtoms().at("mehd")(mehd), mehd);
        seen.insert("mehd");
    }
    for (const char* expected : {"mvhd", "tkhd", "mdhd", "fiel", "colr", "pasp", "stts", "ctts", "stsc", "elst",
                                 "mehd", "trex", "mfhd", "tfhd", "trun", "tfra", "mfro", "video entry",
                                 "sound entry", "timecode entry"})
        EXPECT_TRUE(seen.count(expected)) << expected << " was never compared";
}

} // namespace
