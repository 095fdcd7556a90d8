#include "mainwindow/MainWindowState.h"

#include "formula/AflNumber.h"
#include "formula/Assembly.h"
#include "formula/Catalogues.h"
#include "formula/Translation.h"
#include "startup/TextHelpers.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <string_view>
#include <utility>

namespace marlindex {

namespace {

constexpr int kClearedGridRows = 15;
constexpr std::int32_t kMaxWhole = std::numeric_limits<std::int32_t>::max();

// A row that btnAnd / btnOr started and the editor has not written yet reads "AND " or "OR ".
bool IsPendingRowText(std::string_view text) {
    return text.size() == 3 || text.size() == 4;
}

std::size_t Index(int i) {
    return static_cast<std::size_t>(i);
}

// The bar fields: a whole number of bars, 0 or more, as digits alone ("3", not "3/", "-3" or
// "3.5"); none for any other text. The key filter lets "/" in, as the Windows release did,
// but a text holding one is no number.
std::optional<std::int32_t> ParseBars(std::string_view text) {
    text = TrimBlanks(text);
    std::int32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || text.front() < '0' || text.front() > '9' || error != std::errc() ||
        end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

// An amount or value field: a plain decimal number with "." as the decimal point ("12.5",
// "-4", ".5"), as AFL writes it; none for any other text, so that "abc" never reads as 0.
std::optional<double> ParseDecimal(std::string_view text) {
    text = TrimBlanks(text);
    std::size_t digits = 0;
    std::size_t points = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c >= '0' && c <= '9') {
            ++digits;
        } else if (c == '.') {
            ++points;
        } else if (!(i == 0 && (c == '-' || c == '+'))) {
            return std::nullopt;
        }
    }
    if (digits == 0 || points > 1) {
        return std::nullopt;
    }
    if (text.front() == '+') {
        text.remove_prefix(1);
    }
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
}

// Why a field's text is not taken, and what the condition keeps meanwhile.
std::string NotANumber(std::string_view text, std::string_view expected, std::string_view kept) {
    std::string why = TrimBlanks(text).empty()
                          ? std::string("The field is empty")
                          : "\"" + std::string(text) + "\" is not " + std::string(expected);
    if (text.find(',') != std::string_view::npos) {
        why += " (decimals take a point: 2.5)";
    }
    return why + "; the condition keeps " + std::string(kept) + " until one is typed.";
}

// A field's text as the user typed it, and its number when it holds one: `target` takes the
// number, or the field is marked invalid and `target` keeps what it had. True when taken.
template <class Number, class Parse, class Show>
bool TakeNumber(TextBox& box, std::string text, Number& target, Parse parse, Show show,
                std::string_view expected) {
    const auto value = parse(text);
    if (value) {
        target = *value;
        box.invalid.clear();
    } else {
        box.invalid = NotANumber(text, expected, show(target));
    }
    box.text = std::move(text);
    return value.has_value();
}

bool TakeBars(TextBox& box, std::string text, std::int32_t& target) {
    return TakeNumber(
        box, std::move(text), target, ParseBars,
        [](std::int32_t bars) { return std::to_string(bars); }, "a whole number of bars");
}

bool TakeDecimal(TextBox& box, std::string text, double& target) {
    return TakeNumber(box, std::move(text), target, ParseDecimal, FormatAflNumber, "a number");
}

// A row whose record holds a choice of indicator: it can be loaded and worked on, finished or
// not. (A blank row, or one started with AND or OR and not written yet, holds none.)
bool Loadable(const ConditionRecord* record) {
    return record != nullptr && (!record->IsEmptyRow() || record->indicator1Id.has_value());
}

// The range box accepts any number a user may type ("5", " -5 ", "2.5", "1e2"); anything
// else is not a number.
std::optional<double> ReadRange(std::string_view text) {
    return ReadTypedNumber(text);
}

// The lists and their click events, in ComboId order.
struct ComboList {
    ComboBox MainWindowState::*box;
    void (MainWindowState::*click)();
};
constexpr std::array<ComboList, 9> kComboLists{{
    {&MainWindowState::cboIA1, &MainWindowState::cboIA1_Click},
    {&MainWindowState::cboED1, &MainWindowState::cboED1_Click},
    {&MainWindowState::cboModify1, &MainWindowState::cboModify1_Click},
    {&MainWindowState::cboCO, &MainWindowState::cboCO_Click},
    {&MainWindowState::cboCT, &MainWindowState::cboCT_Click},
    {&MainWindowState::cboIA2, &MainWindowState::cboIA2_Click},
    {&MainWindowState::cboED2, &MainWindowState::cboED2_Click},
    {&MainWindowState::cboModify2, &MainWindowState::cboModify2_Click},
    {&MainWindowState::cboModifyED2, &MainWindowState::cboModifyED2_Click},
}};

} // namespace

