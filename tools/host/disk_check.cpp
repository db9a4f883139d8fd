#include "host/disk_check.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "host/bat_check.h"
#include "host/chain_check.h"
#include "host/disk_folders.h"
#include "host/header_check.h"
#include "host/locator_path.h"
#include "host/metadata_check.h"
#include "host/region_check.h"

namespace NVHDXHost {

namespace {

using CLocator = std::optional<NVHDX::NMetadata::CParent>;

/// The log is looked at in any case. As it stands also where the log cannot be replayed.
std::unique_ptr<CReplayStream> OpenDisk(const std::filesystem::path& path,
                                        CReplayStream::EMode mode, CReplayResult& replay) {
    auto stream = std::make_unique<CReplayStream>(path);
    replay = stream->Result();
    if (stream->IsOpen() &&
        (mode == CReplayStream::asItStands || replay.status == CReplayResult::unreadable)) {
        stream = std::make_unique<CReplayStream>(path, CReplayStream::asItStands);
    }
    return stream;
}

void CheckStructures(CReplayStream& stream, const CReplayResult& replay,
                     const CFindingSink& findings) {
    CheckHeaders(stream, findings);
    CheckLog(replay, findings);
    CCheckedRegions regions = CheckRegions(stream, stream.Size(), findings);
    if (!regions.metadata) {
        return;
    }
    const auto geometry = CheckMetadata(stream, *regions.metadata, findings);
    if (geometry && regions.bat) {
        CheckBat(stream, {*regions.bat, std::move(regions.places), stream.Size()}, *geometry,
                 findings);
    }
}

/// The file alone; its parent locator goes to `locator`.
bool CheckFile(const std::filesystem::path& path, CReplayStream::EMode mode,
               const CFindingCallback& report, CLocator& locator, std::string& error) {
    CReplayResult replay;
    const auto stream = OpenDisk(path, mode, replay);
    if (!stream->IsOpen()) {
        error = stream->OpenError();
        return false;
    }
    if (!LooksLikeContainer(*stream)) {
        error = "the file is no VHDX container";
        return false;
    }
    const CFindingSink findings(path, report);
    CheckStructures(*stream, replay, findings);
    locator = CheckLocator(*stream, findings);
    return true;
}

/// Checks the files of a folder one by one. What cannot be read is told with the first disk that
/// can: where there is none, nothing was checked.
class CFilesChecker {
public:
    CFilesChecker(CReplayStream::EMode mode, const CFindingCallback& report)
        : m_mode(mode), m_report(report) {}

    void AddUnreadable(const std::filesystem::path& folder) {
        AddUnread({folder, "folder", "folder-unreadable",
                   "the folder cannot be read: nobody knows which disks it holds"});
    }

    void Check(const std::filesystem::path& file) {
        CLocator locator;
        std::string problem;
        const auto report = [this](const CCheckFinding& finding) {
            TellUnread();
            m_report(finding);
        };
        if (CheckFile(file, m_mode, report, locator, problem)) {
            TellUnread();
            ++m_read;
        } else {
            AddUnread({file, "file", "not-a-disk", problem});
        }
    }

    std::size_t Read() const { return m_read; }

    /// Why not a single disk was read.
    std::string WhyNone() const {
        if (m_unread.empty()) {
            return "the folder holds no .vhdx or .avhdx file";
        }
        return Sentence("not one disk could be read; ", Quoted(m_unread.front().file), ": ",
                        m_unread.front().text);
    }

private:
    void AddUnread(CCheckFinding finding) {
        m_unread.push_back(std::move(finding));
        if (m_read != 0) {
            TellUnread();
        }
    }

    void TellUnread() {
        for (const CCheckFinding& finding : m_unread) {
            m_report(finding);
        }
        m_unread.clear();
    }

    const CReplayStream::EMode m_mode;
    const CFindingCallback& m_report;
    std::size_t m_read = 0;
    std::vector<CCheckFinding> m_unread;
};

}  // namespace

bool CheckDisk(const std::filesystem::path& path, CReplayStream::EMode mode,
               const CFindingCallback& report, std::string& error) {
    CLocator locator;
    if (!CheckFile(path, mode, report, locator, error)) {
        return false;
    }
    if (locator) {
        CheckParents(std::move(*locator), path, mode, report);
    }
    return true;
}

std::optional<std::size_t> CheckFolder(const std::filesystem::path& folder,
                                       CReplayStream::EMode mode, const CFindingCallback& report,
                                       std::string& error) {
    const CDiskFolders found = FindDisksBelow(folder);
    if (found.folders.empty()) {
        error = "the folder cannot be read";
        return std::nullopt;
    }
    CFilesChecker files(mode, report);
    std::for_each(found.unreadable.begin(), found.unreadable.end(),
                  [&](const auto& below) { files.AddUnreadable(below); });
    std::for_each(found.disks.begin(), found.disks.end(),
                  [&](const auto& disk) { files.Check(disk); });
    if (files.Read() == 0) {
        error = files.WhyNone();
        return std::nullopt;
    }
    CheckTree(CFolderTree::Of(found, mode), report);
    return files.Read();
}

}  // namespace NVHDXHost
