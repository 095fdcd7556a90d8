// Widget tests double as the screenshot maker: with MARLINDEX_SCREENSHOT_DIR set (as
// scripts/screenshot sets it, under Xvfb) a test saves the window it has set up as a PNG.
#pragma once

#include <QCoreApplication>
#include <QByteArray>
#include <QDir>
#include <QPixmap>
#include <QString>
#include <QWidget>

namespace marlindex::test {

// Saves `window` as <MARLINDEX_SCREENSHOT_DIR>/<name>.png; nothing when the variable is unset.
inline void SaveScreenshot(QWidget& window, const QString& name) {
    const QByteArray folder = qgetenv("MARLINDEX_SCREENSHOT_DIR");
    if (folder.isEmpty()) {
        return;
    }
    QDir().mkpath(QString::fromLocal8Bit(folder));
    // Let pending layouts settle first, as the event loop would before the user sees the
    // window: a label whose text just changed has not been given its new width yet.
    QCoreApplication::processEvents();
    window.grab().save(QDir(QString::fromLocal8Bit(folder)).filePath(name + ".png"));
}

} // namespace marlindex::test
