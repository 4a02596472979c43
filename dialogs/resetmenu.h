#pragma once

#include <QDialog>
#include <QList>

class QCheckBox;
class QGroupBox;
class QPixmap;
class QPushButton;

// Picks which parts of the instrument's state to reset. The box texts are also the words sent,
// so they are not translated; the ticks stay between showings.
class Resetmenu : public QDialog
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Resetmenu)

public:
    explicit Resetmenu(QWidget *parent);

signals:
    void resetInitiated(QStringList resetOptions);
    void screenshotRequested(QPixmap pixMap);

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    void handleResetSelectedClicked();

    QGroupBox *optionsGroup = nullptr;
    QPushButton *resetSelectedButton = nullptr;
    QList<QCheckBox *> checkBoxes;
};
