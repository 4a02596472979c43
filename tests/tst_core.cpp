#include "processors/commandprocessor.h"
#include "processors/fakecommandprocessor.h"
#include "processors/httpcommandprocessor.h"
#include "processors/replybody.h"
#include "tools/instrument-sim/hostilereplies.h"
#include "tools/instrument-sim/httpreplyserver.h"
#include "tools/instrument-sim/instrumentsimulator.h"

#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

#include <map>
#include <memory>
#include <mutex>

Q_DECLARE_METATYPE(HttpReply)

// Every signal a back end emits as one line, in order: "response: Prog 0%", "identity: B-first
// B:3 A:2 usb: USB0 USB1", "busy: false".
class SignalRecorder : public QObject
{
    Q_OBJECT

public:
    explicit SignalRecorder(AbstractCommandProcessor *processor)
        : QObject(processor)
    {
        connect(processor, &AbstractCommandProcessor::responseReceived, this,
                [this](const QString &response) { events << "response: " + visible(response); });
        connect(processor, &AbstractCommandProcessor::identityUpdated, this,
                [this](const OstrelIdentity &identity) {
                    events << "identity: " + summary(identity);
                });
        connect(processor, &AbstractCommandProcessor::isBusyChanged, this,
                [this](bool busy) { events << (busy ? "busy: true" : "busy: false"); });
    }

    // Carriage returns and line feeds spelt out, so that they show in a failed comparison.
    static QString visible(QString text) { return text.replace('\r', "\\r").replace('\n', "\\n"); }

    static QString summary(const OstrelIdentity &identity)
    {
        QStringList words {identity.slotOrder == OstrelIdentity::AFirst ? "A-first" : "B-first"};
        for (const OstrelIdentity::SlotInfo &slot : identity.slotList)
            words << QString("%1:%2").arg(slot.name).arg(slot.count);
        words << "usb:";
        for (const OstrelIdentity::UsbDevice &device : identity.usbDevices)
            words << device.alias;
        return words.join(' ');
    }

    // Calls an operation by name: "identify", "setBootOrder A" (7: out of range), "reset: factory,
    // slot b count" ("reset:" for an empty list). False for an unknown name.
    static bool perform(AbstractCommandProcessor *processor, const QString &operation)
    {
        if (operation.startsWith("setBootOrder ")) {
            const int order = QString("AB").indexOf(operation.mid(13));
            processor->setBootOrder(
                    OstrelIdentity::BootOrder(order < 0 ? operation.mid(13).toInt() : order));
            return true;
        }
        if (operation.startsWith("reset:")) {
            const QString items = operation.mid(6).trimmed();
            processor->reset(items.isEmpty() ? QStringList() : items.split(", "));
            return true;
        }
        return QMetaObject::invokeMethod(processor, qPrintable(operation));
    }

    QStringList events;
};

// How long a wait for an event may last before the test gives up: long, since a loaded machine or
// an emulator may take its time, and a wait that is met ends at once.
constexpr int Patience = 60000;

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

// Processes events until the back end has nothing in flight and has taken in the end of everything
// it started: a child that is gone may not have been reported yet, and its report may start the
// next run. False on timeout.
bool settle(AbstractCommandProcessor *processor)
{
    auto *local = qobject_cast<CommandProcessor *>(processor);
    return QTest::qWaitFor([&] { return !processor->isBusy() && (!local || local->isIdle()); },
                           Patience);
}

// The identity document, then the back ends as the window sees them: one scenario through all
// three, then what only one does. Never the real service tool, nor the real reboot command.
class TestCore : public QObject
{
    Q_OBJECT

private slots:
    void document_data();
    void document();
    void init();
    void cleanup();
    void scenario_data();
    void scenario();
    void http_data();
    void http();
    void httpTeardownInFlight();
    void hostile_data();
    void hostile();
    void httpRequestHeaders();
    void local_data();
    void local();
    void localTeardownWhileRunning();

private:
    void onRun(const QString &command, const QByteArray &script);
    // A new back end with that tool and wait, and a recorder of what it reports.
    void reset(const QString &tool, int waitMilliseconds)
    {
        processor = std::make_unique<CommandProcessor>(tool, FAKE_TOOL, waitMilliseconds, nullptr);
        recorder = new SignalRecorder(processor.get());
    }
    // The fake tool's runs, without the identify runs, whose place depends on timing.
    QStringList calls() const;

