#include "app/ostrelrecovery.h"
#include "childprocesses.h"
#include "continuepasthelp.h"
#include "dialogs/bootmenu.h"
#include "dialogs/slotwidget.h"
#include "findwidget.h"
#include "processors/abstractcommandprocessor.h"

#include <QDateTime>
#include <QDir>
#include <QGroupBox>
#include <QImage>
#include <QLabel>
#include <QLayout>
#include <QPushButton>
#include <QScopeGuard>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>
#include <QTextEdit>

#include <memory>

Q_DECLARE_METATYPE(const QMetaObject *)

namespace {
// Nothing listens there: every request fails at once with a refused connection.
const QString Instrument = "127.0.9.1";

// The buttons that can be pressed, in a fixed order.
QString enabledButtons(const QWidget *window)
{
    QStringList enabled;
    for (const char *name : {"INSTALL SW", "RESET...", "BOOT ORDER...", "REBOOT", "EXPORT",
                             "CANCEL", "EJECT", "REFRESH"}) {
        if (find<QPushButton>(window, name)->isEnabled())
            enabled << name;
    }
    return enabled.join(", ");
}

std::unique_ptr<OstrelRecovery> shownWindow(const QString &hostName)
{
    continuePastHelpScreen();
    auto window = std::make_unique<OstrelRecovery>(hostName);
    // The instrument build asks for full screen, and the offscreen screen is smaller than the
    // instrument's: the layout is checked at the designed size, the state in window().
    window->setWindowState(Qt::WindowNoState);
    window->show();
    if (!QTest::qWaitForWindowExposed(window.get()))
        return nullptr;
    return window;
}
} // namespace

class TestOstrelRecovery : public QObject
{
    Q_OBJECT

private slots:
    void window_data();
    void window();
    void panels();
    void buttonStates_data();
    void buttonStates();
    void identityReachesLabels_data();
    void identityReachesLabels();
    void buttonsReachTheBackEnd();
    void closedWithRequestsInFlight();
    void screenshotFolder_data();
    void screenshotFolder();
    void screenshots();
    void bootOrderRoundTrip();
    void localBackEnd();
};

void TestOstrelRecovery::window_data()
{
    QTest::addColumn<QString>("hostName");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("backEnd");
    QTest::newRow("no host: simulated or local back end")
            << QString() << "Recovery Mode"
            << (InstrumentBuild ? "CommandProcessor" : "FakeCommandProcessor");
    QTest::newRow("host in the title") << Instrument << "Recovery Mode (127.0.9.1)"
                                       << "HttpCommandProcessor";
    QTest::newRow("host text taken as given") << " <b>odd</b> "
                                              << "Recovery Mode ( <b>odd</b> )"
                                              << "HttpCommandProcessor";
}

void TestOstrelRecovery::window()
{
    QFETCH(QString, hostName);
    QFETCH(QString, title);
    QFETCH(QString, backEnd);

    continuePastHelpScreen();
    const auto window = std::make_unique<OstrelRecovery>(hostName);
    QCOMPARE(window->windowTitle(), title);
    QCOMPARE(window->minimumSize(), QSize(1280, 800));
    QCOMPARE(window->maximumSize(), QSize(1280, 800));
    QCOMPARE(window->windowState(), InstrumentBuild ? Qt::WindowFullScreen : Qt::WindowNoState);
    const auto processors = window->findChildren<AbstractCommandProcessor *>();
    QCOMPARE(processors.size(), 1);
    QCOMPARE(processors.first()->metaObject()->className(), backEnd);
}

