#include "app/commandline.h"
#include "app/ostrelrecovery.h"
#include "app/startup.h"

#include <QApplication>
#include <QCommandLineOption>
#include <QCommandLineParser>

int main(int argc, char *argv[])
{
    Startup::prepareToolkit();
    QApplication application(argc, argv);
    QCommandLineParser parser;
    const QCommandLineOption hostNameOption = CommandLine::hostNameOption();
    parser.addOption(hostNameOption);
    // Ends the process with the parser's message on an unknown option or a missing value.
    parser.process(application);

    Startup::applyStyleSheet(application);

    OstrelRecovery window(parser.value(hostNameOption));
    window.show();
    return application.exec();
}
