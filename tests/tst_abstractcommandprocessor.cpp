#include "processors/fakecommandprocessor.h"
#include "processors/offlinecommandprocessor.h"

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
    OfflineCommandProcessor offline("host", nullptr);
    for (AbstractCommandProcessor *processor :
         {static_cast<AbstractCommandProcessor *>(&simulated),
          static_cast<AbstractCommandProcessor *>(&offline)}) {
        const QMetaObject *meta = processor->metaObject();
        QVERIFY(processor->inherits("AbstractCommandProcessor"));
        QCOMPARE(meta->methodCount(), meta->methodOffset()); // nothing of their own
        bool busy = true;
        QVERIFY(QMetaObject::invokeMethod(processor, "isBusy", Q_RETURN_ARG(bool, busy)));
        QVERIFY(!busy);
    }
    QCOMPARE(simulated.metaObject()->className(), "FakeCommandProcessor");
    QCOMPARE(offline.metaObject()->className(), "OfflineCommandProcessor");
}

QTEST_GUILESS_MAIN(TestAbstractCommandProcessor)
#include "tst_abstractcommandprocessor.moc"
