#include "tools/instrument-sim/instrumentsimulator.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QLocale>

#include <thread>

namespace {

const QString NewVersion = QStringLiteral("T2026.11.2.0412_20261120_093015");
constexpr qint64 TransferSize = 18823301;
constexpr int FileCount = 233;

QString grouped(qint64 number)
{
    return QLocale(QLocale::English).toString(number);
}

// An rsync-style progress line, redrawn in place by its leading carriage return.
QByteArray progressLine(int step, int steps)
{
    const qint64 bytes = TransferSize * step / steps;
    const int files = FileCount * step / steps;
    const int secondsLeft = (steps - step) * 208 / steps;
    return QStringLiteral("\r%1 %2%   %3MB/s    0:%4:%5 (xfr#%6, to-chk=%7/%8)")
            .arg(grouped(bytes), 15)
            .arg(100 * step / steps, 3)
            .arg(4.2 + (step % 7) * 0.31, 0, 'f', 2)
            .arg(secondsLeft / 60, 2, 10, QLatin1Char('0'))
            .arg(secondsLeft % 60, 2, 10, QLatin1Char('0'))
            .arg(files)
            .arg(FileCount - files)
            .arg(FileCount)
            .toUtf8();
}

QByteArray summary(const QString &lastLine)
{
    return QStringLiteral("\n\nsent %1 bytes  received 4,472 bytes  90,478.37 bytes/sec\n"
                          "total size is %2  speedup is 1.00\n%3\nFinished.\n")
            .arg(grouped(TransferSize + 6811), grouped(TransferSize), lastLine)
            .toUtf8();
}

// The slot words of the protocol name a slot only as "A" or "B".
bool isSlotName(const QString &word)
{
    return word == QLatin1String("A") || word == QLatin1String("B");
}

} // namespace

InstrumentSimulator::InstrumentSimulator(QJsonObject identity, int progressSteps,
                                         InstrumentFaults faults)
    : document(std::move(identity))
    , progressSteps(std::max(progressSteps, 1))
    , faults(std::move(faults))
{ }

QJsonObject InstrumentSimulator::defaultIdentity()
{
    return QJsonDocument::fromJson(R"({
        "model": "VX4120A", "serial": "1901035",
        "options": "0102/0117/0135/0146/0158/0163/0171/0188/0204/0219/0233/0246/0250/0267/0279/0281/0294/0305/0312",
        "bootVersion": "4.0.0", "recoveryVersion": "1.0.0",
        "network": {"ip": "127.0.0.1", "subnet": "255.255.252.0", "gateway": "127.0.0.1"},
        "slotOrder": ["B", "A"],
        "slotAVersion": "E2019.01.1.1518_20190131_111111",
        "slotBVersion": "T2019.01.1.1518_20190131_140805",
        "slotCount": [3, 2],
        "usb": [{"alias": "USB0", "device": "/dev/sda1/", "label": "KINGSTON"},
                {"alias": "USB1", "device": "/dev/sda2/", "label": ""}]})")
            .object();
}

HttpReply InstrumentSimulator::respond(const std::string &path)
{
    if (faults.delay.count() > 0)
        std::this_thread::sleep_for(faults.delay);
    std::unique_lock<std::mutex> lock(mutex);
    // The console sends an operation and its first status poll at once, on two connections, and
    // the poll may arrive first. Give the operation a moment to start, so that trying the
    // console does not end an install at once with "No active process.".
    if (path == "status" && operation.isEmpty())
        operationStarted.wait_for(lock, std::chrono::milliseconds(100),
                                  [this] { return !operation.isEmpty(); });
    return respondLocked(QString::fromStdString(path));
}

QStringList InstrumentSimulator::requests() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return received;
}

QJsonObject InstrumentSimulator::identity() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return document;
}

