#pragma once

#include <QDialog>

class QLabel;
class QPixmap;
class QPushButton;

// The first screen without an instrument host: why the instrument is in recovery, and the choice
// between rebooting it and going on to the console. The style sheet selects its texts by this
// class name.
class HelpMessageRebootMenu : public QDialog
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(HelpMessageRebootMenu)

public:
    explicit HelpMessageRebootMenu(QWidget *parent);

signals:
    void reboot();
    void screenshotRequested(QPixmap pixMap);

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    QPushButton *rebootInstrumentButton = nullptr;
    QPushButton *continueButton = nullptr;
    QLabel *messageLabel = nullptr;
    QLabel *titleLabel = nullptr;
    QLabel *logoLabel = nullptr;
};