MainWindowState::MainWindowState(CProgramSettings& settings)
    : settings_(&settings), editor_(settings) {
    lblTP1.caption = "1st Bar:";
    lblTP2.caption = "2nd Bar:";
    lblModify1.caption = "Amount:";
    lblModify2.caption = "Amount:";
    lblVal1.caption = "Value";
    cboModifyED2.AddItem(kUnitValue);
    cboModifyED2.AddItem(kUnitPercent);

    mAND.caption = "&AND";
    mOR.caption = "&OR";
    mAddLeftBracket.caption = "+ (";
    mRemoveLeftBracket.caption = "-  (";
    mAddRightBracket.caption = "+ )";
    mRemoveRightBracket.caption = "-  )";
    mMOS.caption = "&Minimise on scan";
    mICWC.caption = "&Include comments with code";
    mWITB.caption = "&Window in taskbar";
    mMOS.checked = true;
    mICWC.checked = true;

    // Until the stored run settings are loaded, the run options are their defaults.
    SetAnalysisType(0);
    SetApplyTo(0);
    SetScanRange(1);
    txtRange.text = scanRangeNumber_;

    ClearAll();
}

std::string MainWindowState::Caption() const {
    return scanName_.empty() ? std::string("Marlindex") : "Marlindex - [" + scanName_ + "]";
}

void MainWindowState::SetAnalysisType(int value) {
    analysisType_ = value;
    optExplore.value = value == 0;
    optScanBuy.value = value == 1;
    optScanSell.value = value != 0 && value != 1;
}

void MainWindowState::SetApplyTo(int value) {
    applyTo_ = value;
    optAllTickers.value = value == 0;
    OptCurrentTicker.value = value == 1;
    OptUseFilter.value = value != 0 && value != 1;
}

void MainWindowState::SetScanRange(int value) {
    scanRange_ = value;
    optAllBars.value = value == 0;
    OptLastBars.value = value == 1;
    OptLastDays.value = value != 0 && value != 1;
}

std::string MainWindowState::BarPhrase1() const {
    const std::int32_t bars = TP1();
    if (bars == 0) {
        return "the current period";
    }
    return bars == 1 ? "1 period ago" : std::to_string(bars) + " periods ago";
}

// ---- the formula pipeline ----

int MainWindowState::CountConditionRows() const {
    for (int row = MSFlexGrid1.Rows() - 1; row >= 0; --row) {
        if (!MSFlexGrid1.rows[Index(row)].empty()) {
            return row + 1;
        }
    }
    return 0;
}

void MainWindowState::UpdateFormula() {
    const ConditionTranslation translation = editor_.Translate();
    const bool editMode = gridMode_ == "EDIT";
    const int target = editMode ? selectedRow_ : std::max(gridCount_ - 1, 0);
    if (target < 0) {
        return;
    }
    std::string text = editor_.RowText(target, gridOperator_, translation);
    if (MSFlexGrid1.Rows() <= target) {
        MSFlexGrid1.rows.resize(Index(target) + 1);
    }
    MSFlexGrid1.rows[Index(target)] = text;
    MSFlexGrid1.row = target;
    gridCount_ = CountConditionRows();
    MarkChanged();

    editor_.Store(gridCount_, editMode, selectedRow_, gridOperator_, translation, std::move(text));
    editor_.BuildCode(gridCount_);
    // The fields show the values the translation corrected.
    if (translation.correctedTP1) {
        txtTP1.text = std::to_string(TP1());
    }
    if (translation.correctedModify2) {
        txtModify2.text = FormatAflNumber(Modify2());
    }
    AssembleFormula();
}

void MainWindowState::AssembleFormula() {
    // The option buttons, not the stored number, say which kind of formula this is.
    const auto analysis = optExplore.value   ? marlindex::AnalysisType::Exploration
                          : optScanBuy.value ? marlindex::AnalysisType::BuyScan
                                             : marlindex::AnalysisType::SellScan;
    txtForumlae.text = editor_.Assemble(filterExpression_, applyTo_, analysis);
    txtForumlae.runs.clear();
    if (!txtForumlae.text.empty()) {
        txtForumlae.runs = ColourRuns(std::string_view(txtForumlae.text));
    }
}

