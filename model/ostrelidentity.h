#pragma once

#include <QList>
#include <QString>

// Shown wherever the instrument has not told us a value.
inline const QString NoValueText = QStringLiteral("--");

// Everything the console knows about the instrument, as a plain value that back ends report whole.
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
};
