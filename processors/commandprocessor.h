#pragma once

#include "processors/abstractcommandprocessor.h"

#include <QProcess>

// Drives the instrument's own service tool on this machine. Every operation is one or more runs of
// the tool; its standard output goes to the console as it comes, and after every run the tool is
// asked for the identity again. Only the command run counts as busy.
class CommandProcessor final : public AbstractCommandProcessor
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(CommandProcessor)

public:
    explicit CommandProcessor(QObject *parent);
    // The tool, the command that restarts the machine and the longest wait for a run that a later
    // run depends on, for running the back end against stand-ins.
    CommandProcessor(const QString &toolPath, const QString &rebootCommand, int waitMilliseconds,
                     QObject *parent);
    ~CommandProcessor() override;

    void backUp() override;
    void identify() override;
    void reboot() override;
    void installSoftware() override;
    void setBootOrder(OstrelIdentity::BootOrder order) override;
    void reset(const QStringList &resetList) override;
    bool isBusy() override;
    void cancel() override;
    void ejectUSB() override;

    // The build's settings: the instrument's own, or stand-ins in a build for testing.
    static const QString DefaultToolPath;
    static const QString DefaultRebootCommand;
    static constexpr int DefaultWaitMilliseconds = 30000;

private:
    void handleReadyRead();
    void handleIdentifyFinished(int exitCode, QProcess::ExitStatus exitStatus);
    void handleCommandFinished(int exitCode, QProcess::ExitStatus exitStatus);
    void runCommand(const QString &program, const QStringList &arguments);
    void runCommandAndWait(const QStringList &arguments);

    QProcess commandProcess;
    QProcess identifyProcess;
    QString activeSlot;
    const QString toolPath;
    const QString rebootCommand;
    const int waitMilliseconds;
};
