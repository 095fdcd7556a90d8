#include "preferences/PreferenceFields.h"

#include "formula/Catalogues.h"
#include "formula/IndicatorParameters.h"
#include "startup/TextHelpers.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace marlindex {

namespace {

constexpr int kKeyPoint = '.';
constexpr int kKeyNine = '9';

// The smoothing and feedback factors of the adaptive averages may be written as anything AFL
// accepts there (an expression, an array name), so neither the number rule nor the key
// filter applies to them.
bool TakesAnyText(const PreferenceField& field) {
    return KindOfParameter(field.Indicator(), field.Position()) == ParameterKind::Expression;
}

// The parabolic SAR's acceleration and maximum are fractions: both fields take the keys of a
// decimal number.
bool IsSarField(std::string_view name) {
    return EqualsIgnoreCase(name, "I171") || EqualsIgnoreCase(name, "I172");
}

bool IsDigit(int key) {
    return key >= '0' && key <= '9';
}

bool IsLetter(int key) {
    return (key >= 'A' && key <= 'Z') || (key >= 'a' && key <= 'z');
}

// A field from its control name: "I" + indicator index + one-digit position.
PreferenceField MakeField(std::string_view name) {
    PreferenceField field;
    field.name = std::string(name);
    std::string indicator(name.substr(1, name.size() - 2));
    indicator.resize(std::max<std::size_t>(indicator.size(), 2), ' ');
    field.tag = indicator + name.back();
    field.list = ParameterChoices(field.Indicator(), field.Position());
    field.kind = field.list.empty() ? FieldKind::Text : FieldKind::Combo;
    return field;
}

FrameRow Row(std::string label, std::vector<std::string> fields, std::string unit = {}) {
    return FrameRow{std::move(label), std::move(fields), std::move(unit)};
}

PreferenceFrame Labelled(std::string caption, std::vector<FrameRow> rows) {
    return PreferenceFrame{std::move(caption), {}, std::move(rows)};
}

PreferenceFrame Table(std::string caption, std::vector<std::string> columns,
                      std::vector<FrameRow> rows) {
    return PreferenceFrame{std::move(caption), std::move(columns), std::move(rows)};
}

// The four panels. Which frames share a panel is fixed; within a panel the frames follow the
// catalogue, except that the two stochastics and the two tables sit side by side.
std::vector<PreferencePanel> BuildPanels() {
    return {
        {3,
         {Table("Moving Averages", {"Array", "Periods"},
                {Row("EMA", {"I361", "I362"}), Row("TEMA", {"I371", "I372"}),
                 Row("Wilders", {"I381", "I382"}), Row("DEMA", {"I391", "I392"})}),
          Labelled("AMA", {Row("Array", {"I341"}), Row("Smoothing Factor", {"I342"})}),
          Labelled("AMA2", {Row("Array", {"I351"}), Row("Smoothing Factor", {"I352"}),
                            Row("Feedback Factor", {"I353"})})}},
        {3,
         {Labelled("Parabolic SAR",
                   {Row("Accel", {"I171"}, "points"), Row("Max", {"I172"}, "points")}),
          Labelled("TRIX", {Row("Periods", {"I201"})}),
          Labelled("Ultimate",
                   {Row("Fast", {"I211"}), Row("Slow", {"I212"}), Row("Signal", {"I213"})}),
          Labelled("Price Oscillator", {Row("Fast", {"I251"}), Row("Slow", {"I252"})}),
          Labelled("Volume Oscillator", {Row("Fast", {"I261"}), Row("Slow", {"I262"})}),
          Labelled("Relative Momentum Index",
                   {Row("Periods", {"I291"}), Row("Momentum", {"I292"})}),
          Labelled("Random Walk Index", {Row("Min", {"I301"}), Row("Max", {"I302"})}),
          Labelled("Average True Range", {Row("Periods", {"I321"})})}},
        {2,
         {Table("Moving Averages (Price)", {"Array", "Periods"},
                {Row("Short-time", {"I71", "I72"}), Row("Medium-time", {"I81", "I82"}),
                 Row("Long-time", {"I91", "I92"})}),
          Table("Bollinger Bands", {"Array", "Periods", "Width"},
                {Row("Bottom", {"I271", "I272", "I273"}), Row("Top", {"I281", "I282", "I283"})}),
          Labelled("Stochastic Slow %K", {Row("Range", {"I311"}), Row("Slow %K", {"I312"})}),
          Labelled("Stochastic Slow %D",
                   {Row("Range", {"I181"}), Row("Slow %K", {"I182"}), Row("Slow %D", {"I183"})})}},
        {3,
         {Labelled("ADX", {Row("Periods", {"I21"})}),
          Labelled("CCI", {Row("Array", {"I31"}), Row("Periods", {"I32"})}),
          Labelled("Chaikin", {Row("Fast", {"I41"}), Row("Slow", {"I42"})}),
          Labelled("MACD", {Row("Fast", {"I51"}), Row("Slow", {"I52"})}),
          Labelled("Signal (MACD)",
                   {Row("Fast", {"I61"}), Row("Slow", {"I62"}), Row("Signal", {"I63"})}),
          Labelled("ROC",
                   {Row("Array", {"I151"}), Row("Periods", {"I152"}), Row("absmode", {"I153"})}),
          Labelled("RSI", {Row("Array", {"I161"}), Row("Periods", {"I162"})}),
          Labelled("Volume", {Row("Average", {"I231"}, "periods")}),
          Labelled("MFI", {Row("Periods", {"I241"})})}},
    };
}

} // namespace

