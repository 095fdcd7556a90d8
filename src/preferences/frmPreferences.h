// The Preferences dialog: the indicators' default parameters on four tabs. Its behaviour is
// PreferenceFields; this form shows that state on widgets named after the controls ("I162",
// "TabStrip1", "pnl0", "btnOK", "btnCancel") and forwards the user's events to it.
#pragma once

#include "preferences/PreferenceFields.h"

#include <QDialog>
#include <functional>
#include <map>
#include <string>
#include <vector>

class QLabel;
class QTabWidget;
class QWidget;

namespace marlindex {

class frmPreferences : public QDialog {
    Q_OBJECT

public:
    // Loads every field from `settings`, the program's shared settings object, which must
    // outlive the dialog. Show it with exec(): after OK the values are in the store, and the
    // next condition that is translated uses them.
    explicit frmPreferences(CProgramSettings& settings, QWidget* parent = nullptr);

    const PreferenceFields& State() const { return state_; }

public slots:
    // Escape and the Cancel button: closes without saving.
    void reject() override;

protected:
    // Focus changes and typed keys of the fields, seen before the fields see them.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QWidget* BuildPanel(const PreferencePanel& panel, int index);
    // Adds the frame's row labels to `rowLabels`.
    QWidget* BuildFrame(const PreferenceFrame& frame, std::vector<QLabel*>& rowLabels);
    QWidget* BuildField(const PreferenceField& field);
    void Watch(QObject* widget, const std::string& name);
    void btnOK_Click();
    // Every user event reaches the state through here: an unexpected failure is reported
    // rather than escaping into the event loop, and the widgets then show the state (not
    // after typing, which the widgets show already).
    void Handle(const std::function<void()>& event, bool mirror = true);
    // Copies the state onto the widgets.
    void Mirror();

    PreferenceFields state_;
    QTabWidget* TabStrip1_ = nullptr;
    std::map<std::string, QWidget*> fields_;        // by control name
    std::map<const QObject*, std::string> watched_; // a field's widgets to its control name
    bool showing_ = false; // set while Mirror changes widgets: not the user's doing
};

} // namespace marlindex
