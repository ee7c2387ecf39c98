#pragma once
#include "frame/CvResult.h"

// Results of the MXF reader and writer beside the common ones, each raised
// with its own message.
namespace Corvidane::MXF {

constexpr CvResult MxfNoLabel = static_cast<CvResult>(0x80048001u);
constexpr CvResult MxfBadKlv = static_cast<CvResult>(0x80048002u);
constexpr CvResult MxfNoPrimer = static_cast<CvResult>(0x80048003u);
constexpr CvResult MxfEmptyPrimer = static_cast<CvResult>(0x80048004u);
constexpr CvResult MxfTagNotInPrimer = static_cast<CvResult>(0x80048006u);
constexpr CvResult MxfNoEssenceContainerData = static_cast<CvResult>(0x80048007u);
constexpr CvResult MxfNoContentStorage = static_cast<CvResult>(0x80048008u);
constexpr CvResult MxfNoIdentification = static_cast<CvResult>(0x80048009u);
constexpr CvResult MxfStreamOutOfRange = static_cast<CvResult>(0x8004800Au);
constexpr CvResult MxfNoTrack = static_cast<CvResult>(0x8004800Bu);
constexpr CvResult MxfNoSourceClip = static_cast<CvResult>(0x8004800Du);
constexpr CvResult MxfNoIndexTable = static_cast<CvResult>(0x8004800Eu);
constexpr CvResult MxfNoPartitionAdded = static_cast<CvResult>(0x8004800Fu);
constexpr CvResult MxfNoHeaderPartition = static_cast<CvResult>(0x80048010u);
constexpr CvResult MxfNoFooter = static_cast<CvResult>(0x80048011u);
constexpr CvResult MxfBadFooter = static_cast<CvResult>(0x80048013u);
constexpr CvResult MxfNoDescriptor = static_cast<CvResult>(0x80048014u);
constexpr CvResult MxfTrackWithoutDescriptor = static_cast<CvResult>(0x80048015u);
constexpr CvResult MxfBadBatch = static_cast<CvResult>(0x80048016u);
constexpr CvResult MxfBadIndexPosition = static_cast<CvResult>(0x80048018u);
// The same code, raised by a multiple descriptor that gathers no descriptor.
constexpr CvResult MxfNoSubDescriptors = static_cast<CvResult>(0x80048018u);
constexpr CvResult MxfNoIndexSegment = static_cast<CvResult>(0x80048019u);

} // namespace Corvidane::MXF
