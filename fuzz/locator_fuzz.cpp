#include <algorithm>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <string>

#include <vhdx_disk/disk.h>

#include "fuzz/disk_files.h"
#include "fuzz/reason.h"
#include "fuzz/target.h"

// Opens a child whose parent locator the input makes, and looks at where its parent is looked for.

namespace {

using namespace NVHDXDisk;
namespace fs = std::filesystem;

/// The first byte of an input.
namespace NOption {
constexpr std::uint64_t recordedPaths = 1;
constexpr std::uint64_t acceptChanged = 2;
constexpr std::uint64_t mayBeDisk = 4;
constexpr std::uint64_t advice = 8;
}  // namespace NOption

const fs::path childPath = "disks/child.avhdx";
const std::set<fs::path> namedFolders = {"disks", "other", "third/folder"};
constexpr auto linkage = u"{6E4D5F00-0002-4A00-8000-000000000002}";
/// The relative path, that path's name beside the child and in two folders, two recorded paths.
constexpr int mostCandidates = 6;

constexpr std::uint64_t itemOffset = 128 * NTest::KiB;

NTest::CSparseImage Child() {
    return NTest::CImageBuilder()
        .Differencing()
        .EditMetadata([](NTest::CMetadataTable& table) {
            table.Find(NTest::NGuid::parentLocator).offset = itemOffset;
        })
        .FileSize(4 * NTest::MiB)
        .Build();
}

NTest::CSparseImage Parent(bool isLinked) {
    NTest::CImageBuilder builder;
    if (!isLinked) {
        builder.DataWriteGuid(NTest::NGuid::unknown);
    }
    return builder.FileSize(4 * NTest::MiB).Build();
}

/// Looks at every path that the library asks for.
class COpener final : public ISourceOpener {
public:
    CSourcePointer Open(const fs::path& path, CFailure& failure) const override {
        NFuzz::Require(++m_opened <= mostCandidates);
        RequirePath(path);
        NFuzz::Require(IsNamed(path) || m_allowed.count(path) != 0);
        const auto found = m_sources.find(path);
        if (found != m_sources.end()) {
            return NFuzz::Unowned(found->second);
        }
        failure = MakeFailure(CFailure::notFound, path, "there is no such source", ENOENT);
        return nullptr;
    }

    bool MayBeDisk(const fs::path& path) const override {
        NFuzz::Require(++m_asked <= mostCandidates);
        RequirePath(path);
        if ((m_bits & NOption::mayBeDisk) != 0) {
            m_allowed.insert(path);
        }
        return (m_bits & NOption::mayBeDisk) != 0;
    }

    void Begin(std::uint64_t bits) {
        m_bits = bits;
        m_opened = 0;
        m_asked = 0;
        m_allowed.clear();
    }

private:
    static bool IsNamed(const fs::path& path) {
        return namedFolders.count(path.lexically_normal().parent_path()) != 0;
    }

    void RequirePath(const fs::path& path) const {
        NFuzz::Require(!path.empty() && path.native().find('\0') == std::string::npos &&
                       NFuzz::IsUtf8(path.native()));
        NFuzz::Require((m_bits & NOption::recordedPaths) != 0 || path.is_relative());
    }

    const std::map<fs::path, NFuzz::CMemorySource> m_sources = [] {
        std::map<fs::path, NFuzz::CMemorySource> sources;
        for (const char* const path : {"disks/linked.vhdx", "/far/linked.vhdx", "linked.vhdx"}) {
            sources.try_emplace(path, path, Parent(true), NFuzz::NDiskPlace::end);
        }
        for (const char* const path : {"other/parent.vhdx", "disks/parent.vhdx", "/parent.vhdx"}) {
            sources.try_emplace(path, path, Parent(false), NFuzz::NDiskPlace::end);
        }
        return sources;
    }();
    std::uint64_t m_bits = 0;
    mutable int m_opened = 0;
    mutable int m_asked = 0;
    mutable std::set<fs::path> m_allowed;
};

/// A text: one that may lead somewhere, letters, or any code units.
std::u16string Text(NFuzz::CInput& input) {
    constexpr const char16_t* texts[] = {linkage,
                                         u".\\linked.vhdx",
                                         u"..\\linked.vhdx",
                                         u"parent.vhdx",
                                         u"\\far\\linked.vhdx",
                                         u"child.avhdx",
                                         u"..\\other\\parent.vhdx",
                                         u"\\parent.vhdx"};
    const std::uint64_t kind = input.Number(1);
    if (kind < std::size(texts)) {
        return texts[kind];
    }
    std::u16string text;
    for (std::uint64_t left = input.Number(1) % 64; left != 0; --left) {
        text.push_back(static_cast<char16_t>(input.Number(kind % 2 == 0 ? 1 : 2)));
    }
    return text;
}

NTest::CBytes Locator(NFuzz::CInput& input) {
    constexpr const char16_t* keys[] = {u"parent_linkage", u"parent_linkage2", u"relative_path",
                                        u"volume_path", u"absolute_win32_path"};
    NTest::CParentLocatorPairs pairs;
    for (std::uint64_t left = input.Number(1) % 8; left != 0; --left) {
        const std::uint64_t key = input.Number(1);
        const std::u16string name = key < 240 ? keys[key % std::size(keys)] : Text(input);
        pairs.emplace_back(name, Text(input));
    }
    NTest::CBytes bytes = NTest::CParentLocator(pairs).Bytes();
    while (!input.IsEmpty()) {
        const std::uint64_t offset = input.Number(2) % 1024;
        NTest::PutBytes(bytes, offset, input.Bytes(input.Number(1) % 16));
    }
    return bytes;
}

}  // namespace

void RunTarget(const std::uint8_t* data, std::size_t size) {
    static NFuzz::CMemorySource child(childPath, Child(), NFuzz::NDiskPlace::end);
    static const auto opener = std::make_shared<COpener>();
    NFuzz::CInput input(data, size);
    const std::uint64_t bits = input.Number(1);
    child.Restore();
    child.Write(NFuzz::NDiskPlace::metadataTable + itemOffset, Locator(input));
    opener->Begin(bits);

    CDiskOptions options;
    options.folders = {"other", "third/folder"};
    options.recordedPaths = (bits & NOption::recordedPaths) != 0;
    options.acceptChangedParent = (bits & NOption::acceptChanged) != 0;
    options.recordedPathsAdvice = (bits & NOption::advice) != 0 ? "--recorded" : "";
    options.opener = opener;
    CFailure failure;
    const auto disk = CDisk::Open({NFuzz::Unowned(child)}, options, failure);
    if (disk == nullptr) {
        NFuzz::RequireReason(failure);
        return;
    }
    // Where nobody vouches for the parent, it is told.
    NFuzz::Require(disk->Files().size() == 2);
    NFuzz::Require(options.acceptChangedParent || disk->Findings().empty());
}
