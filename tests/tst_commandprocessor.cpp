#include "childprocesses.h"
#include "processors/commandprocessor.h"
#include "signalrecorder.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

// The local back end against the fake tool in tests/: every run notes its arguments in the
// folder's "calls" file and does what the test wrote for its command. Neither the real tool nor the
// real reboot command is ever started.
class TestCommandProcessor : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void runs_data();
    void runs();
    void busyFollowsTheCommandRunOnly();
    void chunks_data();
    void chunks();
    void droppedWhileRunning();
    void activeSlot_data();
    void activeSlot();
    void missingTool();
    void waitBound();
    void cancel();
    void teardownWhileRunning();

private:
    void onRun(const QString &command, const QByteArray &script);
    void release(const QString &name);
    QStringList calls() const;
    QStringList allCalls() const;

    std::unique_ptr<QTemporaryDir> folder;
};

namespace {

const QString Finished = "response: \\nCommand Finished.\\n";
const QString NoIdentity = "identity: B-first B:0 A:0 usb:";

QStringList responses(const SignalRecorder &recorder)
{
    return recorder.events.filter(QRegExp("^response: "));
}

QStringList identities(const SignalRecorder &recorder)
{
    return recorder.events.filter(QRegExp("^identity: "));
}

std::unique_ptr<CommandProcessor> fakeToolProcessor(int waitMilliseconds = 20000)
{
    return std::make_unique<CommandProcessor>(FAKE_TOOL, FAKE_REBOOT, waitMilliseconds, nullptr);
}

} // namespace

void TestCommandProcessor::init()
{
    folder = std::make_unique<QTemporaryDir>();
    QVERIFY(folder->isValid());
    qputenv("FAKE_TOOL_DIR", QFile::encodeName(folder->path()));
}

// Nothing that a test started may outlive it, or its end would land in the next test.
void TestCommandProcessor::cleanup()
{
    release("go");
    QVERIFY(ChildProcesses::settle());
    folder.reset();
}

void TestCommandProcessor::onRun(const QString &command, const QByteArray &script)
{
    QFile file(folder->filePath(command));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(script);
}

void TestCommandProcessor::release(const QString &name)
{
    QFile(folder->filePath(name)).open(QIODevice::WriteOnly);
}

QStringList TestCommandProcessor::allCalls() const
{
    QFile file(folder->filePath("calls"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts);
}

// Without the identify runs, whose place among the others depends on timing.
QStringList TestCommandProcessor::calls() const
{
    QStringList lines = allCalls();
    lines.removeAll("[identify]");
    return lines;
}

void TestCommandProcessor::runs_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QStringList>("expectedCalls");
    QTest::addColumn<QStringList>("expectedResponses");

    QTest::newRow("backUp") << "backUp" << QStringList {"[backup]"} << QStringList {Finished};
    QTest::newRow("installSoftware")
            << "installSoftware" << QStringList {"[install]"} << QStringList {Finished};
    QTest::newRow("ejectUSB") << "ejectUSB" << QStringList {"[eject]"} << QStringList {Finished};
    QTest::newRow("setBootOrder A") << "setBootOrder A" << QStringList {"[reset][boot][order][A]"}
                                    << QStringList {Finished};
    QTest::newRow("setBootOrder B") << "setBootOrder B" << QStringList {"[reset][boot][order][B]"}
                                    << QStringList {Finished};
    QTest::newRow("setBootOrder out of range")
            << "setBootOrder 7" << QStringList {"[reset][boot][order][B]"}
            << QStringList {Finished};
    QTest::newRow("reboot resets the count of slot A before anything is known")
            << "reboot" << QStringList {"[reset][boot][count][A]", "reboot"}
            << QStringList {Finished, Finished};
    QTest::newRow("reset in list order")
            << "reset: slot b count, factory"
            << QStringList {"[reset][boot][count][B]", "[reset][factory]"}
            << QStringList {Finished, Finished};
    QTest::newRow("reset of every box")
            << "reset: factory, user, system, internal, network, slot a count, slot b count"
            << QStringList {"[reset][factory]",       "[reset][user]",    "[reset][system]",
                            "[reset][internal]",      "[reset][network]", "[reset][boot][count][A]",
                            "[reset][boot][count][B]"}
            << QStringList(QVector<QString>(7, Finished).toList());
    QTest::newRow("reset item with capitals holds no count")
            << "reset: Slot A Count" << QStringList {"[reset][Slot A Count]"}
            << QStringList {Finished};
    QTest::newRow("reset item with count as its first word")
            << "reset: factory count" << QStringList {"[reset][boot][count][COUNT]"}
            << QStringList {Finished};
    QTest::newRow("reset item naming no slot is skipped")
            << "reset: count, user" << QStringList {"[reset][user]"}
            << QStringList {"response: Reset item \"count\" names no slot; skipped.\\n", Finished};
    QTest::newRow("reset of nothing") << "reset:" << QStringList() << QStringList();
    QTest::newRow("cancel with nothing running") << "cancel" << QStringList() << QStringList();
}

