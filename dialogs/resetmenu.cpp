#include "dialogs/resetmenu.h"

#include "dialogs/screen.h"

#include <QCheckBox>
#include <QGroupBox>
#include <QPixmap>
#include <QPushButton>
#include <QVBoxLayout>

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
    resetSelectedButton = Screen::button(tr("RESET SELECTED"), this);
    connect(resetSelectedButton, &QPushButton::clicked, this,
            &Resetmenu::handleResetSelectedClicked);
    layout->addWidget(optionsGroup);
    layout->addWidget(resetSelectedButton);
    setLayout(layout);
}

void Resetmenu::keyPressEvent(QKeyEvent *event)
{
    const QPixmap picture = Screen::screenshotFor(this, event);
    if (!picture.isNull())
        emit screenshotRequested(picture);
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
