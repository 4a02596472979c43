#include "processors/fakecommandprocessor.h"
#include "signalrecorder.h"

#include <QTest>

class TestFakeCommandProcessor : public QObject
{
    Q_OBJECT

private slots:
    void operations_data();
    void operations();
    void simulatedIdentity();
    void transferLineIsOneChunk();
};

namespace {
const QString Transfer
        = QStringLiteral("\\r     18,823,301 100%   88.20kB/s    0:03:28 (xfr#224, to-chk=0/233)");

void run(AbstractCommandProcessor &processor, const QString &operation)
{
    if (operation == QLatin1String("backUp"))
        processor.backUp();
    else if (operation == QLatin1String("identify"))
        processor.identify();
    else if (operation == QLatin1String("reboot"))
        processor.reboot();
    else if (operation == QLatin1String("installSoftware"))
        processor.installSoftware();
    else if (operation == QLatin1String("setBootOrder A"))
        processor.setBootOrder(OstrelIdentity::AFirst);
    else if (operation == QLatin1String("setBootOrder B"))
        processor.setBootOrder(OstrelIdentity::BFirst);
    else if (operation == QLatin1String("reset none"))
        processor.reset({});
    else if (operation == QLatin1String("reset all"))
        processor.reset({QStringLiteral("factory"), QStringLiteral("user"),
                         QStringLiteral("system"), QStringLiteral("internal"),
                         QStringLiteral("network"), QStringLiteral("slot a count"),
                         QStringLiteral("slot b count")});
    else if (operation == QLatin1String("cancel"))
        processor.cancel();
    else if (operation == QLatin1String("ejectUSB"))
        processor.ejectUSB();
    else
        QFAIL(qPrintable(QStringLiteral("unknown operation ") + operation));
}
} // namespace

void TestFakeCommandProcessor::operations_data()
{
    QTest::addColumn<QStringList>("operations");
    QTest::addColumn<QStringList>("events");

    QTest::newRow("backUp: eight console chunks, nothing else")
            << QStringList {QStringLiteral("backUp")}
            << QStringList {QStringLiteral("response: Export without carriage\\n"),
                            QStringLiteral("response: Prog 0%"),
                            QStringLiteral("response: Prog 100%"),
                            QStringLiteral("response: \\nExport With carriage\\n"),
                            QStringLiteral("response: Prog 0%"),
                            QStringLiteral("response: \\rProg 100%"),
                            QStringLiteral("response: \\nMultiple carriage in one string\\n"),
                            QStringLiteral("response: ") + Transfer.repeated(4)};
    QTest::newRow("identify") << QStringList {QStringLiteral("identify")}
                              << QStringList {QStringLiteral(
                                         "identity: B-first B:3 A:2 usb: USB0 USB1")};
    QTest::newRow("reboot") << QStringList {QStringLiteral("reboot")}
                            << QStringList {QStringLiteral("response: RebootCalled")};
    QTest::newRow("installSoftware")
            << QStringList {QStringLiteral("installSoftware")}
            << QStringList {QStringLiteral("response: Install Software requested")};
    QTest::newRow("setBootOrder A swaps the slots")
            << QStringList {QStringLiteral("setBootOrder A")}
            << QStringList {QStringLiteral("identity: A-first A:2 B:3 usb: USB0 USB1")};
    QTest::newRow("setBootOrder B swaps even when B is already first")
            << QStringList {QStringLiteral("setBootOrder B")}
            << QStringList {QStringLiteral("identity: B-first A:2 B:3 usb: USB0 USB1")};
    QTest::newRow("two swaps restore the first order")
            << QStringList {QStringLiteral("setBootOrder A"), QStringLiteral("setBootOrder B")}
            << QStringList {QStringLiteral("identity: A-first A:2 B:3 usb: USB0 USB1"),
                            QStringLiteral("identity: B-first B:3 A:2 usb: USB0 USB1")};
    QTest::newRow("reset of nothing")
            << QStringList {QStringLiteral("reset none")} << QStringList {};
    QTest::newRow("reset of every item")
            << QStringList {QStringLiteral("reset all")} << QStringList {};
    QTest::newRow("cancel with nothing running") << QStringList {QStringLiteral("cancel")}
                                                 << QStringList {QStringLiteral("busy: false")};
    QTest::newRow("eject removes every stick, for good")
            << QStringList {QStringLiteral("ejectUSB"), QStringLiteral("ejectUSB"),
                            QStringLiteral("identify")}
            << QStringList {QStringLiteral("identity: B-first B:3 A:2 usb:"),
                            QStringLiteral("identity: B-first B:3 A:2 usb:"),
                            QStringLiteral("identity: B-first B:3 A:2 usb:")};
    QTest::newRow("reboot and reset leave the identity alone")
            << QStringList {QStringLiteral("reboot"), QStringLiteral("reset all"),
                            QStringLiteral("identify")}
            << QStringList {QStringLiteral("response: RebootCalled"),
                            QStringLiteral("identity: B-first B:3 A:2 usb: USB0 USB1")};
}

