#include "processors/commandprocessor.h"

#include "processors/protocol.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

const QString CommandProcessor::DefaultToolPath = QStringLiteral(OSTREL_SERVICE_TOOL);
const QString CommandProcessor::DefaultRebootCommand = QStringLiteral(OSTREL_REBOOT_COMMAND);

CommandProcessor::CommandProcessor(QObject *parent)
    : CommandProcessor(DefaultToolPath, DefaultRebootCommand, DefaultWaitMilliseconds, parent)
{ }

CommandProcessor::CommandProcessor(const QString &toolPath, const QString &rebootCommand,
                                   int waitMilliseconds, QObject *parent)
    : AbstractCommandProcessor(parent)
    , activeSlot(QStringLiteral("A"))
    , toolPath(toolPath)
    , rebootCommand(rebootCommand)
    , waitMilliseconds(waitMilliseconds)
{
    // Nobody reads the tool's error output; unread, it would pile up in memory for as long as
    // the run lasts.
    commandProcess.setStandardErrorFile(QProcess::nullDevice());
    identifyProcess.setStandardErrorFile(QProcess::nullDevice());

    connect(&commandProcess, &QProcess::readyRead, this, &CommandProcessor::handleReadyRead);
    connect(&identifyProcess, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), this,
            &CommandProcessor::handleIdentifyFinished);
    connect(&commandProcess, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), this,
            &CommandProcessor::handleCommandFinished);
    connect(&commandProcess, &QProcess::stateChanged, this,
            [this] { emit isBusyChanged(isBusy()); });
}

// A process that still runs is stopped in its own destructor, and reports its end from there: to
// handlers of an object whose later members are already gone. Cut them off and stop the runs
// while everything is still whole.
CommandProcessor::~CommandProcessor()
{
    disconnect(&commandProcess, nullptr, this, nullptr);
    disconnect(&identifyProcess, nullptr, this, nullptr);
    for (QProcess *process : {&commandProcess, &identifyProcess}) {
        if (process->state() != QProcess::NotRunning) {
            process->kill();
            process->waitForFinished();
        }
    }
}

void CommandProcessor::backUp()
{
    if (isBusy())
        return;
    runCommand(toolPath, {QStringLiteral("backup")});
}

void CommandProcessor::identify()
{
    // A run still going is not started again: its end brings the identity for this request too.
    if (identifyProcess.state() != QProcess::NotRunning)
        return;
    identifyProcess.start(toolPath, {QStringLiteral("identify")}, QIODevice::ReadWrite);
}

// Blocks the window until the boot count is reset, so that the restart cannot overtake it.
void CommandProcessor::reboot()
{
    if (isBusy())
        return;
    runCommandAndWait(
            {QStringLiteral("reset"), QStringLiteral("boot"), QStringLiteral("count"), activeSlot});
    // When that run outlived the wait it still holds the process, and the machine stays up.
    runCommand(rebootCommand, {});
}

void CommandProcessor::installSoftware()
{
    if (isBusy())
        return;
    runCommand(toolPath, {QStringLiteral("install")});
}

void CommandProcessor::setBootOrder(OstrelIdentity::BootOrder order)
{
    if (isBusy())
        return;
    runCommand(toolPath,
               {QStringLiteral("reset"), QStringLiteral("boot"), QStringLiteral("order"),
                order == OstrelIdentity::AFirst ? QStringLiteral("A") : QStringLiteral("B")});
}

// One run per item, each awaited, so the instrument sees the resets in the order of the list.
void CommandProcessor::reset(const QStringList &resetList)
{
    if (isBusy())
        return;
    for (const QString &item : resetList) {
        const QStringList words = Protocol::resetCommandWords(item);
        if (words.isEmpty()) {
            emit responseReceived(tr("Reset item \"%1\" names no slot; skipped.\n").arg(item));
            continue;
        }
        runCommandAndWait(words);
    }
}

bool CommandProcessor::isBusy()
{
    return commandProcess.state() == QProcess::Running;
}

// A request to end, which the tool may take its time over; its end is reported as any other.
void CommandProcessor::cancel()
{
    commandProcess.terminate();
}

void CommandProcessor::ejectUSB()
{
    if (isBusy())
        return;
    runCommand(toolPath, {QStringLiteral("eject")});
}

// Passed on as it comes: a line may arrive in pieces, and the console joins them.
void CommandProcessor::handleReadyRead()
{
    emit responseReceived(Protocol::decodeText(commandProcess.readAllStandardOutput()));
}

void CommandProcessor::handleIdentifyFinished(int exitCode, QProcess::ExitStatus exitStatus)
{
    Q_UNUSED(exitCode)
    Q_UNUSED(exitStatus)
    const QJsonDocument document = QJsonDocument::fromJson(identifyProcess.readAllStandardOutput());
    activeSlot = document.object().value(QLatin1String("slotOrder")).toArray().at(0).toString();
    emit identityUpdated(OstrelIdentity(document));
}

// However the run ended, the instrument may have changed: ask again.
void CommandProcessor::handleCommandFinished(int exitCode, QProcess::ExitStatus exitStatus)
{
    Q_UNUSED(exitCode)
    Q_UNUSED(exitStatus)
    identify();
    emit responseReceived(tr("\nCommand Finished.\n"));
}

// A run still starting, or one that outlived its wait, holds the process: the new one is dropped,
// as the guard would have dropped it a moment later.
void CommandProcessor::runCommand(const QString &program, const QStringList &arguments)
{
    if (commandProcess.state() == QProcess::NotRunning)
        commandProcess.start(program, arguments, QIODevice::ReadWrite);
}

// When the earlier run still holds the process, this wait gives that run more time instead.
void CommandProcessor::runCommandAndWait(const QStringList &arguments)
{
    runCommand(toolPath, arguments);
    commandProcess.waitForFinished(waitMilliseconds);
}
