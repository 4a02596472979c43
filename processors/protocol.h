#pragma once

#include <QStringList>

class QByteArray;

// Rules that every back end talking to the instrument shares, so the wire and the tool see the
// same words for the same request.
namespace Protocol {

// The command words of one reset item: "reset", "boot", "count" and the item's second word
// upper-cased when the item holds "count"; otherwise "reset" and the item as it stands. Empty when
// the item holds "count" but has no second word: there is no slot to name, so nothing is sent.
QStringList resetCommandWords(const QString &item);

// The instrument's output as console text: UTF-8 up to the first zero byte, if there is one.
QString decodeText(const QByteArray &bytes);

} // namespace Protocol
