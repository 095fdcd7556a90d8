// The program's own page viewer for the user guide and the read-me page: the pages ship with
// the program and open here, whether or not a web browser is set up. Links to other pages
// of the guide stay in the viewer; links to the web go to the system's browser.
#pragma once

#include <QDialog>
#include <filesystem>

class QTextBrowser;

namespace marlindex {

class frmHelp : public QDialog {
    Q_OBJECT

public:
    explicit frmHelp(QWidget* parent = nullptr);

    // Shows the page (an HTML file) and brings the viewer to the front.
    void ShowPage(const std::filesystem::path& page);

private:
    QTextBrowser* browser_;
};

} // namespace marlindex
