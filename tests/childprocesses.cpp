#include "childprocesses.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QTest>

namespace ChildProcesses {

int count()
{
    int children = 0;
    const QDir tasks("/proc/self/task");
    for (const QString &task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile file(tasks.filePath(task + "/children"));
        if (file.open(QIODevice::ReadOnly))
            children += QString::fromLatin1(file.readAll()).split(' ', Qt::SkipEmptyParts).size();
    }
    return children;
}

bool settle(int timeoutMilliseconds)
{
    const QDeadlineTimer deadline(timeoutMilliseconds);
    do {
        if (!QTest::qWaitFor([] { return count() == 0; }, int(deadline.remainingTime())))
            return false;
        // A child may be reaped before the event loop delivers its end, and taking that end in
        // may start the next run.
        QTest::qWait(50);
    } while (count() > 0);
    return true;
}

} // namespace ChildProcesses