void TestFakeCommandProcessor::operations()
{
    QFETCH(QStringList, operations);
    QFETCH(QStringList, events);

    FakeCommandProcessor processor(nullptr);
    SignalRecorder recorder(&processor);
    for (const QString &operation : operations) {
        run(processor, operation);
        QVERIFY(!processor.isBusy());
    }
    // Everything arrives inside the calls: nothing is left for the event loop.
    QCOMPARE(recorder.events, events);
}

void TestFakeCommandProcessor::simulatedIdentity()
{
    FakeCommandProcessor processor(nullptr);
    QList<OstrelIdentity> identities;
    connect(&processor, &AbstractCommandProcessor::identityUpdated, this,
            [&identities](const OstrelIdentity &identity) { identities << identity; });
    processor.identify();
    QCOMPARE(identities.size(), 1);

    const OstrelIdentity &identity = identities.first();
    QCOMPARE(identity.model, QStringLiteral("VX4120A"));
    QCOMPARE(identity.serial, QStringLiteral("1901035"));
    QCOMPARE(identity.options,
             QStringLiteral("0102/0117/0135/0146/0158/0163/0171/0188/0204/0219/0233/0246/0250/"
                            "0267/0279/0281/0294/0305/0312"));
    QCOMPARE(identity.bootVersion, QStringLiteral("4.0.0"));
    QCOMPARE(identity.recoveryVersion, QStringLiteral("1.0.0"));
    QCOMPARE(identity.ip, QStringLiteral("127.0.0.1"));
    QCOMPARE(identity.subnet, QStringLiteral("255.255.252.0"));
    QCOMPARE(identity.gateway, QStringLiteral("127.0.0.1"));
    QCOMPARE(identity.slotOrder, OstrelIdentity::BFirst);
    QCOMPARE(identity.slotList.size(), 2);
    QCOMPARE(identity.slotList.at(0).name, QStringLiteral("B"));
    QCOMPARE(identity.slotList.at(0).version, QStringLiteral("T2019.01.1.1518_20190131_140805"));
    QCOMPARE(identity.slotList.at(0).count, 3);
    QCOMPARE(identity.slotList.at(1).name, QStringLiteral("A"));
    QCOMPARE(identity.slotList.at(1).version, QStringLiteral("E2019.01.1.1518_20190131_111111"));
    QCOMPARE(identity.slotList.at(1).count, 2);
    QCOMPARE(identity.usbDevices.size(), 2);
    QCOMPARE(identity.usbDevices.at(0).alias, QStringLiteral("USB0"));
    QCOMPARE(identity.usbDevices.at(0).device, QStringLiteral("/dev/sda1/"));
    QCOMPARE(identity.usbDevices.at(0).label, QStringLiteral("KINGSTON"));
    QCOMPARE(identity.usbDevices.at(1).alias, QStringLiteral("USB1"));
    QCOMPARE(identity.usbDevices.at(1).device, QStringLiteral("/dev/sda2/"));
    QVERIFY(identity.usbDevices.at(1).label.isEmpty());

    // The versions move with their slot when the order changes.
    processor.setBootOrder(OstrelIdentity::AFirst);
    QCOMPARE(identities.size(), 2);
    QCOMPARE(identities.last().slotList.at(0).version,
             QStringLiteral("E2019.01.1.1518_20190131_111111"));
}

void TestFakeCommandProcessor::transferLineIsOneChunk()
{
    // The transfer line is redrawn four times in one chunk: 4 x 68 characters, no line feed.
    FakeCommandProcessor processor(nullptr);
    QStringList chunks;
    connect(&processor, &AbstractCommandProcessor::responseReceived, this,
            [&chunks](const QString &chunk) { chunks << chunk; });
    processor.backUp();
    QCOMPARE(chunks.last().size(), 272);
    QVERIFY(!chunks.last().contains(QLatin1Char('\n')));
    QCOMPARE(chunks.last().count(QLatin1Char('\r')), 4);
}

QTEST_GUILESS_MAIN(TestFakeCommandProcessor)
#include "tst_fakecommandprocessor.moc"
