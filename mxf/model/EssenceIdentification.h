#pragma once
#include <cstdint>
#include <string>

#include "mxf/model/DescriptorGeneric.h"
#include "mxf/model/EssenceID.h"

namespace Corvidane::MXF {

// What the reader knows of a stream when it names the stream's essence.
struct StreamEssenceFacts {
    const CMxf_SM_DescriptorGeneric* descriptor = nullptr;  // none: the essence isn't named
    // The last partition pack's essence container at the stream's index, if it lists one.
    const MXFUL* partitionContainer = nullptr;
    bool isVideo = false;
    MXFRATIONAL rate;    // the stream's edit rate
    int32_t height = 0;  // the stream's stored height
};

// Names a stream's essence: by the descriptor's container label, else by the
// partition's, else for pictures by the Avid resolution or coding label
// (setting `fcc`), and for sound as clip-wrapped wave. False when nothing
// names it; `errorText` is set, for a failure, only for a picture height at
// which no code has a container label.
bool essenceIDFromDescriptor(const StreamEssenceFacts& facts, CMxf_GC_EssenceID& id, unsigned& fcc,
                             std::wstring& errorText);

} // namespace Corvidane::MXF