// ---- editor ----

ComboBox& MainWindowState::Combo(ComboId combo) {
    return this->*kComboLists[static_cast<std::size_t>(combo)].box;
}

void MainWindowState::ClearList(ComboId combo) {
    Combo(combo).Clear();
    TakeChoice(combo);
}

void MainWindowState::SelectItem(ComboId combo, int index) {
    ComboBox& box = Combo(combo);
    box.selected = index >= 0 && index < static_cast<int>(box.items.size()) ? index : -1;
    TakeChoice(combo);
}

void MainWindowState::TakeChoice(ComboId combo) {
    EditorState& c = editor_.Condition();
    switch (combo) {
    case ComboId::cboIA1:
        c.indicator1 = cboIA1.SelectedData();
        return;
    case ComboId::cboED1:
        c.option1 = cboED1.Text();
        return;
    case ComboId::cboModify1:
        c.modify1Operation = cboModify1.Text();
        return;
    case ComboId::cboCO:
        c.comparison = cboCO.SelectedData();
        return;
    case ComboId::cboCT:
        c.comparisonType = cboCT.Text();
        return;
    case ComboId::cboIA2:
        // No second indicator while its list shows none.
        c.indicator2 = cboIA2.Text().empty() ? std::nullopt : cboIA2.SelectedData();
        return;
    case ComboId::cboED2:
        c.option2 = cboED2.Text();
        return;
    case ComboId::cboModify2:
        c.modify2Operation = cboModify2.Text();
        return;
    case ComboId::cboModifyED2:
        c.modify2Unit = cboModifyED2.Text();
        return;
    }
}

void MainWindowState::Choose(ComboId combo, int index) {
    const Event event(*this, Event::Change);
    SelectItem(combo, index);
    (this->*kComboLists[static_cast<std::size_t>(combo)].click)();
}

// An indicator with a choice list (moving-average type, price field) offers it with the first
// entry chosen; for any other indicator the list stays in its place, empty and unavailable, so
// that the editor never changes its size under the mouse.
void MainWindowState::FillOptions(ComboId id, std::optional<int> indicator) {
    ClearList(id);
    ComboBox& combo = Combo(id);
    const bool hasOptions =
        indicator && IsIndicatorIndex(*indicator) && Indicator(*indicator).hasOptions;
    combo.enabled = hasOptions;
    if (!hasOptions) {
        return;
    }
    for (const OptionEntry& option : IndicatorOptions(*indicator)) {
        combo.AddItem(option.text, option.position);
    }
    Choose(id, 0);
}

void MainWindowState::FillPairedIndicators() {
    ClearList(ComboId::cboIA2);
    const std::optional<int> a = Condition().indicator1;
    if (!a) {
        return;
    }
    for (const int b : PairedIndicators(*a)) {
        cboIA2.AddItem(Indicator(b).displayName, b);
    }
}

// A checked modifier always has an operation, so the formula never loses its operand.
void MainWindowState::FillModifyList(ComboId id) {
    ComboBox& combo = Combo(id);
    if (combo.items.empty()) {
        for (const char* operation :
             {kModifyIncrease, kModifyDecrease, kModifyMultiply, kModifyDivide}) {
            combo.AddItem(operation);
        }
    }
    if (combo.selected < 0) {
        SelectItem(id, 0);
    }
}

void MainWindowState::ArrangeControls() {
    const bool hasIndicator1 = cboIA1.selected >= 0;
    txtTP1.enabled = hasIndicator1;
    lblTP1.enabled = hasIndicator1;
    chkModify1.enabled = hasIndicator1;
    cboCO.enabled = hasIndicator1 && !cboCO.items.empty();
    const bool modify1 = hasIndicator1 && chkModify1.checked;
    cboModify1.enabled = modify1;
    txtModify1.enabled = modify1;
    lblModify1.enabled = modify1;

    // Side 2 offers exactly what the comparison's formula reads: an indicator (bars ago only
    // for the bar-by-bar comparisons) or a value.
    const std::optional<int> c = Condition().comparison;
    const bool chosen = c && IsComparisonIndex(*c);
    const std::string target = cboCT.Text();
    const ComparisonEntry entry = chosen ? Comparison(*c) : ComparisonEntry{};
    const bool toIndicator = chosen && ComparesWithIndicator(entry.kind, target);
    const bool toValue = chosen && ComparesWithValue(entry.kind, target, TP1());
    cboCT.enabled = chosen && HasTargetList(entry.kind);
    cboIA2.enabled = toIndicator;
    cboED2.enabled = toIndicator && !cboED2.items.empty();
    chkModify2.enabled = toIndicator;
    const bool modify2 = toIndicator && chkModify2.checked;
    cboModify2.enabled = modify2;
    cboModifyED2.enabled = modify2;
    txtModify2.enabled = modify2;
    lblModify2.enabled = modify2;
    const bool bars2 = toIndicator && TakesBars2(entry.group);
    txtTP2.enabled = bars2;
    lblTP2.enabled = bars2;
    txtVal1.enabled = toValue;
    lblVal1.enabled = toValue;
}

