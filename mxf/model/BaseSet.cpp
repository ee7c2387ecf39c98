#include "mxf/model/BaseSet.h"

#include <string>

#include "frame/StringException.h"

namespace Corvidane::MXF {

void throwSelfAssignment(const char* className)
{
    throw string_exception(std::string("self assignment in ") + className + "::assign");
}

void CMxf_SM_BaseSet::assign(const CMxf_SM_BaseSet& other)
{
    if (&other == this)
        throwSelfAssignment("CMxf_SM_BaseSet");
    instanceUUID = other.instanceUUID;
    generationUUID = other.generationUUID;
}

const SetDescription& CMxf_SM_BaseSet::description()
{
    static const SetDescription items("InterchangeObject", nullptr,
        {
            memberItem(0x3C0A, "01.01.01.15.02.00.00.00.00", "InstanceUID", ItemType::Uuid,
                       &CMxf_SM_BaseSet::instanceUUID),
            memberItem(0x0102, "02.05.20.07.01.08.00.00.00", "GenerationUID", ItemType::Uuid,
                       &CMxf_SM_BaseSet::generationUUID),
        });
    return items;
}

void CMxfLocator::assign(const CMxfLocator& other)
{
    if (&other == this)
        throwSelfAssignment("CMxfLocator");
    CMxf_SM_BaseSet::assign(other);
}

} // namespace Corvidane::MXF
