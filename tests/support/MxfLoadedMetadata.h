#pragma once
#include <string>
#include <vector>

#include "mxf/model/EssenceContainerData.h"
#include "mxf/model/Package.h"
#include "mxf/model/Preface.h"
#include "support/MxfMetadataFile.h"

// The header metadata read set by set through the set readers, tied the way
// the references say.
struct LoadedMetadata {
    explicit LoadedMetadata(const MxfMetadataFile& file);

    static std::string instanceOf(const Corvidane::MXF::CKlvItem& set, const Corvidane::MXF::CMxf_SM_Primer& primer);

    Corvidane::MXF::CMxf_SM_PrefaceSet preface;
    std::vector<Corvidane::MXF::CMxf_SM_EssenceContainerDataSet> essenceContainerData;
    std::vector<Corvidane::MXF::CMxf_SM_Package> materialPackages, sourcePackages;
    std::vector<std::string> descriptorIds;
};