void MainWindowState::cboIA1_Click() {
    const Event event(*this, Event::Change);
    TakeChoice(ComboId::cboIA1);
    // A new first indicator starts the condition over: no comparison, no side 2, current bar.
    ClearList(ComboId::cboIA2);
    FillOptions(ComboId::cboED2, std::nullopt);
    ClearList(ComboId::cboCO);
    ClearList(ComboId::cboCT);
    ClearList(ComboId::cboModify2);
    chkModify2_Click(false);
    txtTP1_Change("0");
    txtTP2_Change("1");
    lblTP1.caption = "1st Bar:";

    const std::optional<int> a = Condition().indicator1;
    FillOptions(ComboId::cboED1, a);
    if (a && IsIndicatorIndex(*a)) {
        for (const int c : AvailableComparisons(*a)) {
            cboCO.AddItem(Comparison(c).text, c);
        }
    }
    ArrangeControls();
    UpdateFormulaFrom("cboIA1");
}

void MainWindowState::cboED1_Click() {
    const Event event(*this, Event::Change);
    TakeChoice(ComboId::cboED1);
    UpdateFormulaFrom("cboED1");
}

void MainWindowState::cboModify1_Click() {
    const Event event(*this, Event::Change);
    TakeChoice(ComboId::cboModify1);
    UpdateFormulaFrom("cboModify1");
}

void MainWindowState::cboCO_Click() {
    const Event event(*this, Event::Change);
    TakeChoice(ComboId::cboCO);
    txtTP2_Change("1");

    // The target list offers what the comparison takes; a single choice is made at once.
    ClearList(ComboId::cboCT);
    const std::optional<int> c = Condition().comparison;
    const std::optional<ComparisonEntry> entry =
        c && IsComparisonIndex(*c) ? std::optional(Comparison(*c)) : std::nullopt;
    if (entry) {
        for (const std::string& target : OfferedTargets(entry->kind)) {
            cboCT.AddItem(target);
        }
        if (cboCT.items.size() == 1) {
            SelectItem(ComboId::cboCT, 0);
        }
    }

    ClearList(ComboId::cboIA2);
    FillOptions(ComboId::cboED2, std::nullopt);
    ClearList(ComboId::cboModify2);
    chkModify2_Click(false);
    if (entry && TakesIndicator(entry->kind)) {
        FillPairedIndicators();
    }
    lblTP1.caption = !c                                        ? "1st Bar:"
                     : GroupOf(c) == ComparisonGroup::BarByBar ? "1st Bar"
                                                               : "Bars:";
    if (cboCT.selected >= 0) {
        cboCT_Click();
    }
    ArrangeControls();
    UpdateFormulaFrom("cboCO");
}

void MainWindowState::cboCT_Click() {
    const Event event(*this, Event::Change);
    TakeChoice(ComboId::cboCT);
    const std::string target = cboCT.Text();
    if (target == kTargetIndicator) {
        if (cboIA2.items.empty()) {
            FillPairedIndicators();
        }
    } else if (target == kTargetValue) {
        // A value has no indicator, modifier or bars ago; an indicator left chosen would
        // take the value's place in the formula.
        SelectItem(ComboId::cboIA2, -1);
        FillOptions(ComboId::cboED2, std::nullopt);
        chkModify2_Click(false);
        txtTP2_Change("1");
    }
    ArrangeControls();
    UpdateFormulaFrom("cboCT");
}

void MainWindowState::cboIA2_Click() {
    const Event event(*this, Event::Change);
    TakeChoice(ComboId::cboIA2);
    FillOptions(ComboId::cboED2, Condition().indicator2);
    ArrangeControls();
    UpdateFormulaFrom("cboIA2");
}