void TestOstrelRecovery::panels()
{
    const auto window = shownWindow(QString());
    QVERIFY(window);
    // The local back end's identity comes from a tool run, after the window is up.
    QTRY_COMPARE(find<QPushButton>(window.get(), "INSTALL SW")->text(), "INSTALL SW TO SLOT B");
    QGroupBox *console = find<QGroupBox>(window.get(), "Console");
    QGroupBox *commands = find<QGroupBox>(window.get(), "Commands");
    QGroupBox *usb = find<QGroupBox>(window.get(), "USB Device");
    QGroupBox *exportGroup = find<QGroupBox>(window.get(), "Export");
    QCOMPARE(console->height(), 266);
    QCOMPARE(commands->width(), 426);
    QCOMPARE(usb->size(), QSize(426, 266));
    QCOMPARE(exportGroup->height(), 200);

    QStringList commandOrder;
    for (int i = 0; i < commands->layout()->count(); ++i) {
        QWidget *widget = commands->layout()->itemAt(i)->widget();
        commandOrder << widget->property(widget == exportGroup ? "title" : "text").toString();
    }
    QCOMPARE(
            commandOrder,
            QStringList({"INSTALL SW TO SLOT B", "RESET...", "BOOT ORDER...", "REBOOT", "Export"}));
    QCOMPARE(find<QPushButton>(window.get(), "EXPORT")->parentWidget(), exportGroup);
    QVERIFY(find<QPushButton>(window.get(), "EXPORT")->y()
            < find<QPushButton>(window.get(), "CANCEL")->y());
    // Console bottom left, USB Device beside it, EJECT left of REFRESH.
    QVERIFY(console->y() > commands->y());
    QCOMPARE(usb->y(), console->y());
    QVERIFY(usb->x() > console->geometry().right());
    QVERIFY(find<QPushButton>(window.get(), "EJECT")->x()
            < find<QPushButton>(window.get(), "REFRESH")->x());
    // The window's own buttons; the help screen's are larger.
    for (QPushButton *button : window->findChildren<QPushButton *>()) {
        if (button->window() == window.get())
            QCOMPARE(button->height(), 48);
    }
}

void TestOstrelRecovery::buttonStates_data()
{
    QTest::addColumn<QString>("hostName");
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<QString>("enabled");

    const QString all = "INSTALL SW, RESET..., BOOT ORDER..., REBOOT, EXPORT, EJECT, REFRESH";
    const QString allButReboot = "INSTALL SW, RESET..., BOOT ORDER..., EXPORT, EJECT, REFRESH";
    const QString whileBusy = "EJECT, REFRESH";

    QTest::newRow("host: after construction") << Instrument << QStringList() << all;
    QTest::newRow("host: busy") << Instrument << QStringList {"busy"} << whileBusy;
    QTest::newRow("host: busy, then idle twice")
            << Instrument << QStringList {"busy", "busy", "idle", "idle"} << all;
    if (InstrumentBuild) {
        // On the instrument REBOOT follows the busy state alone.
        QTest::newRow("no host: after construction") << QString() << QStringList() << all;
        QTest::newRow("no host: busy") << QString() << QStringList {"busy"} << whileBusy;
        QTest::newRow("no host: idle") << QString() << QStringList {"busy", "idle"} << all;
    } else {
        QTest::newRow("no host: REBOOT locked") << QString() << QStringList() << allButReboot;
        QTest::newRow("no host: idle keeps REBOOT locked")
                << QString() << QStringList {"busy", "idle"} << allButReboot;
        QTest::newRow("no host: EXPORT enables CANCEL, nothing reports idle")
                << QString() << QStringList {"EXPORT"}
                << "INSTALL SW, RESET..., BOOT ORDER..., EXPORT, CANCEL, EJECT, REFRESH";
        QTest::newRow("no host: CANCEL reports idle, which disables it")
                << QString() << QStringList {"EXPORT", "CANCEL"} << allButReboot;
    }
    QTest::newRow("host: busy leaves CANCEL usable")
            << Instrument << QStringList {"EXPORT", "busy"} << "CANCEL, EJECT, REFRESH";
    QTest::newRow("host: idle after export disables CANCEL")
            << Instrument << QStringList {"EXPORT", "busy", "idle"} << all;
    QTest::newRow("busy: a disabled button ignores clicks")
            << Instrument << QStringList {"busy", "EXPORT"} << whileBusy;
}

void TestOstrelRecovery::buttonStates()
{
    QFETCH(QString, hostName);
    QFETCH(QStringList, steps);
    QFETCH(QString, enabled);

    const auto window = shownWindow(hostName);
    QVERIFY(window);
    auto *processor = window->findChild<AbstractCommandProcessor *>();
    for (const QString &step : steps) {
        if (step == "busy" || step == "idle")
            emit processor->isBusyChanged(step == "busy");
        else
            QTest::mouseClick(find<QPushButton>(window.get(), step), Qt::LeftButton);
    }
    QCOMPARE(enabledButtons(window.get()), enabled);
}

