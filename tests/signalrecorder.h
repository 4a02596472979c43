#pragma once

#include <QObject>
#include <QStringList>

class AbstractCommandProcessor;
class OstrelIdentity;

// Writes every signal a back end emits as one readable line, in order, so a test can compare a
// whole run at once: "response: Prog 0%", "identity: B:3 A:2 usb: USB0 USB1", "busy: false".
class SignalRecorder : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(SignalRecorder)

public:
    explicit SignalRecorder(AbstractCommandProcessor *processor);

    // Carriage returns and line feeds spelt out, so that they show in a failed comparison.
    static QString visible(QString text);
    // Boot order, slots with their counts, and the USB aliases.
    static QString summary(const OstrelIdentity &identity);

    // Calls one operation written as a word: "identify", "setBootOrder A" ("setBootOrder 7" for
    // a value out of range), and "reset: factory, slot b count" for a reset list ("reset:" for an
    // empty one). False for an unknown word.
    static bool perform(AbstractCommandProcessor *processor, const QString &operation);

    QStringList events;
};