    std::unique_ptr<QTemporaryDir> folder;
    std::unique_ptr<CommandProcessor> processor; // with the fake tool
    SignalRecorder *recorder = nullptr; // a child of the back end
};

namespace {

const QString Reset
        = "response: Boot count of slot B reset.\\n | response: Reset factory: done.\\n";
const QString Refreshed = "response: Identity refreshed.\\n";
const QString Finished = "response: \\nCommand Finished.\\n";

// Each operation's events, sorted (requests sent at once race, and so do the local back end's
// identify and command runs): "operation: event | event". An identity is kept only where it was
// asked for; the one after a boot order change may come from before or after the change.
QStringList run(AbstractCommandProcessor *processor, const QStringList &operations)
{
    SignalRecorder recorder(processor);
    QStringList runs;
    for (const QString &operation : operations) {
        recorder.events.clear();
        SignalRecorder::perform(processor, operation);
        if (!settle(processor))
            return {"still busy after " + operation};
        QStringList events = recorder.events.filter(QRegularExpression("^(response|identity): "));
        if (operation != "identify")
            events = events.filter(QRegularExpression("^response: "));
        events.sort();
        runs << operation + ": " + events.join(" | ");
    }
    return runs;
}

QStringList polls(const QString &operation, int count)
{
    return QStringList {operation} + QVector<QString>(count, "status").toList();
}

// Every field in one line, so that a table row states the whole identity a document gives.
QString describe(const OstrelIdentity &identity)
{
    QStringList fields {identity.slotOrder == OstrelIdentity::AFirst ? "AFirst" : "BFirst"};
    fields << identity.model << identity.serial << identity.options << identity.bootVersion
           << identity.recoveryVersion << identity.ip << identity.subnet << identity.gateway;
    QStringList slotTexts, devices;
    for (const OstrelIdentity::SlotInfo &slot : identity.slotList)
        slotTexts << QString("%1 %2 %3").arg(slot.name, slot.version).arg(slot.count);
    for (const OstrelIdentity::UsbDevice &device : identity.usbDevices)
        devices << QString("%1 %2 '%3'").arg(device.alias, device.device, device.label);
    return (fields << slotTexts.join(", ") << devices.join(", ")).join(" | ");
}

const QString Defaults = "BFirst | -- | -- | -- | -- | -- | -- | -- | -- | B -- 0, A -- 0 | ";

} // namespace

void TestCore::document_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("expected");

    // Without a document: empty texts, not "--", and BFirst, so that a swap before any is defined.
    QTest::newRow("no document") << QByteArray() << "BFirst |  |  |  |  |  |  |  |  |  | ";
    QTest::newRow("the simulated instrument")
            << QByteArray(R"({"model": "VX4120A", "serial": "1901035", "options": "0102/0117",
                 "bootVersion": "4.0.0", "recoveryVersion": "1.0.0",
                 "network": {"ip": "127.0.0.1", "subnet": "255.255.252.0", "gateway": "10.0.0.1"},
                 "slotOrder": ["B", "A"], "slotAVersion": "E2019", "slotBVersion": "T2019",
                 "slotCount": [3, 2],
                 "usb": [{"alias": "USB0", "device": "/dev/sda1/", "label": "KINGSTON"},
                         {"alias": "USB1", "device": "/dev/sda2/", "label": ""}]})")
            << "BFirst | VX4120A | 1901035 | 0102/0117 | 4.0.0 | 1.0.0 | 127.0.0.1 | 255.255.252.0"
               " | 10.0.0.1 | B T2019 3, A E2019 2 | USB0 /dev/sda1/ 'KINGSTON', USB1 /dev/sda2/ "
               "''";
    QTest::newRow("not JSON") << QByteArray("identify: {garbage") << Defaults;
    QTest::newRow("keys of the wrong type or case")
            << QByteArray(R"({"slotOrder": [1], "slotCount": 4, "network": "10.0.0.1",
                 "ip": "10.0.0.2", "usb": {"alias": "USB0"}, "Model": "VX4120A"})")
            << Defaults;
    QTest::newRow("order upper-cased, counts in boot order")
            << QByteArray(R"({"slotOrder": ["a", "B"], "slotCount": [5], "slotAVersion": "E1",
                 "slotBVersion": "T1"})")
            << "AFirst | -- | -- | -- | -- | -- | -- | -- | -- | A E1 5, B T1 0 | ";
    QTest::newRow("counts not whole, or negative")
            << QByteArray(R"({"slotCount": [2.5, -1]})")
            << "BFirst | -- | -- | -- | -- | -- | -- | -- | -- | B -- 0, A -- -1 | ";
    QTest::newRow("texts of other types, empty text kept, network partly there; counts whole, or "
                  "beyond an int")
            << QByteArray(R"({"model": 42, "serial": null, "options": "", "bootVersion": [],
                 "slotAVersion": {}, "slotBVersion": " T1 ", "slotCount": [7.0, 2147483648],
                 "network": {"ip": "10.0.0.2", "gateway": 1}})")
            << "BFirst | -- | -- |  | -- | -- | 10.0.0.2 | -- | -- | B  T1  7, A -- 0 | ";
    QTest::newRow("usb device partly there, and not an object")
            << QByteArray(R"({"usb": [{"alias": "USB0"}, 1, {"label": ""}]})")
            << Defaults + "USB0 -- '--', -- -- '--', -- -- ''";
}

