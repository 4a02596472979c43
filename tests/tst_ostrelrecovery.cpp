#include "app/ostrelrecovery.h"
#include "processors/abstractcommandprocessor.h"

#include <QGroupBox>
#include <QLabel>
#include <QLayout>
#include <QPushButton>
#include <QTest>
#include <QTextEdit>

namespace {
const QString SimulatedHost;
const QString InstrumentHost = QStringLiteral("192.168.1.20");

QPushButton *button(const QWidget &window, const QString &textStart)
{
    const auto buttons = window.findChildren<QPushButton *>();
    for (QPushButton *candidate : buttons) {
        if (candidate->text().startsWith(textStart))
            return candidate;
    }
    return nullptr;
}

QGroupBox *group(const QWidget &window, const QString &title)
{
    const auto groups = window.findChildren<QGroupBox *>();
    for (QGroupBox *candidate : groups) {
        if (candidate->title() == title)
            return candidate;
    }
    return nullptr;
}

QLabel *label(const QWidget &window, const QString &textStart)
{
    const auto labels = window.findChildren<QLabel *>();
    for (QLabel *candidate : labels) {
        if (candidate->text().startsWith(textStart))
            return candidate;
    }
    return nullptr;
}

// The buttons that can be pressed, in a fixed order, as one line.
QString enabledButtons(const QWidget &window)
{
    static const QStringList names = {QStringLiteral("INSTALL SW"),    QStringLiteral("RESET..."),
                                      QStringLiteral("BOOT ORDER..."), QStringLiteral("REBOOT"),
                                      QStringLiteral("EXPORT"),        QStringLiteral("CANCEL"),
                                      QStringLiteral("EJECT"),         QStringLiteral("REFRESH")};
    QStringList enabled;
    for (const QString &name : names) {
        QPushButton *found = button(window, name);
        if (found && found->isEnabled())
            enabled << name;
    }
    return enabled.join(QLatin1String(", "));
}

AbstractCommandProcessor *processorOf(const QWidget &window)
{
    return window.findChild<AbstractCommandProcessor *>();
}

QString consoleText(const QWidget &window)
{
    return window.findChild<QTextEdit *>()->toPlainText();
}
} // namespace

class TestOstrelRecovery : public QObject
{
    Q_OBJECT

private slots:
    void window_data();
    void window();
    void panels();
    void buttonStates_data();
    void buttonStates();
    void identityReachesLabels_data();
    void identityReachesLabels();
    void buttonsReachTheBackEnd();
};

void TestOstrelRecovery::window_data()
{
    QTest::addColumn<QString>("hostName");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("backEnd");
    QTest::newRow("no host: simulated instrument")
            << SimulatedHost << QStringLiteral("Recovery Mode")
            << QStringLiteral("FakeCommandProcessor");
    QTest::newRow("host in the title")
            << InstrumentHost << QStringLiteral("Recovery Mode (192.168.1.20)")
            << QStringLiteral("OfflineCommandProcessor");
    QTest::newRow("host text taken as given")
            << QStringLiteral(" <b>odd</b> ") << QStringLiteral("Recovery Mode ( <b>odd</b> )")
            << QStringLiteral("OfflineCommandProcessor");
}

void TestOstrelRecovery::window()
{
    QFETCH(QString, hostName);
    QFETCH(QString, title);
    QFETCH(QString, backEnd);

    OstrelRecovery window(hostName);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QCOMPARE(window.windowTitle(), title);
    QCOMPARE(window.size(), QSize(1280, 800));
    QCOMPARE(window.minimumSize(), QSize(1280, 800));
    QCOMPARE(window.maximumSize(), QSize(1280, 800));
    QCOMPARE(window.windowState(), Qt::WindowNoState);

    const auto processors = window.findChildren<AbstractCommandProcessor *>();
    QCOMPARE(processors.size(), 1);
    QCOMPARE(QString::fromLatin1(processors.first()->metaObject()->className()), backEnd);
    QCOMPARE(processors.first()->parent(), &window);
}

