#include "startup/StartupArguments.h"

#include <cstdlib>
#include <stdexcept>

namespace marlindex {

StartupArguments ParseStartupArguments(const std::vector<std::string>& args) {
    StartupArguments result;
    // The steps compare the whole argument text, case and blanks included: "u" or " U"
    // start the window as usual.
    std::string whole;
    for (std::size_t i = 0; i < args.size(); ++i) {
        whole += (i == 0 ? "" : " ") + args[i];
    }
    if (whole == "U") {
        result.action = StartupAction::Uninstall;
        return result;
    }
    if (whole == "I") {
        result.action = StartupAction::Install;
        return result;
    }

    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        std::optional<std::string>* target = nullptr;
        std::string name = arg;
        std::optional<std::string> inlineValue;
        if (const auto equals = arg.find('=');
            arg.rfind("--", 0) == 0 && equals != std::string::npos) {
            name = arg.substr(0, equals);
            inlineValue = arg.substr(equals + 1);
        }
        if (name == "--database") {
            target = &result.databaseFolder;
        } else if (name == "--registry") {
            target = &result.registryFile;
        } else if (name == "--program-folder") {
            target = &result.programFolder;
        }
        if (target == nullptr) {
            result.rest.push_back(arg);
            continue;
        }
        if (inlineValue) {
            *target = *inlineValue;
        } else if (i + 1 < args.size()) {
            *target = args[++i];
        } else {
            throw std::invalid_argument(name + " needs a value");
        }
        if ((*target)->empty()) {
            throw std::invalid_argument(name + " needs a value");
        }
    }
    return result;
}

std::filesystem::path DefaultProgramFolder() {
#ifdef _WIN32
    return ExecutableFolder();
#else
    // Relative values are ignored, as the XDG base directory rules ask.
    std::filesystem::path data;
    if (const char* xdg = std::getenv("XDG_DATA_HOME");
        xdg != nullptr && std::filesystem::path(xdg).is_absolute()) {
        data = xdg;
    } else if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') {
        data = std::filesystem::path(home) / ".local" / "share";
    } else {
        data = std::filesystem::path(".local") / "share";
    }
    return data / "marlindex" / "Marlindex";
#endif
}

std::string InternalErrorText(const std::string& objectEvent, long number,
                              const std::string& description) {
    return "An internal application error occured. This could be the result of some\r\n"
           "instability within AmiBroker. Please lodge a bug report noting the following "
           "details:\r\n"
           "Object/Event: " +
           objectEvent + "\r\nError Number: " + std::to_string(number) +
           "\r\nError Description: " + description;
}

} // namespace marlindex
