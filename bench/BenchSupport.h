// What the benchmarks share: a temporary work folder, the shared data set imported into a
// quote store once per run and loaded into memory once, the reference scan, and a child
// process timed from its start to its end with its peak memory.
#pragma once

#include "quotes/QuoteImport.h"
#include "quotes/QuoteStore.h"
#include "support/SharedData.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <string>
#include <vector>

#ifndef _WIN32
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
extern char** environ;
#endif

namespace marlindex::bench {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

inline constexpr const char* kReferenceScan =
    "Buy = RSIa( Close, 14 ) < 30 AND BarsSince( Cross( MA( Close, 5 ), MA( Close, 50 ) ) ) "
    "<= 3 AND Volume > MA( Volume, 15 );";

inline double SecondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// A folder of its own under the temporary folder, removed at the end.
class WorkFolder {
public:
    WorkFolder() {
        path_ = fs::temp_directory_path() /
                ("marlindex-bench-" + std::to_string(std::random_device{}()));
        fs::create_directories(path_);
    }
    ~WorkFolder() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    WorkFolder(const WorkFolder&) = delete;
    WorkFolder& operator=(const WorkFolder&) = delete;
    const fs::path& path() const { return path_; }

private:
    fs::path path_;
};

inline fs::path PricesFolder(const fs::path& data) {
    return data / "sp500_daily_2013-2018";
}

inline ImportRequest WholeDataSet(const fs::path& data) {
    ImportRequest request;
    request.symbolsFile = data / "sp500_symbols_2018" / "symbols.csv";
    request.paths = {PricesFolder(data)};
    return request;
}

// The whole shared data set imported once per run; null without the data.
inline const fs::path* ImportedStore() {
    static WorkFolder work;
    static const std::optional<fs::path> folder = []() -> std::optional<fs::path> {
        const auto data = test::SharedDataFolder();
        if (!data || ImportQuotes(work.path(), WholeDataSet(*data)).status !=
                         ImportOutcome::Status::Imported) {
            return std::nullopt;
        }
        return work.path();
    }();
    return folder ? &*folder : nullptr;
}

// The imported data set in memory, loaded once per run; null without the data.
inline const QuoteSnapshot* SharedSnapshot() {
    static const std::optional<QuoteSnapshot> snapshot = []() -> std::optional<QuoteSnapshot> {
        const fs::path* store = ImportedStore();
        if (store == nullptr) {
            return std::nullopt;
        }
        return QuoteStore::Open(*store)->LoadForAnalysis();
    }();
    return snapshot ? &*snapshot : nullptr;
}

struct ChildRun {
    int status = -1;      // the exit status; -1 when it did not start or end normally
    double seconds = 0;   // from the spawn to the end
    double peakRssMb = 0; // its peak resident set
};

// Runs `program` with `args`, stdout to `out` and stderr to `err`, and waits for it. It runs
// under the small `peak-rss` probe, which times it and reads its peak resident set: measured
// from here, that peak would include this process's own memory (see bench/probe/peak-rss.cpp).
inline ChildRun RunChild(const fs::path& program, const std::vector<std::string>& args,
                         const fs::path& out, const fs::path& err) {
    ChildRun run;
#ifndef _WIN32
    const fs::path report = fs::path(out).concat(".peak");
    std::vector<std::string> all{MARLINDEX_PEAK_RSS, report.string(), program.string()};
    all.insert(all.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& arg : all) {
        argv.push_back(arg.data());
    }
    argv.push_back(nullptr);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&files, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    pid_t probe = 0;
    const int spawned =
        posix_spawn(&probe, MARLINDEX_PEAK_RSS, &files, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    int status = 0;
    if (spawned != 0 || waitpid(probe, &status, 0) != probe || !WIFEXITED(status) ||
        WEXITSTATUS(status) != 0) {
        return run;
    }
    std::ifstream in(report);
    long peakKib = 0;
    if (!(in >> run.seconds >> peakKib >> run.status)) {
        run.status = -1;
    }
    run.peakRssMb = static_cast<double>(peakKib) / 1024; // Linux gives KiB
#else
    (void)program, (void)args, (void)out, (void)err;
#endif
    return run;
}

// A random walk with the reach of a daily stock, a few percent a day and volume around a
// million, on weekdays from 2000-01-03; now and then a run of falls, so that the reference scan
// has oversold bars to find. The same `seed` gives the same bars.
inline BarSeries RandomWalk(std::uint64_t seed, std::size_t count) {
    BarSeries bars;
    std::uint64_t state = (seed + 1) * 0x9E3779B97F4A7C15U;
    const auto next = [&state] {
        state = state * 6364136223846793005ULL + 1442695040888963407ULL;
        return static_cast<double>(state >> 11) / 9007199254740992.0;
    };
    TradeDate date = *ParseIsoDate("2000-01-03");
    double price = 20 + 100 * next();
    for (std::size_t i = 0; i < count; ++i, ++date) {
        while ((date + 3) % 7 >= 5) { // weekdays only: 1970-01-01 was a Thursday
            ++date;
        }
        const double open = price;
        price *= 1 + (next() - 0.5) * 0.04 - (i % 97 > 90 ? 0.03 : 0);
        bars.dates.push_back(date);
        bars.open.push_back(open);
        bars.high.push_back(std::max(open, price) * (1 + next() * 0.01));
        bars.low.push_back(std::min(open, price) * (1 - next() * 0.01));
        bars.close.push_back(price);
        bars.volume.push_back(std::floor(5e5 + 1e6 * next()));
        bars.openInt.push_back(0);
    }
    return bars;
}

// The benchmarks' one Python: Debian's, which has pandas (the PATH's may not).
inline constexpr const char* kPython = "/usr/bin/python3";

} // namespace marlindex::bench
