#pragma once
#include <array>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "frame/Guid.h"
#include "mxf/model/Labels.h"

// The value of one local-set item, between its wire form and the members of
// the sets: decoded, encoded and shown by its type alone.
namespace Corvidane::MXF {

enum class ItemType {
    UInt8,
    UInt16,
    UInt32,
    Int8,
    Int32,
    Int64,
    Boolean,
    Rational,
    Timestamp,
    Label,
    Uuid,
    Reference,       // the instance identifier of another set
    Umid,
    Utf16,
    ProductVersion,  // five 16-bit numbers
    LabelBatch,
    ReferenceBatch,  // instance identifiers of other sets
    UInt32Batch,
    Bytes,
    Iso7Text,      // 7-bit ISO text, one character a byte
    Utf8Text,      // UTF-8 text, read with the halving of StringFromUTF8String
    IndirectText,  // an Avid comment value: UTF-16 behind a string header, or UTF-16 little-endian
};

using ProductVersionValue = std::array<uint16_t, 5>;
using ItemValue = std::variant<std::monostate, uint64_t, int64_t, MXFRATIONAL, MXFTIMESTAMP, MXFUL, GUID, UMID,
                               std::wstring, ProductVersionValue, std::vector<MXFUL>, std::vector<GUID>,
                               std::vector<uint32_t>, std::vector<unsigned char>>;

// An item's bytes: its own length, and how many bytes of the set lie from
// its start on, which is all that may be read.
struct ItemBytes {
    const unsigned char* data = nullptr;
    uint64_t length = 0;
    uint64_t remaining = 0;
};

enum class DecodeStatus {
    Ok,
    BadShape,  // too short for the type, or a batch whose item size isn't the type's
};

// A batch whose item size the reader doesn't test, and a reference that may
// be 8 bytes long (version 1.1 files): the tolerances some sets allow.
struct DecodeRules {
    bool anyBatchItemSize = false;
    bool shortReferences = false;
    // A label the set doesn't know ends the set (comment sets) rather than being skipped.
    bool endAtUnknownLabel = false;
};

DecodeStatus decodeItem(ItemType type, const ItemBytes& bytes, const DecodeRules& rules, ItemValue& out);
// The wire form of a value, big-endian; empty for a value of another type.
std::vector<unsigned char> encodeItem(ItemType type, const ItemValue& value);
// The value for people: numbers in decimal, labels dotted, identifiers in
// 8-4-4-4-12 hex as they stand on the wire, text as UTF-8.
std::string describeItem(ItemType type, const ItemBytes& bytes);
const char* itemTypeName(ItemType type);

// The 16 bytes of an identifier as they stand on the wire, in 8-4-4-4-12 hex.
std::string wireUuidText(const GUID& guid);

} // namespace Corvidane::MXF