void TestCore::document()
{
    QFETCH(QByteArray, json);
    QFETCH(QString, expected);

    QCOMPARE(describe(json.isNull() ? OstrelIdentity()
                                    : OstrelIdentity(QJsonDocument::fromJson(json))),
             expected);
}

void TestCore::init()
{
    folder = std::make_unique<QTemporaryDir>();
    qputenv("FAKE_TOOL_DIR", QFile::encodeName(folder->path()));
    reset(FAKE_TOOL, Patience);
}

// Nothing that a test started may outlive it, or its end would land in the next test.
void TestCore::cleanup()
{
    onRun("go", {});
    QVERIFY(!processor || settle(processor.get()));
    processor.reset();
    folder.reset();
}

void TestCore::scenario_data()
{
    QTest::addColumn<QStringList>("operations");
    QTest::addColumn<QStringList>("simulated");
    QTest::addColumn<QStringList>("http");
    QTest::addColumn<QStringList>("local");

    // One service visit: the instrument keeps what each step did to it.
    // The simulated instrument swaps its slots whatever the order asked for; the others keep an
    // order that is asked for again.
    QTest::newRow("service visit")
            << QStringList {"setBootOrder B", "identify",
                            "ejectUSB",       "reset: factory, slot b count",
                            "reset:",         "setBootOrder A",
                            "reboot",         "identify"}
            << QStringList {"setBootOrder B: ",
                            "identify: identity: B-first A:2 B:3 usb: USB0 USB1",
                            "ejectUSB: ",
                            "reset: factory, slot b count: ",
                            "reset:: ",
                            "setBootOrder A: ",
                            "reboot: response: RebootCalled",
                            "identify: identity: A-first B:3 A:2 usb:"}
            << QStringList {"setBootOrder B: response: Boot order: slot B first.\\n | " + Refreshed,
                            "identify: identity: B-first B:3 A:2 usb: USB0 USB1 | " + Refreshed,
                            "ejectUSB: response: Ejected USB0 (KINGSTON).\\n | " + Refreshed,
                            "reset: factory, slot b count: " + Reset,
                            "reset:: ",
                            "setBootOrder A: response: Boot order: slot A first.\\n | " + Refreshed,
                            "reboot: response: Rebooting.\\n",
                            "identify: identity: A-first A:3 B:0 usb: | " + Refreshed}
            // The local back end resets the boot count of the slot that it last saw first.
            << QStringList {"setBootOrder B: response: Boot order: slot B first.\\n | " + Finished,
                            "identify: identity: B-first B:3 A:2 usb: USB0 USB1",
                            "ejectUSB: response: Ejected USB0 (KINGSTON).\\n | " + Finished,
                            "reset: factory, slot b count: " + Reset + " | " + Finished + " | "
                                    + Finished,
                            "reset:: ",
                            "setBootOrder A: response: Boot order: slot A first.\\n | " + Finished,
                            "reboot: response: Boot count of slot A reset.\\n | response: "
                            "Rebooting.\\n | "
                                    + Finished + " | " + Finished,
                            "identify: identity: A-first A:1 B:0 usb:"};
}

