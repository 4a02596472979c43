#pragma once

#include <QList>
#include <QString>

// Shown wherever the instrument has not told us a value.
inline const QString NoValueText = QStringLiteral("--");

// Everything the console knows about the instrument, as a plain value that back ends report whole.
class QJsonDocument;
class QJsonObject;

class OstrelIdentity
{
public:
    enum BootOrder : qint32 {
        AFirst = 0,
        BFirst = 1,
    };

    struct SlotInfo
    {
        QString name;
        QString version;
        int count = 0;
    };

    struct UsbDevice
    {
        QString alias;
        QString device;
        QString label;
    };

    OstrelIdentity();
    // Reads the identity document the instrument sends. Never fails: whatever is missing or of
    // another type takes its default, and anything but an object gives the all-defaults identity.
    explicit OstrelIdentity(const QJsonDocument &document);

    // BFirst until an instrument says otherwise: the same order a document without one gives, so
    // a boot order swap before the first report is well defined.
    BootOrder slotOrder = BFirst;
    QString model;
    QString serial;
    QString options;
    QList<SlotInfo> slotList;
    QString bootVersion;
    QString recoveryVersion;
    QString ip;
    QString subnet;
    QString gateway;
    QList<UsbDevice> usbDevices;

private:
    void parseDocument(const QJsonObject &document);
    void parseSlots(const QJsonObject &document);
    void parseUsbDevices(const QJsonObject &document);
};
