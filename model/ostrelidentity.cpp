#include "model/ostrelidentity.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>
#include <limits>

namespace {

QString textOf(const QJsonValue &value)
{
    return value.isString() ? value.toString() : NoValueText;
}

// Only a number with a whole value that an int can hold counts; a fraction, a string or a
// number out of range is no count at all.
int countOf(const QJsonValue &value)
{
    if (!value.isDouble())
        return 0;
    const double number = value.toDouble();
    if (std::trunc(number) != number || number < std::numeric_limits<int>::min()
        || number > std::numeric_limits<int>::max())
        return 0;
    return static_cast<int>(number);
}

} // namespace

OstrelIdentity::OstrelIdentity() = default;

OstrelIdentity::OstrelIdentity(const QJsonDocument &document)
{
    parseDocument(document.object());
}

void OstrelIdentity::parseDocument(const QJsonObject &document)
{
    const QString firstSlot = document.value(QLatin1String("slotOrder")).toArray().at(0).toString();
    slotOrder = firstSlot.toUpper() == QLatin1String("A") ? AFirst : BFirst;

    options = textOf(document.value(QLatin1String("options")));
    model = textOf(document.value(QLatin1String("model")));
    serial = textOf(document.value(QLatin1String("serial")));
    bootVersion = textOf(document.value(QLatin1String("bootVersion")));
    recoveryVersion = textOf(document.value(QLatin1String("recoveryVersion")));

    const QJsonObject network = document.value(QLatin1String("network")).toObject();
    ip = textOf(network.value(QLatin1String("ip")));
    subnet = textOf(network.value(QLatin1String("subnet")));
    gateway = textOf(network.value(QLatin1String("gateway")));

    parseSlots(document);
    parseUsbDevices(document);
}

// The counts come in boot order, like "slotOrder", not in the order A, B.
void OstrelIdentity::parseSlots(const QJsonObject &document)
{
    const QString versionA = textOf(document.value(QLatin1String("slotAVersion")));
    const QString versionB = textOf(document.value(QLatin1String("slotBVersion")));
    const QJsonArray counts = document.value(QLatin1String("slotCount")).toArray();
    const int count0 = countOf(counts.at(0));
    const int count1 = countOf(counts.at(1));

    slotList.clear();
    if (slotOrder == AFirst) {
        slotList.append({QStringLiteral("A"), versionA, count0});
        slotList.append({QStringLiteral("B"), versionB, count1});
    } else {
        slotList.append({QStringLiteral("B"), versionB, count0});
        slotList.append({QStringLiteral("A"), versionA, count1});
    }
}

void OstrelIdentity::parseUsbDevices(const QJsonObject &document)
{
    const QJsonArray devices = document.value(QLatin1String("usb")).toArray();
    for (const QJsonValue &value : devices) {
        const QJsonObject device = value.toObject();
        usbDevices.append({textOf(device.value(QLatin1String("alias"))),
                           textOf(device.value(QLatin1String("device"))),
                           textOf(device.value(QLatin1String("label")))});
    }
}
