#include "processors/commandprocessor.h"
#include "processors/fakecommandprocessor.h"
#include "processors/httpcommandprocessor.h"

#include <QMetaMethod>
#include <QTest>

// The window and the dialogs reach the back ends through the meta-object (connections, calls by
// name, casts by class name), so its methods are part of the contract.
class TestAbstractCommandProcessor : public QObject
{
    Q_OBJECT

private slots:
    void methods_data();
    void methods();
    void implementations();
};

void TestAbstractCommandProcessor::methods_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QByteArray>("signature");
    QTest::addColumn<QByteArrayList>("parameterNames");

    const QList<QPair<QByteArray, QByteArrayList>> methods = {
            {"responseReceived(QString)", {"response"}},
            {"identityUpdated(OstrelIdentity)", {"identity"}},
            {"isBusyChanged(bool)", {"busy"}},
            {"backUp()", {}},
            {"identify()", {}},
            {"reboot()", {}},
            {"installSoftware()", {}},
            {"setBootOrder(OstrelIdentity::BootOrder)", {"order"}},
            {"reset(QStringList)", {"resetList"}},
            {"isBusy()", {}},
            {"cancel()", {}},
            {"ejectUSB()", {}},
    };
    for (int index = 0; index < methods.size(); ++index)
        QTest::newRow(methods[index].first)
                << index << methods[index].first << methods[index].second;
}

void TestAbstractCommandProcessor::methods()
{
    QFETCH(int, index);
    QFETCH(QByteArray, signature);
    QFETCH(QByteArrayList, parameterNames);

    const QMetaObject &meta = AbstractCommandProcessor::staticMetaObject;
    QCOMPARE(meta.className(), "AbstractCommandProcessor");
    QCOMPARE(meta.methodCount() - meta.methodOffset(), 12);
    const QMetaMethod method = meta.method(meta.methodOffset() + index);
    QCOMPARE(method.methodSignature(), signature);
    QCOMPARE(method.methodType(), index < 3 ? QMetaMethod::Signal : QMetaMethod::Slot);
    QCOMPARE(method.access(), QMetaMethod::Public);
    QCOMPARE(method.typeName(), signature == "isBusy()" ? "bool" : "void");
    QCOMPARE(method.parameterNames(), parameterNames);
}

void TestAbstractCommandProcessor::implementations()
{
    FakeCommandProcessor simulated(nullptr);
    HttpCommandProcessor http("127.0.9.1", nullptr);
    // Never the real tool or the real reboot command, even where nothing is run.
    CommandProcessor local("/nonexistent/recovery-ops", "/nonexistent/reboot", 0, nullptr);
    for (AbstractCommandProcessor *processor : {static_cast<AbstractCommandProcessor *>(&simulated),
                                                static_cast<AbstractCommandProcessor *>(&http),
                                                static_cast<AbstractCommandProcessor *>(&local)}) {
        QVERIFY(processor->inherits("AbstractCommandProcessor"));
        bool busy = true;
        QVERIFY(QMetaObject::invokeMethod(processor, "isBusy", Q_RETURN_ARG(bool, busy)));
        QVERIFY(!busy);
    }
    QCOMPARE(simulated.metaObject()->className(), "FakeCommandProcessor");
    QCOMPARE(simulated.metaObject()->methodCount(), simulated.metaObject()->methodOffset());
    QCOMPARE(local.metaObject()->className(), "CommandProcessor");
    QCOMPARE(local.metaObject()->methodCount(), local.metaObject()->methodOffset());
    // The HTTP back end adds its reply handler and nothing else.
    const QMetaObject *meta = http.metaObject();
    QCOMPARE(meta->className(), "HttpCommandProcessor");
    QCOMPARE(meta->methodCount(), meta->methodOffset() + 1);
    QCOMPARE(meta->method(meta->methodOffset()).methodSignature(), "handleReply(QNetworkReply*)");
}

QTEST_GUILESS_MAIN(TestAbstractCommandProcessor)
#include "tst_abstractcommandprocessor.moc"
