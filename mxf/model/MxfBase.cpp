#include "mxf/model/MxfBase.h"

#include <cwchar>

#include "frame/CvFileIOFactory.h"

namespace Corvidane::MXF {

CvResult CMxf_BaseClass::setFilePointer(uint64_t offset)
{
    if (!file)
        return FileInvalid;
    return file->setPosition(offset) ? OK : CvResultFromLastError();
}

bool CMxf_BaseClass::getFilesize(uint64_t& size) const
{
    if (!file)
        return false;
    size = file->getSize();
    return true;
}

wchar_t* CMxf_BaseClass::GetErrorText(uint32_t code)
{
    auto* text = new wchar_t[32];
    std::swprintf(text, 32, L"Error Code 0x%x", code);
    return text;
}

bool CMxf_BaseClass::klvToFile(const std::wstring& path, const CKlvItem& item)
{
    Ptr<iFile> out = CvFileIOFactoryProvider::open(path.c_str(), iFile::AccessWrite, iFile::CreateAlways,
                                                   iFile::ShareNone, 0);
    if (!out)
        return false;
    return !item.value || item.length == 0 || (item.length <= SIZE_MAX && out->write(item.value, item.length));
}

} // namespace Corvidane::MXF
