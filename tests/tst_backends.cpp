#include "childprocesses.h"
#include "processors/commandprocessor.h"
#include "processors/fakecommandprocessor.h"
#include "processors/httpcommandprocessor.h"
#include "signalrecorder.h"
#include "tools/instrument-sim/httpreplyserver.h"
#include "tools/instrument-sim/instrumentsimulator.h"

#include <QTemporaryDir>
#include <QTest>

#include <memory>

// The same operations through every back end, side by side: what the console and the panels
// receive. Requests that one operation sends at once may be answered in any order, and the local
// back end's identify runs race its command runs, so the events of each operation are compared
// sorted, and an identity is compared only where it was asked for (the one that follows a boot
// order change may come from before or after the change).
// The streaming operations are held to their output in each back end's own test.
class TestBackEnds : public QObject
{
    Q_OBJECT

private slots:
    void scenario_data();
    void scenario();
    void simulated_data();
    void simulated();
};

namespace {

const QString Start = "identity: B-first B:3 A:2 usb: USB0 USB1";
const QString Refreshed = "response: Identity refreshed.\\n";
const QString Finished = "response: \\nCommand Finished.\\n";

// Each operation's events, sorted, then joined as "operation: event | event".
QStringList run(AbstractCommandProcessor *processor, const QStringList &operations)
{
    SignalRecorder recorder(processor);
    QStringList runs;
    for (const QString &operation : operations) {
        recorder.events.clear();
        if (!SignalRecorder::perform(processor, operation))
            return {"unknown operation " + operation};
        // The local back end's identify runs end after it is no longer busy.
        if (!QTest::qWaitFor([&] { return !processor->isBusy(); }, 20000)
            || !ChildProcesses::settle())
            return {"still busy after " + operation};
        QStringList events = recorder.events.filter(QRegExp("^(response|identity)"));
        if (operation != "identify")
            events = events.filter(QRegExp("^response"));
        events.sort();
        runs << operation + ": " + events.join(" | ");
    }
    return runs;
}

} // namespace

void TestBackEnds::scenario_data()
{
    QTest::addColumn<QStringList>("operations");
    QTest::addColumn<QStringList>("simulated");
    QTest::addColumn<QStringList>("http");
    QTest::addColumn<QStringList>("local");

    QTest::newRow("identify") << QStringList {"identify"} << QStringList {"identify: " + Start}
                              << QStringList {"identify: " + Start + " | " + Refreshed}
                              << QStringList {"identify: " + Start};
    QTest::newRow("boot order")
            << QStringList {"setBootOrder A", "identify", "setBootOrder B", "identify"}
            << QStringList {"setBootOrder A: ",
                            "identify: identity: A-first A:2 B:3 usb: USB0 USB1",
                            "setBootOrder B: ", "identify: " + Start}
            << QStringList {"setBootOrder A: response: Boot order: slot A first.\\n | " + Refreshed,
                            "identify: identity: A-first A:2 B:3 usb: USB0 USB1 | " + Refreshed,
                            "setBootOrder B: response: Boot order: slot B first.\\n | " + Refreshed,
                            "identify: " + Start + " | " + Refreshed}
            << QStringList {"setBootOrder A: response: Boot order: slot A first.\\n | " + Finished,
                            "identify: identity: A-first A:2 B:3 usb: USB0 USB1",
                            "setBootOrder B: response: Boot order: slot B first.\\n | " + Finished,
                            "identify: " + Start};
    QTest::newRow("eject")
            << QStringList {"ejectUSB", "identify"}
            << QStringList {"ejectUSB: ", "identify: identity: B-first B:3 A:2 usb:"}
            << QStringList {"ejectUSB: response: Ejected USB0 (KINGSTON).\\n | " + Refreshed,
                            "identify: identity: B-first B:3 A:2 usb: | " + Refreshed}
            << QStringList {"ejectUSB: response: Ejected USB0 (KINGSTON).\\n | " + Finished,
                            "identify: identity: B-first B:3 A:2 usb:"};
    QTest::newRow("reset: the simulation ignores it")
            << QStringList {"reset: factory, slot b count", "reset:", "identify"}
            << QStringList {"reset: factory, slot b count: ", "reset:: ", "identify: " + Start}
            << QStringList {"reset: factory, slot b count: response: Boot count of slot B "
                            "reset.\\n | response: Reset factory: done.\\n",
                            "reset:: ",
                            "identify: identity: B-first B:0 A:2 usb: USB0 USB1 | " + Refreshed}
            << QStringList {"reset: factory, slot b count: response: Boot count of slot B "
                            "reset.\\n | response: Reset factory: done.\\n | "
                                    + Finished + " | " + Finished,
                            "reset:: ", "identify: identity: B-first B:0 A:2 usb: USB0 USB1"};
    // The local back end resets the boot count of the slot that it last saw first, "A" until it
    // has seen any, before it restarts the instrument.
    QTest::newRow("reboot counts a boot on the instrument")
            << QStringList {"reboot", "identify"}
            << QStringList {"reboot: response: RebootCalled", "identify: " + Start}
            << QStringList {"reboot: response: Rebooting.\\n",
                            "identify: identity: B-first B:4 A:2 usb: USB0 USB1 | " + Refreshed}
            << QStringList {"reboot: response: Boot count of slot A reset.\\n | response: "
                            "Rebooting.\\n | "
                                    + Finished + " | " + Finished,
                            "identify: identity: B-first B:4 A:0 usb: USB0 USB1"};
    QTest::newRow("cancel with nothing running")
            << QStringList {"cancel"} << QStringList {"cancel: "}
            << QStringList {"cancel: response: No active process.\\n"} << QStringList {"cancel: "};
}

