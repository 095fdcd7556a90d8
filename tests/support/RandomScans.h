// Random scans and random editing sessions, made the same on every platform from a seed: the
// generation corpus records what they produce, and property tests use them as a supply of
// formulas a user could make. Changing what this file generates invalidates the corpus.
#pragma once

#include "formula/AflNumber.h"
#include "formula/Catalogues.h"
#include "mainwindow/MainWindowState.h"
#include "scanfile/ScanFile.h"

#include <array>
#include <bit>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace marlindex::test {

// SplitMix64: the standard library's engines are portable but its distributions are not, so
// the numbers are drawn by hand.
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::uint64_t Next() {
        std::uint64_t z = (state_ += 0x9E3779B97F4A7C15ULL);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
        return z ^ (z >> 31);
    }
    int Below(std::size_t n) { return static_cast<int>(Next() % n); }
    bool Percent(int p) { return Below(100) < p; }
    template <class T, std::size_t N> const T& Pick(const std::array<T, N>& items) {
        return items[static_cast<std::size_t>(Below(N))];
    }
    template <class T> const T& Pick(const std::vector<T>& items) {
        return items[static_cast<std::size_t>(Below(items.size()))];
    }

private:
    std::uint64_t state_;
};

// FNV-1a over everything a step leaves behind: a mismatch names the case and the step.
class Digest {
public:
    void Text(std::string_view text) {
        for (const char c : text) {
            hash_ = (hash_ ^ static_cast<unsigned char>(c)) * 0x100000001B3ULL;
        }
        hash_ = (hash_ ^ 0xFFu) * 0x100000001B3ULL; // end of field
    }
    void Number(std::int64_t number) { Text(std::to_string(number)); }
    void Flag(bool flag) { Text(flag ? "1" : "0"); }
    // The bits, so that two values printed alike still differ.
    void Real(double number) { Text(std::to_string(std::bit_cast<std::uint64_t>(number))); }
    std::uint64_t Value() const { return hash_; }
    std::string Hex() const {
        static constexpr char kDigits[] = "0123456789abcdef";
        std::string text(16, '0');
        for (int i = 0; i < 16; ++i) {
            text[static_cast<std::size_t>(15 - i)] = kDigits[(hash_ >> (4 * i)) & 0xF];
        }
        return text;
    }

private:
    std::uint64_t hash_ = 0xCBF29CE484222325ULL;
};

inline constexpr std::array<int, 12> kRandomBars{0, 0, 0, 1, 1, 2, 3, 5, 10, 14, 20, 250};
inline constexpr std::array<double, 10> kRandomAmounts{0, 1, 2.5, 5, 10, -3, 0.1, 33.333, 100, 150};
inline constexpr std::array<double, 9> kRandomValues{30, 70, 0, -5, 1.5, 100, 0.25, 1000000, 12.75};
inline constexpr std::array<const char*, 4> kRandomOperations{kModifyIncrease, kModifyDecrease,
                                                              kModifyMultiply, kModifyDivide};
inline constexpr std::array<const char*, 5> kRandomFilters{
    "", "", "MarketID() == 1", "( MarketID() == 1 OR GroupID() == 3 )\r\nAND NOT InWatchList( 5 )",
    "( SectorID() == 2 )\r\nAND NOT IndustryID() == 7\r\nAND NOT InWatchList( 0 )"};
// What a user may type into a field when editing: numbers, junk and nothing.
inline constexpr std::array<const char*, 10> kRandomTyping{"",   "0",   "1",   "7",   "12.5",
                                                           "-4", "abc", "1/2", "250", "0.05"};

// Every pair of indicator A and a comparison it offers, so that the corpus covers the whole
// catalogue.
inline std::vector<std::pair<int, int>> IndicatorComparisonPairs() {
    std::vector<std::pair<int, int>> pairs;
    for (int a = 0; a < kIndicatorCount; ++a) {
        for (const int c : AvailableComparisons(a)) {
            pairs.emplace_back(a, c);
        }
    }
    return pairs;
}

inline std::string RandomOption(Random& rng, int indicator) {
    const std::vector<OptionEntry> options = IndicatorOptions(indicator);
    return options.empty() ? std::string() : rng.Pick(options).text;
}

