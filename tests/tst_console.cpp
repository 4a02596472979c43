#include "app/ostrelrecovery.h"
#include "continuepasthelp.h"
#include "findwidget.h"
#include "processors/abstractcommandprocessor.h"
#include "tools/instrument-sim/httpreplyserver.h"

#include <QAbstractTextDocumentLayout>
#include <QFile>
#include <QPushButton>
#include <QScrollBar>
#include <QTest>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextEdit>
#include <QTextLayout>

#include <memory>

// The console as the back ends feed it: each chunk through the responseReceived connection.
class TestConsole : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void chunks_data();
    void chunks();
    void wrappedLine_data();
    void wrappedLine();
    void laidOutAsRichText();
    void manyLinesInOneReply();

private:
    void feed(const QString &chunk) { emit processor->responseReceived(chunk); }

    std::unique_ptr<OstrelRecovery> window;
    AbstractCommandProcessor *processor = nullptr;
    QTextEdit *console = nullptr;
};

// The application's own style sheet, with the console's pixel font, as the program applies it
// before its window exists.
void TestConsole::initTestCase()
{
    QFile styleSheet(":/styleSheet.qss");
    QVERIFY(styleSheet.open(QIODevice::ReadOnly));
    qApp->setStyleSheet(QString::fromUtf8(styleSheet.readAll()));
}

void TestConsole::init()
{
    continuePastHelpScreen();
    window = std::make_unique<OstrelRecovery>(QString());
    // Where a line wraps depends on the console's width: at the designed size, also in the
    // instrument build, which asks for full screen on a smaller offscreen screen.
    window->setWindowState(Qt::WindowNoState);
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(window.get()));
    processor = window->findChild<AbstractCommandProcessor *>();
    console = window->findChild<QTextEdit *>();
    QVERIFY(console->toPlainText().isEmpty());
}

void TestConsole::cleanup()
{
    window.reset();
}

void TestConsole::chunks_data()
{
    QTest::addColumn<QStringList>("chunks");
    QTest::addColumn<QString>("text");

    const QString transfer = "     18,823,301 100%   88.20kB/s    0:03:28 (xfr#224, to-chk=0/233)";
    QTest::newRow("chunks without carriage return join up")
            << QStringList {"Prog 0%", "Prog 100%\n"} << "Prog 0%Prog 100%\n";
    QTest::newRow("progress redrawn by the next chunk")
            << QStringList {"done\n", "Prog 0%", "\rProg 100%"} << "done\nProg 100%";
    QTest::newRow("carriage return on an empty last line erases nothing")
            << QStringList {"a\n", "\rb"} << "a\nb";
    QTest::newRow("only the text after the last carriage return stays")
            << QStringList {"keep\nold", "new\rmid\rlast", ('\r' + transfer).repeated(4)}
            << "keep\n" + transfer;
    QTest::newRow("trailing carriage return blanks the line")
            << QStringList {"a\nline", "\r"} << "a\n";
    QTest::newRow("carriage return before line feed is not one line end")
            << QStringList {"a\nline\r\nnext"} << "a\n\nnext";
    QTest::newRow("empty chunks, lone carriage returns")
            << QStringList {"\r", QString(), "\r\r\r"} << QString();
    QTest::newRow("markup and NUL are text like any other")
            << QStringList {QString("<b>a</b> &amp; <br>") + QChar(0) + "b\n"}
            << QString("<b>a</b> &amp; <br>") + QChar(0) + "b\n";
    QStringList progress {"start\n"};
    for (int percent = 0; percent <= 100; ++percent)
        progress << QString("\rProg %1%").arg(percent);
    QTest::newRow("many redraws") << progress << "start\nProg 100%";
    QTest::newRow("many lines, then one more")
            << QStringList {QString("line\n").repeated(100), "more\n"}
            << QString("line\n").repeated(100) + "more\n";
}

