#include "app/commandline.h"

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QResource>
#include <QTest>

class TestStartup : public QObject
{
    Q_OBJECT

private slots:
    void badCommandLineEndsBeforeAnyWindow_data();
    void badCommandLineEndsBeforeAnyWindow();
    void hostName_data();
    void hostName();
    void resources();
};

void TestStartup::badCommandLineEndsBeforeAnyWindow_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("message");
    QTest::newRow("undeclared option") << QStringList {"--verbose"} << "Unknown option 'verbose'.";
    QTest::newRow("value missing at the end")
            << QStringList {"stray", "--hostName"} << "Missing value after '--hostName'.";
    QTest::newRow("no help option") << QStringList {"--help"} << "Unknown option 'help'.";
    QTest::newRow("very long option")
            << QStringList {"--" + QString(20000, 'z')} << "Unknown option 'zzzz";
}

// Against the built program: the parser ends it, with its message and a failure status, before a
// window exists. A window would keep it running.
void TestStartup::badCommandLineEndsBeforeAnyWindow()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, message);

    QProcess program;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("QT_QPA_PLATFORM", "offscreen");
    program.setProcessEnvironment(environment);
    program.start(OSTREL_RECOVERY_EXECUTABLE, arguments);
    QVERIFY2(program.waitForFinished(60000), "still running: it showed a window");
    QCOMPARE(program.exitStatus(), QProcess::NormalExit);
    QCOMPARE(program.exitCode(), 1);
    const QString errors = QString::fromLocal8Bit(program.readAllStandardError());
    QVERIFY2(errors.contains(message), qPrintable(errors.left(300)));
}

void TestStartup::hostName_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("hostName");
    QTest::newRow("no arguments") << QStringList() << QString();
    QTest::newRow("empty value is no host") << QStringList {"--hostName="} << QString();
    QTest::newRow("value as next argument")
            << QStringList {"--hostName", "192.168.1.20"} << "192.168.1.20";
    QTest::newRow("last value wins")
            << QStringList {"--hostName", "192.168.1.20", "--hostName=10.0.0.5"} << "10.0.0.5";
    QTest::newRow("stray positional argument ignored")
            << QStringList {"stray", "--hostName=box"} << "box";
    QTest::newRow("value taken unchecked")
            << QStringList {"--hostName", " not a host/ "} << " not a host/ ";
}

void TestStartup::hostName()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, hostName);

    QCommandLineParser parser;
    const QCommandLineOption option = CommandLine::hostNameOption();
    parser.addOption(option);
    QVERIFY2(parser.parse(QStringList {"ostrel-recovery"} + arguments),
             qPrintable(parser.errorText()));
    QCOMPARE(parser.value(option), hostName);
}

void TestStartup::resources()
{
    QFile styleSheet(":/styleSheet.qss");
    QVERIFY(styleSheet.open(QIODevice::ReadOnly));
    QCOMPARE(styleSheet.readAll(),
             "QPushButton, QTextEdit, QGroupBox, QCheckBox, QLabel { font: 20px} "
             "QScrollBar:vertical { width: 48px; }  QLabel#TitleLabel { font: 50px}  "
             "HelpMessageRebootMenu QPushButton, HelpMessageRebootMenu QLabel { font: 30px}\r\n");
    QCOMPARE(styleSheet.size(), 217);

    const QImage logo(":/Velmora-logo.png");
    QCOMPARE(logo.size(), QSize(289, 63));
    QCOMPARE(logo.format(), QImage::Format_Indexed8);
    for (const char *path : {":/styleSheet.qss", ":/Velmora-logo.png"})
        QCOMPARE(QResource(path).compressionAlgorithm(), QResource::NoCompression);
}

QTEST_MAIN(TestStartup)
#include "tst_startup.moc"
