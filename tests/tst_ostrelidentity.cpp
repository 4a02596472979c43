#include "model/ostrelidentity.h"

#include <QJsonDocument>
#include <QtTest>

// The identity document as the instrument may write it: whole, broken, or of other types.
class TestOstrelIdentity : public QObject
{
    Q_OBJECT

private slots:
    void documentGivesTheIdentity_data();
    void documentGivesTheIdentity();
};

namespace {

// Every field in one line, so that a table row states the whole identity a document gives.
QString describe(const OstrelIdentity &identity)
{
    QStringList fields {identity.slotOrder == OstrelIdentity::AFirst ? "AFirst" : "BFirst"};
    fields << identity.model << identity.serial << identity.options << identity.bootVersion
           << identity.recoveryVersion << identity.ip << identity.subnet << identity.gateway;
    QStringList slotTexts, devices;
    for (const OstrelIdentity::SlotInfo &slot : identity.slotList)
        slotTexts << QString("%1 %2 %3").arg(slot.name, slot.version).arg(slot.count);
    for (const OstrelIdentity::UsbDevice &device : identity.usbDevices)
        devices << QString("%1 %2 '%3'").arg(device.alias, device.device, device.label);
    return (fields << slotTexts.join(", ") << devices.join(", ")).join(" | ");
}

const QString Defaults = "BFirst | -- | -- | -- | -- | -- | -- | -- | -- | B -- 0, A -- 0 | ";

} // namespace

void TestOstrelIdentity::documentGivesTheIdentity_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("expected");

    // Without a document: empty texts, not "--", and BFirst, so that a swap before any is defined.
    QTest::newRow("no document") << QByteArray() << "BFirst |  |  |  |  |  |  |  |  |  | ";
    QTest::newRow("the simulated instrument")
            << QByteArray(R"({"model": "VX4120A", "serial": "1901035", "options": "0102/0117",
                 "bootVersion": "4.0.0", "recoveryVersion": "1.0.0",
                 "network": {"ip": "127.0.0.1", "subnet": "255.255.252.0", "gateway": "10.0.0.1"},
                 "slotOrder": ["B", "A"], "slotAVersion": "E2019", "slotBVersion": "T2019",
                 "slotCount": [3, 2],
                 "usb": [{"alias": "USB0", "device": "/dev/sda1/", "label": "KINGSTON"},
                         {"alias": "USB1", "device": "/dev/sda2/", "label": ""}]})")
            << "BFirst | VX4120A | 1901035 | 0102/0117 | 4.0.0 | 1.0.0 | 127.0.0.1 | 255.255.252.0"
               " | 10.0.0.1 | B T2019 3, A E2019 2 | USB0 /dev/sda1/ 'KINGSTON', USB1 /dev/sda2/ "
               "''";
    QTest::newRow("not JSON") << QByteArray("identify: {garbage") << Defaults;
    QTest::newRow("keys of the wrong type or case")
            << QByteArray(R"({"slotOrder": [1], "slotCount": 4, "network": "10.0.0.1",
                 "ip": "10.0.0.2", "usb": {"alias": "USB0"}, "Model": "VX4120A"})")
            << Defaults;
    QTest::newRow("order upper-cased, counts in boot order")
            << QByteArray(R"({"slotOrder": ["a", "B"], "slotCount": [5], "slotAVersion": "E1",
                 "slotBVersion": "T1"})")
            << "AFirst | -- | -- | -- | -- | -- | -- | -- | -- | A E1 5, B T1 0 | ";
    QTest::newRow("counts not whole, or negative")
            << QByteArray(R"({"slotCount": [2.5, -1]})")
            << "BFirst | -- | -- | -- | -- | -- | -- | -- | -- | B -- 0, A -- -1 | ";
    QTest::newRow("texts of other types, empty text kept, network partly there; counts whole, or "
                  "beyond an int")
            << QByteArray(R"({"model": 42, "serial": null, "options": "", "bootVersion": [],
                 "slotAVersion": {}, "slotBVersion": " T1 ", "slotCount": [7.0, 2147483648],
                 "network": {"ip": "10.0.0.2", "gateway": 1}})")
            << "BFirst | -- | -- |  | -- | -- | 10.0.0.2 | -- | -- | B  T1  7, A -- 0 | ";
    QTest::newRow("usb device partly there, and not an object")
            << QByteArray(R"({"usb": [{"alias": "USB0"}, 1, {"label": ""}]})")
            << Defaults + "USB0 -- '--', -- -- '--', -- -- ''";
}

void TestOstrelIdentity::documentGivesTheIdentity()
{
    QFETCH(QByteArray, json);
    QFETCH(QString, expected);

    QCOMPARE(describe(json.isNull() ? OstrelIdentity()
                                    : OstrelIdentity(QJsonDocument::fromJson(json))),
             expected);
}

QTEST_GUILESS_MAIN(TestOstrelIdentity)
#include "tst_ostrelidentity.moc"
