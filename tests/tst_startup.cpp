#include <QProcess>
#include <QTest>

class TestStartup : public QObject
{
    Q_OBJECT

private slots:
    void badCommandLineEndsBeforeAnyWindow_data();
    void badCommandLineEndsBeforeAnyWindow();
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

QTEST_MAIN(TestStartup)
#include "tst_startup.moc"
