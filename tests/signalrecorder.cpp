#include "signalrecorder.h"

#include "processors/abstractcommandprocessor.h"

SignalRecorder::SignalRecorder(AbstractCommandProcessor *processor)
    : QObject(processor)
{
    connect(processor, &AbstractCommandProcessor::responseReceived, this,
            [this](const QString &response) { events << "response: " + visible(response); });
    connect(processor, &AbstractCommandProcessor::identityUpdated, this,
            [this](const OstrelIdentity &identity) { events << "identity: " + summary(identity); });
    connect(processor, &AbstractCommandProcessor::isBusyChanged, this,
            [this](bool busy) { events << (busy ? "busy: true" : "busy: false"); });
}

QString SignalRecorder::visible(QString text)
{
    return text.replace('\r', "\\r").replace('\n', "\\n");
}

QString SignalRecorder::summary(const OstrelIdentity &identity)
{
    QStringList words {identity.slotOrder == OstrelIdentity::AFirst ? "A-first" : "B-first"};
    for (const OstrelIdentity::SlotInfo &slot : identity.slotList)
        words << QString("%1:%2").arg(slot.name).arg(slot.count);
    words << "usb:";
    for (const OstrelIdentity::UsbDevice &device : identity.usbDevices)
        words << device.alias;
    return words.join(' ');
}

bool SignalRecorder::perform(AbstractCommandProcessor *processor, const QString &operation)
{
    if (operation.startsWith("setBootOrder ")) {
        const QString order = operation.mid(13);
        processor->setBootOrder(order == "A"           ? OstrelIdentity::AFirst
                                        : order == "B" ? OstrelIdentity::BFirst
                                                       : OstrelIdentity::BootOrder(order.toInt()));
        return true;
    }
    if (operation.startsWith("reset:")) {
        const QString items = operation.mid(6).trimmed();
        processor->reset(items.isEmpty() ? QStringList() : items.split(", "));
        return true;
    }
    return QMetaObject::invokeMethod(processor, qPrintable(operation));
}