void MainWindowState::cboED2_Click() {
    const Event event(*this, Event::Change);
    TakeChoice(ComboId::cboED2);
    UpdateFormulaFrom("cboED2");
}

void MainWindowState::cboModify2_Click() {
    const Event event(*this, Event::Change);
    TakeChoice(ComboId::cboModify2);
    UpdateFormulaFrom("cboModify2");
}

void MainWindowState::cboModifyED2_Click() {
    const Event event(*this, Event::Change);
    TakeChoice(ComboId::cboModifyED2);
    UpdateFormulaFrom("cboModifyED2");
}

void MainWindowState::chkModify1_Click(bool checked) {
    const Event event(*this, Event::Change);
    chkModify1.checked = checked;
    editor_.Condition().modify1On = checked;
    if (checked) {
        FillModifyList(ComboId::cboModify1);
    }
    ArrangeControls();
    UpdateFormulaFrom("chkModify1");
}

void MainWindowState::chkModify2_Click(bool checked) {
    const Event event(*this, Event::Change);
    chkModify2.checked = checked;
    editor_.Condition().modify2On = checked;
    if (checked) {
        FillModifyList(ComboId::cboModify2);
        if (cboModifyED2.selected < 0) {
            SelectItem(ComboId::cboModifyED2, cboModifyED2.FindText(kUnitValue));
        }
    }
    ArrangeControls();
    UpdateFormulaFrom("chkModify2");
}

void MainWindowState::txtTP1_Change(std::string text) {
    const Event event(*this, Event::Typing, "txtTP1");
    if (TakeBars(txtTP1, std::move(text), editor_.Condition().tp1)) {
        ArrangeControls();
        UpdateFormulaFrom("txtTP1");
    }
}

void MainWindowState::txtTP2_Change(std::string text) {
    const Event event(*this, Event::Typing, "txtTP2");
    if (TakeBars(txtTP2, std::move(text), editor_.Condition().tp2)) {
        UpdateFormulaFrom("txtTP2");
    }
}

void MainWindowState::txtModify1_Change(std::string text) {
    const Event event(*this, Event::Typing, "txtModify1");
    if (TakeDecimal(txtModify1, std::move(text), editor_.Condition().modify1)) {
        UpdateFormulaFrom("txtModify1");
    }
}

void MainWindowState::txtModify2_Change(std::string text) {
    const Event event(*this, Event::Typing, "txtModify2");
    if (TakeDecimal(txtModify2, std::move(text), editor_.Condition().modify2)) {
        UpdateFormulaFrom("txtModify2");
    }
}

void MainWindowState::txtVal1_Change(std::string text) {
    const Event event(*this, Event::Typing, "txtVal1");
    if (TakeDecimal(txtVal1, std::move(text), editor_.Condition().value1)) {
        UpdateFormulaFrom("txtVal1");
    }
}

int MainWindowState::txtTP1_KeyPress(int keyAscii) {
    constexpr int kBackspace = 8;
    return (keyAscii >= '/' && keyAscii <= '9') || keyAscii == kBackspace ? keyAscii : 0;
}

// Leaving a field shows the number the condition holds, whatever was typed, and ends the
// typing step.
void MainWindowState::txtTP1_LostFocus() {
    txtTP1.text = std::to_string(TP1());
    txtTP1.invalid.clear();
    EndTyping();
}

void MainWindowState::txtTP2_LostFocus() {
    txtTP2.text = std::to_string(TP2());
    txtTP2.invalid.clear();
    EndTyping();
}

void MainWindowState::txtModify1_LostFocus() {
    txtModify1.text = FormatAflNumber(Modify1());
    txtModify1.invalid.clear();
    EndTyping();
}

void MainWindowState::txtModify2_LostFocus() {
    txtModify2.text = FormatAflNumber(Modify2());
    txtModify2.invalid.clear();
    EndTyping();
}

void MainWindowState::txtVal1_LostFocus() {
    txtVal1.text = FormatAflNumber(Value1());
    txtVal1.invalid.clear();
    EndTyping();
}

