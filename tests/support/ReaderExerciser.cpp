#include "support/ReaderExerciser.h"

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "frame/FourCC.h"

using namespace Corvidane;

namespace {

void queryStream(MediaFileReader& reader, int stream)
{
    unsigned fcc = 0, rate = 0, a = 0, b = 0, c = 0, d = 0;
    int numerator = 0, denominator = 0, rateValue = 0, scale = 0, number = 0;
    bool flag = false;
    std::wstring text;
    VideoColourCPMode primaries;
    VideoColourTCMode transfer;
    std::vector<TimeToSampleItem> durations;
    CByteBuffer extension;
    unsigned char extra[256];

    reader.get_IsVideo(stream);
    reader.get_IsAudio(stream);
    reader.get_HasIndexTable(stream);
    reader.get_IsIndexOK(stream);
    reader.get_FCC(stream, fcc);
    reader.get_Rate(stream);
    reader.get_Length(stream);
    reader.get_BitsPerSample(stream);
    reader.get_Width(stream);
    reader.get_Height(stream);
    reader.getPixelAspect(stream, numerator, denominator);
    reader.getFramePolarity(stream);
    reader.getScanMode(stream);
    reader.get_ColourPrimaries(stream, primaries);
    reader.get_TransferCharacteristic(stream, transfer);
    reader.get_ApproxDataRate(stream);
    reader.get_ChannelCount(stream);
    reader.get_RateAndScale(stream, &rateValue, &scale);
    reader.get_AudioSampleRate(stream, rate);
    reader.get_RateAndScaleLimits(stream, a, b, c, d);
    reader.get_TimeToSampleList(stream, durations);
    reader.get_IsTimeCode(stream);
    reader.get_TimeCode(stream, 0, &a);
    reader.get_IsDropFrame(stream);
    reader.getAudioByteOrder(stream);
    reader.get_MetadataValue("com.android.capture.fps", stream, number);
    reader.get_MetadataValue("interlaced", stream, flag);
    reader.get_MetadataValue("name", stream, text);
    reader.getDMMetadataValue("name", stream, text);
    reader.getGopLength(stream);
    reader.get_Origin(stream);
    reader.getIsOpenGop(stream);
    reader.get_Orientation(static_cast<unsigned>(stream));
    reader.get_IsTemporalCompressed(stream);
    reader.get_IsIndexFieldBased(stream);
    reader.essenceIsPresent(stream);
    reader.get_BufferSize(stream);
    reader.getPackageUmid(true, stream);
    for (unsigned code : {fourCC("avcC"), fourCC("hvcC"), fourCC("esds"), fourCC("colr"), fourCC("fiel"),
                          fourCC("pasp"), fourCC("glbl")})
        reader.getExtensionItem(stream, code, extension);
    reader.get_UncompressedSamples(stream);
    reader.getCompressorName2(stream);
    reader.getAvidResolutionId(stream);
    reader.streamGetExtraData(stream, extra, static_cast<int>(sizeof extra));
}

unsigned readSamples(MediaFileReader& reader, int stream, const ExerciseLimits& limits, std::vector<unsigned char>& buffer)
{
    if (!isSuccess(reader.essenceOpen(static_cast<unsigned>(stream))))
        return 0;
    unsigned length = std::min(reader.get_Length(stream), limits.maxSamples);
    unsigned read = 0;
    for (unsigned sample = 0; sample < length; ++sample) {
        IndexEntry entry;
        if (!isSuccess(reader.getIndexEntry(sample, entry)))
            continue;
        size_t wanted = std::min<size_t>(size_t(entry.size) + 2 * 4096, limits.maxBuffer);
        if (buffer.size() < wanted)
            buffer.resize(wanted);
        unsigned offset = 0, size = 0;
        if (isSuccess(reader.essenceRead(sample, 1, buffer.data(), static_cast<unsigned>(buffer.size()), offset, size)))
            ++read;

        unsigned keyframe = 0;
        reader.findKeyframe(sample, true, keyframe);
        reader.findKeyframe(sample, false, keyframe);
        reader.getNearestKeyFrame(sample, KeyframeNearest, keyframe);
    }
    if (length > 1) {
        unsigned offset = 0, size = 0;
        reader.essenceRead(0, std::min(length, 8u), buffer.data(), static_cast<unsigned>(buffer.size()), offset, size);
        reader.essenceRead(length - 1, 2, buffer.data(), static_cast<unsigned>(buffer.size()), offset, size);
    }
    std::vector<unsigned> decode, presentation;
    std::vector<unsigned short> order;
    GOPInfo info;
    allocGOPInfo(info, 64);
    for (unsigned frame : {0u, length / 2, length ? length - 1 : 0u, length + 5}) {
        info.count = 64;
        reader.getGopAndPresentationOrder(frame, info, order, false);
        reader.getGopAndPresentationOrder(frame, 16, decode, presentation, order);
    }
    freeGOPInfo(info);
    return read;
}

} // namespace

unsigned exerciseReader(MediaFileReader& reader, const ExerciseLimits& limits)
{
    int streams = std::min(reader.get_StreamCount(), limits.maxStreams);
    reader.get_FileType();
    reader.getSourceTape();
    reader.getM();
    reader.getN();
    reader.isOp1a();
    reader.isClipWrapped();
    reader.isFragmented();
    reader.getCreationTime();
    reader.getModifiedTime();
    std::wstring value;
    reader.findUserData(fourCC("name"), value);
    std::string json;
    std::map<LightweightString<char>, CByteBuffer> binary;
    reader.get_MetadataJSON(json, binary);

    // Kept across calls: a fuzzer runs thousands of inputs a second, and a
    // hostile sample size would otherwise cost a fresh large block each time.
    static std::vector<unsigned char> buffer(64 * 1024);
    unsigned offset = 0, size = 0;
    reader.essenceOpen(static_cast<unsigned>(streams) + 3);
    reader.essenceRead(0, 1, buffer.data(), static_cast<unsigned>(buffer.size()), offset, size);
    unsigned read = 0;
    for (int stream = -1; stream <= streams; ++stream) {
        queryStream(reader, stream);
        if (stream >= 0 && stream < streams)
            read += readSamples(reader, stream, limits, buffer);
    }
    reader.recalculateSize();
    return read;
}
