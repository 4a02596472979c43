// Prints what the console's appends cost against what it already holds and against the chunk's
// size, beside the toolkit's own widget for long logs (QPlainTextEdit) and the toolkit's document
// alone, which both widgets keep their text in; its memory per kept line; the cost of growing one
// long line; and how resident memory moves while one progress line is overwritten again and
// again: rows of "measure, result, target", separated by tabs, for bench/run's table.

#include "app/console.h"
#include "app/ostrelrecovery.h"
#include "bench/benchtable.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QPlainTextEdit>
#include <QProcess>
#include <QScrollBar>
#include <QTextDocument>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>

using BenchTable::median;
using BenchTable::ratio;
using BenchTable::residentBytes;
using BenchTable::row;

namespace {

// Short lines of about 40 characters, numbered from where the widget stands.
QString lines(int first, int count)
{
    QString text;
    text.reserve(count * 42);
    for (int line = first; line < first + count; ++line)
        text += QStringLiteral("sending data/measurement_%1.csv 100%\n")
                        .arg(line, 7, 10, QLatin1Char('0'));
    return text;
}

// The widget under test: the console as the window holds it, or the reference widget, fed the
// same chunks the same way (appended at the end, then the view scrolled to the bottom). Both are
// shown at the size the console has in the window.
class Widget
{
public:
    virtual ~Widget() = default;
    virtual void append(const QString &chunk) = 0;
    virtual int lineCount() const = 0;

    void fillTo(int count)
    {
        constexpr int Step = 10000;
        while (lineCount() < count)
            append(lines(lineCount(), std::min(Step, count - lineCount())));
        QCoreApplication::processEvents();
    }
};

class ConsoleAlone : public Widget
{
public:
    explicit ConsoleAlone(QSize size)
    {
        console.setFixedSize(size);
        console.show();
        QCoreApplication::processEvents();
    }

    void append(const QString &chunk) override { console.appendOutput(chunk); }
    int lineCount() const override { return console.document()->blockCount() - 1; }

private:
    Console console;
};

class Reference : public Widget
{
public:
    explicit Reference(QSize size)
    {
        edit.setStyleSheet(QStringLiteral("QPlainTextEdit { font: 20px }"));
        edit.setReadOnly(true);
        edit.setUndoRedoEnabled(false);
        edit.setWordWrapMode(QTextOption::WrapAnywhere);
        edit.setFixedSize(size);
        edit.show();
        QCoreApplication::processEvents();
    }

    void append(const QString &chunk) override
    {
        QTextCursor cursor(edit.document());
        cursor.movePosition(QTextCursor::End);
        cursor.insertText(chunk);
        edit.verticalScrollBar()->setValue(edit.verticalScrollBar()->maximum());
    }
    int lineCount() const override { return edit.document()->blockCount() - 1; }

private:
    QPlainTextEdit edit;
};

// The floor under both widgets: the same insertions into a document that nothing lays out or
// shows, which is what the toolkit's document itself costs.
class DocumentAlone : public Widget
{
public:
    DocumentAlone() { document.setUndoRedoEnabled(false); }

