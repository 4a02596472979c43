#include "app/ostrelrecovery.h"
#include "dialogs/bootmenu.h"
#include "dialogs/helpmessagerebootmenu.h"
#include "dialogs/resetmenu.h"
#include "dialogs/slotwidget.h"
#include "dialogs/statuswidget.h"
#include "findwidget.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QFile>
#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTextEdit>
#include <QTimer>

#include <memory>

Q_DECLARE_METATYPE(OstrelIdentity)

// The three dialogs and the two panels, each on its own.
class TestDialogs : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void keys_data();
    void keys();
    void helpScreen();
    void helpScreenFirst();
    void resetSelected_data();
    void resetSelected();
    void bootOrder_data();
    void bootOrder();
    void statusPanel_data();
    void statusPanel();
};

namespace {

// The lines of a slot panel, joined, with the tab spelt out.
QString lines(const QWidget *panel)
{
    QStringList texts;
    for (const QLabel *label : panel->findChildren<QLabel *>())
        texts << label->text().replace('\t', "\\t");
    return texts.join(" | ");
}

const QString Placeholders = "Slot:\\t-- | Version:\\t-- | Count:\\t--";

OstrelIdentity withSlots(const QList<OstrelIdentity::SlotInfo> &slotList)
{
    OstrelIdentity identity;
    identity.slotList = slotList;
    return identity;
}

} // namespace

// The application's own style sheet, as the program applies it at start-up.
void TestDialogs::initTestCase()
{
    QFile styleSheet(":/styleSheet.qss");
    QVERIFY(styleSheet.open(QIODevice::ReadOnly));
    qApp->setStyleSheet(QString::fromUtf8(styleSheet.readAll()));
}

// F12 asks for a picture of the dialog alone; no other key does anything, so none closes it.
void TestDialogs::keys_data()
{
    QTest::addColumn<QString>("dialog");
    QTest::newRow("reset") << "reset";
    QTest::newRow("boot order") << "boot order";
    QTest::newRow("help") << "help";
}

void TestDialogs::keys()
{
    QFETCH(QString, dialog);
    std::unique_ptr<QDialog> screen;
    if (dialog == "reset")
        screen = std::make_unique<Resetmenu>(nullptr);
    else if (dialog == "boot order")
        screen = std::make_unique<BootMenu>(nullptr);
    else
        screen = std::make_unique<HelpMessageRebootMenu>(nullptr);
    QSignalSpy screenshots(screen.get(), SIGNAL(screenshotRequested(QPixmap)));
    QSignalSpy rejected(screen.get(), &QDialog::rejected);
    screen->show();
    QVERIFY(QTest::qWaitForWindowExposed(screen.get()));
    for (const Qt::Key key : {Qt::Key_Escape, Qt::Key_F11, Qt::Key_Return, Qt::Key_Enter})
        QTest::keyClick(screen.get(), key);
    QVERIFY(screen->isVisible());
    QCOMPARE(screenshots.count() + rejected.count(), 0);
    QTest::keyClick(screen.get(), Qt::Key_F12, Qt::ShiftModifier);
    QCOMPARE(screenshots.count(), 1);
    QCOMPARE(screenshots.first().first().value<QPixmap>().size(), screen->size());
}

