#include "processors/httpcommandprocessor.h"
#include "processors/protocol.h"
#include "signalrecorder.h"
#include "tools/instrument-sim/httpreplyserver.h"

#include <QTcpServer>
#include <QTest>

#include <map>
#include <mutex>

Q_DECLARE_METATYPE(HttpReply)
Q_DECLARE_METATYPE(QList<HttpReply>)

namespace {

// Nothing listens there: every request is refused at once.
const QString Unreachable = "127.0.11.1";

// An instrument that gives fixed replies: each path has a queue, whose last reply is repeated;
// a path without one gets 404.
class CannedInstrument
{
public:
    explicit CannedInstrument(const QString &address)
        : server([this](const std::string &path) { return respond(path); })
    {
        started = server.start(address.toStdString());
    }
    void answer(const std::string &path, QList<HttpReply> replies)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        this->replies[path] = std::move(replies);
    }
    // The paths received, sorted: requests sent at once race each other on parallel
    // connections, so their order of arrival says nothing.
    QStringList sortedRequests()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        QStringList sorted = received;
        sorted.sort();
        return sorted;
    }
    bool started = false;

private:
    HttpReply respond(const std::string &path)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        received << QString::fromStdString(path);
        QList<HttpReply> &queue = replies[path];
        if (queue.isEmpty())
            return {404, "Not found\n"};
        return queue.size() > 1 ? queue.takeFirst() : queue.first();
    }

    std::mutex mutex;
    QStringList received;
    std::map<std::string, QList<HttpReply>> replies;
    HttpReplyServer server;
};

HttpReply body(const QByteArray &text)
{
    return {200, text.toStdString()};
}

} // namespace

class TestHttpCommandProcessor : public QObject
{
    Q_OBJECT

private slots:
    void resetCommandWords_data();
    void resetCommandWords();
    void requests_data();
    void requests();
    void polling_data();
    void polling();
    void textReplies_data();
    void textReplies();
    void identify_data();
    void identify();
    void teardownInFlight();

private:
    // A fresh address for each server, so no connection of an earlier test is reused.
    QString nextAddress() { return QString("127.0.12.%1").arg(++servers); }
    bool waitUntilIdle(HttpCommandProcessor &processor, const SignalRecorder &recorder);

    int servers = 0;
};

bool TestHttpCommandProcessor::waitUntilIdle(HttpCommandProcessor &processor,
                                             const SignalRecorder &recorder)
{
    return QTest::qWaitFor(
            [&] { return !processor.isBusy() && recorder.events.endsWith("busy: false"); }, 20000);
}

void TestHttpCommandProcessor::resetCommandWords_data()
{
    QTest::addColumn<QString>("item");
    QTest::addColumn<QStringList>("words");

    QTest::newRow("factory") << "factory" << QStringList {"reset", "factory"};
    QTest::newRow("slot a count") << "slot a count" << QStringList {"reset", "boot", "count", "A"};
    QTest::newRow("slot b count") << "slot b count" << QStringList {"reset", "boot", "count", "B"};
    QTest::newRow("capitals hold no \"count\"")
            << "Slot A Count" << QStringList {"reset", "Slot A Count"};
    QTest::newRow("any second word")
            << "factory count" << QStringList {"reset", "boot", "count", "COUNT"};
    QTest::newRow("empty piece kept")
            << "slot  a count" << QStringList {"reset", "boot", "count", ""};
    QTest::newRow("count alone names no slot") << "count" << QStringList();
    QTest::newRow("count inside a word") << "discount" << QStringList();
    QTest::newRow("empty item") << "" << QStringList {"reset", ""};
}

void TestHttpCommandProcessor::resetCommandWords()
{
    QFETCH(QString, item);
    QFETCH(QStringList, words);

    QCOMPARE(Protocol::resetCommandWords(item), words);
}

