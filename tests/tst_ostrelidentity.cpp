#include "model/ostrelidentity.h"

#include <QTest>

class TestOstrelIdentity : public QObject
{
    Q_OBJECT

private slots:
    void defaultIdentity();
};

// Empty texts, not the "--" placeholder, and BFirst so that a boot order swap before the first
// report is defined.
void TestOstrelIdentity::defaultIdentity()
{
    const OstrelIdentity identity;
    QCOMPARE(identity.slotOrder, OstrelIdentity::BFirst);
    QVERIFY(identity.model.isEmpty() && identity.serial.isEmpty() && identity.options.isEmpty());
    QVERIFY(identity.ip.isEmpty() && identity.bootVersion.isEmpty());
    QVERIFY(identity.slotList.isEmpty() && identity.usbDevices.isEmpty());
    QCOMPARE(NoValueText, "--");
}

QTEST_GUILESS_MAIN(TestOstrelIdentity)
#include "tst_ostrelidentity.moc"
