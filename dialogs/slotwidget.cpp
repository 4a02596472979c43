#include "dialogs/slotwidget.h"

#include <QLabel>
#include <QVBoxLayout>

SlotWidget::SlotWidget(const QString &title, QWidget *parent)
    : QGroupBox(title, parent)
{
    auto *layout = new QVBoxLayout;
    slotLabel = new QLabel(this);
    versionLabel = new QLabel(this);
    countLabel = new QLabel(this);
    showEntry({}, 0);
    layout->addWidget(slotLabel);
    layout->addWidget(versionLabel);
    layout->addWidget(countLabel);
    setLayout(layout);
}

void SlotWidget::updateSlot(const OstrelIdentity::SlotInfo &slot)
{
    slotLabel->setText(tr("Slot:\t%1").arg(slot.name));
    versionLabel->setText(tr("Version:\t%1").arg(slot.version));
    countLabel->setText(tr("Count:\t%1").arg(slot.count));
}

void SlotWidget::showEntry(const QList<OstrelIdentity::SlotInfo> &slotList, int index)
{
    if (index < slotList.size()) {
        updateSlot(slotList.at(index));
        return;
    }
    slotLabel->setText(tr("Slot:\t%1").arg(NoValueText));
    versionLabel->setText(tr("Version:\t%1").arg(NoValueText));
    countLabel->setText(tr("Count:\t%1").arg(NoValueText));
}
