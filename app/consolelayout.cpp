#include "app/consolelayout.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QPainter>
#include <QScreen>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextLayout>
#include <QTimer>
#include <QtMath>

#include <algorithm>
#include <map>
#include <optional>
#include <utility>

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
    , frameTimer(new QTimer(this))
{
    const QScreen *screen = QGuiApplication::primaryScreen();
    if (screen && screen->refreshRate() >= 1)
        frameInterval = std::max(1, int(1000 / screen->refreshRate()));
    frameTimer->setSingleShot(true);
    connect(frameTimer, &QTimer::timeout, this, &ConsoleLayout::emitPendingUpdate);
}

void ConsoleLayout::expectInsertion(const QString &text)
{
    expected = text;
}

int ConsoleLayout::lastLineStart() const
{
    const QTextBlock block = document()->lastBlock();
    if (lastOnOneLine)
        return block.position();
    if (!lastLines.empty())
        return block.position() + lastLines.back().first;
    if (block.layout()->lineCount() == 0)
        blockBoundingRect(block);
    const QTextLine line = block.layout()->lineForTextPosition(block.length() - 1);
    return block.position() + (line.isValid() ? line.textStart() : 0);
}

// Returns whether anything but the page width changed: the type, the resolution or the margin.
bool ConsoleLayout::updateMetrics()
{
    const QTextDocument *doc = document();
    const qint64 oldMargin = margin;
    documentMargin = doc->documentMargin();
    qreal scaledMargin = documentMargin;
    if (paintDevice())
        scaledMargin = scaledMargin * paintDevice()->logicalDpiY() / qreal(defaultDpi());
    margin = (toFixed(scaledMargin) + 32) & -64;
    pageWidth = doc->pageSize().width();
    lineWidth = pageWidth < 0 ? UnwrappedWidth : toReal(toFixed(pageWidth) - 2 * margin);
    const bool typeChanged = asciiWidths.setType(doc->defaultFont(), paintDevice());
    if (typeChanged) {
        QTextLayout sample(QStringLiteral("x"), doc->defaultFont(), paintDevice());
        sample.setTextOption(doc->defaultTextOption());
        sample.beginLayout();
        QTextLine line = sample.createLine();
        line.setLeadingIncluded(true);
        sample.endLayout();
        singleLineHeight = std::max(toFixed(qCeil(line.ascent() + line.descent() + line.leading())),
                                    toFixed(line.height()));
    }
    return typeChanged || margin != oldMargin;
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

// Only the last block keeps its layout (or, unkerned, its display lines' starts): a carriage
// return looks up its last display line there. Any other block is laid out on a scratch layout,
// so that the console keeps no layout per line. A block that is shaped reports how far it reaches,
// at least 0.
qint64 ConsoleLayout::measure(const QTextBlock &block, QStringView text, qint64 top, bool last,
                              qint64 *reach)
{
    // A last block of more than one line that only grew stays so: no need to sum it again.
    if (last && appendedToLast && !lastLines.empty()) {
        *reach = 0;
        const qint64 height = extendLastBlock(block, reach);
        if (height >= 0)
            return height;
    }
    const float width = pageWidth < 0 ? -1 : asciiWidths.bound(text);
    if (width >= 0 && width <= lineWidth) {
        widestFit = std::max(widestFit, width);
        if (last) {
            lastLines.clear();
            lastOnOneLine = true;
        }
        return singleLineHeight;
    }
    if (last)
        lastOnOneLine = false;
    *reach = 0;
    if (!last) {
        QTextLayout scratch(block);
        return layOut(&scratch, reach);
    }
    lastLines.clear();
    QTextLayout *layout = block.layout();
    layout->setPosition(QPointF(toReal(margin), toReal(top)));
    const qint64 height = layOut(layout, reach);
    if (layout->lineCount() > 1 && *reach <= toFixed(lineWidth) && asciiWidths.unkerned(text)) {
        for (int i = 0; i < layout->lineCount(); ++i)
            lastLines.emplace_back(layout->lineAt(i).textStart(), toFixed(layout->lineAt(i).y()));
        lastLength = block.length();
    }
    return height;
}

// Lays out what was appended to the last block from its last display line on; -1 when the block
// must be laid out whole.
qint64 ConsoleLayout::extendLastBlock(const QTextBlock &block, qint64 *reach)
{
    const QString text = block.text();
    const auto [start, y] = lastLines.back();
    if (!asciiWidths.unkerned(QStringView(text).mid(lastLength - 2)))
        return -1;
    QTextLayout tail(text.mid(start), document()->defaultFont(), paintDevice());
    const qint64 height = layOut(&tail, reach);
    if (*reach > toFixed(lineWidth))
        return -1;
    lastLines.pop_back();
    for (int i = 0; i < tail.lineCount(); ++i)
        lastLines.emplace_back(start + tail.lineAt(i).textStart(), y + toFixed(tail.lineAt(i).y()));
    lastLength = block.length();
    return y + height;
}

// A new page width alone, as when the scroll bar comes or goes, changes the height of no block
// that fitted on one line by its summed width, as long as the widest of them still fits: only
// the shaped blocks are laid out again.
void ConsoleLayout::rewrap()
{
    wideBlocks.clear();
    reaches.clear();
    const qint64 width = toFixed(lineWidth);
    qint64 oldTop = margin;
    qint64 y = margin;
    auto shaped = shapedBlocks.cbegin();
    QTextBlock block = document()->begin();
    for (int number = 0; number < int(bottoms.size()); ++number, block = block.next()) {
        block.clearLayout();
        qint64 height = bottoms[number] - oldTop;
        oldTop = bottoms[number];
        if (shaped != shapedBlocks.cend() && *shaped == number) {
            ++shaped;
            qint64 reach = -1;
            height = measure(block, block.text(), y, number == int(bottoms.size()) - 1, &reach);
            if (reach > width) {
                wideBlocks.emplace(number, reach);
                reaches.insert(reach);
            }
        }
        y += height;
        bottoms[number] = y;
    }
}

void ConsoleLayout::documentChanged(int from, int charsRemoved, int charsAdded)
{
    // Line feeds become block separators one for one, so an insertion of the expected text has
    // its length; a carriage return before a line feed would be dropped and shorten it.
    const QString inserted = std::exchange(expected, QString());
    const bool known = inserted.size() == charsAdded;
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
    const bool sameText = from == 0 && charsRemoved == 0 && charsAdded == doc->characterCount()
            && blockCount == oldCount;
    appendedToLast = !whole && charsRemoved == 0 && blockCount == oldCount
            && firstNumber == oldCount - 1 && block.length() == lastLength + charsAdded
            && from == block.position() + lastLength - 1;
    if (whole && !updateMetrics() && sameText && widestFit <= lineWidth) {
        rewrap();
        emitChanges(oldSize, 0);
        return;
    }

    // The blocks after the change keep their heights and reach; the appends of a console leave
    // none.
    std::vector<qint64> tailHeights;
    std::map<int, qint64> tailReaches;
    std::vector<int> tailShaped;
    if (whole) {
        bottoms.clear();
        bottoms.reserve(blockCount);
        shapedBlocks.clear();
        widestFit = 0;
        wideBlocks.clear();
        reaches.clear();
        block = doc->begin();
        lastChanged = doc->lastBlock();
    } else {
        const int shift = blockCount - oldCount;
        for (int i = oldCount - tail; i < oldCount; ++i)
            tailHeights.push_back(bottoms[i] - top(i));
        bottoms.resize(firstNumber);
        // Grown once for a reply of many lines, not doubled and copied again and again on the
        // way, and still doubled for many small ones.
        if (bottoms.capacity() < std::size_t(blockCount))
            bottoms.reserve(std::max(std::size_t(blockCount), 2 * bottoms.capacity()));
        const auto firstShaped
                = std::lower_bound(shapedBlocks.begin(), shapedBlocks.end(), firstNumber);
        for (auto shaped = firstShaped; shaped != shapedBlocks.end(); ++shaped) {
            if (*shaped >= oldCount - tail)
                tailShaped.push_back(*shaped + shift);
        }
        shapedBlocks.erase(firstShaped, shapedBlocks.end());
        for (auto wide = wideBlocks.lower_bound(firstNumber); wide != wideBlocks.end();) {
            if (wide->first >= oldCount - tail)
                tailReaches.emplace(wide->first + shift, wide->second);
            reaches.erase(reaches.find(wide->second));
            wide = wideBlocks.erase(wide);
        }
    }
    qint64 y = top(int(bottoms.size()));
    const qreal changedTop = whole ? 0 : toReal(y);
    const qint64 width = toFixed(lineWidth);
    int position = block.position();
    for (;;) {
        block.clearLayout();
        const int length = block.length();
        const bool within = known && position >= from && position + length - 1 <= from + charsAdded;
        const QString copy = within ? QString() : block.text();
        const QStringView text = within ? QStringView(inserted).mid(position - from, length - 1)
                                        : QStringView(copy);
        position += length;
        const int number = int(bottoms.size());
        qint64 reach = -1;
        y += measure(block, text, top(number), number == blockCount - 1, &reach);
        if (reach >= 0)
            shapedBlocks.push_back(number);
        if (reach > width) {
            wideBlocks.emplace(number, reach);
            reaches.insert(reach);
        }
        bottoms.push_back(y);
        if (block == lastChanged)
            break;
        // The new blocks of a reply of many lines have no layout to clear and are read from the
        // text it brought: those that fit on one line need no block, only their height.
        const int fitted = known && position > from && pageWidth >= 0
                ? fitLines(QStringView(inserted).mid(position - from), &y)
                : 0;
        position += fitted;
        block = fitted > 0 ? doc->findBlock(position) : block.next();
    }
    for (const qint64 height : tailHeights)
        bottoms.push_back(y += height);
    shapedBlocks.insert(shapedBlocks.end(), tailShaped.cbegin(), tailShaped.cend());
    for (const auto &[number, reach] : tailReaches) {
        wideBlocks.emplace(number, reach);
        reaches.insert(reach);
    }
    emitChanges(oldSize, changedTop);
}

// Takes the lines of the text that end in a line feed and fit on one line by their summed width, up
// to the first that does not; returns how many characters they hold.
int ConsoleLayout::fitLines(QStringView text, qint64 *y)
{
    qsizetype start = 0;
    for (;;) {
        qsizetype length = 0;
        const float width = asciiWidths.lineBound(text.mid(start), &length);
        const qsizetype end = start + length;
        if (width < 0 || width > lineWidth || end == text.size() || text[end] != QLatin1Char('\n'))
            break;
        widestFit = std::max(widestFit, width);
        bottoms.push_back(*y += singleLineHeight);
        start = end + 1;
    }
    return int(start);
}

void ConsoleLayout::emitChanges(const QSizeF &oldSize, qreal changedTop)
{
    if (documentSize() != oldSize)
        emit documentSizeChanged(documentSize());
    // Only what lies from the change down is drawn anew, as the rich-text layout asks: the lines
    // above stay as they are on the screen, and scrolling moves them.
    pendingTop = pendingTop < 0 ? changedTop : std::min(pendingTop, changedTop);
    if (frameTimer->isActive())
        return;
    const qint64 elapsed = sinceDrawn.isValid() ? sinceDrawn.elapsed() : frameInterval;
    if (elapsed >= frameInterval)
        emitPendingUpdate();
    else
        frameTimer->start(int(frameInterval - elapsed));
}

void ConsoleLayout::emitPendingUpdate()
{
    if (pendingTop < 0)
        return;
    const qreal top = pendingTop;
    pendingTop = -1;
    emit update(QRectF(0, top, 1e9, 1e9));
}

// As the rich-text layout draws: each block whose lines meet the clip, its lines clipped to the
// text's columns. A block's lines may reach below its bottom by less than a 64th of a pixel, which
// fixed point cuts off.
void ConsoleLayout::draw(QPainter *painter, const PaintContext &context)
{
    sinceDrawn.start();
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
        QPointF position(toReal(margin), toReal(top(number)));
        if (clip.isValid() && position.y() > clip.bottom())
            break;
        QTextLayout scratch(block);
        QTextLayout *layout
                = block == last && block.layout()->lineCount() > 0 ? block.layout() : &scratch;
        std::optional<QTextLayout> linesInView;
        if (block == last && layout == &scratch && !lastLines.empty() && clip.isValid()
            && context.cursorPosition < block.position()) {
            // The lines in view and one on either side, for ink beyond a line's box.
            const auto below = [&lastLines = std::as_const(lastLines)](qreal y) {
                return int(
                        std::upper_bound(lastLines.cbegin(), lastLines.cend(), toFixed(y),
                                         [](qint64 y, const auto &line) { return y < line.second; })
                        - lastLines.cbegin());
            };
            const int first = std::max(below(clip.top() - position.y()) - 2, 0);
            const int end
                    = std::min(below(clip.bottom() - position.y()) + 1, int(lastLines.size()));
            const QString text = block.text();
            const int start = lastLines[first].first;
            const int stop = end < int(lastLines.size()) ? lastLines[end].first : text.size();
            linesInView.emplace(text.mid(start, stop - start), document()->defaultFont(),
                                paintDevice());
            linesInView->setCacheEnabled(true);
            layout = &*linesInView;
            position.ry() += toReal(lastLines[first].second);
        }
        // Printable ASCII is kept shaped from laying out to drawing, which would otherwise shape
        // it once more.
        if (layout == &scratch)
            scratch.setCacheEnabled(AsciiWidths::printable(block.text()));
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
