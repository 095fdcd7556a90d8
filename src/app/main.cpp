// The Marlindex program: decides from the command line what the process does and, for a
// normal start, loads the settings and the run options and shows the main window.
#include "about/AboutInfo.h"
#include "amibroker/CustomTools.h"
#include "amibroker/LocalBroker.h"
#include "app/QtPrompts.h"
#include "filter/FilterTree.h"
#include "formula/IndicatorParameters.h"
#include "library/LibraryInstall.h"
#include "mainwindow/frmMain.h"
#include "settings/ProgramSettings.h"
#include "settings/SettingsHive.h"
#include "startup/StartupArguments.h"

#include <QApplication>
#include <QDir>
#include <filesystem>
#include <iostream>
#include <memory>
#include <stdexcept>

namespace {

using namespace marlindex;

std::vector<std::string> HelpFolders() {
    const QString exe = QCoreApplication::applicationDirPath();
    return {QDir(exe).filePath(QStringLiteral("docs")).toStdString(),
            QDir(exe).filePath(QStringLiteral("../share/marlindex/docs")).toStdString(),
            MARLINDEX_SOURCE_DOCS};
}

int ShowMainWindow(const StartupArguments& arguments, QtPrompts& prompts) {
    // Without an analysis application there is nothing to build formulas for. The local
    // host (a database folder) stands in for one until the automation link exists.
    if (!arguments.databaseFolder) {
        prompts.Inform("Marlindex", kNoAnalysisApplicationText, PromptIcon::Exclamation);
        return 1;
    }
    const std::filesystem::path database = *arguments.databaseFolder;
    std::error_code error;
    if (!std::filesystem::is_directory(database, error)) {
        prompts.Inform("Marlindex",
                       "The database folder \"" + database.string() + "\" does not exist.",
                       PromptIcon::Exclamation);
        return 2;
    }

    SettingsHive store;
    std::unique_ptr<CProgramSettings> settings;
    std::unique_ptr<LocalBroker> broker;
    std::unique_ptr<MainWindowState> state;
    std::unique_ptr<FilterTree> filter;
    std::unique_ptr<frmMain> window;
    try {
        store = OpenSettingsHive(arguments.registryFile
                                     ? std::optional<std::filesystem::path>(*arguments.registryFile)
                                     : std::nullopt,
                                 false);
        if (store.loadReport) {
            prompts.Inform("Marlindex - Settings", *store.loadReport, PromptIcon::Exclamation);
        }
        settings = std::make_unique<CProgramSettings>(CProgramSettings::ForMarlindex(*store.hive));
        if (const std::vector<std::string> refused = CheckStoredParameters(*settings);
            !refused.empty()) {
            std::string text = "Some stored indicator parameters cannot be used, so their defaults "
                               "are used instead until they are changed in File, Preferences:";
            for (const std::string& line : refused) {
                text += "\n\n" + store.place + ": " + line + ".";
            }
            prompts.Inform("Marlindex - Settings", text, PromptIcon::Exclamation);
        }

        const std::filesystem::path programFolder =
            arguments.programFolder ? std::filesystem::path(*arguments.programFolder)
                                    : DefaultProgramFolder();
        std::filesystem::create_directories(programFolder);
        broker = std::make_unique<LocalBroker>(database, prompts);

        state = std::make_unique<MainWindowState>(*settings);
        state->LoadRunSettings();
        // The filter dialog's data is loaded without showing it, so the formula can take the
        // filter from the start.
        filter = std::make_unique<FilterTree>(database);
        filter->Form_Load(prompts);

        frmMain::Services services;
        services.broker = broker.get();
        services.prompts = &prompts;
        services.programFolder = programFolder.string();
        services.helpFolders = HelpFolders();
        services.filter = filter.get();
        services.settings = settings.get();
        window = std::make_unique<frmMain>(*state, services);
    } catch (const std::exception& failure) {
        prompts.Inform("Marlindex - frmMain Load",
                       InternalErrorText("frmMain Load", 0, failure.what()),
                       PromptIcon::Exclamation);
        return 1;
    }
    prompts.SetParent(window.get());
    window->show();
    return QApplication::exec();
}

// The installer's steps, "I" and "U", need no window: they run before the window toolkit
// starts, so an installer can run them where there is no display. None for a normal start.
std::optional<int> RunInstallerStep(const StartupArguments& arguments) {
    switch (arguments.action) {
    case StartupAction::Install:
        // Back up the library and convert it.
        return RunInstallStep(DefaultProgramFolder(), CurrentTimeHhmmss(), std::cerr);
    case StartupAction::Uninstall: {
        // Take the program out of AmiBroker's Tools menu: on Windows in the registry,
        // elsewhere in the settings file. Failures are swallowed, as by the settings object.
        SettingsHive store = OpenSettingsHive(std::nullopt, false);
        CProgramSettings tools = CustomToolsSettings(*store.hive);
        RemoveCustomToolsEntry(tools);
        return 0;
    }
    case StartupAction::ShowMainWindow:
        break;
    }
    return std::nullopt;
}

} // namespace

int main(int argc, char* argv[]) {
    StartupArguments arguments;
    try {
        arguments = ParseStartupArguments(std::vector<std::string>(argv + 1, argv + argc));
    } catch (const std::invalid_argument& error) {
        std::cerr << "marlindex: " << error.what() << "\n";
        return 2;
    }
    if (const auto status = RunInstallerStep(arguments)) {
        return *status;
    }

    QApplication application(argc, argv);
    QApplication::setApplicationName(QString::fromLatin1(kProgramName));
    QApplication::setApplicationVersion(QString::fromStdString(ProgramVersion()));
    // QApplication has taken its own options (-platform ...) out of argv: read the rest again.
    std::vector<std::string> args;
    for (const QString& arg : QApplication::arguments().mid(1)) {
        args.push_back(arg.toStdString());
    }
    arguments = ParseStartupArguments(args);
    QtPrompts prompts;
    return ShowMainWindow(arguments, prompts);
}
