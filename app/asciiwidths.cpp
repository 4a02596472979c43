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
// has any. On the device the text is laid out for, whose resolution scales the advances.
void AsciiWidths::measure()
{
    const QFontMetricsF metrics(font, device);
    qreal widest = 0;
    complete = true;
    for (unsigned c = 0; c < Count; ++c) {
        const QChar character(char16_t(0x20 + c));
        advances[c] = float(metrics.horizontalAdvance(character));
        widest = std::max(widest, qreal(advances[c]));
        complete = complete && metrics.inFont(character);
    }
    slack = float(2 * widest);
    pairAdvances.assign(Count * Count, qQNaN());
    measured = true;
}

// Measured once per pair, when first met.
float AsciiWidths::measurePair(unsigned first, unsigned second)
{
    const QChar pair[] = {QChar(char16_t(0x20 + first)), QChar(char16_t(0x20 + second))};
    return pairAdvances[first * Count + second]
            = float(QFontMetricsF(font, device).horizontalAdvance(QString(pair, 2)))
            - advances[first];
}

float AsciiWidths::bound(QStringView text)
{
    if (text.isEmpty())
        return measured && complete ? 0 : -1;
    if (!measured)
        measure();
    unsigned previous = text.front().unicode() - 0x20u;
    if (!complete || previous >= Count)
        return -1;
    float width = advances[previous];
    for (const QChar character : text.mid(1)) {
        const unsigned c = character.unicode() - 0x20u;
        if (c >= Count)
            return -1;
        const float advance = pairAdvances[previous * Count + c];
        width += std::isnan(advance) ? measurePair(previous, c) : advance;
        previous = c;
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
            const float advance = pairAdvances[previous * Count + c];
            if ((std::isnan(advance) ? measurePair(previous, c) : advance) != advances[c])
                return false;
        }
        previous = c;
    }
    return true;
}
