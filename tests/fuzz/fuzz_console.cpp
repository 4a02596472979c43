#include "app/ostrelrecovery.h"
#include "processors/abstractcommandprocessor.h"
#include "tests/continuepasthelp.h"

#include <QApplication>
#include <QTest>
#include <QTextEdit>

#include <cstdint>
#include <cstdlib>
#include <memory>

// The console against a terminal: any sequence of chunks, each one as a back end delivers it,
// leaves the text a terminal would show, as long as no line is long enough to wrap.
//
// Each input byte is one step: a chunk boundary, a carriage return, a line feed or a printable
// character. A line that reaches MaxLineLength characters is ended before it can wrap.
namespace {

constexpr int MaxLineLength = 30;
const QString Alphabet = QStringLiteral("abcXYZ019 %:.é");

struct Console
{
    Console()
    {
        // The offscreen platform; a shown window, so the console has its real width.
        qputenv("QT_QPA_PLATFORM", "offscreen");
        application = std::make_unique<QApplication>(argc, argv);
        continuePastHelpScreen();
        window = std::make_unique<OstrelRecovery>(QString());
        window->setWindowState(Qt::WindowNoState);
        window->show();
        if (!QTest::qWaitForWindowExposed(window.get()))
            std::abort();
        processor = window->findChild<AbstractCommandProcessor *>();
        console = window->findChild<QTextEdit *>();
    }

    int argc = 1;
    char name[13] = "fuzz_console";
    char *argv[2] = {name, nullptr};
    std::unique_ptr<QApplication> application;
    std::unique_ptr<OstrelRecovery> window;
    AbstractCommandProcessor *processor = nullptr;
    QTextEdit *console = nullptr;
};

// What a terminal shows: line feed starts a line, carriage return blanks the current one.
class Terminal
{
public:
    void write(QChar character)
    {
        if (character == QLatin1Char('\n'))
            lines.append(QString());
        else if (character == QLatin1Char('\r'))
            lines.last().clear();
        else
            lines.last().append(character);
    }
    int lastLineLength() const { return lines.last().size(); }
    QString text() const { return lines.join(QLatin1Char('\n')); }

private:
    QStringList lines {QString()};
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static Console state;
    state.console->clear();

    Terminal terminal;
    QString chunk;
    for (size_t i = 0; i < size; ++i) {
        QChar character;
        switch (data[i] % 8) {
        case 0:
            emit state.processor->responseReceived(chunk);
            chunk.clear();
            continue;
        case 1:
            character = QLatin1Char('\r');
            break;
        case 2:
            character = QLatin1Char('\n');
            break;
        default:
            character = Alphabet.at((data[i] / 8) % Alphabet.size());
            if (terminal.lastLineLength() >= MaxLineLength)
                character = QLatin1Char('\n');
        }
        terminal.write(character);
        chunk.append(character);
    }
    emit state.processor->responseReceived(chunk);

    const QString text = state.console->toPlainText();
    if (text != terminal.text())
        std::abort();
    return 0;
}
