// The edit unit size of an OP-Atom file without index, by coding, height and
// rate; checked against the frames ffmpeg makes of those codings.
#include <gtest/gtest.h>

#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include "frame/FourCC.h"
#include "mxf/model/MxfResults.h"
#include "mxf/read/UnindexedEditUnit.h"
#include "support/TempDir.h"
#include "support/TestMedia.h"

using namespace Corvidane;
using namespace Corvidane::MXF;

namespace {

struct SizeRow {
    const char* fcc;
    int height;
    int rateNumerator, rateDenominator;
    int64_t dataRate;
    bool progressive;
    CvResult result;
    uint32_t bytes;          // when OK
    const wchar_t* message;  // otherwise
};

const SizeRow sizeRows[] = {
    {"dvsd", 480, 30000, 1001, 25000, false, OK, 120000, nullptr},
    {"dvsd", 576, 25, 1, 25000, false, OK, 144000, nullptr},
    {"dv25", 576, 25, 1, 25000, false, OK, 144000, nullptr},
    {"dv50", 480, 30000, 1001, 50000, false, OK, 240000, nullptr},
    {"dv50", 576, 25, 1, 50000, false, OK, 288000, nullptr},
    {"dvsd", 720, 25, 1, 25000, false, NotImpl, 0, L"Invalid height for 'dvsd' compression in Avid file"},
    {"dv50", 1080, 25, 1, 50000, false, NotImpl, 0, L"Invalid height for 'dvsd' compression in Avid file"},
    {"dvh1", 1080, 25, 1, 100000, false, OK, 576000, nullptr},
    {"dvh1", 1080, 30000, 1001, 100000, false, OK, 480000, nullptr},
    {"dvh1", 1080, 30, 1, 100000, false, NotImpl, 0, L"Invalid rate for 'dvh1' compression in Avid file"},
    {"dvh1", 720, 50, 1, 100000, false, NotImpl, 0, L"Invalid height for 'dvh1' compression in Avid file"},
    {"AVdn", 720, 50, 1, 159999, true, OK, 0x4A000, nullptr},
    {"AVdn", 720, 50, 1, 160000, true, OK, 0x70000, nullptr},
    {"AVdn", 1080, 25, 1, 36000, true, OK, 0x94000, nullptr},
    {"AVdn", 1080, 25, 1, 50000, false, OK, 0x94000, nullptr},
    {"AVdn", 1080, 25, 1, 159999, false, OK, 0x94000, nullptr},
    {"AVdn", 1080, 25, 1, 160000, false, OK, 0xE0000, nullptr},
    {"AVdn", 1080, 25, 1, 49999, false, OK, 0x2E000, nullptr},
    {"AVdn", 576, 25, 1, 49999, false, NotImpl, 0, L"Invalid height for 'AVdn' compression in Avid file"},
    {"GIMX", 512, 30000, 1001, 35000, false, OK, 0x1F000, nullptr},
    {"GIMX", 512, 30000, 1001, 45000, false, OK, 0x29000, nullptr},
    {"GIMX", 512, 30000, 1001, 45001, false, OK, 0x33000, nullptr},
    {"GIMX", 608, 25, 1, 35000, false, OK, 0x25000, nullptr},
    {"GIMX", 608, 25, 1, 35001, false, OK, 0x31000, nullptr},
    {"GIMX", 608, 25, 1, 50000, false, OK, 0x3E000, nullptr},
    {"GIMX", 576, 25, 1, 50000, false, NotImpl, 0, L"Invalid height for 'dvsd' compression in Avid file"},
    {"xd50", 1080, 25, 1, 50000, false, Fail, 0, L"Cannot read file with no index table"},
    {"xd35", 1080, 25, 1, 35000, false, Fail, 0, L"Cannot read file with no index table"},
    {"avc1", 1080, 25, 1, 50000, false, NotImpl, 0, L"Invalid compression for Avid file"},
};

TEST(MxfUnindexedEditUnit, SizeByCodingHeightAndRate)
{
    for (const SizeRow& row : sizeRows) {
        UnindexedTrack track;
        track.fcc = fourCC(*reinterpret_cast<const char(*)[5]>(row.fcc));
        track.height = row.height;
        track.editRate = MXFRATIONAL{row.rateNumerator, row.rateDenominator};
        track.dataRate = row.dataRate;
        track.progressive = row.progressive;
        Base report;
        uint32_t bytes = 0;
        const std::string name = std::string(row.fcc) + " " + std::to_string(row.height) + " " +
                                 std::to_string(row.dataRate);
        EXPECT_EQ(unindexedEditUnitSize(track, bytes, report), row.result) << name;
        if (row.result == OK)
            EXPECT_EQ(bytes, row.bytes) << name;
        else
            EXPECT_NE(std::wstring(report.getLastError()).find(row.message), std::wstring::npos) << name;
    }
}

TEST(MxfUnindexedEditUnit, SoundTakesTheBlockAlign)
{
    UnindexedTrack track;
    track.fcc = fourCC("WAVE");
    Base report;
    uint32_t bytes = 0;
    EXPECT_EQ(unindexedEditUnitSize(track, bytes, report), Fail);
    EXPECT_NE(std::wstring(report.getLastError()).find(L"No usable audio descriptor found."), std::wstring::npos);
    track.blockAlign = 6;
    EXPECT_EQ(unindexedEditUnitSize(track, bytes, report), OK);
    EXPECT_EQ(bytes, 6u);
    track.fcc = UnindexedTrack::unknownFcc;
    EXPECT_EQ(unindexedEditUnitSize(track, bytes, report), NotImpl);
    EXPECT_NE(std::wstring(report.getLastError()).find(L"Invalid FCC"), std::wstring::npos);
}

// A clip-wrapped OP-Atom file holds its frames back to back, so an edit unit
// is one of ffmpeg's packets: DV and DNxHD as coded, IMX padded to whole
// 4 KiB pages. The data rate is the stream's own.
struct CodingRow {
    const char* fcc;
    const char* ffmpegVideo;
    bool paddedToPages;
};

const CodingRow codingRows[] = {
    {"dvsd", "size=720x576:rate=25 -c:v dvvideo -pix_fmt yuv420p", false},
    {"dvsd", "size=720x480:rate=30000/1001 -c:v dvvideo -pix_fmt yuv411p", false},
    {"dv50", "size=720x576:rate=25 -c:v dvvideo -pix_fmt yuv422p", false},
    {"dv50", "size=720x480:rate=30000/1001 -c:v dvvideo -pix_fmt yuv422p", false},
    {"dvh1", "size=1440x1080:rate=25 -c:v dvvideo -pix_fmt yuv422p", false},
    {"dvh1", "size=1280x1080:rate=30000/1001 -c:v dvvideo -pix_fmt yuv422p", false},
    {"AVdn", "size=1280x720:rate=50 -c:v dnxhd -b:v 90M -pix_fmt yuv422p", false},
    {"AVdn", "size=1920x1080:rate=25 -c:v dnxhd -b:v 120M -pix_fmt yuv422p", false},
    {"AVdn", "size=1920x1080:rate=25 -c:v dnxhd -b:v 120M -flags +ildct -pix_fmt yuv422p", false},
    {"AVdn", "size=1920x1080:rate=25 -c:v dnxhd -b:v 185M -flags +ildct -pix_fmt yuv422p", false},
    {"GIMX", "size=720x608:rate=25 -c:v mpeg2video -pix_fmt yuv422p -g 1 -b:v 30M -minrate 30M -maxrate 30M "
             "-bufsize 1200000 -rc_init_occupancy 1200000", true},
    {"GIMX", "size=720x608:rate=25 -c:v mpeg2video -pix_fmt yuv422p -g 1 -b:v 50M -minrate 50M -maxrate 50M "
             "-bufsize 2000000 -rc_init_occupancy 2000000", true},
    {"GIMX", "size=720x512:rate=30000/1001 -c:v mpeg2video -pix_fmt yuv422p -g 1 -b:v 30M -minrate 30M "
             "-maxrate 30M -bufsize 1001000 -rc_init_occupancy 1001000", true},
};

std::vector<std::string> lines(const std::string& text)
{
    std::vector<std::string> out;
    for (size_t at = 0, end; (end = text.find('\n', at)) != std::string::npos; at = end + 1)
        out.push_back(text.substr(at, end - at));
    return out;
}

TEST(MxfUnindexedEditUnit, SizesAreTheFramesFfmpegMakes)
{
    TempDir dir;
    for (const CodingRow& row : codingRows) {
        const std::string path = dir.file("clip.mxf");
        const std::string video(row.ffmpegVideo);
        const size_t split = video.find(' ');
        int status = 0;
        runCommand("ffmpeg -nostdin -hide_banner -loglevel error -y -f lavfi -i testsrc2=" + video.substr(0, split) +
                       ":duration=0.12 " + video.substr(split + 1) + " -f mxf_opatom " + shellQuote(path),
                   &status);
        ASSERT_EQ(status, 0) << video;
        const std::vector<std::string> stream = lines(runCommand(
            "ffprobe -v error -select_streams v:0 -show_entries stream=height,field_order,r_frame_rate "
            "-of default=nw=1:nk=1 " + shellQuote(path)));
        ASSERT_EQ(stream.size(), 3u) << video;
        std::set<uint32_t> packetSizes;
        for (const std::string& size : lines(runCommand("ffprobe -v error -show_entries packet=size -of csv=p=0 " +
                                                        shellQuote(path))))
            packetSizes.insert(uint32_t(std::stoul(size)));
        ASSERT_EQ(packetSizes.size(), 1u) << video;
        const uint32_t frame = *packetSizes.begin();

        UnindexedTrack track;
        track.fcc = fourCC(*reinterpret_cast<const char(*)[5]>(row.fcc));
        track.height = std::stoi(stream[0]);
        // ffprobe gives them in its own order: height, field order, rate.
        const std::string& rate = stream[2];
        track.editRate = MXFRATIONAL{std::stoi(rate), std::stoi(rate.substr(rate.find('/') + 1))};
        track.progressive = stream[1] == "progressive";
        track.dataRate = int64_t(frame) * 8 * track.editRate.numerator / track.editRate.denominator / 1000;
        Base report;
        uint32_t bytes = 0;
        ASSERT_EQ(unindexedEditUnitSize(track, bytes, report), OK) << video;
        EXPECT_EQ(bytes, row.paddedToPages ? (frame + 4095) / 4096 * 4096 : frame) << video;
    }
}

TEST(MxfUnindexedEditUnit, OnlyOpAtomFilesWithoutSegmentsGetOne)
{
    UnindexedTrack dv;
    dv.fcc = fourCC("dvsd");
    dv.height = 576;
    Base report;
    CMxf_IndexSegmentList segments;
    EXPECT_EQ(indexTable_HandleNone(segments, false, &dv, report), MxfNoIndexTable);
    EXPECT_NE(std::wstring(report.getLastError()).find(L"No index table."), std::wstring::npos);
    EXPECT_TRUE(segments.empty());

    report.clearLastError();
    EXPECT_EQ(indexTable_HandleNone(segments, true, nullptr, report), MxfNoIndexTable);
    EXPECT_NE(std::wstring(report.getLastError())
                  .find(L"Cannot handle no index table in files without video or audio."),
              std::wstring::npos);

    dv.height = 720;
    EXPECT_EQ(indexTable_HandleNone(segments, true, &dv, report), NotImpl);
    EXPECT_TRUE(segments.empty());

    dv.height = 576;
    ASSERT_EQ(indexTable_HandleNone(segments, true, &dv, report), OK);
    ASSERT_EQ(segments.size(), 1u);
    const CMxf_IndexTable_Segment& made = *segments.first();
    EXPECT_EQ(made.editUnitByteCount, 144000u);
    EXPECT_EQ(made.indexEditRate.numerator, 25);
    EXPECT_EQ(made.indexEditRate.denominator, 1);
    EXPECT_EQ(made.bodySID, 1u);
    EXPECT_EQ(made.indexSID, 0u);
    EXPECT_EQ(made.indexStartPosition, 0);
    EXPECT_EQ(made.indexDuration, 0);
    // A constant segment of duration 0 answers for every edit unit.
    EXPECT_EQ(segments.find(1000000), &made);

    // With segments there is nothing to add.
    EXPECT_EQ(indexTable_HandleNone(segments, true, &dv, report), OK);
    EXPECT_EQ(segments.size(), 1u);
}

} // namespace
