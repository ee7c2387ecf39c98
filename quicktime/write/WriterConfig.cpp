// What each track's sample description says and how its samples
// are chunked.
#include <cmath>
#include <cstring>
#include <stdexcept>

#include "frame/FourCC.h"
#include "frame/Text.h"
#include "frame/Utf8.h"
#include "frame/VideoStandard.h"
#include "quicktime/write/FileWriter.h"

namespace Corvidane::QuickTime {

namespace {

bool near(double rate, double low, double high) { return rate > low && rate < high; }
bool is2997(double rate) { return near(rate, 29.96, 29.98); }
bool is25(double rate) { return rate == 25.0; }

bool isOneOf(uint32_t code, std::initializer_list<const char*> codes)
{
    for (const char* c : codes)
        if (code == (uint32_t(uint8_t(c[0])) | uint32_t(uint8_t(c[1])) << 8 | uint32_t(uint8_t(c[2])) << 16 |
                     uint32_t(uint8_t(c[3])) << 24))
            return true;
    return false;
}

bool isProRes(uint32_t code) { return isOneOf(code, {"apch", "apcn", "apco", "apcs", "ap4h", "ap4x"}); }

std::unique_ptr<OpaqueExtension> zeroExtension(const char (&code)[5], size_t capacity)
{
    auto extension = std::make_unique<OpaqueExtension>(fourCC(code));
    std::vector<unsigned char> zeros(capacity, 0);
    extension->setData(zeros.data(), zeros.size());
    extension->size = static_cast<uint32_t>(extension->getSize());
    return extension;
}

} // namespace

void FileWriter::getTimeScaleFromRate(uint32_t numerator, uint32_t denominator, uint32_t& timeScale,
                                      uint32_t& duration) const
{
    const Track* video = firstVideo();
    bool rateAsScale = video && (video->data.video.flags & VideoRateAsTimeScale);
    double rate = denominator ? double(numerator) / denominator : 0.0;
    if (!rateAsScale) {
        struct Band {
            double low, high;
            uint32_t scale, duration;
        };
        static const Band bands[] = {{29.9999, 30.00001, 3000, 100}, {29.96, 29.98, 2997, 100},
                                     {59.9999, 60.00001, 6000, 100}, {59.93, 59.95, 5994, 100},
                                     {23.9999, 24.00001, 2400, 100}, {23.97, 23.99, 23976, 1000}};
        if (rate == 25.0) {
            timeScale = 2500, duration = 100;
            return;
        }
        if (rate == 50.0) {
            timeScale = 5000, duration = 100;
            return;
        }
        for (const Band& band : bands)
            if (near(rate, band.low, band.high)) {
                timeScale = band.scale, duration = band.duration;
                return;
            }
    }
    timeScale = numerator, duration = denominator;
    if (numerator < 101)
        timeScale *= 100, duration *= 100;
}

unsigned FileWriter::framesPerChunk(uint32_t fourcc, unsigned width, unsigned height, unsigned rateNumerator)
{
    auto common = [](unsigned w, unsigned h) {
        return (w == 720 && (h == 576 || h == 486)) || (w == 1920 && h == 1080) || (w == 1280 && h == 720) ||
               (w == 2048 && h == 1152) || ((w == 3840 || w == 4096) && h == 2160);
    };
    if (!common(width, height)) {
        uint64_t area = uint64_t(width) * height;
        if (area <= 414720)
            width = 720, height = 576;
        else if (area <= 912600)
            width = 1280, height = 720;
        else if (area <= 2073600)
            width = 1920, height = 1080;
        else if (area > 2949120)
            width = 3840, height = 2160;
        else
            width = 2048, height = 1152;
    }
    static const struct {
        unsigned w, h;
        unsigned sizes[6];
    } table[] = {
        {720, 576, {61895, 141994, 203889, 305834, 458752, 688128}},
        {720, 486, {50972, 120149, 174762, 262144, 393216, 589824}},
        {1920, 1080, {189326, 425984, 611669, 917504, 1376256, 2064384}},
        {1280, 720, {94663, 211171, 305834, 458752, 688128, 1030371}},
        {2048, 1152, {214812, 484238, 699050, 1048576, 1572864, 2359296}},
        {4096, 2160, {808277, 1824085, 2621440, 3932160, 5898240, 8847360}},
        {3840, 2160, {757304, 1711217, 2457600, 3684579, 5526869, 8293944}},
    };
    const uint32_t codes[6] = {fourCC("apco"), fourCC("apcs"), fourCC("apcn"), fourCC("apch"), fourCC("ap4h"),
                               fourCC("ap4x")};
    unsigned frameSize = 0;
    for (const auto& row : table)
        if (row.w == width && row.h == height)
            for (int i = 0; i < 6; ++i)
                if (codes[i] == fourcc)
                    frameSize = row.sizes[i];
    unsigned diskChunk = frameSize == 0 ? 0 : (height <= 576 ? 2097152u : 4194304u) / frameSize;
    unsigned halfSecond = ((rateNumerator < 101 ? rateNumerator : rateNumerator / 1000) + 1) / 2;
    return std::min(halfSecond, diskChunk == 0 ? 1u : diskChunk);
}

void FileWriter::applySampleSizeRule(unsigned track, uint32_t bufferBytes)
{
    TrackEssenceBuffer& essence = m_tracks[track].essence;
    if (m_sampleSizeMode.empty()) {
        m_sampleSizeMode.push_back(allOnes);
        essence.variableSizes = true;
        return;
    }
    uint32_t mode = m_sampleSizeMode.back();
    if (mode == allOnes) {
        essence.variableSizes = true;
    } else if (mode != 1) {
        essence.variableSizes = false;
        essence.sampleSizes.push_back(mode);
        essence.buffer.alloc(roundToSector(uint64_t(essence.samplesPerChunk) * mode));
    }
    (void)bufferBytes;
}

void FileWriter::addColourAndAspect(VideoDescriptor& d, const VideoStructuralData& v, unsigned std,
                                    bool anamorphic, bool dvFamily)
{
    VideoStandardEx standard(std);
    bool known = std != 0;
    bool hd = known ? (v.height == 1080 || v.height == 720 || v.width == 3840 || v.width == 4096) : v.width >= 1920;
    bool guidelines = (v.flags & VideoFollowGuidelines) != 0;

    auto colr = std::make_unique<ImageExtension_colr>();
    colr->parameterType = fourCC("nclc");
    bool primariesInTable = v.colourPrimaries >= 1 && v.colourPrimaries <= 6;
    if (!hd && !primariesInTable) {
        colr->primaries = 6, colr->transferFunction = 1, colr->matrix = 6;
        if (guidelines) {
            colr->primaries = 1, colr->matrix = 1;
            if (known && standard.getWidth() == 720) {
                if (std == 1)
                    colr->primaries = 5, colr->matrix = 6;
                else if (std == 2)
                    colr->primaries = 6, colr->matrix = 6;
            } else if (v.width <= 720) {
                colr->primaries = 2, colr->matrix = 6;
            }
        }
    } else {
        static const int primariesOf[7] = {-1, 1, 5, 6, 9, 11, 12};
        static const int transferOf[7] = {-1, 1, -1, 16, 18, 17, -1};
        static const int matrixOf[7] = {-1, 1, 9, 1, -1, -1, -1};
        static const unsigned matrixFromPrimaries[7] = {0, 1, 0, 0, 2, 3, 3};
        colr->primaries = 1, colr->transferFunction = 1, colr->matrix = 1;
        unsigned matrixCode = v.matrixCoefficients;
        if (matrixCode == 0 && primariesInTable)
            matrixCode = matrixFromPrimaries[v.colourPrimaries];
        auto look = [](const int* table, unsigned code) { return code >= 1 && code <= 6 ? table[code] : -1; };
        int p = look(primariesOf, v.colourPrimaries), t = look(transferOf, v.transferCharacteristic),
            m = look(matrixOf, matrixCode);
        if (p >= 0 && t >= 0 && m >= 0) {
            colr->primaries = uint16_t(p);
            if (p != 11 && p != 12)
                colr->transferFunction = uint16_t(t), colr->matrix = uint16_t(m);
        }
    }
    colr->size = uint32_t(colr->getSize());
    d.extensions.push_back(std::move(colr));

    auto fiel = std::make_unique<ImageExtension_fiel>();
    bool progressive = known ? (standard.getLayout() == 3 || standard.getLayout() == 4) : v.frameLayout == 4;
    if (progressive) {
        fiel->fields = 1, fiel->detail = 0;
    } else {
        fiel->fields = 2;
        fiel->detail = (dvFamily || (guidelines && std == 2 && standard.getWidth() == 720)) ? 14 : 9;
    }
    fiel->size = uint32_t(fiel->getSize());
    d.extensions.push_back(std::move(fiel));

    auto pasp = std::make_unique<ImageExtension_pasp>();
    bool wide = v.aspect == 0x00100009;
    int aperture = 0; // 1 PAL, 2 NTSC, 3 active
    auto in = [std](std::initializer_list<unsigned> list) {
        for (unsigned s : list)
            if (s == std)
                return true;
        return false;
    };
    uint32_t h = 1, vs = 1;
    if (wide && v.width == 1440 && in({12, 14, 15, 16, 17, 18, 19, 20}))
        h = 4, vs = 3;
    else if (wide && std == 1)
        h = 118, vs = 81, aperture = 1;
    else if (wide && std == 2)
        h = 40, vs = 33, aperture = 2;
    else if (!wide && std == 1)
        h = 59, vs = 54, aperture = 1;
    else if (!wide && std == 2)
        h = 10, vs = 11, aperture = 2;
    else if (in({3, 4, 5, 6, 7, 8, 9, 12, 15, 18}))
        h = anamorphic ? 4 : 1, vs = anamorphic ? 3 : 1;
    else if (in({11, 14, 16, 17, 19, 20}))
        h = anamorphic ? 3 : 1, vs = anamorphic ? 2 : 1;
    else if (v.activeWidth && v.activeHeight)
        aperture = 3;
    pasp->hSpacing = h, pasp->vSpacing = vs;
    pasp->size = uint32_t(pasp->getSize());
    d.extensions.push_back(std::move(pasp));
    if (aperture) {
        auto clap = std::make_unique<ImageExtension_clap>();
        if (aperture == 1)
            clap->widthN = 41472, clap->widthD = 59, clap->heightN = 576, clap->heightD = 1;
        else if (aperture == 2)
            clap->widthN = 704, clap->widthD = 1, clap->heightN = 480, clap->heightD = 1;
        else
            clap->widthN = v.activeWidth, clap->widthD = 1, clap->heightN = v.activeHeight, clap->heightD = 1;
        clap->horizOffN = 0, clap->horizOffD = 1, clap->vertOffN = 0, clap->vertOffD = 1;
        clap->size = uint32_t(clap->getSize());
        d.extensions.push_back(std::move(clap));
    }
}

std::unique_ptr<VideoDescriptor> FileWriter::cfgVideo(unsigned track)
{
    Track& t = m_tracks.at(track);
    const VideoStructuralData& v = t.data.video;
    TrackEssenceBuffer& essence = t.essence;
    auto d = std::make_unique<VideoDescriptor>(v.fourcc);
    d->dataReferenceIndex = 1;
    d->Width = uint16_t(v.width);
    d->Height = uint16_t(v.height);
    d->resolutionBits = 0x42900000; // the bits of the float 72.0; readers don't mind
    d->DataSize = 0;
    d->FrameCount = 1;
    d->Depth = uint16_t(v.bitsPerPixel ? v.bitsPerPixel : 24);
    d->ColourTableId = 0xFFFF;
    if (v.gopSize > 1)
        d->TemporalQuality = 512, d->SpatialQuality = 512;
    else
        d->TemporalQuality = 0, d->SpatialQuality = 1024;
    essence.samplesPerChunk = 1;
    double rate = v.rateDenominator ? double(v.rateNumerator) / v.rateDenominator : 0.0;
    // The constructor from a line code won't do: the height is no line
    // code, so the row is found from the picture's data (docs/decisions.md).
    unsigned std = VideoStandardEx::fromData(rate, v.height, v.width, v.frameLayout == 4);

    enum { Constant, PerSample, NoEntry } sizes = PerSample;
    uint32_t format = v.fourcc;
    std::string name;
    bool anamorphic = false;
    bool dvFamily = isOneOf(v.fourcc, {"dvsd", "dvcp", "dvc ", "dv25", "dv50"});
    ExtensionVector codecExtensions;
    const uint32_t fcc = v.fourcc;

    if (fcc == fourCC("ARGB") || fcc == 32) {
        format = fourCC("ARGB"), name = "Uncompressed ARGB", sizes = Constant;
    } else if (fcc == fourCC("BGRA")) {
        name = "Uncompressed BGRA", sizes = Constant;
    } else if (fcc == fourCC("r210")) {
        name = "Uncompressed RGBA", sizes = Constant;
    } else if (fcc == fourCC("UYVY")) {
        format = fourCC("2vuy"), name = "Uncompressed UYVY", sizes = Constant;
    } else if (isOneOf(fcc, {"2vuy", "v210", "v216"})) {
        name = "Uncompressed UYVY", sizes = Constant;
    } else if (isOneOf(fcc, {"YUY2", "yuv2", "M102"})) {
        format = fourCC("yuv2"), name = "Uncompressed YUY2", sizes = Constant;
    } else if (fcc == fourCC("dvsd")) {
        if (v.height == 576)
            format = fourCC("dvcp");
        else if (v.height == 480 || v.height == 486)
            format = fourCC("dvc ");
        name = "DV", sizes = Constant, essence.samplesPerChunk = 4;
    } else if (fcc == fourCC("dvcp") || fcc == fourCC("dvc ")) {
        sizes = Constant, essence.samplesPerChunk = 4;
    } else if (fcc == fourCC("dv25")) {
        format = is2997(rate) ? fourCC("dvpn") : is25(rate) ? fourCC("dvpp") : fcc;
        name = "DVCPRO", sizes = Constant, essence.samplesPerChunk = 4;
    } else if (fcc == fourCC("dv50")) {
        format = is2997(rate) ? fourCC("dv5n") : is25(rate) ? fourCC("dv5p") : fcc;
        name = "DVCPRO50", sizes = Constant, essence.samplesPerChunk = 4;
    } else if (fcc == fourCC("dvh1")) {
        if (v.height == 720)
            format = rate == 50.0 ? fourCC("dvhq") : fourCC("dvhp");
        else if (v.height == 1080)
            format = is2997(rate) ? fourCC("dvh6") : is25(rate) ? fourCC("dvh5") : fcc;
        name = "DVCPROHD", essence.samplesPerChunk = 4, anamorphic = true, d->SpatialQuality = 1023;
        sizes = (v.height == 720 || v.height == 1080) ? Constant : NoEntry;
    } else if (isOneOf(fcc, {"dvh5", "dvh6", "dvhp"})) {
        name = "DVCPROHD", sizes = Constant, essence.samplesPerChunk = 4, anamorphic = true;
        d->SpatialQuality = 1023;
    } else if (isOneOf(fcc, {"AVdn", "AVdx", "AVdr", "AVdh"})) {
        bool hr = fcc == fourCC("AVdr") || fcc == fourCC("AVdh");
        format = hr ? fourCC("AVdh") : fourCC("AVdn");
        name = hr ? "DNxHR" : "DNxHD", sizes = Constant;
        d->Depth = 24;
        d->Version = uint16_t(v.flags & 0xFFFF);
        codecExtensions.push_back(zeroExtension("ARES", 112));
        codecExtensions.push_back(zeroExtension("ACLR", 16));
        if (hr && (v.resolutionId == 1270 || v.resolutionId == 1271))
            codecExtensions.push_back(zeroExtension("ADHR", 24));
        codecExtensions.push_back(zeroExtension("APRG", 16));
    } else if (isProRes(fcc)) {
        static const struct {
            const char* code;
            const char* name;
        } names[] = {{"apch", "Apple ProRes 422 HQ"}, {"apcn", "Apple ProRes 422"},
                     {"apco", "Apple ProRes 422 Proxy"}, {"apcs", "Apple ProRes 422 LT"},
                     {"ap4h", "Apple ProRes 4444"}, {"ap4x", "Apple ProRes 4444 XQ"}};
        for (const auto& n : names)
            if (isOneOf(fcc, {n.code}))
                name = n.name;
        sizes = PerSample;
        if (fcc == fourCC("ap4h") || fcc == fourCC("ap4x"))
            essence.samplesPerChunk = 3;
        else if (fcc == fourCC("apch"))
            essence.samplesPerChunk = v.width == 720 ? 15 : v.height == 720 ? 8 : 4;
        else
            essence.samplesPerChunk = v.width == 720 ? 15 : v.height == 720 ? 12 : 6;
        if (v.flags & VideoFollowGuidelines)
            essence.samplesPerChunk = int32_t(framesPerChunk(fcc, v.width, v.height, v.rateNumerator));
        d->SpatialQuality = 1023, d->TemporalQuality = 0, d->Depth = 24;
    } else if (fcc == fourCC("mp4v")) {
        name = "mpeg4";
        auto esds = std::make_unique<Extension_esds>(Extension_esds::Video);
        esds->size = uint32_t(esds->getSize());
        codecExtensions.push_back(std::move(esds));
    } else if (fcc == fourCC("avc1")) {
        name = "H.264";
        auto avcC = std::make_unique<OpaqueExtension>(fourCC("avcC"));
        avcC->size = uint32_t(avcC->getSize());
        codecExtensions.push_back(std::move(avcC));
    } else if (isOneOf(fcc, {"mjpa", "MJPG"})) {
        format = fourCC("mjpa"), name = "Motion JPEG A", d->Depth = 24;
    } else if (fcc == fourCC("CFHD")) {
        name = "CineForm";
    } else if (isOneOf(fcc, {"MMES", "M701"})) {
        format = fourCC("mpg2"), name = "MPEG2";
    } else if (fcc == fourCC("xd35") || fcc == fourCC("xd50")) {
        static const std::pair<unsigned, const char*> xd35[] = {{7, "xdva"},  {9, "xdv9"},  {11, "xdv6"},
                                                                 {12, "xdvc"}, {14, "xdvb"}, {15, "xdve"}};
        static const std::pair<unsigned, const char*> xd50[] = {
            {7, "xd5a"}, {8, "xd59"}, {9, "xd59"}, {10, "xd5d"}, {11, "xd5d"}, {12, "xd5c"},
            {14, "xd5b"}, {15, "xd5e"}, {16, "xd5f"}, {17, "xd5f"}};
        bool is35 = fcc == fourCC("xd35");
        if (is35) {
            for (const auto& row : xd35)
                if (row.first == std)
                    std::memcpy(&format, row.second, 4);
        } else {
            for (const auto& row : xd50)
                if (row.first == std)
                    std::memcpy(&format, row.second, 4);
        }
        name = is35 ? "XDCAM EX (35 Mb/s)" : "XDCAM HD422 (50 Mb/s)";
        setFlag(FlagOpenGOP);
        m_chunkCycle = {v.gopSize, 2 * v.gopSize};
        m_chunkCycleAt = 0;
    } else if (fcc == fourCC("GIMX")) {
        bool ntsc = is2997(rate);
        const char* row[3] = {ntsc ? "mx3n" : "mx3p", ntsc ? "mx4n" : "mx4p", ntsc ? "mx5n" : "mx5p"};
        const char* pick = v.dataRate < 35000 ? row[0] : v.dataRate < 45000 ? row[1] : row[2];
        std::memcpy(&format, pick, 4);
        sizes = Constant;
    } else if (isOneOf(fcc, {"mx3p", "mx4p", "mx5p", "mx3n", "mx4n", "mx5n"})) {
        sizes = Constant;
    } else if (isOneOf(fcc, {"ai12", "ai13", "ai15", "ai16", "ai1p", "ai1q", "ai52", "ai53", "ai55", "ai56", "ai5p",
                             "ai5q"})) {
        name = "AVC-Intra";
    } else {
        name = "Unknown Compressor " + fourCCToString(fcc);
        if (name.size() > 32)
            name.resize(32);
    }
    d->type = format;
    d->CompressorName2 = name;

    if (sizes == Constant)
        m_sampleSizeMode.push_back(1);
    else if (sizes == PerSample)
        m_sampleSizeMode.push_back(allOnes);

    for (auto& extension : codecExtensions)
        d->extensions.push_back(std::move(extension));
    // avc1 of a size and rate that no standard knows, even at twice and four
    // times the size, has none of the picture extensions.
    bool skipPicture = false;
    if (fcc == fourCC("avc1") && std == 0) {
        skipPicture = VideoStandardEx::fromData(rate, v.height * 2, v.width * 2, v.frameLayout == 4) == 0 &&
                      VideoStandardEx::fromData(rate, v.height * 4, v.width * 4, v.frameLayout == 4) == 0;
    }
    if (!skipPicture)
        addColourAndAspect(*d, v, std, anamorphic, dvFamily);
    d->size = uint32_t(d->getSize());

    applySampleSizeRule(track, 0);
    return d;
}

void FileWriter::getAudioTypeAndDescriptorVersion(const AudioStructuralData& audio, uint32_t& format, int& version)
{
    uint32_t f = audio.format;
    version = 0;
    format = f;
    if (f == 1 || f == fourCC("pcm ")) {
        if (audio.bitsPerSample == 24)
            format = fourCC("in24"), version = audio.byteOrder == 1 ? 1 : 0;
        else if (audio.bitsPerSample == 32)
            format = fourCC("in32"), version = audio.byteOrder == 1 ? 1 : 0;
        else if (audio.bitsPerSample == 16)
            format = audio.byteOrder == 2 ? fourCC("twos") : fourCC("sowt");
        else
            format = audio.byteOrder == 2 ? fourCC("twos") : fourCC("sowt");
    } else if (f == fourCC("sowt")) {
        version = audio.byteOrder == 2 ? 1 : 0;
    } else if (f == fourCC("twos") || f == fourCC("in24") || f == fourCC("in32")) {
        version = audio.byteOrder == 1 ? 1 : 0;
    }
}

std::unique_ptr<SampleDescriptor> FileWriter::cfgAudio(unsigned track)
{
    Track& t = m_tracks.at(track);
    const AudioStructuralData& a = t.data.audio;
    TrackEssenceBuffer& essence = t.essence;
    uint32_t format = 0;
    int version = 0;
    getAudioTypeAndDescriptorVersion(a, format, version);

    std::unique_ptr<SoundDescriptor> d;
    if (version == 1) {
        auto v1 = std::make_unique<SoundDescriptorV1>(format);
        v1->Version = 1;
        v1->SamplesPerPacket = 1;
        // Nothing else names the other three fields of the version 1 entry
        // open; these are the values that QuickTime gives PCM.
        v1->BytesPerPacket = a.bitsPerSample / 8;
        v1->BytesPerFrame = a.blockAlign;
        v1->bytesPerSample = a.bitsPerSample / 8;
        d = std::move(v1);
    } else {
        d = std::make_unique<SoundDescriptor>(format);
    }
    d->dataReferenceIndex = 1;
    d->Channels = a.channels;
    d->SampleSize = a.bitsPerSample;
    d->SampleRate = float(a.sampleRate);

    bool linear = a.format == 1 || isOneOf(a.format, {"pcm ", "in32", "in24", "twos", "sowt"});
    if (linear) {
        d->type = format;
        m_sampleSizeMode.push_back(1);
        essence.samplesPerChunk = int32_t(a.sampleRate);
        const Track* video = firstVideo();
        if (video) {
            double rate = video->data.video.rateDenominator
                              ? double(video->data.video.rateNumerator) / video->data.video.rateDenominator
                              : 0.0;
            if (rate > 0)
                essence.samplesPerChunk = int32_t(double(a.sampleRate) * std::ceil(rate) / rate);
        }
        if (version == 1) {
            d->endianType = a.byteOrder == 1 ? 1 : a.byteOrder == 2 ? 2 : 0;
            d->addExtensions();
        }
    } else if (a.format == fourCC("mp4a")) {
        m_sampleSizeMode.push_back(allOnes);
        d->type = fourCC("mp4a");
        essence.samplesPerChunk = int32_t(a.sampleRate);
        d->addExtensions();
    } else if (m_sampleSizeMode.empty()) {
        m_sampleSizeMode.push_back(allOnes);
    }
    d->size = uint32_t(d->getSize());
    essence.variableSizes = m_sampleSizeMode.back() == allOnes;
    essence.buffer.alloc(roundToSector(uint64_t(a.blockAlign) * uint32_t(essence.samplesPerChunk)));
    if (a.format != fourCC("mp4a"))
        essence.sampleSizes.push_back(a.blockAlign);
    return d;
}

std::unique_ptr<TimecodeDescriptor> FileWriter::cfgTimecode(unsigned track)
{
    Track& t = m_tracks.at(track);
    auto d = std::make_unique<TimecodeDescriptor>();
    d->type = fourCC("tmcd");
    d->dataReferenceIndex = 1;
    d->Flags = t.data.timecode.dropFrame ? 1 : 0;
    d->Timescale = 25, d->FrameDuration = 1, d->NumberOfFrames = 25;
    if (const Track* video = firstVideo()) {
        uint32_t scale = 0, duration = 0;
        getTimeScaleFromRate(video->data.video.rateNumerator, video->data.video.rateDenominator, scale, duration);
        d->Timescale = scale, d->FrameDuration = duration;
        double rate = video->data.video.rateDenominator
                          ? double(video->data.video.rateNumerator) / video->data.video.rateDenominator
                          : 0.0;
        d->NumberOfFrames = uint8_t(std::ceil(rate));
        if (video->data.extendedData && video->data.extendedDataSize >= sizeof(wchar_t)) {
            std::wstring xml(reinterpret_cast<const wchar_t*>(video->data.extendedData),
                             video->data.extendedDataSize / sizeof(wchar_t));
            xml = xml.c_str(); // up to the terminator
            std::wstring reel;
            if (XML::findXMLTagData(xml, L"source_reel", reel)) {
                std::string narrow;
                if (toUtf8(reel, narrow))
                    d->name = narrow;
            }
        }
    }
    d->size = uint32_t(d->getSize());
    m_sampleSizeMode.push_back(4);
    t.essence.sampleSizes.push_back(4);
    t.essence.variableSizes = false;
    return d;
}

std::unique_ptr<ClosedCaptionDescriptor> FileWriter::cfgAnc(unsigned track)
{
    Track& t = m_tracks.at(track);
    auto d = std::make_unique<ClosedCaptionDescriptor>();
    d->type = t.data.anc.fourcc;
    d->dataReferenceIndex = 1;
    d->size = uint32_t(d->getSize());
    t.essence.samplesPerChunk = 1;
    m_sampleSizeMode.push_back(t.data.anc.fixedSampleSize ? 1 : allOnes);
    t.essence.variableSizes = m_sampleSizeMode.back() == allOnes;
    return d;
}

bool FileWriter::onlyNeedFirstEntryAsFixedSampleSize(unsigned track) const
{
    return m_sampleSizeMode.at(track) == 1;
}

bool FileWriter::trackHasVariableLengthSamples(unsigned track) const
{
    return m_sampleSizeMode.at(track) == allOnes;
}

void FileWriter::updateFixedSampleSize(unsigned track, uint32_t size)
{
    Track& t = m_tracks.at(track);
    uint32_t& mode = m_sampleSizeMode.at(track);
    mode = size;
    if (t.essence.sampleSizes.empty())
        t.essence.sampleSizes.push_back(size);
    const Track* video = firstVideo();
    if (t.data.streamType == StreamAudio && video && !t.essence.sampleSizes.empty()) {
        double rate = video->data.video.rateDenominator
                          ? double(video->data.video.rateNumerator) / video->data.video.rateDenominator
                          : 0.0;
        if (is2997(rate))
            mode = 1602 * t.essence.sampleSizes[0];
        else if (near(rate, 59.93, 59.95))
            mode = 801 * t.essence.sampleSizes[0];
    }
}

} // namespace Corvidane::QuickTime
