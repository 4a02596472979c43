#include "app/consolelayout.h"

#include <QCoreApplication>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QPainter>
#include <QScreen>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextLayout>
#include <QtMath>

#include <algorithm>
#include <map>

namespace {

// Without a page width nothing wraps, as in the rich-text layout.
constexpr qreal UnwrappedWidth = 1e6;

// The rich-text layout places blocks and lines in 26.6 fixed point, with reals cut towards zero:
// summed in floating point instead, positions drift apart by a pixel after some hundred lines of
// fractional height.
qint64 toFixed(qreal value)
{
    return qint64(value * 64);
}

qreal toReal(qint64 fixed)
{
    return qreal(fixed) / 64;
}

// The resolution the toolkit takes for its layouts' lengths: margins given in pixels at it are
// scaled to the device laid out for.
int defaultDpi()
{
    if (QCoreApplication::testAttribute(Qt::AA_Use96Dpi))
        return 96;
    const QScreen *screen = QGuiApplication::primaryScreen();
    return screen ? qRound(screen->logicalDotsPerInchY()) : 100;
}

} // namespace

ConsoleLayout::ConsoleLayout(QTextDocument *document)
    : QAbstractTextDocumentLayout(document)
{ }

void ConsoleLayout::updateMetrics()
{
    const QTextDocument *doc = document();
    documentMargin = doc->documentMargin();
    qreal scaledMargin = documentMargin;
    if (paintDevice())
        scaledMargin = scaledMargin * paintDevice()->logicalDpiY() / qreal(defaultDpi());
    margin = (toFixed(scaledMargin) + 32) & -64;
    pageWidth = doc->pageSize().width();
    lineWidth = pageWidth < 0 ? UnwrappedWidth : toReal(toFixed(pageWidth) - 2 * margin);
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
    singleLineWidth = primaryFontHasAscii && pageWidth >= 0 ? lineWidth - 2 * maxAsciiAdvance : -1;
    QTextLayout sample(QStringLiteral("x"), font, paintDevice());
    sample.setTextOption(doc->defaultTextOption());
    sample.beginLayout();
    QTextLine line = sample.createLine();
    line.setLeadingIncluded(true);
    sample.endLayout();
    singleLineHeight = std::max(toFixed(qCeil(line.ascent() + line.descent() + line.leading())),
                                toFixed(line.height()));
}

qint64 ConsoleLayout::top(int blockNumber) const
{
    return blockNumber == 0 ? margin : bottoms[blockNumber - 1];
}

// Line positions as the rich-text layout sets them for plain text: each line starts at the
// rounded-up line spacing below the one before; the block ends with its last line's height. A line
// that does not fit even so, such as a tab at the edge, is given its natural width, and widens the
// document as far as it reaches.
qint64 ConsoleLayout::layOut(QTextLayout *layout, qint64 *reach) const
{
    QTextOption option = document()->defaultTextOption();
    if (pageWidth < 0)
        option.setWrapMode(QTextOption::ManualWrap);
    layout->setTextOption(option);
    layout->beginLayout();
    qint64 y = 0;
    qint64 bottom = 0;
    for (QTextLine line = layout->createLine(); line.isValid(); line = layout->createLine()) {
        line.setLeadingIncluded(true);
        line.setLineWidth(lineWidth);
        if (toFixed(line.naturalTextWidth()) > toFixed(lineWidth))
            line.setLineWidth(std::max(line.naturalTextWidth(), lineWidth));
        line.setPosition(QPointF(0, toReal(y)));
        if (reach)
            *reach = std::max(*reach, toFixed(line.x() + line.naturalTextWidth()));
        bottom = y + toFixed(line.height());
        y += toFixed(qCeil(line.ascent() + line.descent() + line.leading()));
    }
    layout->endLayout();
    return std::max(y, bottom);
}

// Only the last block keeps its layout: the cursor works there, on every carriage return. Any
// other block is laid out on a scratch layout, so that the console keeps no layout per line.
qint64 ConsoleLayout::measure(const QTextBlock &block, qint64 *reach) const
{
    const QString text = block.text();
    if (text.size() * maxAsciiAdvance <= singleLineWidth
        && std::all_of(text.cbegin(), text.cend(),
                       [](QChar c) { return c.unicode() >= 0x20 && c.unicode() < 0x7f; })) {
        return singleLineHeight;
    }
    if (block == document()->lastBlock()) {
        block.layout()->setPosition(QPointF(toReal(margin), toReal(top(int(bottoms.size())))));
        return layOut(block.layout(), reach);
    }
    QTextLayout scratch(block);
    return layOut(&scratch, reach);
}

