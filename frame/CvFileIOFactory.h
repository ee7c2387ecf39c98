#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "host/iFile.h"

// Something that can open the files of some paths. The plug-in's driver is the
// one factory in production; tests register their own.
class CvFileIOFactory {
public:
    virtual ~CvFileIOFactory() = default;
    virtual bool isSupportedPath(const std::wstring& path) const = 0;
    virtual Ptr<iFile> open(const wchar_t* path, unsigned access, iFile::eOpenBehaviour behaviour,
                            iFile::eShareMode share, unsigned flags) const = 0;
    virtual bool exists(const wchar_t* path) const = 0;
    virtual bool deleteFile(const wchar_t* path) const = 0;
    virtual Ptr<iDiskDrive> openDrive(const wchar_t* path) const = 0;
    virtual uint64_t getSize(const wchar_t* path) const = 0;
};

// Finds the factory for a path: the first registered one that takes it. The
// list is written while the plug-in loads and only read afterwards.
class CvFileIOFactoryProvider {
public:
    static CvFileIOFactoryProvider& instance();

    void registerCvFileIOFactory(const CvFileIOFactory* factory);
    void unregisterCvFileIOFactory(const CvFileIOFactory* factory);
    const CvFileIOFactory* getCvFileIOFactory(const std::wstring& path) const;

    static bool isSupportedPath(const std::wstring& path);
    static bool exists(const wchar_t* path);
    static bool deleteFile(const wchar_t* path);
    static Ptr<iDiskDrive> openDrive(const wchar_t* path);
    static uint64_t getSize(const wchar_t* path);
    static Ptr<iFile> open(const wchar_t* path, unsigned access, iFile::eOpenBehaviour behaviour,
                           iFile::eShareMode share, unsigned flags);

private:
    CvFileIOFactoryProvider() = default;
    std::vector<const CvFileIOFactory*> m_factories;
};
