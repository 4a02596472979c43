#include "app/ostrelrecovery.h"

#include "app/console.h"
#include "dialogs/bootmenu.h"
#include "dialogs/helpmessagerebootmenu.h"
#include "dialogs/resetmenu.h"
#include "dialogs/screen.h"
#include "dialogs/statuswidget.h"
#include "processors/commandprocessor.h"
#include "processors/fakecommandprocessor.h"
#include "processors/httpcommandprocessor.h"

#include <QBuffer>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include <fcntl.h>
#include <unistd.h>

#include <thread>

namespace {
constexpr int WindowWidth = 1280;
constexpr int WindowHeight = 800;
constexpr int CommandsWidth = 426;
constexpr int ConsoleHeight = 266;
constexpr int ExportHeight = 200;

// Writes what the system still holds of the file, and the folder's entry for it, to the device: a
// technician pulls the stick as soon as the picture is taken, and what is only in the page cache
// then is lost. It waits for the stick, which may write a few kilobytes a second or stall on
// resets for minutes, so it runs beside the window on a thread of its own that nothing waits for.
void syncToDeviceLater(const QString &path)
{
    const QByteArray names[]
            = {QFile::encodeName(path), QFile::encodeName(QFileInfo(path).absolutePath())};
    std::thread([names] {
        for (const QByteArray &name : names) {
            const int descriptor = ::open(name.constData(), O_RDONLY | O_CLOEXEC);
            if (descriptor < 0)
                continue;
            ::fsync(descriptor);
            ::close(descriptor);
        }
    }).detach();
}
} // namespace

OstrelRecovery::OstrelRecovery(const QString &hostName, QWidget *parent)
    : QWidget(parent)
    , hostName(hostName)
{
    setWindowTitle(tr("Recovery Mode"));
    setFixedSize(WindowWidth, WindowHeight);
    desktopMode = !InstrumentBuild;

    if (!hostName.isEmpty()) {
        processor = new HttpCommandProcessor(hostName, this);
        setWindowTitle(windowTitle() + QStringLiteral(" (%1)").arg(hostName));
    } else if (InstrumentBuild) {
        processor = new CommandProcessor(this);
    } else {
        processor = new FakeCommandProcessor(this);
    }
    if (!desktopMode)
        setWindowState(Qt::WindowFullScreen);

    resetMenu = new Resetmenu(this);
    connect(resetMenu, &Resetmenu::resetInitiated, processor, &AbstractCommandProcessor::reset);
    connect(resetMenu, &Resetmenu::screenshotRequested, this,
            &OstrelRecovery::handleScreenshotRequested);

    bootMenu = new BootMenu(this);
    connect(bootMenu, &BootMenu::bootOrderSwapped, this, &OstrelRecovery::handleBootOrderChanged);
    connect(bootMenu, &BootMenu::screenshotRequested, this,
            &OstrelRecovery::handleScreenshotRequested);

    createConsoleGroup();
    createCommandsGroup();
    createUsbGroup();
    createStatusGroup();
    // Only now: a busy report sent while the first identify request starts must not reach the
    // buttons.
    connect(processor, &AbstractCommandProcessor::isBusyChanged, this,
            &OstrelRecovery::handleBusyChanged);

    auto *grid = new QGridLayout;
    grid->addWidget(statusWidget, 0, 0);
    grid->addWidget(commandsGroup, 0, 1);
    grid->addWidget(consoleGroup, 1, 0);
    grid->addWidget(usbGroup, 1, 1);
    setLayout(grid);

    // Without an instrument host the help screen comes first, before the window is shown. Every
    // panel exists by now, so back-end reports during it are handled as usual.
    if (hostName.isEmpty()) {
        helpMenu = new HelpMessageRebootMenu(this);
        connect(helpMenu, &HelpMessageRebootMenu::screenshotRequested, this,
                &OstrelRecovery::handleScreenshotRequested);
        connect(helpMenu, &HelpMessageRebootMenu::reboot, this,
                &OstrelRecovery::handleRebootClicked);
        connect(helpMenu, &QDialog::rejected, this, &OstrelRecovery::handleHelpMessageRejected);
        helpMenu->exec();
    }
}

OstrelRecovery::~OstrelRecovery() = default;