// Every request answered 404, then the same against an address where nothing listens: one busy
// report and one connection error per request either way, and idle once every reply is gone.
void TestHttpCommandProcessor::requests_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QStringList>("paths");
    QTest::addColumn<QStringList>("messages");

    QTest::newRow("identify") << "identify" << QStringList {"ops/identify"} << QStringList();
    QTest::newRow("reboot") << "reboot" << QStringList {"reboot"} << QStringList();
    QTest::newRow("cancel") << "cancel" << QStringList {"cancel"} << QStringList();
    QTest::newRow("ejectUSB") << "ejectUSB" << QStringList {"ops/eject", "ops/identify"}
                              << QStringList();
    QTest::newRow("installSoftware")
            << "installSoftware" << QStringList {"ops/install", "status"} << QStringList();
    QTest::newRow("backUp") << "backUp" << QStringList {"ops/backup", "status"} << QStringList();
    QTest::newRow("setBootOrder A")
            << "setBootOrder A" << QStringList {"ops/identify", "ops/reset/boot/order/A"}
            << QStringList();
    QTest::newRow("setBootOrder B")
            << "setBootOrder B" << QStringList {"ops/identify", "ops/reset/boot/order/B"}
            << QStringList();
    QTest::newRow("reset nothing") << "reset:" << QStringList() << QStringList();
    QTest::newRow("reset factory, slot b count")
            << "reset: factory, slot b count"
            << QStringList {"ops/reset/boot/count/B", "ops/reset/factory"} << QStringList();
    QTest::newRow("reset every item")
            << "reset: factory, user, system, internal, network, slot a count, slot b count"
            << QStringList {"ops/reset/boot/count/A", "ops/reset/boot/count/B", "ops/reset/factory",
                            "ops/reset/internal",     "ops/reset/network",      "ops/reset/system",
                            "ops/reset/user"}
            << QStringList();
    QTest::newRow("reset item with no slot word is skipped")
            << "reset: count, network" << QStringList {"ops/reset/network"}
            << QStringList {"Reset item \"count\" names no slot; skipped.\n"};
    QTest::newRow("reset item placed as it stands")
            << "reset: Slot A Count, a/b" << QStringList {"ops/reset/Slot A Count", "ops/reset/a/b"}
            << QStringList();
}

void TestHttpCommandProcessor::requests()
{
    QFETCH(QString, operation);
    QFETCH(QStringList, paths);
    QFETCH(QStringList, messages);

    const QString address = nextAddress();
    CannedInstrument instrument(address);
    QVERIFY(instrument.started);
    for (const QString &host : {address, Unreachable}) {
        HttpCommandProcessor processor(host, nullptr);
        SignalRecorder recorder(&processor);
        QVERIFY(SignalRecorder::perform(&processor, operation));
        QCOMPARE(processor.isBusy(), !paths.isEmpty());
        if (paths.isEmpty()) {
            QTest::qWait(50);
            QCOMPARE(recorder.events.size(), messages.size());
        } else {
            QVERIFY(waitUntilIdle(processor, recorder));
        }
        // A report for each request sent and each reply deleted; idle only at the very end.
        QCOMPARE(recorder.events.filter("busy: ").size(), 2 * paths.size());
        QCOMPARE(recorder.events.count("busy: false"), paths.isEmpty() ? 0 : 1);
        const QString error = QString("response: Connection error to %1.\\n").arg(host);
        QCOMPARE(recorder.events.count(error), paths.size());
        // Sent before any request: the skipped item's line comes first.
        for (const QString &message : messages)
            QCOMPARE(recorder.events.first(), "response: " + SignalRecorder::visible(message));
    }
    QCOMPARE(instrument.sortedRequests(), paths);
}