void TestCore::scenario()
{
    QFETCH(QStringList, operations);
    QFETCH(QStringList, simulated);
    QFETCH(QStringList, http);
    QFETCH(QStringList, local);

    FakeCommandProcessor fake(nullptr);
    QCOMPARE(run(&fake, operations), simulated);
    // Its export redraws one transfer line four times in its last chunk.
    SignalRecorder exported(&fake);
    fake.backUp();
    QCOMPARE(exported.events.size(), 8);
    QCOMPARE(exported.events.last().count("\\r     18,823,301 100%"), 4);

    const QString address = "127.0.23.1";
    InstrumentSimulator simulator;
    HttpReplyServer server(
            [&simulator](const std::string &path) { return simulator.respond(path); });
    QVERIFY(server.start(address.toStdString()));
    HttpCommandProcessor httpBackEnd(address, nullptr);
    QCOMPARE(run(&httpBackEnd, operations), http);

    // The simulated instrument stands in for reboot as well.
    CommandProcessor tool(SIMULATED_TOOL, SIMULATED_TOOL, Patience, nullptr);
    QCOMPARE(run(&tool, operations), local);
}

// What only the HTTP back end does: status polling and its end, failed and odd replies, the
// identity document's place in a reply, and replies outliving the back end.
void TestCore::http_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QList<QByteArray>>("replies");
    // Every response, joined, then every identity; HOST stands for the address.
    QTest::addColumn<QString>("console");
    QTest::addColumn<QStringList>("requests");

    const QString error = "Connection error to HOST.\n";
    const QByteArray document = R"({"slotOrder": ["A", "B"], "slotCount": [4, 1], "usb": [{}]})";
    using Replies = QList<QByteArray>;

    QTest::newRow("install: polled until Finished at the end, on through empty pieces")
            << "installSoftware"
            << Replies {"ops/install 200 ",     "status 200 Prog 0%\r",
                        "status 200 ",          "status 200 Prog 100%\nFinished.\nmore",
                        "status 200 Finished.", "status 200 Finished.\n"}
            << "Prog 0%\rProg 100%\nFinished.\nmoreFinished.Finished.\n"
            << polls("ops/install", 5);
    QTest::newRow("export: nothing running ends it at once")
            << "backUp" << Replies {"ops/backup 200 ", "status 200 No active process.\n"}
            << "No active process.\n"
            << polls("ops/backup", 1);
    QTest::newRow("invalid UTF-8 is shown; NUL hides the text but the raw end counts")
            << "installSoftware"
            << Replies {"ops/install 200 ", QByteArray("status 200 a\0b", 14),
                        "status 200 caf\xc3\n", QByteArray("status 200 \xff\nc\0Finished.\n", 25)}
            << "acaf\uFFFD\n\uFFFD\nc" << polls("ops/install", 3);
    QTest::newRow("a dropped poll ends it")
            << "installSoftware"
            << Replies {"ops/install 200 ", "status 200 Prog 0%\r", "status drop Prog 50%"}
            << "Prog 0%\r" + error << polls("ops/install", 2);
    // Qt 6 would follow the redirect; Qt 5.15, the console's main line, could not.
    QTest::newRow("text reply: a redirect is shown, NUL ends it, status words do not poll")
            << "cancel"
            << Replies {QByteArray("cancel 302>elsewhere Prog\r\0ped\n", 31),
                        "elsewhere 200 There.\n"}
            << "Prog\r" << QStringList {"cancel"};
    QTest::newRow("larger than any real reply")
            << "reboot"
            << Replies {"reboot 200 " + QByteArray(ReplyBody::MaximumSize + 1024 * 1024, 'x')}
            << error << QStringList {"reboot"};
    QTest::newRow("reset items as they stand, one naming no slot skipped first")
            << "reset: count, Slot A Count, a/b" << Replies()
            << "Reset item \"count\" names no slot; skipped.\n" + error + error
            << QStringList {"ops/reset/Slot A Count", "ops/reset/a/b"};
    QTest::newRow("identity: log lines, then the document")
            << "identify" << Replies {"ops/identify 200 identify: ready\nok\n" + document}
            << "Identity refreshed.\nidentity: A-first A:4 B:1 usb: --"
            << QStringList {"ops/identify"};
    QTest::newRow("identity: a trailing line feed leaves an empty document")
            << "identify" << Replies {"ops/identify 200 " + document + "\n"}
            << "Identity refreshed.\nidentity: B-first B:0 A:0 usb:"
            << QStringList {"ops/identify"};
    QTest::newRow("identity: failed") << "identify" << Replies {"ops/identify 500 " + document}
                                      << error << QStringList {"ops/identify"};
}