void TestOstrelRecovery::panels()
{
    OstrelRecovery window(SimulatedHost);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));

    QGroupBox *console = group(window, QStringLiteral("Console"));
    QGroupBox *commands = group(window, QStringLiteral("Commands"));
    QGroupBox *usb = group(window, QStringLiteral("USB Device"));
    QGroupBox *exportGroup = group(window, QStringLiteral("Export"));
    QVERIFY(console && commands && usb && exportGroup);
    QCOMPARE(console->height(), 266);
    QCOMPARE(commands->width(), 426);
    QCOMPARE(usb->size(), QSize(426, 266));
    QCOMPARE(exportGroup->height(), 200);
    QCOMPARE(exportGroup->parentWidget(), commands);

    // Commands top to bottom, then the Export group with EXPORT above CANCEL; console bottom left,
    // USB bottom right beside it.
    QStringList order;
    for (int i = 0; i < commands->layout()->count(); ++i) {
        QWidget *widget = commands->layout()->itemAt(i)->widget();
        if (auto *push = qobject_cast<QPushButton *>(widget))
            order << push->text();
        else if (auto *box = qobject_cast<QGroupBox *>(widget))
            order << box->title();
    }
    QCOMPARE(order,
             (QStringList {QStringLiteral("INSTALL SW TO SLOT B"), QStringLiteral("RESET..."),
                           QStringLiteral("BOOT ORDER..."), QStringLiteral("REBOOT"),
                           QStringLiteral("Export")}));
    QVERIFY(button(window, QStringLiteral("EXPORT"))->y()
            < button(window, QStringLiteral("CANCEL"))->y());
    QVERIFY(console->geometry().top() > commands->geometry().top());
    QCOMPARE(usb->geometry().top(), console->geometry().top());
    QVERIFY(usb->geometry().left() > console->geometry().right());
    QVERIFY(button(window, QStringLiteral("EJECT"))->x()
            < button(window, QStringLiteral("REFRESH"))->x());

    const auto buttons = window.findChildren<QPushButton *>();
    QCOMPARE(buttons.size(), 8);
    for (QPushButton *push : buttons)
        QCOMPARE(push->height(), 48);

    auto *text = window.findChild<QTextEdit *>();
    QVERIFY(text->isReadOnly());
    QCOMPARE(text->textInteractionFlags(), Qt::NoTextInteraction);
    QCOMPARE(label(window, QStringLiteral("Status : "))->alignment(), Qt::AlignCenter);
    QCOMPARE(label(window, QStringLiteral("Label : "))->alignment(), Qt::AlignCenter);
}

void TestOstrelRecovery::buttonStates_data()
{
    QTest::addColumn<QString>("hostName");
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<QString>("enabled");

    const QString all
            = QStringLiteral("INSTALL SW, RESET..., BOOT ORDER..., REBOOT, EXPORT, EJECT, REFRESH");
    const QString allButReboot
            = QStringLiteral("INSTALL SW, RESET..., BOOT ORDER..., EXPORT, EJECT, REFRESH");
    const QString whileBusy = QStringLiteral("EJECT, REFRESH");

    QTest::newRow("host: after construction") << InstrumentHost << QStringList {} << all;
    QTest::newRow("no host: REBOOT locked") << SimulatedHost << QStringList {} << allButReboot;
    QTest::newRow("host: busy") << InstrumentHost << QStringList {QStringLiteral("busy")}
                                << whileBusy;
    QTest::newRow("host: busy, then idle")
            << InstrumentHost << QStringList {QStringLiteral("busy"), QStringLiteral("idle")}
            << all;
    QTest::newRow("no host: idle keeps REBOOT locked")
            << SimulatedHost << QStringList {QStringLiteral("busy"), QStringLiteral("idle")}
            << allButReboot;
    QTest::newRow("repeated reports")
            << InstrumentHost
            << QStringList {QStringLiteral("busy"), QStringLiteral("busy"), QStringLiteral("idle"),
                            QStringLiteral("idle")}
            << all;
    QTest::newRow("no host: EXPORT enables CANCEL, nothing disables it")
            << SimulatedHost << QStringList {QStringLiteral("EXPORT")}
            << QStringLiteral(
                       "INSTALL SW, RESET..., BOOT ORDER..., EXPORT, CANCEL, EJECT, REFRESH");
    QTest::newRow("no host: CANCEL reports idle, which disables it")
            << SimulatedHost << QStringList {QStringLiteral("EXPORT"), QStringLiteral("CANCEL")}
            << allButReboot;
    QTest::newRow("host: busy leaves CANCEL usable")
            << InstrumentHost << QStringList {QStringLiteral("EXPORT"), QStringLiteral("busy")}
            << QStringLiteral("CANCEL, EJECT, REFRESH");
    QTest::newRow("host: idle after export disables CANCEL")
            << InstrumentHost
            << QStringList {QStringLiteral("EXPORT"), QStringLiteral("busy"),
                            QStringLiteral("idle")}
            << all;
    QTest::newRow("busy: disabled buttons ignore clicks")
            << InstrumentHost << QStringList {QStringLiteral("busy"), QStringLiteral("EXPORT")}
            << whileBusy;
}

void TestOstrelRecovery::buttonStates()
{
    QFETCH(QString, hostName);
    QFETCH(QStringList, steps);
    QFETCH(QString, enabled);

    OstrelRecovery window(hostName);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    AbstractCommandProcessor *processor = processorOf(window);
    for (const QString &step : steps) {
        if (step == QLatin1String("busy"))
            emit processor->isBusyChanged(true);
        else if (step == QLatin1String("idle"))
            emit processor->isBusyChanged(false);
        else
            QTest::mouseClick(button(window, step), Qt::LeftButton);
    }
    QCOMPARE(enabledButtons(window), enabled);
}

