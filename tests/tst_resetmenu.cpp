#include "dialogs/resetmenu.h"
#include "findwidget.h"

#include <QCheckBox>
#include <QLayout>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

class TestResetmenu : public QObject
{
    Q_OBJECT

private slots:
    void layout();
    void resetSelected_data();
    void resetSelected();
    void keys();
};

void TestResetmenu::layout()
{
    Resetmenu menu(nullptr);
    QCOMPARE(menu.windowTitle(), "RESET");
    QVERIFY(menu.isModal());
    QStringList order;
    for (const QCheckBox *checkBox : menu.findChildren<QCheckBox *>()) {
        QVERIFY(!checkBox->isChecked() && !checkBox->isTristate());
        order << checkBox->text();
    }
    QCOMPARE(order,
             QStringList({"Factory", "User", "System", "Internal", "Network", "Slot A Count",
                          "Slot B Count"}));
    // The boxes are framed above the button.
    QLayout *outer = menu.layout();
    QCOMPARE(outer->count(), 2);
    QCOMPARE(outer->itemAt(0)->widget()->findChildren<QCheckBox *>().size(), 7);
    auto *button = qobject_cast<QPushButton *>(outer->itemAt(1)->widget());
    QCOMPARE(button->text(), "RESET SELECTED");
    QCOMPARE(button->maximumHeight(), 48);
}

void TestResetmenu::resetSelected_data()
{
    QTest::addColumn<QStringList>("ticked");
    QTest::addColumn<QStringList>("resetOptions");

    QTest::newRow("box order, not tick order")
            << QStringList {"Slot B Count", "User"} << QStringList {"user", "slot b count"};
    QTest::newRow("all") << QStringList {"Network",  "Factory",      "User",        "System",
                                         "Internal", "Slot A Count", "Slot B Count"}
                         << QStringList {"factory", "user",         "system",      "internal",
                                         "network", "slot a count", "slot b count"};
    QTest::newRow("none: an empty list") << QStringList() << QStringList();
    QTest::newRow("ticked twice is unticked") << QStringList {"User", "User"} << QStringList();
}

// Each press sends the ticked boxes and closes the dialog, which keeps its ticks for next time.
void TestResetmenu::resetSelected()
{
    QFETCH(QStringList, ticked);
    QFETCH(QStringList, resetOptions);

    Resetmenu menu(nullptr);
    QSignalSpy resets(&menu, &Resetmenu::resetInitiated);
    QSignalSpy rejected(&menu, &QDialog::rejected);
    menu.show();
    for (const QString &text : ticked)
        find<QCheckBox>(&menu, text)->click();
    for (int showing = 1; showing <= 2; ++showing) {
        menu.show();
        QTest::mouseClick(menu.findChild<QPushButton *>(), Qt::LeftButton);
        QCOMPARE(resets.count(), showing);
        QCOMPARE(resets.last().first().toStringList(), resetOptions);
        QVERIFY(!menu.isVisible());
        QCOMPARE(rejected.count(), showing);
    }
}

void TestResetmenu::keys()
{
    Resetmenu menu(nullptr);
    QSignalSpy screenshots(&menu, &Resetmenu::screenshotRequested);
    menu.show();
    QVERIFY(QTest::qWaitForWindowExposed(&menu));
    for (const Qt::Key key : {Qt::Key_Escape, Qt::Key_F11, Qt::Key_Return, Qt::Key_Space})
        QTest::keyClick(&menu, key);
    QVERIFY(menu.isVisible());
    QCOMPARE(screenshots.count(), 0);
    QTest::keyClick(&menu, Qt::Key_F12);
    QCOMPARE(screenshots.count(), 1);
    QCOMPARE(screenshots.first().first().value<QPixmap>().size(), menu.size());
}

QTEST_MAIN(TestResetmenu)
#include "tst_resetmenu.moc"
