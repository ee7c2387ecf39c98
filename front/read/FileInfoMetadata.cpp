// What a file holds, in the host's records: streams, timecode, the video's
// coding, picture, rate and length, and each audio stream's layout.
#include <cmath>
#include <cstdlib>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "frame/ColourPairs.h"
#include "frame/FourCC.h"
#include "frame/Text.h"
#include "frame/Utf8.h"
#include "front/read/FileInfo.h"
#include "front/read/FormatLayouts.h"
#include "host/AspectRatios.h"
#include "host/EsDescriptor.h"
#include "host/FormatCodes.h"
#include "host/FrameRates.h"
#include "host/JsonValue.h"
#include "host/Log.h"
#include "host/Paths.h"

using Corvidane::fourCC;

namespace CvWrappers {

namespace {

constexpr int fileTypeQuickTime = 2;
constexpr int fileTypeMxf = 3;
constexpr int fileTypeGrowing = 6;

std::string utf8(const std::wstring& text)
{
    std::string out;
    Corvidane::toUtf8(text, out);
    return out;
}

std::string fileName(const std::wstring& path) { return utf8(std::filesystem::path(path).filename().wstring()); }

bool endsWith(const std::string& text, const std::string& tail)
{
    return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

// A number under `key` anywhere in the document, keys compared without regard
// to case.
bool findNumber(const JSON::Value& value, const std::string& key, double& number)
{
    for (const auto& member : value.members) {
        if (Corvidane::toLower(member.first) == key) {
            // Telephones write a float; other writers the number as text.
            if (member.second.kind == JSON::Value::Number) {
                number = member.second.number;
                return true;
            }
            char* end = nullptr;
            const char* text = member.second.text.c_str();
            number = std::strtod(text, &end);
            if (member.second.kind == JSON::Value::String && end != text && *end == '\0')
                return true;
        }
        if (findNumber(member.second, key, number))
            return true;
    }
    for (const JSON::Value& item : value.items)
        if (findNumber(item, key, number))
            return true;
    return false;
}

// The host's aspect ratio of the broadcast pixel aspects of SD pictures.
unsigned broadcastAspect(unsigned height, int n, int d)
{
    struct Row {
        int n, d;
        unsigned aspect;
    };
    static const Row pal[] = {{59, 54, 1}, {12, 11, 1}, {16, 15, 1}, {16, 11, 2}, {118, 81, 2}, {64, 45, 2}};
    static const Row ntsc[] = {{10, 11, 1}, {40, 33, 2}};
    if (height == 576) {
        for (const Row& row : pal)
            if (row.n == n && row.d == d)
                return row.aspect;
    } else if (height == 480 || height == 486) {
        for (const Row& row : ntsc)
            if (row.n == n && row.d == d)
                return row.aspect;
    }
    return 0;
}

} // namespace

int FileInfo::readMetadata()
{
    if (!m_reader)
        return 0;
    Corvidane::MediaFileReader& reader = *m_reader;
    reader.recalculateSize();
    int code = HcErrFromCvResult(reader.parseMetadata());
    if (code != 1) {
        LogBoth("Halcyonics reader API error %ls\n", reader.getLastError());
        return code;
    }
    if ((code = HcErrFromCvResult(reader.loadIndexTable())) != 1)
        return code;
    findStreams();
    if (reader.isFragmented())
        m_metadata.decompressionFlags |= 2;
    readTimecode();
    m_metadata.creationTime = reader.getCreationTime();

    std::string json;
    std::map<LightweightString<char>, Corvidane::CByteBuffer> items;
    reader.get_MetadataJSON(json, items);
    readBinaryItems(items);

    if (m_videoStream >= 0 && !readVideoMetadata(m_openType, json))
        return 0;
    readStartTimeCodeOffset();
    readAudioMetadata();
    if (m_videoStream < 0 && m_timecodeRate != 0) {
        const unsigned rate = Hc::getEquivalentHcFrameRate(m_timecodeRate);
        if (rate >= 1 && rate <= 48)
            m_metadata.config.set("TcFps", std::to_string(rate));
    }
    readExtendedMetadata(json);
    return checkPresence(m_openType) ? 1 : 0;
}

void FileInfo::findStreams()
{
    Corvidane::MediaFileReader& reader = *m_reader;
    for (int stream = 0; stream < reader.get_StreamCount(); ++stream) {
        if (reader.get_IsVideo(stream)) {
            if (m_videoStream < 0)
                m_videoStream = stream;
            ++m_metadata.videoStreamCount;
        } else if (reader.get_IsAudio(stream)) {
            if (!m_hasAudio) {
                m_hasAudio = true;
                m_firstAudioStream = unsigned(stream);
            }
            m_audio.emplace_back();
        } else if (reader.get_IsTimeCode(stream)) {
            if (m_timecodeStream < 0)
                m_timecodeStream = stream;
            ++m_timecodeStreamCount;
        }
    }
}

double FileInfo::readTrackRate(int stream)
{
    int rate = 0, scale = 0;
    if (m_reader->get_RateAndScale(stream, &rate, &scale) != OK || scale == 0)
        return 0.0;
    return double(rate) / double(scale);
}

int FileInfo::readTimecode()
{
    Corvidane::MediaFileReader& reader = *m_reader;
    int stream = m_timecodeStream;
    if (stream < 0) {
        if (m_videoStream < 0 && !m_hasAudio)
            return 1;
        stream = m_videoStream >= 0 ? m_videoStream : int(m_firstAudioStream);
    }
    if (stream < 0)
        return 1;
    unsigned start = 0;
    const CvResult found = reader.get_TimeCode(stream, 0, &start);
    m_startTimecode = isSuccess(found) ? start : 0;
    // The timecode of an audio-only clip-wrapped MXF file counts at the
    // audio's rate; the file's edit rate is the one to show.
    if (reader.get_FileType() == fileTypeMxf && reader.isClipWrapped() && !reader.isOp1a() && m_videoStream < 0) {
        m_timecodeRate = readTrackRate(stream);
        m_isDropFrame = reader.get_IsDropFrame(stream);
        if (m_timecodeRate > 31999.0 && m_timecodeRate < 192001.0) {
            const double oldRate = m_timecodeRate;
            const double fileRate = readTrackRate(-1);
            if (fileRate == 0.0)
                return 1;
            m_timecodeRate = fileRate;
            if (m_startTimecode != 0)
                m_startTimecode = int64_t(std::llround(fileRate * (double(m_startTimecode) / oldRate)));
        }
        return HcErrFromCvResult(found);
    }
    if (m_startTimecode == 0)
        return 0;
    m_timecodeRate = readTrackRate(stream);
    m_isDropFrame = reader.get_IsDropFrame(stream);
    return 0;
}

void FileInfo::readBinaryItems(const std::map<LightweightString<char>, Corvidane::CByteBuffer>& items)
{
    if (items.empty())
        return;
    Log("Found binary items:\n");
    const std::wstring folder = HcPaths::looksFolder();
    const std::wstring base = std::filesystem::path(m_path).stem().wstring();
    for (const auto& item : items) {
        Log("%s\n", item.first.c_str());
        const char* ending = endsWith(item.first, ".look.lut3d") ? ".look.lut3d"
                             : endsWith(item.first, ".lut3d")    ? ".lut3d"
                                                                 : nullptr;
        if (!ending || folder.empty())
            continue;
        const std::filesystem::path target = std::filesystem::path(folder) / (base + Corvidane::convertString(ending));
        std::error_code error;
        if (std::filesystem::exists(target, error))
            continue;
        std::ofstream out(target, std::ios::binary);
        const Corvidane::CByteBuffer& bytes = item.second;
        out.write(reinterpret_cast<const char*>(bytes.getBufferAtOffset()),
                  std::streamsize(bytes.used() - bytes.offset()));
    }
}

bool FileInfo::readVideoMetadata(int openType, const std::string& json)
{
    Corvidane::MediaFileReader& reader = *m_reader;
    const int stream = m_videoStream;
    unsigned fcc = 0;
    if (reader.get_FCC(stream, fcc) != OK || fcc == 0)
        fcc = 0xFFFFFFFFu;
    m_metadata.format = Hc::mapQuicktimeUncompressedFCC(fcc);
    m_videoOrigin = unsigned(std::max(reader.get_Origin(stream), 0));
    const unsigned containerLength = reader.get_Length(stream);
    m_metadata.containerLength = containerLength;
    int64_t length = containerLength == 0xFFFFFFFFu ? -1 : int64_t(containerLength) - m_videoOrigin;
    m_metadata.approxDataRate = double(reader.get_ApproxDataRate(stream));
    m_metadata.gopAnchorDistance = uint16_t(std::max(reader.getM(), 0));
    readGopLength();

    readImageDimensions();
    if ((openType & OpenVideo) && (m_metadata.width == 0 || m_metadata.height == 0))
        return false;
    Corvidane::CByteBuffer item;
    if (reader.getExtensionItem(stream, fourCC("Tc_A"), item))
        m_metadata.config.set("TcStartString", std::string(reinterpret_cast<const char*>(item.getBufferAtOffset()),
                                                           size_t(item.used() - item.offset())));
    Corvidane::CByteBuffer esds;
    if (reader.getExtensionItem(stream, fourCC("esds"), esds)) {
        Mov::EsDescriptor descriptor;
        if (descriptor.readFromEsds(esds.getBufferAtOffset(), size_t(esds.used() - esds.offset())) &&
            descriptor.objectProfileIndication() == 0x61)
            m_metadata.format = 0x32475050;  // "PPG2": MPEG-2 video in an MP4 file
    }
    readBitsAndLayout();

    const unsigned orientation = reader.get_Orientation(unsigned(stream));
    if (orientation != 1) {
        m_metadata.orientation = orientation;
        Log("Orientation %u for %s\n", orientation, fileName(m_path).c_str());
    }
    readScanMode();
    readPixelAspect();
    m_metadata.videoDataSet = true;
    readFrameRate(json, length);
    m_metadata.sequenceDataSet = true;
    readColour();
    if (m_metadata.polarity == 0) {
        const unsigned height = m_metadata.height;
        m_metadata.polarity = height >= 480 && height <= 486 ? 3 : (m_metadata.scanMode == 3 || m_metadata.scanMode == 4) ? 4 : 3;
    }
    m_metadata.gamutScaling = 2;
    m_metadata.sampleDataSet = true;
    if (length == -1)
        length = int64_t(m_videoRate * 86400.0) - 1;
    m_metadata.length = length;
    return true;
}

void FileInfo::readGopLength()
{
    Corvidane::MediaFileReader& reader = *m_reader;
    int gop = reader.getN();
    if (gop == 0)
        gop = reader.getGopLength(m_videoStream);
    m_metadata.fixedGop = false;
    if (gop >= 2) {
        m_metadata.gopLength = uint16_t(std::min(gop, 0xFFFF));
        return;
    }
    if (gop != 1)
        return;
    if (reader.getM() == 1) {
        m_metadata.gopLength = 1;
        return;
    }
    // The file claims intra-only while its anchors lie apart: the first
    // frames' types tell. A file that can't tell them (a constant-size index
    // lists no types) is taken at its word; only a predicted picture proves
    // it wrong.
    m_metadata.gopLength = 1;
    if (essenceOpen(unsigned(m_videoStream)) != 1)
        return;
    IndexInfoRep scratch;
    if (!isSuccess(reader.getGopAndPresentationOrder(0, 300, scratch.decodeOrder, scratch.presentationOrder,
                                                     scratch.frameOrder)))
        return;
    scratch.initFrameIndexes();
    for (unsigned short type : scratch.frameOrder)
        if (type & (Corvidane::FramePredicted | Corvidane::FrameBidirectional)) {
            m_metadata.gopLength = uint16_t(std::min(scratch.getNumGopFrames(), 0xFFFFu));
            break;
        }
}

void FileInfo::readImageDimensions()
{
    Corvidane::MediaFileReader& reader = *m_reader;
    int width = 0;
    if (reader.get_MetadataValue("stored_width", m_videoStream, width) != OK)
        width = reader.get_Width(m_videoStream);
    const int height = reader.get_Height(m_videoStream);
    // Anamorphic HD codings store fewer pixels than they show.
    const uint32_t format = m_metadata.format;
    if (format == fourCC("M703") || format == fourCC("avc5") || format == fourCC("dvh1")) {
        if (width == 1920)
            width = 1440;
        else if (width == 1280)
            width = 960;
    }
    m_metadata.width = unsigned(std::max(width, 0));
    m_metadata.height = unsigned(std::max(height, 0));
}

void FileInfo::readBitsAndLayout()
{
    Corvidane::MediaFileReader& reader = *m_reader;
    VideoFormatFacts facts;
    facts.format = m_metadata.format;
    facts.compressorName = reader.getCompressorName2(m_videoStream);
    facts.depth = unsigned(std::max(reader.get_BitsPerSample(m_videoStream), 0));
    facts.width = m_metadata.width;
    facts.fileType = reader.get_FileType();
    unsigned char extra[24];
    if (reader.streamGetExtraData(m_videoStream, extra, sizeof extra) >= int(sizeof extra))
        facts.extraData = extra;
    const VideoLayout layout = videoLayoutOf(facts);
    m_metadata.bitsPerComponent = layout.bits;
    m_metadata.bitsPerPixel = layout.bitsPerPixel;
    if (layout.setsFormat)
        m_metadata.format = layout.format;
    if (layout.setsStride)
        m_metadata.stride = layout.stride;
    if (layout.transparency)
        m_metadata.transparency = layout.transparency;
}

void FileInfo::readScanMode()
{
    Corvidane::MediaFileReader& reader = *m_reader;
    const unsigned width = m_metadata.width, height = m_metadata.height;
    const bool ntscSd = width == 720 && (height == 480 || height == 486);
    switch (reader.getFramePolarity(m_videoStream)) {
    case 1: m_metadata.scanMode = 1; break;
    case 2: m_metadata.scanMode = 2; break;
    case 3: m_metadata.scanMode = ntscSd ? 2 : 1; break;
    case 4: m_metadata.scanMode = 3; break;
    // Readers name the lower field first 6 where the file says so outright
    // (a movie's fiel, MXF's reversed layout).
    case 6: m_metadata.scanMode = 2; break;
    default: break;
    }
    std::wstring layout;
    if (reader.get_MetadataValue("video_layout", m_videoStream, layout) == OK) {
        if (layout == L"progressive")
            m_metadata.scanMode = 3;
        else if (layout == L"interlaced")
            m_metadata.scanMode = m_metadata.format != fourCC("dvsd") && !ntscSd ? 1 : 2;
    }
}

void FileInfo::readPixelAspect()
{
    int n = 0, d = 0;
    if (m_reader->getPixelAspect(m_videoStream, n, d) != OK || n == 0 || d == 0 || n == d)
        return;
    m_metadata.pixelAspectNumerator = n;
    m_metadata.pixelAspectDenominator = d;
    const unsigned width = m_metadata.width, height = m_metadata.height;
    m_metadata.aspectRatio = broadcastAspect(height, n, d);
    if (m_metadata.aspectRatio != 0 || height == 0)
        return;
    const double shown = double(n) * width / (double(d) * height);
    for (unsigned code = 1; code <= Hc::aspectRatioCount; ++code)
        if (std::fabs(shown - Hc::getAspectRatio(code)) < 0.001) {
            m_metadata.aspectRatio = code;
            return;
        }
}

void FileInfo::readFrameRate(const std::string& json, int64_t& length)
{
    Corvidane::MediaFileReader& reader = *m_reader;
    double rate = readTrackRate(m_videoStream);
    m_metadata.containerRate = rate;
    if (rate == 0.0)
        Log("Failed to read video frame rate for %s\n", fileName(m_path).c_str());
    // A telephone's slow-motion clip plays at the rate it was captured at.
    JSON::Value document;
    std::string error;
    double capture = 0;
    if (!json.empty() && JSON::parse(json, document, error) && findNumber(document, "com.android.capture.fps", capture) &&
        capture > 0) {
        rate = capture;
        m_metadata.captureRate = capture;
    }
    unsigned equivalent = Hc::getEquivalentHcFrameRate(rate);
    m_metadata.frameRate = equivalent ? equivalent : Hc::CurrentProject::getDefaultVideoFrameRate();
    m_videoRate = Hc::getFramesPerSecond(m_metadata.frameRate);

    unsigned minDuration = 0, maxDuration = 0, timescale = 0, entries = 0;
    if (reader.get_RateAndScaleLimits(m_videoStream, minDuration, maxDuration, timescale, entries) != OK ||
        timescale == 0)
        return;
    auto handler = std::make_shared<VariableFrameRateHandler>();
    if (reader.get_TimeToSampleList(m_videoStream, handler->durations) != OK || handler->durations.size() < 3)
        return;
    m_metadata.lowestRate = double(timescale) / std::max(maxDuration, 1u);
    m_metadata.highestRate = double(timescale) / std::max(minDuration, 1u);
    if (!equivalent) {
        equivalent = Hc::getEquivalentHcFrameRate(m_metadata.highestRate);
        m_metadata.frameRate = equivalent ? equivalent : Hc::CurrentProject::getDefaultVideoFrameRate();
        m_videoRate = Hc::getFramesPerSecond(m_metadata.frameRate);
    }
    handler->stream = m_videoStream;
    handler->timescale = timescale;
    handler->minDuration = minDuration;
    handler->highestRate = m_metadata.highestRate;
    length = int64_t(std::min(double(handler->getDuration()) / timescale * m_videoRate, 9e18));
    if (m_metadata.isVariableFrameRate() || m_metadata.isNonStandardFrameRate()) {
        m_metadata.variableRate = handler;
        LogBoth("Detected variable/unusual frame rate: %.2f - %.2f\n", m_metadata.lowestRate, m_metadata.highestRate);
    }
}

void FileInfo::readColour()
{
    Corvidane::MediaFileReader& reader = *m_reader;
    Corvidane::VideoColourCPMode primaries = Corvidane::CPModeUnknown;
    Corvidane::VideoColourTCMode transfer = Corvidane::TCModeUnknown;
    reader.get_ColourPrimaries(m_videoStream, primaries);
    reader.get_TransferCharacteristic(m_videoStream, transfer);
    m_metadata.colourPrimaries = primaries;
    m_metadata.transferCharacteristic = transfer;
    int mode = Corvidane::videoColourSpaceModeHDR(Corvidane::ColourPairT(primaries, transfer));
    if (mode == 0) {
        if (primaries == Corvidane::CPMode2 || primaries == Corvidane::CPMode3) {
            mode = 1;
        } else {
            const int fromTransfer = m_metadata.width > 720 ? Corvidane::videoColourSpaceModeHDR(transfer) : 0;
            mode = fromTransfer >= 1 && fromTransfer <= 7 ? fromTransfer : m_metadata.width <= 720 ? 1 : 2;
        }
    }
    m_metadata.colorimetry = mode;
}

void FileInfo::readStartTimeCodeOffset()
{
    Corvidane::MediaFileReader& reader = *m_reader;
    if (m_timecodeStream < 0)
        return;
    unsigned start = 0;
    if (isSuccess(reader.get_TimeCode(m_timecodeStream, 0, &start)))
        m_startTimecode = start;
    m_isDropFrame = reader.get_IsDropFrame(m_timecodeStream);
    // A P2 card's clip metadata would add its start here; without the host
    // there is none to ask.
}

void FileInfo::readAudioMetadata()
{
    Corvidane::MediaFileReader& reader = *m_reader;
    for (size_t i = 0; i < m_audio.size(); ++i) {
        const int stream = int(m_firstAudioStream + i);
        Aud::Metadata& audio = m_audio[i];
        audio.streamStartOffset = unsigned(std::max(reader.get_Origin(stream), 0));
        audio.channels = unsigned(std::max(reader.get_ChannelCount(stream), 0));
        int bits = reader.get_BitsPerSample(stream);
        if (bits < 8)
            bits = 16;
        audio.bitsPerSample = unsigned(bits);
        audio.stride = audio.bitsPerSample / 8;
        audio.bigEndian = reader.getAudioByteOrder(stream) == 2;
        unsigned fcc = 0xFFFFFFFFu;
        reader.get_FCC(stream, fcc);
        audio.dataType = audioDataTypePcm;
        applyAudioDataType(fcc, audio);
        unsigned rate = 0;
        audio.sampleRate = reader.get_AudioSampleRate(stream, rate) == OK ? rate : unsigned(reader.get_Rate(stream));
        if (reader.isOp1a() && m_metadata.format == 0x584D4947)  // "GIMX": D-10 sound in an OP1a file
            audio.dataType = 2;
        audio.maximumPacketSize = reader.get_BufferSize(stream);

        Corvidane::CByteBuffer item;
        if (reader.getExtensionItem(stream, fourCC("esds"), item)) {
            Mov::EsDescriptor descriptor;
            const unsigned char* bytes = item.getBufferAtOffset();
            const size_t size = size_t(item.used() - item.offset());
            if (descriptor.readFromEsds(bytes, size)) {
                const unsigned type = descriptor.objectProfileIndication();
                if (type == 0x40 || type == 0x67) {
                    if (descriptor.channels())
                        audio.channels = descriptor.channels();
                    if (descriptor.sampleRate())
                        audio.sampleRate = descriptor.sampleRate();
                    audio.dataType = audioDataTypeAac;
                } else if (type == 0x69 || type == 0x6B) {
                    audio.dataType = audioDataTypeMpeg;
                }
                if (descriptor.audioSpecificConfigSize())
                    audio.codecConfiguration.assign(bytes + descriptor.audioSpecificConfigOffset(),
                                                    bytes + descriptor.audioSpecificConfigOffset() +
                                                        descriptor.audioSpecificConfigSize());
            }
        } else if (reader.getExtensionItem(stream, fourCC("alac"), item)) {
            audio.codecConfiguration.assign(item.getBufferAtOffset(), item.getBufferAtOffset() + (item.used() - item.offset()));
        }
        audio.pcm = isPcmDataType(audio);
        audio.sampleType = audio.dataType;
        if (audio.pcm)
            measureSampleGroup(stream, audio);
        if (audio.pcm) {
            audio.sampleTypeNumber = Hc::calculateSampleTypeNumber(audio.bitsPerSample, audio.representation, audio.bigEndian);
        } else if (initAudioCodec(unsigned(i), audio.codecConfiguration) != Hc::HostNoCodec) {
            break;
        }
        const bool perVideoFrame = m_videoRate > 0 && (reader.get_FileType() == fileTypeGrowing ||
                                                       (!reader.isClipWrapped() && m_videoStream >= 0));
        if (perVideoFrame)
            audio.length = int64_t(std::min(double(m_metadata.length) * audio.sampleRate / m_videoRate + 0.5, 9e18));
        else
            audio.length = int64_t(reader.get_Length(int(m_firstAudioStream))) - audio.streamStartOffset;
        if (audio.dataType == audioDataTypeAac && !audio.codecConfiguration.empty())
            audio.config.set("preferVideoLength", "true");
    }
}

// The bytes of one sample group as the reader gives them: an AVI file's plain
// wave format names the bits of all channels together, where the sample
// layout needs those of one. Audio stored per video frame has frames for
// samples, and keeps the bits named.
void FileInfo::measureSampleGroup(int stream, Aud::Metadata& audio)
{
    Corvidane::MediaFileReader& reader = *m_reader;
    if (audio.channels == 0 || (!reader.isClipWrapped() && m_videoStream >= 0) || essenceOpen(unsigned(stream)) != 1)
        return;
    std::vector<unsigned char> bytes(size_t(m_sectorSize) * 2 + 256);
    unsigned offset = 0, size = 0;
    if (!isSuccess(reader.essenceRead(audio.streamStartOffset, 1, bytes.data(), unsigned(bytes.size()), offset, size)) ||
        size == 0 || size % audio.channels != 0 || size / audio.channels > 8)
        return;
    audio.stride = size / audio.channels;
    audio.bitsPerSample = audio.stride * 8;
}

void FileInfo::readExtendedMetadata(const std::string& json)
{
    Corvidane::MediaFileReader& reader = *m_reader;
    auto store = [this](const char* key, const std::wstring& value) {
        if (!value.empty())
            m_metadata.config.set(key, utf8(value));
    };
    store("reel_id", reader.getSourceTape());
    store("UMID", reader.getPackageUmid(true, 0));
    std::wstring name;
    if (!reader.findUserData(fourCC("@nam"), name))
        reader.get_MetadataValue("clip_name", 0, name);
    store("Name", name);
    std::wstring description;
    reader.get_MetadataValue("clip_name", 0, description);
    store("Description", description);
    if (!json.empty())
        m_metadata.config.set("JSON", json);
    reader.findUserData(fourCC("@trk"), m_metadata.editLabel);
}

bool FileInfo::checkPresence(int openType)
{
    Corvidane::MediaFileReader& reader = *m_reader;
    const bool video = m_videoStream >= 0;
    const int audioStream = m_hasAudio ? int(m_firstAudioStream) : -1;
    if (reader.get_FileType() == fileTypeMxf && !reader.isOp1a()) {
        // An OP-Atom clip's other tracks lie in files of their own.
        if ((openType & OpenVideo) && audioStream >= 0 && reader.essenceIsPresent(audioStream))
            return true;
        if ((openType & OpenAudio) && video && reader.essenceIsPresent(m_videoStream))
            return true;
    }
    if (video && m_metadata.length > 0 && (openType & OpenVideo)) {
        if (!reader.essenceIsPresent(m_videoStream) || essenceOpen(unsigned(m_videoStream)) != 1)
            return false;
        Ptr<IndexInfoRep> index;
        hcFileIxCache_open(index, m_videoOrigin);
        readFirstFrame();
        return true;
    }
    if (audioStream >= 0 && openType == OpenAudio && reader.essenceIsPresent(audioStream) &&
        essenceOpen(unsigned(audioStream)) == 1 && !m_audio.empty() && m_audio[0].length != 0)
        return true;
    return false;
}

void FileInfo::readFirstFrame()
{
    Corvidane::MediaFileReader& reader = *m_reader;
    const uint32_t format = m_metadata.format;
    bool read = Hc::isAvcIntraFormat(format);
    if (!read && Hc::lookupPlayoutFCC(format) == fourCC("avc1")) {
        Corvidane::CByteBuffer avcc;
        if (reader.getExtensionItem(m_videoStream, fourCC("avcC"), avcc))
            initAvcc(avcc.getBufferAtOffset(), size_t(avcc.used() - avcc.offset()));
        read = true;
    }
    read = read || (Hc::isMpegFormat(format) && m_metadata.scanMode == 0) || Hc::needsFirstFrameProbe(format);
    if (!read)
        return;
    std::vector<Ptr<iMemHolder>> buffers;
    Ptr<IndexInfoRep> none;
    unsigned extra = 0;
    readVideo(buffers, m_videoOrigin, none, extra);
    for (const Ptr<iMemHolder>& buffer : buffers)
        if (auto* bytes = dynamic_cast<ByteBufferImpl*>(buffer.get()))
            m_metadata.firstFrame.push_back(Ptr<ByteBufferImpl>(bytes));
}

} // namespace CvWrappers
