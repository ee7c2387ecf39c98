#pragma once
#include <string>
#include <vector>

#include "quicktime/atoms/QTAtom.h"

// The atoms of keyed metadata in meta: the key table and the value atom.
namespace Corvidane::QuickTime {

// keys: namespaces and names; an item of ilst names its key by index from 1.
class Metadata_keys : public QTHeaderBase1 {
public:
    struct Key {
        uint32_t nameSpace = 0;
        std::string name;
    };
    size_t fromData(const unsigned char* data, size_t length) override;
    std::vector<Key> keys;
};

// data: the value of one metadata item, with its type and locale.
class QTValueAtom : public QTAtom {
public:
    enum ValueType : uint32_t { Utf8 = 1, Utf16 = 2, SignedInteger = 21, UnsignedInteger = 22, Float32 = 23 };
    size_t fromData(const unsigned char* data, size_t length) override;
    uint32_t valueType = 0;
    uint32_t locale = 0;
    std::vector<unsigned char> value;
};

} // namespace Corvidane::QuickTime
