#include <gtest/gtest.h>

#include <vector>

#include "frame/FourCC.h"
#include "quicktime/MovieBytes.h"
#include "quicktime/atoms/AtomParser.h"
#include "quicktime/atoms/HeaderAtoms.h"
#include "quicktime/atoms/QTAtom.h"
#include "quicktime/atoms/SampleTables.h"

using namespace Corvidane::QuickTime;
using namespace movie_bytes;
using Corvidane::fourCC;

namespace {

const unsigned char* bytes(const std::string& s) { return reinterpret_cast<const unsigned char*>(s.data()); }

TEST(QuickTimeAtoms, HeaderFieldsReportAPayloadOnlyWhenOneFollows)
{
    std::string twelve = fullAtom("stss", 2, "");
    QTHeaderBase1 header;
    EXPECT_EQ(header.fromData(bytes(twelve), twelve.size()), 0u) << "no payload behind the version";
    EXPECT_EQ(header.size, 12u);
    EXPECT_EQ(header.type, fourCC("stss"));
    EXPECT_FALSE(header.isVersion1());
    EXPECT_EQ(header.flags(), 2u);
    std::string sixteen = fullAtom("stss", 2, be32(0));
    QTHeaderBase1 longer;
    EXPECT_EQ(longer.fromData(bytes(sixteen), sixteen.size()), 12u);
    // A buffer shorter than a header starts at the version bytes.
    QTHeaderBase1 bare;
    const unsigned char versionOnly[] = {1, 0, 0, 2, 5};
    EXPECT_EQ(bare.fromData(versionOnly, sizeof versionOnly), 4u);
    EXPECT_TRUE(bare.isVersion1());
    EXPECT_EQ(bare.flags(), 2u);
    unsigned char out[12];
    EXPECT_EQ(longer.toData(out, sizeof out), 12u);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(out), 12), sixteen.substr(0, 12)) << "version bytes as read";
}

TEST(QuickTimeAtoms, ExtendableHeaderKeepsSixteenBytesInBothForms)
{
    QTAtomExtendable mdat(fourCC("mdat"));
    mdat.size = 0x1234;
    unsigned char out[16];
    ASSERT_EQ(mdat.toData(out, sizeof out), 16u);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(out), 16), be32(8) + "wide" + be32(0x1234) + "mdat");
    mdat.extended = true;
    mdat.size = 0x123456789ull;
    ASSERT_EQ(mdat.toData(out, sizeof out), 16u);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(out), 16), be32(1) + "mdat" + be64(0x123456789ull));
    EXPECT_EQ(mdat.toData(out, 15), 0u);
}

class Recorder : public AtomParser {
public:
    CvResult OnAtom(const uint32_t* type, const unsigned char*, size_t length) override
    {
        seen.push_back({*type, length, fileOffset});
        return OK;
    }
    struct Child {
        uint32_t type;
        size_t length;
        uint64_t offset;
    };
    std::vector<Child> seen;
};

TEST(QuickTimeAtoms, ParserWalksChildrenStopsAtZeroAndCutsAnOverlongChild)
{
    std::string parent = atom("moov", atom("aaaa", "1234") + atom("bbbb", "") + be32(0) + "cccc");
    Recorder walk;
    EXPECT_EQ(walk.Parse(bytes(parent), parent.size(), L"x", 1000), OK);
    ASSERT_EQ(walk.seen.size(), 2u);
    EXPECT_EQ(walk.seen[0].type, fourCC("aaaa"));
    EXPECT_EQ(walk.seen[0].length, 12u);
    EXPECT_EQ(walk.seen[0].offset, 1008u);
    EXPECT_EQ(walk.seen[1].offset, 1020u);

    std::string overlong = atom("moov", be32(500) + "dddd" + "tail");
    Recorder cut;
    cut.Parse(bytes(overlong), overlong.size(), L"x", 0);
    ASSERT_EQ(cut.seen.size(), 1u);
    EXPECT_EQ(cut.seen[0].length, 12u) << "handed over only what the parent holds";
}

