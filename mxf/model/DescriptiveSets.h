#pragma once
#include "mxf/model/DescriptiveSet.h"

// The descriptive sets the reader takes values from: DMS-1 frameworks and the
// sets they gather, and the text-based sets. Each class adds its properties
// after its parent's; the local tags are this system's own dynamic tags.
namespace Corvidane::MXF {

class DMTextLanguage : public SetBase {
public:
    static const SetDescription& description();
};

class DMThesaurus : public DMTextLanguage {
public:
    static const SetDescription& description();
};

class DMClipFrameWork : public DMThesaurus {
public:
    static const SetDescription& description();
};

class DMParticipantSet : public DMThesaurus {
public:
    static const SetDescription& description();
};

class DMPersonSet : public DMThesaurus {
public:
    static const SetDescription& description();
};

class DMProjectSet : public SetBase {
public:
    static const SetDescription& description();
};

class DMContactsListSet : public SetBase {
public:
    static const SetDescription& description();
};

class TBDMTextBasedFrameWork : public DMThesaurus {
public:
    static const SetDescription& description();
};

class TBDMUTF8TextBased : public DMThesaurus {
public:
    static const SetDescription& description();
};

} // namespace Corvidane::MXF
