// Running a formula: the run options' persistence, the View menu switches, Run, and Copy,
// which hands the formula on as Run does, with its conditions in a comment.
#include "library/FormulaComment.h"
#include "mainwindow/MainWindowState.h"
#include "startup/AtomicFile.h"
#include "startup/Codepage.h"
#include "startup/TextHelpers.h"

#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <limits>

namespace marlindex {

namespace {

constexpr const char* kRunSection = "Settings\\";
constexpr std::size_t kProgramFolderNameLength = 9; // "Marlindex"

// A stored 16-bit setting: its leading whole number, the default when there is none (a
// hand-edited settings file must not stop the program).
int ReadSetting16(const CProgramSettings& settings, const char* name, const char* fallback) {
    const std::string text{TrimBlanks(settings.ReadEntry(name, fallback))};
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || value < std::numeric_limits<std::int16_t>::min() ||
        value > std::numeric_limits<std::int16_t>::max()) {
        return std::atoi(fallback);
    }
    return value;
}

// The leading number of a version text as single precision: "4.80.1" reads 4.8.
float ReadVersion(const std::string& version) {
    const std::string head = version.substr(0, 3);
    float value = 0;
    const auto [end, error] = std::from_chars(head.data(), head.data() + head.size(), value);
    if (error != std::errc() || end != head.data() + head.size()) {
        throw BrokerError("the version \"" + version + "\" is not a number");
    }
    return value;
}

} // namespace

std::string RunFilePath(const std::string& programFolder, const std::string& version) {
    if (programFolder.size() <= kProgramFolderNameLength) {
        throw BrokerError("the program folder \"" + programFolder +
                          "\" does not lie inside the analysis application's folder");
    }
    // The cut is literal, as the installed layout has it: <application>\Marlindex.
    const std::string base =
        programFolder.substr(0, programFolder.size() - kProgramFolderNameLength);
    const char separator = base.back() == '\\' || base.back() == '/' ? base.back() : '/';
    const std::string folder = ReadVersion(version) >= 4.7f ? "Formulas" : "AFL";
    return base + folder + separator + "Unnamed.afl";
}

void MainWindowState::WriteSwitch(MenuItem& item, const char* name) {
    item.checked = !item.checked;
    settings_->SetSection(kRunSection);
    settings_->WriteEntry(name, item.checked ? "1" : "0");
}

void MainWindowState::mMOS_Click() {
    WriteSwitch(mMOS, "MinOnScan");
}

void MainWindowState::mICWC_Click() {
    WriteSwitch(mICWC, "IncludeCommentWithCode");
}

bool MainWindowState::mWITB_Click() {
    WriteSwitch(mWITB, "WindowInTaskBar");
    return mWITB.checked;
}

void MainWindowState::LoadRunSettings() {
    settings_->SetSection(kRunSection);
    SetApplyTo(ReadSetting16(*settings_, "ApplyTo", "0"));
    SetScanRange(ReadSetting16(*settings_, "Range", "1"));
    SetScanRangeNumber(settings_->ReadEntry("RangeNumber", "1"));
    txtRange.text = ScanRangeNumber();
    SetAnalysisType(ReadSetting16(*settings_, "AnalysisType", "0"));
    mMOS.checked = ReadSetting16(*settings_, "MinOnScan", "1") != 0;
    mWITB.checked = ReadSetting16(*settings_, "WindowInTaskBar", "0") != 0;
    // Comments with the code are on at every start, whatever was stored.
    mICWC.checked = true;
    gridMode_ = "ADD";
    currentSymbol.Load(*settings_);
}

void MainWindowState::SaveRunSettings() {
    settings_->SetSection(kRunSection);
    settings_->WriteEntry("ApplyTo", std::to_string(applyTo_));
    settings_->WriteEntry("Range", std::to_string(scanRange_));
    settings_->WriteEntry("RangeNumber", scanRangeNumber_);
    settings_->WriteEntry("AnalysisType", std::to_string(analysisType_));
    currentSymbol.Save(*settings_);
}

std::vector<std::string> MainWindowState::RowTexts() const {
    std::vector<std::string> texts;
    for (int row = 0; row < gridCount_; ++row) {
        texts.push_back(MSFlexGrid1.Text(row));
    }
    return texts;
}

std::string MainWindowState::CommentedFormulaText(std::string_view date) const {
    return CommentedFormula(date, RowTexts(), txtForumlae.text);
}

void MainWindowState::mCopy_Click(
    const std::function<void(const std::string&)>& setClipboard) const {
    setClipboard(CommentedFormulaText(TodayForComment()));
}

RunOutcome RunFormula(const RunRequest& request, const RunServices& services) {
    RunOutcome outcome;
    if (request.formula.empty() || services.broker == nullptr) {
        return outcome;
    }
    try {
        Broker& broker = *services.broker;
        const std::string path = RunFilePath(services.programFolder, broker.Version());
        const std::string content =
            request.commentRows
                ? CommentedFormula(services.today, *request.commentRows, request.formula)
                : request.formula;
        CodepageError codepage;
        const std::optional<std::string> bytes = Utf8ToCp1252(content, &codepage);
        if (!bytes) {
            throw BrokerError("the formula cannot be saved in the Windows-1252 code page: " +
                              codepage.what);
        }
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        if (const std::error_code error = WriteFileAtomically(path, *bytes)) {
            throw BrokerError("cannot write " + path + ": " + error.message());
        }
        outcome.runFile = path;

        Analysis& analysis = broker.Analysis();
        analysis.LoadFormula(path);
        analysis.ClearFilters();
        // The filter is part of the formula text; the application's own filter was just
        // cleared, so "use filter" runs over all symbols.
        analysis.SetApplyTo(request.currentTicker ? 1 : 0);
        if (!request.range) {
            analysis.SetRangeMode(1);
            analysis.SetRangeN(Variant{std::int16_t{1}});
        } else if (*request.range == 0) {
            analysis.SetRangeMode(0);
        } else {
            analysis.SetRangeMode(static_cast<std::int16_t>(*request.range));
            analysis.SetRangeN(Variant{request.rangeNumber});
        }
        if (services.letEventsRun) {
            services.letEventsRun();
        }
        if (request.minimise && services.minimiseWindow) {
            services.minimiseWindow();
        }
        outcome.started = true;
        if (request.explore) {
            analysis.Explore();
        } else {
            analysis.Scan();
        }
    } catch (const std::exception& error) {
        outcome.started = false;
        outcome.error = error.what();
    }
    return outcome;
}

RunOutcome MainWindowState::btnRun_Click(const RunServices& services) {
    RunRequest request;
    request.formula = txtForumlae.text;
    if (mICWC.checked) {
        request.commentRows = RowTexts();
    }
    request.currentTicker = OptCurrentTicker.value && !optAllTickers.value;
    if (optAllBars.value) {
        request.range = 0;
    } else if (OptLastBars.value) {
        request.range = 1;
    } else if (OptLastDays.value) {
        request.range = 2;
    }
    request.rangeNumber = scanRangeNumber_;
    request.explore = optExplore.value;
    request.minimise = mMOS.checked;
    return RunFormula(request, services);
}

} // namespace marlindex
