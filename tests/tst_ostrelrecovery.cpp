#include "app/ostrelrecovery.h"
#include "dialogs/bootmenu.h"
#include "dialogs/helpmessagerebootmenu.h"
#include "processors/abstractcommandprocessor.h"
#include "tests/testsupport.h"
#include "tools/instrument-sim/httpreplyserver.h"

#include <QTcpServer>
#include <QtTest>
#include <QtWidgets>

#include <sys/resource.h>

#include <csignal>
#include <memory>
#include <vector>

namespace {
// Nothing listens there: every request fails at once with a refused connection.
const QString Refused = "127.0.19.1";
// Accepts and never answers: the window stays as the test leaves it.
const QString Silent = "127.0.19.2";
const QString All = "INSTALL SW, RESET..., BOOT ORDER..., REBOOT, EXPORT, EJECT, REFRESH";
const QString AllButReboot = "INSTALL SW, RESET..., BOOT ORDER..., EXPORT, EJECT, REFRESH";

void feed(const OstrelRecovery *window, const QString &chunk)
{
    emit window->findChild<AbstractCommandProcessor *>()->responseReceived(chunk);
}

// What the user sees: the usable buttons, what the install button and the USB box say, the console.
QString screen(const OstrelRecovery *window)
{
    QStringList enabled;
    for (const char *name : {"INSTALL SW", "RESET...", "BOOT ORDER...", "REBOOT", "EXPORT",
                             "CANCEL", "EJECT", "REFRESH"}) {
        if (find<QPushButton>(window, name)->isEnabled())
            enabled << name;
    }
    QStringList labels {find<QPushButton>(window, "INSTALL SW")->text()};
    for (const QLabel *label : find<QGroupBox>(window, "USB Device")->findChildren<QLabel *>())
        labels << label->text().section(" : ", 1);
    if (const auto *menu = window->findChild<BootMenu *>(); menu->isVisible())
        labels << "boots " + menu->findChild<QLabel *>()->text().section('\t', 1);
    return QStringList {enabled.join(", "), labels.join(" / "),
                        window->findChild<QTextEdit *>()->toPlainText()}
            .join(" | ");
}
// One thing done to the window: a button pressed as a user presses it, or a report of its back end.
using Step = std::function<void(OstrelRecovery *window)>;

Step press(const QString &button)
{
    return [button](OstrelRecovery *window) { find<QAbstractButton>(window, button)->click(); };
}

Step reportBusy(bool busy)
{
    return [busy](OstrelRecovery *window) {
        emit window->findChild<AbstractCommandProcessor *>()->isBusyChanged(busy);
    };
}

Step reportIdentity(const QList<OstrelIdentity::SlotInfo> &slotList)
{
    return [slotList](OstrelRecovery *window) {
        OstrelIdentity identity;
        identity.slotList = slotList;
        emit window->findChild<AbstractCommandProcessor *>()->identityUpdated(identity);
    };
}

using Steps = QList<Step>;

} // namespace

Q_DECLARE_METATYPE(Steps)

class TestOstrelRecovery : public QObject
{
    Q_OBJECT

private slots:
    void pressesAndReportsReachTheScreen_data();
    void pressesAndReportsReachTheScreen();
    void consoleShowsWhatTheToolkitWouldDraw_data();
    void consoleShowsWhatTheToolkitWouldDraw();
    void carriageReturnErasesOnlyTheLastDisplayLine();
    void aReplyOfManyLinesKeepsTheWindowResponsive();
    void aFingerDragsFlicksAndTaps();
    void helpScreenComesFirstThenF12TakesPictures();
};