// Each chunk leaves the cursor and the view at the end, and nothing to undo: an undo stack would
// keep every progress line the console ever overwrote. The last chunk finds the view scrolled
// away; the scroll range must already know the height it adds, or the view would stop short once
// the event loop has caught up.
void TestConsole::chunks()
{
    QFETCH(QStringList, chunks);
    QFETCH(QString, text);
    QScrollBar *scrollBar = console->verticalScrollBar();
    for (const QString &chunk : chunks) {
        scrollBar->setValue(0);
        feed(chunk);
    }
    QCOMPARE(console->toPlainText(), text);
    QCOMPARE(scrollBar->value(), scrollBar->maximum());
    QCoreApplication::processEvents();
    QCOMPARE(scrollBar->value(), scrollBar->maximum());
    QCOMPARE(console->textCursor().position(), console->document()->characterCount() - 1);
    QCOMPARE(console->document()->availableUndoSteps(), 0);
}

void TestConsole::wrappedLine_data()
{
    QTest::addColumn<QString>("line");
    QString words;
    for (int word = 0; word < 200; ++word)
        words += QString("word%1 ").arg(word, 4, 10, QLatin1Char('0'));
    QTest::newRow("words") << words;
    // Laid out with a search for word boundaries, two unbroken megabytes took minutes, far more
    // under the sanitizers; the CTest timeout of this test catches that hang.
    QTest::newRow("two unbroken megabytes") << QString(2000000, 'x');
}

// A carriage return erases only the last display line of a wrapped line.
void TestConsole::wrappedLine()
{
    QFETCH(QString, line);
    feed("before\n" + line);
    const QTextLayout *layout = console->document()->lastBlock().layout();
    QVERIFY2(layout->lineCount() > 2, "the line must wrap for this test");
    const int lastLineStart = layout->lineAt(layout->lineCount() - 1).textStart();
    feed("\rnew");
    QCOMPARE(console->toPlainText(), "before\n" + line.left(lastLineStart) + "new");
}

// The console lays its text out itself, for speed; it must stand where the toolkit's rich-text
// layout put it, line for line and pixel for pixel, after every chunk.
void TestConsole::laidOutAsRichText()
{
    continuePastHelpScreen();
    OstrelRecovery richText {QString()};
    richText.setWindowState(Qt::WindowNoState);
    richText.show();
    auto *reference = richText.findChild<QTextEdit *>();
    reference->document()->setDocumentLayout(nullptr); // the document makes its own again
    reference->document()->documentLayout()->setPaintDevice(reference->viewport());
    QString around; // lines from well within the width to just over it
    for (int length = 20; length < 60; ++length)
        around += '\n' + QString(length, 'm');
    for (const QString &chunk :
         {QString("short\n\ttabbed\tline\n\n"), QString(300, 'w'), QString("\rProg 1%"),
          QString::fromUtf8("\n\xe4\xb8\xad\xe6\x96\x87 \xf0\x9f\x98\x80\n"),
          QString("line %1\n").repeated(40), QString("word ").repeated(90), around}) {
        feed(chunk);
        emit richText.findChild<AbstractCommandProcessor *>()->responseReceived(chunk);
        QCOMPARE(console->toPlainText(), reference->toPlainText());
        QCOMPARE(console->verticalScrollBar()->maximum(),
                 reference->verticalScrollBar()->maximum());
        QCOMPARE(console->cursorRect(), reference->cursorRect());
        QCOMPARE(console->viewport()->grab().toImage(), reference->viewport()->grab().toImage());
    }
}

// One status reply of 600 000 short lines from the instrument, through the HTTP back end into the
// window. The toolkit's rich-text layout froze the window for more than five minutes over it; the
// CTest timeout of this test catches that.
void TestConsole::manyLinesInOneReply()
{
    constexpr int Lines = 600000;
    std::string body;
    for (int line = 0; line < Lines; ++line)
        body += "x\n";
    body += "Finished.\n";
    HttpReplyServer server([&body](const std::string &path) {
        return HttpReply {200, path == "status" ? body : std::string()};
    });
    QVERIFY(server.start("127.0.24.1"));
    OstrelRecovery http("127.0.24.1");
    http.show();
    auto *install = find<QPushButton>(&http, "INSTALL SW");
    QTRY_VERIFY(install->isEnabled());
    QTest::mouseClick(install, Qt::LeftButton);
    QTRY_VERIFY_WITH_TIMEOUT(install->isEnabled(), 240000);
    const QString text = http.findChild<QTextEdit *>()->toPlainText();
    QVERIFY(text.endsWith("x\nx\nFinished.\n"));
    QCOMPARE(text.count("x\n"), Lines);
}

QTEST_MAIN(TestConsole)
#include "tst_console.moc"
