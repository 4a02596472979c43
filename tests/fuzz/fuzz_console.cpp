#include "app/ostrelrecovery.h"
#include "processors/abstractcommandprocessor.h"
#include "tests/continuepasthelp.h"

#include <QApplication>
#include <QTest>
#include <QTextEdit>

#include <cstdint>
#include <cstdlib>
#include <memory>

// Any sequence of chunks, each as a back end delivers it, leaves the text a terminal would show,
// as long as no line wraps. Each input byte is one step: the end of a chunk, a carriage return, a
// line feed or a character; a line that reaches 30 characters is ended before it can wrap.
namespace {

// A shown window, so that the console has its real width.
struct Console
{
    Console()
    {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        application = std::make_unique<QApplication>(argc, argv);
        continuePastHelpScreen();
        window = std::make_unique<OstrelRecovery>(QString());
        window->setWindowState(Qt::WindowNoState);
        window->show();
        if (!QTest::qWaitForWindowExposed(window.get()))
            std::abort();
    }

    int argc = 1;
    char name[13] = "fuzz_console";
    char *argv[2] = {name, nullptr};
    std::unique_ptr<QApplication> application;
    std::unique_ptr<OstrelRecovery> window;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static Console state;
    auto *console = state.window->findChild<QTextEdit *>();
    console->clear();

    QStringList terminal {QString()}; // a line feed starts a line, a carriage return blanks it
    QString chunk;
    for (size_t i = 0; i < size; ++i) {
        const QString alphabet = QStringLiteral("abcXYZ019 %:.é");
        QChar character = alphabet.at((data[i] / 8) % alphabet.size());
        if (data[i] % 8 == 0) {
            emit state.window->findChild<AbstractCommandProcessor *>()->responseReceived(chunk);
            chunk.clear();
            continue;
        }
        if (data[i] % 8 == 1) {
            character = QLatin1Char('\r');
            terminal.last().clear();
        } else if (data[i] % 8 == 2 || terminal.last().size() >= 30) {
            character = QLatin1Char('\n');
            terminal.append(QString());
        } else {
            terminal.last().append(character);
        }
        chunk.append(character);
    }
    emit state.window->findChild<AbstractCommandProcessor *>()->responseReceived(chunk);
    if (console->toPlainText() != terminal.join(QLatin1Char('\n')))
        std::abort();
    return 0;
}
