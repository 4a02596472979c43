#pragma once

#include "model/ostrelidentity.h"

#include <QObject>
#include <QStringList>

// The one door between the screens and the instrument. Every result comes back through the three
// signals, on the GUI thread, through direct connections.
class AbstractCommandProcessor : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(AbstractCommandProcessor)

public:
    explicit AbstractCommandProcessor(QObject *parent);

public slots:
    virtual void backUp() = 0;
    virtual void identify() = 0;
    virtual void reboot() = 0;
    virtual void installSoftware() = 0;
    virtual void setBootOrder(OstrelIdentity::BootOrder order) = 0;
    virtual void reset(const QStringList &resetList) = 0;
    virtual bool isBusy() = 0;
    virtual void cancel() = 0;
    virtual void ejectUSB() = 0;

signals:
    void responseReceived(const QString &response);
    void identityUpdated(const OstrelIdentity &identity);
    void isBusyChanged(bool busy);
};
