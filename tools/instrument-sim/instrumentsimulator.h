#pragma once

#include "tools/instrument-sim/httpreplyserver.h"

#include <QJsonObject>
#include <QStringList>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>

// Ways in which the simulated instrument misbehaves, for testing.
struct InstrumentFaults
{
    std::chrono::milliseconds delay {0}; // before every reply
    int dropStatusAt = 0; // the status reply with this number, counted per operation, drops
    QStringList failingPaths; // answered with 500
    bool identityNotJson = false;
};

// An instrument's service as seen over HTTP: it keeps the instrument's state, answers every path
// of the protocol, hands out the output of a running install or export piece by piece on "status",
// and can be told to misbehave for testing. Safe to call from several server threads at once.
class InstrumentSimulator
{
public:
    explicit InstrumentSimulator(QJsonObject identity = defaultIdentity(), int progressSteps = 40,
                                 InstrumentFaults faults = {});

    // The same instrument that the console simulates in memory.
    static QJsonObject defaultIdentity();

    HttpReply respond(const std::string &path);

    // Every path received so far, in the order the requests arrived.
    QStringList requests() const;
    QJsonObject identity() const;

private:
    HttpReply respondLocked(const QString &path);
    QByteArray identifyBody() const;
    QByteArray start(const QString &operation);
    HttpReply nextStatus();
    QByteArray cancel();
    QByteArray reboot();
    QByteArray eject();
    HttpReply reset(const QStringList &words);
    QByteArray setBootOrder(const QString &slot);
    QByteArray resetBootCount(const QString &slot);
    QString firstSlot() const;
    QString firstUsbDevice() const;

    mutable std::mutex mutex;
    std::condition_variable operationStarted;
    QJsonObject document;
    const int progressSteps;
    const InstrumentFaults faults;
    QStringList received;
    QString operation; // "install" or "backup" while one runs
    // What "status" hands out next: the opening lines, then the progress lines one by one (made
    // when asked for, so a long stream costs no memory), then the closing piece.
    std::deque<QByteArray> output;
    int nextStep = 0;
    QByteArray ending; // ends in "Finished.\n"
    int statusReplies = 0;
    QString installedVersion; // goes into the first slot when an install runs to its end
};
