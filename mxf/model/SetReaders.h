#pragma once
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "frame/CvResult.h"
#include "mxf/model/CategorizedComment.h"
#include "mxf/model/EssenceContainerData.h"
#include "mxf/model/KlvLocalSet.h"
#include "mxf/model/Package.h"
#include "mxf/model/Preface.h"
#include "mxf/model/Primer.h"

// Filling the structural sets from their local sets, each walker already on
// its first item. OK is good, False means a label was not the set's (and
// was skipped), anything else a failure with `errorText` saying what; on a
// failure the set given is left as it was.
namespace Corvidane::MXF {

struct SetReadContext {
    explicit SetReadContext(const CMxf_SM_Primer& filePrimer) : primer(filePrimer) {}

    const CMxf_SM_Primer& primer;
    // Version 1.1 files may hold an 8-byte descriptor reference.
    bool shortReferences = false;
    // The length of the essence, for durations written as unknown; none keeps them.
    std::function<int64_t()> lengthFromEssence;
    // Sony DV files repeat a sound descriptor's channel count label for its
    // quantization bits.
    bool repeatedChannelCountIsBits = false;
    std::wstring errorText;
};

// Fills `set` by its description with the context's primer and rules; a
// batch or reference of the wrong shape fails with `badShapeText` when there
// is one, and is left out when there is none.
CvResult fillSet(CMxf_SM_BaseSet& set, const SetDescription& description, CKlvLocalSet& items,
                 SetReadContext& context, const wchar_t* badShapeText = nullptr);
// OK or False: the set read, some of its labels perhaps not the set's.
inline bool succeeded(CvResult result) { return result == OK || result == False; }

// Resets the preface and fills it.
CvResult readPreface(CKlvLocalSet& items, CMxf_SM_PrefaceSet& preface, SetReadContext& context);
// Fills the preface's identification slot that names this set.
CvResult readIdentification(CKlvLocalSet& items, CMxf_SM_PrefaceSet& preface, SetReadContext& context);
// Fills the preface's content storage, which must be the one it names.
CvResult readContentStorage(CKlvLocalSet& items, CMxf_SM_PrefaceSet& preface, SetReadContext& context);
// Appends the set to `list` unless it is there already; the content storage must name it.
CvResult readEssenceContainerData(CKlvLocalSet& items, const CMxf_SM_ContentStorageSet& contentStorage,
                                  std::vector<CMxf_SM_EssenceContainerDataSet>& list, SetReadContext& context);
CvResult readPackage(CKlvLocalSet& items, CMxf_SM_Package& package, SetReadContext& context);
CvResult readTrack(CKlvLocalSet& items, CMxf_SM_Track& track, SetReadContext& context);
CvResult readSequence(CKlvLocalSet& items, CMxf_SM_Sequence& sequence, SetReadContext& context);
CvResult readSourceClip(CKlvLocalSet& items, CMxf_SM_SourceClip& clip, SetReadContext& context);
// A timecode component, held as a clip with timecode detail.
CvResult readTimecodeComponent(CKlvLocalSet& items, CMxf_SM_SourceClip& clip, SetReadContext& context);
CvResult readDMSegment(CKlvLocalSet& items, DMSegment& segment, SetReadContext& context);
// A categorized comment: its name, value and identifier. A label that isn't
// the comment's ends the set with False, keeping what was read before it.
CvResult readCategorizedComment(CKlvLocalSet& items, CategorizedComment& comment, SetReadContext& context);

} // namespace Corvidane::MXF
