#include "processors/httpcommandprocessor.h"
#include "processors/replybody.h"
#include "tests/testsupport.h"
#include "tools/instrument-sim/hostilereplies.h"
#include "tools/instrument-sim/httpreplyserver.h"
#include "tools/instrument-sim/instrumentsimulator.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

#include <map>
#include <memory>
#include <mutex>

// What the instrument answers on one path; a path's last reply repeats, others get 404.
struct Route
{
    std::string path;
    HttpReply reply;
};
using Routes = QList<Route>;
Q_DECLARE_METATYPE(Route)
Q_DECLARE_METATYPE(HttpReply)

// The back end that reaches an instrument over HTTP, against real servers on loopback.
class TestHttpCommandProcessor : public QObject
{
    Q_OBJECT

private slots:
    void serviceVisit();
    void repliesReachTheConsoleAsTheyCame_data();
    void repliesReachTheConsoleAsTheyCame();
    void hostileRepliesCostNoMoreThanTheBound_data();
    void hostileRepliesCostNoMoreThanTheBound();
    void requestHeadersAreTheToolkits();
    void repliesInFlightGoWithTheBackEnd();
};

namespace {

QStringList polls(const QString &path, int count)
{
    return QStringList {path} + QVector<QString>(count, "status").toList();
}

using Processor = AbstractCommandProcessor;

} // namespace

// Each operation asks the instrument, and every request but a reboot is followed by what it
// brought. An order asked for again is kept.
void TestHttpCommandProcessor::serviceVisit()
{
    const QString address = "127.0.23.1";
    InstrumentSimulator simulator;
    HttpReplyServer server(
            [&simulator](const std::string &path) { return simulator.respond(path); });
    QVERIFY(server.start(address.toStdString()));
    HttpCommandProcessor http(address, nullptr);
    const QString refreshed = "Identity refreshed.\n";
    const QList<Outcome> expected {{{"Boot order: slot B first.\n", refreshed}},
                                   {{refreshed}, {"B-first B:3 A:2 usb: USB0 USB1"}},
                                   {{"Ejected USB0 (KINGSTON).\n", refreshed}},
                                   {{"Boot count of slot B reset.\n", "Reset factory: done.\n"}},
                                   {{}},
                                   {{"Boot order: slot A first.\n", refreshed}},
                                   {{"Rebooting.\n"}},
                                   {{refreshed}, {"A-first A:3 B:0 usb:"}}};
    QCOMPARE(::serviceVisit(&http, [&] { return settle(&http); }), expected);
}

// Status polling and its end, failed and odd replies, and the identity document's place in a
// reply: what the console shows, and the requests the instrument saw.
void TestHttpCommandProcessor::repliesReachTheConsoleAsTheyCame_data()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<Routes>("routes");
    // Every response, joined, then every identity; HOST stands for the address.
    QTest::addColumn<QString>("console");
    QTest::addColumn<QStringList>("requests");

    const QString error = "Connection error to HOST.\n";
    const std::string document = R"({"slotOrder": ["A", "B"], "slotCount": [4, 1], "usb": [{}]})";
    const Operation install = &Processor::installSoftware;

    QTest::newRow("install: polled until Finished at the end, on through empty pieces")
            << install << Routes {{"ops/install", {200, ""}},
                                  {"status", {200, "Prog 0%\r"}},
                                  {"status", {200, ""}},
                                  {"status", {200, "Prog 100%\nFinished.\nmore"}},
                                  {"status", {200, "Finished."}},
                                  {"status", {200, "Finished.\n"}}}
            << "Prog 0%\rProg 100%\nFinished.\nmoreFinished.Finished.\n"
            << polls("ops/install", 5);
    QTest::newRow("export: nothing running ends it at once")
            << Operation(&Processor::backUp)
            << Routes {{"ops/backup", {200, ""}}, {"status", {200, "No active process.\n"}}}
            << "No active process.\n"
            << polls("ops/backup", 1);
    QTest::newRow("invalid UTF-8 is shown; NUL hides the text but the raw end counts")
            << install
            << Routes {{"ops/install", {200, ""}},
                       {"status", {200, std::string("a\0b", 3)}},
                       {"status", {200, "caf\xc3\n"}},
                       {"status", {200, std::string("\xff\nc\0Finished.\n", 14)}}}
            << "acaf\uFFFD\n\uFFFD\nc" << polls("ops/install", 3);
    QTest::newRow("a dropped poll ends it") << install
                                            << Routes {{"ops/install", {200, ""}},
                                                       {"status", {200, "Prog 0%\r"}},
                                                       {"status", {200, "Prog 50%", true}}}
                                            << "Prog 0%\r" + error << polls("ops/install", 2);
    // Qt 6 would follow the redirect; Qt 5.15, the console's main line, could not.
    QTest::newRow("text reply: a redirect is shown, NUL ends it, status words do not poll")
            << Operation(&Processor::cancel)
            << Routes {{"cancel", {302, std::string("Prog\r\0ped\n", 10), false, "/elsewhere"}},
                       {"elsewhere", {200, "There.\n"}}}
            << "Prog\r" << QStringList {"cancel"};
    // A stored block of a bare deflate stream: "deflate" without zlib's header, as Qt 5 took it.
    QTest::newRow("text reply: deflate without zlib's header")
            << Operation(&Processor::cancel)
            << Routes {{"cancel",
                        {200, std::string("\x01\x09\x00\xf6\xffStopped.\n", 14), false, "",
                         "deflate"}}}
            << "Stopped.\n"
            << QStringList {"cancel"};
    QTest::newRow("larger than any real reply")
            << Operation(&Processor::reboot)
            << Routes {{"reboot", {200, std::string(ReplyBody::MaximumSize + 1024 * 1024, 'x')}}}
            << error << QStringList {"reboot"};
    QTest::newRow("reset items as they stand, one naming no slot skipped first")
            << reset({"count", "Slot A Count", "a/b"}) << Routes()
            << "Reset item \"count\" names no slot; skipped.\n" + error + error
            << QStringList {"ops/reset/Slot A Count", "ops/reset/a/b"};
    const Operation identify = &Processor::identify;
    QTest::newRow("identity: log lines, then the document")
            << identify << Routes {{"ops/identify", {200, "identify: ready\nok\n" + document}}}
            << "Identity refreshed.\nA-first A:4 B:1 usb: --" << QStringList {"ops/identify"};
    QTest::newRow("identity: a trailing line feed leaves an empty document")
            << identify << Routes {{"ops/identify", {200, document + "\n"}}}
            << "Identity refreshed.\nB-first B:0 A:0 usb:" << QStringList {"ops/identify"};
    QTest::newRow("identity: failed") << identify << Routes {{"ops/identify", {500, document}}}
                                      << error << QStringList {"ops/identify"};
}

