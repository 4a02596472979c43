#include "dialogs/bootmenu.h"
#include "dialogs/slotwidget.h"
#include "findwidget.h"

#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

Q_DECLARE_METATYPE(OstrelIdentity)

class TestBootMenu : public QObject
{
    Q_OBJECT

private slots:
    void slotPanel_data();
    void slotPanel();
    void refreshBootOrder_data();
    void refreshBootOrder();
    void keysAndButtons();
};

namespace {

// The lines of a slot panel, joined, with the tab spelt out.
QString lines(const SlotWidget *panel)
{
    QStringList texts;
    for (const QLabel *label : panel->findChildren<QLabel *>())
        texts << label->text().replace('\t', "\\t");
    return texts.join(" | ");
}

const QString Placeholders = "Slot:\\t-- | Version:\\t-- | Count:\\t--";

OstrelIdentity identityWithSlots(const QList<OstrelIdentity::SlotInfo> &slotList)
{
    OstrelIdentity identity;
    identity.slotList = slotList;
    return identity;
}

} // namespace

void TestBootMenu::slotPanel_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<QString>("expected");

    QTest::newRow("count") << 3
                           << "Slot:\\tB | Version:\\tT2019.01.1.1518_20190131_140805 | Count:\\t3";
    QTest::newRow("zero") << 0
                          << "Slot:\\tB | Version:\\tT2019.01.1.1518_20190131_140805 | Count:\\t0";
    QTest::newRow("negative")
            << -1 << "Slot:\\tB | Version:\\tT2019.01.1.1518_20190131_140805 | Count:\\t-1";
}

void TestBootMenu::slotPanel()
{
    QFETCH(int, count);
    QFETCH(QString, expected);

    SlotWidget panel("Boot First", nullptr);
    QCOMPARE(panel.metaObject()->className(), "SlotWidget");
    QCOMPARE(lines(&panel), Placeholders);
    panel.updateSlot({"B", "T2019.01.1.1518_20190131_140805", count});
    QCOMPARE(lines(&panel), expected);
    QCOMPARE(panel.title(), "Boot First");
    panel.showEntry({}, 0);
    QCOMPARE(lines(&panel), Placeholders);
}

void TestBootMenu::refreshBootOrder_data()
{
    QTest::addColumn<OstrelIdentity>("identity");
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("second");

    QTest::newRow("B boots first") << identityWithSlots({{"B", "T1", 3}, {"A", "E1", 2}})
                                   << "Slot:\\tB | Version:\\tT1 | Count:\\t3"
                                   << "Slot:\\tA | Version:\\tE1 | Count:\\t2";
    QTest::newRow("no identity yet: placeholders")
            << identityWithSlots({}) << Placeholders << Placeholders;
    QTest::newRow("one entry: nothing read past it")
            << identityWithSlots({{"A", "E1", 1}}) << "Slot:\\tA | Version:\\tE1 | Count:\\t1"
            << Placeholders;
}

void TestBootMenu::refreshBootOrder()
{
    QFETCH(OstrelIdentity, identity);
    QFETCH(QString, first);
    QFETCH(QString, second);

    BootMenu menu(nullptr);
    // Whatever it showed before is replaced.
    menu.refreshBootOrder(identityWithSlots({{"X", "old", 9}, {"Y", "old", 9}}));
    menu.refreshBootOrder(identity);
    const auto panels = menu.findChildren<SlotWidget *>();
    QCOMPARE(panels.size(), 2);
    QCOMPARE(lines(panels[0]), first);
    QCOMPARE(lines(panels[1]), second);
}

void TestBootMenu::keysAndButtons()
{
    BootMenu menu(nullptr);
    menu.show();
    QVERIFY(QTest::qWaitForWindowExposed(&menu));
    QSignalSpy swaps(&menu, &BootMenu::bootOrderSwapped);
    QSignalSpy screenshots(&menu, &BootMenu::screenshotRequested);
    QSignalSpy rejected(&menu, &QDialog::rejected);

    QTest::mouseClick(find<QPushButton>(&menu, "SWAP"), Qt::LeftButton);
    QTest::mouseClick(find<QPushButton>(&menu, "SWAP"), Qt::LeftButton);
    QCOMPARE(swaps.count(), 2);
    QVERIFY(menu.isVisible());

    for (const Qt::Key key : {Qt::Key_Escape, Qt::Key_F11, Qt::Key_Return})
        QTest::keyClick(&menu, key);
    QVERIFY(menu.isVisible());
    QCOMPARE(screenshots.count(), 0);

    QTest::keyClick(&menu, Qt::Key_F12, Qt::ShiftModifier);
    QCOMPARE(screenshots.count(), 1);
    QCOMPARE(screenshots.first().first().value<QPixmap>().size(), menu.size());

    QTest::mouseClick(find<QPushButton>(&menu, "CLOSE"), Qt::LeftButton);
    QVERIFY(!menu.isVisible());
    QCOMPARE(rejected.count(), 1);
    QCOMPARE(swaps.count(), 2);
}

QTEST_MAIN(TestBootMenu)
#include "tst_bootmenu.moc"