void TestOstrelRecovery::identityReachesLabels_data()
{
    QTest::addColumn<QStringList>("slotNames");
    QTest::addColumn<QStringList>("usbLabels");
    QTest::addColumn<QString>("install");
    QTest::addColumn<QString>("usbLines");

    QTest::newRow("A boots first, no stick")
            << QStringList {"A", "B"} << QStringList() << "INSTALL SW TO SLOT A"
            << "Status : Not Connected / Label : --";
    QTest::newRow("two sticks: only the first is shown")
            << QStringList {"B", "A"} << QStringList {"FIRST", "SECOND"} << "INSTALL SW TO SLOT B"
            << "Status : Connected / Label : FIRST";
    QTest::newRow("a stick without a label shows it empty")
            << QStringList {"B", "A"} << QStringList {QString()} << "INSTALL SW TO SLOT B"
            << "Status : Connected / Label : ";
    QTest::newRow("no slots: install text unchanged")
            << QStringList() << QStringList {"KINGSTON"} << "INSTALL SW"
            << "Status : Connected / Label : KINGSTON";
}

void TestOstrelRecovery::identityReachesLabels()
{
    QFETCH(QStringList, slotNames);
    QFETCH(QStringList, usbLabels);
    QFETCH(QString, install);
    QFETCH(QString, usbLines);

    // This back end reports no identity: the window shows what it has before the first one.
    OstrelRecovery window(Instrument);
    const auto labels = find<QGroupBox>(&window, "USB Device")->findChildren<QLabel *>();
    const auto shown = [&labels] { return labels[0]->text() + " / " + labels[1]->text(); };
    QCOMPARE(shown(), " / ");
    QCOMPARE(find<QPushButton>(&window, "INSTALL")->text(), "INSTALL SW");

    OstrelIdentity identity;
    for (const QString &name : slotNames)
        identity.slotList << OstrelIdentity::SlotInfo {name, "v", 0};
    for (const QString &label : usbLabels)
        identity.usbDevices << OstrelIdentity::UsbDevice {"USB0", "/dev/sda1/", label};
    auto *processor = window.findChild<AbstractCommandProcessor *>();
    emit processor->identityUpdated(identity);
    QCOMPARE(find<QPushButton>(&window, "INSTALL")->text(), install);
    QCOMPARE(shown(), usbLines);

    // The next identity replaces everything, but one without slots keeps the install text.
    emit processor->identityUpdated(OstrelIdentity());
    QCOMPARE(find<QPushButton>(&window, "INSTALL")->text(), install);
    QCOMPARE(shown(), "Status : Not Connected / Label : --");
}

// The buttons against the simulated instrument, pressed as a user would.
void TestOstrelRecovery::buttonsReachTheBackEnd()
{
    if (InstrumentBuild)
        QSKIP("the simulated instrument is the desktop console's; see localBackEnd()");
    const auto window = shownWindow(QString());
    QVERIFY(window);
    auto *processor = window->findChild<AbstractCommandProcessor *>();
    auto *console = window->findChild<QTextEdit *>();
    int identities = 0;
    connect(processor, &AbstractCommandProcessor::identityUpdated, this,
            [&identities](const OstrelIdentity &) { ++identities; });
    QCOMPARE(find<QLabel>(window.get(), "Label")->text(), "Label : KINGSTON");

    QTest::mouseClick(find<QPushButton>(window.get(), "INSTALL SW"), Qt::LeftButton);
    QCOMPARE(console->toPlainText(),
             "Installing Software\nThis might take some time\nInstall Software requested");

    // REFRESH and EJECT stay usable while the back end is busy.
    emit processor->isBusyChanged(true);
    QTest::mouseClick(find<QPushButton>(window.get(), "REFRESH"), Qt::LeftButton);
    QCOMPARE(identities, 1);
    QTest::mouseClick(find<QPushButton>(window.get(), "EJECT"), Qt::LeftButton);
    QCOMPARE(identities, 2);
    QCOMPARE(find<QLabel>(window.get(), "Label")->text(), "Label : --");

    const auto instrument = shownWindow(Instrument);
    QVERIFY(instrument);
    QTest::mouseClick(find<QPushButton>(instrument.get(), "REBOOT"), Qt::LeftButton);
    // Once for the identify of the constructor, once for the reboot.
    QTRY_COMPARE(instrument->findChild<QTextEdit *>()->toPlainText(),
                 "Connection error to 127.0.9.1.\nConnection error to 127.0.9.1.\n");
}