HttpReply InstrumentSimulator::respondLocked(const QString &path)
{
    received.append(path);
    if (faults.failingPaths.contains(path))
        return {500, "Internal Server Error\n"};

    const QStringList words = path.split(QLatin1Char('/'));
    if (path == QLatin1String("status"))
        return nextStatus();
    if (path == QLatin1String("ops/identify"))
        return {200, identifyBody().toStdString()};
    if (path == QLatin1String("ops/install") || path == QLatin1String("ops/backup"))
        return {200, start(words.at(1)).toStdString()};
    if (path == QLatin1String("cancel"))
        return {200, cancel().toStdString()};
    if (path == QLatin1String("reboot"))
        return {200, reboot().toStdString()};
    if (path == QLatin1String("ops/eject"))
        return {200, eject().toStdString()};
    if (words.size() >= 3 && words.at(0) == QLatin1String("ops")
        && words.at(1) == QLatin1String("reset"))
        return reset(words.mid(2));
    return {404, "Not found\n"};
}

// A log line first, as the instrument's tool prints one; the document is the last line.
QByteArray InstrumentSimulator::identifyBody() const
{
    const QByteArray log = QStringLiteral("identify: %1 %2 in recovery mode\n")
                                   .arg(document.value(QLatin1String("model")).toString(),
                                        document.value(QLatin1String("serial")).toString())
                                   .toUtf8();
    if (faults.identityNotJson)
        return log + R"({"model": VX4120A, "serial": )";
    return log + QJsonDocument(document).toJson(QJsonDocument::Compact);
}

QByteArray InstrumentSimulator::start(const QString &newOperation)
{
    if (!operation.isEmpty())
        return QStringLiteral("Busy: %1 is running.\n").arg(operation).toUtf8();
    operation = newOperation;
    operationStarted.notify_all();
    statusReplies = 0;
    output.clear();
    installedVersion.clear();

    const QString usb = firstUsbDevice();
    if (usb.isEmpty()) {
        nextStep = progressSteps + 1;
        ending = "No USB stick found.\nFinished.\n";
        return QStringLiteral("Started %1.\n").arg(operation).toUtf8();
    }
    if (operation == QLatin1String("install")) {
        output.push_back(QStringLiteral("Mounting %1 on /run/media/USB0\n").arg(usb).toUtf8());
        output.push_back(QStringLiteral("Found ostrel-update-%1.tar (%2 bytes)\n")
                                 .arg(NewVersion, grouped(TransferSize))
                                 .toUtf8());
        output.push_back("Verifying signature... OK\n");
        output.push_back(QStringLiteral("Installing into slot %1\n").arg(firstSlot()).toUtf8());
        installedVersion = NewVersion;
    } else {
        output.push_back(QStringLiteral("Exporting to %1\n").arg(usb).toUtf8());
        output.push_back(QStringLiteral("created directory /run/media/USB0/export-%1\n")
                                 .arg(document.value(QLatin1String("serial")).toString())
                                 .toUtf8());
    }
    output.push_back("sending incremental file list\n");
    nextStep = 0;
    ending = operation == QLatin1String("install")
            ? summary(QStringLiteral("Slot %1 now holds %2").arg(firstSlot(), NewVersion))
            : summary(QStringLiteral("Export complete: %1 files").arg(FileCount));
    return QStringLiteral("Started %1.\n").arg(operation).toUtf8();
}

HttpReply InstrumentSimulator::nextStatus()
{
    if (operation.isEmpty())
        return {200, "No active process.\n"};
    if (++statusReplies == faults.dropStatusAt)
        return {200, "lost in transit", true};

    if (!output.empty()) {
        const QByteArray piece = output.front();
        output.pop_front();
        return {200, piece.toStdString()};
    }
    if (nextStep <= progressSteps)
        return {200, progressLine(nextStep++, progressSteps).toStdString()};
    if (!installedVersion.isEmpty())
        document.insert(QStringLiteral("slot%1Version").arg(firstSlot()), installedVersion);
    operation.clear();
    return {200, ending.toStdString()};
}

