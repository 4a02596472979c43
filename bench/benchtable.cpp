#include "bench/benchtable.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <malloc.h>
#include <unistd.h>

namespace BenchTable {

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

} // namespace BenchTable