void TestDialogs::helpScreen()
{
    HelpMessageRebootMenu menu(nullptr);
    QVERIFY(menu.windowFlags() & Qt::FramelessWindowHint);
    QCOMPARE(menu.minimumSize(), QSize(1280, 800));
    QCOMPARE(menu.maximumSize(), QSize(1280, 800));
    QStringList rows;
    auto *box = qobject_cast<QBoxLayout *>(menu.layout());
    for (int index = 0; index < box->count(); ++index) {
        QWidget *widget = box->itemAt(index)->widget();
        if (auto *label = qobject_cast<QLabel *>(widget)) {
            const QSize logo = label->pixmap(Qt::ReturnByValue).size();
            rows << (label->text().isEmpty()
                             ? QString("logo %1x%2").arg(logo.width()).arg(logo.height())
                             : label->objectName() + ": " + label->text());
        } else if (auto *pushButton = qobject_cast<QPushButton *>(widget)) {
            rows << QString("%1 %2").arg(pushButton->text()).arg(pushButton->maximumHeight());
        }
        rows.last() += QString(" (stretch %1)").arg(box->stretch(index));
    }
    QCOMPARE(rows,
             QStringList({"logo 289x63 (stretch 0)", "TitleLabel: RECOVERY MODE (stretch 0)",
                          ": You may have entered this screen if a previous boot was "
                          "interrupted.\n\n Click REBOOT INSTRUMENT to restart. Click CONTINUE TO "
                          "RECOVERY MODE to proceed to Recovery Mode.\n\n If this screen persists "
                          "after rebooting, please consult the User Guide for details. (stretch "
                          "200)",
                          "REBOOT INSTRUMENT 96 (stretch 0)",
                          "CONTINUE TO RECOVERY MODE 96 (stretch 0)"}));
    QCOMPARE(box->itemAt(0)->alignment(), Qt::AlignCenter);

    // The style sheet selects the dialog by its class name and the title by its object name.
    menu.show();
    QVERIFY(QTest::qWaitForWindowExposed(&menu));
    for (QWidget *widget : menu.findChildren<QWidget *>())
        QCOMPARE(widget->font().pixelSize(), widget->objectName() == "TitleLabel" ? 50 : 30);

    QSignalSpy reboots(&menu, &HelpMessageRebootMenu::reboot);
    QSignalSpy rejected(&menu, &QDialog::rejected);
    find<QPushButton>(&menu, "REBOOT INSTRUMENT")->click();
    find<QPushButton>(&menu, "REBOOT INSTRUMENT")->click();
    QCOMPARE(reboots.count(), 2);
    QVERIFY(menu.isVisible());
    find<QPushButton>(&menu, "CONTINUE TO RECOVERY MODE")->click();
    QVERIFY(!menu.isVisible());
    QCOMPARE(rejected.count(), 1);
    QCOMPARE(reboots.count(), 2);
}

// Without a host the window's constructor runs the help screen before the window is shown; its
// reboot requests and screenshots are already handled by the window.
void TestDialogs::helpScreenFirst()
{
    QTemporaryDir folder;
    const QString previous = QDir::currentPath();
    QVERIFY(QDir::setCurrent(folder.path()));
    const auto restore = qScopeGuard([&] { QDir::setCurrent(previous); });
    bool sawScreen = false;
    QTimer::singleShot(0, this, [&] {
        auto *menu = qobject_cast<HelpMessageRebootMenu *>(QApplication::activeModalWidget());
        QVERIFY(menu);
        sawScreen = true;
        QVERIFY(!qobject_cast<QWidget *>(menu->parent())->isVisible());
        find<QPushButton>(menu, "REBOOT INSTRUMENT")->click();
        // The instrument build writes its pictures to the USB stick or the user data root.
        if (!InstrumentBuild)
            QTest::keyClick(menu, Qt::Key_F12);
        find<QPushButton>(menu, "CONTINUE TO RECOVERY MODE")->click();
    });
    OstrelRecovery window {QString()};
    QVERIFY(sawScreen);
    auto *console = window.findChild<QTextEdit *>();
    if (InstrumentBuild) {
        // The boot count first, awaited, then the stand-in for reboot.
        QTRY_COMPARE(console->toPlainText(),
                     "Boot count of slot A reset.\n\nCommand Finished.\n\nCommand Finished.\n");
        return;
    }
    QCOMPARE(console->toPlainText(), "RebootCalled");
    const QStringList pictures = QDir(folder.path()).entryList(QDir::Files);
    QCOMPARE(pictures.size(), 1);
    QCOMPARE(QImage(folder.filePath(pictures.first())).size(), QSize(1280, 800));
}