// One condition row as the editor can hold it, with indicator A and comparison given (no
// comparison: a row the user has not finished).
inline ScanRow RandomRow(Random& rng, int a, std::optional<int> c) {
    ScanRow row;
    row.joiner = rng.Percent(60) ? "AND" : "OR";
    row.openBrackets = rng.Percent(20) ? 1 + rng.Below(2) : 0;
    row.closeBrackets = rng.Percent(20) ? 1 + rng.Below(2) : 0;
    EditorState& s = row.state;
    s.indicator1 = a;
    s.option1 = RandomOption(rng, a);
    s.tp1 = rng.Pick(kRandomBars);
    if (rng.Percent(25)) {
        s.modify1On = true;
        s.modify1Operation = rng.Pick(kRandomOperations);
        s.modify1 = rng.Pick(kRandomAmounts);
    }
    s.value1 = rng.Pick(kRandomValues);
    s.comparison = c;
    if (!c) {
        return row;
    }
    const ComparisonEntry entry = Comparison(*c);
    const bool barByBar = entry.group == ComparisonGroup::BarByBar;
    if (TakesIndicator(entry.kind) && TakesValue(entry.kind)) {
        const int choice = rng.Below(100);
        s.comparisonType = choice < 45 ? kTargetIndicator : choice < 90 ? kTargetValue : "";
    } else if (HasTargetList(entry.kind)) {
        s.comparisonType = OfferedTargets(entry.kind).front();
    }
    if (s.comparisonType == kTargetIndicator && rng.Percent(92)) {
        const int b = rng.Pick(PairedIndicators(a));
        s.indicator2 = b;
        s.option2 = RandomOption(rng, b);
        s.tp2 = barByBar ? rng.Pick(kRandomBars) : 1;
        if (rng.Percent(25)) {
            s.modify2On = true;
            s.modify2Operation = rng.Pick(kRandomOperations);
            s.modify2 = rng.Pick(kRandomAmounts);
            s.modify2Unit = rng.Percent(50) ? kUnitPercent : kUnitValue;
        }
    }
    if (s.comparisonType == kTargetValue && barByBar && rng.Percent(15)) {
        s.tp2 = 0; // a value "of the current bar": the editor can hold it, the value vanishes
    }
    return row;
}

// Scan `number` of a series: its first row takes the pair `number` of the catalogue, the
// others are drawn at random.
inline Scan RandomScan(Random& rng, std::size_t number) {
    static const std::vector<std::pair<int, int>> pairs = IndicatorComparisonPairs();
    Scan scan;
    scan.name = "Case " + std::to_string(number);
    scan.analysis = static_cast<AnalysisType>(rng.Below(3));
    scan.applyTo = rng.Below(3);
    scan.range = rng.Below(3);
    scan.rangeN = rng.Pick(kRandomBars);
    scan.filter = rng.Pick(kRandomFilters);
    const int rows = 1 + rng.Below(4);
    for (int r = 0; r < rows; ++r) {
        const auto [a, c] = r == 0 ? pairs[number % pairs.size()] : rng.Pick(pairs);
        scan.rows.push_back(RandomRow(rng, a, rng.Percent(4) ? std::nullopt : std::optional(c)));
    }
    return scan;
}

// ---- driving the main window as a user does ----

struct ComboControl {
    const char* name;
    ComboId id;
    ComboBox MainWindowState::*box;
};
inline constexpr std::array<ComboControl, 9> kComboControls{{
    {"cboIA1", ComboId::cboIA1, &MainWindowState::cboIA1},
    {"cboED1", ComboId::cboED1, &MainWindowState::cboED1},
    {"cboModify1", ComboId::cboModify1, &MainWindowState::cboModify1},
    {"cboCO", ComboId::cboCO, &MainWindowState::cboCO},
    {"cboCT", ComboId::cboCT, &MainWindowState::cboCT},
    {"cboIA2", ComboId::cboIA2, &MainWindowState::cboIA2},
    {"cboED2", ComboId::cboED2, &MainWindowState::cboED2},
    {"cboModify2", ComboId::cboModify2, &MainWindowState::cboModify2},
    {"cboModifyED2", ComboId::cboModifyED2, &MainWindowState::cboModifyED2},
}};

