#pragma once

#include <QTextEdit>

// The console of the main window: a read-only view of everything the instrument reports, which
// lays its text out itself (ConsoleLayout) and takes output as a terminal does: a carriage return
// writes over the last line shown. A finger drags and flicks it on a touch screen.
class Console : public QTextEdit
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Console)

public:
    explicit Console(QWidget *parent = nullptr);

    // Appends one chunk of output and brings the end into view.
    void appendOutput(const QString &chunk);
    // Inserts text at the end as it stands: no carriage-return handling and no scrolling.
    void insertAtEnd(const QString &text);
};