void TestCore::http()
{
    QFETCH(QString, operation);
    QFETCH(QList<QByteArray>, replies);
    QFETCH(QString, console);
    QFETCH(QStringList, requests);

    // A fresh address for each row: no connection is reused. A reply is "path code body" ("drop":
    // the connection breaks after part of the body; "302>path": a redirect there); a path's last
    // reply repeats, others get 404.
    static int rows = 0;
    const QString address = QString("127.0.22.%1").arg(++rows);
    std::map<std::string, QList<HttpReply>> queues;
    for (const QByteArray &reply : replies) {
        const int code = reply.indexOf(' '), body = reply.indexOf(' ', code + 1);
        const QByteArray status = reply.mid(code + 1, body - code - 1);
        const QByteArray location = status.contains('>') ? "/" + status.split('>').at(1) : "";
        queues[reply.left(code).toStdString()] << HttpReply {
                status == "drop" ? 200 : status.split('>').at(0).toInt(),
                reply.mid(body + 1).toStdString(), status == "drop", location.toStdString()};
    }
    std::mutex mutex;
    QStringList received;
    HttpReplyServer server([&](const std::string &path) {
        const std::lock_guard<std::mutex> lock(mutex);
        received << QString::fromStdString(path);
        QList<HttpReply> &queue = queues[path];
        if (queue.isEmpty())
            return HttpReply {404, "Not found\n"};
        return queue.size() > 1 ? queue.takeFirst() : queue.first();
    });
    QVERIFY(server.start(address.toStdString()));
    // A failure reaches the technician as console text, and nothing is written anywhere else.
    static QStringList warnings;
    warnings.clear();
    const QtMessageHandler previous = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext &, const QString &text) { warnings << text; });
    const auto restore = qScopeGuard([previous] { qInstallMessageHandler(previous); });
    HttpCommandProcessor http(address, nullptr);
    SignalRecorder events(&http);
    QVERIFY(SignalRecorder::perform(&http, operation));
    QVERIFY(QTest::qWaitFor([&] { return !http.isBusy() && events.events.endsWith("busy: false"); },
                            Patience));

    QCOMPARE(events.events.filter("response: ").join("").remove("response: ")
                     + events.events.filter("identity: ").join(""),
             SignalRecorder::visible(console).replace("HOST", address));
    // Sorted: requests sent at once race each other, so their order of arrival means nothing.
    const std::lock_guard<std::mutex> lock(mutex);
    received.sort();
    QCOMPARE(received, requests);
    // A report for each request sent and each reply deleted, idle only at the very end: each poll
    // goes out before the reply that asked for it is deleted.
    QCOMPARE(events.events.filter("busy: ").size(), 2 * requests.size());
    QCOMPARE(events.events.count("busy: false"), 1);
    QCOMPARE(warnings, QStringList());
}

// What a hostile instrument answers. Each ends as a body too large to hold, and holding it never
// costs the console much more than the 16 MB it may keep: the bound is 64 MB, here with twice that
// as the margin of the test (bench/run prints the figure).
void TestCore::hostile_data()
{
    QTest::addColumn<HttpReply>("reply");
    for (const HostileReplies::Named &hostile : HostileReplies::all())
        QTest::newRow(hostile.name.c_str()) << hostile.reply;
}

void TestCore::hostile()
{
    QFETCH(HttpReply, reply);

    static int rows = 0;
    const QString address = QString("127.0.21.%1").arg(10 + ++rows);
    HttpReplyServer server([&reply](const std::string &) { return reply; });
    QVERIFY(server.start(address.toStdString()));
    HttpCommandProcessor http(address, nullptr);
    SignalRecorder events(&http);
    QVERIFY(HostileReplies::resetPeak());
    const qint64 before = HostileReplies::residentKilobytes();
    http.reboot();
    QVERIFY(QTest::qWaitFor([&] { return !http.isBusy(); }, Patience));
    const qint64 grown = HostileReplies::peakResidentKilobytes() - before;
    QCOMPARE(events.events.filter("response: "),
             QStringList {"response: Connection error to " + address + ".\\n"});
    QVERIFY2(grown < 128 * 1024, qPrintable(QString("grew by %1 MB").arg(grown / 1024)));
}