// The running output ends early: whatever was not handed out yet is gone.
QByteArray InstrumentSimulator::cancel()
{
    if (operation.isEmpty())
        return "No active process.\n";
    output.clear();
    nextStep = progressSteps + 1;
    ending = QStringLiteral("\n%1 cancelled.\nFinished.\n").arg(operation).toUtf8();
    installedVersion.clear();
    return "Cancelling.\n";
}

// The instrument comes back up from the slot that boots first, which counts one more boot.
QByteArray InstrumentSimulator::reboot()
{
    operation.clear();
    QJsonArray counts = document.value(QLatin1String("slotCount")).toArray();
    while (counts.size() < 2)
        counts.append(0);
    counts[0] = counts.at(0).toInt() + 1;
    document.insert(QStringLiteral("slotCount"), counts);
    return "Rebooting.\n";
}

QByteArray InstrumentSimulator::eject()
{
    const QString usb = firstUsbDevice();
    if (usb.isEmpty())
        return "No USB device to eject.\n";
    document.insert(QStringLiteral("usb"), QJsonArray());
    return QStringLiteral("Ejected %1.\n").arg(usb).toUtf8();
}

HttpReply InstrumentSimulator::reset(const QStringList &words)
{
    static const QStringList items
            = {QStringLiteral("factory"), QStringLiteral("user"), QStringLiteral("system"),
               QStringLiteral("internal"), QStringLiteral("network")};
    if (words.size() == 1 && items.contains(words.at(0)))
        return {200, QStringLiteral("Reset %1: done.\n").arg(words.at(0)).toStdString()};
    if (words.size() == 3 && words.at(0) == QLatin1String("boot") && isSlotName(words.at(2))) {
        if (words.at(1) == QLatin1String("order"))
            return {200, setBootOrder(words.at(2)).toStdString()};
        if (words.at(1) == QLatin1String("count"))
            return {200, resetBootCount(words.at(2)).toStdString()};
    }
    return {404, "Not found\n"};
}

// The counts travel in boot order, so they swap together with the slots.
QByteArray InstrumentSimulator::setBootOrder(const QString &slot)
{
    if (firstSlot() != slot) {
        const QString other
                = slot == QLatin1String("A") ? QStringLiteral("B") : QStringLiteral("A");
        QJsonArray counts = document.value(QLatin1String("slotCount")).toArray();
        while (counts.size() < 2)
            counts.append(0);
        document.insert(QStringLiteral("slotOrder"), QJsonArray {slot, other});
        document.insert(QStringLiteral("slotCount"), QJsonArray {counts.at(1), counts.at(0)});
    }
    return QStringLiteral("Boot order: slot %1 first.\n").arg(slot).toUtf8();
}

QByteArray InstrumentSimulator::resetBootCount(const QString &slot)
{
    QJsonArray counts = document.value(QLatin1String("slotCount")).toArray();
    while (counts.size() < 2)
        counts.append(0);
    counts[firstSlot() == slot ? 0 : 1] = 0;
    document.insert(QStringLiteral("slotCount"), counts);
    return QStringLiteral("Boot count of slot %1 reset.\n").arg(slot).toUtf8();
}

QString InstrumentSimulator::firstSlot() const
{
    // Read as the console reads it: anything but "A" means that slot B boots first.
    const QString slot = document.value(QLatin1String("slotOrder")).toArray().at(0).toString();
    return slot.toUpper() == QLatin1String("A") ? QStringLiteral("A") : QStringLiteral("B");
}

QString InstrumentSimulator::firstUsbDevice() const
{
    const QJsonObject device = document.value(QLatin1String("usb")).toArray().at(0).toObject();
    if (device.isEmpty())
        return {};
    return QStringLiteral("%1 (%2)").arg(device.value(QLatin1String("alias")).toString(),
                                         device.value(QLatin1String("label")).toString());
}
