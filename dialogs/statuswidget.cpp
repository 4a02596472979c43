#include "dialogs/statuswidget.h"

#include "dialogs/slotwidget.h"

#include <QGridLayout>
#include <QLabel>

// The panel has no meta-object of its own, so its texts are looked up in the context of
// QGroupBox; spelling that out lets lupdate file them where they are looked up.
StatusWidget::StatusWidget(const QString &title, QWidget *parent)
    : QGroupBox(title, parent)
{
    bootVersionLabel = new QLabel(formatLine(QGroupBox::tr("Boot Version"), NoValueText), this);
    modelLabel = new QLabel(formatLine(QGroupBox::tr("Model"), NoValueText), this);
    optionsLabel = new QLabel(formatLine(QGroupBox::tr("Options"), NoValueText), this);
    optionsLabel->setWordWrap(true);
    serialLabel = new QLabel(formatLine(QGroupBox::tr("Serial"), NoValueText), this);
    ipAddressLabel = new QLabel(formatLine(QGroupBox::tr("IP Address"), NoValueText), this);
    gatewayLabel = new QLabel(formatLine(QGroupBox::tr("Gateway"), NoValueText), this);
    subnetMaskLabel = new QLabel(formatLine(QGroupBox::tr("Subnet Mask"), NoValueText), this);
    recoveryVersionLabel
            = new QLabel(formatLine(QGroupBox::tr("Recovery Version"), NoValueText), this);

    auto *grid = new QGridLayout(this);
    bootFirstSlot = new SlotWidget(QGroupBox::tr("Boot First"), this);
    bootSecondSlot = new SlotWidget(QGroupBox::tr("Boot Second"), this);
    grid->addWidget(modelLabel, 0, 0);
    grid->addWidget(bootVersionLabel, 0, 1);
    grid->addWidget(serialLabel, 0, 2);
    grid->addWidget(ipAddressLabel, 1, 0);
    grid->addWidget(gatewayLabel, 1, 1);
    grid->addWidget(subnetMaskLabel, 1, 2);
    grid->addWidget(recoveryVersionLabel, 2, 0);
    grid->addWidget(optionsLabel, 3, 0, 2, 3);
    grid->addWidget(bootFirstSlot, 5, 0, 1, 3);
    grid->addWidget(bootSecondSlot, 6, 0, 1, 3);
}

void StatusWidget::updateIdentity(const OstrelIdentity &identity)
{
    // A space after every slash gives the word-wrapping label places to break the code list.
    const QString options
            = QString(identity.options).replace(QLatin1Char('/'), QLatin1String("/ "));
    bootVersionLabel->setText(formatLine(QGroupBox::tr("Boot Version"), identity.bootVersion));
    modelLabel->setText(formatLine(QGroupBox::tr("Model"), identity.model));
    optionsLabel->setText(formatLine(QGroupBox::tr("Options"), options));
    serialLabel->setText(formatLine(QGroupBox::tr("Serial"), identity.serial));
    ipAddressLabel->setText(formatLine(QGroupBox::tr("IP Address"), identity.ip));
    subnetMaskLabel->setText(formatLine(QGroupBox::tr("Subnet Mask"), identity.subnet));
    gatewayLabel->setText(formatLine(QGroupBox::tr("Gateway"), identity.gateway));
    bootFirstSlot->showEntry(identity.slotList, 0);
    bootSecondSlot->showEntry(identity.slotList, 1);
    recoveryVersionLabel->setText(
            formatLine(QGroupBox::tr("Recovery Version"), identity.recoveryVersion));
}

QString StatusWidget::formatLine(const QString &caption, const QString &value)
{
    return QStringLiteral("%1: %2").arg(caption, value);
}
