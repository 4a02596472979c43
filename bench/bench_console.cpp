// Prints what one console chunk costs with little and with much text, and how resident memory
// moves while one progress line is overwritten again and again.

#include "app/ostrelrecovery.h"
#include "processors/abstractcommandprocessor.h"
#include "tests/continuepasthelp.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTextDocument>
#include <QTextEdit>

#include <algorithm>
#include <cstdio>
#include <limits>
#include <unistd.h>

namespace {

double residentMegabytes()
{
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return -1;
    const QList<QByteArray> fields = statm.readAll().split(' ');
    return fields.value(1).toDouble() * double(sysconf(_SC_PAGESIZE)) / (1024.0 * 1024.0);
}

class ConsoleBench
{
public:
    ConsoleBench()
        : window(withoutHelpScreen())
    {
        window.show();
        processor = window.findChild<AbstractCommandProcessor *>();
        console = window.findChild<QTextEdit *>();
    }

    int lines() const { return console->document()->blockCount(); }

    void fillTo(int lineCount)
    {
        QString text;
        for (int line = lines(); line < lineCount; ++line)
            text += QStringLiteral("sending incremental file list %1/data/measurement_%2.csv\n")
                            .arg(line % 97)
                            .arg(line);
        emit processor->responseReceived(text);
        emit processor->responseReceived(QStringLiteral("warm-up\n"));
        QCoreApplication::processEvents();
    }

    // One batch of typical chunks (a progress line, then the next file on a new line), in
    // microseconds per chunk. With repaint the event loop runs after every chunk, as it does
    // between two replies of an instrument.
    double batch(bool repaint)
    {
        constexpr int Chunks = 50;
        QElapsedTimer timer;
        timer.start();
        for (int chunk = 0; chunk < Chunks; ++chunk) {
            emit processor->responseReceived(
                    QStringLiteral("     1,048,576  45%   88.20kB/s    0:01:%1\r").arg(chunk % 60)
                    + QStringLiteral("file_%1.dat\n").arg(chunk));
            if (repaint)
                QCoreApplication::processEvents();
        }
        return double(timer.nsecsElapsed()) / 1000.0 / Chunks;
    }

    void append(const QString &chunk) { emit processor->responseReceived(chunk); }

    void overwrite(int from, int to)
    {
        for (int count = from; count < to; ++count)
            emit processor->responseReceived(QStringLiteral("\rProg %1%").arg(count % 101));
    }

private:
    // The empty host name, once the start-up help screen is set to be continued past.
    static QString withoutHelpScreen()
    {
        continuePastHelpScreen();
        return QString();
    }

    OstrelRecovery window;
    AbstractCommandProcessor *processor = nullptr;
    QTextEdit *console = nullptr;
};

// Batches alternate between the two consoles, so a change in machine load hits both alike; the
// fastest batch of each counts, since load only ever adds time.
void compare(ConsoleBench &small, ConsoleBench &large, bool repaint, const char *name)
{
    constexpr int Rounds = 15;
    double smallBest = std::numeric_limits<double>::max();
    double largeBest = std::numeric_limits<double>::max();
    for (int round = 0; round < Rounds; ++round) {
        smallBest = std::min(smallBest, small.batch(repaint));
        largeBest = std::min(largeBest, large.batch(repaint));
    }
    std::printf("  %-26s %8.1f us     %8.1f us      %5.2f\n", name, smallBest, largeBest,
                largeBest / smallBest);
}

} // namespace

int main(int argc, char *argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);

    {
        ConsoleBench small;
        ConsoleBench large;
        small.fillTo(1000);
        large.fillTo(100000);
        std::printf("console chunk cost            1 000 lines   100 000 lines   ratio (target <= "
                    "1.20)\n");
        compare(small, large, false, "append only");
        compare(small, large, true, "append and repaint");
    }
    {
        ConsoleBench bench;
        bench.overwrite(0, 100000);
        const double at100k = residentMegabytes();
        bench.overwrite(100000, 300000);
        const double at300k = residentMegabytes();
        std::printf(
                "progress-line overwrites     resident at 100 000: %.2f MB, at 300 000: %.2f MB\n",
                at100k, at300k);
        std::printf("  growth between them        %.2f MB (target < 0.50)\n", at300k - at100k);
    }
    {
        ConsoleBench bench;
        QElapsedTimer timer;
        timer.start();
        bench.append(QString(1000000, QLatin1Char('y')));
        const double line = double(timer.nsecsElapsed()) / 1e6;
        timer.restart();
        bench.append(QStringLiteral("\rend"));
        std::printf("one unbroken 1 MB line        %.0f ms to append, %.0f ms to redraw after a "
                    "carriage return\n",
                    line, double(timer.nsecsElapsed()) / 1e6);
    }
    return 0;
}