// Button presses, busy reports and identities, then what the screen shows.
void TestOstrelRecovery::pressesAndReportsReachTheScreen_data()
{
    QTest::addColumn<QString>("hostName");
    QTest::addColumn<Steps>("steps");
    QTest::addColumn<QString>("enabled");
    QTest::addColumn<QString>("labels");
    QTest::addColumn<QString>("console");

    const QString unknown = "INSTALL SW /  / ";
    const QString simulated = "INSTALL SW TO SLOT B / Connected / KINGSTON";
    const QString errors = QString("Connection error to %1.\n").arg(Refused).repeated(2);
    // The slots name the install button.
    QTest::newRow("identity of slot A first, without USB sticks; busy leaves CANCEL usable")
            << Silent
            << Steps {reportIdentity({{"A", "v", 0}, {"B", "v", 0}}), press("EXPORT"),
                      reportBusy(true)}
            << "CANCEL, EJECT, REFRESH"
            << "INSTALL SW TO SLOT A / Not Connected / --"
            << "";
    // One error for the identify of the constructor, one for the button.
    for (const char *button : {"REBOOT", "REFRESH"})
        QTest::newRow(button) << Refused << Steps {press(button)} << All << unknown << errors;
    QTest::newRow("RESET SELECTED")
            << Refused << Steps {press("RESET..."), press("User"), press("RESET SELECTED")} << All
            << unknown << errors;
    if (InstrumentBuild)
        return; // without a host, its tool: tests/e2e/emulated-instrument
    const QString exported
            = "Export without carriage\nProg 0%Prog 100%\nExport With carriage\nProg 100%\n"
              "Multiple carriage in one string\n     18,823,301 100%   88.20kB/s    0:03:28 "
              "(xfr#224, to-chk=0/233)";
    QTest::newRow("no host: EXPORT enables CANCEL, nothing reports idle")
            << QString() << Steps {press("EXPORT")}
            << "INSTALL SW, RESET..., BOOT ORDER..., EXPORT, CANCEL, EJECT, REFRESH" << simulated
            << exported;
    QTest::newRow("no host: CANCEL reports idle, which disables it")
            << QString() << Steps {press("EXPORT"), press("CANCEL")} << AllButReboot << simulated
            << exported;
    // An identity without slots leaves the install button as it was.
    QTest::newRow("no host: an identity without slots, INSTALL SW")
            << QString() << Steps {reportIdentity({}), press("INSTALL SW")} << AllButReboot
            << "INSTALL SW TO SLOT B / Not Connected / --"
            << "Installing Software\nThis might take some time\nInstall Software requested";
    QTest::newRow("no host: EJECT while busy")
            << QString() << Steps {reportBusy(true), press("EJECT")} << "EJECT, REFRESH"
            << "INSTALL SW TO SLOT B / Not Connected / --"
            << "";
    // The window's copy of the identity, and the open dialog's, follow the simulated instrument's
    // reply to each swap.
    QTest::newRow("no host: busy twice, then idle; SWAP three times")
            << QString()
            << Steps {reportBusy(true), reportBusy(true), reportBusy(false), press("BOOT ORDER..."),
                      press("SWAP"),    press("SWAP"),    press("SWAP")}
            << AllButReboot << "INSTALL SW TO SLOT A / Connected / KINGSTON / boots A"
            << "Boot order set A to B\nBoot order set B to A\nBoot order set A to B\n";
}

void TestOstrelRecovery::pressesAndReportsReachTheScreen()
{
    QFETCH(QString, hostName);
    QFETCH(Steps, steps);
    QFETCH(QString, enabled);
    QFETCH(QString, labels);
    QFETCH(QString, console);

    QTcpServer silent;
    QVERIFY(hostName != Silent || silent.listen(QHostAddress(Silent), 8080));
    const auto window = shownWindow(hostName);
    QVERIFY(window);
    for (const Step &step : steps)
        step(window.get());
    QTRY_COMPARE_WITH_TIMEOUT(screen(window.get()), enabled + " | " + labels + " | " + console,
                              Patience);
}

