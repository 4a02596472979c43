#include "app/commandline.h"

#include <QCommandLineOption>
#include <QCoreApplication>

QCommandLineOption CommandLine::hostNameOption()
{
    return QCommandLineOption(
            QStringLiteral("hostName"),
            QCoreApplication::translate(
                    "main", "The hostname of the device in recovery mode to connect to"),
            QStringLiteral("hostName"), QString());
}
