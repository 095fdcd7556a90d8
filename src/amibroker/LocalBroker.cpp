#include "amibroker/LocalBroker.h"

#include "analysis/ResultsCsv.h"
#include "startup/AtomicFile.h"
#include "startup/Codepage.h"
#include "startup/TextHelpers.h"

#include <charconv>
#include <chrono>
#include <cmath>
#include <future>
#include <limits>

namespace marlindex {

namespace {

constexpr const char* kTitle = "Marlindex";

std::string Count(std::size_t n, const char* one, const char* many) {
    return std::to_string(n) + " " + (n == 1 ? one : many);
}

// Runs `run` on a thread of its own and calls `meanwhile` on this one until it has ended: first
// at once, so that what `meanwhile` lets happen (a click on Cancel) can reach even a short run.
template <class Run>
auto RunBeside(const Run& run, const std::function<void()>& meanwhile) -> decltype(run()) {
    std::future<decltype(run())> result = std::async(std::launch::async, run);
    do {
        meanwhile();
    } while (result.wait_for(std::chrono::milliseconds(15)) != std::future_status::ready);
    return result.get();
}

} // namespace

std::optional<std::size_t> ReadRangeN(const Variant& value) {
    if (const auto* number = std::get_if<std::int16_t>(&value)) {
        return *number < 0 ? std::nullopt : std::optional<std::size_t>(*number);
    }
    const auto* text = std::get_if<std::string>(&value);
    if (text == nullptr) {
        return std::nullopt;
    }
    const std::optional<double> read = ReadTypedNumber(*text);
    if (!read) {
        return std::nullopt;
    }
    const double whole = std::nearbyint(*read);
    if (whole < 0 || whole > static_cast<double>(std::numeric_limits<std::int32_t>::max())) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(whole);
}

void LocalAnalysis::Fail(const std::string& why) {
    prompts_->Inform(kTitle, "The run stopped:\n" + why, PromptIcon::Exclamation);
    throw BrokerError(why);
}

void LocalAnalysis::LoadFormula(const std::string& path) {
    formulaPath_ = path;
    formula_.reset();
    std::error_code error;
    const std::optional<std::string> bytes = ReadWholeFile(path, &error);
    if (!bytes) {
        Fail(path + ": cannot read the formula: " + error.message());
    }
    try {
        formula_ = afl::Formula::Parse(Cp1252ToUtf8(*bytes));
    } catch (const afl::Error& parse) {
        Fail(Problem{ProblemKind::BadInput,
                     Place::AtLine(path, static_cast<std::size_t>(parse.where().line),
                                   static_cast<std::size_t>(parse.where().column)),
                     parse.message()}
                 .FileLineMessage());
    }
}

void LocalAnalysis::SetApplyTo(std::int16_t value) {
    currentOnly_ = value == 1;
}

void LocalAnalysis::SetRangeMode(std::int16_t value) {
    if (value < 0 || value > 2) {
        Fail("the range mode " + std::to_string(value) +
             " is not one of all bars (0), the n last bars (1) or the n last days (2)");
    }
    request_.range.mode = static_cast<RangeMode>(value);
}

void LocalAnalysis::SetRangeN(const Variant& value) {
    const std::optional<std::size_t> n = ReadRangeN(value);
    if (!n) {
        const auto* text = std::get_if<std::string>(&value);
        Fail("the number of bars or days " + (text != nullptr ? QuoteExcerpt(*text) : "given") +
             " is not a whole number from 0");
    }
    request_.range.n = *n;
}

void LocalAnalysis::Run(AnalysisMode mode) {
    const std::string what = mode == AnalysisMode::Explore ? "exploration" : "scan";
    if (!formula_) {
        Fail("no formula is loaded for the " + what);
    }
    request_.mode = mode;
    request_.symbol.reset();
    if (currentOnly_) {
        if (currentSymbol_.empty()) {
            Fail("the " + what +
                 " applies to the current symbol, and there is none yet: choose \"all "
                 "tickers\" or \"use filter\" to run over the database");
        }
        request_.symbol = currentSymbol_;
    }
    const Result<QuoteStore> store = QuoteStore::Open(databaseFolder_);
    if (!store) {
        Fail(store.problem().Message());
    }
    const auto run = [&] { return RunAnalysis(*formula_, *store, request_, control_); };
    Result<AnalysisResults> results = whileRunning_ ? RunBeside(run, whileRunning_) : run();
    if (!results) {
        Problem problem = std::move(results.problem());
        if (problem.where.line > 0) {
            problem.where.file = formulaPath_; // a value of the wrong kind in the formula
        }
        Fail(problem.FileLineMessage());
    }

    std::filesystem::path csv = formulaPath_;
    csv.replace_extension(".csv");
    if (const std::error_code error = WriteFileAtomically(csv, ResultsCsv(*results))) {
        Fail("cannot write the results to " + Utf8Path(csv) + ": " + error.message());
    }
    lastResults_ = std::move(results).value();
    lastCsv_ = csv;

    const AnalysisResults& done = *lastResults_;
    std::string message = "The " + what + " gave " + Count(done.rows.size(), "row", "rows") +
                          " from " + Count(done.symbolsRun, "symbol", "symbols") + " and " +
                          Count(done.barsRun, "bar", "bars");
    if (done.cancelled) {
        message += "; it was cancelled before the last symbol";
    }
    if (reportInMessage_) {
        prompts_->Inform(kTitle, message + ".\nThe rows are in\n" + Utf8Path(csv));
    }
}

std::string LocalBroker::DatabasePath() {
    return databaseFolder_.string();
}

} // namespace marlindex