// The back end goes down with the window while its replies are still out; none of them may
// report into the half-destroyed window (the sanitizer build would see it).
void TestOstrelRecovery::closedWithRequestsInFlight()
{
    QTcpServer silent; // accepts connections and never answers
    QVERIFY(silent.listen(QHostAddress("127.0.9.2"), 8080));
    auto window = shownWindow("127.0.9.2");
    QVERIFY(window);
    QTest::mouseClick(find<QPushButton>(window.get(), "INSTALL SW"), Qt::LeftButton);
    QTest::mouseClick(find<QPushButton>(window.get(), "EJECT"), Qt::LeftButton);
    QVERIFY(QTest::qWaitFor([&] { return silent.hasPendingConnections(); }));
    QVERIFY(!find<QPushButton>(window.get(), "INSTALL SW")->isEnabled());
    window.reset();
}

void TestOstrelRecovery::screenshotFolder_data()
{
    QTest::addColumn<bool>("desktopMode");
    QTest::addColumn<QStringList>("aliases");
    QTest::addColumn<QString>("folder");

    QTest::newRow("desktop: working directory")
            << true << QStringList {"USB0"} << QDir::currentPath();
    QTest::newRow("instrument: first stick, under the mount root")
            << false << QStringList {"USB0", "USB1"} << "/run/media//USB0";
    QTest::newRow("instrument: no stick") << false << QStringList() << "/mnt/usrroot";
    // The alias comes from the instrument: it names a folder only when it is a plain name.
    for (const QString &alias : QStringList {"../../etc", "USB0/..", "a/b", "..", ".", "",
                                             QString::fromLatin1("USB0\0", 5)})
        QTest::newRow(
                qPrintable("instrument: alias \"" + QString(alias).replace(QChar(0), "\\0") + "\""))
                << false << QStringList {alias} << "/mnt/usrroot";
    QTest::newRow("instrument: an odd alias that is a name")
            << false << QStringList {"USB 0.1"} << "/run/media//USB 0.1";
}

void TestOstrelRecovery::screenshotFolder()
{
    QFETCH(bool, desktopMode);
    QFETCH(QStringList, aliases);
    QFETCH(QString, folder);

    OstrelIdentity identity;
    for (const QString &alias : aliases)
        identity.usbDevices.append({alias, "/dev/sda1/", "KINGSTON"});
    QCOMPARE(OstrelRecovery::screenshotFolder(identity, desktopMode), folder);
}

// F12 in the window and in the boot order dialog, each a picture of that screen alone, named
// after the second it was taken in; no other key writes anything.
void TestOstrelRecovery::screenshots()
{
    // There the pictures go to the USB stick or the user data root, never into a test's folder.
    if (InstrumentBuild)
        QSKIP("the desktop console's working directory; the instrument's folder is "
              "screenshotFolder()");
    QTemporaryDir folder;
    QVERIFY(folder.isValid());
    const QString previous = QDir::currentPath();
    QVERIFY(QDir::setCurrent(folder.path()));
    const auto restore = qScopeGuard([&] { QDir::setCurrent(previous); });
    const auto window = shownWindow(QString());
    QVERIFY(window);
    const auto pictures = [&] { return QDir(folder.path()).entryList({"*"}, QDir::Files); };

    for (const Qt::Key key : {Qt::Key_F11, Qt::Key_Escape, Qt::Key_Print})
        QTest::keyClick(window.get(), key);
    QVERIFY(pictures().isEmpty());

    const QString before = QDateTime::currentDateTime().toString("yyMMdd_HHmmss");
    QTest::keyClick(window.get(), Qt::Key_F12);
    const QString after = QDateTime::currentDateTime().toString("yyMMdd_HHmmss");
    QCOMPARE(pictures().size(), 1);
    const QString name = pictures().first();
    QVERIFY2(name == "screenshot_" + before + ".png" || name == "screenshot_" + after + ".png",
             qPrintable(name));
    QCOMPARE(QImage(name).size(), QSize(1280, 800));
    QFile::remove(name);

    QTest::mouseClick(find<QPushButton>(window.get(), "BOOT ORDER..."), Qt::LeftButton);
    auto *menu = window->findChild<BootMenu *>();
    QVERIFY(QTest::qWaitForWindowExposed(menu));
    QTest::keyClick(menu, Qt::Key_Escape);
    QVERIFY(menu->isVisible());
    QTest::keyClick(menu, Qt::Key_F12);
    QCOMPARE(pictures().size(), 1);
    QCOMPARE(QImage(pictures().first()).size(), menu->size());
}

