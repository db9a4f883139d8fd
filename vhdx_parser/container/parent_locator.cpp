#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <vhdx_parser/accessor.h>

#include "vhdx_parser/container/format.h"
#include "vhdx_parser/container/identifiers.h"
#include "vhdx_parser/foundation/positioned_transfer.h"
#include "vhdx_parser/foundation/trace.h"

namespace NVHDX {

using CParent = NMetadata::CParent;
using NFormat::CKnownKey;
using NFormat::VHDX_PARENT_LOCATOR_ENTRY;

namespace {

constexpr const char* Tag = "PARENT_METADATA ";

bool Fail(const char* text) {
    NDebugTrace::Trace(NDebugTrace::levelFailure, Tag, text);
    return false;
}

/// Reads the keys and values of one locator, relative to the start of its item.
class CLocatorReader {
public:
    CLocatorReader(std::basic_istream<unsigned char>& stream, std::uint64_t itemPosition)
        : m_stream(stream), m_itemPosition(itemPosition) {}

    bool ReadEntries(std::vector<VHDX_PARENT_LOCATOR_ENTRY>& entries) {
        NFormat::VHDX_PARENT_LOCATOR_HEADER header;
        if (!NStreamPortion::ReadBlock(m_stream, &header, sizeof(header))) {
            return Fail("failed Stream Portion Reading");
        }
        if (!IsEqual(header.LocatorType.Value(), NFormat::VHDXParentLocatorType)) {
            return Fail("bad locator type");
        }
        // At most 65,535 entries: the count has 16 bits.
        for (std::uint32_t left = header.KeyValueCount.Value(); left > 0; --left) {
            VHDX_PARENT_LOCATOR_ENTRY entry;
            if (!NStreamPortion::ReadBlock(m_stream, &entry, sizeof(entry))) {
                return Fail("failed Stream Portion Reading");
            }
            entries.push_back(entry);
        }
        return true;
    }

    bool ReadKeyAndValue(const VHDX_PARENT_LOCATOR_ENTRY& entry, CParent& parent) {
        // A key that cannot be read fails without a line.
        if (!ReadText(entry.KeyOffset.Value(), entry.KeyLength.Value())) {
            return false;
        }
        const CKnownKey* const known = MatchKey();
        if (known == nullptr) {
            return Fail("bad format");
        }
        NDebugTrace::Trace(NDebugTrace::levelDetail, Tag, known->formatName);
        if (!ReadBytes(entry.ValueOffset.Value(), entry.ValueLength.Value())) {
            return Fail("failed istreamstr Reading");
        }
        // The first value of a key stays. The others are not made a text: a small file can name
        // gigabytes of them.
        if (!parent.entries.contains(known->format)) {
            MakeText(entry.ValueLength.Value());
            parent.entries.emplace(known->format, CParent::CEntry{known->format, m_text});
        }
        return true;
    }

private:
    bool ReadText(std::uint32_t offset, std::uint16_t length) {
        if (!ReadBytes(offset, length)) {
            return false;
        }
        MakeText(length);
        return true;
    }

    /// A length that is no whole number of UTF-16 code units fails.
    bool ReadBytes(std::uint32_t offset, std::uint16_t length) {
        if (!NStreamPortion::SeekInput(m_stream, m_itemPosition + offset) || length % 2 != 0) {
            return false;
        }
        // Never made smaller, so that nothing is zeroed twice.
        m_bytes.resize(std::max<std::size_t>(m_bytes.size(), length));
        return NStreamPortion::ReadBlock(m_stream, m_bytes.data(), length);
    }

    /// The bytes read last as text: a character for each UTF-16LE code unit, no terminator expected
    /// or stripped.
    void MakeText(std::uint16_t length) {
        m_text.clear();
        for (std::size_t i = 0; i < length; i += 2) {
            m_text += static_cast<wchar_t>(LoadLittleEndian<std::uint16_t>(&m_bytes[i]));
        }
    }

    /// The key that the text read last is, letter for letter.
    const CKnownKey* MatchKey() const {
        for (const CKnownKey& known : NFormat::KnownKeys) {
            if (known.key.size() == m_text.size()) {
                const std::wstring expected(known.key.begin(), known.key.end());
                return m_text == expected ? &known : nullptr;
            }
        }
        return nullptr;
    }

    std::basic_istream<unsigned char>& m_stream;
    std::uint64_t m_itemPosition;
    std::vector<unsigned char> m_bytes;
    std::wstring m_text;
};

}  // namespace

bool CAccessor::Retrieve(CParent& parent, std::basic_istream<unsigned char>& stream) const {
    bool found = false;
    std::streampos position;
    if (!MetadataPosition(&found, stream, position, CMetadata::typeParentLocator)) {
        return Fail("bad MetadataPosition");
    }
    if (!found) {
        return true;
    }
    parent.present = true;
    CLocatorReader reader(stream, static_cast<std::uint64_t>(std::streamoff(position)));
    std::vector<VHDX_PARENT_LOCATOR_ENTRY> entries;
    if (!reader.ReadEntries(entries)) {
        return false;
    }
    for (const VHDX_PARENT_LOCATOR_ENTRY& entry : entries) {
        if (!reader.ReadKeyAndValue(entry, parent)) {
            return false;
        }
    }
    return true;
}

}  // namespace NVHDX
