#pragma once

#include "model/ostrelidentity.h"

#include <QWidget>

class AbstractCommandProcessor;
class BootMenu;
class Console;
class HelpMessageRebootMenu;
class QGroupBox;
class Resetmenu;
class StatusWidget;
class QLabel;
class QPushButton;

// The console as built to run on the instrument itself: full screen, REBOOT whenever nothing runs,
// screenshots onto the USB stick, and the instrument's own service tool behind it when no host is
// named. The default build is the desktop console.
#ifdef OSTREL_INSTRUMENT_BUILD
inline constexpr bool InstrumentBuild = true;
#else
inline constexpr bool InstrumentBuild = false;
#endif

// Where screenshots go when the window is not on a desktop: the first USB stick, mounted under
// its alias, or else the user data root.
inline const QString UsbMountRoot = QStringLiteral("/run/media/");
inline const QString UserDataRoot = QStringLiteral("/mnt/usrroot");

// The console's one window: it picks the back end, builds the panels and wires button presses to
// back-end operations and the back end's reports to the console, labels and button states.
class OstrelRecovery : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(OstrelRecovery)

public:
    explicit OstrelRecovery(const QString &hostName, QWidget *parent = nullptr);
    ~OstrelRecovery() override;

    // The folder a screenshot is written to, for an identity and a presentation.
    static QString screenshotFolder(const OstrelIdentity &identity, bool desktopMode);

protected:
    void keyPressEvent(QKeyEvent *event) override;

private slots:
    void handleResetClicked();
    void handleExportClicked();
    void handleInstallSoftwareClicked();
    void handleBootOrderClicked();
    void handleRebootClicked();
    void handleBootOrderChanged();
    void handleScreenshotRequested(QPixmap pixMap);

private:
    void handleResponseReceived(const QString &response);
    void handleIdentityUpdated(const OstrelIdentity &newIdentity);
    void handleBusyChanged(bool busy);
    void handleHelpMessageRejected();
    void updateUsbStatus();
    void createConsoleGroup();
    void createCommandsGroup();
    void createUsbGroup();
    void createStatusGroup();

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
    Console *console = nullptr;
    StatusWidget *statusWidget = nullptr;
    QPushButton *ejectButton = nullptr;
    QLabel *usbStatusLabel = nullptr;
    QLabel *usbLabelLabel = nullptr;
    QPushButton *refreshButton = nullptr;
    Resetmenu *resetMenu = nullptr;
    BootMenu *bootMenu = nullptr;
    HelpMessageRebootMenu *helpMenu = nullptr;
    bool desktopMode = false;
};
