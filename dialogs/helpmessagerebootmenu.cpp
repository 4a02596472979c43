#include "dialogs/helpmessagerebootmenu.h"

#include "dialogs/screen.h"

#include <QLabel>
#include <QPixmap>
#include <QPushButton>
#include <QVBoxLayout>

namespace {
constexpr int Width = 1280;
constexpr int Height = 800;
constexpr int MessageStretch = 200;
} // namespace

HelpMessageRebootMenu::HelpMessageRebootMenu(QWidget *parent)
    : QDialog(parent)
{
    setWindowFlag(Qt::FramelessWindowHint);
    setFixedSize(Width, Height);
    auto *layout = new QVBoxLayout;
    // The message names the buttons by their labels, whatever the language.
    const QString rebootText = tr("REBOOT INSTRUMENT");
    const QString continueText = tr("CONTINUE TO RECOVERY MODE");

    logoLabel = new QLabel(this);
    logoLabel->setPixmap(QPixmap(QStringLiteral(":/Velmora-logo.png")));
    rebootInstrumentButton = Screen::button(rebootText, this, Screen::LargeButtonHeight);
    connect(rebootInstrumentButton, &QPushButton::clicked, this, &HelpMessageRebootMenu::reboot);
    continueButton = Screen::button(continueText, this, Screen::LargeButtonHeight);
    connect(continueButton, &QPushButton::clicked, this, &QDialog::reject);
    titleLabel = new QLabel(tr("RECOVERY MODE"), this);
    titleLabel->setAlignment(Qt::AlignCenter);
    titleLabel->setObjectName(QStringLiteral("TitleLabel"));
    messageLabel = new QLabel(
            tr("You may have entered this screen if a previous boot was interrupted.\n\n Click %1 "
               "to restart. Click %2 to proceed to Recovery Mode.\n\n If this screen persists "
               "after rebooting, please consult the User Guide for details.")
                    .arg(rebootText, continueText),
            this);
    messageLabel->setWordWrap(true);
    messageLabel->setAlignment(Qt::AlignCenter);

    layout->addWidget(logoLabel, 0, Qt::AlignCenter);
    layout->addWidget(titleLabel);
    layout->addWidget(messageLabel, MessageStretch);
    layout->addWidget(rebootInstrumentButton);
    layout->addWidget(continueButton);
    setLayout(layout);
}

// No key but F12 does anything: the only way on is the continue button.
void HelpMessageRebootMenu::keyPressEvent(QKeyEvent *event)
{
    const QPixmap picture = Screen::screenshotFor(this, event);
    if (!picture.isNull())
        emit screenshotRequested(picture);
}