// The console, as the back ends feed it. How carriage returns and line feeds in any chunks end
// up is fuzz_console's part; here, what the terminal model there leaves out.
void TestOstrelRecovery::consoleShowsWhatTheToolkitWouldDraw_data()
{
    QTest::addColumn<QStringList>("chunks");
    QTest::addColumn<QString>("text");

    const QString transfer = "     18,823,301 100%   88.20kB/s    0:03:28 (xfr#224, to-chk=0/233)";
    QTest::newRow("only the text after the last carriage return stays")
            << QStringList {"keep\nold", "new\nmid\rlast", ('\r' + transfer).repeated(4)}
            << "keep\noldnew\n" + transfer;
    QTest::newRow("markup and NUL are text like any other")
            << QStringList {QString("<b>a</b> &amp; <br>") + QChar(0) + "b\n"}
            << QString("<b>a</b> &amp; <br>") + QChar(0) + "b\n";
    // Lines of every width near the page's, kerned ASCII or not: the scroll bar that the first
    // chunk brings narrows the page, which must rewrap exactly those that no longer fit.
    for (const QString &line : {QString("To AVAW. "), QString("To \u00e9 AVAW. ")}) {
        QString widths;
        for (int length = 20; length < 100; ++length)
            widths += line.repeated(12).left(length) + '\n';
        QTest::newRow(qPrintable("lines of every width as the scroll bar comes: " + line))
                << QStringList {widths, widths} << QString();
    }
    // Progress drawn a character at a time over several display lines, now and then written over;
    // then text with kerned pairs, which must not be laid out from its last line alone.
    QStringList growing {QString("line\n").repeated(20) + QString(1500, '|')};
    for (int count = 1; count <= 200; ++count)
        growing << (count % 50 == 0 ? "\r|" : "|");
    growing << '\n' + QString("To AVAW. Ty").repeated(100);
    for (int count = 0; count < 400; ++count)
        growing << QString("AVAW. To, Ty").at(count % 12);
    QTest::newRow("a line growing a character at a time") << growing << QString();
    // Mixed output of the test's own making, the same at every run: lines short and long, tabs,
    // control characters, line separators, combining accents, right-to-left scripts, Chinese,
    // emoji and box drawing, cut into chunks anywhere, with carriage returns among them.
    const QStringList pieces {"word ",
                              "line 42 ",
                              "\t",
                              "\x01\x07",
                              "\n",
                              "\r",
                              "\r\n",
                              "\u2028",
                              "e\u0301\u00e9 ",
                              "\u05e9\u05dc\u05d5\u05dd ",
                              "\u0633\u0644\u0627\u0645",
                              "\u4e2d\u6587",
                              "\U0001f600",
                              "\u2500\u2502\u250c",
                              "0123456789"};
    for (const quint32 seed : {1u, 2u}) {
        QRandomGenerator random(seed);
        QStringList chunks;
        for (QString chunk; chunks.size() < 1000; chunks << chunk, chunk.clear()) {
            for (int count = random.bounded(12); count > 0; --count)
                chunk += pieces.at(random.bounded(pieces.size())).repeated(1 + random.bounded(4));
        }
        QTest::newRow(qPrintable(QString("mixed, seed %1").arg(seed))) << chunks << QString();
    }
}

