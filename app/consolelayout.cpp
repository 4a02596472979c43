#include "app/consolelayout.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextLayout>
#include <QtMath>

#include <algorithm>

// Without a page width nothing wraps, as in the rich-text layout.
static constexpr qreal UnwrappedWidth = 1e6;

ConsoleLayout::ConsoleLayout(QTextDocument *document)
    : QAbstractTextDocumentLayout(document)
{ }

void ConsoleLayout::updateMetrics()
{
    const QTextDocument *doc = document();
    margin = doc->documentMargin();
    pageWidth = doc->pageSize().width();
    const QFont font = doc->defaultFont();
    // Measured on the device the text is laid out for, whose resolution scales the advances.
    const QFontMetricsF metrics(font, paintDevice());
    maxAsciiAdvance = 0;
    bool primaryFontHasAscii = true;
    for (char16_t c = 0x20; c < 0x7f; ++c) {
        maxAsciiAdvance = std::max(maxAsciiAdvance, metrics.horizontalAdvance(QChar(c)));
        primaryFontHasAscii = primaryFontHasAscii && metrics.inFont(QChar(c));
    }
    // Two characters of slack for kerning; a glyph from a fallback font could change the height.
    singleLineWidth = primaryFontHasAscii && pageWidth >= 0
            ? pageWidth - 2 * margin - 2 * maxAsciiAdvance
            : -1;
    QTextLayout sample(QStringLiteral("x"), font, paintDevice());
    sample.setTextOption(doc->defaultTextOption());
    sample.beginLayout();
    QTextLine line = sample.createLine();
    line.setLeadingIncluded(true);
    sample.endLayout();
    singleLineHeight = line.height();
}

qreal ConsoleLayout::top(int blockNumber) const
{
    return blockNumber == 0 ? margin : bottoms[blockNumber - 1];
}

// Line positions as the rich-text layout sets them for plain text: each line starts at the
// rounded-up line spacing below the one before; the block ends with its last line's height.
qreal ConsoleLayout::layOut(QTextLayout *layout) const
{
    QTextOption option = document()->defaultTextOption();
    if (pageWidth < 0)
        option.setWrapMode(QTextOption::ManualWrap);
    layout->setTextOption(option);
    layout->beginLayout();
    qreal y = 0;
    qreal bottom = 0;
    for (QTextLine line = layout->createLine(); line.isValid(); line = layout->createLine()) {
        line.setLeadingIncluded(true);
        line.setLineWidth(pageWidth < 0 ? UnwrappedWidth : pageWidth - 2 * margin);
        line.setPosition(QPointF(0, y));
        bottom = y + line.height();
        y += qCeil(line.ascent() + line.descent() + line.leading());
    }
    layout->endLayout();
    return bottom;
}

// Only the last block keeps its layout: the cursor works there, on every carriage return. Any
// other block is laid out on a scratch layout, so that the console keeps no layout per line.
qreal ConsoleLayout::measure(const QTextBlock &block) const
{
    const QString text = block.text();
    if (text.size() * maxAsciiAdvance <= singleLineWidth
        && std::all_of(text.cbegin(), text.cend(),
                       [](QChar c) { return c.unicode() >= 0x20 && c.unicode() < 0x7f; })) {
        return singleLineHeight;
    }
    if (block == document()->lastBlock()) {
        block.layout()->setPosition(QPointF(margin, top(int(bottoms.size()))));
        return layOut(block.layout());
    }
    QTextLayout scratch(block);
    return layOut(&scratch);
}

void ConsoleLayout::documentChanged(int from, int charsRemoved, int charsAdded)
{
    Q_UNUSED(charsRemoved)
    const QTextDocument *doc = document();
    const qreal oldHeight = documentSize().height();
    const int blockCount = doc->blockCount();
    QTextBlock block = doc->findBlock(from);
    QTextBlock lastChanged = doc->findBlock(from + charsAdded);
    if (!lastChanged.isValid())
        lastChanged = doc->lastBlock();
    const int firstNumber = block.blockNumber();
    const int tail = blockCount - 1 - lastChanged.blockNumber();
    const int oldCount = int(bottoms.size());
    const bool whole = (from == 0 && charsAdded >= doc->characterCount()) || oldCount == 0
            || tail > oldCount - firstNumber || doc->pageSize().width() != pageWidth
            || doc->documentMargin() != margin;

    // The blocks after the change keep their heights; the appends of a console leave none.
    std::vector<qreal> tailHeights;
    if (whole) {
        updateMetrics();
        bottoms.clear();
        bottoms.reserve(blockCount);
        block = doc->begin();
        lastChanged = doc->lastBlock();
    } else {
        for (int i = oldCount - tail; i < oldCount; ++i)
            tailHeights.push_back(bottoms[i] - top(i));
        bottoms.resize(firstNumber);
    }
    qreal y = top(int(bottoms.size()));
    for (;; block = block.next()) {
        block.clearLayout();
        y += measure(block);
        bottoms.push_back(y);
        if (block == lastChanged)
            break;
    }
    for (const qreal height : tailHeights)
        bottoms.push_back(y += height);

    if (documentSize().height() != oldHeight)
        emit documentSizeChanged(documentSize());
    emit update();
}

void ConsoleLayout::draw(QPainter *painter, const PaintContext &context)
{
    if (bottoms.empty())
        return;
    const QRectF clip = context.clip.isValid() ? context.clip : QRectF(QPointF(), documentSize());
    int number = int(std::upper_bound(bottoms.cbegin(), bottoms.cend(), clip.top())
                     - bottoms.cbegin());
    const QTextBlock last = document()->lastBlock();
    painter->setPen(context.palette.color(QPalette::Text));
    for (QTextBlock block = document()->findBlockByNumber(number);
         block.isValid() && top(number) < clip.bottom(); block = block.next(), ++number) {
        QTextLayout scratch(block);
        QTextLayout *layout = block == last ? block.layout() : &scratch;
        if (layout->lineCount() == 0)
            layOut(layout);
        const QPointF offset = QPointF(margin, top(number)) - layout->position();
        layout->draw(painter, offset, {}, clip);
        const int cursor = context.cursorPosition - block.position();
        if (cursor >= 0 && cursor < block.length())
            layout->drawCursor(painter, offset, cursor);
    }
}

// The console takes no mouse input: no position is under the pointer.
int ConsoleLayout::hitTest(const QPointF &, Qt::HitTestAccuracy) const
{
    return -1;
}

int ConsoleLayout::pageCount() const
{
    return 1;
}

QSizeF ConsoleLayout::documentSize() const
{
    return QSizeF(std::max<qreal>(pageWidth, 0),
                  bottoms.empty() ? 2 * margin : bottoms.back() + margin);
}

QRectF ConsoleLayout::frameBoundingRect(QTextFrame *frame) const
{
    return frame == document()->rootFrame() ? QRectF(QPointF(), documentSize()) : QRectF();
}

// The cursor asks for this to have a block laid out before it moves by display lines.
QRectF ConsoleLayout::blockBoundingRect(const QTextBlock &block) const
{
    const int number = block.isValid() ? block.blockNumber() : -1;
    if (number < 0 || number >= int(bottoms.size()))
        return QRectF();
    QTextLayout *layout = block.layout();
    if (layout->lineCount() == 0)
        layOut(layout);
    layout->setPosition(QPointF(margin, top(number)));
    return QRectF(margin, top(number), std::max<qreal>(pageWidth - 2 * margin, 0),
                  bottoms[number] - top(number));
}
