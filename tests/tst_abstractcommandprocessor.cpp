#include "processors/abstractcommandprocessor.h"
#include "processors/fakecommandprocessor.h"
#include "processors/offlinecommandprocessor.h"

#include <QMetaMethod>
#include <QTest>

#include <memory>

// The window, the dialogs and later tooling reach the back ends by meta-object (connections by
// name, invokeMethod, casts by class name), so its shape is part of the contract.
class TestAbstractCommandProcessor : public QObject
{
    Q_OBJECT

private slots:
    void methods_data();
    void methods();
    void implementations_data();
    void implementations();
};

void TestAbstractCommandProcessor::methods_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QByteArray>("signature");
    QTest::addColumn<int>("methodType");
    QTest::addColumn<QByteArray>("returnType");
    QTest::addColumn<QByteArrayList>("parameterNames");

    const int signal = QMetaMethod::Signal;
    const int slot = QMetaMethod::Slot;
    const QByteArray none = "void";
    QTest::newRow("responseReceived") << 0 << QByteArray("responseReceived(QString)") << signal
                                      << none << QByteArrayList {"response"};
    QTest::newRow("identityUpdated") << 1 << QByteArray("identityUpdated(OstrelIdentity)") << signal
                                     << none << QByteArrayList {"identity"};
    QTest::newRow("isBusyChanged")
            << 2 << QByteArray("isBusyChanged(bool)") << signal << none << QByteArrayList {"busy"};
    QTest::newRow("backUp") << 3 << QByteArray("backUp()") << slot << none << QByteArrayList {};
    QTest::newRow("identify") << 4 << QByteArray("identify()") << slot << none << QByteArrayList {};
    QTest::newRow("reboot") << 5 << QByteArray("reboot()") << slot << none << QByteArrayList {};
    QTest::newRow("installSoftware")
            << 6 << QByteArray("installSoftware()") << slot << none << QByteArrayList {};
    QTest::newRow("setBootOrder") << 7 << QByteArray("setBootOrder(OstrelIdentity::BootOrder)")
                                  << slot << none << QByteArrayList {"order"};
    QTest::newRow("reset") << 8 << QByteArray("reset(QStringList)") << slot << none
                           << QByteArrayList {"resetList"};
    QTest::newRow("isBusy") << 9 << QByteArray("isBusy()") << slot << QByteArray("bool")
                            << QByteArrayList {};
    QTest::newRow("cancel") << 10 << QByteArray("cancel()") << slot << none << QByteArrayList {};
    QTest::newRow("ejectUSB") << 11 << QByteArray("ejectUSB()") << slot << none
                              << QByteArrayList {};
}

void TestAbstractCommandProcessor::methods()
{
    QFETCH(int, index);
    QFETCH(QByteArray, signature);
    QFETCH(int, methodType);
    QFETCH(QByteArray, returnType);
    QFETCH(QByteArrayList, parameterNames);

    const QMetaObject &meta = AbstractCommandProcessor::staticMetaObject;
    QCOMPARE(meta.className(), "AbstractCommandProcessor");
    QCOMPARE(meta.methodCount() - meta.methodOffset(), 12);

    const QMetaMethod method = meta.method(meta.methodOffset() + index);
    QCOMPARE(method.methodSignature(), signature);
    QCOMPARE(int(method.methodType()), methodType);
    QCOMPARE(method.access(), QMetaMethod::Public);
    QCOMPARE(QByteArray(method.typeName()), returnType);
    QCOMPARE(method.parameterNames(), parameterNames);
}

void TestAbstractCommandProcessor::implementations_data()
{
    QTest::addColumn<QString>("className");
    QTest::newRow("simulated") << QStringLiteral("FakeCommandProcessor");
    QTest::newRow("offline") << QStringLiteral("OfflineCommandProcessor");
}

void TestAbstractCommandProcessor::implementations()
{
    QFETCH(QString, className);
    std::unique_ptr<AbstractCommandProcessor> processor;
    if (className == QLatin1String("FakeCommandProcessor"))
        processor = std::make_unique<FakeCommandProcessor>(nullptr);
    else
        processor = std::make_unique<OfflineCommandProcessor>(QStringLiteral("host"), nullptr);

    const QMetaObject *meta = processor->metaObject();
    QCOMPARE(QString::fromLatin1(meta->className()), className);
    QVERIFY(processor->inherits("AbstractCommandProcessor"));
    QCOMPARE(meta->methodCount(), meta->methodOffset());
    QCOMPARE(meta->propertyCount(), meta->propertyOffset());

    // The operations are reachable by name and dispatch to the implementation.
    bool busy = true;
    QVERIFY(QMetaObject::invokeMethod(processor.get(), "isBusy", Q_RETURN_ARG(bool, busy)));
    QVERIFY(!busy);
    int identities = 0;
    int responses = 0;
    connect(processor.get(), &AbstractCommandProcessor::identityUpdated, this,
            [&identities](const OstrelIdentity &) { ++identities; });
    connect(processor.get(), &AbstractCommandProcessor::responseReceived, this,
            [&responses](const QString &) { ++responses; });
    QVERIFY(QMetaObject::invokeMethod(processor.get(), "identify"));
    QCOMPARE(identities + responses, 1);
}

QTEST_GUILESS_MAIN(TestAbstractCommandProcessor)
#include "tst_abstractcommandprocessor.moc"
