// The local host: a database folder on disk, analysed by the program's own engine. It answers
// the members Run calls as AmiBroker would: it loads the run file, takes the run options, and
// explores or scans the folder's quote store. A run writes its rows as CSV beside the run file
// and, unless a results window shows them, says how many there were and where they are; a run
// that fails always says why.
#pragma once

#include "afl/Formula.h"
#include "amibroker/Broker.h"
#include "analysis/AnalysisRun.h"
#include "startup/UserPrompts.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace marlindex {

// RangeN as the program passes it, a 16-bit integer or the text the user typed: a whole
// number from 0 (blanks around it allowed; a fraction rounds half to even, as the automation
// interface converts a text to a number). None for anything else.
std::optional<std::size_t> ReadRangeN(const Variant& value);

class LocalAnalysis : public Analysis {
public:
    LocalAnalysis(std::filesystem::path databaseFolder, UserPrompts& prompts)
        : databaseFolder_(std::move(databaseFolder)), prompts_(&prompts) {}

    // Reads the run file as the program wrote it (Windows-1252) and parses it; a formula that
    // does not read is a BrokerError naming the file, line and column.
    void LoadFormula(const std::string& path) override;
    // The local host has no filters of its own: the filter is part of the formula text.
    void ClearFilters() override {}
    // 1: the current symbol; any other value: all symbols.
    void SetApplyTo(std::int16_t value) override;
    // 0 all bars, 1 the n last bars, 2 the n last days; other modes are a BrokerError.
    void SetRangeMode(std::int16_t value) override;
    void SetRangeN(const Variant& value) override;
    void Explore() override { Run(AnalysisMode::Explore); }
    void Scan() override { Run(AnalysisMode::Scan); }

    // The symbol "the current symbol" means; none yet, until a results window chooses one.
    void SetCurrentSymbol(std::string symbol) { currentSymbol_ = std::move(symbol); }
    // Heard during a run (symbols done and in all); returning false cancels it. The flag
    // cancels it from another thread.
    void SetRunControl(RunControl control) { control_ = std::move(control); }
    // Called again and again on the calling thread while a run goes, which then runs on a
    // thread of its own: a window lets its events run here, so that its progress shows and
    // its Cancel can be clicked. None: the run blocks the calling thread.
    void SetWhileRunning(std::function<void()> whileRunning) {
        whileRunning_ = std::move(whileRunning);
    }
    // Whether a run that ends says in a message how many rows it gave and where the CSV is; a
    // window that shows the rows makes that message unnecessary. A run that fails always says
    // why.
    void SetReportInMessage(bool report) { reportInMessage_ = report; }

    const std::string& FormulaPath() const { return formulaPath_; }
    const AnalysisRequest& Request() const { return request_; }
    // The last run's results and the CSV they were written to; none before a run.
    const std::optional<AnalysisResults>& LastResults() const { return lastResults_; }
    const std::filesystem::path& LastCsv() const { return lastCsv_; }

private:
    void Run(AnalysisMode mode);
    [[noreturn]] void Fail(const std::string& why);

    std::filesystem::path databaseFolder_;
    UserPrompts* prompts_;
    std::string formulaPath_;
    std::optional<afl::Formula> formula_;
    bool currentOnly_ = false;
    std::string currentSymbol_;
    AnalysisRequest request_;
    RunControl control_;
    std::function<void()> whileRunning_;
    bool reportInMessage_ = true;
    std::optional<AnalysisResults> lastResults_;
    std::filesystem::path lastCsv_;
};

class LocalBroker : public Broker {
public:
    // The version the local host reports: new enough for the "Formulas" folder.
    static constexpr const char* kVersion = "5.00";

    LocalBroker(std::filesystem::path databaseFolder, UserPrompts& prompts)
        : databaseFolder_(std::move(databaseFolder)), analysis_(databaseFolder_, prompts) {}

    std::string Version() override { return kVersion; }
    std::string DatabasePath() override;
    marlindex::Analysis& Analysis() override { return analysis_; }
    LocalAnalysis& Local() { return analysis_; }

private:
    std::filesystem::path databaseFolder_;
    LocalAnalysis analysis_;
};

} // namespace marlindex