TEST(QuickTimeAtoms, DescriptionsNameKnownCodes)
{
    EXPECT_STREQ(AtomParser::getAtomDescription(fourCC("stsz")), "Sample Size Atom");
    EXPECT_STREQ(AtomParser::getAtomDescription(fourCC("mvex")), "Movie Extendes Atom");
    EXPECT_STREQ(AtomParser::getAtomDescription(fourCC("zzzz")), "Unidentified");
}

TEST(QuickTimeAtoms, FixedPointReadsThroughItsDecimalText)
{
    std::string list = fullAtom("elst", 0, be32(2) + be32(100) + be32(0xFFFFFFFF) + be32(0x10000) + be32(200) +
                                               be32(48) + be32(0x00018000));
    EditList edits;
    ASSERT_GT(edits.fromData(bytes(list), list.size()), 0u);
    ASSERT_EQ(edits.get_Count(), 1u) << "an empty edit is dropped";
    EXPECT_FLOAT_EQ(edits.item(0)->rate, 1.32768f);
    EXPECT_EQ(edits.item(0)->mediaTime, 48u);
    EditListItem one{1, 2, 1.0f};
    unsigned char out[12];
    FieldWriter writer(out, sizeof out);
    ASSERT_TRUE(EditListItem::describe(one, writer));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(out + 8), 4), be32(0x00010000));
}

TEST(QuickTimeAtoms, HeadersReadTheirVersionsLayouts)
{
    std::string v1 = fullAtom("mdhd", 0x01000000, be64(5) + be64(6) + be32(48000) + be64(0x100000000ull) + be16(0) + be16(0));
    MediaHeader media;
    EXPECT_EQ(media.fromData(bytes(v1), v1.size()), 44u);
    EXPECT_EQ(media.TimeScale, 48000u);
    EXPECT_EQ(media.duration(), 0x100000000ull);
    EXPECT_EQ(media.CreationTime, 5u);

    // Another program's version 1 mvhd: the time scale is right, the fields
    // behind the 64-bit duration come from the wrong bytes.
    std::string movie = fullAtom("mvhd", 0x01000000, be64(1) + be64(2) + be32(600) + be64(1200) + be32(0x10000) +
                                                std::string(76, '\0') + be32(7));
    MovieHeader header;
    header.fromData(bytes(movie), movie.size());
    EXPECT_EQ(header.TimeScale, 600u);
    EXPECT_EQ(header.Duration, 0u);
    EXPECT_NE(header.NextTrackID, 7u);

    std::string emptyType = fullAtom("hdlr", 0, be32(0) + "vide" + "appl" + be32(0) + be32(0) + std::string(1, '\0') +
                                                    "Video Handler" + std::string(1, '\0'));
    HandlerRef handler;
    EXPECT_GT(handler.fromData(bytes(emptyType), emptyType.size()), 0u);
    EXPECT_EQ(handler.ComponentType, fourCC("mhlr")) << "an empty type of a video handler";
    EXPECT_EQ(handler.ComponentName, "Video Handler") << "a length byte of 0 starts a C string";
}

TEST(QuickTimeAtoms, AliasRecordGivesThePathBehindTheVolume)
{
    auto alias = [](const std::string& tail) {
        std::string fixed(126 - 12, '\0');
        fixed[62 - 12] = 8;
        fixed.replace(63 - 12, 8, "clip.mov");
        return fullAtom("alis", 0, fixed + tail);
    };
    std::string withPath = alias("Macintosh HD:Media:clip.mov" + std::string(1, '\0') + "junk");
    AliasFile record;
    EXPECT_EQ(record.fromData(bytes(withPath), withPath.size()), 126u);
    EXPECT_EQ(record.Path, "Media\\clip.mov");
    EXPECT_EQ(record.FileName, "clip.mov");
    std::string noColon = alias("nothing here");
    AliasFile bare;
    bare.fromData(bytes(noColon), noColon.size());
    EXPECT_EQ(bare.Path, "");
    std::string fixedOnly = alias("");
    AliasFile tooShort;
    EXPECT_EQ(tooShort.fromData(bytes(fixedOnly), fixedOnly.size()), 0u);
}

} // namespace
