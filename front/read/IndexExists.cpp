#include "front/read/IndexExists.h"

#include <cwctype>

#include "frame/CvFileIOFactory.h"
#include "growing/Indexer.h"

namespace CvWrappers {

bool indexExists(const std::wstring& path)
{
    bool isMxf = path.size() >= 3 && std::towlower(path[path.size() - 3]) == L'm' &&
                 std::towlower(path[path.size() - 2]) == L'x' && std::towlower(path[path.size() - 1]) == L'f';
    for (int track = isMxf ? 1 : 0; track <= (isMxf ? 2 : 1); ++track)
        if (CvFileIOFactoryProvider::exists(Corvidane::ExternalIndexer::getFilename(path, track).c_str()))
            return true;
    return false;
}

} // namespace CvWrappers
