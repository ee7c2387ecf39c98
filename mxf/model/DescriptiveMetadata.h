#pragma once
#include <map>
#include <string>
#include <vector>

#include "frame/CvResult.h"
#include "mxf/model/CategorizedComment.h"
#include "mxf/model/DescriptiveSet.h"
#include "mxf/model/KlvItem.h"
#include "mxf/model/Primer.h"

// What the reader answers from descriptive metadata: the few values of
// DMS-1 sets, text-based sets and categorized comments that the editor
// shows, in the reader's metadata map.
namespace Corvidane::MXF {

// The reader's metadata: key word to value.
using MetadataMap = std::map<std::string, std::wstring>;

// The keys descriptive metadata fills.
namespace MetadataKey {
constexpr const char take[] = "take";
constexpr const char scene[] = "scene";
constexpr const char comment[] = "comment";
constexpr const char project[] = "project";
constexpr const char clipName[] = "clip_name";
constexpr const char sourceReel[] = "source_reel";
constexpr const char textBasedData[] = "text_based_dm_data";
} // namespace MetadataKey

// Fills `set` by its description from the descriptive set `item`. OK, or
// False when a property was unknown or refused (the rest is still read); a
// tag missing from the primer gives MxfTagNotInPrimer, and what was read up
// to it stays in `set`.
CvResult dmsSetExtractData(const CKlvItem& item, SetBase& set, const SetDescription& description,
                           const CMxf_SM_Primer& primer);

// A DMS-1 set: false when the key names no set the DMS-1 table lists, and
// the caller tries the text-based sets. A clip framework gives "take" and a
// project set "project", each unless the map holds it already.
bool dms1ProcessSet(const CKlvItem& item, const CMxf_SM_Primer& primer, MetadataMap& metadata);
// A text-based set: false when the key names none the table lists. A UTF-8
// text-based set's text replaces "text_based_dm_data".
bool textBasedDmsProcessSet(const CKlvItem& item, const CMxf_SM_Primer& primer, MetadataMap& metadata);

// The comments by lower-cased name: "_pj" gives "project", "take" "take",
// "scene" "scene", "tapeid" "source_reel", "comments" "comment", "clipname"
// "clip_name"; each replaces what the map holds.
void commentsToMetadata(const std::vector<CategorizedComment>& comments, MetadataMap& metadata);

// The first comment of exactly that name, copied to `out`; false when none.
bool findCommentWithName(const std::vector<CategorizedComment>& comments, const std::wstring& name,
                         CategorizedComment& out);

// The value under `key`; Fail when the map holds none.
CvResult getDMMetadataValue(const MetadataMap& metadata, const char* key, std::wstring& out);

} // namespace Corvidane::MXF
