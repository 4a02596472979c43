#include "app/startup.h"

#include <QApplication>
#include <QFile>

namespace Startup {

// Every screen is drawn to the pixel: a window of 1280 x 800, type and buttons sized in pixels.
// A style that grew its margins and spacing with the panel's resolution (Qt 5 reads it off the
// panel's size in millimetres) would take the room from the labels between them: on a panel of
// 150 dpi the slot panels' lines lost a quarter of their height, at 200 dpi two thirds.
void prepareToolkit()
{
    QCoreApplication::setAttribute(Qt::AA_Use96Dpi);
}

void applyStyleSheet(QApplication &application)
{
    QFile styleSheetFile(QStringLiteral(":/styleSheet.qss"));
    styleSheetFile.open(QIODevice::ReadOnly);
    // Decoding from the NUL-terminated data stops at the first zero byte, should one slip in.
    application.setStyleSheet(QString::fromUtf8(styleSheetFile.readAll().constData()));
}

} // namespace Startup
