// The About box: the program's name and version, and a button that starts the operating
// system's system-information tool.
#pragma once

#include "startup/UserPrompts.h"

#include <QDialog>

class QPushButton;

namespace marlindex {

class frmAbout : public QDialog {
    Q_OBJECT

public:
    // `prompts` says when no system-information tool is installed; it may be null.
    explicit frmAbout(UserPrompts* prompts, QWidget* parent = nullptr);

private:
    void StartSystemInfo();

    UserPrompts* prompts_;
    QPushButton* cmdSysInfo_;
    QPushButton* cmdOK_;
};

} // namespace marlindex
