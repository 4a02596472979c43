#pragma once

// What the test suites share: how long they wait, the back ends' operations and reports as values,
// and, for the suites that show screens, a start and a window as the console has them.

#include "processors/abstractcommandprocessor.h"

#include <QTest>

#include <algorithm>
#include <functional>
#include <memory>

// How long a wait for an event may last before the test gives up: long, since a loaded machine or
// an emulator may take its time, and a wait that is met ends at once.
constexpr int Patience = 60000;

// One operation of the back-end interface with its arguments, as the window calls it.
using Operation = std::function<void(AbstractCommandProcessor *)>;
Q_DECLARE_METATYPE(Operation)

inline Operation setBootOrder(OstrelIdentity::BootOrder order)
{
    return [order](AbstractCommandProcessor *processor) { processor->setBootOrder(order); };
}

inline Operation reset(const QStringList &items)
{
    return [items](AbstractCommandProcessor *processor) { processor->reset(items); };
}

// An identity in one line: the boot order, the slots with their counts in list order, and the USB
// aliases: "B-first B:3 A:2 usb: USB0 USB1".
inline QString summary(const OstrelIdentity &identity)
{
    QStringList words {identity.slotOrder == OstrelIdentity::AFirst ? "A-first" : "B-first"};
    for (const OstrelIdentity::SlotInfo &slot : identity.slotList)
        words << QString("%1:%2").arg(slot.name).arg(slot.count);
    words << "usb:";
    for (const OstrelIdentity::UsbDevice &device : identity.usbDevices)
        words << device.alias;
    return words.join(' ');
}

// One report of a back end: a response with its text, an identity by its summary, or a busy state.
struct Event
{
    enum Kind { Response, Identity, Busy, Idle };
    Kind kind;
    QString text = {};

    bool operator==(const Event &other) const { return kind == other.kind && text == other.text; }
};

inline Event response(const QString &text)
{
    return {Event::Response, text};
}

inline Event identity(const QString &summary)
{
    return {Event::Identity, summary};
}

inline Event busy(bool busy)
{
    return {busy ? Event::Busy : Event::Idle};
}

using Events = QList<Event>;

// For a failed comparison: carriage returns and line feeds spelt out, so that they show.
inline char *toString(const Event &event)
{
    const char *kinds[] = {"response", "identity", "busy", "idle"};
    QString text = event.text;
    text.replace('\r', "\\r").replace('\n', "\\n");
    return QTest::toString(QString("%1(%2)").arg(kinds[event.kind], text));
}

// Every report of a back end, in order.
class EventRecorder : public QObject
{
public:
    explicit EventRecorder(AbstractCommandProcessor *processor)
        : QObject(processor)
    {
        connect(processor, &AbstractCommandProcessor::responseReceived, this,
                [this](const QString &text) { events << response(text); });
        connect(processor, &AbstractCommandProcessor::identityUpdated, this,
                [this](const OstrelIdentity &reported) { events << identity(summary(reported)); });
        connect(processor, &AbstractCommandProcessor::isBusyChanged, this,
                [this](bool state) { events << busy(state); });
    }

    // Only the reports of these kinds, in order.
    Events only(std::initializer_list<Event::Kind> kinds) const
    {
        Events kept;
        for (const Event &event : events) {
            if (std::find(kinds.begin(), kinds.end(), event.kind) != kinds.end())
                kept << event;
        }
        return kept;
    }

    Events events;
};

// Processes events until the back end has nothing in flight, as an HTTP or simulated back end
// tells it. False on timeout.
inline bool settle(AbstractCommandProcessor *processor)
{
    return QTest::qWaitFor([&] { return !processor->isBusy(); }, Patience);
}

// What each operation brought once it had settled: its responses, sorted, since requests sent at
// once race each other and so do the local back end's identify and command runs, and the
// identities where it asked for one.
struct Outcome
{
    QStringList responses;
    QStringList identities = {};

    bool operator==(const Outcome &other) const
    {
        return responses == other.responses && identities == other.identities;
    }
};

inline char *toString(const Outcome &outcome)
{
    return QTest::toString(outcome.responses.join(" + ").replace('\n', "\\n").replace('\r', "\\r")
                           + " / " + outcome.identities.join(" + "));
}

inline Outcome outcome(AbstractCommandProcessor *processor, const Operation &operation,
                       const std::function<bool()> &settled, bool identityAsked = false)
{
    EventRecorder recorder(processor);
    operation(processor);
    if (!settled())
        return {{"still busy"}};
    Outcome result;
    for (const Event &event : recorder.events) {
        if (event.kind == Event::Response)
            result.responses << event.text;
        else if (event.kind == Event::Identity && identityAsked)
            result.identities << event.text;
    }
    result.responses.sort();
    return result;
}

// One service visit through a back end, the instrument keeping what each step did to it: what each
// step brought, in order, each step taken once the last one has settled.
inline QList<Outcome> serviceVisit(AbstractCommandProcessor *processor,
                                   const std::function<bool()> &settled)
{
    using Processor = AbstractCommandProcessor;
    return {outcome(processor, setBootOrder(OstrelIdentity::BFirst), settled),
            outcome(processor, &Processor::identify, settled, true),
            outcome(processor, &Processor::ejectUSB, settled),
            outcome(processor, reset({"factory", "slot b count"}), settled),
            outcome(processor, reset({}), settled),
            outcome(processor, setBootOrder(OstrelIdentity::AFirst), settled),
            outcome(processor, &Processor::reboot, settled),
            outcome(processor, &Processor::identify, settled, true)};
}

#ifdef QT_WIDGETS_LIB
#include "app/ostrelrecovery.h"
#include "app/startup.h"

#include <QApplication>
#include <QDialog>
#include <QGroupBox>
#include <QTimer>

#include <memory>

// A window, shown at the designed size. Built without a host, it runs the start-up help screen
// inside its constructor, which is continued past as soon as it is up, as a user would.
inline std::unique_ptr<OstrelRecovery> shownWindow(const QString &hostName)
{
    QTimer::singleShot(0, qApp, [] {
        if (auto *dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget()))
            dialog->reject();
    });
    auto window = std::make_unique<OstrelRecovery>(hostName);
    // The instrument build asks for full screen, and the offscreen screen is smaller than the
    // instrument's: the layout is checked at the designed size, the state in window().
    window->setWindowState(Qt::WindowNoState);
    window->show();
    if (!QTest::qWaitForWindowExposed(window.get()))
        return nullptr;
    return window;
}

// The first child of that type whose text (a box's title) starts so, as a user finds it.
template<typename Widget>
Widget *find(const QWidget *screen, const QString &textStart)
{
    const char *property = std::is_base_of_v<QGroupBox, Widget> ? "title" : "text";
    for (Widget *widget : screen->findChildren<Widget *>()) {
        if (widget->property(property).toString().startsWith(textStart))
            return widget;
    }
    return nullptr;
}

// A suite that shows screens starts as the console does, not as QTEST_MAIN would.
#define OSTREL_SCREEN_TEST_MAIN(TestObject) \
    int main(int argc, char *argv[]) \
    { \
        Startup::prepareToolkit(); \
        QApplication application(argc, argv); \
        Startup::applyStyleSheet(application); \
        TestObject test; \
        return QTest::qExec(&test, argc, argv); \
    }
#endif
