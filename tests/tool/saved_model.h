#ifndef VHDX_PARSER_TESTS_TOOL_SAVED_MODEL_H
#define VHDX_PARSER_TESTS_TOOL_SAVED_MODEL_H

/// What the tests of saved models share: a disk, its model, and the commands.

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/support/file_content.h"
#include "tests/support/image_builder.h"
#include "tests/support/temporary_folder.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {

/// disk.vhdx and its model.xml.
class CSavedModelTest : public testing::Test {
protected:
    CChildResult Run(const std::vector<std::string>& arguments) const {
        return RunVhdxIn(m_folder.Path(), arguments);
    }

    void Save(const CImageBuilder& disk, const std::string& model = "model.xml") const {
        disk.Build().WriteTo(m_folder / "disk.vhdx");
        SetWholeSeconds(m_folder / "disk.vhdx");
        const CChildResult result = Run({"save", "disk.vhdx", model});
        ASSERT_EQ(result.status, 0) << result.errors;
        ASSERT_EQ(result.output, "");
    }

    /// Puts another disk in the place of the one that was saved, with the same time of change.
    void PutInPlace(const CImageBuilder& disk) const {
        const auto time = std::filesystem::last_write_time(m_folder / "disk.vhdx");
        disk.Build().WriteTo(m_folder / "disk.vhdx");
        std::filesystem::last_write_time(m_folder / "disk.vhdx", time);
    }

    /// A time that can be set again exactly: with MinGW a part of a second would be lost.
    static void SetWholeSeconds(const std::filesystem::path& file) {
        const auto time = std::filesystem::last_write_time(file);
        std::filesystem::last_write_time(file, std::chrono::floor<std::chrono::seconds>(time));
    }

    std::string Content(const std::string& name) const { return FileText(m_folder / name); }

    void Write(const std::string& name, const std::string& text) const {
        std::ofstream(m_folder / name, std::ios::binary) << text;
    }

    void ExpectTaken() const {
        const CChildResult result = Run({"map", "disk.vhdx", "--model", "model.xml"});
        EXPECT_EQ(result.status, 0) << result.errors;
    }

    void ExpectRefusal(const std::string& reason) const {
        const CChildResult result = Run({"map", "disk.vhdx", "--model", "model.xml"});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "vhdx: model.xml: " + reason + "\n");
    }

    CTemporaryFolder m_folder;
};

}  // namespace NTest

#endif
