// Prints how fast the HTTP back end polls "status" against the instrument simulator, beside the
// toolkit's floor (a bare QNetworkAccessManager loop against the same server) and wrk, and how
// late a 16 ms timer fires in the window while polling runs: rows of "measure, result, target",
// separated by tabs, for bench/run's table.

#include "app/console.h"
#include "app/ostrelrecovery.h"
#include "bench/benchtable.h"
#include "processors/httpcommandprocessor.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProcess>
#include <QRegularExpression>
#include <QScreen>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <vector>

using BenchTable::median;
using BenchTable::ratio;
using BenchTable::row;
using BenchTable::runEventLoopFor;

namespace {

const QString Address = QStringLiteral("127.0.20.1");
// The loops take turns, so that a machine that slows down or speeds up in the meantime weighs on
// all of them alike; each figure is the median of its rounds.
constexpr int Rounds = 5;
constexpr int Seconds = 1;

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

// Counts the paint events a widget receives.
class PaintCounter : public QObject
{
public:
    int paints = 0;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Paint)
            ++paints;
        return QObject::eventFilter(watched, event);
    }
};

// The back end's own loop, through the install whose output never ends within the run. While it
// runs, a 16 ms timer records how late it fires.
double backEndRate(AbstractCommandProcessor *processor, std::vector<double> *lateness = nullptr,
                   PaintCounter *painted = nullptr)
{
    int replies = 0;
    const QMetaObject::Connection counting
            = QObject::connect(processor, &AbstractCommandProcessor::responseReceived, processor,
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
    if (painted)
        painted->paints = 0;
    clock.start();
    timer.start(16);
    runEventLoopFor(Seconds * 1000);
    QObject::disconnect(counting);
    return double(replies) / Seconds;
}

// The same in the window, which writes every piece into its console; with how late the timer
// fired and how often the console was drawn per second.
double windowRate(std::vector<double> *lateness, double *paintsPerSecond)
{
    OstrelRecovery window(Address);
    window.show();
    PaintCounter painted;
    window.findChild<Console *>()->viewport()->installEventFilter(&painted);
    const double rate
            = backEndRate(window.findChild<AbstractCommandProcessor *>(), lateness, &painted);
    *paintsPerSecond = double(painted.paints) / Seconds;
    return rate;
}

double wrkRate()
{
    QProcess wrk;
    wrk.start(QStringLiteral("wrk"),
              {QStringLiteral("-t1"), QStringLiteral("-c1"),
               QStringLiteral("-d%1s").arg(Rounds * Seconds),
               QStringLiteral("http://%1:8080/status").arg(Address)});
    if (!wrk.waitForFinished((Rounds * Seconds + 10) * 1000))
        return -1;
    const QRegularExpressionMatch match
            = QRegularExpression(QStringLiteral("Requests/sec:\\s+([0-9.]+)"))
                      .match(QString::fromUtf8(wrk.readAllStandardOutput()));
    return match.hasMatch() ? match.captured(1).toDouble() : -1;
}

} // namespace

int main(int argc, char *argv[])
{
    const auto application = BenchTable::startAsTheConsole(argc, argv);
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
    QList<double> bareRates, backEndRates, windowRates, paintRates;
    std::vector<double> lateness;
    for (int round = 0; round < Rounds; ++round) {
        bareRates.push_back(bareLoopRate());
        {
            HttpCommandProcessor processor(Address, nullptr);
            backEndRates.push_back(backEndRate(&processor));
        }
        double paints = 0;
        windowRates.push_back(windowRate(&lateness, &paints));
        paintRates.push_back(paints);
    }
    const double bare = median(bareRates);
    const double backEnd = median(backEndRates);
    const double window = median(windowRates);
    std::sort(lateness.begin(), lateness.end());
    const double wrk = wrkRate();
    simulator.kill();
    simulator.waitForFinished();

    const QString rate = QStringLiteral("%1 polls/s");
    row(QStringLiteral("status polling, bare QNetworkAccessManager loop"),
        rate.arg(bare, 0, 'f', 0));
    row(QStringLiteral("status polling, HTTP back end"), rate.arg(backEnd, 0, 'f', 0));
    row(QStringLiteral("  back end / bare loop"), ratio(backEnd / bare), QStringLiteral(">= 0.80"));
    row(QStringLiteral("status polling, window with its console"), rate.arg(window, 0, 'f', 0));
    row(QStringLiteral("  window / bare loop"), ratio(window / bare), QStringLiteral(">= 0.90"));
    row(QStringLiteral("  console drawn while polling, at most once per frame of the screen"),
        QStringLiteral("%1 /s").arg(median(paintRates), 0, 'f', 0),
        QStringLiteral("<= %1 /s").arg(QGuiApplication::primaryScreen()->refreshRate(), 0, 'f', 0));
    if (wrk > 0) {
        row(QStringLiteral("status requests, wrk -t1 -c1"),
            QStringLiteral("%1 req/s").arg(wrk, 0, 'f', 0));
        row(QStringLiteral("  bare loop / wrk"), ratio(bare / wrk));
    } else {
        row(QStringLiteral("status requests, wrk -t1 -c1"), QStringLiteral("not available"));
    }
    row(QStringLiteral("16 ms timer lateness while polling, 99th percentile"),
        QStringLiteral("%1 ms").arg(lateness.empty() ? -1 : lateness[lateness.size() * 99 / 100], 0,
                                    'f', 1),
        QStringLiteral("< 16 ms"));
    return 0;
}