void TestHttpCommandProcessor::repliesReachTheConsoleAsTheyCame()
{
    QFETCH(Operation, operation);
    QFETCH(Routes, routes);
    QFETCH(QString, console);
    QFETCH(QStringList, requests);

    // A fresh address for each row: no connection is reused.
    static int rows = 0;
    const QString address = QString("127.0.22.%1").arg(++rows);
    std::map<std::string, QList<HttpReply>> queues;
    for (const Route &route : routes)
        queues[route.path] << route.reply;
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
    EventRecorder recorder(&http);
    operation(&http);
    QVERIFY(QTest::qWaitFor([&] { return !http.isBusy() && recorder.events.endsWith(busy(false)); },
                            Patience));

    QString shown;
    for (const Event &event : recorder.only({Event::Response}))
        shown += event.text;
    for (const Event &event : recorder.only({Event::Identity}))
        shown += event.text;
    QCOMPARE(shown, QString(console).replace("HOST", address));
    // Sorted: requests sent at once race each other, so their order of arrival means nothing.
    const std::lock_guard<std::mutex> lock(mutex);
    received.sort();
    QCOMPARE(received, requests);
    // A report for each request sent and each reply deleted, idle only at the very end: each poll
    // goes out before the reply that asked for it is deleted.
    QCOMPARE(recorder.only({Event::Busy, Event::Idle}).size(), 2 * requests.size());
    QCOMPARE(recorder.events.count(busy(false)), 1);
    QCOMPARE(warnings, QStringList());
}

// What a hostile instrument answers. Each ends as a body too large to hold, and holding it never
// costs the console much more than the 16 MB it may keep: the bound is 64 MB, here with twice that
// as the margin of the test (bench/run prints the figure).
void TestHttpCommandProcessor::hostileRepliesCostNoMoreThanTheBound_data()
{
    QTest::addColumn<HttpReply>("reply");
    for (const HostileReplies::Named &hostile : HostileReplies::all())
        QTest::newRow(hostile.name.c_str()) << hostile.reply;
}

void TestHttpCommandProcessor::hostileRepliesCostNoMoreThanTheBound()
{
    QFETCH(HttpReply, reply);

    static int rows = 0;
    const QString address = QString("127.0.21.%1").arg(10 + ++rows);
    HttpReplyServer server([&reply](const std::string &) { return reply; });
    QVERIFY(server.start(address.toStdString()));
    HttpCommandProcessor http(address, nullptr);
    EventRecorder recorder(&http);
    QVERIFY(HostileReplies::resetPeak());
    const qint64 before = HostileReplies::residentKilobytes();
    http.reboot();
    QVERIFY(QTest::qWaitFor([&] { return !http.isBusy(); }, Patience));
    const qint64 grown = HostileReplies::peakResidentKilobytes() - before;
    QCOMPARE(recorder.only({Event::Response}),
             Events {response("Connection error to " + address + ".\n")});
    QVERIFY2(grown < 128 * 1024, qPrintable(QString("grew by %1 MB").arg(grown / 1024)));
}

// The instrument sees the requests the toolkit makes by itself, whatever the back end does to read
// the replies: the same headers, none of the console's own.
void TestHttpCommandProcessor::requestHeadersAreTheToolkits()
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
void TestHttpCommandProcessor::repliesInFlightGoWithTheBackEnd()
{
    QTcpServer silent; // accepts connections and never answers
    QVERIFY(silent.listen(QHostAddress("127.0.21.2"), 8080));
    auto backEnd = std::make_unique<HttpCommandProcessor>("127.0.21.2", nullptr);
    backEnd->installSoftware();
    backEnd->ejectUSB();
    QVERIFY(QTest::qWaitFor([&] { return silent.hasPendingConnections(); }, Patience));
    int reports = 0;
    QObject receiver;
    connect(backEnd.get(), &AbstractCommandProcessor::isBusyChanged, &receiver, [&] { ++reports; });
    connect(backEnd.get(), &AbstractCommandProcessor::responseReceived, &receiver,
            [&] { ++reports; });
    QVERIFY(backEnd->isBusy());
    backEnd.reset();
    QCOMPARE(reports, 0);
}

QTEST_GUILESS_MAIN(TestHttpCommandProcessor)
#include "tst_httpcommandprocessor.moc"