// What the console receives from an install, and how many status polls it takes.
void TestHttpCommandProcessor::polling_data()
{
    QTest::addColumn<QList<HttpReply>>("statusReplies");
    QTest::addColumn<QString>("console");
    QTest::addColumn<int>("polls");

    QTest::newRow("progress redrawn until Finished")
            << QList<HttpReply> {body("Prog 0%\r"), body("Prog 50%\r"),
                                 body("Prog 100%\nDone\nFinished.\n")}
            << "Started\nProg 0%\rProg 50%\rProg 100%\nDone\nFinished.\n"
            << 3;
    QTest::newRow("nothing running yet ends it at once")
            << QList<HttpReply> {body("No active process.\n"), body("late output\n")}
            << "Started\nNo active process.\n"
            << 1;
    QTest::newRow("empty pieces are shown too, and polled on")
            << QList<HttpReply> {body(""), body(""), body("Finished.\n")} << "Started\nFinished.\n"
            << 3;
    QTest::newRow("Finished not at the end goes on")
            << QList<HttpReply> {body("Finished.\nmore"), body("Finished.\r\n"), body("Finished."),
                                 body("Finished.\n")}
            << "Started\nFinished.\nmoreFinished.\r\nFinished.Finished.\n"
            << 4;
    QTest::newRow("NUL hides the text but the raw end counts")
            << QList<HttpReply> {body(QByteArray("a\0b", 3)),
                                 body(QByteArray("c\0Finished.\n", 12))}
            << "Started\nac" << 2;
    QTest::newRow("server error ends it")
            << QList<HttpReply> {body("Prog 0%\r"), HttpReply {500, "Finished.\n"}}
            << "Started\nProg 0%\rConnection error to HOST.\n"
            << 2;
    QTest::newRow("dropped connection ends it")
            << QList<HttpReply> {body("Prog 0%\r"), HttpReply {200, "Prog 50%\r", true}}
            << "Started\nProg 0%\rConnection error to HOST.\n"
            << 2;
    QTest::newRow("invalid UTF-8 is shown, not dropped")
            << QList<HttpReply> {body("caf\xc3\n"), body("\xff\xfe\xfd\nFinished.\n")}
            << "Started\ncaf\uFFFD\n\uFFFD\uFFFD\uFFFD\nFinished.\n"
            << 2;
}

void TestHttpCommandProcessor::polling()
{
    QFETCH(QList<HttpReply>, statusReplies);
    QFETCH(QString, console);
    QFETCH(int, polls);

    const QString address = nextAddress();
    CannedInstrument instrument(address);
    QVERIFY(instrument.started);
    instrument.answer("ops/install", {body("Started\n")});
    instrument.answer("status", statusReplies);

    HttpCommandProcessor processor(address, nullptr);
    SignalRecorder recorder(&processor);
    processor.installSoftware();
    QVERIFY(waitUntilIdle(processor, recorder));

    QStringList responses;
    for (const QString &event : recorder.events) {
        if (event.startsWith("response: "))
            responses << event.mid(10);
    }
    // The install reply may come back before or after the first status reply.
    QString text = responses.join(QString());
    const QString started = SignalRecorder::visible("Started\n");
    QVERIFY(text.contains(started));
    text.remove(text.indexOf(started), started.size());
    QString expected = SignalRecorder::visible(console);
    expected.remove(0, started.size());
    expected.replace("HOST", address);
    QCOMPARE(text, expected);
    const QStringList paths = instrument.sortedRequests();
    QCOMPARE(paths.count("status"), polls);
    // Each poll goes out before the reply that asked for it is deleted: idle only at the end.
    QCOMPARE(recorder.events.filter("busy: ").size(), 2 * paths.size());
    QCOMPARE(recorder.events.count("busy: false"), 1);
}

// Replies that are not status replies: shown once, never polled on.
void TestHttpCommandProcessor::textReplies_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<HttpReply>("reply");
    QTest::addColumn<QString>("console");

    QTest::newRow("reboot") << "reboot" << body("Rebooting.\n") << "Rebooting.\n";
    QTest::newRow("empty body is an empty text") << "reboot" << body("") << "";
    QTest::newRow("NUL ends the text") << "cancel" << body(QByteArray("stop\0ped\n", 9)) << "stop";
    QTest::newRow("status words in a text reply do not poll")
            << "cancel" << body("Cancelling\r") << "Cancelling\r";
    QTest::newRow("404 shows no body")
            << "reboot" << HttpReply {404, "Not found\n"} << "Connection error to HOST.\n";
    QTest::newRow("500") << "cancel" << HttpReply {500, "boom"} << "Connection error to HOST.\n";
    QTest::newRow("dropped mid-reply")
            << "reboot" << HttpReply {200, "Rebooting.\n", true} << "Connection error to HOST.\n";
    QTest::newRow("larger than any real reply")
            << "reboot"
            << body(QByteArray(HttpCommandProcessor::MaximumBodySize + 1024 * 1024, 'x'))
            << "Connection error to HOST.\n";
}