struct TextControl {
    const char* name;
    TextBox MainWindowState::*box;
    void (MainWindowState::*change)(std::string);
    void (MainWindowState::*lostFocus)();
};
inline constexpr std::array<TextControl, 5> kTextControls{{
    {"txtTP1", &MainWindowState::txtTP1, &MainWindowState::txtTP1_Change,
     &MainWindowState::txtTP1_LostFocus},
    {"txtModify1", &MainWindowState::txtModify1, &MainWindowState::txtModify1_Change,
     &MainWindowState::txtModify1_LostFocus},
    {"txtTP2", &MainWindowState::txtTP2, &MainWindowState::txtTP2_Change,
     &MainWindowState::txtTP2_LostFocus},
    {"txtModify2", &MainWindowState::txtModify2, &MainWindowState::txtModify2_Change,
     &MainWindowState::txtModify2_LostFocus},
    {"txtVal1", &MainWindowState::txtVal1, &MainWindowState::txtVal1_Change,
     &MainWindowState::txtVal1_LostFocus},
}};

// Everything the window shows and keeps, for a digest of one step.
inline void AddWindow(Digest& d, const MainWindowState& w) {
    for (const ComboControl& combo : kComboControls) {
        const ComboBox& box = w.*combo.box;
        for (const ComboItem& item : box.items) {
            d.Text(item.text);
            d.Number(item.data);
        }
        d.Number(box.selected);
        d.Flag(box.enabled);
        d.Flag(box.visible);
    }
    for (const TextControl& field : kTextControls) {
        const TextBox& box = w.*field.box;
        d.Text(box.text);
        d.Flag(box.enabled);
        d.Flag(box.visible);
    }
    d.Text(w.txtRange.text);
    for (const Label* label : {&w.lblTP1, &w.lblModify1, &w.lblTP2, &w.lblModify2, &w.lblVal1}) {
        d.Text(label->caption);
        d.Flag(label->enabled);
    }
    for (const CheckBox* box : {&w.chkModify1, &w.chkModify2}) {
        d.Flag(box->checked);
        d.Flag(box->enabled);
    }
    for (const std::string& row : w.MSFlexGrid1.rows) {
        d.Text(row);
    }
    d.Number(w.MSFlexGrid1.row);
    for (const MenuItem* item : {&w.mAND, &w.mOR, &w.mAddLeftBracket, &w.mRemoveLeftBracket,
                                 &w.mAddRightBracket, &w.mRemoveRightBracket}) {
        d.Flag(item->enabled);
        d.Flag(item->checked);
    }
    d.Text(w.txtForumlae.text);
    for (const FormatRun& run : w.txtForumlae.runs) {
        d.Number(static_cast<std::int64_t>(run.start));
        d.Number(static_cast<std::int64_t>(run.length));
        d.Number(run.format.rgb);
        d.Flag(run.format.bold);
    }
    for (const OptionButton* option :
         {&w.optExplore, &w.optScanBuy, &w.optScanSell, &w.optAllTickers, &w.OptCurrentTicker,
          &w.OptUseFilter, &w.optAllBars, &w.OptLastBars, &w.OptLastDays}) {
        d.Flag(option->value);
    }
    d.Text(w.ScanName());
    d.Number(w.AnalysisType());
    d.Number(w.ApplyTo());
    d.Number(w.GridCount());
    d.Text(w.GridOperator());
    d.Text(w.GridMode());
    d.Number(w.SelectedRow());
    d.Text(w.CurrentControl());
    d.Number(w.TP1());
    d.Number(w.TP2());
    d.Real(w.Modify1());
    d.Real(w.Modify2());
    d.Real(w.Value1());
    d.Number(w.ComparisonOperator().value_or(-1));
    d.Text(w.BarPhrase1());
    d.Text(w.ConditionCode());
    d.Text(w.FilterExpression());
}

inline void AddRecords(Digest& d, const ConditionRecordList& records) {
    const auto id = [](const CatalogueId& value) { return std::int64_t{value.value_or(-1)}; };
    for (const ConditionRecord& r : records) {
        d.Number(id(r.comparisonId));
        d.Text(r.codePart1);
        d.Text(r.codePart2);
        d.Text(r.joiner);
        d.Number(id(r.indicator1Id));
        d.Text(r.indicator1Option);
        d.Number(r.timePeriod1);
        d.Number(r.modify1On);
        d.Real(r.modify1Amount);
        d.Text(r.modify1Operation);
        d.Text(r.comparisonType);
        d.Number(id(r.indicator2Id));
        d.Text(r.indicator2Option);
        d.Number(r.timePeriod2);
        d.Number(r.modify2On);
        d.Real(r.modify2Amount);
        d.Text(r.modify2Operation);
        d.Text(r.modify2Unit);
        d.Real(r.value);
        d.Number(r.rowNumber);
        d.Number(static_cast<std::int64_t>(r.storedValue.index()));
        d.Text(r.rowText);
        d.Number(r.leftBrackets);
        d.Number(r.rightBrackets);
    }
}

