#include "about/frmAbout.h"

#include "about/AboutInfo.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QProcess>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>
#include <cstdlib>

namespace marlindex {

frmAbout::frmAbout(UserPrompts* prompts, QWidget* parent) : QDialog(parent), prompts_(prompts) {
    setObjectName(QStringLiteral("frmAbout"));
    setWindowTitle(tr("About %1").arg(QString::fromLatin1(kProgramName)));

    auto* icon = new QLabel;
    icon->setPixmap(style()->standardIcon(QStyle::SP_ComputerIcon).pixmap(48, 48));
    auto* title = new QLabel(QString::fromLatin1(kProgramName));
    title->setObjectName(QStringLiteral("lblTitle"));
    QFont big = title->font();
    big.setPointSizeF(big.pointSizeF() * 1.8);
    big.setBold(true);
    title->setFont(big);
    auto* version = new QLabel(tr("Version %1").arg(QString::fromStdString(ProgramVersion())));
    version->setObjectName(QStringLiteral("lblVersion"));
    auto* description = new QLabel(
        tr("Builds AmiBroker explorations and scans from conditions you point and click."));
    description->setObjectName(QStringLiteral("lblDescription"));
    description->setWordWrap(true);
    auto* qt = new QLabel(tr("Built with Qt %1.").arg(QString::fromLatin1(qVersion())));

    auto* texts = new QVBoxLayout;
    texts->addWidget(title);
    texts->addWidget(version);
    texts->addSpacing(8);
    texts->addWidget(description);
    texts->addWidget(qt);
    auto* top = new QHBoxLayout;
    top->addWidget(icon, 0, Qt::AlignTop);
    top->addLayout(texts, 1);

    cmdOK_ = new QPushButton(tr("OK"));
    cmdOK_->setObjectName(QStringLiteral("cmdOK"));
    cmdOK_->setDefault(true);
    cmdSysInfo_ = new QPushButton(tr("&System Info..."));
    cmdSysInfo_->setObjectName(QStringLiteral("cmdSysInfo"));
    cmdSysInfo_->setToolTip(tr("Start the system's information tool"));
    connect(cmdOK_, &QPushButton::clicked, this, &QDialog::accept);
    connect(cmdSysInfo_, &QPushButton::clicked, this, [this] { StartSystemInfo(); });

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(cmdSysInfo_);
    buttons->addWidget(cmdOK_);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addSpacing(12);
    layout->addLayout(buttons);
    setMinimumWidth(420);
}

void frmAbout::StartSystemInfo() {
    const char* path = std::getenv("PATH");
    const auto tool = FindSystemInfoTool(path == nullptr ? "" : path);
    if (tool && QProcess::startDetached(QString::fromStdString(tool->string()), {})) {
        return;
    }
    if (prompts_ == nullptr) {
        return;
    }
    std::string names;
    for (const std::string& name : SystemInfoToolNames()) {
        names += (names.empty() ? "" : ", ") + name;
    }
    prompts_->Inform(
        "System Information",
        tool ? "The system information tool " + tool->string() + " could not be started."
             : "No system information tool is installed on this computer (looked for " + names +
                   ").");
}

} // namespace marlindex
