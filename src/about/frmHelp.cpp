#include "about/frmHelp.h"

#include "about/AboutInfo.h"

#include <QDialogButtonBox>
#include <QPushButton>
#include <QTextBrowser>
#include <QUrl>
#include <QVBoxLayout>

namespace marlindex {

frmHelp::frmHelp(QWidget* parent) : QDialog(parent) {
    setObjectName(QStringLiteral("frmHelp"));
    setWindowFlag(Qt::WindowMaximizeButtonHint);
    browser_ = new QTextBrowser(this);
    browser_->setObjectName(QStringLiteral("txtHelp"));
    browser_->setOpenExternalLinks(true);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    auto* back = buttons->addButton(tr("&Back"), QDialogButtonBox::ActionRole);
    back->setObjectName(QStringLiteral("cmdBack"));
    back->setEnabled(false);
    connect(back, &QPushButton::clicked, browser_, &QTextBrowser::backward);
    connect(browser_, &QTextBrowser::backwardAvailable, back, &QPushButton::setEnabled);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::close);
    connect(browser_, &QTextBrowser::sourceChanged, this, [this] {
        const QString title = browser_->documentTitle();
        setWindowTitle(title.isEmpty() ? tr("%1 Help").arg(QString::fromLatin1(kProgramName))
                                       : title);
    });

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(browser_, 1);
    layout->addWidget(buttons);
    resize(760, 640);
}

void frmHelp::ShowPage(const std::filesystem::path& page) {
    browser_->setSource(QUrl::fromLocalFile(QString::fromStdString(page.string())));
    show();
    raise();
    activateWindow();
}

} // namespace marlindex
