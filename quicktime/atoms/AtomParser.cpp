#include "quicktime/atoms/AtomParser.h"

#include <algorithm>
#include <utility>

#include "frame/FourCC.h"
#include "quicktime/atoms/Wire.h"

namespace Corvidane::QuickTime {

CvResult AtomParser::Parse(const unsigned char* data, size_t length, const std::wstring& file, uint64_t offset)
{
    filename = file;
    fileOffset = offset;
    CvResult result = OnParseStart();
    if (result > False)
        return result;
    fileOffset += 8;
    size_t position = 8;
    while (length > position && length - position >= 8) {
        uint32_t childLength = readBE32(data + position);
        if (childLength == 0)
            break;
        uint32_t type = readCode(data + position + 4);
        size_t available = std::min<size_t>(childLength, length - position);
        result = OnAtom(&type, data + position, available);
        if (result > False)
            return result;
        position += available;
        fileOffset += available;
    }
    return OnParseEnd();
}

const char* AtomParser::getAtomDescription(uint32_t code)
{
    static const std::pair<uint32_t, const char*> names[] = {
        {fourCC("moov"), "Movie Atom"},
        {fourCC("mvhd"), "Movie Header Atom"},
        {fourCC("trak"), "Track Atom"},
        {fourCC("tkhd"), "Track Header Atom"},
        {fourCC("tapt"), "Track Aperture Mode Dimensions Atom"},
        {fourCC("edts"), "Edit Atom"},
        {fourCC("tref"), "Track reference Atom"},
        {fourCC("mdia"), "Media Atom"},
        {fourCC("mdhd"), "Media Header Atom"},
        {fourCC("elng"), "Extended Language Tag Atom"},
        {fourCC("hdlr"), "Media Handler Reference Atom"},
        {fourCC("minf"), "Media Information Atom"},
        {fourCC("vmhd"), "Video Media Information Atom"},
        {fourCC("gmhd"), "Base Media Information Header Atoms"},
        {fourCC("gmin"), "Base Media Information Atom"},
        {fourCC("tcmi"), "Timecode Media Information Atom"},
        {fourCC("tmcd"), "Timecode Atom"},
        {fourCC("dinf"), "Data Information Atom"},
        {fourCC("alis"), "Alias Atom"},
        {fourCC("stbl"), "Sample Table Atom"},
        {fourCC("stsd"), "Sample Description Atom"},
        {fourCC("stts"), "Time-to-Sample Atom"},
        {fourCC("ctts"), "Composition Time to Sample Atom"},
        {fourCC("stsc"), "Sample-to-Chunk Atom"},
        {fourCC("stsz"), "Sample Size Atom"},
        {fourCC("stco"), "Chunk Offset Atom"},
        {fourCC("co64"), "Chunk Offset (64-bit) Atom"},
        {fourCC("stss"), "Sync Sample Atom"},
        {fourCC("stps"), "Partial Sync Samples Atom"},
        {fourCC("sdtp"), "Independent and Disposable Samples Atom"},
        {fourCC("udta"), "User Data Atom"},
        {fourCC("meta"), "Metadata Atom"},
        {fourCC("mdat"), "Media Data Atom"},
        {fourCC("free"), "Free Space Atom"},
        {fourCC("mvex"), "Movie Extendes Atom"},
        {fourCC("mehd"), "Movie Extendes Header Atom"},
        {fourCC("trex"), "Track Extendes Defaults Atom"},
        {fourCC("moof"), "Movie Fragment Atom"},
        {fourCC("mfhd"), "Movie Fragment Header Atom"},
        {fourCC("traf"), "Track Fragment Atom"},
        {fourCC("tfhd"), "Track Fragment Header Atom"},
        {fourCC("trun"), "Track Fragment Run Atom"},
        {fourCC("mfra"), "Movie Fragment Random Access Atom"},
        {fourCC("tfra"), "Track Fragment Random Access Atom"},
        {fourCC("mfro"), "Movie Fragment Random Access Offset Atom"},
    };
    for (const auto& [known, name] : names)
        if (known == code)
            return name;
    return "Unidentified";
}

} // namespace Corvidane::QuickTime
