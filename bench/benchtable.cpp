#include "bench/benchtable.h"

#include "app/startup.h"

#include <QApplication>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <malloc.h>
#include <unistd.h>
#include <utility>

#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#define OSTREL_CALLGRIND
#endif

namespace BenchTable {

std::unique_ptr<QApplication> startAsTheConsole(int &argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    Startup::prepareToolkit();
    auto application = std::make_unique<QApplication>(argc, argv);
    Startup::applyStyleSheet(*application);
    return application;
}

void row(const QString &measure, const QString &result, const QString &target)
{
    std::printf("%s\t%s\t%s\n", qUtf8Printable(measure), qUtf8Printable(result),
                qUtf8Printable(target));
    std::fflush(stdout);
}

QString ratio(double value)
{
    return QString::number(value, 'f', 2);
}

double median(QList<double> values)
{
    std::sort(values.begin(), values.end());
    return values.isEmpty() ? -1 : values.at(values.size() / 2);
}

void runEventLoopFor(int milliseconds)
{
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

double residentBytes()
{
    malloc_trim(0);
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return -1;
    return statm.readAll().split(' ').value(1).toDouble() * double(sysconf(_SC_PAGESIZE));
}

void startCounting()
{
#ifdef OSTREL_CALLGRIND
    static bool instrumented = false;
    // Once: turning instrumentation on throws away what valgrind has translated so far.
    if (!std::exchange(instrumented, true))
        CALLGRIND_START_INSTRUMENTATION;
    CALLGRIND_TOGGLE_COLLECT;
#endif
}

void stopCounting()
{
#ifdef OSTREL_CALLGRIND
    CALLGRIND_TOGGLE_COLLECT;
#endif
}

double instructions(const QString &program, const QStringList &arguments)
{
    QProcess valgrind;
    valgrind.start(QStringLiteral("valgrind"),
                   QStringList {QStringLiteral("--tool=callgrind"),
                                QStringLiteral("--instr-atstart=no"),
                                QStringLiteral("--collect-atstart=no"),
                                QStringLiteral("--callgrind-out-file=/dev/null"), program}
                           + arguments);
    if (!valgrind.waitForFinished(-1) || valgrind.exitCode() != 0)
        return -1;
    const QRegularExpressionMatch collected
            = QRegularExpression(QStringLiteral("Collected : (\\d+)"))
                      .match(QString::fromUtf8(valgrind.readAllStandardError()));
    return collected.hasMatch() ? collected.captured(1).toDouble() : -1;
}

} // namespace BenchTable
