#pragma once

#include "model/ostrelidentity.h"

#include <QGroupBox>

class QLabel;
class SlotWidget;

// Who the instrument is, one line per value, with both slots below. It only displays: no
// signals, no slots, and no meta-object of its own, so its texts belong to QGroupBox.
class StatusWidget : public QGroupBox
{
public:
    StatusWidget(const QString &title, QWidget *parent);

    void updateIdentity(const OstrelIdentity &identity);

private:
    static QString formatLine(const QString &caption, const QString &value);

    QLabel *bootVersionLabel = nullptr;
    QLabel *serialLabel = nullptr;
    QLabel *optionsLabel = nullptr;
    QLabel *modelLabel = nullptr;
    QLabel *ipAddressLabel = nullptr;
    QLabel *gatewayLabel = nullptr;
    QLabel *subnetMaskLabel = nullptr;
    QLabel *recoveryVersionLabel = nullptr;
    SlotWidget *bootFirstSlot = nullptr;
    SlotWidget *bootSecondSlot = nullptr;
};
