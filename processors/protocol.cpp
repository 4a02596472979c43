#include "processors/protocol.h"

#include <QByteArray>

namespace Protocol {

QStringList resetCommandWords(const QString &item)
{
    if (!item.contains(QLatin1String("count")))
        return {QStringLiteral("reset"), item};
    // Split at every single space, empty pieces kept: "slot  a count" names no slot.
    const QStringList words = item.split(QLatin1Char(' '));
    if (words.size() < 2)
        return {};
    return {QStringLiteral("reset"), QStringLiteral("boot"), QStringLiteral("count"),
            words.at(1).toUpper()};
}

QString decodeText(const QByteArray &bytes)
{
    const int end = bytes.indexOf('\0');
    return QString::fromUtf8(bytes.constData(), end < 0 ? bytes.size() : end);
}

} // namespace Protocol
