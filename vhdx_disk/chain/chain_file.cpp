#include "vhdx_disk/chain/chain_file.h"

#include <vhdx_parser/debug_trace.h>

#include "vhdx_disk/source/fail.h"
#include "vhdx_disk/table/container.h"

namespace NVHDXDisk {

namespace {

/// What the file does not tell keeps its value.
void ReadIdentity(CContainer& container, CDiskFile& told) {
    NVHDX::NMetadata::CPage83Data page83;
    NVHDX::NMetadata::CPhysicalSectorSize sector;
    if (container.Retrieve(page83)) {
        told.identifier = page83.page83Data;
    }
    if (container.Retrieve(sector)) {
        told.physicalSectorSize = sector.sectorSize;
    }
}

/// Who listens to the first library's trace wants its lines about every block, and they come from
/// loading.
void LetTraceTellOfBlocks(CContainer& container) {
    if (NDebugTrace::g_pwriter != nullptr) {
        NVHDX::CBlocks blocks;
        NVHDX::CFileParameters parameters;
        (void)container.Accessor().LoadBlocks(blocks, parameters, container.Stream());
    }
}

bool LoadBlocks(CContainer& container, const CLoadedTable& table, CChainFile& file,
                CFailure& failure) {
    const CSourcePointer& source = container.File().bytes;
    if (table.blocks != nullptr) {
        return file.blocks.Load(CEntriesOfModel(table.blocks), file.geometry, *source, failure);
    }
    LetTraceTellOfBlocks(container);
    const auto entries = FindTable(source, file.geometry, failure);
    return entries != nullptr && file.blocks.Load(*entries, file.geometry, *source, failure);
}

bool ReadLocator(CContainer& container, CDiskFile& told, CFailure& failure) {
    if (!told.HasParent() || (container.Retrieve(told.locator) && told.locator.present)) {
        return true;
    }
    return container.Fail(failure, "the disk has a parent, and its parent locator cannot be read");
}

void Tell(const CHeadedFile& headed, const CChainFile& file, CDiskFile& told) {
    told.source = headed.source;
    told.path = headed.source->Path();
    told.header = headed.header;
    told.size = headed.source->Size();
    told.log = file.file.log;
    told.role = file.geometry.hasParent ? CDiskFile::checkpoint : CDiskFile::base;
    told.virtualSize = file.geometry.virtualSize;
    told.blockSize = file.geometry.blockSize;
    told.logicalSectorSize = file.geometry.logicalSectorSize;
}

}  // namespace

bool OpenChainFile(const CHeadedFile& headed, ELog log, const CLoadedTable& table, CChainFile& file,
                   CDiskFile& told, CFailure& failure) {
    CContainer container;
    if (!container.Open(headed, log, failure) ||
        !ReadGeometry(container.Accessor(), container.Stream(), headed.source->Path(),
                      file.geometry, failure) ||
        !LoadBlocks(container, table, file, failure)) {
        return false;
    }
    file.file = container.File();
    if (const CHeaderCopy* const lost = LostCopy(headed)) {
        file.lostHeader = lost->refusal;
    }
    Tell(headed, file, told);
    ReadIdentity(container, told);
    return ReadLocator(container, told, failure) && !container.WasRefused(failure);
}

}  // namespace NVHDXDisk
