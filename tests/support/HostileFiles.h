// Things that sit where a reader expects a file and must never hang or exhaust it: a pipe
// (opening it for reading waits for a writer that never comes) and a device that never ends.
// Both exist only on POSIX systems; on Windows the helpers say so and the tests skip.
#pragma once

#include <filesystem>
#include <optional>

#ifndef _WIN32
#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#endif

namespace marlindex::test {

// Makes a named pipe at `path`; false where there are none.
inline bool MakeFifo(const std::filesystem::path& path) {
#ifdef _WIN32
    (void)path;
    return false;
#else
    return ::mkfifo(path.c_str(), 0600) == 0;
#endif
}

// A device that reads as endless zero bytes; nullopt where there is none.
inline std::optional<std::filesystem::path> EndlessDevice() {
#ifdef _WIN32
    return std::nullopt;
#else
    return std::filesystem::path("/dev/zero");
#endif
}

#ifndef _WIN32
// A named pipe that tells whether anything opened it for reading, without letting a reader
// that does hang the test: a writer waits on the other end, hands the reader one byte and
// closes. A reader that checks first never opens it, and the writer is let go at the end.
class PipeTrap {
public:
    explicit PipeTrap(std::filesystem::path path) : path_(std::move(path)) {
        made_ = MakeFifo(path_);
        if (made_) {
            std::signal(SIGPIPE, SIG_IGN); // a reader that closes at once must not end the test
            writer_ = std::thread([this] {
                const int fd = ::open(path_.c_str(), O_WRONLY);
                if (fd >= 0) {
                    if (!releasing_) {
                        opened_ = true;
                        (void)!::write(fd, "x", 1);
                    }
                    ::close(fd);
                }
            });
        }
    }
    ~PipeTrap() {
        if (made_) {
            releasing_ = true;
            const int fd = ::open(path_.c_str(), O_RDONLY | O_NONBLOCK);
            writer_.join();
            if (fd >= 0) {
                ::close(fd);
            }
        }
    }
    PipeTrap(const PipeTrap&) = delete;
    PipeTrap& operator=(const PipeTrap&) = delete;

    bool made() const { return made_; }
    // Whether a reader opened the pipe. Give the writer a moment to see it: the caller has
    // returned from the reader by then, so a pipe that was opened has already been written.
    bool Opened() const { return opened_; }
    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
    bool made_ = false;
    std::atomic<bool> opened_{false};
    std::atomic<bool> releasing_{false};
    std::thread writer_;
};
#endif

} // namespace marlindex::test
