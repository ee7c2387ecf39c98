#pragma once
#include "mxf/model/Labels.h"

namespace Corvidane::MXF {

// The classifiers of a set by its data definition, for the sets that carry
// one (sequences and their components).
template <class Set>
class DataDefinitionKind {
public:
    bool isPicture() const { return MXF::isPicture(definition()); }
    bool isSound() const { return MXF::isSound(definition()); }
    bool isTimeCode() const { return MXF::isTimeCode(definition()); }
    bool isData() const { return MXF::isData(definition()); }
    bool isDM() const { return MXF::isDM(definition()); }
    bool isEdgeCode() const { return MXF::isEdgeCode(definition()); }
    bool isAAFPicture() const { return MXF::isAAFPicture(definition()); }
    bool isAAFSound() const { return MXF::isAAFSound(definition()); }
    bool isAAFTimeCode() const { return MXF::isAAFTimeCode(definition()); }

private:
    const MXFUL& definition() const { return static_cast<const Set&>(*this).dataDefinition; }
};

} // namespace Corvidane::MXF
