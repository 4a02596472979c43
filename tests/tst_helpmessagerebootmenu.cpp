#include "app/ostrelrecovery.h"
#include "dialogs/helpmessagerebootmenu.h"
#include "findwidget.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLayout>
#include <QPushButton>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTextEdit>
#include <QTimer>

class TestHelpMessageRebootMenu : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void layout();
    void styleSheetReachesIt();
    void buttonsAndKeys();
    void firstScreenOfTheWindow();
};

// The application's own style sheet, as the program applies it at start-up.
void TestHelpMessageRebootMenu::initTestCase()
{
    QFile styleSheet(":/styleSheet.qss");
    QVERIFY(styleSheet.open(QIODevice::ReadOnly));
    qApp->setStyleSheet(QString::fromUtf8(styleSheet.readAll()));
}

void TestHelpMessageRebootMenu::layout()
{
    HelpMessageRebootMenu menu(nullptr);
    QCOMPARE(menu.metaObject()->className(), "HelpMessageRebootMenu");
    QVERIFY(menu.windowFlags() & Qt::FramelessWindowHint);
    QCOMPARE(menu.minimumSize(), QSize(1280, 800));
    QCOMPARE(menu.maximumSize(), QSize(1280, 800));
    QVERIFY(menu.windowTitle().isEmpty());

    QStringList rows;
    for (int index = 0; index < menu.layout()->count(); ++index) {
        QLayoutItem *item = menu.layout()->itemAt(index);
        const int stretch = qobject_cast<QBoxLayout *>(menu.layout())->stretch(index);
        if (auto *label = qobject_cast<QLabel *>(item->widget())) {
            const QSize logo = label->pixmap(Qt::ReturnByValue).size();
            rows << (label->text().isEmpty()
                             ? QString("logo %1x%2").arg(logo.width()).arg(logo.height())
                             : label->objectName() + ": " + label->text());
        } else if (auto *pushButton = qobject_cast<QPushButton *>(item->widget())) {
            rows << QString("%1 %2").arg(pushButton->text()).arg(pushButton->maximumHeight());
        }
        rows.last() += QString(" (stretch %1)").arg(stretch);
    }
    QCOMPARE(rows,
             QStringList({"logo 289x63 (stretch 0)", "TitleLabel: RECOVERY MODE (stretch 0)",
                          ": You may have entered this screen if a previous boot was "
                          "interrupted.\n\n Click REBOOT INSTRUMENT to restart. Click CONTINUE TO "
                          "RECOVERY MODE to proceed to Recovery Mode.\n\n If this screen persists "
                          "after rebooting, please consult the User Guide for details. (stretch "
                          "200)",
                          "REBOOT INSTRUMENT 96 (stretch 0)",
                          "CONTINUE TO RECOVERY MODE 96 (stretch 0)"}));
    QCOMPARE(menu.layout()->itemAt(0)->alignment(), Qt::AlignCenter);
}

// The style sheet selects the dialog by its class name and the title by its object name.
void TestHelpMessageRebootMenu::styleSheetReachesIt()
{
    HelpMessageRebootMenu menu(nullptr);
    menu.show();
    QVERIFY(QTest::qWaitForWindowExposed(&menu));
    for (QWidget *widget : menu.findChildren<QWidget *>()) {
        const bool title = widget->objectName() == "TitleLabel";
        QCOMPARE(widget->font().pixelSize(), title ? 50 : 30);
    }
}

void TestHelpMessageRebootMenu::buttonsAndKeys()
{
    HelpMessageRebootMenu menu(nullptr);
    QSignalSpy reboots(&menu, &HelpMessageRebootMenu::reboot);
    QSignalSpy screenshots(&menu, &HelpMessageRebootMenu::screenshotRequested);
    QSignalSpy rejected(&menu, &QDialog::rejected);
    menu.show();
    QVERIFY(QTest::qWaitForWindowExposed(&menu));

    find<QPushButton>(&menu, "REBOOT INSTRUMENT")->click();
    find<QPushButton>(&menu, "REBOOT INSTRUMENT")->click();
    QCOMPARE(reboots.count(), 2);
    for (const Qt::Key key : {Qt::Key_Escape, Qt::Key_F11, Qt::Key_Return, Qt::Key_Enter})
        QTest::keyClick(&menu, key);
    QVERIFY(menu.isVisible());
    QCOMPARE(rejected.count(), 0);
    QTest::keyClick(&menu, Qt::Key_F12);
    QCOMPARE(screenshots.count(), 1);
    QCOMPARE(screenshots.first().first().value<QPixmap>().size(), QSize(1280, 800));

    find<QPushButton>(&menu, "CONTINUE TO RECOVERY MODE")->click();
    QVERIFY(!menu.isVisible());
    QCOMPARE(menu.result(), int(QDialog::Rejected));
    QCOMPARE(rejected.count(), 1);
    QCOMPARE(reboots.count(), 2);
}

// Without a host the window's constructor runs the screen before the window is shown; its
// reboot requests and screenshots are already handled by the window.
void TestHelpMessageRebootMenu::firstScreenOfTheWindow()
{
    QTemporaryDir folder;
    const QString previous = QDir::currentPath();
    QVERIFY(QDir::setCurrent(folder.path()));
    const auto restore = qScopeGuard([&] { QDir::setCurrent(previous); });

    bool sawScreen = false;
    QTimer::singleShot(0, this, [&] {
        auto *menu = qobject_cast<HelpMessageRebootMenu *>(QApplication::activeModalWidget());
        QVERIFY(menu);
        sawScreen = true;
        QVERIFY(!qobject_cast<QWidget *>(menu->parent())->isVisible());
        find<QPushButton>(menu, "REBOOT INSTRUMENT")->click();
        // The instrument build writes its pictures to the USB stick or the user data root.
        if (!InstrumentBuild)
            QTest::keyClick(menu, Qt::Key_F12);
        find<QPushButton>(menu, "CONTINUE TO RECOVERY MODE")->click();
    });
    OstrelRecovery window {QString()};
    QVERIFY(sawScreen);
    auto *console = window.findChild<QTextEdit *>();
    if (InstrumentBuild) {
        // The boot count first, awaited, then the stand-in for reboot.
        QTRY_COMPARE(console->toPlainText(),
                     "Boot count of slot A reset.\n\nCommand Finished.\n"
                     "\nCommand Finished.\n");
        return;
    }
    QCOMPARE(console->toPlainText(), "RebootCalled");
    const QStringList pictures = QDir(folder.path()).entryList(QDir::Files);
    QCOMPARE(pictures.size(), 1);
    QCOMPARE(QImage(folder.filePath(pictures.first())).size(), QSize(1280, 800));
    QVERIFY(!window.findChild<HelpMessageRebootMenu *>()->isVisible());
}

QTEST_MAIN(TestHelpMessageRebootMenu)
#include "tst_helpmessagerebootmenu.moc"