class WindowDriver {
public:
    // With `trace`, every action adds the whole window to it.
    WindowDriver(MainWindowState& window, Random& rng, Digest* trace = nullptr)
        : w(window), rng_(rng), trace_(trace) {}

    // Focus, then the choice; nothing when the list has no such entry.
    void ChooseIndex(const ComboControl& combo, int index) {
        w.SetCurrentControl(combo.name);
        w.Choose(combo.id, index);
        Step();
    }
    void ChooseData(const ComboControl& combo, int data) {
        const int index = (w.*combo.box).FindData(data);
        if (index >= 0) {
            ChooseIndex(combo, index);
        }
    }
    void ChooseText(const ComboControl& combo, std::string_view text) {
        const int index = (w.*combo.box).FindText(text);
        if (index >= 0) {
            ChooseIndex(combo, index);
        }
    }
    // Focus, the text as typed (sometimes key by key, the bar fields dropping what their
    // key filter drops), then leaving the field.
    void Type(const TextControl& field, std::string_view text) {
        w.SetCurrentControl(field.name);
        const bool barField =
            field.box == &MainWindowState::txtTP1 || field.box == &MainWindowState::txtTP2;
        std::string typed;
        if (rng_.Percent(30)) {
            (w.*field.change)(typed);
            for (const char c : text) {
                if (barField && MainWindowState::txtTP1_KeyPress(c) == 0) {
                    continue;
                }
                typed += c;
                (w.*field.change)(typed);
            }
        } else {
            for (const char c : text) {
                if (!barField || MainWindowState::txtTP1_KeyPress(c) != 0) {
                    typed += c;
                }
            }
            (w.*field.change)(typed);
        }
        (w.*field.lostFocus)();
        Step();
    }
    void Check(const char* name, bool checked) {
        w.SetCurrentControl(name);
        if (std::string_view(name) == "chkModify1") {
            w.chkModify1_Click(checked);
        } else {
            w.chkModify2_Click(checked);
        }
        Step();
    }
    void LeftClick(int row) {
        w.MSFlexGrid1_MouseDown(1, row);
        w.MSFlexGrid1_Click();
        Step();
    }
    // True when the context menu popped up.
    bool RightClick(int row) {
        const bool popup = w.MSFlexGrid1_MouseDown(2, row);
        w.MSFlexGrid1_Click();
        Step();
        return popup;
    }

    // A scan row entered control by control, in the editor's order.
    void EnterRow(const ScanRow& row, bool first) {
        const EditorState& s = row.state;
        if (!first) {
            row.joiner == "OR" ? w.btnOr_Click() : w.btnAnd_Click();
            Step();
        }
        ChooseData(kComboControls[0], *s.indicator1);
        if (!s.option1.empty()) {
            ChooseText(kComboControls[1], s.option1);
        }
        Type(kTextControls[0], std::to_string(s.tp1));
        if (s.modify1On) {
            Check("chkModify1", true);
            ChooseText(kComboControls[2], s.modify1Operation);
            Type(kTextControls[1], FormatAflNumber(s.modify1));
        }
        if (s.comparison) {
            ChooseData(kComboControls[3], *s.comparison);
        }
        if (w.cboCT.enabled && !s.comparisonType.empty() && w.cboCT.Text() != s.comparisonType) {
            ChooseText(kComboControls[4], s.comparisonType);
        }
        if (s.indicator2 && w.cboIA2.enabled) {
            ChooseData(kComboControls[5], *s.indicator2);
            if (!s.option2.empty()) {
                ChooseText(kComboControls[6], s.option2);
            }
            if (w.txtTP2.enabled) {
                Type(kTextControls[2], std::to_string(s.tp2));
            }
            if (s.modify2On) {
                Check("chkModify2", true);
                ChooseText(kComboControls[7], s.modify2Operation);
                ChooseText(kComboControls[8], s.modify2Unit);
                Type(kTextControls[3], FormatAflNumber(s.modify2));
            }
        }
        if (w.txtVal1.enabled) {
            Type(kTextControls[4], FormatAflNumber(s.value1));
        }
        const int written = w.GridCount() - 1;
        for (int i = 0; i < row.openBrackets; ++i) {
            if (RightClick(written)) {
                w.mAddLeftBracket_Click();
                Step();
            }
        }
        for (int i = 0; i < row.closeBrackets; ++i) {
            if (RightClick(written)) {
                w.mAddRightBracket_Click();
                Step();
            }
        }
    }

