#pragma once

#include "model/ostrelidentity.h"

#include <QDialog>

class QPixmap;
class QPushButton;
class SlotWidget;

// Shows the two slots in boot order. It changes nothing itself: SWAP only says that the user
// wants the other order, and the next identity from the instrument brings the new panels.
class BootMenu : public QDialog
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(BootMenu)

public:
    explicit BootMenu(QWidget *parent);

signals:
    void bootOrderSwapped();
    void screenshotRequested(QPixmap pixMap);

public slots:
    void refreshBootOrder(const OstrelIdentity &model);

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    QPushButton *swapButton = nullptr;
    QPushButton *closeButton = nullptr;
    SlotWidget *bootFirstSlot = nullptr;
    SlotWidget *bootSecondSlot = nullptr;
};
