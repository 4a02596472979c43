#pragma once

#include "model/ostrelidentity.h"

#include <QGroupBox>

class QLabel;

// One software slot as three lines: which slot, the version installed in it and its boot count.
class SlotWidget : public QGroupBox
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(SlotWidget)

public:
    SlotWidget(const QString &title, QWidget *parent);

    void updateSlot(const OstrelIdentity::SlotInfo &slot);
    // Back to the placeholder lines, for an identity that does not name this slot.
    void clearSlot();

private:
    QLabel *slotLabel = nullptr;
    QLabel *versionLabel = nullptr;
    QLabel *countLabel = nullptr;
};
