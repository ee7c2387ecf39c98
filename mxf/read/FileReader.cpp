#include "mxf/read/FileReader.h"

#include <algorithm>
#include <cstdarg>

#include "frame/CvFileIOFactory.h"
#include "frame/Text.h"
#include "mxf/model/KlvBufferWalk.h"
#include "mxf/model/MxfResults.h"

namespace Corvidane::MXF {

namespace {

// The first and last blocks that the opening looks at.
constexpr size_t probeBlock = 0x10000;
constexpr uint64_t smallestFile = 4096;

} // namespace

CMxf_FileReader::CMxf_FileReader() : m_locator(m_partitions, m_segments, *this) {}

CMxf_FileReader::~CMxf_FileReader() { close(); }

CvResult CMxf_FileReader::fail(CvResult code, const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    std::wstring text = vformat(format, args);
    va_end(args);
    setLastError(code, L"%ls", text.c_str());
    return code;
}

CvResult CMxf_FileReader::readAt(uint64_t offset, size_t size, std::vector<unsigned char>& out)
{
    out.assign(size, 0);
    if (!file)
        return InvalidState;
    size_t got = file->read(offset, out.data(), size);
    if (got != size) {
        out.resize(got);
        return PartialCopy;
    }
    return OK;
}

bool CMxf_FileReader::isMXFFile(const std::wstring& path)
{
    Ptr<iFile> candidate =
        CvFileIOFactoryProvider::open(path.c_str(), iFile::AccessRead, iFile::OpenExisting, iFile::ShareRead, 0);
    if (!candidate)
        return false;
    std::vector<unsigned char> bytes(probeBlock + 16);
    if (candidate->read(0, bytes.data(), bytes.size()) != bytes.size())
        return false;
    for (size_t at = 0; at < probeBlock; ++at) {
        CKlvItem item;
        if (hasSmptePrefix(&bytes[at]) && klvHeaderAt(bytes.data(), bytes.size(), at, item) &&
            CMxfPartitionPack::IsULPartitionPack(item.key) && item.key[13] == PartitionHeader)
            return true;
    }
    return false;
}

CvResult CMxf_FileReader::openAndFindHeader(const std::wstring& path, iFile::eFlags openFlags)
{
    if (path.empty())
        return fail(InvalidArg, L"LoadFile, filename was null.");
    if (path.size() < 3)
        return fail(InvalidArg, L"LoadFile, filename too short.");
    file = CvFileIOFactoryProvider::open(path.c_str(), iFile::AccessRead, iFile::OpenExisting, iFile::ShareNone,
                                         openFlags);
    if (!file) {
        CvResult code = CvResultFromLastError();
        return fail(isSuccess(code) ? FileNotFound : code, L"Failed to open file.");
    }
    filename = path;
    m_growing = (openFlags & iFile::Growing) != 0;
    updateFileSize();
    if (m_fileSize < smallestFile) {
        closeFile();
        return fail(Fail, L"File too small.");
    }
    std::vector<unsigned char> head;
    CvResult result = readAt(0, size_t(std::min<uint64_t>(m_fileSize, probeBlock)), head);
    if (result != OK) {
        closeFile();
        return fail(result, L"Failed to open file.");
    }
    // The header pack may follow a run-in; items in front of it are jumped
    // over whole, other bytes one at a time.
    CKlvItem item;
    bool found = false;
    for (uint64_t at = 0; at + 16 < head.size();) {
        if (!hasSmptePrefix(&head[at])) {
            ++at;
            continue;
        }
        if (!klvHeaderAt(head.data(), head.size(), at, item)) {
            ++at;
            continue;
        }
        if (CMxfPartitionPack::IsULPartitionPack(item.key) && item.key[13] == PartitionHeader) {
            m_partitions.runIn = uint32_t(at);
            found = true;
            break;
        }
        // An item that runs past the block ends the search.
        if (item.length > head.size())
            break;
        at += 16 + item.lengthLength + item.length;
    }
    if (!found) {
        closeFile();
        return fail(MxfNoHeaderPartition, L"Failed to open file.");
    }
    // The header pack whole, from the file when the first block cuts it.
    const uint64_t packSize = 16 + item.lengthLength + item.length;
    std::vector<unsigned char> bytes;
    std::unique_ptr<CMxfPartitionPack> pack;
    if (packSize <= m_fileSize - m_partitions.runIn && readAt(m_partitions.runIn, size_t(packSize), bytes) == OK)
        pack = partitionPackAt(bytes, 0);
    if (!pack) {
        closeFile();
        return fail(MxfNoPartitionAdded, L"Failed to open file.");
    }
    pack->fillerLength = fillerBehind(m_partitions.runIn + packSize);
    m_partitions.append(std::move(pack));
    return OK;
}

// The front end takes a file whole from loadFile, as from the other readers:
// the partitions, then the header metadata, then the index.
CvResult CMxf_FileReader::loadFile(const std::wstring& path, iFile::eFlags openFlags)
{
    if (file)
        close();
    CvResult result = findPartitions(path, openFlags);
    if (!isSuccess(result))
        return result;
    if (!isSuccess(result = parseMetadata()))
        return result;
    return loadIndexTable();
}

CvResult CMxf_FileReader::findPartitions(const std::wstring& path, iFile::eFlags openFlags)
{
    CvResult result = openAndFindHeader(path, openFlags);
    if (!isSuccess(result))
        return result;

    bool ripGood = false;
    if (m_fileSize > probeBlock) {
        std::vector<unsigned char> tail;
        if (readAt(m_fileSize - probeBlock, probeBlock, tail) == OK)
            result = readPartitionsFromRip(tail, ripGood);
    }
    const CMxfPartitionPack* header = m_partitions.header();
    const CMxfPartitionPack* last = m_partitions.last();
    if (last->getType() != PartitionFooter && last->getStatus() == ClosedComplete && header->footerPartition) {
        CvResult footer = loadFooter();
        if (!isSuccess(footer)) {
            close();
            return footer;
        }
        last = m_partitions.last();
    }
    if (ripGood)
        return result;
    const size_t count = m_partitions.getNumPartitions();
    if (count == 2 && last->getType() == PartitionFooter && last->previousPartition == 0 &&
        last->getStatus() == ClosedComplete && header->bodySID && header->footerPartition &&
        header->getStatus() == ClosedComplete)
        return result;
    if (count >= 3)
        return result;
    if (last->getType() != PartitionFooter || last->previousPartition == 0) {
        if (findPartitions_NoRIP(false) != OK)
            return fail(MxfNoFooter, L"No footer.");
        m_locator.reset();
        return OK;
    }
    return walkBackFromFooter(size_t(std::min<uint64_t>(m_fileSize, probeBlock)));
}

CvResult CMxf_FileReader::parseMetadata()
{
    // The front end asks again after the load: a file that hasn't changed
    // since has the same metadata, and is not read twice.
    if (file && m_metadataReadAtSize && m_metadataReadAtSize == file->getSize() && !m_materialPackages.empty())
        return OK;
    CvResult result = loadMetadata();
    if (!isSuccess(result))
        return result;
    if (m_materialPackages.empty())
        return fail(Fail, L"No material packages found.");
    m_metadataReadAtSize = m_fileSize;
    return result;
}

void CMxf_FileReader::close()
{
    essenceClose();
    m_locator.reset();
    m_trackDeltaMap.clear();
    m_fileSize = 0;
    m_partitions.clear();
    m_segments.clear();
    m_indexInHand.clear();
    m_metadataReadAtSize = m_indexReadAtSize = 0;
    metadataClose();
    setFlags(0);
    m_openGopKnown = false;
    m_isOpenGop = false;
    m_height = 0;
    closeFile();
}

void CMxf_FileReader::metadataClose()
{
    m_primer.clear();
    m_embeddedXml.clear();
    m_embeddedXmlKey = MXFUL();
    m_essenceContainerData.clear();
    m_materialPackages.clear();
    m_sourcePackages.clear();
    m_comments.clear();
    m_metadata.clear();
    m_preface.Reset();
    m_currentMP = 0;
    m_currentSP = -1;
}

void CMxf_FileReader::updateFileSize()
{
    if (file)
        m_fileSize = file->getSize();
    m_locator.setFile(file.get());
}

const CMxf_SM_Package* CMxf_FileReader::getCurrentMP() const
{
    return m_currentMP >= 0 && size_t(m_currentMP) < m_materialPackages.size() ? &m_materialPackages[m_currentMP]
                                                                              : nullptr;
}

const CMxf_SM_Package* CMxf_FileReader::getCurrentSP() const
{
    return m_currentSP >= 0 && size_t(m_currentSP) < m_sourcePackages.size() ? &m_sourcePackages[m_currentSP]
                                                                            : nullptr;
}

} // namespace Corvidane::MXF
