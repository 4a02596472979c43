#include "app/ostrelrecovery.h"
#include "dialogs/bootmenu.h"
#include "dialogs/helpmessagerebootmenu.h"
#include "dialogs/resetmenu.h"
#include "dialogs/statuswidget.h"
#include "findwidget.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
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

// The three dialogs and the status panel, each on its own.
class TestDialogs : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void screens_data();
    void screens();
    void helpScreenFirst();
    void resetSelected_data();
    void resetSelected();
    void slotPanels_data();
    void slotPanels();
};

namespace {

std::unique_ptr<QWidget> make(const QString &screen)
{
    if (screen == "reset")
        return std::make_unique<Resetmenu>(nullptr);
    if (screen == "boot order")
        return std::make_unique<BootMenu>(nullptr);
    if (screen == "help")
        return std::make_unique<HelpMessageRebootMenu>(nullptr);
    return std::make_unique<StatusWidget>("Status", nullptr);
}

// A screen's layout in one line: its items in order, a box's contents in braces, a grid cell
// with its place and span, and a button's fixed height, a stretch and a centring where set.
QString describe(const QLayout *layout)
{
    QStringList items;
    for (int index = 0; index < layout->count(); ++index) {
        const QWidget *widget = layout->itemAt(index)->widget();
        QString item;
        if (auto *grid = qobject_cast<const QGridLayout *>(layout)) {
            int row, column, rows, columns;
            grid->getItemPosition(index, &row, &column, &rows, &columns);
            item = QString("%1,%2 %3x%4 ").arg(row).arg(column).arg(rows).arg(columns);
        }
        if (auto *label = qobject_cast<const QLabel *>(widget)) {
            const QSize logo = label->pixmap(Qt::ReturnByValue).size();
            item += label->text().isEmpty()
                    ? QString("logo %1x%2").arg(logo.width()).arg(logo.height())
                    : label->text() + (label->wordWrap() ? " (wraps)" : "");
        } else if (auto *button = qobject_cast<const QAbstractButton *>(widget)) {
            item += "[" + button->text() + "]";
            if (qobject_cast<const QPushButton *>(button))
                item += QString(" %1").arg(button->height());
        } else if (auto *box = qobject_cast<const QGroupBox *>(widget)) {
            item += box->title() + "{" + describe(box->layout()) + "}";
        }
        if (auto *box = qobject_cast<const QBoxLayout *>(layout); box && box->stretch(index))
            item += QString(" stretch %1").arg(box->stretch(index));
        if (layout->itemAt(index)->alignment() == Qt::AlignCenter)
            item += " centred";
        items << item.replace('\t', "\\t").replace('\n', "\\n");
    }
    return items.join(" | ");
}

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

// What each screen shows; F12 asks for a picture of the screen alone, and no other key does
// anything, so none closes a dialog.
void TestDialogs::screens_data()
{
    QTest::addColumn<QString>("screen");
    QTest::addColumn<QString>("layout");

    const QString slot = "{Slot:\\t-- | Version:\\t-- | Count:\\t--}";
    QTest::newRow("reset")
            << "reset"
            << "{[Factory] | [User] | [System] | [Internal] | [Network] | [Slot A Count] | "
               "[Slot B Count]} | [RESET SELECTED] 48";
    QTest::newRow("boot order") << "boot order"
                                << "Boot First" + slot + " | [SWAP] 48 | Boot Second" + slot
                    + " | [CLOSE] 48";
    QTest::newRow("help")
            << "help"
            << "logo 289x63 centred | RECOVERY MODE | You may have entered this screen if a "
               "previous boot was interrupted.\\n\\n Click REBOOT INSTRUMENT to restart. Click "
               "CONTINUE TO RECOVERY MODE to proceed to Recovery Mode.\\n\\n If this screen "
               "persists after rebooting, please consult the User Guide for details. (wraps) "
               "stretch 200 | [REBOOT INSTRUMENT] 96 | [CONTINUE TO RECOVERY MODE] 96";
    QTest::newRow("status panel")
            << "status"
            << "0,0 1x1 Model: -- | 0,1 1x1 Boot Version: -- | 0,2 1x1 Serial: -- | 1,0 1x1 IP "
               "Address: -- | 1,1 1x1 Gateway: -- | 1,2 1x1 Subnet Mask: -- | 2,0 1x1 Recovery "
               "Version: -- | 3,0 2x3 Options: -- (wraps) | 5,0 1x3 Boot First"
                    + slot + " | 6,0 1x3 Boot Second" + slot;
}

void TestDialogs::screens()
{
    QFETCH(QString, screen);
    QFETCH(QString, layout);

    const auto widget = make(screen);
    widget->show();
    QVERIFY(QTest::qWaitForWindowExposed(widget.get()));
    QCOMPARE(describe(widget->layout()), layout);
    auto *dialog = qobject_cast<QDialog *>(widget.get());
    if (!dialog)
        return;
    QSignalSpy screenshots(dialog, SIGNAL(screenshotRequested(QPixmap)));
    for (const Qt::Key key : {Qt::Key_Escape, Qt::Key_F11, Qt::Key_Return, Qt::Key_Enter})
        QTest::keyClick(dialog, key);
    QVERIFY(dialog->isVisible());
    QCOMPARE(screenshots.count(), 0);
    QTest::keyClick(dialog, Qt::Key_F12, Qt::ShiftModifier);
    QCOMPARE(screenshots.count(), 1);
    QCOMPARE(screenshots.first().first().value<QPixmap>().size(), dialog->size());
}

// Without a host the window's constructor runs the help screen, frameless and at the window's
// size, before the window is shown; its reboot requests and screenshots are already handled by
// the window, and only CONTINUE goes on.
void TestDialogs::helpScreenFirst()
{
    QTemporaryDir folder;
    const QString previous = QDir::currentPath();
    QVERIFY(QDir::setCurrent(folder.path()));
    const auto restore = qScopeGuard([&] { QDir::setCurrent(previous); });
    bool sawScreen = false;
    QTimer::singleShot(0, this, [&] {
        auto *menu = qobject_cast<HelpMessageRebootMenu *>(QApplication::activeModalWidget());
        QVERIFY(menu && !qobject_cast<QWidget *>(menu->parent())->isVisible());
        QVERIFY(menu->windowFlags() & Qt::FramelessWindowHint);
        QCOMPARE(menu->size(), QSize(1280, 800));
        // The style sheet selects the dialog by its class name and the title by its object name.
        for (QWidget *widget : menu->findChildren<QWidget *>())
            QCOMPARE(widget->font().pixelSize(), widget->objectName() == "TitleLabel" ? 50 : 30);
        find<QPushButton>(menu, "REBOOT INSTRUMENT")->click();
        QVERIFY(menu->isVisible());
        // The instrument build writes its pictures to the USB stick or the user data root.
        if (!InstrumentBuild)
            QTest::keyClick(menu, Qt::Key_F12);
        sawScreen = true;
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
    const QStringList pictures = QDir().entryList(QDir::Files);
    QCOMPARE(pictures.size(), 1);
    QCOMPARE(QImage(pictures.first()).size(), QSize(1280, 800));
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
    QTest::newRow("ticked twice is unticked: an empty list")
            << QStringList {"User", "User"} << QStringList();
}

// Each press sends the ticked boxes and closes the dialog, which keeps its ticks for next time.
void TestDialogs::resetSelected()
{
    QFETCH(QStringList, ticked);
    QFETCH(QStringList, resetOptions);

    Resetmenu menu(nullptr);
    QCOMPARE(menu.windowTitle(), "RESET");
    QVERIFY(menu.isModal());
    QSignalSpy resets(&menu, &Resetmenu::resetInitiated);
    QSignalSpy rejected(&menu, &QDialog::rejected);
    menu.show();
    for (const QString &text : ticked)
        find<QCheckBox>(&menu, text)->click();
    for (int showing = 1; showing <= 2; ++showing) {
        menu.show();
        QTest::mouseClick(find<QPushButton>(&menu, "RESET SELECTED"), Qt::LeftButton);
        QCOMPARE(resets.count(), showing);
        QCOMPARE(resets.last().first().toStringList(), resetOptions);
        QVERIFY(!menu.isVisible());
        QCOMPARE(rejected.count(), showing);
    }
}

void TestDialogs::slotPanels_data()
{
    QTest::addColumn<OstrelIdentity>("identity");
    QTest::addColumn<QString>("slotLines");

    QTest::newRow("B boots first") << withSlots({{"B", "T1", 3}, {"A", "E1", 2}})
                                   << "Slot:\\tB | Version:\\tT1 | Count:\\t3} / "
                                      "{Slot:\\tA | Version:\\tE1 | Count:\\t2";
    QTest::newRow("counts as they are, nothing read past the list")
            << withSlots({{"A", "E1", -1}})
            << "Slot:\\tA | Version:\\tE1 | Count:\\t-1} / {Slot:\\t-- | Version:\\t-- | "
               "Count:\\t--";
}

// The panels of the boot order dialog and of the status panel show the slots in boot order,
// replacing what they showed before. SWAP only asks; CLOSE closes.
void TestDialogs::slotPanels()
{
    QFETCH(OstrelIdentity, identity);
    QFETCH(QString, slotLines);

    BootMenu menu(nullptr);
    StatusWidget panel("Status", nullptr);
    const auto slotsOf = [](const QWidget *screen) {
        QStringList lines;
        for (const QGroupBox *box : screen->findChildren<QGroupBox *>())
            lines << describe(box->layout());
        return lines.join("} / {");
    };
    menu.refreshBootOrder(withSlots({{"X", "old", 9}, {"Y", "old", 9}}));
    menu.refreshBootOrder(identity);
    QCOMPARE(slotsOf(&menu), slotLines);
    identity.model = "VX4120A";
    identity.options = "0102/0117/ 0135/";
    panel.updateIdentity(withSlots({{"X", "old", 9}, {"Y", "old", 9}}));
    panel.updateIdentity(identity);
    QCOMPARE(slotsOf(&panel), slotLines);
    // A space after every slash, so that the line can wrap between the codes.
    QCOMPARE(describe(panel.layout()).section(" | 5,0", 0, 0),
             "0,0 1x1 Model: VX4120A | 0,1 1x1 Boot Version:  | 0,2 1x1 Serial:  | 1,0 1x1 IP "
             "Address:  | 1,1 1x1 Gateway:  | 1,2 1x1 Subnet Mask:  | 2,0 1x1 Recovery Version:  "
             "| 3,0 2x3 Options: 0102/ 0117/  0135/  (wraps)");

    QSignalSpy swaps(&menu, &BootMenu::bootOrderSwapped);
    QSignalSpy rejected(&menu, &QDialog::rejected);
    menu.show();
    QTest::mouseClick(find<QPushButton>(&menu, "SWAP"), Qt::LeftButton);
    QTest::mouseClick(find<QPushButton>(&menu, "SWAP"), Qt::LeftButton);
    QVERIFY(menu.isVisible());
    QCOMPARE(slotsOf(&menu), slotLines);
    QTest::mouseClick(find<QPushButton>(&menu, "CLOSE"), Qt::LeftButton);
    QVERIFY(!menu.isVisible());
    QCOMPARE(swaps.count(), 2);
    QCOMPARE(rejected.count(), 1);
}

QTEST_MAIN(TestDialogs)
#include "tst_dialogs.moc"