// The editor's start values: no indicator, current bar against 1 bar ago, no modifiers,
// value 0.
void MainWindowState::ResetEditor() {
    ClearList(ComboId::cboIA1);
    for (int i = 0; i < kIndicatorCount; ++i) {
        cboIA1.AddItem(Indicator(i).displayName, i);
    }
    FillOptions(ComboId::cboED1, std::nullopt);
    ClearList(ComboId::cboModify1);
    chkModify1_Click(false);
    txtModify1_Change("0");
    ClearList(ComboId::cboCO);
    ClearList(ComboId::cboCT);
    txtTP1_Change("0");
    txtTP2_Change("1");
    ClearList(ComboId::cboIA2);
    FillOptions(ComboId::cboED2, std::nullopt);
    ClearList(ComboId::cboModify2);
    chkModify2_Click(false);
    txtModify2_Change("0");
    SelectItem(ComboId::cboModifyED2, cboModifyED2.FindText(kUnitValue));
    txtVal1_Change("0");
    lblTP1.caption = "1st Bar:";
    ArrangeControls();
}

// ---- grid ----

void MainWindowState::StartRow(const char* joiner) {
    const Event event(*this, Event::Change);
    if (gridCount_ <= 0) {
        return;
    }
    const int last = gridCount_ - 1;
    const std::string pending = std::string(joiner) + " ";
    if (IsPendingRowText(MSFlexGrid1.Text(last))) {
        if (MSFlexGrid1.rows[Index(last)] != pending) {
            MSFlexGrid1.rows[Index(last)] = pending;
            MarkChanged();
        }
    } else {
        const int at = std::min(gridCount_, MSFlexGrid1.Rows());
        MSFlexGrid1.rows.insert(MSFlexGrid1.rows.begin() + at, pending);
        ++gridCount_;
        MarkChanged();
    }
    gridOperator_ = joiner;
    gridMode_ = "ADD";
    // The new row starts from a fresh condition; the last row's choices stay with it.
    ShowTargetRow();
}

void MainWindowState::ShowTargetRow() {
    const int last = gridCount_ - 1;
    if (last < 0) {
        MSFlexGrid1.row = 0;
        return;
    }
    // Filling the controls is the program's doing: nothing is rewritten meanwhile, and the
    // control with the focus keeps regenerating afterwards.
    const std::string focus = std::exchange(currentControl_, std::string());
    const ConditionRecord* record = editor_.Record(last);
    if (!IsPendingRowText(MSFlexGrid1.Text(last)) && Loadable(record)) {
        LoadRow(*record);
    } else {
        ResetEditor();
    }
    currentControl_ = focus;
    MSFlexGrid1.row = last;
    TakeJoinerOfLastRow();
}

void MainWindowState::MSFlexGrid1_RowColChange(int row) {
    const Event event(*this, Event::Selection);
    if (row >= 0 && row < MSFlexGrid1.Rows()) {
        MSFlexGrid1.row = row;
    }
}

bool MainWindowState::MSFlexGrid1_MouseDown(int button, int row) {
    const Event event(*this, Event::Selection);
    if ((button != 1 && button != 2) || row < 0 || row >= MSFlexGrid1.Rows()) {
        return false;
    }
    MSFlexGrid1.row = row;
    mouseDownHandled_ = true;
    const std::string text = MSFlexGrid1.Text(row);
    SelectRow(row, text.size() > 3);
    return button == 2 && TrimBlanks(text).size() > 3 && ContextMenu();
}

void MainWindowState::MSFlexGrid1_Click() {
    const Event event(*this, Event::Selection);
    if (mouseDownHandled_) {
        mouseDownHandled_ = false;
        return;
    }
    const int row = MSFlexGrid1.row;
    SelectRow(row, !MSFlexGrid1.Text(row).empty());
}

void MainWindowState::SelectRow(int row, bool counts) {
    currentControl_.clear();
    if (counts) {
        selectedRow_ = row;
        // An unfinished row (an indicator and no comparison yet) loads too, to be finished.
        if (const ConditionRecord* record = editor_.Record(row); Loadable(record)) {
            LoadRow(*record);
            gridMode_ = "EDIT";
            MSFlexGrid1.row = row;
            return;
        }
    }
    // A blank or new row: changes go to the last row, which the editor then shows.
    gridMode_ = "ADD";
    ShowTargetRow();
}

