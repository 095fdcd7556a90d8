#include "amibroker/CustomTools.h"
#include "cli/CliCommands.h"
#include "cli/CliSupport.h"

#include <iostream>
#include <memory>

namespace marlindex {

namespace {

struct CustomToolsOptions {
    std::string registryFile;
};

int List(const CustomToolsOptions& options, std::ostream& out, std::ostream& err) {
    SettingsHive store = OpenSettings(options.registryFile, true, err);
    for (const CustomTool& tool : ListCustomTools(CustomToolsSettings(*store.hive))) {
        out << tool.index << '\t' << tool.name << '\t' << tool.command << '\t' << tool.args << '\t'
            << tool.initDir << '\t' << tool.promptForArgs << '\n';
    }
    return Finish(out);
}

int Remove(const CustomToolsOptions& options, std::ostream& out, std::ostream& err) {
    SettingsHive store = OpenSettings(options.registryFile, false, err);
    CProgramSettings tools = CustomToolsSettings(*store.hive);
    const std::size_t before = ListCustomTools(tools).size();
    const auto removed = RemoveCustomToolsEntry(tools);
    if (!removed) {
        out << "No Custom Tools entry is named Marlindex or Marl Index; nothing was changed.\n";
        return Finish(out);
    }
    // The settings object swallows failed writes: the count tells whether they were kept.
    if (ListCustomTools(tools).size() + 1 != before) {
        err << store.place << ": the Custom Tools list could not be changed; it is as it was.\n";
        return kExitFailure;
    }
    out << "Removed Custom Tools entry " << *removed << ".\n";
    return Finish(out);
}

} // namespace

void AddCustomToolsCommands(CLI::App& app, CliStreams streams, CliCommands& commands) {
    auto options = std::make_shared<CustomToolsOptions>();
    CLI::App* tools = app.add_subcommand(
        "custom-tools", "AmiBroker's Custom Tools list (its Tools menu), where the installer "
                        "adds Marlindex; for scripted installs and uninstalls.");
    tools->require_subcommand(1);
    tools->fallthrough();
    tools->add_option("--registry", options->registryFile, kRegistryOptionHelp);

    CLI::App* list = tools->add_subcommand(
        "list", "Write every entry: number, name, command, arguments, folder, prompt for "
                "arguments (TAB separated).");
    commands.push_back(
        {list, [options, streams] { return List(*options, streams.out, streams.err); }});

    CLI::App* remove = tools->add_subcommand(
        "remove", "Take the Marlindex entry out of the list, as 'marlindex U' does when the "
                  "program is uninstalled.");
    commands.push_back(
        {remove, [options, streams] { return Remove(*options, streams.out, streams.err); }});
}

} // namespace marlindex
