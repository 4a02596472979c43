// What a hostile instrument's replies cost the window: for each, the console asks for a reboot
// and the server on loopback answers with a body that inflates a thousandfold, never ends or comes
// slowly. Prints how far resident memory rose above where it was, at its peak, and whether the
// reply ended as a connection error. Rows of "measure, result, target", separated by tabs, for
// bench/run's table.
//   ostrel-bench-hostile [LABEL]   (LABEL names the build in the rows, say "Qt 6")

#include "app/ostrelrecovery.h"
#include "bench/benchtable.h"
#include "processors/abstractcommandprocessor.h"
#include "tools/instrument-sim/hostilereplies.h"

#include <QApplication>
#include <QEventLoop>
#include <QTimer>

using BenchTable::row;

int main(int argc, char *argv[])
{
    const auto application = BenchTable::startAsTheConsole(argc, argv);
    const QString label = QCoreApplication::arguments().value(1);
    const std::vector<HostileReplies::Named> hostile = HostileReplies::all();

    bool bounded = true;
    int host = 0;
    for (const HostileReplies::Named &named : hostile) {
        const QString address = QStringLiteral("127.0.61.%1").arg(++host);
        HttpReplyServer server([&named](const std::string &path) {
            return path == "reboot" ? named.reply : HttpReply {};
        });
        if (!server.start(address.toStdString()))
            return 1;
        OstrelRecovery window(address);
        window.show();
        auto *processor = window.findChild<AbstractCommandProcessor *>();
        QString console;
        QObject::connect(processor, &AbstractCommandProcessor::responseReceived, &window,
                         [&console](const QString &response) { console += response; });
        while (processor->isBusy()) // the identify of the constructor
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        console.clear();

        HostileReplies::resetPeak();
        const long long before = HostileReplies::residentKilobytes();
        QEventLoop loop;
        QObject::connect(processor, &AbstractCommandProcessor::isBusyChanged, &loop,
                         [&loop](bool busy) {
                             if (!busy)
                                 loop.quit();
                         });
        QTimer::singleShot(120 * 1000, &loop, &QEventLoop::quit);
        processor->reboot();
        loop.exec();
        const double grown = (HostileReplies::peakResidentKilobytes() - before) / 1024.0;
        const bool ended = console == QStringLiteral("Connection error to %1.\n").arg(address);
        bounded = bounded && grown <= 64 && ended;
        row(QStringLiteral("hostile reply%1: %2: resident memory at its peak, above before")
                    .arg(label.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(label),
                         QString::fromStdString(named.name)),
            QStringLiteral("%1 MB%2")
                    .arg(grown, 0, 'f', 1)
                    .arg(ended ? QString() : QStringLiteral(", not refused")),
            QStringLiteral("<= 64 MB"));
    }
    return bounded ? 0 : 1;
}
