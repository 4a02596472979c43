#include "model/ostrelidentity.h"

#include <QMetaType>
#include <QTest>

class TestOstrelIdentity : public QObject
{
    Q_OBJECT

private slots:
    void defaultIsEmptyWithBFirst();
    void copiesAreIndependent();
    void typesStayOutOfTheMetaTypeRegistry();
};

void TestOstrelIdentity::defaultIsEmptyWithBFirst()
{
    const OstrelIdentity identity;
    // Empty, not the "--" placeholder: that belongs to documents with missing keys.
    for (const QString &text :
         {identity.model, identity.serial, identity.options, identity.bootVersion,
          identity.recoveryVersion, identity.ip, identity.subnet, identity.gateway}) {
        QVERIFY(text.isEmpty());
    }
    QVERIFY(identity.slotList.isEmpty());
    QVERIFY(identity.usbDevices.isEmpty());
    QCOMPARE(identity.slotOrder, OstrelIdentity::BFirst);
    QCOMPARE(NoValueText, QStringLiteral("--"));
    QCOMPARE(int(OstrelIdentity::AFirst), 0);
    QCOMPARE(int(OstrelIdentity::BFirst), 1);
    QCOMPARE(sizeof(OstrelIdentity::BootOrder), size_t(4));
}

void TestOstrelIdentity::copiesAreIndependent()
{
    OstrelIdentity original;
    original.model = QStringLiteral("VX4120A");
    original.slotList = {{QStringLiteral("B"), QStringLiteral("T1"), 3},
                         {QStringLiteral("A"), QStringLiteral("E1"), 2}};
    original.usbDevices = {{QStringLiteral("USB0"), QStringLiteral("/dev/sda1/"), QString()}};

    OstrelIdentity copy = original;
    copy.model.append(QLatin1Char('X'));
    copy.slotList[0].count = 99;
    copy.slotList.removeLast();
    copy.usbDevices.first().label = QStringLiteral("KINGSTON");
    copy.slotOrder = OstrelIdentity::AFirst;

    QCOMPARE(original.model, QStringLiteral("VX4120A"));
    QCOMPARE(original.slotList.size(), 2);
    QCOMPARE(original.slotList.first().count, 3);
    QVERIFY(original.usbDevices.first().label.isEmpty());
    QCOMPARE(original.slotOrder, OstrelIdentity::BFirst);
}

void TestOstrelIdentity::typesStayOutOfTheMetaTypeRegistry()
{
    QCOMPARE(QMetaType::type("OstrelIdentity"), int(QMetaType::UnknownType));
    QCOMPARE(QMetaType::type("OstrelIdentity::BootOrder"), int(QMetaType::UnknownType));
}

QTEST_GUILESS_MAIN(TestOstrelIdentity)
#include "tst_ostrelidentity.moc"
