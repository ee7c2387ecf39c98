#pragma once
#include <cstdint>

#include "mxf/model/Labels.h"

// Four character codes of picture essence from the labels and Avid
// resolution identifiers that descriptors carry, and the data rates of those
// resolutions. Codes are 32-bit words with the first letter in the low byte.
namespace Corvidane::MXF {

// By bytes 12 to 14 of a picture coding label 06.0E.2B.34.xx.xx.xx.xx.04.01.02.02
// (MPEG-2 and DV families); 0 for others.
unsigned fccFromEssenceCodingType(const MXFUL& ul);
// 0 for an identifier the table doesn't hold.
unsigned fccFromResolutionId(int32_t id);
// In the units of the data rate fields; `rate` picks the 29.97 and 59.94
// values of the rows that have two. 0 for an identifier the table doesn't hold.
unsigned dataRateFromResolutionId(int32_t id, double rate);
// The picture coding label of Avid's DNxHD files, which no register table names.
const MXFUL& avidDnxhdCoding();
// Frame rates within 29.96 to 29.98 or 59.93 to 59.95.
bool isNtscRate(double rate);

} // namespace Corvidane::MXF
