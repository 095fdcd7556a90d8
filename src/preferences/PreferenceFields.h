// The preferences dialog without a window: the default parameters of the indicators (periods,
// price arrays, smoothing factors ...), one field per parameter, on four tabbed panels. The
// dialog loads them from the settings store and writes them back on OK; the condition
// translation reads the same values each time it fills an indicator's parameters, so a saved
// preference reaches the next condition at once.
//
// Each field is named "I" + indicator index + parameter position ("I162" is the RSI's
// period); its tag is the same without the "I", the index padded with a blank to two
// characters ("9 1"), and the store keeps its value under Settings\Indicator\<index>, value
// "<position>".
#pragma once

#include "formula/IndicatorParameters.h" // IsNumeric: the rule of a number field
#include "settings/ProgramSettings.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace marlindex {

enum class FieldKind { Text, Combo };

struct PreferenceField {
    std::string name; // the control name, "I162"
    std::string tag;  // "162"; "9 1" for the field I91
    FieldKind kind = FieldKind::Text;
    std::vector<std::string> list; // a combo box's entries; the text may be anything typed
    std::string text;              // what the field holds now

    // Decoded from the tag: the first two characters are the indicator, the last the position.
    int Indicator() const;
    int Position() const;
    // The catalogue's default for this position; empty when the catalogue has none.
    std::string Default() const;
};

// How a frame sets out its fields: a row is a label, its fields and a unit after them. Frames
// holding several indicators with the same parameters (the moving averages, the two bands)
// are tables, with a heading over each column of fields.
struct FrameRow {
    std::string label;
    std::vector<std::string> fields; // field names
    std::string unit;
};

struct PreferenceFrame {
    std::string caption;
    std::vector<std::string> columns; // headings; empty for a frame of labelled fields
    std::vector<FrameRow> rows;
};

// One panel of the control array pnl0: its frames in reading order, laid out in `columns`
// columns.
struct PreferencePanel {
    int columns = 1;
    std::vector<PreferenceFrame> frames;
};

class PreferenceFields {
public:
    static constexpr int kTabCount = 4;
    static constexpr int kBackspace = 8;

    // `settings` is the program's shared settings object; it must outlive the state. The
    // fields start empty: Form_Load fills them.
    explicit PreferenceFields(CProgramSettings& settings);

    std::string Caption() const { return "Preferences"; }
    // The tab captions, "Indicators 1" to "Indicators 4".
    static std::string TabCaption(int tab);

    // Every field, in catalogue order (by indicator, then position).
    const std::vector<PreferenceField>& Fields() const { return fields_; }
    // The field of a control name (letter case ignored); null for any other control.
    const PreferenceField* Find(std::string_view name) const;
    // pnl0(0) to pnl0(3).
    const std::vector<PreferencePanel>& Panels() const { return panels_; }

    // ---- the tab strip ----
    int SelectedTab() const { return selectedTab_; } // 1 to 4
    // pnl0(index) shows only while its tab (index + 1) is selected.
    bool PanelVisible(int index) const { return index == selectedTab_ - 1; }

    // ---- events ----
    // Places the panels (the first tab's shows) and loads every field from the store.
    void Form_Load();
    void TabStrip1_Click(int tab);
    // The control that has the focus; the key filter goes by its name.
    const std::string& ActiveControl() const { return activeControl_; }
    void Control_GotFocus(std::string name) { activeControl_ = std::move(name); }
    // The field holds `text` now (typed, chosen from its list or pasted).
    void Field_Change(std::string_view name, std::string text);
    // The form sees every typed key before the field does: returns the key to pass on, or 0
    // to drop it. Backspace is 8.
    int Form_KeyPress(int keyAscii) const;
    // Saves every field, then closes.
    void btnOK_Click();
    // Closes without saving.
    void btnCancel_Click() { closed_ = true; }
    bool Closed() const { return closed_; }

    // ---- one field at a time, as the command-line tool uses them ----
    // Applies OK's rules to one field and writes it: a text field that is not a number gets
    // its default back (except the smoothing and feedback factors, which take any text), an
    // empty combo box gets its default back, and the trimmed text is stored. Returns what was
    // stored; nullopt for a name that is no field.
    std::optional<std::string> SaveField(std::string_view name);
    // Removes the stored values of every field, so that their defaults return. false when
    // the store could not remove one.
    bool ResetAll();

private:
    PreferenceField* FindField(std::string_view name);
    void SelectSection(const PreferenceField& field);
    std::string SaveField(PreferenceField& field);

    CProgramSettings* settings_;
    std::vector<PreferenceField> fields_;
    std::vector<PreferencePanel> panels_;
    int selectedTab_ = 1;
    std::string activeControl_;
    bool closed_ = false;
};

} // namespace marlindex
