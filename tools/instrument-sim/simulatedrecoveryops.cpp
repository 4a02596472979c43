#include "tools/instrument-sim/instrumentsimulator.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonDocument>
#include <QLockFile>
#include <QSaveFile>

#include <iostream>

// The simulated instrument behind its own service tool, for the local back end and the instrument
// build. It lives in "$FAKE_TOOL_DIR/instrument.json" between runs, else each starts afresh. A run
// without arguments stands in for the system's reboot command.
int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    const QString folder = qEnvironmentVariable("FAKE_TOOL_DIR");
    // The console runs an identify beside a command (beside the reboot), and each run reads,
    // changes and writes the instrument: one at a time, or the later writer undoes the other's
    // change. A killed run's lock names a dead process, and the next run takes it over.
    QLockFile lock(folder + "/instrument.lock");
    if (!folder.isEmpty() && !lock.lock())
        return 1;
    QJsonObject identity = InstrumentSimulator::defaultIdentity();
    QFile state(folder + "/instrument.json");
    if (!folder.isEmpty() && state.open(QIODevice::ReadOnly))
        identity = QJsonDocument::fromJson(state.readAll()).object();
    state.close();

    InstrumentSimulator instrument(identity, 3);
    const std::string path
            = arguments.isEmpty() ? "reboot" : ("ops/" + arguments.join('/')).toStdString();
    std::string output = instrument.respond(path).body;
    // The tool prints the document alone, without the service's log line.
    if (path == "ops/identify")
        output.erase(0, output.rfind('\n') + 1);
    std::cout << output << std::flush;
    if (path == "ops/install" || path == "ops/backup") {
        do {
            output = instrument.respond("status").body;
            std::cout << output << std::flush;
        } while (output.find("Finished.\n") == std::string::npos);
    }

    if (folder.isEmpty())
        return 0;
    QSaveFile update(state.fileName());
    if (!update.open(QIODevice::WriteOnly))
        return 1;
    update.write(QJsonDocument(instrument.identity()).toJson());
    return update.commit() ? 0 : 1;
}