void TestCommandProcessor::runs()
{
    QFETCH(QString, operation);
    QFETCH(QStringList, expectedCalls);
    QFETCH(QStringList, expectedResponses);

    auto processor = fakeToolProcessor();
    SignalRecorder recorder(processor.get());
    QVERIFY(SignalRecorder::perform(processor.get(), operation));
    QVERIFY(ChildProcesses::settle());
    QCOMPARE(calls(), expectedCalls);
    QCOMPARE(responses(recorder), expectedResponses);
    // The reboot command's end may find the identify run of the reset before it still going.
    if (operation == "reboot")
        QVERIFY(!identities(recorder).isEmpty());
    else
        QCOMPARE(identities(recorder).size(), expectedResponses.contains(Finished) ? 1 : 0);
}

void TestCommandProcessor::busyFollowsTheCommandRunOnly()
{
    onRun("identify", "await identified; printf '{\"slotOrder\": [\"A\", \"B\"]}'");
    auto processor = fakeToolProcessor();
    SignalRecorder recorder(processor.get());

    processor->identify();
    QTRY_COMPARE(allCalls(), QStringList {"[identify]"});
    QVERIFY(!processor->isBusy());
    release("identified");
    QTRY_COMPARE(recorder.events, QStringList {"identity: A-first A:0 B:0 usb:"});

    recorder.events.clear();
    processor->backUp();
    QVERIFY(ChildProcesses::settle());
    QCOMPARE(recorder.events,
             QStringList({"busy: false", "busy: true", "busy: false", Finished,
                          "identity: A-first A:0 B:0 usb:"}));
}

void TestCommandProcessor::chunks_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<QStringList>("expectedResponses");

    QTest::newRow("one line in two pieces") << QByteArray("printf 'Copy'; await 1; printf 'ing\\n'")
                                            << QStringList {"response: Copy", "response: ing\\n"};
    QTest::newRow("carriage returns pass unchanged")
            << QByteArray("printf ' 50%%'; await 1; printf '\\r100%%\\r'")
            << QStringList {"response:  50%", "response: \\r100%\\r"};
    QTest::newRow("a zero byte ends its chunk")
            << QByteArray("printf 'ab\\000cd'; await 1; printf 'ef'")
            << QStringList {"response: ab", "response: ef"};
    QTest::newRow("UTF-8") << QByteArray("printf 'Gr\\303\\274\\303\\237e\\n'")
                           << QStringList {"response: Grüße\\n"};
}

// Each piece that the tool prints goes out on its own; the next is printed once it has arrived.
void TestCommandProcessor::chunks()
{
    QFETCH(QByteArray, script);
    QFETCH(QStringList, expectedResponses);

    onRun("backup", script);
    auto processor = fakeToolProcessor();
    SignalRecorder recorder(processor.get());
    processor->backUp();
    for (int piece = 1; piece < expectedResponses.size(); ++piece) {
        QTRY_COMPARE(responses(recorder), expectedResponses.mid(0, piece));
        release(QString::number(piece));
    }
    QVERIFY(ChildProcesses::settle());
    QCOMPARE(responses(recorder), expectedResponses + QStringList {Finished});
}

void TestCommandProcessor::droppedWhileRunning()
{
    onRun("backup", "await go");
    auto processor = fakeToolProcessor();
    SignalRecorder recorder(processor.get());
    processor->backUp();
    QTRY_VERIFY(processor->isBusy());

    recorder.events.clear();
    for (const QString &operation :
         QStringList {"backUp", "installSoftware", "ejectUSB", "setBootOrder A", "setBootOrder B",
                      "reset: factory", "reset: count", "reboot"})
        QVERIFY(SignalRecorder::perform(processor.get(), operation));
    QCOMPARE(recorder.events, QStringList());

    release("go");
    QVERIFY(ChildProcesses::settle());
    QCOMPARE(calls(), QStringList {"[backup]"});
}

void TestCommandProcessor::activeSlot_data()
{
    QTest::addColumn<QByteArray>("document");
    QTest::addColumn<QString>("expectedIdentity");
    QTest::addColumn<QString>("expectedSlot");

    QTest::newRow("no identify yet") << QByteArray() << QString() << "A";
    QTest::newRow("slot B first") << QByteArray(R"({"slotOrder": ["B", "A"], "slotCount": [3, 2]})")
                                  << "identity: B-first B:3 A:2 usb:"
                                  << "B";
    QTest::newRow("slot A first") << QByteArray(R"({"slotOrder": ["A", "B"]})")
                                  << "identity: A-first A:0 B:0 usb:"
                                  << "A";
    QTest::newRow("lower case passes as it stands")
            << QByteArray(R"({"slotOrder": ["b", "a"]})") << NoIdentity << "b";
    QTest::newRow("not JSON") << QByteArray(R"({"slotOrder": ["B")") << NoIdentity << "";
    QTest::newRow("not an object") << QByteArray(R"(["B", "A"])") << NoIdentity << "";
    QTest::newRow("empty order") << QByteArray(R"({"slotOrder": []})") << NoIdentity << "";
    QTest::newRow("first entry not text")
            << QByteArray(R"({"slotOrder": [2, "A"]})") << NoIdentity << "";
    QTest::newRow("a line before the document")
            << QByteArray("identify: ok\n{\"slotOrder\": [\"B\", \"A\"]}") << NoIdentity << "";
}