void MainWindowState::LoadRow(const ConditionRecord& record) {
    // Each choice fills the lists the next one is looked up in, as a user's choices would.
    const auto byData = [](const ComboBox& box, const CatalogueId& id) {
        return id ? box.FindData(*id) : -1;
    };
    Choose(ComboId::cboIA1, byData(cboIA1, record.indicator1Id));
    Choose(ComboId::cboCO, byData(cboCO, record.comparisonId));
    Choose(ComboId::cboIA2, byData(cboIA2, record.indicator2Id));
    Choose(ComboId::cboED1, cboED1.FindText(record.indicator1Option));
    Choose(ComboId::cboCT, cboCT.FindText(record.comparisonType));
    Choose(ComboId::cboED2, cboED2.FindText(record.indicator2Option));
    // The check boxes fill the modifier lists, so they come before the modifiers.
    chkModify1_Click(record.modify1On != 0);
    chkModify2_Click(record.modify2On != 0);
    Choose(ComboId::cboModify1, cboModify1.FindText(record.modify1Operation));
    Choose(ComboId::cboModify2, cboModify2.FindText(record.modify2Operation));
    Choose(ComboId::cboModifyED2, cboModifyED2.FindText(record.modify2Unit));
    gridOperator_ = record.joiner;
    txtTP1_Change(std::to_string(record.timePeriod1));
    txtTP2_Change(std::to_string(record.timePeriod2));
    txtModify1_Change(FormatAflNumber(record.modify1Amount));
    txtModify2_Change(FormatAflNumber(record.modify2Amount));
    txtVal1_Change(FormatAflNumber(record.value));
}

void MainWindowState::TakeJoinerOfLastRow() {
    const int last = gridCount_ - 1;
    if (last <= 0) {
        return;
    }
    const std::string text = MSFlexGrid1.Text(last);
    if (IsPendingRowText(text)) {
        gridOperator_ = std::string(TrimBlanks(text));
    } else if (const ConditionRecord* record = editor_.Record(last);
               record != nullptr && !record->joiner.empty()) {
        gridOperator_ = record->joiner;
    }
}

int MainWindowState::TargetRow() const {
    return gridMode_ == "EDIT" ? selectedRow_ : gridCount_ - 1;
}

ConditionRecord* MainWindowState::TargetRecord() {
    return editor_.Record(TargetRow());
}

bool MainWindowState::ContextMenu() {
    const ConditionRecord* record = TargetRecord();
    if (record == nullptr) {
        return false;
    }
    mAddLeftBracket.enabled = true;
    mAddRightBracket.enabled = true;
    mRemoveLeftBracket.enabled = record->leftBrackets != 0;
    mRemoveRightBracket.enabled = record->rightBrackets != 0;
    const bool first = record->joiner.empty();
    mAND.enabled = !first;
    mOR.enabled = !first;
    mAND.checked = !first && record->joiner == "AND";
    mOR.checked = !first && !mAND.checked;
    return true;
}

void MainWindowState::ChangeBrackets(bool left, int step) {
    const Event event(*this, Event::Change);
    ConditionRecord* record = TargetRecord();
    if (record == nullptr) {
        return;
    }
    std::int16_t& count = left ? record->leftBrackets : record->rightBrackets;
    const int next = count + step;
    if (next < 0 || next > std::numeric_limits<std::int16_t>::max()) {
        return;
    }
    count = static_cast<std::int16_t>(next);
    UpdateFormula();
}

void MainWindowState::SetJoinerOfTarget(const char* joiner) {
    const Event event(*this, Event::Change);
    gridOperator_ = joiner;
    // A row being edited keeps its record's joiner when it is rewritten; the menu is the one
    // place that changes it, so the code follows the row's new word.
    if (ConditionRecord* record = TargetRecord(); record != nullptr && TargetRow() > 0) {
        record->joiner = joiner;
    }
    UpdateFormula();
}

void MainWindowState::DeleteGridRow(int row) {
    // The grid keeps its size: a blank row takes the place of the deleted one at the end.
    MSFlexGrid1.rows.erase(MSFlexGrid1.rows.begin() + row);
    MSFlexGrid1.rows.emplace_back();
}

