#include "app/console.h"

#include "app/consolelayout.h"

#include <QScrollBar>
#include <QScroller>
#include <QScrollerProperties>
#include <QTextCursor>

Console::Console(QWidget *parent)
    : QTextEdit(parent)
{
    setReadOnly(true);
    setTextInteractionFlags(Qt::NoTextInteraction);
    // The console is never edited by hand, and an undo stack would keep every progress line it
    // ever overwrote.
    setUndoRedoEnabled(false);
    // Left to right, as a terminal writes: with the direction left open, every cursor movement
    // scans the whole last paragraph to guess it.
    QTextOption textOption = document()->defaultTextOption();
    textOption.setTextDirection(Qt::LeftToRight);
    document()->setDefaultTextOption(textOption);
    // Wrapped at the edge like a terminal, not at word boundaries: looking for a word boundary
    // in a line that has none costs time quadratic in its length, so one unbroken megabyte from
    // the instrument would freeze the console for a minute.
    setWordWrapMode(QTextOption::WrapAnywhere);
    // The rich-text layout takes time that grows with the text it already holds, and froze the
    // console for minutes once it held some hundred thousand lines.
    auto *consoleLayout = new ConsoleLayout(document());
    // Tab stops scale with the resolution of the device drawn on, as the widget sets it up for
    // the layout it makes itself.
    consoleLayout->setPaintDevice(viewport());
    document()->setDocumentLayout(consoleLayout);
    // On the instrument's touch screen a finger drags the text and flicks it on; at either end
    // the text stops, since a read-only log has nothing to spring back from.
    QScroller::grabGesture(viewport(), QScroller::TouchGesture);
    QScroller *scroller = QScroller::scroller(viewport());
    QScrollerProperties properties = scroller->scrollerProperties();
    for (const auto policy : {QScrollerProperties::HorizontalOvershootPolicy,
                              QScrollerProperties::VerticalOvershootPolicy})
        properties.setScrollMetric(policy,
                                   QVariant::fromValue(QScrollerProperties::OvershootAlwaysOff));
    scroller->setScrollerProperties(properties);
}

// Each carriage return erases the last display line (of a wrapped paragraph only the last line the
// widget shows) and what follows is written in its place.
void Console::appendOutput(const QString &chunk)
{
    auto *consoleLayout = qobject_cast<ConsoleLayout *>(document()->documentLayout());
    // Cut at each carriage return by hand: QString::split copies even a part that is the whole
    // chunk on Qt 6, and a reply of 600 000 lines is 50 MB. A part that is the whole chunk shares
    // its text.
    using Index = decltype(chunk.size()); // int on Qt 5, qsizetype on Qt 6
    for (Index partStart = 0, returnAt = 0; returnAt >= 0; partStart = returnAt + 1) {
        returnAt = chunk.indexOf(QLatin1Char('\r'), partStart);
        const QString part = chunk.mid(partStart, returnAt < 0 ? -1 : returnAt - partStart);
        if (partStart == 0 && part.isEmpty())
            continue;
        const int end = document()->characterCount() - 1;
        int start = end;
        if (partStart > 0 && consoleLayout) {
            start = consoleLayout->lastLineStart();
        } else if (partStart > 0) {
            // Under any other layout the cursor finds it, laying the paragraph out.
            QTextCursor lineStart(document());
            lineStart.movePosition(QTextCursor::End);
            lineStart.movePosition(QTextCursor::StartOfLine);
            start = lineStart.position();
        }
        // In an edit block the cursor leaves its horizontal position for later: worked out after
        // each insertion, it would lay the whole last paragraph out again, however long. Writing
        // over the selection deletes it and inserts in one edit, so the document is laid out once
        // for both, and leaves the same text as a delete followed by an insert at the end.
        QTextCursor cursor(document());
        cursor.beginEditBlock();
        cursor.setPosition(start);
        cursor.setPosition(end, QTextCursor::KeepAnchor);
        if (consoleLayout)
            consoleLayout->expectInsertion(part);
        cursor.insertText(part);
        cursor.endEditBlock();
    }
    // New output brings the end into view, also while a flick is still under way.
    QScroller::scroller(viewport())->stop();
    QScrollBar *scrollBar = verticalScrollBar();
    scrollBar->setValue(scrollBar->maximum());
}

void Console::insertAtEnd(const QString &text)
{
    QTextCursor cursor = textCursor();
    cursor.movePosition(QTextCursor::End);
    cursor.insertText(text);
}
