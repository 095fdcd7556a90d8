// Runs Windows programs from a test, as an installer or a user at a command prompt would:
// marlindex-cli.exe and the system's own registry tools (reg.exe, regedit.exe).
#pragma once

#include <string>
#include <windows.h>

namespace marlindex::test {

struct ProgramResult {
    DWORD status = 0xFFFFFFFF; // the exit status; this value when the program did not start
    std::string output;        // standard output and error, as written
};

inline ProgramResult RunProgram(std::string commandLine) {
    ProgramResult result;
    SECURITY_ATTRIBUTES inherit{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    HANDLE readEnd = nullptr;
    HANDLE writeEnd = nullptr;
    if (!CreatePipe(&readEnd, &writeEnd, &inherit, 0)) {
        return result;
    }
    SetHandleInformation(readEnd, HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = writeEnd;
    startup.hStdError = writeEnd;
    PROCESS_INFORMATION process{};
    const BOOL started = CreateProcessA(nullptr, commandLine.data(), nullptr, nullptr, TRUE, 0,
                                        nullptr, nullptr, &startup, &process);
    CloseHandle(writeEnd); // the child holds the only writing end now
    if (started) {
        char buffer[4096];
        DWORD got = 0;
        while (ReadFile(readEnd, buffer, sizeof buffer, &got, nullptr) && got > 0) {
            result.output.append(buffer, got);
        }
        WaitForSingleObject(process.hProcess, INFINITE);
        GetExitCodeProcess(process.hProcess, &result.status);
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
    }
    CloseHandle(readEnd);
    return result;
}

// A path the build gave as a Unix path (Wine shows the Unix root as drive Z:).
inline std::string WindowsPath(std::string path) {
    if (!path.empty() && path.front() == '/') {
        for (char& c : path) {
            c = c == '/' ? '\\' : c;
        }
        path = "Z:" + path;
    }
    return path;
}

inline std::string Quoted(const std::string& text) {
    return "\"" + text + "\"";
}

} // namespace marlindex::test
