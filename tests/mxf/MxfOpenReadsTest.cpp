// What opening an MXF file reads: a file of many body partitions must open
// by touching each partition once, not once for the pack and again for its
// index.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>

#include "frame/Utf8.h"
#include "mxf/read/FileReader.h"
#include "support/DriverFixture.h"
#include "support/FaultyFiles.h"
#include "support/TestMedia.h"

using Corvidane::MXF::CMxf_FileReader;
using Corvidane::MXF::PartitionBody;

class MxfOpenReads : public DriverFixture {};

TEST_F(MxfOpenReads, EachIndexedBodyPartitionIsReadOnce)
{
    const std::string path = testMedia("mxf_1000_frames.mxf");
    FaultyFiles counting;
    std::map<uint64_t, size_t> readsAt;
    counting.faults().onRead = [&readsAt](uint64_t position, size_t) { ++readsAt[position]; };

    CMxf_FileReader reader;
    ASSERT_TRUE(isSuccess(reader.loadFile(Corvidane::fromUtf8(path), iFile::Buffered)));
    const auto& partitions = reader.partitions();
    const uint64_t tailBlock = std::filesystem::file_size(path) - 65536;
    size_t indexedBodies = 0;
    for (size_t i = 0; i < partitions.getNumPartitions(); ++i) {
        const auto& pack = *partitions.at(i);
        if (pack.getType() != PartitionBody || pack.indexByteCount == 0)
            continue;
        ++indexedBodies;
        const uint64_t start = partitions.runIn + pack.thisPartition;
        const uint64_t end = i + 1 < partitions.getNumPartitions()
                                 ? partitions.runIn + partitions.at(i + 1)->thisPartition
                                 : UINT64_MAX;
        // The look for a random index at the end of the file doesn't count.
        size_t reads = 0;
        for (auto it = readsAt.lower_bound(start); it != readsAt.end() && it->first < end; ++it)
            reads += it->first == tailBlock ? 0 : it->second;
        EXPECT_EQ(reads, 1u) << "partition at " << start;
    }
    EXPECT_GE(indexedBodies, 3u) << "the file should have body partitions holding index segments";

    // And the index so read answers for the last frame.
    ASSERT_TRUE(isSuccess(reader.essenceOpen(0)));
    Corvidane::IndexEntry last;
    EXPECT_TRUE(isSuccess(reader.getIndexEntry(reader.get_Length(0) - 1, last)));
}
