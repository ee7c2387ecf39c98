#include "frame/CvFileIOFactory.h"

#include <algorithm>
#include <cerrno>

CvFileIOFactoryProvider& CvFileIOFactoryProvider::instance()
{
    static CvFileIOFactoryProvider provider;
    return provider;
}

void CvFileIOFactoryProvider::registerCvFileIOFactory(const CvFileIOFactory* factory)
{
    m_factories.push_back(factory);
}

void CvFileIOFactoryProvider::unregisterCvFileIOFactory(const CvFileIOFactory* factory)
{
    m_factories.erase(std::remove(m_factories.begin(), m_factories.end(), factory), m_factories.end());
}

const CvFileIOFactory* CvFileIOFactoryProvider::getCvFileIOFactory(const std::wstring& path) const
{
    for (const CvFileIOFactory* factory : m_factories)
        if (factory->isSupportedPath(path))
            return factory;
    return nullptr;
}

namespace {
const CvFileIOFactory* factoryFor(const wchar_t* path)
{
    return path ? CvFileIOFactoryProvider::instance().getCvFileIOFactory(path) : nullptr;
}
} // namespace

bool CvFileIOFactoryProvider::isSupportedPath(const std::wstring& path)
{
    return instance().getCvFileIOFactory(path) != nullptr;
}

bool CvFileIOFactoryProvider::exists(const wchar_t* path)
{
    auto factory = factoryFor(path);
    return factory && factory->exists(path);
}

bool CvFileIOFactoryProvider::deleteFile(const wchar_t* path)
{
    auto factory = factoryFor(path);
    return factory && factory->deleteFile(path);
}

Ptr<iDiskDrive> CvFileIOFactoryProvider::openDrive(const wchar_t* path)
{
    auto factory = factoryFor(path);
    return factory ? factory->openDrive(path) : nullptr;
}

uint64_t CvFileIOFactoryProvider::getSize(const wchar_t* path)
{
    auto factory = factoryFor(path);
    return factory ? factory->getSize(path) : 0;
}

Ptr<iFile> CvFileIOFactoryProvider::open(const wchar_t* path, unsigned access, iFile::eOpenBehaviour behaviour,
                                         iFile::eShareMode share, unsigned flags)
{
    auto factory = factoryFor(path);
    if (!factory) {
        errno = ENODEV;
        return nullptr;
    }
    return factory->open(path, access, behaviour, share, flags);
}