// Each chunk leaves the cursor and the view at the end (scrolled away before it: the range must
// already hold the height it adds) and nothing to undo. The console lays its text out itself, for
// speed: after every chunk it must stand where the toolkit's layout puts it, pixel for pixel.
void TestOstrelRecovery::consoleShowsWhatTheToolkitWouldDraw()
{
    QFETCH(QStringList, chunks);
    QFETCH(QString, text);
    const auto window = shownWindow(QString());
    const auto richText = shownWindow(QString());
    QVERIFY(window && richText);
    auto *console = window->findChild<QTextEdit *>();
    auto *reference = richText->findChild<QTextEdit *>();
    reference->document()->setDocumentLayout(nullptr); // the document makes its own again
    reference->document()->documentLayout()->setPaintDevice(reference->viewport());
    QScrollBar *scrollBar = console->verticalScrollBar();
    // What the screen shows, not what a fresh paint would: a line left stale shows too.
    const auto onScreen = [](QWidget *widget) {
        const QRect area(widget->mapTo(widget->window(), QPoint()), widget->size());
        return widget->screen()
                ->grabWindow(widget->window()->winId(), area.x(), area.y(), area.width(),
                             area.height())
                .toImage();
    };
    for (const QString &chunk : chunks) {
        scrollBar->setValue(0);
        feed(window.get(), chunk);
        feed(richText.get(), chunk);
        QCoreApplication::processEvents(); // the repaints the changes asked for
        QCOMPARE(console->toPlainText(), reference->toPlainText());
        QCOMPARE(scrollBar->value(), scrollBar->maximum());
        // The rich-text layout lays a large change out in steps on a timer, shows nothing until
        // it is done and, on Qt 6, leaves the view where the unfinished layout ended: the
        // console, laid out at once, is compared with it settled and at its end.
        QTRY_COMPARE_WITH_TIMEOUT(scrollBar->maximum(), reference->verticalScrollBar()->maximum(),
                                  Patience);
        reference->verticalScrollBar()->setValue(scrollBar->maximum());
        QCOMPARE(console->cursorRect(), reference->cursorRect());
        QTRY_COMPARE_WITH_TIMEOUT(onScreen(console->viewport()), onScreen(reference->viewport()),
                                  Patience);
    }
    if (!text.isNull())
        QCOMPARE(console->toPlainText(), text);
    QCOMPARE(console->textCursor().position(), console->document()->characterCount() - 1);
    QCOMPARE(console->document()->availableUndoSteps(), 0);
}

// A carriage return erases only the last display line of a wrapped line. Wrapped at word
// boundaries, two unbroken megabytes took minutes: the CTest timeout catches that.
void TestOstrelRecovery::carriageReturnErasesOnlyTheLastDisplayLine()
{
    const QString line(2000000, 'x');
    const auto window = shownWindow(QString());
    auto *console = window->findChild<QTextEdit *>();
    feed(window.get(), "before\n" + line);
    const QTextLayout *layout = console->document()->lastBlock().layout();
    QVERIFY2(layout->lineCount() > 2, "the line must wrap for this test");
    const int lastLineStart = layout->lineAt(layout->lineCount() - 1).textStart();
    feed(window.get(), "\rnew");
    QCOMPARE(console->toPlainText(), "before\n" + line.left(lastLineStart) + "new");
}

// One status reply of 600 000 short lines, through the HTTP back end into the window. The
// toolkit's rich-text layout froze the window for minutes over it: the CTest timeout catches that.
void TestOstrelRecovery::aReplyOfManyLinesKeepsTheWindowResponsive()
{
    constexpr int Lines = 600000;
    const std::string body = QByteArray("x\n").repeated(Lines).append("Finished.\n").toStdString();
    HttpReplyServer server([&body](const std::string &path) {
        return HttpReply {200, path == "status" ? body : std::string()};
    });
    QVERIFY(server.start("127.0.24.1"));
    OstrelRecovery http("127.0.24.1");
    http.show();
    auto *console = http.findChild<QTextEdit *>();
    // The buttons do not wait for the first identify; its report must not come last.
    QTRY_VERIFY_WITH_TIMEOUT(console->toPlainText().contains("Identity refreshed."), Patience);
    auto *install = find<QPushButton>(&http, "INSTALL SW");
    QTest::mouseClick(install, Qt::LeftButton);
    QTRY_VERIFY_WITH_TIMEOUT(install->isEnabled(), 240000);
    const QString text = console->toPlainText();
    QCOMPARE(text.right(14), "x\nx\nFinished.\n");
    QCOMPARE(text.count("x\n"), Lines);
}

// Notes how far scrolls took the text past an end.
struct Overshoot : QObject
{
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::Scroll)
            pixels += static_cast<QScrollEvent *>(event)->overshootDistance().manhattanLength();
        return false;
    }
    qreal pixels = 0;
};

