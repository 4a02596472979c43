#include "app/ostrelrecovery.h"
#include "continuepasthelp.h"
#include "findwidget.h"
#include "processors/abstractcommandprocessor.h"

#include <QAbstractButton>
#include <QDateTime>
#include <QDir>
#include <QGroupBox>
#include <QLabel>
#include <QLayout>
#include <QPushButton>
#include <QScopeGuard>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>
#include <QTextEdit>

#include <memory>

namespace {
// Nothing listens there: every request fails at once with a refused connection.
const QString Refused = "127.0.19.1";
// Accepts and never answers: the window stays as the test leaves it.
const QString Silent = "127.0.19.2";
const QString All = "INSTALL SW, RESET..., BOOT ORDER..., REBOOT, EXPORT, EJECT, REFRESH";
const QString AllButReboot = "INSTALL SW, RESET..., BOOT ORDER..., EXPORT, EJECT, REFRESH";
const QString WhileBusy = "EJECT, REFRESH";

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

// The buttons that can be pressed, the USB label and the console, as the user sees them.
QString screen(const OstrelRecovery *window)
{
    QStringList enabled;
    for (const char *name : {"INSTALL SW", "RESET...", "BOOT ORDER...", "REBOOT", "EXPORT",
                             "CANCEL", "EJECT", "REFRESH"}) {
        if (find<QPushButton>(window, name)->isEnabled())
            enabled << name;
    }
    return QStringList {
            enabled.join(", "),
            find<QGroupBox>(window, "USB Device")->findChildren<QLabel *>().at(1)->text(),
            window->findChild<QTextEdit *>()->toPlainText()}
            .join(" | ");
}
} // namespace

class TestOstrelRecovery : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY(silent.listen(QHostAddress(Silent), 8080)); }
    void layout();
    void wiring_data();
    void wiring();
    void identityReachesLabels_data();
    void identityReachesLabels();
    void closedWithRequestsInFlight();
    void screenshotFolder_data();
    void screenshotFolder();
    void screenshots();

private:
    QTcpServer silent;
};

// Status top left, Commands beside it; Console bottom left, USB Device beside it.
// The host in the title as given, and full screen on the instrument.
void TestOstrelRecovery::layout()
{
    const auto window = shownWindow(Silent);
    QVERIFY(window);
    QCOMPARE(window->windowTitle(), "Recovery Mode (127.0.19.2)");
    QCOMPARE(OstrelRecovery(" <b>").windowState(),
             InstrumentBuild ? Qt::WindowFullScreen : Qt::WindowNoState);
    QCOMPARE(window->minimumSize(), QSize(1280, 800));
    QCOMPARE(window->maximumSize(), QSize(1280, 800));
    const auto box
            = [&](const char *title) { return find<QGroupBox>(window.get(), title)->geometry(); };
    QCOMPARE(box("Console").height(), 266);
    QCOMPARE(box("Commands").width(), 426);
    QCOMPARE(box("USB Device").size(), QSize(426, 266));
    QCOMPARE(box("Export").height(), 200);
    QVERIFY(box("Console").top() > box("Status").bottom() && box("Commands").top() == 11);
    QVERIFY(box("Commands").left() > box("Status").right());
    QCOMPARE(box("USB Device").topLeft(), QPoint(box("Commands").left(), box("Console").top()));
    // The window's own buttons, top to bottom and left to right; the help screen's are larger.
    QMap<QPair<int, int>, QString> buttons;
    for (QPushButton *button : window->findChildren<QPushButton *>()) {
        const QPoint at = button->mapTo(window.get(), QPoint());
        if (button->window() == window.get())
            buttons[{at.y(), at.x()}] = QString("%1 %2").arg(button->text()).arg(button->height());
    }
    QCOMPARE(buttons.values().join(", "),
             "INSTALL SW 48, RESET... 48, BOOT ORDER... 48, "
             "REBOOT 48, EXPORT 48, CANCEL 48, EJECT 48, REFRESH 48");
}

