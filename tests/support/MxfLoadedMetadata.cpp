#include "support/MxfLoadedMetadata.h"

#include <gtest/gtest.h>

#include <map>

#include "mxf/model/ItemValue.h"
#include "mxf/model/MxfText.h"
#include "mxf/model/SetID.h"
#include "mxf/model/SetReaders.h"

using namespace Corvidane;
using namespace Corvidane::MXF;

LoadedMetadata::LoadedMetadata(const MxfMetadataFile& file)
{
    SetReadContext context(file.primer);
    std::map<std::string, CMxf_SM_Track> tracks;
    std::map<std::string, CMxf_SM_Sequence> sequences;
    std::map<std::string, CMxf_SM_SourceClip> clips;
    for (const MxfMetadataFile::Set& set : file.sets) {
        CKlvLocalSet items(set.item);
        CvResult result = OK;
        switch (CMxf_SM_SetID(set.item.key).get()) {
        case 0:
            result = readPreface(items, preface, context);
            break;
        case 1:
            result = readIdentification(items, preface, context);
            break;
        case 2:
            result = readContentStorage(items, preface, context);
            break;
        case 3:
            result = readEssenceContainerData(items, preface.contentStorage, essenceContainerData, context);
            break;
        case 4:
        case 5: {
            CMxf_SM_Package package;
            result = readPackage(items, package, context);
            (CMxf_SM_SetID(set.item.key).get() == 4 ? materialPackages : sourcePackages).push_back(package);
            break;
        }
        case 6: {
            CMxf_SM_Track track;
            result = readTrack(items, track, context);
            tracks[wireUuidText(track.sequence.instanceUUID)] = track;
            break;
        }
        case 9: {
            CMxf_SM_Sequence sequence;
            result = readSequence(items, sequence, context);
            sequences[wireUuidText(sequence.instanceUUID)] = sequence;
            break;
        }
        case 10:
        case 11: {
            CMxf_SM_SourceClip clip;
            result = CMxf_SM_SetID(set.item.key).get() == 10 ? readSourceClip(items, clip, context)
                                                               : readTimecodeComponent(items, clip, context);
            clips[wireUuidText(clip.instanceUUID)] = clip;
            break;
        }
        default:
            descriptorIds.push_back(instanceOf(set.item, file.primer));
            break;
        }
        EXPECT_EQ(result, OK) << "set at " << set.offset << ": " << std::string(context.errorText.begin(),
                                                                                    context.errorText.end());
    }
    for (std::vector<CMxf_SM_Package>* packages : {&materialPackages, &sourcePackages})
        for (CMxf_SM_Package& package : *packages)
            for (CMxf_SM_Track& slot : package.tracks) {
                for (auto& [sequenceId, track] : tracks)
                    if (track.instanceUUID == slot.instanceUUID)
                        slot = track;
                slot.sequence = sequences[wireUuidText(slot.sequence.instanceUUID)];
                for (CMxf_SM_SourceClip& clip : slot.sequence.sourceClips)
                    clip = clips[wireUuidText(clip.instanceUUID)];
            }
}

std::string LoadedMetadata::instanceOf(const CKlvItem& set, const CMxf_SM_Primer& primer)
{
    CMxf_SM_BaseSet base;
    CKlvLocalSet items(set);
    std::wstring text;
    CMxf_SM_BaseSet::description().fill(base, items, primer, DecodeRules{}, nullptr, text);
    return wireUuidText(base.instanceUUID);
}