void MainWindowState::btnRemove_Click() {
    const Event event(*this, Event::Change);
    const int current = MSFlexGrid1.row;
    if (MSFlexGrid1.Text(current).empty()) {
        return;
    }
    MarkChanged();
    // A pending row that was never written has no record: only its grid row goes.
    if (Records().size() < Index(gridCount_) && current == gridCount_ - 1) {
        DeleteGridRow(current);
        --gridCount_;
        if (gridMode_ == "EDIT" && editor_.Record(selectedRow_) != nullptr) {
            MSFlexGrid1.row = selectedRow_;
        } else {
            gridMode_ = "ADD";
            ShowTargetRow();
        }
        return;
    }
    if (gridCount_ <= 1) {
        ClearAll();
        return;
    }
    DeleteGridRow(current);
    --gridCount_;
    if (gridCount_ == 1 && IsPendingRowText(MSFlexGrid1.Text(0))) {
        ClearAll();
        return;
    }
    gridMode_ = "ADD";

    if (current == 0) {
        // The new first row loses its joiner word; its opening brackets stay.
        std::string& text = MSFlexGrid1.rows[0];
        std::size_t at = text.find("AND");
        std::size_t length = 3;
        if (at == std::string::npos) {
            at = text.find("OR");
            length = 2;
        }
        if (at != std::string::npos) {
            const std::size_t after = std::min(text.size(), at + length + 1);
            text = text.substr(0, at) + text.substr(after);
        }
    }
    editor_.RemoveRow(current, gridCount_, MSFlexGrid1.rows[0]);
    if (gridCount_ > 0) {
        AssembleFormula();
    }
    ShowTargetRow();
}

void MainWindowState::btnClearAll_Click() {
    const Event event(*this, Event::Change);
    if (gridCount_ > 0 || !txtForumlae.text.empty() || !scanName_.empty()) {
        MarkChanged();
    }
    ClearAll();
}

void MainWindowState::ClearAll() {
    // Clearing is the program's filling of the controls; the control with the focus keeps
    // regenerating afterwards, as a user who pressed Alt+C in it expects.
    const std::string focus = std::exchange(currentControl_, std::string());
    ResetEditor();
    currentControl_ = focus;
    txtForumlae = {};
    scanName_.clear();
    MSFlexGrid1.rows.assign(kClearedGridRows, std::string());
    MSFlexGrid1.row = 0;
    gridCount_ = 0;
    editor_.ClearRows();
    gridMode_ = "ADD";
}

// ---- run options ----

// A new kind of formula changes only the assignment around the rows: the formula is
// assembled again and no row is rewritten. (Rewriting the current row from the editor would
// copy the editor's condition into a pending "AND " row, or over the last row after a
// removal.)
void MainWindowState::ChooseRunOption(int& option, void (MainWindowState::*set)(int), int value) {
    const Event event(*this, Event::Change);
    if (option != value) {
        MarkChanged();
    }
    (this->*set)(value);
    AssembleFormula();
}

void MainWindowState::optExplore_Click() {
    ChooseRunOption(analysisType_, &MainWindowState::SetAnalysisType, 0);
}

void MainWindowState::optScanBuy_Click() {
    ChooseRunOption(analysisType_, &MainWindowState::SetAnalysisType, 1);
}

void MainWindowState::optScanSell_Click() {
    ChooseRunOption(analysisType_, &MainWindowState::SetAnalysisType, 2);
}

void MainWindowState::optAllTickers_Click() {
    ChooseRunOption(applyTo_, &MainWindowState::SetApplyTo, 0);
}

void MainWindowState::OptCurrentTicker_Click() {
    ChooseRunOption(applyTo_, &MainWindowState::SetApplyTo, 1);
}

void MainWindowState::OptUseFilter_Click() {
    ChooseRunOption(applyTo_, &MainWindowState::SetApplyTo, 2);
}

// The range is no part of the formula text: nothing to assemble.
void MainWindowState::ChooseRange(int value) {
    const Event event(*this, Event::Change);
    if (scanRange_ != value) {
        MarkChanged();
    }
    SetScanRange(value);
}

void MainWindowState::txtRange_Change(std::string text) {
    const Event event(*this, Event::Typing, "txtRange");
    if (text != scanRangeNumber_) {
        MarkChanged();
    }
    scanRangeNumber_ = text;
    txtRange.text = std::move(text);
}

// A range that is not a number becomes 1; a number becomes a whole count of bars or days.
void MainWindowState::txtRange_LostFocus() {
    const std::optional<double> value = ReadRange(scanRangeNumber_);
    if (!value) {
        txtRange_Change("1");
    } else {
        const double whole = std::min(std::fabs(std::nearbyint(*value)), double{kMaxWhole});
        txtRange_Change(std::to_string(static_cast<std::int32_t>(whole)));
    }
    EndTyping();
}

// ---- the filter ----

void MainWindowState::FilterChosen(std::string expression) {
    const Event event(*this, Event::Change);
    if (expression != filterExpression_) {
        MarkChanged();
    }
    filterExpression_ = std::move(expression);
    AssembleFormula();
}

void MainWindowState::FilterReloaded(std::string expression) {
    filterExpression_ = std::move(expression);
    AssembleFormula();
}

} // namespace marlindex
