#include <vhdx_parser/xml_persistence.h>
#include <boost/property_tree/exceptions.hpp>

#include "fuzz/input.h"
#include "fuzz/target.h"
#include "tests/persist/xml_file_helpers.h"
#include "tests/support/temporary_folder.h"

// Loads a document; what loads is saved, loaded and saved again, and both documents are the same.

void RunTarget(const std::uint8_t* data, std::size_t size) {
    static const NTest::CTemporaryFolder folder;
    const std::wstring name = folder.Wide() + L"/model.xml";
    NTest::WriteFile(folder / "model.xml",
                     std::string_view(reinterpret_cast<const char*>(data), size));
    NVHDX::CBlocks blocks;
    NVHDX::CFileParameters params;
    try {
        NVHDX::VHDXMetadataDeserialize(name, blocks, params);
    } catch (const boost::property_tree::ptree_error&) {
        return;
    }
    NVHDX::VHDXMetadataSerialize(name, blocks, params);
    NVHDX::VHDXMetadataDeserialize(name, blocks, params);
    const std::string first = NTest::Describe(blocks) + NTest::Describe(params);
    NVHDX::VHDXMetadataSerialize(name, blocks, params);
    NVHDX::VHDXMetadataDeserialize(name, blocks, params);
    NFuzz::Require(NTest::Describe(blocks) + NTest::Describe(params) == first);
}
