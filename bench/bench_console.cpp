// Prints what one console chunk costs with little and with much text, and how resident memory
// moves while one progress line is overwritten again and again: rows of "measure, result,
// target", separated by tabs, for bench/run's table.

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

void row(const QString &measure, const QString &result, const QString &target = QString())
{
    std::printf("%s\t%s\t%s\n", qUtf8Printable(measure), qUtf8Printable(result),
                qUtf8Printable(target));
}

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
void compare(ConsoleBench &small, ConsoleBench &large, bool repaint, const QString &name)
{
    constexpr int Rounds = 15;
    double smallBest = std::numeric_limits<double>::max();
    double largeBest = std::numeric_limits<double>::max();
    for (int round = 0; round < Rounds; ++round) {
        smallBest = std::min(smallBest, small.batch(repaint));
        largeBest = std::min(largeBest, large.batch(repaint));
    }
    const QString microseconds = QStringLiteral("%1 us");
    row(QStringLiteral("console chunk, %1, at 1 000 lines").arg(name),
        microseconds.arg(smallBest, 0, 'f', 1));
    row(QStringLiteral("console chunk, %1, at 100 000 lines").arg(name),
        microseconds.arg(largeBest, 0, 'f', 1));
    row(QStringLiteral("  ratio 100 000 / 1 000"), QString::number(largeBest / smallBest, 'f', 2),
        QStringLiteral("<= 1.20"));
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
        compare(small, large, false, QStringLiteral("append only"));
        compare(small, large, true, QStringLiteral("append and repaint"));
    }
    {
        ConsoleBench bench;
        bench.overwrite(0, 100000);
        const double at100k = residentMegabytes();
        bench.overwrite(100000, 300000);
        const double at300k = residentMegabytes();
        const QString megabytes = QStringLiteral("%1 MB");
        row(QStringLiteral("resident memory after 100 000 progress-line overwrites"),
            megabytes.arg(at100k, 0, 'f', 2));
        row(QStringLiteral("resident memory after 300 000 progress-line overwrites"),
            megabytes.arg(at300k, 0, 'f', 2));
        row(QStringLiteral("  growth over the last 200 000"),
            megabytes.arg(at300k - at100k, 0, 'f', 2), QStringLiteral("< 0.50 MB"));
    }
    {
        ConsoleBench bench;
        QElapsedTimer timer;
        timer.start();
        bench.append(QString(1000000, QLatin1Char('y')));
        const double line = double(timer.nsecsElapsed()) / 1e6;
        timer.restart();
        bench.append(QStringLiteral("\rend"));
        row(QStringLiteral("one unbroken 1 MB line: append"),
            QStringLiteral("%1 ms").arg(line, 0, 'f', 0));
        row(QStringLiteral("  then a carriage return and a short line"),
            QStringLiteral("%1 ms").arg(double(timer.nsecsElapsed()) / 1e6, 0, 'f', 0));
    }
    return 0;
}
