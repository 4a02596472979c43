#include "dialogs/bootmenu.h"

#include "dialogs/screen.h"
#include "dialogs/slotwidget.h"

#include <QPixmap>
#include <QPushButton>
#include <QVBoxLayout>

BootMenu::BootMenu(QWidget *parent)
    : QDialog(parent)
{
    setModal(true);
    setWindowTitle(tr("BOOT ORDER"));
    auto *layout = new QVBoxLayout;
    bootFirstSlot = new SlotWidget(tr("Boot First"), this);
    bootSecondSlot = new SlotWidget(tr("Boot Second"), this);
    swapButton = Screen::button(tr("SWAP"), this);
    connect(swapButton, &QPushButton::clicked, this, &BootMenu::bootOrderSwapped);
    closeButton = Screen::button(tr("CLOSE"), this);
    connect(closeButton, &QPushButton::clicked, this, &QDialog::reject);
    layout->addWidget(bootFirstSlot);
    layout->addWidget(swapButton);
    layout->addWidget(bootSecondSlot);
    layout->addWidget(closeButton);
    setLayout(layout);
}

void BootMenu::refreshBootOrder(const OstrelIdentity &model)
{
    bootFirstSlot->showEntry(model.slotList, 0);
    bootSecondSlot->showEntry(model.slotList, 1);
}

void BootMenu::keyPressEvent(QKeyEvent *event)
{
    const QPixmap picture = Screen::screenshotFor(this, event);
    if (!picture.isNull())
        emit screenshotRequested(picture);
}
