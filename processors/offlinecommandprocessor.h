#pragma once

#include "processors/abstractcommandprocessor.h"

// Stands in for the HTTP back end until this build has one: given a host name, the console says
// plainly that it cannot reach that host instead of showing a simulated instrument under its name.
class OfflineCommandProcessor final : public AbstractCommandProcessor
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(OfflineCommandProcessor)

public:
    OfflineCommandProcessor(const QString &hostName, QObject *parent);

    void backUp() override;
    void identify() override;
    void reboot() override;
    void installSoftware() override;
    void setBootOrder(OstrelIdentity::BootOrder order) override;
    void reset(const QStringList &resetList) override;
    bool isBusy() override;
    void cancel() override;
    void ejectUSB() override;

private:
    void reportUnreachable();

    QString hostName;
};