    void append(const QString &chunk) override
    {
        QTextCursor cursor(&document);
        cursor.movePosition(QTextCursor::End);
        cursor.insertText(chunk);
    }
    int lineCount() const override { return document.blockCount() - 1; }

private:
    QTextDocument document;
};

// The console draws at most once per frame of the screen: what changes within a frame of its last
// drawing is drawn when the frame is over. Each timed append below comes a frame after the last,
// so that it is drawn at once, as the reference is, and its repaint is in the figure.
void waitForNextFrame()
{
    BenchTable::runEventLoopFor(20);
}

// Microseconds per appended line of one chunk, repaint included; for a one-line chunk the median
// of many calls, each alone after the event loop slept, when the scheduler's hiccups would weigh
// on a mean.
int callsFor(int chunkLines)
{
    return chunkLines == 1 ? 100 : 1;
}

double perLine(Widget &widget, int chunkLines)
{
    const int calls = callsFor(chunkLines);
    const QString chunk = lines(widget.lineCount(), chunkLines);
    QList<double> microseconds;
    for (int call = 0; call < calls; ++call) {
        waitForNextFrame();
        BenchTable::startCounting();
        QElapsedTimer timer;
        timer.start();
        widget.append(chunk);
        QCoreApplication::processEvents();
        microseconds << double(timer.nsecsElapsed()) / 1000.0;
        BenchTable::stopCounting();
    }
    return median(microseconds) / chunkLines;
}

QString figures(const QList<double> &values, int precision = 2)
{
    QStringList texts;
    for (const double value : values)
        texts << QString::number(value, 'f', precision);
    return texts.join(QStringLiteral(" / "));
}

double spread(const QList<double> &values)
{
    const auto [low, high] = std::minmax_element(values.cbegin(), values.cend());
    return *high / *low;
}

const QList<int> ChunkLines {1, 1000, 10000, 100000, 600000};
const QList<int> HeldLines {0, 100000, 1000000};

std::unique_ptr<Widget> make(const QString &which, QSize size)
{
    if (which == QLatin1String("console"))
        return std::make_unique<ConsoleAlone>(size);
    if (which == QLatin1String("document"))
        return std::make_unique<DocumentAlone>();
    return std::make_unique<Reference>(size);
}

// What the widget prints in a process of its own: called with the arguments, prints one number.
double measuredAlone(const QStringList &arguments)
{
    QProcess measuring;
    measuring.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    measuring.start(QCoreApplication::applicationFilePath(), arguments);
    measuring.waitForFinished(-1);
    return measuring.readAllStandardOutput().trimmed().toDouble();
}

// The instructions per line of one cell, as valgrind counts them: the same every time, where the
// time of a cell moves with whatever else the machine does.
double instructionsPerLine(const QStringList &arguments)
{
    const int chunkLines = arguments.at(2).toInt();
    return BenchTable::instructions(QCoreApplication::applicationFilePath(), arguments)
            / (callsFor(chunkLines) * chunkLines);
}

// The cost per line of every chunk size appended to every console size, each into a widget
// freshly filled to that size in a process of its own (what one measure leaves in the heap
// would otherwise weigh on the next), the console, the reference and the document alone taking
// turns; the median of the repeats. Indexed [widget][chunk][held].
constexpr int Measured = 3;
using Matrices = std::array<QList<QList<double>>, Measured>;
Matrices matrices(int repeats, double (*measure)(const QStringList &arguments))
{
    const QStringList widgets {QStringLiteral("console"), QStringLiteral("reference"),
                               QStringLiteral("document")};
    Matrices costs;
    for (const int chunk : ChunkLines) {
        std::array<QList<double>, Measured> cells;
        for (const int held : HeldLines) {
            std::array<QList<double>, Measured> runs;
            for (int repeat = 0; repeat < repeats; ++repeat) {
                for (int turn = 0; turn < Measured; ++turn) {
                    const int which = (turn + repeat) % Measured;
                    runs[which] << measure({QStringLiteral("--append"), widgets[which],
                                            QString::number(chunk), QString::number(held)});
                }
            }
            for (int which = 0; which < Measured; ++which)
                cells[which] << median(runs[which]);
        }
        for (int which = 0; which < Measured; ++which)
            costs[which] << cells[which];
    }
    return costs;
}

// Each widget's cost over the reference's, cell by cell.
QList<double> cellRatios(const QList<double> &widget, const QList<double> &reference)
{
    QList<double> result;
    for (int cell = 0; cell < widget.size(); ++cell)
        result << widget[cell] / reference[cell];
    return result;
}

void appendCosts()
{
    const auto [console, reference, document] = matrices(3, measuredAlone);
    const auto [consoleCounted, referenceCounted, documentCounted]
            = matrices(1, instructionsPerLine);
    const QString held = QStringLiteral("0 / 100 000 / 1 000 000 lines held");
    double worstRatio = 0;
    double floorAtWorst = 0;
    for (int chunk = 0; chunk < ChunkLines.size(); ++chunk) {
        const QString name = ChunkLines[chunk] == 1
                ? QStringLiteral("chunk of 1 line")
                : QStringLiteral("chunk of %L1 lines").arg(ChunkLines[chunk]);
        row(QStringLiteral("console, %1, us per line, %2").arg(name, held),
            figures(console[chunk]));
        row(QStringLiteral("  QPlainTextEdit, the same"), figures(reference[chunk]));
        row(QStringLiteral("  the document alone, nothing laid out or shown, the same"),
            figures(document[chunk]));
        QList<double> ratios;
        QList<double> floors;
        for (int cell = 0; cell < HeldLines.size(); ++cell) {
            ratios << console[chunk][cell] / reference[chunk][cell];
            floors << document[chunk][cell] / reference[chunk][cell];
            if (ratios.last() > worstRatio) {
                worstRatio = ratios.last();
                floorAtWorst = floors.last();
            }
        }
        row(QStringLiteral("  console / QPlainTextEdit"), figures(ratios),
            QStringLiteral("<= 1.00"));
        row(QStringLiteral("  document alone / QPlainTextEdit: the least a widget on it can reach"),
            figures(floors));
        row(QStringLiteral("  console / QPlainTextEdit, in instructions"),
            figures(cellRatios(consoleCounted[chunk], referenceCounted[chunk]), 3));
        row(QStringLiteral("  document alone / QPlainTextEdit, in instructions"),
            figures(cellRatios(documentCounted[chunk], referenceCounted[chunk]), 3));
        if (chunk > 0) // a one-line chunk is the fixed cost of a call
            row(QStringLiteral("  console, dearest / cheapest of the three"),
                ratio(spread(console[chunk])), QStringLiteral("<= 3.00"));
    }
    for (int cell = 0; cell < HeldLines.size(); ++cell) {
        QList<double> column;
        for (int chunk = 1; chunk < ChunkLines.size(); ++chunk)
            column << console[chunk][cell];
        row(QStringLiteral("console, chunks of 1 000 to 600 000 lines into %L1 lines: "
                           "dearest / cheapest per line")
                    .arg(HeldLines[cell]),
            ratio(spread(column)), QStringLiteral("<= 3.00"));
    }
    row(QStringLiteral("console / QPlainTextEdit, worst cell"), ratio(worstRatio),
        QStringLiteral("<= 1.00"));
    row(QStringLiteral("  document alone / QPlainTextEdit in that cell"), ratio(floorAtWorst));
}

// Resident bytes per kept line of one widget, filled to a million lines.
double bytesPerLine(const QString &which, QSize size)
{
    constexpr int Lines = 1000000;
    const double before = residentBytes();
    const std::unique_ptr<Widget> widget = make(which, size);
    widget->fillTo(Lines);
    return (residentBytes() - before) / Lines;
}

// Each widget is filled in a process of its own: what the measures before left in the heap would
// otherwise weigh on whichever comes later.
void memoryPerLine()
{
    const double perLine[2] {
            measuredAlone({QStringLiteral("--bytes-per-line"), QStringLiteral("console")}),
            measuredAlone({QStringLiteral("--bytes-per-line"), QStringLiteral("reference")})};
    row(QStringLiteral("resident memory per kept line, 1 000 000 lines of 40 characters, console"),
        QStringLiteral("%1 B").arg(perLine[0], 0, 'f', 0));
    row(QStringLiteral("  QPlainTextEdit, the same"),
        QStringLiteral("%1 B").arg(perLine[1], 0, 'f', 0));
    row(QStringLiteral("  console / QPlainTextEdit"), ratio(perLine[0] / perLine[1]),
        QStringLiteral("<= 0.47"));
}

// Progress drawn one character at a time: each append lays out the line it lengthens.
void longLines(QSize size)
{
    QList<double> costs;
    for (const int length : {1000, 10000, 100000}) {
        ConsoleAlone console(size);
        console.append(QString(length, QLatin1Char('.')));
        QCoreApplication::processEvents();
        constexpr int Appends = 50;
        qint64 nanoseconds = 0;
        for (int append = 0; append < Appends; ++append) {
            waitForNextFrame();
            QElapsedTimer timer;
            timer.start();
            console.append(QStringLiteral("."));
            QCoreApplication::processEvents();
            nanoseconds += timer.nsecsElapsed();
        }
        costs << double(nanoseconds) / 1000.0 / Appends;
    }
    row(QStringLiteral("one character appended to a line of 1 000 / 10 000 / 100 000 characters"),
        figures(costs, 0) + QStringLiteral(" us"), QStringLiteral("<= 1 000 us"));
}

void progressOverwrites(QSize size)
{
    ConsoleAlone console(size);
    const auto overwrite = [&console](int from, int to) {
        for (int count = from; count < to; ++count)
            console.append(QStringLiteral("\rProg %1%").arg(count % 101));
    };
    overwrite(0, 100000);
    const double at100k = residentBytes();
    overwrite(100000, 300000);
    const double at300k = residentBytes();
    const QString megabytes = QStringLiteral("%1 MB");
    row(QStringLiteral("resident memory growth over 200 000 more progress-line overwrites"),
        megabytes.arg((at300k - at100k) / (1024.0 * 1024.0), 0, 'f', 2),
        QStringLiteral("< 0.50 MB"));
}

} // namespace

int main(int argc, char *argv[])
{
    const auto application = BenchTable::startAsTheConsole(argc, argv);
    // The console's size in the window. A host, where nothing listens, so that no help screen
    // comes first.
    const QSize consoleSize = [] {
        OstrelRecovery window(QStringLiteral("127.0.50.1"));
        window.setWindowState(Qt::WindowNoState);
        window.show();
        QCoreApplication::processEvents();
        return window.findChild<Console *>()->size();
    }();
    // Measures that run in a process of their own.
    if (argc == 3 && qstrcmp(argv[1], "--bytes-per-line") == 0) {
        std::printf("%f\n", bytesPerLine(QString::fromLocal8Bit(argv[2]), consoleSize));
        return 0;
    }
    if (argc == 5 && qstrcmp(argv[1], "--append") == 0) {
        const std::unique_ptr<Widget> widget = make(QString::fromLocal8Bit(argv[2]), consoleSize);
        widget->fillTo(std::atoi(argv[4]));
        std::printf("%f\n", perLine(*widget, std::atoi(argv[3])));
        return 0;
    }
    appendCosts();
    memoryPerLine();
    longLines(consoleSize);
    progressOverwrites(consoleSize);
    return 0;
}
