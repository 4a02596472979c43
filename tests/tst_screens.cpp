#include "app/ostrelrecovery.h"
#include "dialogs/bootmenu.h"
#include "dialogs/helpmessagerebootmenu.h"
#include "dialogs/resetmenu.h"
#include "dialogs/statuswidget.h"
#include "processors/abstractcommandprocessor.h"
#include "tests/testsupport.h"

#include <QJsonDocument>
#include <QtTest>
#include <QtWidgets>

// The dialogs and the status panel: what each shows, and what each asks of the window. Then every
// screen as it shows on a panel of the resolution that CTest gives (QT_FONT_DPI, 72 to 200 dpi),
// started as the console starts: no text cut off or squeezed below what it needs, nothing pushed
// out of its box.
class TestScreens : public QObject
{
    Q_OBJECT

private slots:
    void dialogsShowAndAskAsTheyShould_data();
    void dialogsShowAndAskAsTheyShould();
    void everyScreenFitsItsPanel_data();
    void everyScreenFitsItsPanel();
};

namespace {

// What does not fit on a screen, a line each: "Serial: S1 (QLabel) 20 of 24 px high".
QStringList misfits(const QWidget *screen)
{
    QStringList found;
    for (const QWidget *widget : screen->findChildren<QWidget *>()) {
        if (!widget->isVisibleTo(screen))
            continue;
        QString name = widget->metaObject()->className();
        int needed = 0;
        if (const auto *label = qobject_cast<const QLabel *>(widget)) {
            name = label->text().left(40) + " (" + name + ")";
            needed = label->wordWrap() ? label->heightForWidth(label->width())
                                       : label->minimumSizeHint().height();
        } else if (const auto *button = qobject_cast<const QAbstractButton *>(widget)) {
            name = button->text() + " (" + name + ")";
            needed = qobject_cast<const QPushButton *>(button) ? button->fontMetrics().height()
                                                               : button->minimumSizeHint().height();
        } else if (const auto *box = qobject_cast<const QGroupBox *>(widget)) {
            name = box->title() + " (" + name + ")";
            needed = box->minimumSizeHint().height();
        }
        if (widget->height() < needed)
            found << QString("%1 %2 of %3 px high").arg(name).arg(widget->height()).arg(needed);
        // Inside its parent, and inside a box's frame, below its title.
        const QWidget *parent = widget->parentWidget();
        const QRect room
                = qobject_cast<const QGroupBox *>(parent) ? parent->contentsRect() : parent->rect();
        if (parent != screen->parentWidget() && !room.contains(widget->geometry()))
            found << QString("%1 at %2,%3 %4x%5 outside its box")
                             .arg(name)
                             .arg(widget->x())
                             .arg(widget->y())
                             .arg(widget->width())
                             .arg(widget->height());
    }
    return found;
}

// An identity with every field as long as an instrument's.
OstrelIdentity fullIdentity()
{
    return OstrelIdentity(QJsonDocument::fromJson(
            R"({"model": "VX4120A", "serial": "1901035", "options": "0102/0117/0135/0150/0201/0202",
                "bootVersion": "4.0.0", "recoveryVersion": "1.0.0",
                "network": {"ip": "192.168.100.200", "subnet": "255.255.252.0",
                            "gateway": "192.168.100.1"},
                "slotOrder": ["B", "A"], "slotAVersion": "E2019.01.1.1518_20190131_140805",
                "slotBVersion": "T2019.01.1.1518_20190131_140805", "slotCount": [3, 2],
                "usb": [{"alias": "USB0", "device": "/dev/sda1/", "label": "KINGSTON"}]})"));
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
        const auto *label = qobject_cast<const QLabel *>(widget);
        if (label) {
            const QSize logo = label->pixmap(Qt::ReturnByValue).size();
            item += label->text().isEmpty()
                    ? QString("logo %1x%2").arg(logo.width()).arg(logo.height())
                    : label->text() + (label->wordWrap() ? " (wraps)" : "");
        } else if (auto *button = qobject_cast<const QAbstractButton *>(widget)) {
            item += "[" + button->text() + "]" + (button->isChecked() ? " ticked" : "");
            if (qobject_cast<const QPushButton *>(button))
                item += QString(" %1").arg(button->height());
        } else if (auto *box = qobject_cast<const QGroupBox *>(widget)) {
            item += box->title() + "{" + describe(box->layout()) + "}";
        }
        if (auto *box = qobject_cast<const QBoxLayout *>(layout); box && box->stretch(index))
            item += QString(" stretch %1").arg(box->stretch(index));
        if (layout->itemAt(index)->alignment() == Qt::AlignCenter
            || (label && label->alignment() == Qt::AlignCenter))
            item += " centred";
        items << item.replace('\t', "\\t").replace('\n', "\\n");
    }
    return items.join(" | ");
}

