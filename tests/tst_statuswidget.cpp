#include "dialogs/slotwidget.h"
#include "dialogs/statuswidget.h"

#include <QGridLayout>
#include <QLabel>
#include <QTest>

class TestStatusWidget : public QObject
{
    Q_OBJECT

private slots:
    void grid();
    void options_data();
    void options();
    void identity();
};

namespace {

// "row,column rows×columns Text" for every widget in the grid, in reading order.
QStringList cells(const QWidget *panel)
{
    auto *grid = qobject_cast<QGridLayout *>(panel->layout());
    QStringList texts;
    for (int index = 0; index < grid->count(); ++index) {
        int row, column, rows, columns;
        grid->getItemPosition(index, &row, &column, &rows, &columns);
        QWidget *widget = grid->itemAt(index)->widget();
        const QString text = qobject_cast<QLabel *>(widget)
                ? qobject_cast<QLabel *>(widget)->text()
                : qobject_cast<QGroupBox *>(widget)->title();
        texts << QString("%1,%2 %3x%4 %5").arg(row).arg(column).arg(rows).arg(columns).arg(text);
    }
    texts.sort();
    return texts;
}

QString line(const QWidget *panel, const QString &caption)
{
    for (const QLabel *label :
         panel->findChildren<QLabel *>(QString(), Qt::FindDirectChildrenOnly)) {
        if (label->text().startsWith(caption + ": "))
            return label->text();
    }
    return QString();
}

} // namespace

// Every line placed and filled with the placeholder before any identity; the panel is a plain
// group box to the meta-object system.
void TestStatusWidget::grid()
{
    StatusWidget panel("Status", nullptr);
    QCOMPARE(panel.metaObject()->className(), "QGroupBox");
    QCOMPARE(panel.title(), "Status");
    QCOMPARE(cells(&panel),
             QStringList({"0,0 1x1 Model: --", "0,1 1x1 Boot Version: --", "0,2 1x1 Serial: --",
                          "1,0 1x1 IP Address: --", "1,1 1x1 Gateway: --",
                          "1,2 1x1 Subnet Mask: --", "2,0 1x1 Recovery Version: --",
                          "3,0 2x3 Options: --", "5,0 1x3 Boot First", "6,0 1x3 Boot Second"}));
    for (const QLabel *label : panel.findChildren<QLabel *>(QString(), Qt::FindDirectChildrenOnly))
        QCOMPARE(label->wordWrap(), label->text().startsWith("Options"));
}

void TestStatusWidget::options_data()
{
    QTest::addColumn<QString>("options");
    QTest::addColumn<QString>("shown");

    QTest::newRow("codes") << "0102/0117/0135"
                           << "Options: 0102/ 0117/ 0135";
    QTest::newRow("already spaced gets another") << "0102/ 0117"
                                                 << "Options: 0102/  0117";
    QTest::newRow("trailing slash") << "0102/"
                                    << "Options: 0102/ ";
    QTest::newRow("no slash") << "0102"
                              << "Options: 0102";
    QTest::newRow("empty") << ""
                           << "Options: ";
}

void TestStatusWidget::options()
{
    QFETCH(QString, options);
    QFETCH(QString, shown);

    StatusWidget panel("Status", nullptr);
    OstrelIdentity identity;
    identity.options = options;
    panel.updateIdentity(identity);
    QCOMPARE(line(&panel, "Options"), shown);
    QCOMPARE(identity.options, options);
}

void TestStatusWidget::identity()
{
    StatusWidget panel("Status", nullptr);
    OstrelIdentity identity;
    identity.model = "VX4120A";
    identity.serial = "";
    identity.ip = "10.0.0.2";
    identity.subnet = "255.255.252.0";
    identity.gateway = "10.0.0.1";
    identity.bootVersion = "4.0.0";
    identity.recoveryVersion = "1.0.0";
    identity.slotList = {{"B", "T1", 3}, {"A", "E1", 2}};
    panel.updateIdentity(identity);
    QCOMPARE(cells(&panel).mid(0, 7),
             QStringList({"0,0 1x1 Model: VX4120A", "0,1 1x1 Boot Version: 4.0.0",
                          "0,2 1x1 Serial: ", "1,0 1x1 IP Address: 10.0.0.2",
                          "1,1 1x1 Gateway: 10.0.0.1", "1,2 1x1 Subnet Mask: 255.255.252.0",
                          "2,0 1x1 Recovery Version: 1.0.0"}));
    const auto slots_ = panel.findChildren<SlotWidget *>();
    QCOMPARE(slots_[0]->title(), "Boot First");
    QCOMPARE(slots_[0]->findChild<QLabel *>()->text(), "Slot:\tB");
    QCOMPARE(slots_[1]->findChild<QLabel *>()->text(), "Slot:\tA");

    // The next identity differs only in its boot order: the panels swap, their titles stay.
    identity.slotList.swapItemsAt(0, 1);
    panel.updateIdentity(identity);
    QCOMPARE(slots_[0]->title(), "Boot First");
    QCOMPARE(slots_[0]->findChild<QLabel *>()->text(), "Slot:\tA");
    QCOMPARE(slots_[1]->findChild<QLabel *>()->text(), "Slot:\tB");
}

QTEST_MAIN(TestStatusWidget)
#include "tst_statuswidget.moc"
