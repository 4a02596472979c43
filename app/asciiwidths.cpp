#include "app/asciiwidths.h"

#include <QFontMetricsF>
#include <QPaintDevice>
#include <QtNumeric>

#include <algorithm>
#include <cmath>

bool AsciiWidths::setType(const QFont &newFont, QPaintDevice *newDevice)
{
    const QPoint dpi
            = newDevice ? QPoint(newDevice->logicalDpiX(), newDevice->logicalDpiY()) : QPoint();
    device = newDevice;
    if (typeSet && newFont == font && dpi == resolution)
        return false;
    typeSet = true;
    font = newFont;
    resolution = dpi;
    measured = false;
    return true;
}

// Measured when there is first text to measure: the console is built, and its type set, before it
// has any. On the device the text is laid out for, whose resolution scales the advances. Each
// character's advance waits until the character is first met: a glyph's metrics are read from the
// font file when first asked for, and the first output uses a third of printable ASCII.
void AsciiWidths::measure()
{
    const QFontMetricsF metrics(font, device);
    complete = true;
    for (unsigned c = 0; c < Count; ++c)
        complete = complete && metrics.inFont(QChar(char16_t(0x20 + c)));
    advances.fill(qQNaN());
    // Two of the font's widest advance, which no printable character exceeds; read from the font's
    // header, unlike the advances of the characters themselves.
    slack = float(2 * metrics.maxWidth());
    if (slack <= 0) {
        for (unsigned c = 0; c < Count; ++c)
            slack = std::max(slack, 2 * advance(c));
    }
    pairAdvances.assign(Count * Count, qQNaN());
    measured = true;
}

float AsciiWidths::advance(unsigned c)
{
    if (std::isnan(advances[c]))
        advances[c]
                = float(QFontMetricsF(font, device).horizontalAdvance(QChar(char16_t(0x20 + c))));
    return advances[c];
}

// Measured once per pair, when first met.
float AsciiWidths::measurePair(unsigned first, unsigned second)
{
    const QChar pair[] = {QChar(char16_t(0x20 + first)), QChar(char16_t(0x20 + second))};
    return pairAdvances[first * Count + second]
            = float(QFontMetricsF(font, device).horizontalAdvance(QString(pair, 2)))
            - advance(first);
}

bool AsciiWidths::printable(QStringView text)
{
    return std::all_of(text.cbegin(), text.cend(),
                       [](QChar c) { return unsigned(c.unicode() - 0x20u) < Count; });
}

float AsciiWidths::bound(QStringView text)
{
    qsizetype end = 0;
    const float width = lineBound(text, &end);
    return end == text.size() ? width : -1;
}

float AsciiWidths::lineBound(QStringView text, qsizetype *end)
{
    *end = 0;
    if (!measured)
        measure();
    if (!complete)
        return -1;
    const char16_t *characters = text.utf16();
    const qsizetype size = text.size();
    if (size == 0 || unsigned(characters[0] - 0x20u) >= Count)
        return 0;
    // Every line of a reply passes here: a pair not yet met is NaN and makes the sum NaN, so that
    // the loop checks nothing but the characters, and it adds to two sums in turn, so that each
    // addition need not wait for the one before.
    const float *pairs = pairAdvances.data();
    unsigned previous = characters[0] - 0x20u;
    float sums[2] = {advance(previous), 0};
    qsizetype i = 1;
    for (; i + 1 < size; i += 2) {
        const unsigned first = characters[i] - 0x20u;
        const unsigned second = characters[i + 1] - 0x20u;
        if (first >= Count || second >= Count)
            break;
        sums[1] += pairs[previous * Count + first];
        sums[0] += pairs[first * Count + second];
        previous = second;
    }
    for (; i < size && unsigned(characters[i] - 0x20u) < Count; ++i) {
        sums[1] += pairs[previous * Count + characters[i] - 0x20u];
        previous = characters[i] - 0x20u;
    }
    *end = i;
    float width = sums[0] + sums[1];
    if (std::isnan(width)) {
        previous = characters[0] - 0x20u;
        width = advance(previous);
        for (const QChar character : text.mid(1, i - 1)) {
            const unsigned c = character.unicode() - 0x20u;
            const float pairAdvance = pairAdvances[previous * Count + c];
            width += std::isnan(pairAdvance) ? measurePair(previous, c) : pairAdvance;
            previous = c;
        }
    }
    return width + slack;
}

bool AsciiWidths::unkerned(QStringView text)
{
    if (!measured)
        measure();
    if (!complete)
        return false;
    unsigned previous = Count;
    for (const QChar character : text) {
        const unsigned c = character.unicode() - 0x20u;
        if (c >= Count)
            return false;
        if (previous < Count) {
            const float pairAdvance = pairAdvances[previous * Count + c];
            if ((std::isnan(pairAdvance) ? measurePair(previous, c) : pairAdvance) != advance(c))
                return false;
        }
        previous = c;
    }
    return true;
}
