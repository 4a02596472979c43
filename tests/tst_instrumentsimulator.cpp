#include "tools/instrument-sim/instrumentsimulator.h"

#include <QJsonArray>
#include <QTest>

#include <future>

Q_DECLARE_METATYPE(InstrumentFaults)

// The simulator stands in for the instrument in the HTTP tests, the end-to-end runs and the
// benchmarks, so what it answers is checked here, path by path, without a network in between.
class TestInstrumentSimulator : public QObject
{
    Q_OBJECT

private slots:
    void replies_data();
    void replies();
    void stateChanges();
    void pollBeforeItsOperation();
};

namespace {

// One line per reply: "404 Not found\n", "200 Started install.\n", "dropped".
QStringList answer(InstrumentSimulator &simulator, const QStringList &paths)
{
    QStringList replies;
    for (const QString &path : paths) {
        const HttpReply reply = simulator.respond(path.toStdString());
        replies << (reply.dropConnection ? QString("dropped")
                                         : QString("%1 %2")
                                                   .arg(reply.status)
                                                   .arg(QString::fromStdString(reply.body)));
    }
    return replies;
}

} // namespace

void TestInstrumentSimulator::replies_data()
{
    QTest::addColumn<InstrumentFaults>("faults");
    QTest::addColumn<QStringList>("paths");
    QTest::addColumn<QStringList>("replies");

    const QString progress0
            = "\r              0   0%   4.20MB/s    0:03:28 (xfr#0, to-chk=233/233)";
    const QString progress1
            = "\r     18,823,301 100%   4.51MB/s    0:00:00 (xfr#233, to-chk=0/233)";
    const QString totals = "\n\nsent 18,830,112 bytes  received 4,472 bytes  90,478.37 bytes/sec\n"
                           "total size is 18,823,301  speedup is 1.00\n";

    QTest::newRow("nothing running")
            << InstrumentFaults() << QStringList {"status", "cancel"}
            << QStringList {"200 No active process.\n", "200 No active process.\n"};
    QTest::newRow("install streams piece by piece to Finished")
            << InstrumentFaults()
            << QStringList {"ops/install", "ops/install", "status", "status", "status", "status",
                            "status",      "status",      "status", "status", "status"}
            << QStringList {"200 Started install.\n",
                            "200 Busy: install is running.\n",
                            "200 Mounting USB0 (KINGSTON) on /run/media/USB0\n",
                            "200 Found ostrel-update-T2026.11.2.0412_20261120_093015.tar "
                            "(18,823,301 bytes)\n",
                            "200 Verifying signature... OK\n",
                            "200 Installing into slot B\n",
                            "200 sending incremental file list\n",
                            "200 " + progress0,
                            "200 " + progress1,
                            "200 " + totals
                                    + "Slot B now holds T2026.11.2.0412_20261120_093015\n"
                                      "Finished.\n",
                            "200 No active process.\n"};
    QTest::newRow("cancel ends the output early")
            << InstrumentFaults()
            << QStringList {"ops/backup", "status", "cancel", "status", "status"}
            << QStringList {"200 Started backup.\n", "200 Exporting to USB0 (KINGSTON)\n",
                            "200 Cancelling.\n", "200 \nbackup cancelled.\nFinished.\n",
                            "200 No active process.\n"};
    InstrumentFaults drop;
    drop.dropStatusAt = 2;
    QTest::newRow("dropped status reply loses nothing")
            << drop << QStringList {"ops/backup", "status", "status", "status"}
            << QStringList {"200 Started backup.\n", "200 Exporting to USB0 (KINGSTON)\n",
                            "dropped", "200 created directory /run/media/USB0/export-1901035\n"};
    InstrumentFaults failing;
    failing.failingPaths = QStringList {"reboot"};
    QTest::newRow("failing path") << failing << QStringList {"reboot", "cancel"}
                                  << QStringList {"500 Internal Server Error\n",
                                                  "200 No active process.\n"};
    InstrumentFaults garbage;
    garbage.identityNotJson = true;
    QTest::newRow("identity that is not JSON")
            << garbage << QStringList {"ops/identify"}
            << QStringList {"200 identify: VX4120A 1901035 in recovery mode\n"
                            "{\"model\": VX4120A, \"serial\": "};
    QTest::newRow("unknown paths") << InstrumentFaults()
                                   << QStringList {"",
                                                   "ops",
                                                   "ops/reset",
                                                   "ops/reset/boot/order/C",
                                                   "ops/reset/boot/count/a",
                                                   "ops/reset/factory/now",
                                                   "ops/identify/"}
                                   << QStringList(QVector<QString>(7, "404 Not found\n").toList());
}

void TestInstrumentSimulator::replies()
{
    QFETCH(InstrumentFaults, faults);
    QFETCH(QStringList, paths);
    QFETCH(QStringList, replies);

    InstrumentSimulator simulator(InstrumentSimulator::defaultIdentity(), 1, faults);
    QCOMPARE(answer(simulator, paths), replies);
    QCOMPARE(simulator.requests(), paths);
}

// What the next identify reports after each operation, as the instrument would.
void TestInstrumentSimulator::stateChanges()
{
    InstrumentSimulator simulator(InstrumentSimulator::defaultIdentity(), 1);
    const auto slots_ = [&] {
        const QJsonObject identity = simulator.identity();
        return QString("%1 %2 %3")
                .arg(identity["slotOrder"].toArray().at(0).toString())
                .arg(identity["slotCount"].toArray().at(0).toInt())
                .arg(identity["slotCount"].toArray().at(1).toInt());
    };
    QCOMPARE(slots_(), "B 3 2");
    answer(simulator, {"ops/reset/boot/order/A"});
    QCOMPARE(slots_(), "A 2 3");
    answer(simulator, {"ops/reset/boot/order/A", "ops/reset/boot/count/B"});
    QCOMPARE(slots_(), "A 2 0");
    answer(simulator, {"reboot"});
    QCOMPARE(slots_(), "A 3 0");
    answer(simulator, {"ops/eject", "ops/eject"});
    QCOMPARE(simulator.identity()["usb"].toArray().size(), 0);
    // Nothing to install from once the stick is gone.
    QCOMPARE(answer(simulator, {"ops/install", "status", "status"}),
             QStringList({"200 Started install.\n", "200 No USB stick found.\nFinished.\n",
                          "200 No active process.\n"}));
    QCOMPARE(simulator.identity()["slotAVersion"].toString(), "E2019.01.1.1518_20190131_111111");
}

// The first poll of an install may overtake the install request on its way; it waits for it
// briefly instead of ending the stream before it began.
void TestInstrumentSimulator::pollBeforeItsOperation()
{
    InstrumentSimulator simulator(InstrumentSimulator::defaultIdentity(), 1);
    auto poll = std::async(std::launch::async, [&] { return simulator.respond("status"); });
    QTest::qSleep(20);
    simulator.respond("ops/install");
    QCOMPARE(poll.get().body, "Mounting USB0 (KINGSTON) on /run/media/USB0\n");
}

QTEST_GUILESS_MAIN(TestInstrumentSimulator)
#include "tst_instrumentsimulator.moc"
