#include "tools/instrument-sim/httpreplyserver.h"
#include "tools/instrument-sim/instrumentsimulator.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QJsonDocument>
#include <QTextStream>

#include <cstdio>

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
            "Serves an instrument's recovery protocol on port 8080, for trying and testing the "
            "console without hardware."));
    parser.addHelpOption();
    const QCommandLineOption address(QStringLiteral("address"),
                                     QStringLiteral("Listen on <address> (default 127.0.0.1)."),
                                     QStringLiteral("address"), QStringLiteral("127.0.0.1"));
    const QCommandLineOption identity(
            QStringLiteral("identity"),
            QStringLiteral("Report the identity document in <file> instead of the built-in one."),
            QStringLiteral("file"));
    const QCommandLineOption steps(
            QStringLiteral("steps"),
            QStringLiteral("Progress lines in each install or export output (default 40)."),
            QStringLiteral("count"), QStringLiteral("40"));
    const QCommandLineOption delay(QStringLiteral("delay"),
                                   QStringLiteral("Wait <ms> milliseconds before every reply."),
                                   QStringLiteral("ms"));
    const QCommandLineOption dropStatus(
            QStringLiteral("drop-status"),
            QStringLiteral("Drop the connection on the <n>th status reply of each operation."),
            QStringLiteral("n"));
    const QCommandLineOption fail(QStringLiteral("fail"),
                                  QStringLiteral("Answer <path> with 500 (may be repeated)."),
                                  QStringLiteral("path"));
    const QCommandLineOption notJson(QStringLiteral("not-json"),
                                     QStringLiteral("Send an identity that is not JSON."));
    const QCommandLineOption quiet(QStringLiteral("quiet"),
                                   QStringLiteral("Do not print the requests received."));
    parser.addOptions({address, identity, steps, delay, dropStatus, fail, notJson, quiet});
    parser.process(application);

    QJsonObject document = InstrumentSimulator::defaultIdentity();
    if (parser.isSet(identity)) {
        QFile file(parser.value(identity));
        if (!file.open(QIODevice::ReadOnly)) {
            std::fprintf(stderr, "Cannot read %s\n", qPrintable(file.fileName()));
            return 1;
        }
        document = QJsonDocument::fromJson(file.readAll()).object();
    }
    InstrumentFaults faults;
    faults.delay = std::chrono::milliseconds(parser.value(delay).toInt());
    faults.dropStatusAt = parser.value(dropStatus).toInt();
    faults.failingPaths = parser.values(fail);
    faults.identityNotJson = parser.isSet(notJson);
    InstrumentSimulator simulator(document, parser.value(steps).toInt(), faults);

    const bool printRequests = !parser.isSet(quiet);
    HttpReplyServer server([&simulator, printRequests](const std::string &path) {
        const HttpReply reply = simulator.respond(path);
        if (printRequests) {
            std::printf("GET /%s %d%s\n", path.c_str(), reply.status,
                        reply.dropConnection ? " dropped" : "");
            std::fflush(stdout);
        }
        return reply;
    });
    const std::string host = parser.value(address).toStdString();
    std::printf("Instrument simulator on http://%s:8080/\n", host.c_str());
    std::fflush(stdout);
    if (!server.listen(host)) {
        std::fprintf(stderr, "Cannot listen on %s port 8080\n", host.c_str());
        return 1;
    }
    return 0;
}
