#pragma once
#include "mxf/model/PackageDescriptor.h"
#include "mxf/model/SetID.h"
#include "mxf/model/SetReaders.h"

// Reading the essence descriptors, each walker already on its set's first
// item. A label that is not the class's is looked for in the classes it
// derives from, down to the generic descriptor, and skipped there (False).
// A read that fails leaves `descriptor` as it was; one that succeeds puts a
// copy of the set there with its kind.
namespace Corvidane::MXF {

CvResult Descriptor_Picture(CKlvLocalSet& set, CDescriptor* descriptor, SetReadContext& context);
CvResult Descriptor_Picture_CDCI(CKlvLocalSet& set, CDescriptor* descriptor, SetReadContext& context);
CvResult Descriptor_Picture_RGBA(CKlvLocalSet& set, CDescriptor* descriptor, SetReadContext& context);
CvResult Descriptor_Picture_MPEG2(CKlvLocalSet& set, CDescriptor* descriptor, SetReadContext& context);
// With the context's rule for Sony DV files' repeated channel count.
CvResult Descriptor_Sound(CKlvLocalSet& set, CDescriptor* descriptor, SetReadContext& context);
CvResult Descriptor_Sound_Wave(CKlvLocalSet& set, CDescriptor* descriptor, SetReadContext& context);
CvResult Descriptor_Sound_AES3(CKlvLocalSet& set, CDescriptor* descriptor, SetReadContext& context);
// Sub descriptors of another item size than 16 fail with MxfBadBatch and
// "Descriptor_MultipleSet"; a set that gathers none with MxfNoSubDescriptors.
CvResult Descriptor_MultipleSet(CKlvLocalSet& set, CDescriptor* descriptor, SetReadContext& context);
CvResult Descriptor_AafTape(CKlvLocalSet& set, CDescriptor* descriptor, SetReadContext& context);
CvResult Descriptor_AncData(CKlvLocalSet& set, bool isVbi, CDescriptor* descriptor, SetReadContext& context);

// The reader of the descriptor set a key names; MxfNoDescriptor for a set
// that is none of those read.
CvResult readDescriptor(CKlvLocalSet& set, const CMxf_SM_SetID& id, CDescriptor* descriptor,
                        SetReadContext& context);

} // namespace Corvidane::MXF
