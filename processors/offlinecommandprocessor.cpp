#include "processors/offlinecommandprocessor.h"

OfflineCommandProcessor::OfflineCommandProcessor(const QString &hostName, QObject *parent)
    : AbstractCommandProcessor(parent)
    , hostName(hostName)
{ }

void OfflineCommandProcessor::backUp()
{
    reportUnreachable();
}

void OfflineCommandProcessor::identify()
{
    reportUnreachable();
}

void OfflineCommandProcessor::reboot()
{
    reportUnreachable();
}

void OfflineCommandProcessor::installSoftware()
{
    reportUnreachable();
}

void OfflineCommandProcessor::setBootOrder(OstrelIdentity::BootOrder)
{
    reportUnreachable();
}

void OfflineCommandProcessor::reset(const QStringList &)
{
    reportUnreachable();
}

bool OfflineCommandProcessor::isBusy()
{
    return false;
}

void OfflineCommandProcessor::cancel()
{
    reportUnreachable();
}

void OfflineCommandProcessor::ejectUSB()
{
    reportUnreachable();
}

void OfflineCommandProcessor::reportUnreachable()
{
    emit responseReceived(
            tr("Not sent to %1: this build cannot reach an instrument over the network yet.\n")
                    .arg(hostName));
}
