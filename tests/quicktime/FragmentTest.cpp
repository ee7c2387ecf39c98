#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "frame/FourCC.h"
#include "quicktime/MediaName.h"
#include "quicktime/MovieBytes.h"
#include "quicktime/ProbeJson.h"
#include "quicktime/QtReaderFixture.h"
#include "quicktime/atoms/Wire.h"

using Corvidane::IndexEntry;
using Corvidane::QuickTime::readBE32;

// Fragmented MP4 as ffmpeg writes it: moof/mdat pairs after a moov with few
// or no samples, with and without mfra. The reader finds fragments as reads
// reach them.
namespace {

class FragmentProbeAgreement : public ::testing::TestWithParam<const char*> {};

// Every video sample agrees with ffprobe in place, size, bytes and key flag,
// and the audio in its total bytes. The frame counts differ on purpose: a
// fragmented track's length is nominal (a day of video) and the reads find
// its end, where ffprobe walks every fragment at open.
TEST_P(FragmentProbeAgreement, PacketsMatchFfprobe)
{
    std::string path = testMedia(GetParam());
    JsonValue ours = cvtoolProbe(path);
    JsonValue theirs = ffprobe(path);
    const auto& streams = theirs["streams"].items;
    ASSERT_EQ(ours["streams"].items.size(), streams.size());
    for (const JsonValue& stream : streams) {
        long long index = stream["index"].integer();
        SCOPED_TRACE("stream " + std::to_string(index));
        if (stream["codec_type"].text == "video") {
            compareVideoPackets(theirs, ours, index);
            EXPECT_EQ(ours["streams"].items[size_t(index)]["nb_frames"].integer(), 2160000);
        } else {
            EXPECT_EQ(totalBytes(packetsOf(ours, index)), totalBytes(packetsOf(theirs, index)));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(FfmpegFragments, FragmentProbeAgreement,
                         ::testing::Values("frag_empty_moov.mp4", "frag_base_moof.mp4", "frag_no_mfra.mp4",
                                           "frag_moov_samples.mp4", "frag_negative_cts.mp4",
                                           "frag_separate_moof.mp4", "frag_implicit_base.mp4"),
                         mediaTestName);

// File offsets of every atom of a code, looking inside the containers of
// fragmented movies.
std::vector<size_t> atomsOf(const std::string& bytes, const char* code, size_t from = 0, size_t to = std::string::npos)
{
    static const char* containers[] = {"moov", "mvex", "moof", "traf", "mfra"};
    std::vector<size_t> found;
    to = std::min(to, bytes.size());
    for (size_t at = from; at + 8 <= to;) {
        auto p = reinterpret_cast<const unsigned char*>(bytes.data() + at);
        size_t length = readBE32(p);
        if (length < 8 || length > to - at)
            break;
        std::string type = bytes.substr(at + 4, 4);
        if (type == code)
            found.push_back(at);
        for (const char* container : containers)
            if (type == container) {
                auto inner = atomsOf(bytes, code, at + 8, at + length);
                found.insert(found.end(), inner.begin(), inner.end());
            }
        at += length;
    }
    return found;
}

void putBE32(std::string& bytes, size_t at, uint32_t value)
{
    for (int i = 3; i >= 0; --i, value >>= 8)
        bytes[at + size_t(i)] = char(value & 0xFF);
}

// Entries of the reference file's video packets, from ffprobe.
struct Reference {
    std::vector<long long> pos, size;
    std::vector<unsigned> keys;
};

Reference videoReference(const std::string& path)
{
    Reference ref;
    JsonValue probe = ffprobe(path);
    for (const JsonValue* packet : packetsOf(probe, 0)) {
        ref.pos.push_back((*packet)["pos"].integer());
        ref.size.push_back((*packet)["size"].integer());
        if ((*packet)["flags"].text.find('K') != std::string::npos)
            ref.keys.push_back(unsigned(ref.pos.size() - 1));
    }
    return ref;
}

class Fragments : public QtReaderFixture {
protected:
    Opened openBytes(const std::string& bytes)
    {
        Opened opened = open(bytes, "fragments.mp4");
        EXPECT_TRUE(opened.ok());
        if (opened.ok()) {
            EXPECT_TRUE(isSuccess(opened.reader->essenceOpen(0)));
        }
        return opened;
    }
};

// With mfra the last sample is found by a jump, without it by a walk; both
// agree with ffprobe, and a sample past the last one ends the file.
TEST_F(Fragments, JumpAndWalkFindTheSameSamples)
{
    for (const char* name : {"frag_empty_moov.mp4", "frag_no_mfra.mp4", "frag_moov_samples.mp4"}) {
        SCOPED_TRACE(name);
        std::string path = testMedia(name);
        Reference ref = videoReference(path);
        ASSERT_EQ(ref.pos.size(), 100u);
        Opened movie = openBytes(readFile(path));
        ASSERT_TRUE(movie.ok());
        EXPECT_TRUE(movie.reader->isFragmented());
        for (unsigned sample : {99u, 50u, 0u, 98u, 13u}) {
            IndexEntry entry;
            ASSERT_EQ(movie.reader->getIndexEntry(sample, entry), OK) << sample;
            uint64_t offset = entry.offset;
            uint64_t size = entry.size;
            EXPECT_EQ(offset, uint64_t(ref.pos[sample])) << sample;
            EXPECT_EQ(size, uint64_t(ref.size[sample])) << sample;
        }
        IndexEntry past;
        EXPECT_EQ(movie.reader->getIndexEntry(100, past), HandleEOF);
    }
}

// Fragments of one track each, cut between key frames, with audio that ends
// fragments before the video does: every sample of both tracks is where
// ffprobe finds it, whether the samples are read in order or from the far end
// first.
TEST_F(Fragments, TracksInFragmentsOfTheirOwn)
{
    const std::string path = testMedia("frag_separate_moof.mp4");
    const std::string bytes = readFile(path);
    JsonValue probe = ffprobe(path);
    for (bool farEndFirst : {false, true}) {
        Opened movie = openBytes(bytes);
        ASSERT_TRUE(movie.ok());
        for (int stream : {1, 0}) {
            SCOPED_TRACE(std::string(farEndFirst ? "far end first" : "in order") + ", stream " +
                         std::to_string(stream));
            auto packets = packetsOf(probe, stream);
            ASSERT_TRUE(isSuccess(movie.reader->essenceOpen(stream)));
            // Priming that ffprobe flags discardable may be left out by the edit list.
            IndexEntry start;
            ASSERT_EQ(movie.reader->getIndexEntry(0, start), OK);
            size_t skipped = 0;
            while (skipped < packets.size() && (*packets[skipped])["flags"].text.find('D') != std::string::npos &&
                   uint64_t((*packets[skipped])["pos"].integer()) != uint64_t(start.offset))
                ++skipped;
            const unsigned count = unsigned(packets.size() - skipped);
            ASSERT_GT(count, 30u);
            for (unsigned k = 0; k < count; ++k) {
                unsigned sample = farEndFirst ? count - 1 - k : k;
                const JsonValue& packet = *packets[skipped + sample];
                IndexEntry entry;
                ASSERT_EQ(movie.reader->getIndexEntry(sample, entry), OK) << sample;
                uint64_t offset = entry.offset;
                EXPECT_EQ(offset, uint64_t(packet["pos"].integer())) << sample;
                EXPECT_EQ(entry.size, uint32_t(packet["size"].integer())) << sample;
            }
            IndexEntry past;
            EXPECT_EQ(movie.reader->getIndexEntry(count, past), HandleEOF);
        }
    }
}

// Key frames and GOPs are found across fragment boundaries in both
// directions, from moov's samples into the fragments and back, whether the
// fragments are reached by jumps or by walks.
TEST_F(Fragments, KeyFramesAndGopsSpanFragments)
{
    for (const char* name : {"frag_empty_moov.mp4", "frag_no_mfra.mp4", "frag_moov_samples.mp4",
                             "frag_negative_cts.mp4", "frag_separate_moof.mp4"}) {
        SCOPED_TRACE(name);
        std::string path = testMedia(name);
        Reference ref = videoReference(path);
        ASSERT_GE(ref.keys.size(), 3u);
        const unsigned frames = unsigned(ref.pos.size());
        // From the far end first, so that the searches start before the walk has seen the fragments.
        Opened movie = openBytes(readFile(path));
        ASSERT_TRUE(movie.ok());
        EXPECT_EQ(movie.reader->getGopLength(0), int(ref.keys[1] - ref.keys[0]));
        for (unsigned frame = frames; frame-- > 0;) {
            auto after = std::lower_bound(ref.keys.begin(), ref.keys.end(), frame);
            unsigned key = 9999;
            if (after == ref.keys.end()) {
                EXPECT_FALSE(movie.reader->findKeyframe(frame, true, key)) << frame;
            } else {
                EXPECT_TRUE(movie.reader->findKeyframe(frame, true, key)) << frame;
                EXPECT_EQ(key, *after) << frame;
            }
            unsigned before = *std::prev(std::upper_bound(ref.keys.begin(), ref.keys.end(), frame));
            EXPECT_TRUE(movie.reader->findKeyframe(frame, false, key)) << frame;
            EXPECT_EQ(key, before) << frame;
        }
        unsigned key = 0;
        EXPECT_FALSE(movie.reader->findKeyframe(frames + 5, true, key));

        // A GOP in the middle: every frame shown in it is gathered, coded
        // order is the file's, and one frame too many for the room fails.
        Opened fresh = openBytes(readFile(path));
        std::vector<unsigned> decode, presentation;
        std::vector<unsigned short> types;
        unsigned start = ref.keys[2], count = ref.keys[3 < ref.keys.size() ? 3 : 2] - start;
        if (count == 0)
            count = frames - start;
        ASSERT_EQ(fresh.reader->getGopAndPresentationOrder(start, count, decode, presentation, types), OK);
        ASSERT_GE(decode.size(), count);
        for (size_t i = 0; i < decode.size(); ++i)
            EXPECT_EQ(decode[i], start + i);
        std::vector<unsigned> shown(presentation.begin(), presentation.begin() + count);
        std::sort(shown.begin(), shown.end());
        for (unsigned i = 0; i < count; ++i)
            EXPECT_EQ(shown[i], start + i);
        EXPECT_NE(types[0] & Corvidane::FrameKey, 0);
        // The last GOP ends at the end of the file, not at the nominal length.
        decode.clear(), presentation.clear(), types.clear();
        ASSERT_EQ(fresh.reader->getGopAndPresentationOrder(ref.keys.back(), 1000, decode, presentation, types), OK);
        EXPECT_EQ(decode.size(), frames - ref.keys.back());
    }
}

// A movie with mvex and no fragments yet (a live file's first bytes) has the
// nominal length and ends at the first read; a tfhd that names neither a base
// offset nor default-base-is-moof counts data offsets from its moof.
TEST_F(Fragments, BaseOffsetsAndAMovieWithoutFragments)
{
    std::string good = readFile(testMedia("frag_base_moof.mp4"));
    Reference ref = videoReference(testMedia("frag_base_moof.mp4"));
    auto moofs = atomsOf(good, "moof");
    ASSERT_FALSE(moofs.empty());
    {
        Opened movie = openBytes(good.substr(0, moofs[0]));
        ASSERT_TRUE(movie.ok());
        EXPECT_TRUE(movie.reader->isFragmented());
        EXPECT_EQ(movie.reader->get_Length(0), 2160000u);
        IndexEntry entry;
        EXPECT_EQ(movie.reader->getIndexEntry(0, entry), HandleEOF);
        unsigned key = 0;
        EXPECT_FALSE(movie.reader->findKeyframe(0, true, key));
    }
    {
        Opened movie = openBytes(good);
        IndexEntry entry;
        ASSERT_EQ(movie.reader->getIndexEntry(0, entry), OK);
        uint64_t offset = entry.offset;
        EXPECT_EQ(offset, uint64_t(ref.pos[0]));
    }
    // The first traf of every moof loses default-base-is-moof: its data
    // still counts from its moof.
    std::string bytes = good;
    for (size_t moof : moofs) {
        size_t tfhd = atomsOf(bytes, "tfhd", moof)[0];
        uint32_t flags = readBE32(reinterpret_cast<const unsigned char*>(bytes.data() + tfhd + 8));
        ASSERT_NE(flags & 0x020000, 0u);
        putBE32(bytes, tfhd + 8, flags & ~0x020000u);
    }
    Opened movie = openBytes(bytes);
    for (unsigned sample : {0u, 5u, 11u, 12u, 50u, 99u}) {
        IndexEntry entry;
        ASSERT_EQ(movie.reader->getIndexEntry(sample, entry), OK) << sample;
        uint64_t offset = entry.offset;
        EXPECT_EQ(offset, uint64_t(ref.pos[sample])) << sample;
    }
}

// A trun without a data offset starts where the run before it in its traf
// ends: the first fragment's video run cut in two, the second half without one.
TEST_F(Fragments, RunWithoutDataOffsetFollowsThePreviousRun)
{
    using movie_bytes::be32;
    const std::string good = readFile(testMedia("frag_base_moof.mp4"));
    Reference ref = videoReference(testMedia("frag_base_moof.mp4"));
    auto at = [&](const std::string& b, size_t offset) {
        return readBE32(reinterpret_cast<const unsigned char*>(b.data() + offset));
    };
    const size_t moof = atomsOf(good, "moof")[0], moofLength = at(good, moof);
    const size_t mdat = moof + moofLength;
    const size_t trun = atomsOf(good, "trun", moof, mdat)[0], trunLength = at(good, trun);
    // Count, data offset and first sample's flags, then size and composition offset per sample.
    ASSERT_EQ(at(good, trun + 8), 0xa05u);
    const uint32_t count = at(good, trun + 12), half = count / 2;
    ASSERT_EQ(trunLength, 24 + count * 8u);
    std::string first = good.substr(trun, 24 + half * 8);
    putBE32(first, 0, uint32_t(first.size()));
    putBE32(first, 12, half);
    std::string second = movie_bytes::fullAtom("trun", 0xa00, be32(count - half) + good.substr(trun + first.size()));
    const uint32_t grown = uint32_t(first.size() + second.size() - trunLength);
    std::string bytes = good.substr(0, trun) + first + second + good.substr(trun + trunLength, mdat - trun - trunLength) +
                        good.substr(mdat, at(good, mdat));
    // The moof and the traf grow, and the data offsets that count from the moof with them.
    const size_t newMdat = mdat + grown;
    putBE32(bytes, moof, at(bytes, moof) + grown);
    const size_t traf = atomsOf(bytes, "traf", moof, newMdat)[0];
    putBE32(bytes, traf, at(bytes, traf) + grown);
    for (size_t run : atomsOf(bytes, "trun", moof, newMdat))
        if (at(bytes, run + 8) & 1)
            putBE32(bytes, run + 16, at(bytes, run + 16) + grown);
    Opened movie = openBytes(bytes);
    for (unsigned sample = 0; sample < count; ++sample) {
        IndexEntry entry;
        ASSERT_EQ(movie.reader->getIndexEntry(sample, entry), OK) << sample;
        uint64_t offset = entry.offset;
        EXPECT_EQ(offset, uint64_t(ref.pos[sample]) + grown) << sample;
        EXPECT_EQ(entry.size, uint32_t(ref.size[sample])) << sample;
    }
}

// A movie length in mehd that ends inside the last frame, as packagers that
// measure it from the last frame's display time write it, still counts that
// frame.
TEST_F(Fragments, FragmentDurationEndingInsideTheLastFrame)
{
    using movie_bytes::be32;
    const std::string path = testMedia("frag_implicit_base.mp4");
    std::string bytes = readFile(path);
    const unsigned frames = unsigned(videoReference(path).pos.size());
    auto at = [&](size_t offset) { return readBE32(reinterpret_cast<const unsigned char*>(bytes.data() + offset)); };
    const size_t mvhd = atomsOf(bytes, "mvhd")[0], moov = atomsOf(bytes, "moov")[0], mvex = atomsOf(bytes, "mvex")[0];
    ASSERT_TRUE(atomsOf(bytes, "mehd").empty());
    // Version 0 mvhd: the time scale follows the two dates. The movie runs at 25 frames a second.
    const uint32_t timeScale = at(mvhd + 20);
    const std::string mehd = movie_bytes::fullAtom("mehd", 0, be32(timeScale * frames / 25 - timeScale / 100));
    bytes.insert(mvex + 8, mehd);
    putBE32(bytes, mvex, at(mvex) + uint32_t(mehd.size()));
    putBE32(bytes, moov, at(moov) + uint32_t(mehd.size()));
    // tfra's moof offsets are now wrong; without mfro's length the reader walks.
    putBE32(bytes, atomsOf(bytes, "mfro")[0] + 12, 0);
    Opened movie = openBytes(bytes);
    ASSERT_TRUE(movie.ok());
    EXPECT_EQ(movie.reader->get_Length(0), frames);
    IndexEntry entry;
    EXPECT_EQ(movie.reader->getIndexEntry(frames - 1, entry), OK);
    EXPECT_EQ(movie.reader->getIndexEntry(frames, entry), HandleEOF);
}

// Key frames flagged as HLS and DASH packagers flag them: a first sample's
// flags of 0 (no non-sync bit, dependency unknown) and a default that marks
// the rest non-sync without saying what they depend on. The key frames are
// the ones ffprobe finds in the same bytes, not every sample.
TEST_F(Fragments, KeyFramesByTheAbsenceOfTheNonSyncBit)
{
    std::string bytes = readFile(testMedia("frag_empty_moov.mp4"));
    auto at = [&](size_t offset) { return readBE32(reinterpret_cast<const unsigned char*>(bytes.data() + offset)); };
    unsigned rewritten = 0;
    for (size_t trun : atomsOf(bytes, "trun"))
        if (at(trun + 8) & 0x4) {
            // The first sample's flags follow the count and the data offset.
            ASSERT_EQ(at(trun + 8) & 0x1, 1u);
            putBE32(bytes, trun + 20, 0);
            ++rewritten;
        }
    for (size_t tfhd : atomsOf(bytes, "tfhd")) {
        uint32_t flags = at(tfhd + 8);
        if (!(flags & 0x20))
            continue;
        // Base offset, description index, duration and size come before the default flags.
        size_t field = tfhd + 16 + (flags & 0x1 ? 8 : 0) + (flags & 0x2 ? 4 : 0) + (flags & 0x8 ? 4 : 0) +
                       (flags & 0x10 ? 4 : 0);
        if (at(field) == 0x01010000)
            putBE32(bytes, field, 0x00010000);
    }
    ASSERT_GT(rewritten, 3u);
    const std::string path = m_dir.file("hls_flags.mp4");
    writeFile(path, bytes);
    JsonValue theirs = ffprobe(path);
    compareVideoPackets(theirs, cvtoolProbe(path), 0);
    Reference ref = videoReference(path);
    ASSERT_GE(ref.keys.size(), 3u);
    ASSERT_LT(ref.keys.size(), ref.pos.size() / 2);
    Opened movie = openPath(path);
    ASSERT_TRUE(movie.ok());
    ASSERT_TRUE(isSuccess(movie.reader->essenceOpen(0)));
    EXPECT_EQ(movie.reader->getGopLength(0), int(ref.keys[1] - ref.keys[0]));
    unsigned key = 0;
    EXPECT_TRUE(movie.reader->findKeyframe(ref.keys[2] - 1, false, key));
    EXPECT_EQ(key, ref.keys[1]);
}

TEST_F(Fragments, UnfragmentedMovieIsNotFragmented)
{
    Opened movie = openPath(testMedia("h264_aac.mp4"));
    ASSERT_TRUE(movie.ok());
    EXPECT_FALSE(movie.reader->isFragmented());
    IndexEntry entry;
    EXPECT_EQ(movie.reader->findTrackFragmentIndexEntry(1, 0, entry), Fail);
}

// Damage inside fragments gives failures with texts, and damage to the
// random access tables only costs the jump: the walk still finds the samples.
TEST_F(Fragments, DamagedFragmentsFailClearly)
{
    std::string good = readFile(testMedia("frag_empty_moov.mp4"));
    Reference ref = videoReference(testMedia("frag_empty_moov.mp4"));
    auto truns = atomsOf(good, "trun");
    auto tfhds = atomsOf(good, "tfhd");
    ASSERT_FALSE(truns.empty());
    ASSERT_FALSE(tfhds.empty());
    IndexEntry entry;
    unsigned char buffer[64];
    unsigned offset = 0, size = 0;
    {
        SCOPED_TRACE("a trun whose first sample runs past the file");
        std::string bytes = good;
        // Video trun: flags 0xa05, so count, data offset, first flags, then size.
        putBE32(bytes, truns[0] + 24, 0x7FFFFFF0);
        Opened movie = openBytes(bytes);
        EXPECT_EQ(movie.reader->getIndexEntry(0, entry), BadLength);
        EXPECT_NE(movie.error().find(L"past the end of the file"), std::wstring::npos);
        EXPECT_EQ(movie.reader->essenceRead(0ul, 1, buffer, sizeof buffer, offset, size), BadLength);
    }
    {
        SCOPED_TRACE("a traf without tfhd");
        std::string bytes = good;
        bytes.replace(tfhds[0] + 4, 4, "free");
        Opened movie = openBytes(bytes);
        EXPECT_EQ(movie.reader->getIndexEntry(0, entry), HandleEOF);
        EXPECT_NE(movie.error().find(L"damaged movie fragment"), std::wstring::npos);
    }
    auto checkSamples = [&](const std::string& bytes) {
        Opened movie = openBytes(bytes);
        for (unsigned sample : {99u, 40u, 0u}) {
            ASSERT_EQ(movie.reader->getIndexEntry(sample, entry), OK) << sample;
            uint64_t at = entry.offset;
            EXPECT_EQ(at, uint64_t(ref.pos[sample])) << sample;
        }
    };
    auto tfras = atomsOf(good, "tfra");
    ASSERT_EQ(tfras.size(), 2u);
    {
        SCOPED_TRACE("tfra entries pointing nowhere");
        std::string bytes = good;
        // Version 1: 24 bytes of head, then time and moof offset of 8 bytes each.
        uint32_t count = readBE32(reinterpret_cast<const unsigned char*>(bytes.data() + tfras[0] + 20));
        for (uint32_t i = 0; i < count; ++i)
            putBE32(bytes, tfras[0] + 24 + i * 19 + 12, 0x7FFFFFF0 - i * 1000);
        checkSamples(bytes);
    }
    {
        SCOPED_TRACE("tfra entries pointing into an mdat");
        std::string bytes = good;
        auto mdats = atomsOf(bytes, "mdat");
        uint32_t count = readBE32(reinterpret_cast<const unsigned char*>(bytes.data() + tfras[0] + 20));
        for (uint32_t i = 0; i < count; ++i)
            putBE32(bytes, tfras[0] + 24 + i * 19 + 12, uint32_t(mdats[i % mdats.size()] + 100));
        checkSamples(bytes);
    }
    auto mfros = atomsOf(good, "mfro");
    ASSERT_EQ(mfros.size(), 1u);
    for (uint32_t wrong : {0u, 20u, 0x7FFFFFFFu, 1000u}) {
        SCOPED_TRACE("mfro giving mfra a length of " + std::to_string(wrong));
        std::string bytes = good;
        putBE32(bytes, mfros[0] + 12, wrong);
        checkSamples(bytes);
    }
}

} // namespace
