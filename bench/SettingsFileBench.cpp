// Reading the settings file: the program reads it whole at every start, so a large file (a
// hundred thousand values in one key, or keys written in reverse order) must load in time
// that grows with its size alone. Python's configparser reads the same file as the peer.
#include "BenchSupport.h"
#include "settings/FileHive.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <string>

namespace marlindex::bench {
namespace {

constexpr int kCount = 100'000;

// A REGEDIT4 file with kCount values in one key, or kCount keys of one value each in reverse
// order of their names.
std::string SettingsText(bool manyKeys) {
    std::string text = "REGEDIT4\r\n\r\n";
    if (!manyKeys) {
        text += "[HKEY_CURRENT_USER\\SOFTWARE\\QRV\\Marlindex\\Settings]\r\n";
    }
    for (int i = kCount; i-- > 0;) {
        const std::string n = std::to_string(1'000'000 + i);
        if (manyKeys) {
            text += "[HKEY_CURRENT_USER\\SOFTWARE\\QRV\\Marlindex\\Settings\\Key" + n + "]\r\n";
        }
        text += "\"Value" + n + "\"=\"" + n + "\"\r\n";
        if (manyKeys) {
            text += "\r\n";
        }
    }
    return text;
}

// configparser's own time for the file, in seconds; negative when it did not run or did not
// read every value.
double ConfigParserRead(const fs::path& file) {
    const std::string command = std::string(kPython) +
                                " '" MARLINDEX_BENCH_DIR "/configparser_read_settings.py' '" +
                                file.string() + "' 2>/dev/null";
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        return -1;
    }
    double seconds = -1;
    long sections = 0;
    long values = 0;
    if (std::fscanf(pipe, "%lf %ld %ld", &seconds, &sections, &values) != 3 || values != kCount) {
        seconds = -1;
    }
    return pclose(pipe) == 0 ? seconds : -1;
}

void BM_ReadSettingsFile(benchmark::State& state) {
    const bool manyKeys = state.range(0) != 0;
    WorkFolder work;
    const fs::path file = work.path() / "registry.reg";
    {
        std::ofstream out(file, std::ios::binary);
        out << SettingsText(manyKeys);
    }
    double total = 0;
    for (auto _ : state) {
        const auto start = Clock::now();
        FileHive hive(file, FileHive::Access::ReadOnly);
        total += SecondsSince(start);
        if (hive.TakeLoadReport()) {
            state.SkipWithError("the generated settings file did not load");
            return;
        }
        benchmark::DoNotOptimize(hive);
    }
    const double ours = total / static_cast<double>(state.iterations());
    state.counters["ms"] = 1000 * ours;
    state.counters["file_MB"] = static_cast<double>(fs::file_size(file)) / (1 << 20);
    const double peer = fs::exists(kPython) ? ConfigParserRead(file) : -1;
    if (peer > 0) {
        state.counters["configparser_ms"] = 1000 * peer;
        state.counters["configparser/ours"] = peer / ours;
    }
    state.SetLabel(manyKeys ? "100,000 keys, reverse order" : "100,000 values in one key");
}
BENCHMARK(BM_ReadSettingsFile)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(5);

} // namespace
} // namespace marlindex::bench