void TestHttpCommandProcessor::textReplies()
{
    QFETCH(QString, operation);
    QFETCH(HttpReply, reply);
    QFETCH(QString, console);

    const QString address = nextAddress();
    CannedInstrument instrument(address);
    QVERIFY(instrument.started);
    instrument.answer(operation.toStdString(), {reply});

    HttpCommandProcessor processor(address, nullptr);
    SignalRecorder recorder(&processor);
    QVERIFY(SignalRecorder::perform(&processor, operation));
    QVERIFY(waitUntilIdle(processor, recorder));
    const QString expected
            = "response: " + SignalRecorder::visible(console).replace("HOST", address);
    QCOMPARE(recorder.events, QStringList({"busy: true", expected, "busy: false"}));
}

void TestHttpCommandProcessor::identify_data()
{
    QTest::addColumn<HttpReply>("reply");
    QTest::addColumn<QStringList>("events");

    const QByteArray document = R"({"slotOrder": ["A", "B"], "slotCount": [4, 1], "usb": [{}]})";
    const QString identity = "identity: A-first A:4 B:1 usb: --";
    const QString defaults = "identity: B-first B:0 A:0 usb:";
    const QString refreshed = "response: Identity refreshed.\\n";

    QTest::newRow("document alone") << body(document) << QStringList {identity, refreshed};
    QTest::newRow("log line, then the document")
            << body("identify: VX4120A in recovery mode\n" + document)
            << QStringList {identity, refreshed};
    QTest::newRow("trailing line feed leaves an empty last line")
            << body(document + "\n") << QStringList {defaults, refreshed};
    QTest::newRow("document over several lines") << body(R"({"slotOrder": ["A", "B"],
                        "slotCount": [4, 1]})") << QStringList {defaults, refreshed};
    QTest::newRow("not JSON") << body("<html>gateway</html>") << QStringList {defaults, refreshed};
    QTest::newRow("empty") << body("") << QStringList {defaults, refreshed};
    QTest::newRow("failed: no identity") << HttpReply {500, document.toStdString()}
                                         << QStringList {"response: Connection error to HOST.\\n"};
}

void TestHttpCommandProcessor::identify()
{
    QFETCH(HttpReply, reply);
    QFETCH(QStringList, events);

    const QString address = nextAddress();
    CannedInstrument instrument(address);
    QVERIFY(instrument.started);
    instrument.answer("ops/identify", {reply});

    HttpCommandProcessor processor(address, nullptr);
    SignalRecorder recorder(&processor);
    processor.identify();
    QVERIFY(waitUntilIdle(processor, recorder));
    events.replaceInStrings("HOST", address);
    QCOMPARE(recorder.events, QStringList {"busy: true"} + events + QStringList {"busy: false"});
}

// Replies still in flight when the back end goes are deleted with it; none of them may report to
// a receiver then, since that receiver is normally the window being torn down around it.
void TestHttpCommandProcessor::teardownInFlight()
{
    QTcpServer silent; // accepts connections and never answers
    const QString address = nextAddress();
    QVERIFY(silent.listen(QHostAddress(address), 8080));

    auto *processor = new HttpCommandProcessor(address, nullptr);
    processor->installSoftware();
    processor->ejectUSB();
    QVERIFY(QTest::qWaitFor([&] { return silent.hasPendingConnections(); }));
    int reportsDuringTeardown = 0;
    QObject receiver;
    connect(processor, &AbstractCommandProcessor::isBusyChanged, &receiver,
            [&](bool) { ++reportsDuringTeardown; });
    connect(processor, &AbstractCommandProcessor::responseReceived, &receiver,
            [&](const QString &) { ++reportsDuringTeardown; });
    QVERIFY(processor->isBusy());
    delete processor;
    QCOMPARE(reportsDuringTeardown, 0);
}

QTEST_GUILESS_MAIN(TestHttpCommandProcessor)
#include "tst_httpcommandprocessor.moc"
