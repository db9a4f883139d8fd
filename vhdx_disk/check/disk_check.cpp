#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include <vhdx_disk/check.h>

#include "vhdx_disk/check/chain_check.h"
#include "vhdx_disk/check/header_check.h"
#include "vhdx_disk/check/metadata_check.h"
#include "vhdx_disk/check/region_check.h"
#include "vhdx_disk/check/table_check.h"
#include "vhdx_disk/log/log_replay.h"
#include "vhdx_disk/source/disk_folders.h"
#include "vhdx_disk/source/fail.h"
#include "vhdx_disk/source/quoted.h"

namespace NVHDXDisk {

namespace {

namespace fs = std::filesystem;
using CLocator = std::optional<NVHDX::NMetadata::CParent>;

void CheckStructures(const CSourcePointer& bytes, const CFindingSink& findings) {
    CCheckedRegions regions = CheckRegions(*bytes, findings);
    if (!regions.metadata) {
        return;
    }
    const auto geometry = CheckMetadata(*bytes, *regions.metadata, findings);
    if (geometry && regions.bat) {
        CheckTable(bytes, {*regions.bat, std::move(regions.places)}, *geometry, findings);
    }
}

/// The file alone; its parent locator goes to `locator`.
bool CheckFile(const fs::path& path, ELog log, const CFindingCallback& report, CLocator& locator,
               CFailure& failure) {
    const CSourcePointer file = OpenFile(path, failure);
    if (file == nullptr) {
        return false;
    }
    // The log is looked at in any case. As it stands also where the log cannot be replayed.
    CReplayedFile replayed;
    CFailure unreplayed;
    (void)Replay(WithHeader(file), ELog::replay, replayed, unreplayed);
    const CSourcePointer bytes = log == ELog::replay ? replayed.bytes : file;
    if (!LooksLikeContainer(*bytes)) {
        return Fail(failure, CFailure::notADisk, path, "the file is no VHDX container");
    }
    const CFindingSink findings(path, report);
    CheckHeaders(*bytes, findings);
    CheckLog(replayed.log, unreplayed, findings);
    CheckStructures(bytes, findings);
    locator = CheckLocator(bytes, findings);
    return true;
}

/// Checks the files of a folder one by one. What cannot be read is told with the first disk that
/// can: where there is none, nothing was checked.
class CFilesChecker {
public:
    CFilesChecker(ELog log, const CFindingCallback& report) : m_log(log), m_report(report) {}

    void AddUnreadable(const fs::path& folder) {
        AddUnread(MakeFinding(folder, "folder", EFinding::folderUnreadable,
                              "the folder cannot be read: nobody knows which disks it holds"));
    }

    void Check(const fs::path& file) {
        CLocator locator;
        CFailure failure;
        const auto report = [this](const CFinding& finding) {
            TellUnread();
            m_report(finding);
        };
        if (CheckFile(file, m_log, report, locator, failure)) {
            TellUnread();
            ++m_read;
        } else {
            AddUnread(MakeFinding(file, "file", EFinding::notADisk, failure.reason));
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
    void AddUnread(CFinding finding) {
        m_unread.push_back(std::move(finding));
        if (m_read != 0) {
            TellUnread();
        }
    }

    void TellUnread() {
        for (const CFinding& finding : m_unread) {
            m_report(finding);
        }
        m_unread.clear();
    }

    const ELog m_log;
    const CFindingCallback& m_report;
    std::size_t m_read = 0;
    std::vector<CFinding> m_unread;
};

}  // namespace

bool CheckDisk(const fs::path& path, ELog log, const CFindingCallback& report, CFailure& failure) {
    CLocator locator;
    if (!CheckFile(path, log, report, locator, failure)) {
        return false;
    }
    if (locator) {
        CheckParents(std::move(*locator), path, log, report);
    }
    return true;
}

bool CheckFolder(const fs::path& folder, ELog log, const CFindingCallback& report,
                 std::size_t& disks, CFailure& failure) {
    const CDiskFolders found = FindDisksBelow(folder);
    if (found.folders.empty()) {
        return Fail(failure, CFailure::cannotBeRead, folder, "the folder cannot be read");
    }
    CFilesChecker files(log, report);
    std::for_each(found.unreadable.begin(), found.unreadable.end(),
                  [&](const auto& below) { files.AddUnreadable(below); });
    std::for_each(found.disks.begin(), found.disks.end(),
                  [&](const auto& disk) { files.Check(disk); });
    if (files.Read() == 0) {
        return Fail(failure, CFailure::notADisk, folder, files.WhyNone());
    }
    CheckTree(CDiskTree(PlacesOf(found), SearchIn(found.folders), log), report);
    disks = files.Read();
    return true;
}

}  // namespace NVHDXDisk