// Button presses and busy reports, then what the screen shows.
void TestOstrelRecovery::wiring_data()
{
    QTest::addColumn<QString>("hostName");
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<QString>("enabled");
    QTest::addColumn<QString>("usbLabel");
    QTest::addColumn<QString>("console");

    const QString errors = QString("Connection error to %1.\n").arg(Refused).repeated(2);
    QTest::newRow("after construction") << Silent << QStringList() << All << ""
                                        << "";
    QTest::newRow("busy twice, then idle")
            << Silent << QStringList {"busy", "busy", "idle"} << All << ""
            << "";
    QTest::newRow("busy") << Silent << QStringList {"busy"} << WhileBusy << ""
                          << "";
    QTest::newRow("busy leaves CANCEL usable")
            << Silent << QStringList {"EXPORT", "busy"} << "CANCEL, EJECT, REFRESH"
            << ""
            << "";
    QTest::newRow("idle after export disables CANCEL")
            << Silent << QStringList {"EXPORT", "busy", "idle"} << All << ""
            << "";
    // One error for the identify of the constructor, one for the button.
    for (const char *button : {"REBOOT", "REFRESH"})
        QTest::newRow(button) << Refused << QStringList {button} << All << "" << errors;
    QTest::newRow("RESET SELECTED")
            << Refused << QStringList {"RESET...", "User", "RESET SELECTED"} << All << "" << errors;
    if (InstrumentBuild) {
        // On the instrument REBOOT follows the busy state alone.
        QTest::newRow("no host") << QString() << QStringList() << All << "Label : KINGSTON"
                                 << "";
        QTest::newRow("no host: busy")
                << QString() << QStringList {"busy"} << WhileBusy << "Label : KINGSTON"
                << "";
        return;
    }
    QTest::newRow("no host: REBOOT locked, also when idle")
            << QString() << QStringList {"busy", "idle"} << AllButReboot << "Label : KINGSTON"
            << "";
    const QString exported
            = "Export without carriage\nProg 0%Prog 100%\nExport With carriage\nProg 100%\n"
              "Multiple carriage in one string\n     18,823,301 100%   88.20kB/s    0:03:28 "
              "(xfr#224, to-chk=0/233)";
    QTest::newRow("no host: EXPORT enables CANCEL, nothing reports idle")
            << QString() << QStringList {"EXPORT"}
            << "INSTALL SW, RESET..., BOOT ORDER..., EXPORT, CANCEL, EJECT, REFRESH"
            << "Label : KINGSTON" << exported;
    QTest::newRow("no host: CANCEL reports idle, which disables it")
            << QString() << QStringList {"EXPORT", "CANCEL"} << AllButReboot << "Label : KINGSTON"
            << exported;
    QTest::newRow("no host: INSTALL SW")
            << QString() << QStringList {"INSTALL SW"} << AllButReboot << "Label : KINGSTON"
            << "Installing Software\nThis might take some time\nInstall Software requested";
    QTest::newRow("no host: EJECT while busy")
            << QString() << QStringList {"busy", "EJECT"} << WhileBusy << "Label : --"
            << "";
    // The window's copy of the identity follows the simulated instrument's reply to each swap.
    QTest::newRow("no host: SWAP twice")
            << QString() << QStringList {"BOOT ORDER...", "SWAP", "SWAP"} << AllButReboot
            << "Label : KINGSTON"
            << "Boot order set A to B\nBoot order set B to A\n";
}

void TestOstrelRecovery::wiring()
{
    QFETCH(QString, hostName);
    QFETCH(QStringList, steps);
    QFETCH(QString, enabled);
    QFETCH(QString, usbLabel);
    QFETCH(QString, console);

    QTemporaryDir folder; // the instrument build's stand-in tool keeps its instrument there
    qputenv("FAKE_TOOL_DIR", QFile::encodeName(folder.path()));
    const auto window = shownWindow(hostName);
    QVERIFY(window);
    auto *processor = window->findChild<AbstractCommandProcessor *>();
    for (const QString &step : steps) {
        if (step == "busy" || step == "idle")
            emit processor->isBusyChanged(step == "busy");
        else
            find<QAbstractButton>(window.get(), step)->click();
    }
    QTRY_COMPARE(screen(window.get()), enabled + " | " + usbLabel + " | " + console);
}

