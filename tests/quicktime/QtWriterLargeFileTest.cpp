// Files above 4 GiB: 64-bit chunk offsets and the 64-bit mdat header. The
// writer is told to pass over 4.5 GiB of essence, which leaves a hole in a
// sparse file, so the test writes a few megabytes.
#include <gtest/gtest.h>

#include "quicktime/QtReaderFixture.h"
#include "quicktime/QtWriterSupport.h"

using namespace Corvidane;
using namespace qtw;

namespace {

constexpr uint64_t hole = 4608ull << 20; // 4.5 GiB

class QtWriterLargeFile : public QtReaderFixture {
protected:
    void check(bool reserveIndex)
    {
        Source source = readSource(testMedia("prores_pcm24_tc.mov"));
        ASSERT_EQ(source.video.size(), 50u);
        Feeder feeder;
        feeder.withAudio = feeder.withTimecode = false;
        for (const Packet& p : source.video)
            feeder.video.push_back(p.bytes);
        std::vector<TrackStructuralData> tracks = {videoTrack("apcn", 320, 240, 25, 1)};
        std::string out = m_dir.file(reserveIndex ? "large_first.mov" : "large_last.mov");
        QuickTime::FileWriter writer;
        ASSERT_EQ(writer.create(fromUtf8(out), tracks.data(), 1, 0, reserveIndex), OK) << text(writer.getLastError());
        ASSERT_EQ(feeder.feed(writer, 0, 24), OK) << text(writer.getLastError());
        ASSERT_EQ(writer.skipEssenceForTest(hole), OK);
        ASSERT_EQ(feeder.feed(writer, 24, 50), OK) << text(writer.getLastError());
        ASSERT_EQ(writer.close(), OK) << text(writer.getLastError());

        // The header's bytes: read the head and what follows the mdat, not the hole.
        std::string head = runCommand("head -c 16000000 " + shellQuote(out));
        uint64_t fileSize = std::stoull(runCommand("stat -c %s " + shellQuote(out)));
        ASSERT_GT(fileSize, hole);
        // The mdat header in its 64-bit form: size 1, the code, the size.
        AtomAt freeAtom = findAtom(head, {"free"});
        size_t slot = reserveIndex ? freeAtom.at + size_t(freeAtom.size) : 1008;
        ASSERT_LT(slot + 16, head.size());
        EXPECT_EQ(head.substr(slot, 8), be32(1) + "mdat");
        uint64_t mdatEnd = slot + rd64(head, slot + 8);
        std::string movie = head;
        if (reserveIndex) {
            EXPECT_EQ(mdatEnd, fileSize);
        } else {
            movie = runCommand("tail -c +" + std::to_string(mdatEnd + 1) + " " + shellQuote(out));
            EXPECT_EQ(movie.substr(4, 4), "moov") << "the movie follows the mdat";
        }
        AtomAt co64 = findAtom(movie, {"moov", "trak", "mdia", "minf", "stbl", "co64"});
        ASSERT_TRUE(co64.found());
        uint32_t chunks = rd32(movie, co64.at + 12);
        ASSERT_EQ(chunks, 9u) << "6 frames a chunk: 4 chunks before the hole, 5 after";
        EXPECT_LT(rd64(movie, co64.at + 16 + 8 * 3), 1ull << 32);
        EXPECT_GT(rd64(movie, co64.at + 16 + 8 * 4), 1ull << 32);

        JsonValue probe = probeJson(out);
        std::vector<const JsonValue*> packets;
        for (const JsonValue& p : probe["packets"].items)
            packets.push_back(&p);
        ASSERT_EQ(packets.size(), 50u);
        for (size_t i = 0; i < 50; ++i) {
            EXPECT_EQ((*packets[i])["data_hash"].text, source.video[i].hash) << i;
            EXPECT_EQ((*packets[i])["pos"].integer() > (1ll << 32), i >= 24) << i;
        }
        EXPECT_EQ(runCommand("ffprobe -v error " + shellQuote(out) + " 2>&1"), "");

        auto opened = openPath(out);
        ASSERT_TRUE(opened.ok()) << text(opened.error());
        ASSERT_EQ(opened.reader->get_Length(0), 50u);
        ASSERT_EQ(opened.reader->essenceOpen(0), OK);
        std::vector<unsigned char> buffer(1 << 20);
        for (unsigned i : {0u, 23u, 24u, 49u}) {
            unsigned offset = 0, size = 0;
            ASSERT_EQ(opened.reader->essenceRead(i, 1, buffer.data(), unsigned(buffer.size()), offset, size), OK);
            EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer.data() + offset), size), source.video[i].bytes) << i;
        }
    }
};

} // namespace

TEST_F(QtWriterLargeFile, IndexFirstPast4GiB) { check(true); }

TEST_F(QtWriterLargeFile, IndexLastPast4GiB) { check(false); }