QString OstrelRecovery::screenshotFolder(const OstrelIdentity &identity, bool desktopMode)
{
    if (desktopMode)
        return QDir::currentPath();
    if (identity.usbDevices.isEmpty())
        return UserDataRoot;
    // The alias comes from the instrument; one that is no plain folder name could lead anywhere:
    // "." is the mount root itself, and the system cuts a path at a NUL.
    const QString alias = identity.usbDevices.first().alias;
    if (alias.isEmpty() || alias == QLatin1String(".") || alias.contains(QLatin1Char('/'))
        || alias.contains(QLatin1String("..")) || alias.contains(QChar(QChar::Null)))
        return UserDataRoot;
    return QDir::toNativeSeparators(QStringLiteral("%1/%2").arg(UsbMountRoot, alias));
}

void OstrelRecovery::keyPressEvent(QKeyEvent *event)
{
    const QPixmap picture = Screen::screenshotFor(this, event);
    if (!picture.isNull())
        handleScreenshotRequested(picture);
}

// Returns at once: the dialog makes itself modal.
void OstrelRecovery::handleResetClicked()
{
    resetMenu->show();
}

void OstrelRecovery::handleExportClicked()
{
    processor->backUp();
    cancelButton->setEnabled(true);
}

void OstrelRecovery::handleInstallSoftwareClicked()
{
    console->insertAtEnd(tr("Installing Software\n"));
    console->insertAtEnd(tr("This might take some time\n"));
    processor->installSoftware();
}

void OstrelRecovery::handleBootOrderClicked()
{
    bootMenu->refreshBootOrder(identity);
    bootMenu->show();
}

void OstrelRecovery::handleRebootClicked()
{
    processor->reboot();
}

// The window keeps its own copy as it is: the new order comes back with the next identity.
void OstrelRecovery::handleBootOrderChanged()
{
    const bool aFirst = identity.slotOrder == OstrelIdentity::AFirst;
    console->insertAtEnd(tr("Boot order set %1\n").arg(aFirst ? tr("B to A") : tr("A to B")));
    processor->setBootOrder(aFirst ? OstrelIdentity::BFirst : OstrelIdentity::AFirst);
}

// Named after the current second: a second picture within it replaces the first. A picture that
// cannot be written whole (a full or read-only stick) is lost without a word, and leaves no
// broken file beside the technician's own.
void OstrelRecovery::handleScreenshotRequested(QPixmap pixMap)
{
    const QString fileName
            = QStringLiteral("screenshot_%1.png")
                      .arg(QDateTime::currentDateTime().toString(QStringLiteral("yyMMdd_HHmmss")));
    const QString path = QDir::toNativeSeparators(
            QStringLiteral("%1/%2").arg(screenshotFolder(identity, desktopMode), fileName));
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    if (!pixMap.save(&buffer, "PNG"))
        return;
    // Unbuffered, so that a write the stick refuses is seen here and not lost in a late flush.
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        return;
    if (file.write(png) != png.size()) {
        file.remove();
        return;
    }
    file.close();
    syncToDeviceLater(path);
}

void OstrelRecovery::handleResponseReceived(const QString &response)
{
    console->appendOutput(response);
}

void OstrelRecovery::handleIdentityUpdated(const OstrelIdentity &newIdentity)
{
    identity = newIdentity;
    bootMenu->refreshBootOrder(identity);
    statusWidget->updateIdentity(identity);
    updateUsbStatus();
    if (installButton && !identity.slotList.isEmpty())
        installButton->setText(tr("INSTALL SW TO SLOT %1").arg(identity.slotList.first().name));
}

void OstrelRecovery::handleBusyChanged(bool busy)
{
    installButton->setEnabled(!busy);
    resetButton->setEnabled(!busy);
    exportButton->setEnabled(!busy);
    bootOrderButton->setEnabled(!busy);
    rebootButton->setEnabled(!busy && !rebootLocked());
    if (!busy)
        cancelButton->setEnabled(false);
}

void OstrelRecovery::handleHelpMessageRejected()
{
    processor->identify();
}

void OstrelRecovery::updateUsbStatus()
{
    QString status = tr("Not Connected");
    QString label = NoValueText;
    if (!identity.usbDevices.isEmpty()) {
        status = tr("Connected");
        label = identity.usbDevices.first().label;
    }
    usbStatusLabel->setText(tr("Status : %1").arg(status));
    usbLabelLabel->setText(tr("Label : %1").arg(label));
}

