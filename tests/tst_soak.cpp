#include "app/ostrelrecovery.h"
#include "processors/abstractcommandprocessor.h"

#include <QNetworkReply>
#include <QProcess>
#include <QPushButton>
#include <QTcpSocket>
#include <QTest>
#include <QTimer>

#include <unistd.h>

// A long install through the HTTP back end into the console: memory stays where it was after the
// first thousand replies, and nothing of the stream is left behind at its end.
class TestSoak : public QObject
{
    Q_OBJECT

private slots:
    void longInstall();
};

namespace {

const QString Address = QStringLiteral("127.0.60.1");
constexpr qint64 AllowedGrowth = 5 * 1024 * 1024;

qint64 residentBytes()
{
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return -1;
    return statm.readAll().split(' ').value(1).toLongLong() * sysconf(_SC_PAGESIZE);
}

bool listening(const QString &address)
{
    return QTest::qWaitFor(
            [&address] {
                QTcpSocket socket;
                socket.connectToHost(address, 8080);
                return socket.waitForConnected(200);
            },
            10000);
}

} // namespace

void TestSoak::longInstall()
{
    QProcess simulator;
    simulator.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    simulator.start(QStringLiteral(INSTRUMENT_SIM),
                    {"--address", Address, "--steps", QString::number(SOAK_REPLIES), "--quiet"});
    QVERIFY(simulator.waitForStarted());
    QVERIFY(listening(Address));

    OstrelRecovery window(Address);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    auto *processor = window.findChild<AbstractCommandProcessor *>();
    QVERIFY(QTest::qWaitFor([processor] { return !processor->isBusy(); }, 10000));

    int replies = 0;
    qint64 residentAfterFirstThousand = 0;
    bool finished = false;
    connect(processor, &AbstractCommandProcessor::responseReceived, this,
            [&](const QString &response) {
                if (++replies == 1000)
                    residentAfterFirstThousand = residentBytes();
                finished = finished || response.endsWith(QLatin1String("Finished.\n"));
            });
    QPushButton *install = nullptr;
    for (QPushButton *button : window.findChildren<QPushButton *>())
        if (button->text().startsWith(QLatin1String("INSTALL SW")))
            install = button;
    QVERIFY(install);
    QTest::mouseClick(install, Qt::LeftButton);

    // A real event loop: waiting helpers that sleep between their looks would pace the polling.
    QEventLoop loop;
    connect(processor, &AbstractCommandProcessor::isBusyChanged, &loop, [&](bool busy) {
        if (!busy && finished)
            loop.quit();
    });
    QTimer::singleShot(1000 * 1000, &loop, &QEventLoop::quit);
    loop.exec();
    QVERIFY(finished);
    QVERIFY2(replies >= SOAK_REPLIES, qPrintable(QString::number(replies)));
    QVERIFY(processor->findChildren<QNetworkReply *>().isEmpty());
    QVERIFY(!processor->isBusy());
    QVERIFY(install->isEnabled());

    const qint64 growth = residentBytes() - residentAfterFirstThousand;
    qInfo("%d replies; resident memory grew by %lld kB after the first 1000", replies,
          growth / 1024);
#ifdef OSTREL_SANITIZED
    // The address sanitizer holds freed memory back for a while: resident memory says nothing.
    Q_UNUSED(AllowedGrowth)
#else
    QVERIFY2(growth <= AllowedGrowth, qPrintable(QString::number(growth)));
#endif
    simulator.kill();
    simulator.waitForFinished();
}

QTEST_MAIN(TestSoak)
#include "tst_soak.moc"
