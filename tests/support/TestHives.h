// The hives the settings can live in, for suites that every hive must pass alike: in memory,
// in a settings file and, in the Windows build, the registry itself.
#pragma once

#include "settings/FileHive.h"
#include "settings/MemoryHive.h"
#include "settings/ProgramSettings.h"
#include "support/TempFolder.h"

#ifdef _WIN32
#include "settings/Win32Hive.h"
#endif

#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace marlindex::test {

class TestHive {
public:
    TestHive() {
        // The registry is one for all tests of a run, and tests run side by side: each test
        // keeps to its own key.
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        program_ = std::string(info != nullptr ? info->name() : "test") + "-" +
                   std::to_string(std::random_device{}());
        program_ = ReplaceSlashes(program_);
    }
    virtual ~TestHive() = default;

    virtual RegistryHive& hive() = 0;
    // The store as a hive made afresh sees it: the file read again, the registry opened anew.
    virtual RegistryHive& Reopened() = 0;

    // A settings object on HKEY_CURRENT_USER\SOFTWARE\MarlindexTests\<this test>\Settings.
    CProgramSettings Settings() {
        return CProgramSettings::ForUserKey(hive(), "MarlindexTests", program_, "Settings");
    }
    std::string Key() { return Settings().KeyPath(); }

private:
    static std::string ReplaceSlashes(std::string text) {
        for (char& c : text) {
            c = c == '/' ? '-' : c; // parameterised test names hold a slash
        }
        return text;
    }
    std::string program_;
};

class MemoryTestHive final : public TestHive {
public:
    RegistryHive& hive() override { return hive_; }
    RegistryHive& Reopened() override { return hive_; }

private:
    MemoryHive hive_;
};

class FileTestHive final : public TestHive {
public:
    FileTestHive() : hive_(std::make_unique<FileHive>(folder_ / "registry.reg")) {}
    RegistryHive& hive() override { return *hive_; }
    RegistryHive& Reopened() override {
        hive_ = std::make_unique<FileHive>(folder_ / "registry.reg");
        return *hive_;
    }

private:
    TempFolder folder_;
    std::unique_ptr<FileHive> hive_;
};

#ifdef _WIN32
class Win32TestHive final : public TestHive {
public:
    Win32TestHive() : hive_(std::make_unique<Win32Hive>()) {}
    RegistryHive& hive() override { return *hive_; }
    RegistryHive& Reopened() override {
        hive_ = std::make_unique<Win32Hive>();
        return *hive_;
    }

private:
    std::unique_ptr<Win32Hive> hive_;
};
#endif

struct HiveKind {
    std::string name;
    std::function<std::unique_ptr<TestHive>()> make;
};

inline std::vector<HiveKind> AllHiveKinds() {
    std::vector<HiveKind> kinds{
        {"Memory", [] { return std::make_unique<MemoryTestHive>(); }},
        {"File", [] { return std::make_unique<FileTestHive>(); }},
    };
#ifdef _WIN32
    kinds.push_back({"Win32", [] { return std::make_unique<Win32TestHive>(); }});
#endif
    return kinds;
}

// Test names and failure messages show the kind's name.
inline void PrintTo(const HiveKind& kind, std::ostream* out) {
    *out << kind.name;
}

inline std::string HiveKindName(const ::testing::TestParamInfo<HiveKind>& info) {
    return info.param.name;
}

} // namespace marlindex::test
