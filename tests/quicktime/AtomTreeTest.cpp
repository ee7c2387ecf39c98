#include <gtest/gtest.h>

#include <type_traits>
#include <vector>

#include "frame/FourCC.h"
#include "quicktime/MovieBytes.h"
#include "quicktime/atoms/Atom.h"
#include "quicktime/atoms/HeaderAtoms.h"
#include "quicktime/atoms/SampleDescriptors.h"
#include "quicktime/atoms/SampleTables.h"

using namespace Corvidane::QuickTime;
using namespace movie_bytes;
using Corvidane::fourCC;

namespace {

std::string written(Atom& atom)
{
    std::vector<unsigned char> buffer(size_t(atom.atomSize()) + 64, 0xEE);
    size_t count = atom.write(buffer.data(), buffer.size());
    return std::string(reinterpret_cast<char*>(buffer.data()), count);
}

TEST(QuickTimeAtomTree, EmptyContainerWritesItsHeaderAlone)
{
    AtomEx<ContainerAtom, QTAtom> moov(fourCC("moov"));
    EXPECT_EQ(moov.atomSize(), 8u);
    EXPECT_EQ(written(moov), be32(8) + "moov");
}

TEST(QuickTimeAtomTree, SizesAddUpFromTheBottomAndReadBack)
{
    auto moov = std::make_unique<AtomEx<ContainerAtom, QTAtom>>(fourCC("moov"));
    auto header = std::make_unique<AtomEx<Atom, MovieHeader>>();
    header->record().TimeScale = 600;
    moov->appendAtom(std::move(header));
    auto trak = std::make_unique<AtomEx<ContainerAtom, QTAtom>>(fourCC("trak"));
    auto track = std::make_unique<AtomEx<Atom, TrackHeader>>();
    track->record().TrackID = 3;
    trak->appendAtom(std::move(track));
    auto times = std::make_unique<AtomEx_List<Atom, Time2SampleItem>>();
    times->record().type = fourCC("stts");
    times->record().addItem({10, 20});
    times->record().addItem({1, 7});
    trak->appendAtom(std::move(times));
    moov->appendAtom(std::move(trak));

    std::string bytes = written(*moov);
    ASSERT_EQ(bytes.size(), 8u + 108 + 8 + 92 + 32);
    EXPECT_EQ(bytes.substr(0, 8), be32(248) + "moov");
    EXPECT_EQ(bytes.substr(116, 8), be32(132) + "trak");
    const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
    MovieHeader movie;
    EXPECT_EQ(movie.fromData(data + 8, 108), 108u);
    EXPECT_EQ(movie.TimeScale, 600u);
    EXPECT_FLOAT_EQ(movie.Rate, 1.0f);
    TrackHeader readTrack;
    EXPECT_EQ(readTrack.fromData(data + 124, 92), 92u);
    EXPECT_EQ(readTrack.TrackID, 3u);
    Time2SampleList readTimes;
    EXPECT_EQ(readTimes.fromData(data + 216, 32), 32u);
    EXPECT_EQ(readTimes.totalSamples(), 11u);
    EXPECT_EQ(readTimes.getSampleDuration(10), 7u);
}

TEST(QuickTimeAtomTree, NumberListsKeepAReservedLength)
{
    QTListEx<unsigned int> offsets(0, fourCC("stco"));
    offsets.addItem(1);
    offsets.addItem(2);
    offsets.addItem(0x01020304);
    EXPECT_EQ(offsets.get_Count(), 3u);
    std::vector<unsigned char> buffer(64, 0xEE);
    ASSERT_EQ(offsets.toData(buffer.data(), buffer.size()), 28u);
    offsets.fixedSize = 40;
    EXPECT_EQ(offsets.getSize(), 40u);
    ASSERT_EQ(offsets.toData(buffer.data(), buffer.size()), 40u);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer.data()) + 12, 16), be32(3) + be32(1) + be32(2) + be32(0x01020304));
    offsets.fixedSize = 20;
    ASSERT_EQ(offsets.toData(buffer.data(), buffer.size()), 20u) << "entries stop at the reserved length";

    QTListEx<unsigned long> wide(0, fourCC("co64"));
    wide.addItem(0x100000002ul);
    ASSERT_EQ(wide.getSize(), 24u);
    wide.size = 24;
    ASSERT_EQ(wide.toData(buffer.data(), buffer.size()), 24u);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer.data()) + 16, 8), be64(0x100000002ul));
    EXPECT_EQ(wide.toData(buffer.data(), 23), 0u);

    QTListEx<Time2SampleItem> empty(0, fourCC("stts"));
    EXPECT_EQ(empty.getSize(), 16u);
    EXPECT_EQ(empty.get_LastItem(), nullptr);
    Time2SampleItem* item = new Time2SampleItem{5, 6};
    EXPECT_EQ(empty.AddItem(&item, nullptr, 0), 0u) << "a writable list does not parse";
    ASSERT_NE(empty.get_LastItem(), nullptr);
    EXPECT_EQ(empty.get_LastItem()->count, 5u);
}

TEST(QuickTimeAtomTree, MediaDataHeaderKeepsTheLengthTheWriterSet)
{
    auto mdat = std::make_unique<AtomEx2<Atom, QTAtomExtendable>>(std::make_unique<QTAtomExtendable>(fourCC("mdat")));
    mdat->record().size = 1000;
    EXPECT_EQ(written(*mdat), be32(8) + "wide" + be32(1000) + "mdat");
    AtomEx<Atom, QTAtomExtendable> plain(std::make_unique<QTAtomExtendable>(fourCC("mdat")));
    EXPECT_EQ(written(plain), be32(8) + "wide" + be32(16) + "mdat") << "the plain leaf stores the record's own size";

    const unsigned char block[] = {0, 0, 0, 9, 'f', 'r', 'e', 'e', 7};
    AtomEx<Atom, QTAtomRawEx> raw(QTAtomRawEx{block, sizeof block});
    raw.appendAtom(std::make_unique<AtomEx<ContainerAtom, QTAtom>>(fourCC("junk")));
    EXPECT_EQ(raw.atomSize(), 9u) << "a leaf ignores children";
    EXPECT_EQ(written(raw), std::string(reinterpret_cast<const char*>(block), 9));
}