void OstrelRecovery::createConsoleGroup()
{
    consoleGroup = new QGroupBox(tr("Console"), this);
    consoleGroup->setFixedHeight(ConsoleHeight);
    console = new Console(consoleGroup);
    auto *layout = new QVBoxLayout(consoleGroup);
    layout->addWidget(console);

    connect(processor, &AbstractCommandProcessor::responseReceived, this,
            &OstrelRecovery::handleResponseReceived);
    connect(processor, &AbstractCommandProcessor::identityUpdated, this,
            &OstrelRecovery::handleIdentityUpdated);
}

void OstrelRecovery::createCommandsGroup()
{
    commandsGroup = new QGroupBox(tr("Commands"), this);
    commandsGroup->setFixedWidth(CommandsWidth);
    installButton = Screen::button(tr("INSTALL SW"), commandsGroup);
    resetButton = Screen::button(tr("RESET..."), commandsGroup);
    bootOrderButton = Screen::button(tr("BOOT ORDER..."), commandsGroup);
    rebootButton = Screen::button(tr("REBOOT"), commandsGroup);

    exportGroup = new QGroupBox(tr("Export"), commandsGroup);
    exportGroup->setFixedHeight(ExportHeight);
    exportButton = Screen::button(tr("EXPORT"), exportGroup);
    cancelButton = Screen::button(tr("CANCEL"), exportGroup);
    cancelButton->setEnabled(false);
    auto *exportLayout = new QVBoxLayout(exportGroup);
    exportLayout->addWidget(exportButton);
    exportLayout->addWidget(cancelButton);

    auto *layout = new QVBoxLayout(commandsGroup);
    layout->addWidget(installButton);
    layout->addWidget(resetButton);
    layout->addWidget(bootOrderButton);
    layout->addWidget(rebootButton);
    layout->addWidget(exportGroup);

    connect(installButton, &QPushButton::clicked, this,
            &OstrelRecovery::handleInstallSoftwareClicked);
    connect(resetButton, &QPushButton::clicked, this, &OstrelRecovery::handleResetClicked);
    connect(exportButton, &QPushButton::clicked, this, &OstrelRecovery::handleExportClicked);
    connect(bootOrderButton, &QPushButton::clicked, this, &OstrelRecovery::handleBootOrderClicked);
    connect(rebootButton, &QPushButton::clicked, this, &OstrelRecovery::handleRebootClicked);
    connect(cancelButton, &QPushButton::clicked, processor, &AbstractCommandProcessor::cancel);
    if (rebootLocked())
        rebootButton->setEnabled(false);
}

void OstrelRecovery::createUsbGroup()
{
    usbGroup = new QGroupBox(tr("USB Device"), this);
    usbGroup->setFixedSize(commandsGroup->width(), consoleGroup->height());
    usbStatusLabel = new QLabel(usbGroup);
    usbStatusLabel->setAlignment(Qt::AlignCenter);
    usbLabelLabel = new QLabel(usbGroup);
    usbLabelLabel->setAlignment(Qt::AlignCenter);
    ejectButton = Screen::button(tr("EJECT"), usbGroup);
    refreshButton = Screen::button(tr("REFRESH"), usbGroup);

    auto *layout = new QGridLayout(usbGroup);
    layout->addWidget(usbStatusLabel, 0, 0, 1, 2);
    layout->addWidget(usbLabelLabel, 1, 0, 1, 2);
    layout->addWidget(ejectButton, 2, 0);
    layout->addWidget(refreshButton, 2, 1);

    connect(refreshButton, &QPushButton::clicked, processor, &AbstractCommandProcessor::identify);
    connect(ejectButton, &QPushButton::clicked, processor, &AbstractCommandProcessor::ejectUSB);
}

// The panel exists before the request, so an identity reported at once finds it built.
void OstrelRecovery::createStatusGroup()
{
    statusWidget = new StatusWidget(tr("Status"), this);
    processor->identify();
}

// Without an instrument host the only thing a reboot would reach is the simulator.
bool OstrelRecovery::rebootLocked() const
{
    return desktopMode && hostName.isEmpty();
}
