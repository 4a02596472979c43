#pragma once

#include "model/ostrelidentity.h"

#include <QWidget>

class AbstractCommandProcessor;
class QGroupBox;
class QLabel;
class QPushButton;
class QTextEdit;

// The console's one window: it picks the back end, builds the panels and wires button presses to
// back-end operations and the back end's reports to the console, labels and button states.
class OstrelRecovery : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(OstrelRecovery)

public:
    explicit OstrelRecovery(const QString &hostName, QWidget *parent = nullptr);
    ~OstrelRecovery() override;

private slots:
    void handleExportClicked();
    void handleInstallSoftwareClicked();
    void handleRebootClicked();

private:
    void handleResponseReceived(const QString &response);
    void handleIdentityUpdated(const OstrelIdentity &newIdentity);
    void handleBusyChanged(bool busy);
    void updateUsbStatus();
    void createConsoleGroup();
    void createCommandsGroup();
    void createUsbGroup();
    void createStatusGroup();

    QPushButton *createButton(const QString &text, QWidget *parent);
    void insertConsoleText(const QString &text);
    bool rebootLocked() const;

    AbstractCommandProcessor *processor = nullptr;
    OstrelIdentity identity;
    QString hostName;
    QGroupBox *consoleGroup = nullptr;
    QGroupBox *commandsGroup = nullptr;
    QGroupBox *usbGroup = nullptr;
    QGroupBox *exportGroup = nullptr;
    QPushButton *installButton = nullptr;
    QPushButton *resetButton = nullptr;
    QPushButton *exportButton = nullptr;
    QPushButton *bootOrderButton = nullptr;
    QPushButton *rebootButton = nullptr;
    QPushButton *cancelButton = nullptr;
    QTextEdit *console = nullptr;
    QPushButton *ejectButton = nullptr;
    QLabel *usbStatusLabel = nullptr;
    QLabel *usbLabelLabel = nullptr;
    QPushButton *refreshButton = nullptr;
    bool desktopMode = false;
};
