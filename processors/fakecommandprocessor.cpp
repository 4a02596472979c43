#include "processors/fakecommandprocessor.h"

FakeCommandProcessor::FakeCommandProcessor(QObject *parent)
    : AbstractCommandProcessor(parent)
{
    identity.model = QStringLiteral("VX4120A");
    identity.serial = QStringLiteral("1901035");
    identity.options = QStringLiteral("0102/0117/0135/0146/0158/0163/0171/0188/0204/0219/0233/0246/"
                                      "0250/0267/0279/0281/0294/0305/0312");
    identity.bootVersion = QStringLiteral("4.0.0");
    identity.recoveryVersion = QStringLiteral("1.0.0");
    identity.ip = QStringLiteral("127.0.0.1");
    identity.subnet = QStringLiteral("255.255.252.0");
    identity.gateway = QStringLiteral("127.0.0.1");
    identity.slotOrder = OstrelIdentity::BFirst;
    identity.slotList = {
            {QStringLiteral("B"), QStringLiteral("T2019.01.1.1518_20190131_140805"), 3},
            {QStringLiteral("A"), QStringLiteral("E2019.01.1.1518_20190131_111111"), 2},
    };
    identity.usbDevices = {
            {QStringLiteral("USB0"), QStringLiteral("/dev/sda1/"), QStringLiteral("KINGSTON")},
            {QStringLiteral("USB1"), QStringLiteral("/dev/sda2/"), QString()},
    };
}

// A fixed sequence that exercises the console: plain lines, a progress line redrawn by a chunk that
// starts with a carriage return, and one chunk that redraws the same line four times.
void FakeCommandProcessor::backUp()
{
    emit responseReceived(tr("Export without carriage\n"));
    emit responseReceived(tr("Prog 0%"));
    emit responseReceived(tr("Prog 100%"));
    emit responseReceived(tr("\nExport With carriage\n"));
    emit responseReceived(tr("Prog 0%"));
    emit responseReceived(tr("\rProg 100%"));
    emit responseReceived(tr("\nMultiple carriage in one string\n"));
    const QString transferLine
            = tr("\r     18,823,301 100%   88.20kB/s    0:03:28 (xfr#224, to-chk=0/233)");
    emit responseReceived(transferLine.repeated(4));
}

void FakeCommandProcessor::identify()
{
    emit identityUpdated(identity);
}

void FakeCommandProcessor::reboot()
{
    emit responseReceived(tr("RebootCalled"));
}

void FakeCommandProcessor::installSoftware()
{
    emit responseReceived(tr("Install Software requested"));
}

// Swaps the slots on every call, whatever the order asked for: the window always asks for the
// opposite of the order it last saw, so order and list stay in step.
void FakeCommandProcessor::setBootOrder(OstrelIdentity::BootOrder order)
{
    identity.slotOrder = order;
    identity.slotList.swapItemsAt(0, 1);
    identify();
}

void FakeCommandProcessor::reset(const QStringList &) { }

bool FakeCommandProcessor::isBusy()
{
    return busy;
}

void FakeCommandProcessor::cancel()
{
    emit isBusyChanged(false);
}

void FakeCommandProcessor::ejectUSB()
{
    identity.usbDevices.clear();
    identify();
}
