#include "app/ostrelrecovery.h"
#include "dialogs/bootmenu.h"
#include "dialogs/helpmessagerebootmenu.h"
#include "dialogs/resetmenu.h"
#include "processors/abstractcommandprocessor.h"
#include "tests/shownwindow.h"

#include <QJsonDocument>
#include <QtTest>
#include <QtWidgets>

// Every screen as it shows on a panel of the resolution that CTest gives (QT_FONT_DPI, 72 to 200
// dpi), started as the console starts: no text cut off or squeezed below what it needs, nothing
// pushed out of its box. A main of its own, since QTEST_MAIN would hold the style at 96 dpi
// whatever the screen says.
class TestScreens : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void screens_data();
    void screens();
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

} // namespace

void TestScreens::initTestCase()
{
    QVERIFY(applyStyleSheet());
}

void TestScreens::screens_data()
{
    QTest::addColumn<QString>("screen");
    for (const char *screen : {"main window", "reset", "boot order", "help"})
        QTest::newRow(screen) << screen;
}

void TestScreens::screens()
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

int main(int argc, char *argv[])
{
    OstrelRecovery::prepareToolkit();
    QApplication application(argc, argv);
    TestScreens test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_screens.moc"
