#pragma once

#include <QApplication>
#include <QDialog>
#include <QTimer>

// A window built without a host runs the start-up help screen inside its constructor. Call this
// right before constructing one: the screen is continued past as soon as it is up, as a user
// would with its continue button.
inline void continuePastHelpScreen()
{
    QTimer::singleShot(0, qApp, [] {
        if (auto *dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget()))
            dialog->reject();
    });
}