using Make = std::function<std::unique_ptr<QWidget>()>;

template<typename Widget, typename... Arguments>
Make make(Arguments... arguments)
{
    return [=] { return std::make_unique<Widget>(arguments..., nullptr); };
}

// One thing done to a screen: a button clicked, keys pressed, an identity handed over.
using Step = std::function<void(QWidget *screen)>;
using Steps = QList<Step>;

Step click(const QString &button)
{
    return [button](QWidget *screen) { find<QAbstractButton>(screen, button)->click(); };
}

void showAgain(QWidget *screen)
{
    screen->show();
}

// Every key but F12, twice each, so that a key taken for F12 shows in the count of pictures.
void otherKeys(QWidget *screen)
{
    for (const Qt::Key key : {Qt::Key_Escape, Qt::Key_F11, Qt::Key_Return, Qt::Key_Enter,
                              Qt::Key_Escape, Qt::Key_F11, Qt::Key_Return, Qt::Key_Enter})
        QTest::keyClick(screen, key);
}

// With Shift, which the key rule does not look at.
void f12(QWidget *screen)
{
    QTest::keyClick(screen, Qt::Key_F12, Qt::ShiftModifier);
}

// An identity with every field told apart, its slots replaced by those given.
Step handOver(const QList<OstrelIdentity::SlotInfo> &slotList)
{
    return [slotList](QWidget *screen) {
        OstrelIdentity given(QJsonDocument::fromJson(
                R"({"model": "VX4120A", "serial": "S1", "options": "0102/0117/ 0135/",
                    "bootVersion": "B1", "recoveryVersion": "R1", "slotBVersion": "T1",
                    "slotCount": [-1, 7], "network": {"ip": "10.0.0.2", "subnet": "255.0.0.0",
                    "gateway": "10.0.0.1"}})"));
        if (!slotList.isEmpty())
            given.slotList = slotList;
        if (auto *menu = qobject_cast<BootMenu *>(screen))
            menu->refreshBootOrder(given);
        else
            dynamic_cast<StatusWidget *>(screen)->updateIdentity(given);
    };
}

const QList<OstrelIdentity::SlotInfo> OldSlots {{"X", "old", 9}, {"Y", "old", 9}};

} // namespace

Q_DECLARE_METATYPE(Make)
Q_DECLARE_METATYPE(Steps)

// What each shows after the steps, and what it asked for.
void TestScreens::dialogsShowAndAskAsTheyShould_data()
{
    QTest::addColumn<Make>("make");
    QTest::addColumn<Steps>("steps");
    QTest::addColumn<QString>("layout");
    QTest::addColumn<QString>("requests");

    const QString none = "{Slot:\\t-- | Version:\\t-- | Count:\\t--}";
    const QString slotB = "{Slot:\\tB | Version:\\tT1 | Count:\\t-1}";
    Steps ticks;
    for (const char *box : {"Slot B Count", "Network", "User", "Factory", "System", "Internal",
                            "Slot A Count", "Slot A Count"})
        ticks << click(box);
    QTest::newRow("reset: the ticked boxes in their order, kept for next time")
            << make<Resetmenu>()
            << ticks
                    + Steps {otherKeys, click("RESET SELECTED"), showAgain, f12,
                             click("RESET SELECTED")}
            << "RESET (modal): {[Factory] ticked | [User] ticked | [System] ticked | [Internal] "
               "ticked | [Network] ticked | [Slot A Count] | [Slot B Count] ticked} | [RESET "
               "SELECTED] 48"
            << "finished 2 | rejected 2 | resetInitiated 2: factory, user, system, internal, "
               "network, slot b count | screenshotRequested 1: its size | hidden";
    // The slots in boot order, replacing what was there, "--" where the list ends; SWAP only asks.
    QTest::newRow("boot order")
            << make<BootMenu>() << Steps {handOver(OldSlots), handOver({{"B", "T1", -1}}),
                                          otherKeys,          click("SWAP"),
                                          click("SWAP"),      f12,
                                          click("CLOSE")}
            << "BOOT ORDER (modal): Boot First" + slotB + " | [SWAP] 48 | Boot Second" + none
                    + " | [CLOSE] 48"
            << "finished 1 | rejected 1 | bootOrderSwapped 2 | screenshotRequested 1: its size | "
               "hidden";
    QTest::newRow("help")
            << make<HelpMessageRebootMenu>() << Steps {otherKeys, click("REBOOT INSTRUMENT"), f12}
            << ": logo 289x63 centred | RECOVERY MODE centred | You may have entered this "
               "screen if a previous boot was interrupted.\\n\\n Click REBOOT INSTRUMENT to "
               "restart. Click CONTINUE TO RECOVERY MODE to proceed to Recovery Mode.\\n\\n If "
               "this screen persists after rebooting, please consult the User Guide for details. "
               "(wraps) stretch 200 centred | [REBOOT INSTRUMENT] 96 | [CONTINUE TO RECOVERY "
               "MODE] 96"
            << "reboot 1 | screenshotRequested 1: its size | shown";
    QTest::newRow("status panel")
            << make<StatusWidget>(QString("Status")) << Steps()
            << ": 0,0 1x1 Model: -- | 0,1 1x1 Boot Version: -- | 0,2 1x1 Serial: -- | 1,0 1x1 IP "
               "Address: -- | 1,1 1x1 Gateway: -- | 1,2 1x1 Subnet Mask: -- | 2,0 1x1 Recovery "
               "Version: -- | 3,0 2x3 Options: -- (wraps) | 5,0 1x3 Boot First"
                    + none + " | 6,0 1x3 Boot Second" + none
            << "shown";
    // A space after every slash of the options, so that the line can wrap between the codes.
    QTest::newRow("status panel: an identity")
            << make<StatusWidget>(QString("Status")) << Steps {handOver(OldSlots), handOver({})}
            << ": 0,0 1x1 Model: VX4120A | 0,1 1x1 Boot Version: B1 | 0,2 1x1 Serial: S1 | 1,0 1x1 "
               "IP Address: 10.0.0.2 | 1,1 1x1 Gateway: 10.0.0.1 | 1,2 1x1 Subnet Mask: "
               "255.0.0.0 | 2,0 1x1 Recovery Version: R1 | 3,0 2x3 Options: 0102/ 0117/  0135/  "
               "(wraps) | 5,0 1x3 Boot First"
                    + slotB + " | 6,0 1x3 Boot Second{Slot:\\tA | Version:\\t-- | Count:\\t7}"
            << "shown";
}

