#include "app/ostrelrecovery.h"
#include "processors/abstractcommandprocessor.h"
#include "tests/testsupport.h"

#include <QApplication>
#include <QTextEdit>

#include <cstdint>
#include <cstdlib>

// Any sequence of chunks, each as a back end delivers it, leaves the text a terminal would show,
// as long as no line wraps. Each input byte is one step: the end of a chunk, a carriage return, a
// line feed or a character; a line that reaches 30 characters is ended before it can wrap.
namespace {

// A shown window, started as the console starts, so that the console has its real width and
// type. One static object, built and torn down as one: the application must go before the
// toolkit's own statics that appeared while the window was built, or it cannot free what they
// hold.
struct State
{
    State()
    {
        Startup::applyStyleSheet(application);
        window = shownWindow(QString());
        if (!window)
            std::abort();
    }

    int argc = 1;
    char name[13] = "fuzz_console";
    char *argv[2] = {name, nullptr};
    bool prepared = (Startup::prepareToolkit(), true);
    QApplication application {argc, argv};
    std::unique_ptr<OstrelRecovery> window;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static State state;
    auto *console = state.window->findChild<QTextEdit *>();
    console->clear();

    QStringList terminal {QString()}; // a line feed starts a line, a carriage return blanks it
    QString chunk;
    const QString alphabet = QStringLiteral("abcXYZ019 %:.é");
    for (size_t i = 0; i <= size; ++i) {
        if (i == size || data[i] % 8 == 0) {
            emit state.window->findChild<AbstractCommandProcessor *>()->responseReceived(chunk);
            chunk.clear();
        } else if (data[i] % 8 == 1) {
            chunk.append(QLatin1Char('\r'));
            terminal.last().clear();
        } else if (data[i] % 8 == 2 || terminal.last().size() >= 30) {
            chunk.append(QLatin1Char('\n'));
            terminal.append(QString());
        } else {
            chunk.append(alphabet.at((data[i] / 8) % alphabet.size()));
            terminal.last().append(chunk.back());
        }
    }
    if (console->toPlainText() != terminal.join(QLatin1Char('\n')))
        std::abort();
    return 0;
}
