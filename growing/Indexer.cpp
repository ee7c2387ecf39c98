#include "growing/Indexer.h"

#include "growing/BinaryIndexer.h"

namespace Corvidane::ExternalIndexer {

std::wstring getFilename(const std::wstring& path, const int& track)
{
    std::wstring name = path;
    if (static_cast<unsigned>(track) < 0xFFFFFFFFu)
        name += L"." + std::to_wstring(static_cast<unsigned>(track));
    return name + L".cvindex";
}

std::shared_ptr<Indexer> createIndexer(const IndexerType& type)
{
    switch (type) {
    case NullIndexerType: return std::make_shared<NullIndexer>();
    case BinaryIndexerType: return std::make_shared<BinaryIndexer>();
    default: return nullptr;
    }
}

} // namespace Corvidane::ExternalIndexer