// A finger on the touch screen: a drag moves the text with it, a flick goes on and slows down,
// stopping at the start without overshooting, new output still scrolls to the end, and a tap on
// a button clicks it.
void TestOstrelRecovery::aFingerDragsFlicksAndTaps()
{
    const auto window = shownWindow(QString());
    QVERIFY(window);
    QWidget *view = window->findChild<QTextEdit *>()->viewport();
    QScrollBar *bar = window->findChild<QTextEdit *>()->verticalScrollBar();
    QScroller *scroller = QScroller::scroller(view);
    feed(window.get(), QString("line\n").repeated(300));
    auto *screen = QTest::createTouchDevice();
    Overshoot overshoot;
    view->installEventFilter(&overshoot);
    // The scroller times the finger by the clock: moves some 10 ms apart, each far enough that a
    // loaded machine, which only spaces them further, still makes a flick of them.
    const auto swipe = [&](int step, int moves) {
        QTest::touchEvent(view, screen).press(0, QPoint(300, 20), view);
        for (int i = 1; i <= moves; ++i) {
            QTest::qWait(10);
            QTest::touchEvent(view, screen).move(0, QPoint(300, 20 + i * step), view);
        }
    };
    const auto lift = [&](int step, int moves) {
        QTest::touchEvent(view, screen).release(0, QPoint(300, 20 + moves * step), view);
    };
    const int end = bar->maximum();
    swipe(10, 15);
    // A finger that rests before it lifts does not flick: the scroller takes a rest of 100 ms as
    // a stop. The rest is what is tested here; a loaded machine only makes it longer.
    QTest::qWait(500);
    lift(10, 15);
    QCOMPARE(bar->value(), end - 150);
    // Flicked, the text goes on after the finger has left, slower and slower.
    swipe(60, 4);
    lift(60, 4);
    QCOMPARE(scroller->state(), QScroller::Scrolling);
    const qreal speed = scroller->velocity().manhattanLength();
    QTRY_VERIFY(scroller->state() == QScroller::Scrolling
                && scroller->velocity().manhattanLength() < speed);
    scroller->stop();
    // Flicked near the start, it stops there without overshooting.
    bar->setValue(400);
    swipe(60, 4);
    lift(60, 4);
    QTRY_COMPARE_WITH_TIMEOUT(scroller->state(), QScroller::Inactive, Patience);
    QCOMPARE(bar->value(), 0);
    QCOMPARE(overshoot.pixels, 0);
    // New output ends a flick and brings the end into view.
    bar->setValue(end / 2);
    swipe(60, 4);
    lift(60, 4);
    QCOMPARE(scroller->state(), QScroller::Scrolling);
    feed(window.get(), "more\n");
    QCOMPARE(scroller->state(), QScroller::Inactive);
    QCOMPARE(bar->value(), bar->maximum());
    auto *install = find<QPushButton>(window.get(), "INSTALL SW");
    QSignalSpy clicks(install, &QPushButton::clicked);
    const QPoint tap = install->mapTo(window.get(), install->rect().center());
    QTest::touchEvent(window.get(), screen).press(0, tap, window.get());
    QTest::touchEvent(window.get(), screen).release(0, tap, window.get());
    QTRY_COMPARE(clicks.count(), 1);
}

