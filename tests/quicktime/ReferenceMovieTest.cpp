#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "quicktime/MovieBytes.h"
#include "quicktime/QtReaderFixture.h"

using namespace movie_bytes;
using Corvidane::IndexEntry;

namespace {

// A dref with one alias record whose tail names the essence file.
std::string dinf(const std::string& tail)
{
    std::string fixed(126 - 12, '\0');
    std::string alias = fullAtom("alis", 0, fixed + tail + std::string(1, '\0'));
    return atom("dinf", fullAtom("dref", 0, be32(1) + alias));
}

// The track of `trak` with a dinf put in front of its stbl.
std::string withDinf(std::string track, const std::string& dataInformation)
{
    size_t stbl = track.find("stbl") - 4;
    track.insert(stbl, dataInformation);
    // The three enclosing atoms (trak, mdia, minf) grow by the insert.
    for (const char* parent : {"trak", "mdia", "minf"}) {
        size_t at = track.find(parent) - 4;
        uint32_t length = uint32_t((uint8_t(track[at]) << 24) | (uint8_t(track[at + 1]) << 16) |
                                   (uint8_t(track[at + 2]) << 8) | uint8_t(track[at + 3]));
        track.replace(at, 4, be32(length + uint32_t(dataInformation.size())));
    }
    return track;
}

class QuickTimeReferenceMovie : public QtReaderFixture {};

// An Avid-style movie whose samples lie in a file of the project's media
// folder: the folder is found beside the movie, wherever the project now is.
TEST_F(QuickTimeReferenceMovie, EssenceIsReadFromTheMediaFolderBesideTheMovie)
{
    std::string folder = m_dir.file("a/b/c");
    std::filesystem::create_directories(folder + "/media.dir");
    std::string essence = "HEADER--" + std::string(100, 'x') + std::string(50, 'y');
    writeFile(folder + "/media.dir/clip.mxf", essence);

    Track t;
    t.sizes = {100, 50};
    t.chunkOffsets = {8, 108};
    std::string movie = moov(withDinf(trak(t), dinf("Old Volume:media.dir:clip.mxf")));
    writeFile(folder + "/movie.mov", file("", movie));
    auto opened = openPath(folder + "/movie.mov");
    ASSERT_TRUE(opened.ok()) << opened.error();
    auto& reader = *opened.reader;
    EXPECT_TRUE(reader.essenceIsPresent(0));
    ASSERT_EQ(reader.essenceOpen(0), OK) << opened.error();
    std::vector<unsigned char> buffer(4096);
    unsigned offset = 0, size = 0;
    ASSERT_EQ(reader.essenceRead(1, 1, buffer.data(), unsigned(buffer.size()), offset, size), OK);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer.data()) + offset, size), std::string(50, 'y'));
}

TEST_F(QuickTimeReferenceMovie, MissingEssenceFileRefusesTheOpen)
{
    Track t;
    t.sizes = {4};
    t.chunkOffsets = {8};
    auto opened = open(file("", moov(withDinf(trak(t), dinf("Volume:Folder:gone.mov")))));
    ASSERT_TRUE(opened.ok()) << opened.error();
    EXPECT_FALSE(opened.reader->essenceIsPresent(0));
    EXPECT_FALSE(isSuccess(opened.reader->essenceOpen(0)));
    EXPECT_NE(opened.error().find(L"Failed to load external essence file. '"), std::wstring::npos) << opened.error();
    EXPECT_NE(opened.error().find(L"Folder/gone.mov"), std::wstring::npos) << opened.error();
}

TEST_F(QuickTimeReferenceMovie, SelfContainedDataReferenceNamesNoFile)
{
    Track t;
    t.sizes = {4};
    t.chunkOffsets = {mdatPayloadOffset};
    std::string self = atom("dinf", fullAtom("dref", 0, be32(1) + fullAtom("alis", 1, "")));
    auto opened = open(file("data", moov(withDinf(trak(t), self))));
    ASSERT_TRUE(opened.ok()) << opened.error();
    ASSERT_EQ(opened.reader->essenceOpen(0), OK);
    EXPECT_TRUE(opened.reader->essenceIsPresent(0));
}

} // namespace
