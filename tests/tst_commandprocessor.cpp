#include "processors/commandprocessor.h"
#include "tests/testsupport.h"

#include <QtTest>

#include <memory>

// The back end that runs the instrument's own tool: here the fake tool (tests/fake-recovery-ops),
// driven by the scripts each test writes for it, and the simulated instrument as a tool. Never
// the real service tool, nor the real reboot command.
class TestCommandProcessor : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void serviceVisit();
    void busyOnlyWhileACommandRuns();
    void resetWordsGoOutInListOrder();
    void outputGoesOutAsItComesUpToAZeroByte();
    void cancelAsksTheToolToEnd();
    void whileACommandRunsTheOthersAreDropped();
    void withoutTheToolNothingRuns();
    void rebootLeavesAResetThatOutlivesTheWait();
    void rebootResetsTheSlotLastSeenFirst();
    void teardownWhileRunning();

private:
    // A new back end with that tool and wait, and a recorder of what it reports.
    void useTool(const QString &tool, int waitMilliseconds = Patience);
    // What the fake tool runs for that command (its first argument); an empty script lets a
    // script's "await NAME" pass.
    void writeScript(const QString &name, const QByteArray &script = {});
    // The fake tool's runs, without the identify runs, whose place depends on timing.
    QStringList calls() const;
    QStringList runs() const;
    bool responsesReach(int count) const;
    bool settled() const;

    std::unique_ptr<QTemporaryDir> folder;
    std::unique_ptr<CommandProcessor> processor;
    EventRecorder *recorder = nullptr; // a child of the back end
};

namespace {
// Living and not yet reaped children of any thread of this process.
int childProcesses()
{
    int children = 0;
    const QDir tasks("/proc/self/task");
    for (const QString &task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile file(tasks.filePath(task + "/children"));
        if (file.open(QIODevice::ReadOnly))
            children += QString::fromLatin1(file.readAll()).split(' ', Qt::SkipEmptyParts).size();
    }
    return children;
}

const QString Finished = "\nCommand Finished.\n";
// One command run as the window sees it: busy only while it runs, and a closing line.
const Events Run {busy(false), busy(true), busy(false), response(Finished)};
// What the identify after each run brings, with the fake tool's empty answer.
const Event Unknown = identity("B-first B:0 A:0 usb:");
} // namespace

void TestCommandProcessor::init()
{
    folder = std::make_unique<QTemporaryDir>();
    qputenv("FAKE_TOOL_DIR", QFile::encodeName(folder->path()));
    useTool(FAKE_TOOL);
}

// Nothing that a test started may outlive it, or its end would land in the next test.
void TestCommandProcessor::cleanup()
{
    writeScript("go");
    QVERIFY(!processor || settled());
    processor.reset();
    folder.reset();
}

void TestCommandProcessor::useTool(const QString &tool, int waitMilliseconds)
{
    processor = std::make_unique<CommandProcessor>(tool, FAKE_TOOL, waitMilliseconds, nullptr);
    recorder = new EventRecorder(processor.get());
}

void TestCommandProcessor::writeScript(const QString &name, const QByteArray &script)
{
    QFile file(folder->filePath(name));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(script);
}

