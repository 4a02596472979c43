#include "processors/fakecommandprocessor.h"
#include "tests/testsupport.h"

#include <QtTest>

// The simulated instrument, which the desktop console shows without a host.
class TestFakeCommandProcessor : public QObject
{
    Q_OBJECT

private slots:
    void serviceVisit();
    void exportRedrawsItsLastLine();
};

// It swaps its slots whatever order is asked for, and its reboot only says so.
void TestFakeCommandProcessor::serviceVisit()
{
    FakeCommandProcessor fake(nullptr);
    const QList<Outcome> expected {{{}},
                                   {{}, {"B-first A:2 B:3 usb: USB0 USB1"}},
                                   {{}},
                                   {{}},
                                   {{}},
                                   {{}},
                                   {{"RebootCalled"}},
                                   {{}, {"A-first B:3 A:2 usb:"}}};
    QCOMPARE(::serviceVisit(&fake, [&] { return settle(&fake); }), expected);
}

// Its export redraws one transfer line four times in its last chunk.
void TestFakeCommandProcessor::exportRedrawsItsLastLine()
{
    FakeCommandProcessor fake(nullptr);
    EventRecorder recorder(&fake);
    fake.backUp();
    QCOMPARE(recorder.events.size(), 8);
    QCOMPARE(recorder.events.last().text.count("\r     18,823,301 100%"), 4);
}

QTEST_GUILESS_MAIN(TestFakeCommandProcessor)
#include "tst_fakecommandprocessor.moc"
