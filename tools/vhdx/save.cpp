#include <memory>
#include <string>

#include "tools/vhdx/arguments.h"
#include "tools/vhdx/output_file.h"
#include "tools/vhdx/saved_model.h"

namespace NTool {

namespace {

struct CSaveOptions {
    CDiskOptions disk;
    std::string model;
};

void RunSave(const CSaveOptions& options) {
    CDisk disk(options.disk);
    const CModel model = disk.LoadModel();
    COutputFile file(options.model, options.disk.file);
    SaveModel(file.WrittenPath(), options.model, model);
    file.Commit();
}

}  // namespace

void AddSave(CLI::App& program, CChosenCommand& chosen) {
    const auto options = std::make_shared<CSaveOptions>();
    CLI::App& command = *program.add_subcommand(
        "save", "Saves which blocks the file holds, and where, for --model of other commands");
    AddDiskArguments(command, options->disk);
    command.add_option("MODEL.xml", options->model, "The file to write; an older one is replaced")
        ->required()
        ->type_name("");
    command.footer("Example: vhdx save disk.vhdx disk.xml; vhdx map disk.vhdx --model disk.xml");
    Choose(command, chosen, options, RunSave);
}

}  // namespace NTool
