#include "processors/fakecommandprocessor.h"
#include "signalrecorder.h"

#include <QTest>

class TestFakeCommandProcessor : public QObject
{
    Q_OBJECT

private slots:
    void operations_data();
    void operations();
};

void TestFakeCommandProcessor::operations_data()
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

void TestFakeCommandProcessor::operations()
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

QTEST_GUILESS_MAIN(TestFakeCommandProcessor)
#include "tst_fakecommandprocessor.moc"