// With the simulated instrument: SWAP asks for the other order, and the panels, the dialog and
// the install button follow the identity that comes back.
void TestOstrelRecovery::bootOrderRoundTrip()
{
    if (InstrumentBuild)
        QSKIP("the simulated instrument is the desktop console's; see localBackEnd()");
    const auto window = shownWindow(QString());
    QVERIFY(window);
    auto *console = window->findChild<QTextEdit *>();
    QTest::mouseClick(find<QPushButton>(window.get(), "BOOT ORDER..."), Qt::LeftButton);
    auto *menu = window->findChild<BootMenu *>();
    QVERIFY(menu->isVisible());
    const auto firstSlot = [&] {
        return menu->findChildren<SlotWidget *>().first()->findChild<QLabel *>()->text();
    };
    QCOMPARE(firstSlot(), "Slot:\tB");

    QPushButton *swap = find<QPushButton>(menu, "SWAP");
    QTest::mouseClick(swap, Qt::LeftButton);
    QCOMPARE(console->toPlainText(), "Boot order set A to B\n");
    QCOMPARE(firstSlot(), "Slot:\tA");
    QCOMPARE(find<QPushButton>(window.get(), "INSTALL SW")->text(), "INSTALL SW TO SLOT A");
    QTest::mouseClick(swap, Qt::LeftButton);
    QCOMPARE(console->toPlainText(), "Boot order set A to B\nBoot order set B to A\n");
    QCOMPARE(firstSlot(), "Slot:\tB");
    QVERIFY(menu->isVisible());
}

// The instrument build without a host, against the simulated service tool and the stand-in for
// reboot: output streams in, the buttons come back, and the boot order comes back changed.
void TestOstrelRecovery::localBackEnd()
{
    if (!InstrumentBuild)
        QSKIP("the desktop console has no local back end");
    QTemporaryDir folder;
    QVERIFY(folder.isValid());
    qputenv("FAKE_TOOL_DIR", QFile::encodeName(folder.path()));
    const auto window = shownWindow(QString());
    QVERIFY(window);
    auto *console = window->findChild<QTextEdit *>();
    QPushButton *install = find<QPushButton>(window.get(), "INSTALL SW");
    QTRY_COMPARE(install->text(), "INSTALL SW TO SLOT B");

    QTest::mouseClick(install, Qt::LeftButton);
    QVERIFY(console->toPlainText().startsWith("Installing Software\nThis might take some time\n"));
    QTRY_VERIFY(console->toPlainText().endsWith("Finished.\n\nCommand Finished.\n"));
    QTRY_COMPARE(enabledButtons(window.get()),
                 "INSTALL SW, RESET..., BOOT ORDER..., REBOOT, EXPORT, EJECT, REFRESH");

    // An identify run still going would swallow the one that follows the change.
    QVERIFY(ChildProcesses::settle());
    console->clear();
    QTest::mouseClick(find<QPushButton>(window.get(), "BOOT ORDER..."), Qt::LeftButton);
    auto *menu = window->findChild<BootMenu *>();
    QTest::mouseClick(find<QPushButton>(menu, "SWAP"), Qt::LeftButton);
    QTRY_COMPARE(install->text(), "INSTALL SW TO SLOT A");
    QCOMPARE(console->toPlainText(),
             "Boot order set A to B\nBoot order: slot A first.\n\nCommand Finished.\n");
    menu->close();

    // The boot count of the slot that now boots first, then the stand-in for reboot.
    console->clear();
    QTest::mouseClick(find<QPushButton>(window.get(), "REBOOT"), Qt::LeftButton);
    QTRY_COMPARE(console->toPlainText(),
                 "Boot count of slot A reset.\n\nCommand Finished.\n"
                 "\nCommand Finished.\n");
    qunsetenv("FAKE_TOOL_DIR");
}

QTEST_MAIN(TestOstrelRecovery)
#include "tst_ostrelrecovery.moc"
