#include "app/ostrelrecovery.h"
#include "processors/abstractcommandprocessor.h"
#include "tests/continuepasthelp.h"

#include <QApplication>
#include <QTextEdit>

#include <cstdint>
#include <cstdlib>

// Any sequence of chunks, each as a back end delivers it, leaves the text a terminal would show,
// as long as no line wraps. Each input byte is one step: the end of a chunk, a carriage return, a
// line feed or a character; a line that reaches 30 characters is ended before it can wrap.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static int argc = 1;
    static char name[] = "fuzz_console";
    static char *argv[] = {name, nullptr};
    static const bool offscreen = qputenv("QT_QPA_PLATFORM", "offscreen");
    static QApplication application(argc, argv);
    static const bool helpScreen = (continuePastHelpScreen(), true);
    static OstrelRecovery window {QString()};
    // Shown, so that the console has its real width.
    static const bool shown = (window.setWindowState(Qt::WindowNoState), window.show(), true);
    Q_UNUSED(offscreen && helpScreen && shown)
    auto *console = window.findChild<QTextEdit *>();
    console->clear();

    QStringList terminal {QString()}; // a line feed starts a line, a carriage return blanks it
    QString chunk;
    for (size_t i = 0; i < size; ++i) {
        const QString alphabet = QStringLiteral("abcXYZ019 %:.é");
        QChar character = alphabet.at((data[i] / 8) % alphabet.size());
        if (data[i] % 8 == 0) {
            emit window.findChild<AbstractCommandProcessor *>()->responseReceived(chunk);
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
    emit window.findChild<AbstractCommandProcessor *>()->responseReceived(chunk);
    if (console->toPlainText() != terminal.join(QLatin1Char('\n')))
        std::abort();
    return 0;
}
