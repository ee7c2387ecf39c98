#pragma once
#include <cstdint>

#include "mxf/model/Labels.h"

namespace Corvidane::MXF {

// The kinds of essence an essence container label names.
enum EssenceKind : int32_t {
    EssenceIMX = 0,
    EssenceDV = 1,
    EssenceMPEG2 = 2,
    EssenceUncompressed = 3,
    EssenceAES3 = 4,
    EssenceWave = 5,
    EssenceVC3 = 6,
    EssenceAVC = 7,
    EssenceAncOrVbi = 8,
    EssenceAafPrivate = 9,
    EssenceAvidProxy = 10,
    EssenceProRes = 11,
    EssenceJpeg2000 = 12,
    EssenceAvid = 13,
};

// An essence container label taken apart: the kind of essence, its mapping
// and whether it is frame (1) or clip (2) wrapped; -1 where not known.
class CMxf_GC_EssenceID {
public:
    // An essence container label, or the AAF private label of Avid media; false for other labels.
    bool setFromUL(const MXFUL& ul);
    // Takes the kind, mapping and wrapping from bytes 13 to 15 of a
    // container label; false for a byte 13 that names no kind known here.
    bool setCodec(const MXFUL& ul);
    // The container label for a four character code, at a rate, data rate,
    // wrapping (1 frame, 2 clip) and field polarity (4 progressive); false
    // for a code, or a D-10 data rate, that names none.
    bool setFromFCC(unsigned fcc, int32_t rateNum, int32_t rateDen, unsigned dataRate, int32_t wrap,
                    int32_t polarity);
    // The label of a file package whose tracks are wrapped in one container each.
    void setMultipleDescriptor();

    void SetParams_IMX();
    void SetParams_UNCOMPRESSED();
    void SetParams_AES();

    int32_t mappingSubtype = -1;
    int32_t wrapType = -1;
    MXFUL label;
    int32_t codec = -1;
    int32_t dataKind = 0;
};

} // namespace Corvidane::MXF
