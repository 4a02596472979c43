#pragma once

#include "processors/abstractcommandprocessor.h"

// A fixed instrument in memory, so every screen can be worked without hardware. Everything an
// operation emits is emitted before it returns; nothing is ever busy.
class FakeCommandProcessor final : public AbstractCommandProcessor
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(FakeCommandProcessor)

public:
    explicit FakeCommandProcessor(QObject *parent);

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
    bool busy = false;
    OstrelIdentity identity;
};