void TestOstrelRecovery::identityReachesLabels_data()
{
    QTest::addColumn<QStringList>("slotNames");
    QTest::addColumn<QStringList>("usbLabels");
    QTest::addColumn<QString>("install");
    QTest::addColumn<QString>("status");
    QTest::addColumn<QString>("label");

    QTest::newRow("A boots first, no stick")
            << QStringList {QStringLiteral("A"), QStringLiteral("B")} << QStringList {}
            << QStringLiteral("INSTALL SW TO SLOT A") << QStringLiteral("Status : Not Connected")
            << QStringLiteral("Label : --");
    QTest::newRow("two sticks: only the first is shown")
            << QStringList {QStringLiteral("B"), QStringLiteral("A")}
            << QStringList {QStringLiteral("FIRST"), QStringLiteral("SECOND")}
            << QStringLiteral("INSTALL SW TO SLOT B") << QStringLiteral("Status : Connected")
            << QStringLiteral("Label : FIRST");
    QTest::newRow("a stick without a label shows it empty")
            << QStringList {QStringLiteral("B"), QStringLiteral("A")} << QStringList {QString()}
            << QStringLiteral("INSTALL SW TO SLOT B") << QStringLiteral("Status : Connected")
            << QStringLiteral("Label : ");
    QTest::newRow("no slots: install text unchanged")
            << QStringList {} << QStringList {QStringLiteral("KINGSTON")}
            << QStringLiteral("INSTALL SW") << QStringLiteral("Status : Connected")
            << QStringLiteral("Label : KINGSTON");
}

void TestOstrelRecovery::identityReachesLabels()
{
    QFETCH(QStringList, slotNames);
    QFETCH(QStringList, usbLabels);
    QFETCH(QString, install);
    QFETCH(QString, status);
    QFETCH(QString, label);

    // This back end reports no identity, so the window shows what it has before the first one.
    OstrelRecovery window(InstrumentHost);
    const auto shownLabels = group(window, QStringLiteral("USB Device"))->findChildren<QLabel *>();
    QCOMPARE(shownLabels.size(), 2);
    QLabel *statusLabel = shownLabels.at(0);
    QLabel *labelLabel = shownLabels.at(1);
    QVERIFY(statusLabel->text().isEmpty());
    QVERIFY(labelLabel->text().isEmpty());
    QCOMPARE(button(window, QStringLiteral("INSTALL SW"))->text(), QStringLiteral("INSTALL SW"));

    OstrelIdentity identity;
    for (const QString &name : slotNames)
        identity.slotList << OstrelIdentity::SlotInfo {name, QStringLiteral("v"), 0};
    for (const QString &usbLabel : usbLabels)
        identity.usbDevices << OstrelIdentity::UsbDevice {QStringLiteral("USB0"),
                                                          QStringLiteral("/dev/sda1/"), usbLabel};
    emit processorOf(window)->identityUpdated(identity);

    QCOMPARE(button(window, QStringLiteral("INSTALL SW"))->text(), install);
    QCOMPARE(statusLabel->text(), status);
    QCOMPARE(labelLabel->text(), label);

    // A later identity without slots keeps the last slot text; one without sticks clears them.
    emit processorOf(window)->identityUpdated(OstrelIdentity());
    QCOMPARE(button(window, QStringLiteral("INSTALL SW"))->text(), install);
    QCOMPARE(statusLabel->text(), QStringLiteral("Status : Not Connected"));
    QCOMPARE(labelLabel->text(), QStringLiteral("Label : --"));
}

// Every button against the simulated instrument, as a user would press them.
void TestOstrelRecovery::buttonsReachTheBackEnd()
{
    OstrelRecovery window(SimulatedHost);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    AbstractCommandProcessor *processor = processorOf(window);
    int identities = 0;
    connect(processor, &AbstractCommandProcessor::identityUpdated, this,
            [&identities](const OstrelIdentity &) { ++identities; });

    QCOMPARE(label(window, QStringLiteral("Status : "))->text(),
             QStringLiteral("Status : Connected"));
    QCOMPARE(label(window, QStringLiteral("Label : "))->text(), QStringLiteral("Label : KINGSTON"));

    QTest::mouseClick(button(window, QStringLiteral("INSTALL SW")), Qt::LeftButton);
    QCOMPARE(consoleText(window),
             QStringLiteral("Installing Software\nThis might take some time\n"
                            "Install Software requested"));

    // REFRESH and EJECT stay usable while the back end is busy.
    emit processor->isBusyChanged(true);
    QTest::mouseClick(button(window, QStringLiteral("REFRESH")), Qt::LeftButton);
    QCOMPARE(identities, 1);
    QTest::mouseClick(button(window, QStringLiteral("EJECT")), Qt::LeftButton);
    QCOMPARE(identities, 2);
    QCOMPARE(label(window, QStringLiteral("Status : "))->text(),
             QStringLiteral("Status : Not Connected"));
    QCOMPARE(label(window, QStringLiteral("Label : "))->text(), QStringLiteral("Label : --"));

    OstrelRecovery instrument(InstrumentHost);
    instrument.show();
    QVERIFY(QTest::qWaitForWindowExposed(&instrument));
    QTest::mouseClick(button(instrument, QStringLiteral("REBOOT")), Qt::LeftButton);
    QCOMPARE(consoleText(instrument).count(QStringLiteral("192.168.1.20")), 2);
}

QTEST_MAIN(TestOstrelRecovery)
#include "tst_ostrelrecovery.moc"
