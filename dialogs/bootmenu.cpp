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

// Before any identity has arrived the list is empty: a panel without an entry shows placeholders.
void BootMenu::refreshBootOrder(const OstrelIdentity &model)
{
    const QList<SlotWidget *> panels = {bootFirstSlot, bootSecondSlot};
    for (int index = 0; index < panels.size(); ++index) {
        if (index < model.slotList.size())
            panels[index]->updateSlot(model.slotList.at(index));
        else
            panels[index]->clearSlot();
    }
}

// F12 takes a picture; no other key does anything, so Escape never closes the dialog.
void BootMenu::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_F12)
        emit screenshotRequested(grab());
}
