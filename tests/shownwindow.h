#pragma once

#include "app/ostrelrecovery.h"

#include <QApplication>
#include <QDialog>
#include <QFile>
#include <QTest>
#include <QTimer>

#include <memory>

// The program's own style sheet, with the console's pixel font, before any window exists. False
// when the resource cannot be read.
inline bool applyStyleSheet()
{
    QFile styleSheet(QStringLiteral(":/styleSheet.qss"));
    if (!styleSheet.open(QIODevice::ReadOnly))
        return false;
    qApp->setStyleSheet(QString::fromUtf8(styleSheet.readAll()));
    return true;
}

// A window, shown at the designed size. Built without a host, it runs the start-up help screen
// inside its constructor, which is continued past as soon as it is up, as a user would.
inline std::unique_ptr<OstrelRecovery> shownWindow(const QString &hostName)
{
    QTimer::singleShot(0, qApp, [] {
        if (auto *dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget()))
            dialog->reject();
    });
    auto window = std::make_unique<OstrelRecovery>(hostName);
    // The instrument build asks for full screen, and the offscreen screen is smaller than the
    // instrument's: the layout is checked at the designed size, the state in window().
    window->setWindowState(Qt::WindowNoState);
    window->show();
    if (!QTest::qWaitForWindowExposed(window.get()))
        return nullptr;
    return window;
}
