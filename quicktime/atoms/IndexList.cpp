#include "quicktime/atoms/IndexList.h"

#include <algorithm>

#include "frame/ByteBuffer.h"
#include "frame/DiskFileReader.h"
#include "frame/Text.h"
#include "host/Log.h"
#include "quicktime/atoms/Wire.h"

namespace Corvidane::QuickTime {

namespace {

void logPageFailure(const wchar_t* what, const std::wstring& file, CvResult code)
{
    std::string text = convertString(format(L"%ls Failed to %ls file. '%ls'. %ls",
                                            L"QuickTime::IndexListBase::loadFromDisk", what, file.c_str(),
                                            getErrorText(code)));
    Log("%s\n", text.c_str());
}

} // namespace

uint32_t IndexListBase::entriesPresent() const
{
    if (atomSize <= dataOffset || entrySize == 0)
        return 0;
    return static_cast<uint32_t>(std::min<uint64_t>(entriesOnDisk, (atomSize - dataOffset) / entrySize));
}

void IndexListBase::fillPage(const unsigned char* data, size_t length, size_t position)
{
    clearPage();
    while (position + entrySize <= length && firstEntry + heldEntries() < entriesOnDisk &&
           heldEntries() < pageEntries) {
        appendEntry(data + position);
        position += entrySize;
    }
}

void IndexListBase::readFirstPage(const unsigned char* data, size_t length)
{
    if (length < 16 + headerExtra)
        return;
    atomSize = std::min<uint64_t>(readBE32(data), length);
    entriesOnDisk = readBE32(data + 12 + headerExtra);
    firstEntry = 0;
    dataOffset = 16 + headerExtra;
    fillPage(data, static_cast<size_t>(atomSize), static_cast<size_t>(dataOffset));
}

size_t IndexListBase::fromData(const unsigned char* data, size_t length)
{
    readFirstPage(data, length);
    return static_cast<size_t>(atomSize);
}

CvResult IndexListBase::loadFromDisk(uint32_t index)
{
    if (index >= entriesOnDisk)
        return HandleEOF;
    Vex::CFileReaderUnbuffered file;
    CvResult result = file.load(filename, iFile::Unbuffered);
    if (!isSuccess(result)) {
        logPageFailure(L"load", filename, result);
        return result;
    }
    uint32_t first = index < pageLead + 1 ? 0 : index - pageLead;
    uint64_t position = first * entrySize + dataOffset;
    if (atomSize <= position)
        return Fail;
    result = file.seek(atomOffset + position, 0);
    if (!isSuccess(result)) {
        logPageFailure(L"seek", filename, result);
        return result;
    }
    uint64_t bytes = std::min<uint64_t>(entrySize * pageEntries, atomSize - position);
    CByteBuffer page(file.roundUpToSectorBoundary(bytes + file.getAlignmentOffset()));
    unsigned got = 0, offset = 0;
    result = file.read(page.getBuffer(), static_cast<unsigned>(page.capacity()), static_cast<unsigned>(bytes), got,
                       offset);
    if (!isSuccess(result))
        return result;
    size_t valid = got > offset ? std::min<size_t>(got - offset, bytes) : 0;
    firstEntry = first;
    fillPage(page.getBuffer(offset), valid, 0);
    return result;
}

size_t SampleSizeList::fromData(const unsigned char* data, size_t length)
{
    if (length <= 12 || length < 20)
        return 0;
    uint32_t constant = readBE32(data + 12);
    if (constant == 0) {
        readFirstPage(data, length);
        return static_cast<size_t>(atomSize);
    }
    entriesOnDisk = readBE32(data + 16);
    dataOffset = 20;
    atomSize = std::min<uint64_t>(readBE32(data), length);
    fixedSampleSize = true;
    entries.assign(1, constant);
    return static_cast<size_t>(atomSize);
}

unsigned SampleSizeList::get_SampleSize(uint32_t index)
{
    if (fixedSampleSize)
        return entries.empty() ? 0 : entries[0];
    return get_Item(index);
}

unsigned SampleSizeList::largestSampleSize()
{
    if (fixedSampleSize)
        return get_SampleSize(0);
    unsigned largest = 0;
    uint32_t count = entriesPresent();
    for (uint32_t i = 0; i < count; ++i)
        largest = std::max(largest, get_Item(i));
    return largest;
}

size_t CSdtpIndexList::fromData(const unsigned char* data, size_t length)
{
    if (length < 12)
        return 0;
    atomSize = std::min<uint64_t>(readBE32(data), length);
    if (atomSize < 12)
        return 0;
    entriesOnDisk = static_cast<uint32_t>(atomSize - 12);
    dataOffset = 12;
    firstEntry = 0;
    fillPage(data, static_cast<size_t>(atomSize), 12);
    return static_cast<size_t>(atomSize);
}

} // namespace Corvidane::QuickTime