int PreferenceField::Indicator() const {
    const std::string_view number = TrimBlanks(std::string_view(tag).substr(0, 2));
    int index = 0;
    for (const char c : number) {
        index = index * 10 + (c - '0');
    }
    return index;
}

int PreferenceField::Position() const {
    return tag.empty() ? 0 : tag.back() - '0';
}

std::string PreferenceField::Default() const {
    const std::vector<std::string> defaults =
        SplitAtBlanks(marlindex::Indicator(Indicator()).defaultParameters);
    const auto position = static_cast<std::size_t>(Position());
    return position >= 1 && position <= defaults.size() ? defaults[position - 1] : std::string();
}

PreferenceFields::PreferenceFields(CProgramSettings& settings)
    : settings_(&settings), panels_(BuildPanels()) {
    for (const PreferencePanel& panel : panels_) {
        for (const PreferenceFrame& frame : panel.frames) {
            for (const FrameRow& row : frame.rows) {
                for (const std::string& name : row.fields) {
                    fields_.push_back(MakeField(name));
                }
            }
        }
    }
    std::sort(fields_.begin(), fields_.end(), [](const auto& a, const auto& b) {
        return std::make_tuple(a.Indicator(), a.Position()) <
               std::make_tuple(b.Indicator(), b.Position());
    });
}

std::string PreferenceFields::TabCaption(int tab) {
    return "Indicators " + std::to_string(tab);
}

const PreferenceField* PreferenceFields::Find(std::string_view name) const {
    const auto it = std::find_if(fields_.begin(), fields_.end(), [name](const auto& field) {
        return EqualsIgnoreCase(field.name, name);
    });
    return it == fields_.end() ? nullptr : &*it;
}

PreferenceField* PreferenceFields::FindField(std::string_view name) {
    return const_cast<PreferenceField*>(std::as_const(*this).Find(name));
}

void PreferenceFields::SelectSection(const PreferenceField& field) {
    settings_->SetSection(ParameterSection(field.Indicator()));
}

void PreferenceFields::Form_Load() {
    selectedTab_ = 1;
    closed_ = false;
    // Each field shows what the formulas use: a stored value the rules refuse shows as the
    // default, which OK then stores in its place.
    for (PreferenceField& field : fields_) {
        field.text =
            ParameterInUse(field.Indicator(), field.Position(), field.Default(), *settings_);
    }
}

void PreferenceFields::TabStrip1_Click(int tab) {
    if (tab >= 1 && tab <= kTabCount) {
        selectedTab_ = tab;
    }
}

void PreferenceFields::Field_Change(std::string_view name, std::string text) {
    if (PreferenceField* field = FindField(name)) {
        field->text = std::move(text);
    }
}

int PreferenceFields::Form_KeyPress(int keyAscii) const {
    const PreferenceField* field = Find(activeControl_);
    if (field == nullptr || TakesAnyText(*field) || keyAscii == kBackspace) {
        return keyAscii;
    }
    if (IsSarField(field->name)) {
        // The key is judged against the acceleration's text even while the maximum is typed
        // in. That is intended, not an oversight: keep it.
        const PreferenceField* acceleration = Find("I171");
        const bool numberKey = keyAscii >= kKeyPoint && keyAscii <= kKeyNine;
        return numberKey && IsNumeric(acceleration->text + static_cast<char>(keyAscii)) ? keyAscii
                                                                                        : 0;
    }
    if (field->kind == FieldKind::Text) {
        return IsDigit(keyAscii) ? keyAscii : 0;
    }
    const bool accepted = IsLetter(keyAscii) || IsDigit(keyAscii) || keyAscii == '(' ||
                          keyAscii == ')' || keyAscii == '.';
    return accepted ? keyAscii : 0;
}

std::string PreferenceFields::SaveField(PreferenceField& field) {
    const bool keeps = field.kind == FieldKind::Text ? TakesAnyText(field) || IsNumeric(field.text)
                                                     : !field.text.empty();
    if (!keeps) {
        field.text = field.Default();
    }
    std::string stored(TrimBlanks(field.text));
    SelectSection(field);
    settings_->WriteEntry(std::to_string(field.Position()), stored);
    return stored;
}

std::optional<std::string> PreferenceFields::SaveField(std::string_view name) {
    PreferenceField* field = FindField(name);
    if (field == nullptr) {
        return std::nullopt;
    }
    return SaveField(*field);
}

void PreferenceFields::btnOK_Click() {
    for (PreferenceField& field : fields_) {
        SaveField(field);
    }
    closed_ = true;
}

bool PreferenceFields::ResetAll() {
    bool removed = true;
    for (PreferenceField& field : fields_) {
        SelectSection(field);
        removed = settings_->DeleteEntry(std::to_string(field.Position())) && removed;
        field.text = field.Default();
    }
    return removed;
}

} // namespace marlindex
