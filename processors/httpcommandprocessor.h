#pragma once

#include "processors/abstractcommandprocessor.h"

#include <QHash>
#include <QNetworkAccessManager>

class QNetworkReply;
class ReplyBody;

// Drives a real instrument over HTTP on port 8080. Every operation is one or two GET requests sent
// at once; the replies alive under the network manager are the only record of what is in flight,
// and the busy state follows from them.
class HttpCommandProcessor final : public AbstractCommandProcessor
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(HttpCommandProcessor)

public:
    HttpCommandProcessor(const QString &hostName, QObject *parent);
    ~HttpCommandProcessor() override;

    void backUp() override;
    void identify() override;
    void reboot() override;
    void installSoftware() override;
    void setBootOrder(OstrelIdentity::BootOrder order) override;
    void reset(const QStringList &resetList) override;
    bool isBusy() override;
    void cancel() override;
    void ejectUSB() override;

public slots:
    void handleReply(QNetworkReply *reply);

private:
    QNetworkReply *sendRequest(const QString &path);
    void requestStatus();
    void handleReplyDestroyed();

    QString hostName;
    QString baseUrl;
    QNetworkAccessManager networkManager;
    // Each reply in flight with the reader of its body, a child of the reply.
    QHash<const QNetworkReply *, ReplyBody *> replyBodies;
};
