#include "signalrecorder.h"

#include "processors/abstractcommandprocessor.h"

SignalRecorder::SignalRecorder(AbstractCommandProcessor *processor)
    : QObject(processor)
{
    connect(processor, &AbstractCommandProcessor::responseReceived, this,
            [this](const QString &response) {
                events << QStringLiteral("response: ") + visible(response);
            });
    connect(processor, &AbstractCommandProcessor::identityUpdated, this,
            [this](const OstrelIdentity &identity) {
                events << QStringLiteral("identity: ") + summary(identity);
            });
    connect(processor, &AbstractCommandProcessor::isBusyChanged, this, [this](bool busy) {
        events << (busy ? QStringLiteral("busy: true") : QStringLiteral("busy: false"));
    });
}

QString SignalRecorder::visible(const QString &text)
{
    QString result = text;
    result.replace(QLatin1Char('\r'), QLatin1String("\\r"));
    result.replace(QLatin1Char('\n'), QLatin1String("\\n"));
    return result;
}

QString SignalRecorder::summary(const OstrelIdentity &identity)
{
    QStringList words;
    words << (identity.slotOrder == OstrelIdentity::AFirst ? QStringLiteral("A-first")
                                                           : QStringLiteral("B-first"));
    for (const OstrelIdentity::SlotInfo &slot : identity.slotList)
        words << QStringLiteral("%1:%2").arg(slot.name).arg(slot.count);
    words << QStringLiteral("usb:");
    for (const OstrelIdentity::UsbDevice &device : identity.usbDevices)
        words << device.alias;
    return words.join(QLatin1Char(' '));
}