void TestDialogs::resetSelected_data()
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
void TestDialogs::resetSelected()
{
    QFETCH(QStringList, ticked);
    QFETCH(QStringList, resetOptions);

    Resetmenu menu(nullptr);
    QCOMPARE(menu.windowTitle(), "RESET");
    QVERIFY(menu.isModal());
    QStringList boxes;
    for (const QCheckBox *checkBox : menu.findChildren<QCheckBox *>())
        boxes << checkBox->text() + (checkBox->isChecked() ? " ticked" : "");
    QCOMPARE(boxes,
             QStringList({"Factory", "User", "System", "Internal", "Network", "Slot A Count",
                          "Slot B Count"}));
    // The boxes framed together, the button below them.
    QCOMPARE(menu.layout()->itemAt(0)->widget()->findChildren<QCheckBox *>().size(), 7);
    auto *button = qobject_cast<QPushButton *>(menu.layout()->itemAt(1)->widget());
    QCOMPARE(button->text() + QString::number(button->maximumHeight()), "RESET SELECTED48");

    QSignalSpy resets(&menu, &Resetmenu::resetInitiated);
    QSignalSpy rejected(&menu, &QDialog::rejected);
    menu.show();
    for (const QString &text : ticked)
        find<QCheckBox>(&menu, text)->click();
    for (int showing = 1; showing <= 2; ++showing) {
        menu.show();
        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(resets.count(), showing);
        QCOMPARE(resets.last().first().toStringList(), resetOptions);
        QVERIFY(!menu.isVisible());
        QCOMPARE(rejected.count(), showing);
    }
}

void TestDialogs::bootOrder_data()
{
    QTest::addColumn<OstrelIdentity>("identity");
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("second");

    QTest::newRow("B boots first") << withSlots({{"B", "T1", 3}, {"A", "E1", 2}})
                                   << "Slot:\\tB | Version:\\tT1 | Count:\\t3"
                                   << "Slot:\\tA | Version:\\tE1 | Count:\\t2";
    QTest::newRow("counts as they are") << withSlots({{"A", "E1", 0}, {"B", "T1", -1}})
                                        << "Slot:\\tA | Version:\\tE1 | Count:\\t0"
                                        << "Slot:\\tB | Version:\\tT1 | Count:\\t-1";
    QTest::newRow("no identity yet: placeholders") << withSlots({}) << Placeholders << Placeholders;
    QTest::newRow("one entry: nothing read past it")
            << withSlots({{"A", "E1", 1}}) << "Slot:\\tA | Version:\\tE1 | Count:\\t1"
            << Placeholders;
}

// The panels show the slots in boot order, replacing what they showed; SWAP only asks.
void TestDialogs::bootOrder()
{
    QFETCH(OstrelIdentity, identity);
    QFETCH(QString, first);
    QFETCH(QString, second);

    BootMenu menu(nullptr);
    const auto panels = menu.findChildren<SlotWidget *>();
    QCOMPARE(panels.size(), 2);
    QCOMPARE(lines(panels[0]) + " / " + lines(panels[1]), Placeholders + " / " + Placeholders);
    menu.refreshBootOrder(withSlots({{"X", "old", 9}, {"Y", "old", 9}}));
    menu.refreshBootOrder(identity);
    QCOMPARE(lines(panels[0]), first);
    QCOMPARE(lines(panels[1]), second);

    QSignalSpy swaps(&menu, &BootMenu::bootOrderSwapped);
    QSignalSpy rejected(&menu, &QDialog::rejected);
    menu.show();
    QTest::mouseClick(find<QPushButton>(&menu, "SWAP"), Qt::LeftButton);
    QTest::mouseClick(find<QPushButton>(&menu, "SWAP"), Qt::LeftButton);
    QCOMPARE(swaps.count(), 2);
    QVERIFY(menu.isVisible());
    QCOMPARE(lines(panels[0]), first);
    QTest::mouseClick(find<QPushButton>(&menu, "CLOSE"), Qt::LeftButton);
    QVERIFY(!menu.isVisible());
    QCOMPARE(rejected.count(), 1);
    QCOMPARE(swaps.count(), 2);
}

