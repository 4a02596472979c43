// Prints how fast the HTTP back end polls "status" against the instrument simulator, beside the
// toolkit's floor (a bare QNetworkAccessManager loop against the same server) and wrk, and how
// late a 16 ms timer fires in the window while polling runs: rows of "measure, result, target",
// separated by tabs, for bench/run's table.

#include "app/ostrelrecovery.h"
#include "bench/benchtable.h"
#include "processors/httpcommandprocessor.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProcess>
#include <QRegularExpression>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <vector>

using BenchTable::ratio;
using BenchTable::row;

namespace {

const QString Address = QStringLiteral("127.0.20.1");
constexpr int Seconds = 3;

void runEventLoopFor(int milliseconds)
{
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

// The floor: GET, read, release, next GET, nothing else.
double bareLoopRate()
{
    QNetworkAccessManager manager;
    const QUrl url(QStringLiteral("http://%1:8080/status").arg(Address));
    int replies = 0;
    QObject::connect(&manager, &QNetworkAccessManager::finished, &manager,
                     [&](QNetworkReply *reply) {
                         reply->readAll();
                         reply->deleteLater();
                         ++replies;
                         manager.get(QNetworkRequest(url));
                     });
    manager.get(QNetworkRequest(url));
    runEventLoopFor(500);
    replies = 0;
    runEventLoopFor(Seconds * 1000);
    return double(replies) / Seconds;
}

// The back end's own loop, through the install whose output never ends within the run. While it
// runs, a 16 ms timer records how late it fires.
double backEndRate(AbstractCommandProcessor *processor, std::vector<double> *lateness = nullptr)
{
    int replies = 0;
    QObject::connect(processor, &AbstractCommandProcessor::responseReceived, processor,
                     [&replies](const QString &) { ++replies; });
    processor->installSoftware();
    runEventLoopFor(500);
    QElapsedTimer clock;
    QTimer timer;
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, &timer, [&] {
        if (lateness)
            lateness->push_back(double(clock.nsecsElapsed()) / 1e6 - 16.0);
        clock.restart();
    });
    replies = 0;
    clock.start();
    timer.start(16);
    runEventLoopFor(Seconds * 1000);
    return double(replies) / Seconds;
}

// The same in the window, which writes every piece into its console; with the timer's lateness
// as the 99th percentile in milliseconds.
std::pair<double, double> windowRateAndLateness()
{
    OstrelRecovery window(Address);
    window.show();
    std::vector<double> lateness;
    const double rate = backEndRate(window.findChild<AbstractCommandProcessor *>(), &lateness);
    std::sort(lateness.begin(), lateness.end());
    return {rate, lateness.empty() ? -1 : lateness[lateness.size() * 99 / 100]};
}

double wrkRate()
{
    QProcess wrk;
    wrk.start(QStringLiteral("wrk"),
              {QStringLiteral("-t1"), QStringLiteral("-c1"), QStringLiteral("-d%1s").arg(Seconds),
               QStringLiteral("http://%1:8080/status").arg(Address)});
    if (!wrk.waitForFinished((Seconds + 10) * 1000))
        return -1;
    const QRegularExpressionMatch match
            = QRegularExpression(QStringLiteral("Requests/sec:\\s+([0-9.]+)"))
                      .match(QString::fromUtf8(wrk.readAllStandardOutput()));
    return match.hasMatch() ? match.captured(1).toDouble() : -1;
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s PATH-OF-ostrel-instrument-sim\n", argv[0]);
        return 2;
    }
    QProcess simulator;
    simulator.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    simulator.start(QString::fromLocal8Bit(argv[1]),
                    {QStringLiteral("--address"), Address, QStringLiteral("--steps"),
                     QStringLiteral("100000000"), QStringLiteral("--quiet")});
    if (!simulator.waitForReadyRead(5000)) {
        std::fprintf(stderr, "the instrument simulator did not start\n");
        return 1;
    }

    // Every loop below reads the same endless install output, started here once.
    {
        QNetworkAccessManager manager;
        QNetworkReply *reply = manager.get(
                QNetworkRequest(QUrl(QStringLiteral("http://%1:8080/ops/install").arg(Address))));
        QEventLoop loop;
        QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
        loop.exec();
        delete reply;
    }
    const double bare = bareLoopRate();
    double backEnd = 0;
    {
        HttpCommandProcessor processor(Address, nullptr);
        backEnd = backEndRate(&processor);
    }
    const auto [windowRate, lateness] = windowRateAndLateness();
    const double wrk = wrkRate();
    simulator.kill();
    simulator.waitForFinished();

    const QString rate = QStringLiteral("%1 polls/s");
    row(QStringLiteral("status polling, bare QNetworkAccessManager loop"),
        rate.arg(bare, 0, 'f', 0));
    row(QStringLiteral("status polling, HTTP back end"), rate.arg(backEnd, 0, 'f', 0));
    row(QStringLiteral("  back end / bare loop"), ratio(backEnd / bare), QStringLiteral(">= 0.80"));
    row(QStringLiteral("status polling, window with its console"), rate.arg(windowRate, 0, 'f', 0));
    row(QStringLiteral("  window / bare loop"), ratio(windowRate / bare),
        QStringLiteral(">= 0.90"));
    if (wrk > 0) {
        row(QStringLiteral("status requests, wrk -t1 -c1"),
            QStringLiteral("%1 req/s").arg(wrk, 0, 'f', 0));
        row(QStringLiteral("  bare loop / wrk"), ratio(bare / wrk));
    } else {
        row(QStringLiteral("status requests, wrk -t1 -c1"), QStringLiteral("not available"));
    }
    row(QStringLiteral("16 ms timer lateness while polling, 99th percentile"),
        QStringLiteral("%1 ms").arg(lateness, 0, 'f', 1), QStringLiteral("< 16 ms"));
    return 0;
}
