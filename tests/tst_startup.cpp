#include "app/commandline.h"

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QFile>
#include <QImage>
#include <QPixmap>
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
    void styleSheetResource();
    void logoResource();
};

void TestStartup::badCommandLineEndsBeforeAnyWindow_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("message");

    QTest::newRow("undeclared option") << QStringList {QStringLiteral("--verbose")}
                                       << QStringLiteral("Unknown option 'verbose'.");
    QTest::newRow("value missing at the end")
            << QStringList {QStringLiteral("stray"), QStringLiteral("--hostName")}
            << QStringLiteral("Missing value after '--hostName'.");
    QTest::newRow("no help option")
            << QStringList {QStringLiteral("--help")} << QStringLiteral("Unknown option 'help'.");
    QTest::newRow("no version option") << QStringList {QStringLiteral("--version")}
                                       << QStringLiteral("Unknown option 'version'.");
    QTest::newRow("single dash reads as short options")
            << QStringList {QStringLiteral("-hostName"), QStringLiteral("x")}
            << QStringLiteral("Unknown options: h, o, s, t, N, a, m, e.");
    QTest::newRow("wrong case") << QStringList {QStringLiteral("--hostname=x")}
                                << QStringLiteral("Unknown option 'hostname'.");
    QTest::newRow("very long option")
            << QStringList {QStringLiteral("--") + QString(20000, QLatin1Char('z'))}
            << QStringLiteral("Unknown option 'zzzz");
}

// Against the built program: the parser must end it before the window (or even the style sheet)
// exists, with its message and a failure status.
void TestStartup::badCommandLineEndsBeforeAnyWindow()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, message);

    QProcess program;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    program.setProcessEnvironment(environment);
    program.start(QStringLiteral(OSTREL_RECOVERY_EXECUTABLE), arguments);
    QVERIFY2(program.waitForFinished(60000), "the program kept running: a window was shown");
    QCOMPARE(program.exitStatus(), QProcess::NormalExit);
    QCOMPARE(program.exitCode(), 1);
    const QString errors = QString::fromLocal8Bit(program.readAllStandardError());
    QVERIFY2(errors.contains(message), qPrintable(errors.left(500)));
    QVERIFY(program.readAllStandardOutput().isEmpty());
}

void TestStartup::hostName_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("hostName");

    QTest::newRow("no arguments") << QStringList {} << QString();
    QTest::newRow("empty value is no host")
            << QStringList {QStringLiteral("--hostName=")} << QString();
    QTest::newRow("value as next argument")
            << QStringList {QStringLiteral("--hostName"), QStringLiteral("192.168.1.20")}
            << QStringLiteral("192.168.1.20");
    QTest::newRow("last value wins")
            << QStringList {QStringLiteral("--hostName"), QStringLiteral("192.168.1.20"),
                            QStringLiteral("--hostName=10.0.0.5")}
            << QStringLiteral("10.0.0.5");
    QTest::newRow("stray positional argument ignored")
            << QStringList {QStringLiteral("stray"), QStringLiteral("--hostName=box")}
            << QStringLiteral("box");
    QTest::newRow("value taken unchecked")
            << QStringList {QStringLiteral("--hostName"), QStringLiteral(" not a host/ ")}
            << QStringLiteral(" not a host/ ");
}

void TestStartup::hostName()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, hostName);

    QCommandLineParser parser;
    const QCommandLineOption option = CommandLine::hostNameOption();
    QVERIFY(parser.addOption(option));
    QVERIFY2(parser.parse(QStringList {QStringLiteral("ostrel-recovery")} + arguments),
             qPrintable(parser.errorText()));
    QCOMPARE(parser.value(option), hostName);
    QCOMPARE(option.names(), QStringList {QStringLiteral("hostName")});
    QCOMPARE(option.valueName(), QStringLiteral("hostName"));
    QCOMPARE(option.description(),
             QStringLiteral("The hostname of the device in recovery mode to connect to"));
}

void TestStartup::styleSheetResource()
{
    const QByteArray expected
            = "QPushButton, QTextEdit, QGroupBox, QCheckBox, QLabel { font: 20px} "
              "QScrollBar:vertical "
              "{ "
              "width: 48px; }  QLabel#TitleLabel { font: 50px}  HelpMessageRebootMenu QPushButton, "
              "HelpMessageRebootMenu QLabel { font: 30px}\r\n";
    QFile file(QStringLiteral(":/styleSheet.qss"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray content = file.readAll();
    QCOMPARE(content.size(), 217);
    QCOMPARE(content, expected);
    QCOMPARE(QResource(QStringLiteral(":/styleSheet.qss")).compressionAlgorithm(),
             QResource::NoCompression);
}

void TestStartup::logoResource()
{
    const QImage logo(QStringLiteral(":/Velmora-logo.png"));
    QCOMPARE(logo.size(), QSize(289, 63));
    QCOMPARE(logo.format(), QImage::Format_Indexed8);
    QVERIFY(!QPixmap(QStringLiteral(":/Velmora-logo.png")).isNull());
    QCOMPARE(QResource(QStringLiteral(":/Velmora-logo.png")).compressionAlgorithm(),
             QResource::NoCompression);
}

QTEST_MAIN(TestStartup)
#include "tst_startup.moc"
