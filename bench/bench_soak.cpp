// A long install through the HTTP back end into the window's console, from the instrument
// simulator on loopback: prints how far resident memory moved after the first thousand status
// replies, and whether the stream left anything behind (a reply object, a busy state, disabled
// buttons). Rows of "measure, result, target", separated by tabs, for bench/run's table.
//   ostrel-bench-soak SIMULATOR [REPLIES]

#include "app/ostrelrecovery.h"
#include "bench/benchtable.h"
#include "processors/abstractcommandprocessor.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QNetworkReply>
#include <QProcess>
#include <QPushButton>
#include <QTcpSocket>
#include <QTimer>

using BenchTable::row;

namespace {

const QString Address = QStringLiteral("127.0.60.1");

double residentMegabytes()
{
    return BenchTable::residentBytes() / (1024.0 * 1024.0);
}

bool listening()
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < 10000) {
        QTcpSocket socket;
        socket.connectToHost(Address, 8080);
        if (socket.waitForConnected(200))
            return true;
    }
    return false;
}

} // namespace

int main(int argc, char *argv[])
{
    const auto application = BenchTable::startAsTheConsole(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() < 2)
        return 2;
    const int steps = arguments.value(2, QStringLiteral("200000")).toInt();

    QProcess simulator;
    simulator.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    simulator.start(arguments.at(1),
                    {QStringLiteral("--address"), Address, QStringLiteral("--steps"),
                     QString::number(steps), QStringLiteral("--quiet")});
    if (!simulator.waitForStarted() || !listening())
        return 1;

    OstrelRecovery window(Address);
    window.show();
    auto *processor = window.findChild<AbstractCommandProcessor *>();
    QPushButton *install = nullptr;
    for (QPushButton *button : window.findChildren<QPushButton *>()) {
        if (button->text().startsWith(QLatin1String("INSTALL SW")))
            install = button;
    }
    while (processor->isBusy()) // the identify of the constructor
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);

    // A real event loop: helpers that sleep between their looks would pace the polling.
    QEventLoop loop;
    int replies = 0;
    double afterFirstThousand = 0;
    bool finished = false;
    QObject::connect(processor, &AbstractCommandProcessor::responseReceived, &loop,
                     [&](const QString &response) {
                         if (++replies == 1000)
                             afterFirstThousand = residentMegabytes();
                         finished = finished || response.endsWith(QLatin1String("Finished.\n"));
                     });
    QObject::connect(processor, &AbstractCommandProcessor::isBusyChanged, &loop, [&](bool busy) {
        if (!busy && finished)
            loop.quit();
    });
    install->click();
    QTimer::singleShot(1000 * 1000, &loop, &QEventLoop::quit);
    loop.exec();

    const bool clean = finished && processor->findChildren<QNetworkReply *>().isEmpty()
            && !processor->isBusy() && install->isEnabled();
    row(QStringLiteral("install of %L1 status replies: resident memory growth after the "
                       "first 1 000")
                .arg(replies),
        QStringLiteral("%1 MB").arg(residentMegabytes() - afterFirstThousand, 0, 'f', 2),
        QStringLiteral("<= 5 MB"));
    row(QStringLiteral("  ended with no reply left, idle, buttons back"),
        clean ? QStringLiteral("yes") : QStringLiteral("no"), QStringLiteral("yes"));
    simulator.kill();
    simulator.waitForFinished();
    return clean ? 0 : 1;
}