void TestBackEnds::scenario()
{
    QFETCH(QStringList, operations);
    QFETCH(QStringList, simulated);
    QFETCH(QStringList, http);
    QFETCH(QStringList, local);

    FakeCommandProcessor fake(nullptr);
    QCOMPARE(run(&fake, operations), simulated);

    // A fresh instrument and address for every row.
    static int rows = 0;
    const QString address = QString("127.0.13.%1").arg(++rows);
    InstrumentSimulator simulator;
    HttpReplyServer server(
            [&simulator](const std::string &path) { return simulator.respond(path); });
    QVERIFY(server.start(address.toStdString()));
    HttpCommandProcessor processor(address, nullptr);
    QCOMPARE(run(&processor, operations), http);

    // A fresh instrument for the tool too; the simulated instrument stands in for reboot as well.
    QTemporaryDir folder;
    qputenv("FAKE_TOOL_DIR", QFile::encodeName(folder.path()));
    CommandProcessor tool(SIMULATED_TOOL, SIMULATED_TOOL, 20000, nullptr);
    QCOMPARE(run(&tool, operations), local);
}

// What only the simulated instrument does: everything inside the call, busy or not.
void TestBackEnds::simulated_data()
{
    QTest::addColumn<QStringList>("operations");
    QTest::addColumn<QStringList>("events");

    const QString transfer
            = "\\r     18,823,301 100%   88.20kB/s    0:03:28 (xfr#224, to-chk=0/233)";
    const QString start = "identity: B-first B:3 A:2 usb: USB0 USB1";
    const QString ejected = "identity: B-first B:3 A:2 usb:";

    QTest::newRow("backUp: eight console chunks, nothing else")
            << QStringList {"backUp"}
            << QStringList {"response: Export without carriage\\n",
                            "response: Prog 0%",
                            "response: Prog 100%",
                            "response: \\nExport With carriage\\n",
                            "response: Prog 0%",
                            "response: \\rProg 100%",
                            "response: \\nMultiple carriage in one string\\n",
                            "response: " + transfer.repeated(4)};
    QTest::newRow("identify") << QStringList {"identify"} << QStringList {start};
    QTest::newRow("reboot") << QStringList {"reboot"} << QStringList {"response: RebootCalled"};
    QTest::newRow("installSoftware") << QStringList {"installSoftware"}
                                     << QStringList {"response: Install Software requested"};
    QTest::newRow("setBootOrder A swaps the slots")
            << QStringList {"setBootOrder A"}
            << QStringList {"identity: A-first A:2 B:3 usb: USB0 USB1"};
    QTest::newRow("setBootOrder B swaps even when B is already first")
            << QStringList {"setBootOrder B"}
            << QStringList {"identity: B-first A:2 B:3 usb: USB0 USB1"};
    QTest::newRow("two swaps restore the first order")
            << QStringList {"setBootOrder A", "setBootOrder B"}
            << QStringList {"identity: A-first A:2 B:3 usb: USB0 USB1", start};
    QTest::newRow("reset changes nothing, reports nothing")
            << QStringList {"reset:",
                            "reset: factory, user, system, internal, network, slot a count, "
                            "slot b count",
                            "identify"}
            << QStringList {start};
    QTest::newRow("cancel reports idle with nothing running")
            << QStringList {"cancel"} << QStringList {"busy: false"};
    QTest::newRow("eject removes every stick, for good")
            << QStringList {"ejectUSB", "ejectUSB", "identify"}
            << QStringList {ejected, ejected, ejected};
}

void TestBackEnds::simulated()
{
    QFETCH(QStringList, operations);
    QFETCH(QStringList, events);

    FakeCommandProcessor processor(nullptr);
    SignalRecorder recorder(&processor);
    for (const QString &operation : operations) {
        QVERIFY(SignalRecorder::perform(&processor, operation));
        QVERIFY(!processor.isBusy());
    }
    // Everything arrives inside the calls: nothing is left for the event loop.
    QCOMPARE(recorder.events, events);
}

QTEST_GUILESS_MAIN(TestBackEnds)
#include "tst_backends.moc"