void TestScreens::dialogsShowAndAskAsTheyShould()
{
    QFETCH(Make, make);
    QFETCH(Steps, steps);
    QFETCH(QString, layout);
    QFETCH(QString, requests);

    const std::unique_ptr<QWidget> widget = make();
    std::vector<std::unique_ptr<QSignalSpy>> spies;
    const QMetaObject *meta = widget->metaObject();
    for (int index = QWidget::staticMetaObject.methodCount(); index < meta->methodCount();
         ++index) {
        if (meta->method(index).methodType() == QMetaMethod::Signal)
            spies.push_back(std::make_unique<QSignalSpy>(widget.get(), meta->method(index)));
    }
    widget->show();
    QVERIFY(QTest::qWaitForWindowExposed(widget.get()));
    for (const Step &step : steps)
        step(widget.get());
    const auto *dialog = qobject_cast<QDialog *>(widget.get());
    QCOMPARE(widget->windowTitle() + (dialog && dialog->isModal() ? " (modal): " : ": ")
                     + describe(widget->layout()),
             layout);
    QStringList asked;
    for (const auto &spy : spies) {
        if (spy->isEmpty())
            continue;
        QString request
                = QString(spy->signal()).section('(', 0, 0) + " " + QString::number(spy->count());
        const QVariant last = spy->last().value(0);
        if (last.userType() == QMetaType::QPixmap)
            request += last.value<QPixmap>().size() == widget->size() ? ": its size" : ": other";
        else if (last.userType() == QMetaType::QStringList)
            request += ": " + last.toStringList().join(", ");
        asked << request;
    }
    asked << (widget->isVisible() ? "shown" : "hidden");
    QCOMPARE(asked.join(" | "), requests);
}

void TestScreens::everyScreenFitsItsPanel_data()
{
    QTest::addColumn<QString>("screen");
    for (const char *screen : {"main window", "reset", "boot order", "help"})
        QTest::newRow(screen) << screen;
}

void TestScreens::everyScreenFitsItsPanel()
{
    QFETCH(QString, screen);

    const auto window = shownWindow(QString());
    QVERIFY(window);
    emit window->findChild<AbstractCommandProcessor *>()->identityUpdated(fullIdentity());
    QWidget *shown = window.get();
    std::unique_ptr<HelpMessageRebootMenu> help;
    if (screen == "reset") {
        shown = window->findChild<Resetmenu *>();
    } else if (screen == "boot order") {
        shown = window->findChild<BootMenu *>();
        qobject_cast<BootMenu *>(shown)->refreshBootOrder(fullIdentity());
    } else if (screen == "help") {
        help = std::make_unique<HelpMessageRebootMenu>(nullptr);
        shown = help.get();
    }
    shown->show();
    QVERIFY(QTest::qWaitForWindowExposed(shown));
    const QStringList found = misfits(shown);
    QVERIFY2(found.isEmpty(),
             qPrintable(QString("at %1 dpi: %2").arg(shown->logicalDpiY()).arg(found.join("; "))));
}

OSTREL_SCREEN_TEST_MAIN(TestScreens)

#include "tst_screens.moc"