// reboot() resets the boot count of the slot that the last identify named first.
void TestCommandProcessor::activeSlot()
{
    QFETCH(QByteArray, document);
    QFETCH(QString, expectedIdentity);
    QFETCH(QString, expectedSlot);

    auto processor = fakeToolProcessor();
    SignalRecorder recorder(processor.get());
    if (!expectedIdentity.isEmpty()) {
        QFile file(folder->filePath("document"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(document);
        file.close();
        onRun("identify", "cat \"$dir/document\"");
        processor->identify();
        QVERIFY(ChildProcesses::settle());
        QCOMPARE(recorder.events, QStringList {expectedIdentity});
    }
    processor->reboot();
    QVERIFY(ChildProcesses::settle());
    QCOMPARE(calls(), QStringList({"[reset][boot][count][" + expectedSlot + "]", "reboot"}));
}

// No output, no closing line and no identity: only the start that did not happen.
void TestCommandProcessor::missingTool()
{
    CommandProcessor processor(folder->filePath("no-such-tool"), FAKE_REBOOT, 20000, nullptr);
    SignalRecorder recorder(&processor);
    processor.backUp();
    QVERIFY(ChildProcesses::settle());
    processor.identify();
    QVERIFY(ChildProcesses::settle());
    processor.reset({"factory", "user"});
    QCOMPARE(recorder.events, QStringList(QVector<QString>(6, "busy: false").toList()));
    QVERIFY(!processor.isBusy());
}

// A run that outlives the wait is left alone; what depended on it does not happen.
void TestCommandProcessor::waitBound()
{
    onRun("reset", "if [ \"$2\" != user ]; then await go; fi");
    auto processor = fakeToolProcessor(300);
    SignalRecorder recorder(processor.get());

    QElapsedTimer timer;
    timer.start();
    processor->reboot();
    QVERIFY(timer.elapsed() >= 300);
    QVERIFY(processor->isBusy());
    release("go");
    QVERIFY(ChildProcesses::settle());
    QCOMPARE(calls(), QStringList {"[reset][boot][count][A]"});
    QCOMPARE(responses(recorder), QStringList {Finished});

    QFile::remove(folder->filePath("go"));
    QFile::remove(folder->filePath("calls"));
    recorder.events.clear();
    timer.start();
    processor->reset({"factory", "user", "network"});
    // One wait for factory, a second for it again in place of user, then network's start is
    // refused too and waits a third time.
    QVERIFY(timer.elapsed() >= 900);
    release("go");
    QVERIFY(ChildProcesses::settle());
    QCOMPARE(calls(), QStringList {"[reset][factory]"});
    QCOMPARE(responses(recorder), QStringList {Finished});
}

void TestCommandProcessor::cancel()
{
    // Asked to end, the tool may still say goodbye; killed, it could not.
    onRun("backup",
          "trap 'printf \"Cancelled\\\\n\"; exit 1' TERM; printf 'Exporting\\n'; await never");
    auto processor = fakeToolProcessor();
    SignalRecorder recorder(processor.get());
    processor->backUp();
    QTRY_COMPARE(responses(recorder), QStringList {"response: Exporting\\n"});
    processor->cancel();
    QVERIFY(ChildProcesses::settle());
    QCOMPARE(responses(recorder),
             QStringList({"response: Exporting\\n", "response: Cancelled\\n", Finished}));
    QCOMPARE(identities(recorder).size(), 1);
    QVERIFY(!processor->isBusy());

    recorder.events.clear();
    processor->cancel();
    QVERIFY(ChildProcesses::settle());
    QCOMPARE(recorder.events, QStringList());
}

// The window goes, and its back end with it, while both runs are still going. Under
// AddressSanitizer a handler that ran now would write into the freed text of the active slot.
void TestCommandProcessor::teardownWhileRunning()
{
    auto processor = fakeToolProcessor();
    onRun("identify", R"(printf '{"slotOrder": ["B", "A"]}')");
    processor->identify();
    QVERIFY(ChildProcesses::settle());

    onRun("identify", "await never");
    onRun("backup", "await never");
    processor->backUp();
    processor->identify();
    QTRY_VERIFY(processor->isBusy());
    QTRY_COMPARE(ChildProcesses::count(), 2);

    int emitted = 0;
    QObject observer;
    connect(processor.get(), &AbstractCommandProcessor::responseReceived, &observer,
            [&emitted] { ++emitted; });
    connect(processor.get(), &AbstractCommandProcessor::identityUpdated, &observer,
            [&emitted] { ++emitted; });
    connect(processor.get(), &AbstractCommandProcessor::isBusyChanged, &observer,
            [&emitted] { ++emitted; });
    processor.reset();
    QCOMPARE(emitted, 0);
    QCOMPARE(ChildProcesses::count(), 0);
}

QTEST_GUILESS_MAIN(TestCommandProcessor)
#include "tst_commandprocessor.moc"
