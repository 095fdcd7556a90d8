// peak-rss REPORT PROGRAM [ARGS...]: runs PROGRAM with this process's standard streams and
// writes "SECONDS PEAK_KIB STATUS" to REPORT.
//
// Why a process of its own: Linux counts into a child's peak resident set the memory of the
// process it was spawned from, up to its exec. A child of the benchmark, which holds a whole
// data set by then, would show the benchmark's size, not its own; a child of this small
// program shows its own.
#include <chrono>
#include <cstdio>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

extern char** environ;

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: peak-rss REPORT PROGRAM [ARGS...]\n");
        return 2;
    }
    const auto start = std::chrono::steady_clock::now();
    pid_t child = 0;
    if (posix_spawn(&child, argv[2], nullptr, nullptr, argv + 2, environ) != 0) {
        std::perror(argv[2]);
        return 2;
    }
    int status = 0;
    rusage usage{};
    if (wait4(child, &status, 0, &usage) != child) {
        std::perror("wait4");
        return 2;
    }
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    std::FILE* report = std::fopen(argv[1], "w");
    if (report == nullptr) {
        std::perror(argv[1]);
        return 2;
    }
    std::fprintf(report, "%.9f %ld %d\n", seconds.count(), usage.ru_maxrss,
                 WIFEXITED(status) ? WEXITSTATUS(status) : -1);
    return std::fclose(report) == 0 ? 0 : 2;
}