// The instrument sees the requests the toolkit makes by itself, whatever the back end does to read
// the replies: the same headers, none of the console's own.
void TestCore::httpRequestHeaders()
{
    QTcpServer server;
    QVERIFY(server.listen(QHostAddress("127.0.21.3"), 8080));
    const auto headers = [&server] {
        QStringList lines;
        if (!QTest::qWaitFor([&] { return server.hasPendingConnections(); }, Patience))
            return lines;
        QTcpSocket *socket = server.nextPendingConnection();
        QByteArray request;
        while (!request.contains("\r\n\r\n") && socket->waitForReadyRead(Patience))
            request += socket->readAll();
        lines = QString::fromLatin1(request).split("\r\n", Qt::SkipEmptyParts).mid(1);
        lines.sort();
        delete socket;
        return lines;
    };
    HttpCommandProcessor http("127.0.21.3", nullptr);
    http.identify();
    const QStringList console = headers();
    QNetworkAccessManager toolkit;
    QNetworkRequest request(QUrl("http://127.0.21.3:8080/ops/identify"));
    request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    std::unique_ptr<QNetworkReply> reply(toolkit.get(request));
    QVERIFY(!console.isEmpty());
    QCOMPARE(console, headers());
}

// Replies still in flight when the back end goes are deleted with it; none of them may report to
// a receiver then, since that receiver is normally the window being torn down around it.
void TestCore::httpTeardownInFlight()
{
    QTcpServer silent; // accepts connections and never answers
    QVERIFY(silent.listen(QHostAddress("127.0.21.2"), 8080));
    auto *backEnd = new HttpCommandProcessor("127.0.21.2", nullptr);
    backEnd->installSoftware();
    backEnd->ejectUSB();
    QVERIFY(QTest::qWaitFor([&] { return silent.hasPendingConnections(); }, Patience));
    int reports = 0;
    QObject receiver;
    connect(backEnd, &AbstractCommandProcessor::isBusyChanged, &receiver, [&] { ++reports; });
    connect(backEnd, &AbstractCommandProcessor::responseReceived, &receiver, [&] { ++reports; });
    QVERIFY(backEnd->isBusy());
    delete backEnd;
    QCOMPARE(reports, 0);
}

void TestCore::onRun(const QString &command, const QByteArray &script)
{
    QFile file(folder->filePath(command));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(script);
}

