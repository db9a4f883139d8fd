// Builds the chains of a folder; ends with 0 when the builder returned true. For tests that have to
// end it from outside.

#include <memory>
#include <vector>

#include <vhdx_parser/snapshot_chain.h>

int main(int count, char** arguments) {
    if (count != 2) {
        return 2;
    }
    std::vector<NVHDX::NSnapshotCircuit::CSource<std::shared_ptr<NVHDX::CFileObject<char>>>>
        sources;
    return NVHDX::NSnapshotCircuit::NBuilder::DoIt(sources, arguments[1]) ? 0 : 1;
}
