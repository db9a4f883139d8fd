#include "vhdx_parser/chain/candidate_reader.h"

#include <utility>

#include <vhdx_parser/file_system.h>

#include "vhdx_parser/chain/linking_rule.h"
#include "vhdx_parser/foundation/path.h"
#include "vhdx_parser/foundation/trace.h"

namespace NVHDX {
namespace {

bool Fail(const char* cause) {
    NDebugTrace::Trace(NDebugTrace::levelFailure, cause);
    return false;
}

/// Null, with the file closed, when it cannot be opened as a disk.
template <class TChar>
std::shared_ptr<CFileObject<TChar>> OpenDisk(std::basic_string<TChar> path) {
    auto file = std::make_shared<CFileObject<TChar>>();
    if (!file->Open(std::make_shared<std::basic_string<TChar>>(std::move(path)))) {
        return nullptr;
    }
    return file;
}

/// Takes the parent's file name from a relative path.
template <class TChar>
bool ParseRelativePath(std::basic_string<TChar>& parentName, const std::wstring& relativePath) {
    const NLinkingRule::CParentPath path = NLinkingRule::ParentFileName(relativePath);
    if (path.problem == NLinkingRule::EPathProblem::tooShort) {
        return Fail("ID length < 2");
    }
    if (path.problem == NLinkingRule::EPathProblem::notInSameFolder) {
        return Fail("symble error");
    }
    parentName = NLinkingRule::NameFromLocator<TChar>(path.name);
    return true;
}

/// A locator without a relative path fails without a line.
template <class TChar>
bool ReadParentName(std::basic_string<TChar>& parentName, const NMetadata::CParent& parent) {
    const auto entry = parent.entries.find(NMetadata::CParent::formatRelativePath);
    return entry != parent.entries.end() && ParseRelativePath(parentName, entry->second.value);
}

}  // namespace

template <class TChar>
bool ReadCandidate(std::vector<CChainCandidate<TChar>>& candidates, std::basic_string<TChar> path) {
    CChainCandidate<TChar> candidate;
    if (!NSystem::ExtractFileFolderAndName(nullptr, &candidate.name, path)) {
        return Fail("extraction error");
    }
    candidate.file = OpenDisk(std::move(path));
    if (!candidate.file) {
        return Fail("opening file error");
    }
    NMetadata::CParent parent;
    if (!candidate.file->accessor.Retrieve(parent, candidate.file->stream)) {
        return Fail("retriving error");
    }
    candidate.differencing = parent.present;
    if (candidate.differencing && !ReadParentName(candidate.parentName, parent)) {
        return false;
    }
    candidates.push_back(std::move(candidate));
    return true;
}

namespace {

/// A name that holds a separator, as POSIX allows, would be taken apart in the path and lead to
/// another file.
template <class TChar>
bool ReadItem(std::vector<CChainCandidate<TChar>>& candidates,
              const std::basic_string<TChar>& folder, const std::basic_string<TChar>& name) {
    if (NPath::FindLastSeparator(name) != name.npos) {
        return Fail("opening file error");
    }
    return ReadCandidate(candidates, NPath::Join(folder, name));
}

}  // namespace

template <class TChar>
bool ReadCandidates(std::vector<CChainCandidate<TChar>>& candidates,
                    const std::basic_string<TChar>& folder) {
    return NSystem::for_each_item_in_folder(
        folder, nullptr,
        [&](bool&, bool isFolder, std::basic_string<TChar>& name, const NSystem::CFileAttributes&) {
            return isFolder || !NLinkingRule::HasDiskExtension(name) ||
                   ReadItem(candidates, folder, name);
        });
}

template bool ReadCandidate(std::vector<CChainCandidate<char>>&, std::string);
template bool ReadCandidate(std::vector<CChainCandidate<wchar_t>>&, std::wstring);
template bool ReadCandidates(std::vector<CChainCandidate<char>>&, const std::string&);
template bool ReadCandidates(std::vector<CChainCandidate<wchar_t>>&, const std::wstring&);

}  // namespace NVHDX
