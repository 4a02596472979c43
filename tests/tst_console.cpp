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
    void wrappedParagraphLosesOnlyItsLastDisplayLine();
    void unbrokenMegabytes();
    void scrollsToTheEnd();
    void keepsNoUndoHistory();
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
    QTest::newRow("plain line") << QStringList {"Export without carriage\n"}
                                << "Export without carriage\n";
    QTest::newRow("chunks without carriage return join up")
            << QStringList {"Prog 0%", "Prog 100%"} << "Prog 0%Prog 100%";
    QTest::newRow("progress redrawn by the next chunk")
            << QStringList {"done\n", "Prog 0%", "\rProg 100%"} << "done\nProg 100%";
    QTest::newRow("carriage return on an empty last line erases nothing")
            << QStringList {"a\n", "\rb"} << "a\nb";
    QTest::newRow("four redraws in one chunk leave one")
            << QStringList {"x\n", ('\r' + transfer).repeated(4)} << "x\n" + transfer;
    QTest::newRow("only the text after the last carriage return stays")
            << QStringList {"keep\nold", "new\rmid\rlast"} << "keep\nlast";
    QTest::newRow("trailing carriage return blanks the line")
            << QStringList {"a\nline", "\r"} << "a\n";
    QTest::newRow("carriage return before line feed is not one line end")
            << QStringList {"a\nline\r\nnext"} << "a\n\nnext";
    QTest::newRow("empty chunk") << QStringList {"abc", QString()} << "abc";
    QTest::newRow("lone carriage returns on an empty console")
            << QStringList {"\r", "\r\r\r"} << QString();
    QTest::newRow("markup is shown literally")
            << QStringList {"<b>bold</b> &amp; <br>\n"} << "<b>bold</b> &amp; <br>\n";
    QTest::newRow("NUL characters are text like any other")
            << QStringList {QString("a") + QChar(0) + "b\n"} << QString("a") + QChar(0) + "b\n";
    QTest::newRow("simulated export")
            << QStringList {"Export without carriage\n",
                            "Prog 0%",
                            "Prog 100%",
                            "\nExport With carriage\n",
                            "Prog 0%",
                            "\rProg 100%",
                            "\nMultiple carriage in one string\n",
                            ('\r' + transfer).repeated(4)}
            << "Export without carriage\nProg 0%Prog 100%\nExport With carriage\nProg 100%\n"
               "Multiple carriage in one string\n"
                    + transfer;
}

void TestConsole::chunks()
{
    QFETCH(QStringList, chunks);
    QFETCH(QString, text);
    for (const QString &chunk : chunks)
        feed(chunk);
    QCOMPARE(console->toPlainText(), text);
    QCOMPARE(console->textCursor().position(), console->document()->characterCount() - 1);
}

void TestConsole::wrappedParagraphLosesOnlyItsLastDisplayLine()
{
    QString paragraph;
    for (int word = 0; word < 200; ++word)
        paragraph += QString("word%1 ").arg(word, 4, 10, QLatin1Char('0'));
    feed("before\n" + paragraph);

    const QTextBlock last = console->document()->lastBlock();
    QTextLayout *layout = last.layout();
    QVERIFY2(layout->lineCount() > 2, "the paragraph must wrap for this test");
    const int lastLineStart = layout->lineAt(layout->lineCount() - 1).textStart();
    QVERIFY(lastLineStart > 0);

    feed("\rnew");
    QCOMPARE(console->toPlainText(), "before\n" + paragraph.left(lastLineStart) + "new");
}

// Two unbroken megabytes from the wire. Laid out with a search for word boundaries they took
// minutes, far more under the sanitizers; the CTest timeout of this test catches that hang.
void TestConsole::unbrokenMegabytes()
{
    const QString longLine(2000000, 'x');
    feed("before\n" + longLine);
    const QTextLayout *layout = console->document()->lastBlock().layout();
    QVERIFY(layout->lineCount() > 1);
    const int lastLineStart = layout->lineAt(layout->lineCount() - 1).textStart();
    feed("\rend");
    QCOMPARE(console->document()->lastBlock().text(), longLine.left(lastLineStart) + "end");
}

void TestConsole::scrollsToTheEnd()
{
    QScrollBar *scrollBar = console->verticalScrollBar();
    QString lines;
    for (int line = 0; line < 100; ++line)
        lines += QString("line %1\n").arg(line);
    feed(lines);
    QVERIFY(scrollBar->maximum() > 0);
    QCOMPARE(scrollBar->value(), scrollBar->maximum());

    // A small chunk changes the document's height too; the range must already know it, or the
    // view would stop one line short once the event loop has caught up.
    scrollBar->setValue(0);
    const int before = scrollBar->maximum();
    feed("more\n");
    QVERIFY(scrollBar->maximum() > before);
    QCOMPARE(scrollBar->value(), scrollBar->maximum());
    QCoreApplication::processEvents();
    QCOMPARE(scrollBar->value(), scrollBar->maximum());
    scrollBar->setValue(0);
    feed(QString());
    QCOMPARE(scrollBar->value(), scrollBar->maximum());
}

void TestConsole::keepsNoUndoHistory()
{
    QVERIFY(!console->document()->isUndoRedoEnabled());
    feed("start\n");
    for (int percent = 0; percent <= 100; ++percent)
        feed(QString("\rProg %1%").arg(percent));
    QCOMPARE(console->document()->availableUndoSteps(), 0);
    QCOMPARE(console->toPlainText(), "start\nProg 100%");
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
    QVERIFY(server.start("127.0.14.1"));
    OstrelRecovery http("127.0.14.1");
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