void ConsoleLayout::documentChanged(int from, int charsRemoved, int charsAdded)
{
    Q_UNUSED(charsRemoved)
    const QTextDocument *doc = document();
    const QSizeF oldSize = documentSize();
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
            || doc->documentMargin() != documentMargin;

    // The blocks after the change keep their heights and reach; the appends of a console leave
    // none.
    std::vector<qint64> tailHeights;
    std::map<int, qint64> tailReaches;
    if (whole) {
        updateMetrics();
        bottoms.clear();
        bottoms.reserve(blockCount);
        wideBlocks.clear();
        reaches.clear();
        block = doc->begin();
        lastChanged = doc->lastBlock();
    } else {
        for (int i = oldCount - tail; i < oldCount; ++i)
            tailHeights.push_back(bottoms[i] - top(i));
        bottoms.resize(firstNumber);
        for (auto wide = wideBlocks.lower_bound(firstNumber); wide != wideBlocks.end();) {
            if (wide->first >= oldCount - tail)
                tailReaches.emplace(wide->first - oldCount + blockCount, wide->second);
            reaches.erase(reaches.find(wide->second));
            wide = wideBlocks.erase(wide);
        }
    }
    qint64 y = top(int(bottoms.size()));
    const qreal changedTop = whole ? 0 : toReal(y);
    const qint64 width = toFixed(lineWidth);
    for (;; block = block.next()) {
        block.clearLayout();
        qint64 reach = 0;
        y += measure(block, &reach);
        if (reach > width) {
            wideBlocks.emplace(int(bottoms.size()), reach);
            reaches.insert(reach);
        }
        bottoms.push_back(y);
        if (block == lastChanged)
            break;
    }
    for (const qint64 height : tailHeights)
        bottoms.push_back(y += height);
    for (const auto &[number, reach] : tailReaches) {
        wideBlocks.emplace(number, reach);
        reaches.insert(reach);
    }

    if (documentSize() != oldSize)
        emit documentSizeChanged(documentSize());
    // Only what lies from the change down is drawn anew, as the rich-text layout asks: the lines
    // above stay as they are on the screen, and scrolling moves them.
    emit update(QRectF(0, changedTop, 1e9, 1e9));
}

// As the rich-text layout draws: each block whose lines meet the clip, its lines clipped to the
// text's columns. A block's lines may reach below its bottom by less than a 64th of a pixel, which
// fixed point cuts off.
void ConsoleLayout::draw(QPainter *painter, const PaintContext &context)
{
    if (bottoms.empty())
        return;
    const QRectF &clip = context.clip;
    const QRectF columns
            = QRectF(QPointF(), documentSize()).adjusted(toReal(margin), 0, -toReal(margin), 0);
    const QRectF lineClip = clip.isValid() ? clip & columns : columns;
    int number = clip.isValid()
            ? int(std::lower_bound(bottoms.cbegin(), bottoms.cend(), toFixed(clip.top()) - 1)
                  - bottoms.cbegin())
            : 0;
    const QTextBlock last = document()->lastBlock();
    painter->setPen(context.palette.color(QPalette::Text));
    for (QTextBlock block = document()->findBlockByNumber(number); block.isValid();
         block = block.next(), ++number) {
        const QPointF position(toReal(margin), toReal(top(number)));
        if (clip.isValid() && position.y() > clip.bottom())
            break;
        QTextLayout scratch(block);
        QTextLayout *layout = block == last ? block.layout() : &scratch;
        if (layout->lineCount() == 0)
            layOut(layout);
        const QRectF lines = layout->boundingRect().translated(position);
        if (clip.isValid() && (lines.bottom() < clip.top() || lines.top() > clip.bottom()))
            continue;
        const QPointF offset = position - layout->position();
        layout->draw(painter, offset, {}, lineClip);
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
    const qint64 reach = reaches.empty() ? 0 : *reaches.rbegin();
    const qint64 width = std::max(toFixed(lineWidth), reach) + 2 * margin;
    return QSizeF(pageWidth < 0 ? 0 : toReal(width),
                  toReal(bottoms.empty() ? 2 * margin : bottoms.back() + margin));
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
    layout->setPosition(QPointF(toReal(margin), toReal(top(number))));
    QRectF rect = layout->boundingRect();
    rect.moveTopLeft(layout->position());
    return rect;
}
