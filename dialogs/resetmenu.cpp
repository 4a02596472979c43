#include "dialogs/resetmenu.h"

#include <QCheckBox>
#include <QGroupBox>
#include <QKeyEvent>
#include <QPixmap>
#include <QPushButton>
#include <QVBoxLayout>

namespace {
constexpr int ButtonHeight = 48;
}

Resetmenu::Resetmenu(QWidget *parent)
    : QDialog(parent)
{
    setModal(true);
    setWindowTitle(tr("RESET"));
    auto *layout = new QVBoxLayout;
    auto *optionsLayout = new QVBoxLayout;
    optionsGroup = new QGroupBox(this);
    optionsGroup->setLayout(optionsLayout);
    for (const char *text :
         {"Factory", "User", "System", "Internal", "Network", "Slot A Count", "Slot B Count"})
        checkBoxes.append(new QCheckBox(QString::fromLatin1(text), this));
    for (QCheckBox *checkBox : qAsConst(checkBoxes))
        optionsLayout->addWidget(checkBox);
    resetSelectedButton = new QPushButton(tr("RESET SELECTED"), this);
    resetSelectedButton->setFixedHeight(ButtonHeight);
    connect(resetSelectedButton, &QPushButton::clicked, this,
            &Resetmenu::handleResetSelectedClicked);
    layout->addWidget(optionsGroup);
    layout->addWidget(resetSelectedButton);
    setLayout(layout);
}

// F12 takes a picture; no other key does anything, so Escape never closes the dialog.
void Resetmenu::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_F12)
        emit screenshotRequested(grab());
}

// Box order, whatever order the boxes were ticked in; an empty list goes out too.
void Resetmenu::handleResetSelectedClicked()
{
    QStringList resetOptions;
    for (const QCheckBox *checkBox : qAsConst(checkBoxes)) {
        if (checkBox->isChecked())
            resetOptions.append(checkBox->text().toLower());
    }
    emit resetInitiated(resetOptions);
    close();
}