QStringList TestCommandProcessor::runs() const
{
    QFile file(folder->filePath("calls"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts);
}

QStringList TestCommandProcessor::calls() const
{
    QStringList lines = runs();
    lines.removeAll("[identify]");
    return lines;
}

// Processes events until nothing runs and every run that the tool saw has been reported: each
// identify run by an identity, each other run by its closing line. A run's process may be reaped
// before the event loop hears of its end (where the system has no pidfds, Qt reaps it in its
// SIGCHLD handler), and that report may start the next run.
bool TestCommandProcessor::settled() const
{
    return QTest::qWaitFor(
            [&] {
                const QStringList seen = runs();
                const int identifies = seen.count("[identify]");
                return !processor->isBusy() && childProcesses() == 0
                        && recorder->only({Event::Identity}).size() >= identifies
                        && recorder->events.count(response(Finished)) >= seen.size() - identifies;
            },
            Patience);
}

bool TestCommandProcessor::responsesReach(int count) const
{
    return QTest::qWaitFor([&] { return recorder->only({Event::Response}).size() >= count; },
                           Patience);
}

// The simulated instrument behind the fake tool, standing in for reboot as well. The back end
// resets the boot count of the slot that it last saw first, and an order asked for again is kept.
void TestCommandProcessor::serviceVisit()
{
    qputenv("FAKE_TOOL_THEN", SIMULATED_TOOL);
    const auto restore = qScopeGuard([] { qunsetenv("FAKE_TOOL_THEN"); });
    const QList<Outcome> expected {
            {{Finished, "Boot order: slot B first.\n"}},
            {{}, {"B-first B:3 A:2 usb: USB0 USB1"}},
            {{Finished, "Ejected USB0 (KINGSTON).\n"}},
            {{Finished, Finished, "Boot count of slot B reset.\n", "Reset factory: done.\n"}},
            {{}},
            {{Finished, "Boot order: slot A first.\n"}},
            {{Finished, Finished, "Boot count of slot A reset.\n", "Rebooting.\n"}},
            {{}, {"A-first A:1 B:0 usb:"}}};
    QCOMPARE(::serviceVisit(processor.get(), [this] { return settled(); }), expected);
}

// One identify once a command is done. Identify, an empty reset and a cancel with nothing running
// report nothing else; an order out of range asks for B.
void TestCommandProcessor::busyOnlyWhileACommandRuns()
{
    processor->identify();
    QVERIFY(settled());
    processor->reset({});
    processor->cancel();
    processor->installSoftware();
    QVERIFY(settled());
    processor->backUp();
    QVERIFY(settled());
    processor->setBootOrder(OstrelIdentity::BootOrder(7));
    QVERIFY(settled());
    QCOMPARE(calls(), QStringList({"[install]", "[backup]", "[reset][boot][order][B]"}));
    QCOMPARE(recorder->events,
             Events {Unknown} + Run + Events {Unknown} + Run + Events {Unknown} + Run
                     + Events {Unknown});
}

void TestCommandProcessor::resetWordsGoOutInListOrder()
{
    processor->reset({"factory count a", "slot  a count", "discount", "", "Slot A Count"});
    QVERIFY(settled());
    QCOMPARE(calls(),
             QStringList({"[reset][boot][count][COUNT]", "[reset][boot][count][]", "[reset][]",
                          "[reset][Slot A Count]"}));
    QCOMPARE(recorder->events,
             Run + Run + Events {response("Reset item \"discount\" names no slot; skipped.\n")}
                     + Run + Run + Events {Unknown});
}

// Each piece that the tool prints goes out on its own, up to a zero byte.
void TestCommandProcessor::outputGoesOutAsItComesUpToAZeroByte()
{
    writeScript("backup",
                "printf 'Copy'; await 1; printf 'ing\\r100%%\\r\\000cd'; await 2; "
                "printf 'Gr\\303\\274\\303\\237e'");
    processor->backUp();
    QVERIFY(responsesReach(1));
    writeScript("1");
    QVERIFY(responsesReach(2));
    writeScript("2");
    QVERIFY(settled());
    QCOMPARE(calls(), QStringList {"[backup]"});
    QCOMPARE(recorder->only({Event::Response}),
             Events({response("Copy"), response("ing\r100%\r"), response("Grüße"),
                     response(Finished)}));
}

// Asked to end, the tool may still say goodbye; killed, it could not.
void TestCommandProcessor::cancelAsksTheToolToEnd()
{
    writeScript("backup",
                "trap 'printf Cancelled; exit 1' TERM; printf 'Exporting\\n'; await never");
    processor->backUp();
    QVERIFY(responsesReach(1));
    processor->cancel();
    QVERIFY(settled());
    QCOMPARE(recorder->only({Event::Response}),
             Events({response("Exporting\n"), response("Cancelled"), response(Finished)}));
}

void TestCommandProcessor::whileACommandRunsTheOthersAreDropped()
{
    writeScript("backup", "await go");
    processor->backUp();
    QTRY_VERIFY_WITH_TIMEOUT(processor->isBusy(), Patience);
    processor->backUp();
    processor->installSoftware();
    processor->ejectUSB();
    processor->setBootOrder(OstrelIdentity::AFirst);
    processor->reset({"factory"});
    processor->reset({"count"});
    processor->reboot();
    writeScript("go");
    QVERIFY(settled());
    QCOMPARE(calls(), QStringList {"[backup]"});
    QCOMPARE(recorder->only({Event::Response}), Events {response(Finished)});
}

// No output, no closing line and no identity: only the start that did not happen.
void TestCommandProcessor::withoutTheToolNothingRuns()
{
    useTool(folder->filePath("none"));
    processor->backUp();
    QVERIFY(settled());
    processor->identify();
    QVERIFY(settled());
    processor->reset({"factory", "user"});
    QVERIFY(settled());
    QCOMPARE(calls(), QStringList());
    QCOMPARE(recorder->events, QVector<Event>(6, busy(false)).toList());
}

// A run that outlives the wait is left alone, and what depended on it does not happen. The wait
// is short on purpose: the run awaits "go", which comes only after reboot() has returned, so it
// outlives the wait however fast or slow the machine is.
void TestCommandProcessor::rebootLeavesAResetThatOutlivesTheWait()
{
    useTool(FAKE_TOOL, 300);
    writeScript("reset", "await go; printf late");
    processor->reboot();
    QTRY_VERIFY_WITH_TIMEOUT(processor->isBusy(), Patience);
    writeScript("go");
    QVERIFY(settled());
    QCOMPARE(calls(), QStringList {"[reset][boot][count][A]"});
    QCOMPARE(recorder->only({Event::Response}), Events({response("late"), response(Finished)}));
}

// reboot() resets the boot count of the slot that the last identify named first, "A" before any;
// the identify after the first one names "b".
void TestCommandProcessor::rebootResetsTheSlotLastSeenFirst()
{
    writeScript("identify", R"(printf '{"slotOrder": ["b", "a"]}')");
    processor->reboot();
    QVERIFY(settled());
    processor->reboot();
    QVERIFY(settled());
    QCOMPARE(calls(),
             QStringList(
                     {"[reset][boot][count][A]", "reboot", "[reset][boot][count][b]", "reboot"}));
    QCOMPARE(recorder->only({Event::Response}), QVector<Event>(4, response(Finished)).toList());
}

// The window goes, and its back end with it, while both runs are still going. Under
// AddressSanitizer a handler that ran now would write into the freed text of the active slot.
void TestCommandProcessor::teardownWhileRunning()
{
    writeScript("identify", R"(printf '{"slotOrder": ["B", "A"]}'; await never)");
    writeScript("backup", "await never");
    processor->backUp();
    processor->identify();
    QTRY_COMPARE_WITH_TIMEOUT(childProcesses(), 2, Patience);
    const std::unique_ptr<EventRecorder> kept(recorder);
    kept->setParent(nullptr);
    kept->events.clear();
    processor.reset();
    QCOMPARE(kept->events, Events());
    QCOMPARE(childProcesses(), 0);
}

QTEST_GUILESS_MAIN(TestCommandProcessor)
#include "tst_commandprocessor.moc"