void TestDialogs::statusPanel_data()
{
    QTest::addColumn<QString>("options");
    QTest::addColumn<QString>("shown");

    QTest::newRow("codes") << "0102/0117/0135"
                           << "Options: 0102/ 0117/ 0135";
    QTest::newRow("already spaced gets another") << "0102/ 0117"
                                                 << "Options: 0102/  0117";
    QTest::newRow("trailing slash") << "0102/"
                                    << "Options: 0102/ ";
    QTest::newRow("no slash") << "0102"
                              << "Options: 0102";
    QTest::newRow("empty") << ""
                           << "Options: ";
}

// Every line in its grid cell, "--" before the first identity; the slot panels keep their titles
// and follow the boot order.
void TestDialogs::statusPanel()
{
    QFETCH(QString, options);
    QFETCH(QString, shown);

    StatusWidget panel("Status", nullptr);
    const auto cells = [&panel] {
        auto *grid = qobject_cast<QGridLayout *>(panel.layout());
        QStringList texts;
        for (int index = 0; index < grid->count(); ++index) {
            int row, column, rows, columns;
            grid->getItemPosition(index, &row, &column, &rows, &columns);
            QWidget *widget = grid->itemAt(index)->widget();
            auto *label = qobject_cast<QLabel *>(widget);
            texts << QString("%1,%2 %3x%4 %5")
                             .arg(row)
                             .arg(column)
                             .arg(rows)
                             .arg(columns)
                             .arg(label ? label->text() + (label->wordWrap() ? " (wraps)" : "")
                                        : qobject_cast<QGroupBox *>(widget)->title());
        }
        texts.sort();
        return texts;
    };
    QCOMPARE(panel.title(), "Status");
    QCOMPARE(
            cells(),
            QStringList({"0,0 1x1 Model: --", "0,1 1x1 Boot Version: --", "0,2 1x1 Serial: --",
                         "1,0 1x1 IP Address: --", "1,1 1x1 Gateway: --", "1,2 1x1 Subnet Mask: --",
                         "2,0 1x1 Recovery Version: --", "3,0 2x3 Options: -- (wraps)",
                         "5,0 1x3 Boot First", "6,0 1x3 Boot Second"}));

    OstrelIdentity identity;
    identity.model = "VX4120A";
    identity.ip = "10.0.0.2";
    identity.subnet = "255.255.252.0";
    identity.gateway = "10.0.0.1";
    identity.bootVersion = "4.0.0";
    identity.recoveryVersion = "1.0.0";
    identity.options = options;
    identity.slotList = {{"B", "T1", 3}, {"A", "E1", 2}};
    panel.updateIdentity(identity);
    QCOMPARE(cells(),
             QStringList({"0,0 1x1 Model: VX4120A", "0,1 1x1 Boot Version: 4.0.0",
                          "0,2 1x1 Serial: ", "1,0 1x1 IP Address: 10.0.0.2",
                          "1,1 1x1 Gateway: 10.0.0.1", "1,2 1x1 Subnet Mask: 255.255.252.0",
                          "2,0 1x1 Recovery Version: 1.0.0", "3,0 2x3 " + shown + " (wraps)",
                          "5,0 1x3 Boot First", "6,0 1x3 Boot Second"}));
    const auto panels = panel.findChildren<SlotWidget *>();
    QCOMPARE(lines(panels[0]) + " / " + lines(panels[1]),
             "Slot:\\tB | Version:\\tT1 | Count:\\t3 / Slot:\\tA | Version:\\tE1 | Count:\\t2");
    identity.slotList.swapItemsAt(0, 1);
    panel.updateIdentity(identity);
    QCOMPARE(panels[0]->title() + ": " + lines(panels[0]),
             "Boot First: Slot:\\tA | Version:\\tE1 | Count:\\t2");
}

QTEST_MAIN(TestDialogs)
#include "tst_dialogs.moc"