    // The scan's run options and filter, then its rows.
    void EnterScan(const Scan& scan) {
        w.SetFilterExpression(scan.filter);
        const std::array<void (MainWindowState::*)(), 3> analyses{
            &MainWindowState::optExplore_Click, &MainWindowState::optScanBuy_Click,
            &MainWindowState::optScanSell_Click};
        (w.*analyses[static_cast<std::size_t>(scan.analysis)])();
        const std::array<void (MainWindowState::*)(), 3> applyTo{
            &MainWindowState::optAllTickers_Click, &MainWindowState::OptCurrentTicker_Click,
            &MainWindowState::OptUseFilter_Click};
        (w.*applyTo[static_cast<std::size_t>(scan.applyTo)])();
        Step();
        for (std::size_t r = 0; r < scan.rows.size(); ++r) {
            EnterRow(scan.rows[r], r == 0);
        }
    }

    // One random thing a user does after the rows are in: select, edit, bracket, join,
    // remove, start a row, change the run options or the filter, clear all.
    void RandomEdit() {
        const int rowsInGrid = std::max(w.GridCount(), 1);
        const int pick = rng_.Below(100);
        if (pick < 15) {
            LeftClick(rng_.Below(static_cast<std::size_t>(rowsInGrid + 1)));
        } else if (pick < 35) {
            const ComboControl& combo = rng_.Pick(kComboControls);
            const ComboBox& box = (w.*combo.box);
            if (box.enabled && !box.items.empty()) {
                ChooseIndex(combo, rng_.Below(box.items.size()));
            }
        } else if (pick < 50) {
            const TextControl& field = rng_.Pick(kTextControls);
            if ((w.*field.box).enabled) {
                Type(field, rng_.Pick(kRandomTyping));
            }
        } else if (pick < 58) {
            const bool first = rng_.Percent(50);
            const CheckBox& box = first ? w.chkModify1 : w.chkModify2;
            if (box.enabled) {
                Check(first ? "chkModify1" : "chkModify2", !box.checked);
            }
        } else if (pick < 70) {
            if (RightClick(rng_.Below(static_cast<std::size_t>(rowsInGrid)))) {
                const std::array<std::pair<MenuItem*, void (MainWindowState::*)()>, 6> menu{{
                    {&w.mAND, &MainWindowState::mAND_Click},
                    {&w.mOR, &MainWindowState::mOR_Click},
                    {&w.mAddLeftBracket, &MainWindowState::mAddLeftBracket_Click},
                    {&w.mRemoveLeftBracket, &MainWindowState::mRemoveLeftBracket_Click},
                    {&w.mAddRightBracket, &MainWindowState::mAddRightBracket_Click},
                    {&w.mRemoveRightBracket, &MainWindowState::mRemoveRightBracket_Click},
                }};
                const auto& [item, click] = rng_.Pick(menu);
                if (item->enabled) {
                    (w.*click)();
                }
            }
        } else if (pick < 78) {
            rng_.Percent(50) ? w.btnAnd_Click() : w.btnOr_Click();
        } else if (pick < 88) {
            w.MSFlexGrid1_RowColChange(rng_.Below(static_cast<std::size_t>(rowsInGrid + 1)));
            w.btnRemove_Click();
        } else if (pick < 94) {
            const std::array<void (MainWindowState::*)(), 6> options{
                &MainWindowState::optExplore_Click,       &MainWindowState::optScanBuy_Click,
                &MainWindowState::optScanSell_Click,      &MainWindowState::optAllTickers_Click,
                &MainWindowState::OptCurrentTicker_Click, &MainWindowState::OptUseFilter_Click};
            (w.*rng_.Pick(options))();
        } else if (pick < 97) {
            // The filter dialog's OK: a new expression, and the formula assembled again.
            w.SetFilterExpression(rng_.Pick(kRandomFilters));
            w.AssembleFormula();
        } else if (pick < 99) {
            w.MSFlexGrid1_RowColChange(rng_.Below(static_cast<std::size_t>(rowsInGrid + 1)));
            w.MSFlexGrid1_Click();
        } else {
            w.btnClearAll_Click();
        }
        Step();
    }

    MainWindowState& w;

private:
    void Step() {
        if (trace_ != nullptr) {
            AddWindow(*trace_, w);
        }
    }

    Random& rng_;
    Digest* trace_;
};

} // namespace marlindex::test
