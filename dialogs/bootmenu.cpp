#include "dialogs/bootmenu.h"

#include "dialogs/slotwidget.h"

#include <QKeyEvent>
#include <QPixmap>
#include <QPushButton>
#include <QVBoxLayout>

namespace {
constexpr int ButtonHeight = 48;
}

BootMenu::BootMenu(QWidget *parent)
    : QDialog(parent)
{
    setModal(true);
    setWindowTitle(tr("BOOT ORDER"));
    auto *layout = new QVBoxLayout;
    bootFirstSlot = new SlotWidget(tr("Boot First"), this);
    bootSecondSlot = new SlotWidget(tr("Boot Second"), this);
    swapButton = new QPushButton(tr("SWAP"), this);
    swapButton->setFixedHeight(ButtonHeight);
    connect(swapButton, &QPushButton::clicked, this, &BootMenu::bootOrderSwapped);
    closeButton = new QPushButton(tr("CLOSE"), this);
    closeButton->setFixedHeight(ButtonHeight);
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

// F12 takes a picture; no other key does anything, so Escape never closes the dialog.
void BootMenu::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_F12)
        emit screenshotRequested(grab());
}
