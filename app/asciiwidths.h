#pragma once

#include <QFont>
#include <QPoint>
#include <QStringView>

#include <array>
#include <vector>

class QPaintDevice;

// What shaping makes of printable ASCII in one font on one device, without shaping each line:
// each character's advance and what each pair adds when shaped together (kerning, a two-character
// ligature), measured when first needed. Most of what an instrument prints is such text.
class AsciiWidths
{
public:
    // Forgets what was measured when the font or the device's resolution is another; returns
    // whether it was.
    bool setType(const QFont &font, QPaintDevice *device);
    // At least the width shaping gives the text: its width summed pair by pair and two of the
    // font's widest advance as slack for what pairs do not tell (ligatures of three, contextual
    // forms, rounding); -1 for any other text, or in a font that lacks part of printable ASCII,
    // whose fallback glyphs could change a line's height.
    float bound(QStringView text);
    // The same for the printable ASCII that the text starts with, up to *end, where the first
    // other character stands (the text's size when there is none).
    float lineBound(QStringView text, qsizetype *end);
    // Whether the text is printable ASCII alone, from the space to the tilde.
    static bool printable(QStringView text);
    // Whether the text is printable ASCII with no pair that shaping changes: such text breaks into
    // the same display lines from any line start on.
    bool unkerned(QStringView text);

private:
    // The printable ASCII characters, from the space on.
    static constexpr unsigned Count = 0x7f - 0x20;

    void measure();
    float advance(unsigned c);
    float measurePair(unsigned first, unsigned second);

    QFont font;
    QPaintDevice *device = nullptr;
    QPoint resolution;
    bool typeSet = false;
    bool measured = false;
    bool complete = false;
    float slack = 0;
    // Each character's advance; NaN until first met.
    std::array<float, Count> advances = {};
    // How far the second character of each pair advances after the first, by first * Count +
    // second; NaN until first met.
    std::vector<float> pairAdvances;
};
