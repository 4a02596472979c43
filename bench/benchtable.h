#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <memory>

class QApplication;

// What the benchmarks share: bench/run gathers their rows into one table.
namespace BenchTable {

// The application, started as the console starts it; offscreen where the caller names no platform.
std::unique_ptr<QApplication> startAsTheConsole(int &argc, char **argv);

// Prints one row of "measure, result, target", separated by tabs.
void row(const QString &measure, const QString &result, const QString &target = QString());
QString ratio(double value);
// The middle of the values, which a few held up by the scheduler do not move.
double median(QList<double> values);
// Lets the event loop run for that long.
void runEventLoopFor(int milliseconds);
// The resident memory of this process, after what was freed has been handed back.
double residentBytes();

// Under valgrind's callgrind, started with instrumentation and collection off (instructions(),
// below), what runs between startCounting() and stopCounting() is counted, and nothing else, so
// that the program runs at nearly its own speed up to what is measured. Elsewhere they do nothing.
void startCounting();
void stopCounting();
// The instructions that the program counted, run with those arguments under callgrind; -1 when
// valgrind is not there or the program failed.
double instructions(const QString &program, const QStringList &arguments);

} // namespace BenchTable
