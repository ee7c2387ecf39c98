#include "mxf/model/ItemValue.h"

#include <cstdio>
#include <cstring>

#include "frame/BigEndian.h"
#include "frame/Utf8.h"
#include "mxf/model/IndirectText.h"
#include "mxf/model/MxfText.h"
#include "mxf/model/Umid.h"

namespace Corvidane::MXF {

namespace {

// The wire size of the fixed-size types; 0 for the others.
uint64_t fixedSize(ItemType type)
{
    switch (type) {
    case ItemType::UInt8:
    case ItemType::Int8:
    case ItemType::Boolean:
        return 1;
    case ItemType::UInt16:
        return 2;
    case ItemType::UInt32:
    case ItemType::Int32:
        return 4;
    case ItemType::Int64:
    case ItemType::Rational:
    case ItemType::Timestamp:
        return 8;
    case ItemType::ProductVersion:
        return 10;
    case ItemType::Label:
    case ItemType::Uuid:
    case ItemType::Reference:
        return 16;
    case ItemType::Umid:
        return 32;
    default:
        return 0;
    }
}

void writeGUID(unsigned char* p, const GUID& guid)
{
    writeBE32(p, guid.Data1);
    writeBE16(p + 4, guid.Data2);
    writeBE16(p + 6, guid.Data3);
    std::memcpy(p + 8, guid.Data4, 8);
}

// A batch: count and item size, then the items that the bytes hold whole;
// a count beyond them is cut, so nothing is sized by the count alone.
template <class Item, class Read>
DecodeStatus decodeBatch(const ItemBytes& bytes, uint64_t itemSize, bool anyItemSize, Read read,
                         std::vector<Item>& items)
{
    if (bytes.length < 8)
        return DecodeStatus::BadShape;
    const uint64_t count = readBE32(bytes.data);
    const uint64_t size = readBE32(bytes.data + 4);
    if (count == 0)
        return DecodeStatus::Ok;
    if (size != itemSize && !anyItemSize)
        return DecodeStatus::BadShape;
    // Items stand at the batch's own item size; each is read at the type's size.
    const uint64_t stride = size > itemSize ? size : itemSize;
    const uint64_t room = bytes.length - 8 < itemSize ? 0 : (bytes.length - 8 - itemSize) / stride + 1;
    for (uint64_t i = 0; i < count && i < room; ++i)
        items.push_back(read(bytes.data + 8 + i * stride));
    return DecodeStatus::Ok;
}

template <class Item, class Write>
std::vector<unsigned char> encodeBatch(const std::vector<Item>& items, uint64_t itemSize, Write write)
{
    // An empty batch is eight zero bytes: no items, and no item size either.
    std::vector<unsigned char> out(8 + items.size() * itemSize);
    if (items.empty())
        return out;
    writeBE32(out.data(), static_cast<uint32_t>(items.size()));
    writeBE32(out.data() + 4, static_cast<uint32_t>(itemSize));
    for (size_t i = 0; i < items.size(); ++i)
        write(out.data() + 8 + i * itemSize, items[i]);
    return out;
}

std::string hexBytes(const unsigned char* p, uint64_t n, const char* separator)
{
    std::string text;
    char byte[4];
    for (uint64_t i = 0; i < n; ++i) {
        std::snprintf(byte, sizeof byte, "%02x", p[i]);
        if (i)
            text += separator;
        text += byte;
    }
    return text;
}

std::string utf8Of(const std::wstring& text)
{
    std::string out;
    for (wchar_t c : text)
        if (c >= 0xD800 && c <= 0xDFFF) {
            out += "\xEF\xBF\xBD";  // a lone surrogate unit shows as U+FFFD
        } else {
            std::string one;
            toUtf8(std::wstring(1, c), one);
            out += one;
        }
    return out;
}

} // namespace

DecodeStatus decodeItem(ItemType type, const ItemBytes& bytes, const DecodeRules& rules, ItemValue& out)
{
    const unsigned char* p = bytes.data;
    const uint64_t need = fixedSize(type);
    if (need) {
        const bool shortReference = type == ItemType::Reference && rules.shortReferences && bytes.length == 8;
        if (!p || (bytes.length < need && !shortReference))
            return DecodeStatus::BadShape;
        if (type == ItemType::Umid && bytes.length != need)
            return DecodeStatus::BadShape;
        if (type == ItemType::Reference && bytes.length != need && !shortReference)
            return DecodeStatus::BadShape;
        if (shortReference) {
            // An 8-byte reference is taken 16 bytes wide, from the bytes of the set behind it.
            unsigned char wide[16] = {};
            std::memcpy(wide, p, bytes.remaining < 16 ? bytes.remaining : 16);
            out = readGUID(wide);
            return DecodeStatus::Ok;
        }
    }
    switch (type) {
    case ItemType::UInt8:
    case ItemType::Boolean:
        out = uint64_t(p[0]);
        break;
    case ItemType::Int8:
        out = int64_t(static_cast<int8_t>(p[0]));
        break;
    case ItemType::UInt16:
        out = uint64_t(readBE16(p));
        break;
    case ItemType::UInt32:
        out = uint64_t(readBE32(p));
        break;
    case ItemType::Int32:
        out = int64_t(static_cast<int32_t>(readBE32(p)));
        break;
    case ItemType::Int64:
        out = static_cast<int64_t>(readBE64(p));
        break;
    case ItemType::Rational:
        out = readRational(p);
        break;
    case ItemType::Timestamp:
        out = readTimestamp(p);
        break;
    case ItemType::Label:
        out = MXFUL::fromData(p);
        break;
    case ItemType::Uuid:
    case ItemType::Reference:
        out = readGUID(p);
        break;
    case ItemType::Umid: {
        UMID umid;
        std::memcpy(umid.bytes, p, 32);
        out = umid;
        break;
    }
    case ItemType::ProductVersion: {
        ProductVersionValue version;
        for (size_t i = 0; i < version.size(); ++i)
            version[i] = readBE16(p + 2 * i);
        out = version;
        break;
    }
    case ItemType::Utf16:
        out = StringFromUTF16(p, bytes.length);
        break;
    case ItemType::LabelBatch: {
        std::vector<MXFUL> labels;
        DecodeStatus status = decodeBatch(bytes, 16, rules.anyBatchItemSize, MXFUL::fromData, labels);
        out = std::move(labels);
        return status;
    }
    case ItemType::ReferenceBatch: {
        std::vector<GUID> references;
        DecodeStatus status = decodeBatch(bytes, 16, rules.anyBatchItemSize, readGUID, references);
        out = std::move(references);
        return status;
    }
    case ItemType::UInt32Batch: {
        std::vector<uint32_t> numbers;
        DecodeStatus status = decodeBatch(bytes, 4, rules.anyBatchItemSize, readBE32, numbers);
        out = std::move(numbers);
        return status;
    }
    case ItemType::Bytes:
        out = std::vector<unsigned char>(p, p ? p + bytes.length : p);
        break;
    case ItemType::Iso7Text: {
        std::wstring text;
        for (uint64_t i = 0; p && i < bytes.length && p[i]; ++i)
            text += wchar_t(p[i]);
        out = std::move(text);
        break;
    }
    case ItemType::Utf8Text:
        try {
            out = StringFromUTF8String(p, bytes.length);
        } catch (const std::exception&) {
            return DecodeStatus::BadShape;
        }
        break;
    case ItemType::IndirectText:
        out = indirectTextFromData(p, bytes.length);
        break;
    }
    return DecodeStatus::Ok;
}

std::vector<unsigned char> encodeItem(ItemType type, const ItemValue& value)
{
    std::vector<unsigned char> out(fixedSize(type));
    unsigned char* p = out.data();
    const uint64_t* number = std::get_if<uint64_t>(&value);
    const int64_t* signedNumber = std::get_if<int64_t>(&value);
    switch (type) {
    case ItemType::UInt8:
    case ItemType::Boolean:
        if (!number)
            return {};
        p[0] = static_cast<unsigned char>(*number);
        return out;
    case ItemType::Int8:
        if (!signedNumber)
            return {};
        p[0] = static_cast<unsigned char>(*signedNumber);
        return out;
    case ItemType::UInt16:
        if (!number)
            return {};
        writeBE16(p, static_cast<uint16_t>(*number));
        return out;
    case ItemType::UInt32:
        if (!number)
            return {};
        writeBE32(p, static_cast<uint32_t>(*number));
        return out;
    case ItemType::Int32:
        if (!signedNumber)
            return {};
        writeBE32(p, static_cast<uint32_t>(*signedNumber));
        return out;
    case ItemType::Int64:
        if (!signedNumber)
            return {};
        writeBE64(p, static_cast<uint64_t>(*signedNumber));
        return out;
    case ItemType::Rational:
        if (auto* r = std::get_if<MXFRATIONAL>(&value)) {
            writeBE32(p, static_cast<uint32_t>(r->numerator));
            writeBE32(p + 4, static_cast<uint32_t>(r->denominator));
            return out;
        }
        return {};
    case ItemType::Timestamp:
        if (auto* t = std::get_if<MXFTIMESTAMP>(&value)) {
            writeBE16(p, t->year);
            const unsigned char rest[6] = {t->month, t->day, t->hour, t->minute, t->second, t->quarterMilliseconds};
            std::memcpy(p + 2, rest, 6);
            return out;
        }
        return {};
    case ItemType::Label:
        if (auto* ul = std::get_if<MXFUL>(&value)) {
            std::memcpy(p, ul->bytes, 16);
            return out;
        }
        return {};
    case ItemType::Uuid:
    case ItemType::Reference:
        if (auto* guid = std::get_if<GUID>(&value)) {
            writeGUID(p, *guid);
            return out;
        }
        return {};
    case ItemType::Umid:
        if (auto* umid = std::get_if<UMID>(&value)) {
            std::memcpy(p, umid->bytes, 32);
            return out;
        }
        return {};
    case ItemType::ProductVersion:
        if (auto* version = std::get_if<ProductVersionValue>(&value)) {
            for (size_t i = 0; i < version->size(); ++i)
                writeBE16(p + 2 * i, (*version)[i]);
            return out;
        }
        return {};
    case ItemType::Utf16:
        if (auto* text = std::get_if<std::wstring>(&value)) {
            // UTF-16 big-endian with a terminating zero unit, as this system writes text.
            for (wchar_t c : *text) {
                out.push_back(static_cast<unsigned char>((uint32_t(c) >> 8) & 0xFF));
                out.push_back(static_cast<unsigned char>(uint32_t(c) & 0xFF));
            }
            out.push_back(0);
            out.push_back(0);
            return out;
        }
        return {};
    case ItemType::LabelBatch:
        if (auto* labels = std::get_if<std::vector<MXFUL>>(&value))
            return encodeBatch(*labels, 16, [](unsigned char* at, const MXFUL& ul) { std::memcpy(at, ul.bytes, 16); });
        return {};
    case ItemType::ReferenceBatch:
        if (auto* references = std::get_if<std::vector<GUID>>(&value))
            return encodeBatch(*references, 16, writeGUID);
        return {};
    case ItemType::UInt32Batch:
        if (auto* numbers = std::get_if<std::vector<uint32_t>>(&value))
            return encodeBatch(*numbers, 4, [](unsigned char* at, uint32_t n) { writeBE32(at, n); });
        return {};
    case ItemType::Bytes:
        if (auto* bytes = std::get_if<std::vector<unsigned char>>(&value))
            return *bytes;
        return {};
    case ItemType::Iso7Text:
        if (auto* text = std::get_if<std::wstring>(&value)) {
            for (wchar_t c : *text)
                out.push_back(static_cast<unsigned char>(c & 0x7F));
            return out;
        }
        return {};
    case ItemType::Utf8Text:
        if (auto* text = std::get_if<std::wstring>(&value)) {
            std::string utf8;
            if (!toUtf8(*text, utf8))
                return {};
            return std::vector<unsigned char>(utf8.begin(), utf8.end());
        }
        return {};
    case ItemType::IndirectText:
        if (auto* text = std::get_if<std::wstring>(&value))
            return indirectTextToData(*text);
        return {};
    }
    return {};
}

std::string wireUuidText(const GUID& guid)
{
    unsigned char wire[16];
    writeGUID(wire, guid);
    const std::string hex = hexBytes(wire, 16, "");
    return hex.substr(0, 8) + "-" + hex.substr(8, 4) + "-" + hex.substr(12, 4) + "-" + hex.substr(16, 4) + "-" +
           hex.substr(20);
}

std::string describeItem(ItemType type, const ItemBytes& bytes)
{
    ItemValue value;
    if (decodeItem(type, bytes, DecodeRules{true, false}, value) != DecodeStatus::Ok)
        return "(" + std::to_string(bytes.length) + " bytes) " + hexBytes(bytes.data, bytes.length, " ");
    char text[64];
    switch (type) {
    case ItemType::UInt8:
    case ItemType::UInt16:
    case ItemType::UInt32:
        return std::to_string(std::get<uint64_t>(value));
    case ItemType::Boolean:
        return std::get<uint64_t>(value) ? "true" : "false";
    case ItemType::Int8:
    case ItemType::Int32:
    case ItemType::Int64:
        return std::to_string(std::get<int64_t>(value));
    case ItemType::Rational: {
        const MXFRATIONAL& r = std::get<MXFRATIONAL>(value);
        return std::to_string(r.numerator) + "/" + std::to_string(r.denominator);
    }
    case ItemType::Timestamp: {
        const MXFTIMESTAMP& t = std::get<MXFTIMESTAMP>(value);
        std::snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u:%02u.%03u", t.year, t.month, t.day, t.hour,
                      t.minute, t.second, unsigned(t.quarterMilliseconds) * 4);
        return text;
    }
    case ItemType::Label:
        return hexBytes(bytes.data, 16, ".");
    case ItemType::Uuid:
    case ItemType::Reference:
        return wireUuidText(std::get<GUID>(value));
    case ItemType::Umid:
        return UMIDToString(&std::get<UMID>(value));
    case ItemType::Utf16:
    case ItemType::Iso7Text:
    case ItemType::Utf8Text:
    case ItemType::IndirectText:
        return utf8Of(std::get<std::wstring>(value));
    case ItemType::ProductVersion: {
        const ProductVersionValue& v = std::get<ProductVersionValue>(value);
        std::snprintf(text, sizeof text, "%u.%u.%u.%u.%u", v[0], v[1], v[2], v[3], v[4]);
        return text;
    }
    case ItemType::LabelBatch: {
        std::string list;
        for (const MXFUL& ul : std::get<std::vector<MXFUL>>(value))
            list += (list.empty() ? "" : ", ") + hexBytes(ul.bytes, 16, ".");
        return "[" + list + "]";
    }
    case ItemType::ReferenceBatch: {
        std::string list;
        for (const GUID& guid : std::get<std::vector<GUID>>(value))
            list += (list.empty() ? "" : ", ") + wireUuidText(guid);
        return "[" + list + "]";
    }
    case ItemType::UInt32Batch: {
        std::string list;
        for (uint32_t n : std::get<std::vector<uint32_t>>(value))
            list += (list.empty() ? "" : ", ") + std::to_string(n);
        return "[" + list + "]";
    }
    case ItemType::Bytes:
        return hexBytes(bytes.data, bytes.length, " ");
    }
    return std::string();
}

const char* itemTypeName(ItemType type)
{
    static const char* const names[] = {"UInt8",     "UInt16", "UInt32",    "Int8",     "Int32",      "Int64",
                                        "Boolean",   "Rational", "Timestamp", "UL",           "UUID",
                                        "StrongRef", "UMID",   "UTF16String", "ProductVersion", "ULBatch",
                                        "StrongRefBatch", "UInt32Batch", "Bytes", "ISO7String",
                                        "UTF8String", "Indirect"};
    return names[static_cast<int>(type)];
}

} // namespace Corvidane::MXF
