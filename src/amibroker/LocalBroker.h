// The local host: a database folder on disk and no analysis application. It answers the
// members the program calls so that the whole window works, and when a run reaches it, it
// says plainly that there is no analysis engine yet to run the formula it was given.
#pragma once

#include "amibroker/Broker.h"
#include "startup/UserPrompts.h"

#include <filesystem>
#include <string>

namespace marlindex {

class LocalAnalysis : public Analysis {
public:
    explicit LocalAnalysis(UserPrompts& prompts) : prompts_(&prompts) {}

    void LoadFormula(const std::string& path) override { formulaPath_ = path; }
    void ClearFilters() override {}
    void SetApplyTo(std::int16_t) override {}
    void SetRangeMode(std::int16_t) override {}
    void SetRangeN(const Variant&) override {}
    void Explore() override { SayNoEngine("exploration"); }
    void Scan() override { SayNoEngine("scan"); }

    const std::string& FormulaPath() const { return formulaPath_; }

private:
    void SayNoEngine(const std::string& what);

    UserPrompts* prompts_;
    std::string formulaPath_;
};

class LocalBroker : public Broker {
public:
    // The version the local host reports: new enough for the "Formulas" folder.
    static constexpr const char* kVersion = "5.00";

    LocalBroker(std::filesystem::path databaseFolder, UserPrompts& prompts)
        : databaseFolder_(std::move(databaseFolder)), analysis_(prompts) {}

    std::string Version() override { return kVersion; }
    std::string DatabasePath() override;
    marlindex::Analysis& Analysis() override { return analysis_; }

private:
    std::filesystem::path databaseFolder_;
    LocalAnalysis analysis_;
};

} // namespace marlindex