QStringList TestCore::calls() const
{
    QFile file(folder->filePath("calls"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QStringList lines = QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts);
    lines.removeAll("[identify]");
    return lines;
}

// Each row writes the fake tool's scripts ("command: script"), then takes its steps: operations,
// "go NAME" to let a script's "await NAME" pass, "busy", "responses N" and "settle" to wait, "no
// tool" for a back end whose tool is missing, "wait N" for one that waits N ms for a reset.
void TestCore::local_data()
{
    QTest::addColumn<QStringList>("scripts");
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<QStringList>("expectedCalls");
    QTest::addColumn<QString>("events");

    // Busy only while a command runs; one identify once the commands are done. Identify, an empty
    // reset and a cancel with nothing running report nothing else.
    const QString run = "busy: false | busy: true | busy: false | " + Finished + " | ";
    const QString identity = "identity: B-first B:0 A:0 usb:";
    QTest::newRow("install, export, boot order out of range: B")
            << QStringList()
            << QStringList {"identify", "settle", "reset:", "cancel",        "installSoftware",
                            "settle",   "backUp", "settle", "setBootOrder 7"}
            << QStringList {"[install]", "[backup]", "[reset][boot][order][B]"}
            << identity + " | " + run + identity + " | " + run + identity + " | " + run + identity;
    QTest::newRow("reset words, in list order")
            << QStringList()
            << QStringList {"reset: factory count a, slot  a count, discount, , Slot A Count"}
            << QStringList {"[reset][boot][count][COUNT]", "[reset][boot][count][]", "[reset][]",
                            "[reset][Slot A Count]"}
            << run + run + "response: Reset item \"discount\" names no slot; skipped.\\n | " + run
                    + run + identity;
    // Each piece that the tool prints goes out on its own, up to a zero byte.
    QTest::newRow("a line in pieces, a zero byte")
            << QStringList {"backup: printf 'Copy'; await 1; printf 'ing\\r100%%\\r\\000cd'; "
                            "await 2; printf 'Gr\\303\\274\\303\\237e'"}
            << QStringList {"backUp", "responses 1", "go 1", "responses 2", "go 2"}
            << QStringList {"[backup]"}
            << "response: Copy | response: ing\\r100%\\r | response: Grüße | " + Finished;
    // Asked to end, the tool may still say goodbye; killed, it could not.
    QTest::newRow("cancel asks the tool to end")
            << QStringList {"backup: trap 'printf Cancelled; exit 1' TERM; printf 'Exporting\\n'; "
                            "await never"}
            << QStringList {"backUp", "responses 1", "cancel"} << QStringList {"[backup]"}
            << "response: Exporting\\n | response: Cancelled | " + Finished;
    QTest::newRow("while a command runs, the others are dropped")
            << QStringList {"backup: await go"}
            << QStringList {"backUp",   "busy",           "backUp",         "installSoftware",
                            "ejectUSB", "setBootOrder A", "reset: factory", "reset: count",
                            "reboot",   "go go"}
            << QStringList {"[backup]"} << Finished;
    // No output, no closing line and no identity: only the start that did not happen.
    QTest::newRow("no tool") << QStringList()
                             << QStringList {"no tool",  "backUp", "settle",
                                             "identify", "settle", "reset: factory, user"}
                             << QStringList()
                             << QVector<QString>(6, "busy: false").toList().join(" | ");
    // A run that outlives the wait is left alone, and what depended on it does not happen. The wait
    // is short on purpose: the run awaits "go", which comes only after reboot() has returned, so
    // it outlives the wait however fast or slow the machine is.
    QTest::newRow("reboot: the reset outlives the wait")
            << QStringList {"reset: await go; printf late"}
            << QStringList {"wait 300", "reboot", "busy", "go go"}
            << QStringList {"[reset][boot][count][A]"} << "response: late | " + Finished;
    // reboot() resets the boot count of the slot that the last identify named first, "A" before
    // any; the identify after the first one names "b".
    QTest::newRow("reboot twice") << QStringList {R"(identify: printf '{"slotOrder": ["b", "a"]}')"}
                                  << QStringList {"reboot", "settle", "reboot"}
                                  << QStringList {"[reset][boot][count][A]", "reboot",
                                                  "[reset][boot][count][b]", "reboot"}
                                  << QVector<QString>(4, Finished).toList().join(" | ");
}

void TestCore::local()
{
    QFETCH(QStringList, scripts);
    QFETCH(QStringList, steps);
    QFETCH(QStringList, expectedCalls);
    QFETCH(QString, events);

    for (const QString &script : scripts)
        onRun(script.section(": ", 0, 0), script.section(": ", 1).toUtf8());
    for (const QString &step : steps) {
        if (step.startsWith("go "))
            onRun(step.mid(3), {});
        else if (step.startsWith("responses "))
            QTRY_COMPARE_WITH_TIMEOUT(recorder->events.filter("response: ").size(),
                                      step.mid(10).toInt(), Patience);
        else if (step == "busy")
            QTRY_VERIFY_WITH_TIMEOUT(processor->isBusy(), Patience);
        else if (step == "settle")
            QVERIFY(settle(processor.get()));
        else if (step == "no tool")
            reset(folder->filePath("none"), Patience);
        else if (step.startsWith("wait "))
            reset(FAKE_TOOL, step.mid(5).toInt());
        else
            QVERIFY(SignalRecorder::perform(processor.get(), step));
    }
    QVERIFY(settle(processor.get()));
    QCOMPARE(calls(), expectedCalls);
    // Rows that start with a response list only the responses: the other reports race them.
    QCOMPARE(recorder->events.filter(events.startsWith("response: ") ? "response: " : "")
                     .join(" | "),
             events);
}

// The window goes, and its back end with it, while both runs are still going. Under
// AddressSanitizer a handler that ran now would write into the freed text of the active slot.
void TestCore::localTeardownWhileRunning()
{
    onRun("identify", R"(printf '{"slotOrder": ["B", "A"]}'; await never)");
    onRun("backup", "await never");
    processor->backUp();
    processor->identify();
    QTRY_COMPARE_WITH_TIMEOUT(childProcesses(), 2, Patience);
    const std::unique_ptr<SignalRecorder> kept(recorder);
    kept->setParent(nullptr);
    kept->events.clear();
    processor.reset();
    QCOMPARE(kept->events, QStringList());
    QCOMPARE(childProcesses(), 0);
}

QTEST_GUILESS_MAIN(TestCore)
#include "tst_core.moc"
