#pragma once

#include "app/asciiwidths.h"

#include <QAbstractTextDocumentLayout>
#include <QElapsedTimer>

#include <map>
#include <set>
#include <vector>

class QTextLayout;
class QTimer;

// Lays out the console's document in time proportional to what changed, not to what the console
// holds, with the geometry the toolkit's own rich-text layout gives plain text: the same line
// breaks, line positions, block rectangles and document height, so that display lines, carriage
// returns and the scroll position behave exactly as they would with it. It knows only what the
// console holds: plain text, left to right, no frames, tables or images.
class ConsoleLayout : public QAbstractTextDocumentLayout
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ConsoleLayout)

public:
    explicit ConsoleLayout(QTextDocument *document);

    // Hands over the text about to be inserted, so that the lines it brings are read from it
    // instead of being copied back out of the document one by one. A change that is not this
    // insertion is laid out as any other.
    void expectInsertion(const QString &text);
    // Where the last display line of the document starts: a carriage return erases from there.
    int lastLineStart() const;

    void draw(QPainter *painter, const PaintContext &context) override;
    int hitTest(const QPointF &point, Qt::HitTestAccuracy accuracy) const override;
    int pageCount() const override;
    QSizeF documentSize() const override;
    QRectF frameBoundingRect(QTextFrame *frame) const override;
    QRectF blockBoundingRect(const QTextBlock &block) const override;

protected:
    void documentChanged(int from, int charsRemoved, int charsAdded) override;

private:
    bool updateMetrics();
    qint64 measure(const QTextBlock &block, QStringView text, qint64 top, bool last, qint64 *reach);
    int fitLines(QStringView text, qint64 *y);
    qint64 extendLastBlock(const QTextBlock &block, qint64 *reach);
    qint64 layOut(QTextLayout *layout, qint64 *reach = nullptr) const;
    qint64 top(int blockNumber) const;
    void rewrap();
    void emitChanges(const QSizeF &oldSize, qreal changedTop);
    void emitPendingUpdate();

    // The bottom of every block in document coordinates, by block number; like every length in
    // fixed point below, in 64ths of a pixel.
    std::vector<qint64> bottoms;
    // The blocks with a line that reaches beyond the page, by number, and how far each reaches:
    // the document is as wide as the farthest.
    std::map<int, qint64> wideBlocks;
    std::multiset<qint64> reaches;
    qreal pageWidth = -1;
    qreal documentMargin = 0;
    // The document margin as laid out on the paint device, in fixed point.
    qint64 margin = 0;
    qreal lineWidth = 0;
    // A block of printable ASCII whose bound fits the line is one line of the font's height, which
    // saves shaping it.
    AsciiWidths asciiWidths;
    qint64 singleLineHeight = 0;
    // The blocks that were shaped, by number in ascending order, and the widest bound of those
    // that were not since the document was last laid out whole.
    std::vector<int> shapedBlocks;
    float widestFit = 0;
    QString expected;
    // The display lines of the last block, when it is unkerned printable ASCII over more than one
    // line: where each starts in the block and its top in the block. Text appended to such a
    // block is laid out from its last line on, and only the lines in view are drawn, so that a
    // progress line growing a character at a time costs what its last line costs.
    std::vector<std::pair<int, qint64>> lastLines;
    int lastLength = 0;
    bool appendedToLast = false;
    // Whether the last block fitted on one line by its summed width, so that a carriage return
    // erases it whole without laying it out.
    bool lastOnOneLine = false;
    // The console is drawn at most once per frame of the screen: an instrument that answers a
    // status poll every few hundred microseconds would otherwise have it drawn thousands of times
    // a second, which no screen shows. What changes within a frame of the last drawing is drawn
    // when the frame is over, from the topmost change down.
    int frameInterval = 16;
    QElapsedTimer sinceDrawn;
    QTimer *frameTimer = nullptr;
    qreal pendingTop = -1;
};
