#pragma once

#include <QList>
#include <QString>

// What the benchmarks share: bench/run gathers their rows into one table.
namespace BenchTable {

// Prints one row of "measure, result, target", separated by tabs.
void row(const QString &measure, const QString &result, const QString &target = QString());
QString ratio(double value);
// The middle of the values, which a few held up by the scheduler do not move.
double median(QList<double> values);
// Lets the event loop run for that long.
void runEventLoopFor(int milliseconds);
// The resident memory of this process, after what was freed has been handed back.
double residentBytes();

} // namespace BenchTable
