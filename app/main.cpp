#include "app/commandline.h"
#include "app/ostrelrecovery.h"

#include <QApplication>
#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QFile>

int main(int argc, char *argv[])
{
    OstrelRecovery::prepareToolkit();
    QApplication application(argc, argv);
    QCommandLineParser parser;
    const QCommandLineOption hostNameOption = CommandLine::hostNameOption();
    parser.addOption(hostNameOption);
    // Ends the process with the parser's message on an unknown option or a missing value.
    parser.process(application);

    QFile styleSheetFile(QStringLiteral(":/styleSheet.qss"));
    styleSheetFile.open(QIODevice::ReadOnly);
    // Decoding from the NUL-terminated data stops at the first zero byte, should one slip in.
    application.setStyleSheet(QString::fromUtf8(styleSheetFile.readAll().constData()));

    OstrelRecovery window(parser.value(hostNameOption));
    window.show();
    return application.exec();
}
