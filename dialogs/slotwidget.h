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
    // Entry index of a slot list, or the placeholder lines when the list has no such entry
    // (an identity that no instrument reported has none).
    void showEntry(const QList<OstrelIdentity::SlotInfo> &slotList, int index);

private:
    QLabel *slotLabel = nullptr;
    QLabel *versionLabel = nullptr;
    QLabel *countLabel = nullptr;
};