TEST(QuickTimeAtomTree, WriterTablesAndSmallAtoms)
{
    std::vector<unsigned char> buffer(128, 0xEE);
    auto text = [&](size_t count) { return std::string(reinterpret_cast<char*>(buffer.data()), count); };
    SampleSizeListEx sizes;
    sizes.sampleCount = 3;
    sizes.addSize(10), sizes.addSize(20), sizes.addSize(30);
    ASSERT_EQ(sizes.getSize(), 32u);
    sizes.size = 32;
    ASSERT_EQ(sizes.toData(buffer.data(), buffer.size()), 32u);
    EXPECT_EQ(text(32), be32(32) + "stsz" + be32(0) + be32(0) + be32(3) + be32(10) + be32(20) + be32(30));
    SampleSizeListEx constant;
    constant.sampleSize = 6;
    constant.sampleCount = 48000;
    constant.size = 20;
    ASSERT_EQ(constant.toData(buffer.data(), buffer.size()), 20u);
    EXPECT_EQ(text(20).substr(12), be32(6) + be32(48000));
    constant.fixedSize = 64;
    EXPECT_EQ(constant.toData(buffer.data(), buffer.size()), 64u) << "the reserved length stands";

    SampleDependencyList dependencies;
    dependencies.addItem(0x20), dependencies.addItem(0x10);
    dependencies.size = 14;
    ASSERT_EQ(dependencies.toData(buffer.data(), buffer.size()), 14u);
    EXPECT_EQ(text(14), be32(14) + "sdtp" + be32(0) + "\x20\x10");

    InfAtom info(0x1234, "abc");
    ASSERT_EQ(info.getSize(), 16u);
    ASSERT_EQ(info.toData(buffer.data(), buffer.size()), 16u);
    EXPECT_EQ(text(16), be32(16) + "@inf" + std::string("\x34\x12\x03\x00", 4) + std::string("abc\0", 4));
    TmcdAtom reference(7);
    reference.type = fourCC("tmcd");
    ASSERT_EQ(reference.toData(buffer.data(), buffer.size()), 12u);
    EXPECT_EQ(text(12), be32(12) + "tmcd" + be32(7));
    TrackApertureDimensions clean(fourCC("clef"));
    clean.width = 1888.0f;
    clean.height = 1062.0f;
    ASSERT_EQ(clean.toData(buffer.data(), buffer.size()), 20u);
    TrackApertureDimensions back;
    EXPECT_EQ(back.fromData(buffer.data(), 20), 20u);
    EXPECT_FLOAT_EQ(back.width, 1888.0f);
    EXPECT_FLOAT_EQ(back.height, 1062.0f);
}

} // namespace

namespace {

// A leaf that claims more bytes than it writes.
class ShortLeaf : public Atom {
protected:
    uint64_t internalSize() override { return 16; }
    size_t internalWrite(unsigned char* buffer, size_t capacity) override
    {
        if (capacity < 12)
            return 0;
        std::fill_n(buffer, 12, 0x55);
        return 12;
    }
};

TEST(QuickTimeAtomTree, AChildThatWritesShortFailsItsParent)
{
    auto trak = std::make_unique<AtomEx<ContainerAtom, QTAtom>>(fourCC("trak"));
    trak->appendAtom(std::make_unique<ShortLeaf>());
    trak->appendAtom(std::make_unique<AtomEx<Atom, TrackHeader>>());
    AtomEx<ContainerAtom, QTAtom> moov(fourCC("moov"));
    moov.appendAtom(std::move(trak));
    std::vector<unsigned char> buffer(size_t(moov.atomSize()));
    EXPECT_EQ(moov.write(buffer.data(), buffer.size()), 0u) << "the track header would have moved 4 bytes";
}

// Numbers and records go in by value; a sample description only whole, as
// its own class, never sliced into the base.
template <typename List, typename Item, typename = void>
struct addsByValue : std::false_type {};
template <typename List, typename Item>
struct addsByValue<List, Item, std::void_t<decltype(std::declval<List&>().addItem(std::declval<const Item&>()))>>
    : std::true_type {};

TEST(QuickTimeAtomTree, SampleDescriptionsAreHandedOverWhole)
{
    static_assert(addsByValue<QTListEx<unsigned>, unsigned>::value, "numbers by value");
    static_assert(addsByValue<QTListEx<Time2SampleItem>, Time2SampleItem>::value, "records by value");
    static_assert(!addsByValue<QTListEx<SampleDescriptor>, VideoDescriptor>::value, "no slicing copy");
    static_assert(!addsByValue<QTListEx<SampleDescriptor>, SampleDescriptor>::value, "no slicing copy");

    QTListEx<SampleDescriptor> stsd(0, fourCC("stsd"));
    auto video = std::make_unique<VideoDescriptor>();
    const uint64_t videoSize = video->getSize();
    stsd.addItem(std::move(video));
    EXPECT_EQ(stsd.getSize(), 16 + videoSize) << "the entry keeps the size of its own class";
    EXPECT_NE(dynamic_cast<const VideoDescriptor*>(stsd.item(0)), nullptr);
}

} // namespace
