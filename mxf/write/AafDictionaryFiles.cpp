#include "mxf/write/AafDictionaryFiles.h"

#include "frame/DiskFileWriter.h"
#include "mxf/model/AafDefinitions.h"

namespace Corvidane::MXF {

namespace {

// Fixed identifiers, so that every installation writes the same files.
GUID fixedIdentifier(uint32_t number)
{
    return GUID{0x5C0DA0A0u + number, 0x4C1D, 0x11EF, {0x9A, 0x2B, 0x43, 0x6F, 0x72, 0x76, 0x69, 0x64}};
}

struct DataKind {
    const char* label;  // the register's data definition (SMPTE RP 224)
    const wchar_t* name;
};

const DataKind dataKinds[] = {
    {"06.0E.2B.34.04.01.01.01.01.03.02.02.01.00.00.00", L"Picture"},
    {"06.0E.2B.34.04.01.01.01.01.03.02.02.02.00.00.00", L"Sound"},
    {"06.0E.2B.34.04.01.01.01.01.03.02.01.01.00.00.00", L"Timecode"},
    {"06.0E.2B.34.04.01.01.01.01.03.02.02.03.00.00.00", L"Data"},
};

void append(std::vector<unsigned char>& out, const SetDescription& description, const CMxf_SM_BaseSet& set,
            const MXFUL& key, std::initializer_list<uint16_t> tags, int berSize)
{
    const size_t at = out.size();
    out.resize(at + 4096);
    const int64_t written = description.write(set, key, description.itemsForTags(tags), out.data() + at, 4096, berSize);
    out.resize(at + size_t(written > 0 ? written : 0));
}

std::vector<unsigned char> metadataDictionary()
{
    CMxf_AafMetaDictionary meta;
    meta.instanceUUID = fixedIdentifier(0);
    std::vector<unsigned char> out;
    append(out, CMxf_AafMetaDictionary::description(), meta, CMxf_AafMetaDictionary::key(), {0x3C0A}, 9);
    return out;
}

std::vector<unsigned char> prefaceDictionary()
{
    CMxf_AafDictionary dictionary;
    dictionary.instanceUUID = fixedIdentifier(1);
    for (uint32_t i = 0; i < std::size(dataKinds); ++i)
        dictionary.dataDefinitions.push_back(fixedIdentifier(16 + i));
    std::vector<unsigned char> out;
    append(out, CMxf_AafDictionary::description(), dictionary, CMxf_AafDictionary::key(), {0x3C0A, 0x2605}, 9);
    return out;
}

std::vector<unsigned char> objectDictionary()
{
    std::vector<unsigned char> out;
    for (uint32_t i = 0; i < std::size(dataKinds); ++i) {
        CMxf_AafDefinition definition;
        definition.instanceUUID = fixedIdentifier(16 + i);
        definition.identification = labelFromText(dataKinds[i].label);
        definition.name = dataKinds[i].name;
        append(out, CMxf_AafDefinition::description(), definition, CMxf_AafDefinition::dataDefinitionKey(),
               {0x3C0A, 0x1B01, 0x1B02}, 0);
    }
    return out;
}

} // namespace

const std::vector<std::wstring>& aafDictionaryFileNames()
{
    static const std::vector<std::wstring> names = {
        L"corvidane_metadata_dictionary.bin",           L"corvidane_preface_dictionary.bin",
        L"corvidane_aaf_object_dictionary.bin",         L"corvidane_avid_proxy_metadata_dictionary.bin",
        L"corvidane_avid_proxy_preface_dictionary.bin", L"corvidane_avid_proxy_aaf_object_dictionary.bin",
    };
    return names;
}

bool writeAafDictionaryFiles(const std::wstring& folder, std::wstring& error)
{
    const std::vector<unsigned char> contents[3] = {metadataDictionary(), prefaceDictionary(), objectDictionary()};
    const std::vector<std::wstring>& names = aafDictionaryFileNames();
    for (size_t i = 0; i < names.size(); ++i) {
        const std::vector<unsigned char>& bytes = contents[i % 3];
        Vex::CFileWriter file;
        unsigned written = 0;
        const std::wstring path = folder + names[i];
        if (bytes.empty() ||
            !isSuccess(file.internalCreate(path, iFile::CreateAlways, iFile::Buffered)) ||
            !isSuccess(file.write(bytes.data(), unsigned(bytes.size()), written)) || written != bytes.size()) {
            error = L"Failed to write dictionary file '" + path + L"'";
            return false;
        }
    }
    return true;
}

} // namespace Corvidane::MXF