// Without a host the window's constructor runs the help screen, frameless and at the window's
// size; the window handles its reboot and F12, and only CONTINUE goes on. Then F12, and no other
// key, writes a picture named after the second (on the instrument elsewhere: fuzz_identity).
void TestOstrelRecovery::helpScreenComesFirstThenF12TakesPictures()
{
    QTemporaryDir folder;
    const QString previous = QDir::currentPath();
    QVERIFY(QDir::setCurrent(folder.path()));
    const auto restore = qScopeGuard([&] { QDir::setCurrent(previous); });
    std::unique_ptr<QSignalSpy> identities;
    QTimer::singleShot(0, this, [&] {
        auto *menu = qobject_cast<HelpMessageRebootMenu *>(QApplication::activeModalWidget());
        // Left whatever the checks find, so that a failure ends the test instead of hanging it.
        const auto leave = qScopeGuard([&] {
            identities = std::make_unique<QSignalSpy>(
                    menu->parent()->findChild<AbstractCommandProcessor *>(),
                    &AbstractCommandProcessor::identityUpdated);
            find<QPushButton>(menu, "CONTINUE TO RECOVERY MODE")->click();
        });
        QVERIFY(menu && !qobject_cast<QWidget *>(menu->parent())->isVisible());
        QVERIFY(menu->windowFlags() & Qt::FramelessWindowHint);
        QCOMPARE(menu->size(), QSize(1280, 800));
        // The style sheet selects the dialog by its class name and the title by its object name.
        for (QWidget *widget : menu->findChildren<QWidget *>())
            QCOMPARE(widget->font().pixelSize(),
                     widget == find<QLabel>(menu, "RECOVERY") ? 50 : 30);
        find<QPushButton>(menu, "REBOOT INSTRUMENT")->click();
        QVERIFY(menu->isVisible());
        if (!InstrumentBuild)
            QTest::keyClick(menu, Qt::Key_F12);
    });
    OstrelRecovery window {QString()};
    QVERIFY(identities); // the help screen was up
    QCOMPARE(window.windowState(), InstrumentBuild ? Qt::WindowFullScreen : Qt::WindowNoState);
    if (InstrumentBuild)
        return; // its reboot and its pictures: tst_commandprocessor and
                // tests/e2e/emulated-instrument
    QCOMPARE(window.findChild<QTextEdit *>()->toPlainText(), "RebootCalled");
    QCOMPARE(identities->count(), 1); // asked again on leaving the help screen
    const QStringList help = QDir().entryList(QDir::Files);
    QCOMPARE(help.size(), 1);
    QVERIFY(QFile::remove(help.first()));
    window.show();
    for (const Qt::Key key : {Qt::Key_F11, Qt::Key_Escape, Qt::Key_Print})
        QTest::keyClick(&window, key);
    QVERIFY(QDir().entryList(QDir::Files).isEmpty());
    // An afternoon hour whatever the time, so that a 12-hour clock in the name would show. The
    // zone stays for the rest of this process, which needs no other.
    qputenv("TZ", "UTC" + QByteArray::number(QDateTime::currentDateTimeUtc().time().hour() - 15));
    QCOMPARE(QDateTime::currentDateTime().time().hour(), 15);
    const QString before = QDateTime::currentDateTime().toString("yyMMdd_HHmmss");
    QTest::keyClick(&window, Qt::Key_F12);
    const QString after = QDateTime::currentDateTime().toString("yyMMdd_HHmmss");
    const QStringList pictures = QDir().entryList(QDir::Files);
    QCOMPARE(pictures.size(), 1);
    QVERIFY2(pictures.first() == "screenshot_" + before + ".png"
                     || pictures.first() == "screenshot_" + after + ".png",
             qPrintable(pictures.first()));
    QCOMPARE(QImage(pictures.first()).size(), QSize(1280, 800));

    // A stick that fills up part of the way through the picture, as the file size limit makes one.
    QVERIFY(QFile::remove(pictures.first()));
    rlimit limit {};
    QCOMPARE(getrlimit(RLIMIT_FSIZE, &limit), 0);
    const auto unlimit = qScopeGuard([limit] { setrlimit(RLIMIT_FSIZE, &limit); });
    const rlimit full {16384, limit.rlim_max};
    QCOMPARE(setrlimit(RLIMIT_FSIZE, &full), 0);
    std::signal(SIGXFSZ, SIG_IGN);
    QTest::keyClick(&window, Qt::Key_F12);
    QCOMPARE(QDir().entryList(QDir::Files), QStringList());
}

OSTREL_SCREEN_TEST_MAIN(TestOstrelRecovery)
#include "tst_ostrelrecovery.moc"