void TestOstrelRecovery::identityReachesLabels_data()
{
    QTest::addColumn<QStringList>("slotNames");
    QTest::addColumn<QStringList>("usbLabels");
    QTest::addColumn<QString>("shown");

    QTest::newRow("A first, no stick") << QStringList {"A", "B"} << QStringList()
                                       << "INSTALL SW TO SLOT A / Not Connected / --";
    QTest::newRow("two sticks: the first shown")
            << QStringList {"B", "A"} << QStringList {"FIRST", "SECOND"}
            << "INSTALL SW TO SLOT B / Connected / FIRST";
    QTest::newRow("no slots: install text unchanged")
            << QStringList() << QStringList {QString()} << "INSTALL SW / Connected / ";
}

void TestOstrelRecovery::identityReachesLabels()
{
    QFETCH(QStringList, slotNames);
    QFETCH(QStringList, usbLabels);
    QFETCH(QString, shown);

    OstrelRecovery window(Silent);
    const auto labels = find<QGroupBox>(&window, "USB Device")->findChildren<QLabel *>();
    const auto text = [&] {
        return find<QPushButton>(&window, "INSTALL")->text() + " / "
                + labels[0]->text().remove("Status : ") + " / "
                + labels[1]->text().remove("Label : ");
    };
    QCOMPARE(text(), "INSTALL SW /  / ");
    OstrelIdentity identity;
    for (const QString &name : slotNames)
        identity.slotList << OstrelIdentity::SlotInfo {name, "v", 0};
    for (const QString &label : usbLabels)
        identity.usbDevices << OstrelIdentity::UsbDevice {"USB0", "/dev/sda1/", label};
    auto *processor = window.findChild<AbstractCommandProcessor *>();
    emit processor->identityUpdated(identity);
    QCOMPARE(text(), shown);
    // The next identity replaces everything, but one without slots keeps the install text.
    emit processor->identityUpdated(OstrelIdentity());
    QCOMPARE(text(), shown.section(" / ", 0, 0) + " / Not Connected / --");
}

// The back end goes down with the window while its replies are still out; none of them may
// report into the half-destroyed window (the sanitizer build would see it).
void TestOstrelRecovery::closedWithRequestsInFlight()
{
    auto window = shownWindow(Silent);
    QVERIFY(window);
    QTest::mouseClick(find<QPushButton>(window.get(), "INSTALL SW"), Qt::LeftButton);
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
            << false << QStringList {"USB 0.1", "USB1"} << "/run/media//USB 0.1";
    QTest::newRow("instrument: no stick") << false << QStringList() << "/mnt/usrroot";
    // The alias comes from the instrument: it names a folder only when it is a plain name.
    for (const QString &alias : QStringList {"../../etc", "USB0/..", "a/b", "..", ".", "",
                                             QString::fromLatin1("USB0\0", 5)})
        QTest::newRow(qPrintable("instrument: \"" + QString(alias).replace(QChar(0), "\\0") + "\""))
                << false << QStringList {alias} << "/mnt/usrroot";
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

// F12 writes a picture of the window, named after the second it was taken in; no other key
// writes anything. On the instrument they go to the USB stick or the user data root instead.
void TestOstrelRecovery::screenshots()
{
    if (InstrumentBuild)
        QSKIP("the instrument's folder is screenshotFolder()");
    QTemporaryDir folder;
    const QString previous = QDir::currentPath();
    QVERIFY(QDir::setCurrent(folder.path()));
    const auto restore = qScopeGuard([&] { QDir::setCurrent(previous); });
    const auto window = shownWindow(Silent);
    QVERIFY(window);
    for (const Qt::Key key : {Qt::Key_F11, Qt::Key_Escape, Qt::Key_Print})
        QTest::keyClick(window.get(), key);
    QVERIFY(QDir().entryList(QDir::Files).isEmpty());
    const QString before = QDateTime::currentDateTime().toString("yyMMdd_HHmmss");
    QTest::keyClick(window.get(), Qt::Key_F12);
    const QString after = QDateTime::currentDateTime().toString("yyMMdd_HHmmss");
    const QStringList pictures = QDir().entryList(QDir::Files);
    QCOMPARE(pictures.size(), 1);
    QVERIFY2(pictures.first() == "screenshot_" + before + ".png"
                     || pictures.first() == "screenshot_" + after + ".png",
             qPrintable(pictures.first()));
    QCOMPARE(QImage(pictures.first()).size(), QSize(1280, 800));
}

QTEST_MAIN(TestOstrelRecovery)
#include "tst_ostrelrecovery.moc"
