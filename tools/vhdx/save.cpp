#include <memory>
#include <string>

#include "tools/vhdx/arguments.h"
#include "tools/vhdx/saved_model.h"

namespace NTool {

namespace {

struct CSaveOptions {
    CFileOptions disk;
    std::string model;
    ESync sync = ESync::needed;
};

void RunSave(const CSaveOptions& options) {
    CheckModelPlace(options.model);
    COpenedFile disk(options.disk);
    const CDiskIdentity identity = disk.Identity();
    const CModel model = disk.LoadModel();
    disk.CheckUnchanged();
    if (disk.Identity() != identity) {
        throw CCommandFailure("the disk changed while its model was made; save it again");
    }
    SaveModel(options.model, options.disk.file, model, identity, options.sync);
}

}  // namespace

void AddSave(CProgramSyntax& program, CChosenCommand& chosen) {
    const auto options = std::make_shared<CSaveOptions>();
    CCommandSyntax command = program.AddCommand(
        "save", "Saves which blocks the file holds, and where, for --model of other commands");
    AddDiskArguments(command, options->disk);
    command.AddPlaced(
        "MODEL.xml", options->model,
        "The file to write; an older one is replaced. Beside it stands MODEL.xml.identity, "
        "which says which disk in which state the model is of");
    AddNoSyncArgument(command, options->sync);
    command.SetFooter("Example: vhdx save disk.vhdx disk.xml; vhdx map disk.vhdx --model disk.xml");
    Choose(command, chosen, options, RunSave);
}

}  // namespace NTool
