#include "processors/httpcommandprocessor.h"

#include "processors/protocol.h"
#include "processors/replybody.h"

#include <QJsonDocument>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrl>

HttpCommandProcessor::HttpCommandProcessor(const QString &hostName, QObject *parent)
    : AbstractCommandProcessor(parent)
    , hostName(hostName)
    , baseUrl(QStringLiteral("http://%1:8080/%2").arg(hostName))
{
    connect(&networkManager, &QNetworkAccessManager::finished, this,
            &HttpCommandProcessor::handleReply);
    // Qt 5.15's default, spelt out for Qt 6, which follows redirects by default: a 3xx reply is
    // shown like any other, and the console only ever talks to the host it was given.
    networkManager.setRedirectPolicy(QNetworkRequest::ManualRedirectPolicy);
}

// The manager deletes the replies still in flight, and each would report the busy state from
// inside this destructor to a window that is itself being torn down. Cut them off first.
HttpCommandProcessor::~HttpCommandProcessor()
{
    disconnect(&networkManager, nullptr, this, nullptr);
    const QList<QNetworkReply *> replies = networkManager.findChildren<QNetworkReply *>();
    for (QNetworkReply *reply : replies)
        disconnect(reply, nullptr, this, nullptr);
}

void HttpCommandProcessor::backUp()
{
    sendRequest(QStringLiteral("ops/backup"));
    requestStatus();
}

void HttpCommandProcessor::identify()
{
    sendRequest(QStringLiteral("ops/identify"));
}

void HttpCommandProcessor::reboot()
{
    sendRequest(QStringLiteral("reboot"));
}

void HttpCommandProcessor::installSoftware()
{
    sendRequest(QStringLiteral("ops/install"));
    requestStatus();
}

void HttpCommandProcessor::setBootOrder(OstrelIdentity::BootOrder order)
{
    sendRequest(order == OstrelIdentity::AFirst ? QStringLiteral("ops/reset/boot/order/A")
                                                : QStringLiteral("ops/reset/boot/order/B"));
    identify();
}

void HttpCommandProcessor::reset(const QStringList &resetList)
{
    for (const QString &item : resetList) {
        const QStringList words = Protocol::resetCommandWords(item);
        if (words.isEmpty()) {
            emit responseReceived(
                    QStringLiteral("Reset item \"%1\" names no slot; skipped.\n").arg(item));
            continue;
        }
        sendRequest(QStringLiteral("ops/") + words.join(QLatin1Char('/')));
    }
}

bool HttpCommandProcessor::isBusy()
{
    return networkManager.findChild<QNetworkReply *>() != nullptr;
}

// Only asks the instrument to stop: a status polling that runs goes on until its own end.
void HttpCommandProcessor::cancel()
{
    sendRequest(QStringLiteral("cancel"));
}

void HttpCommandProcessor::ejectUSB()
{
    sendRequest(QStringLiteral("ops/eject"));
    identify();
}

void HttpCommandProcessor::handleReply(QNetworkReply *reply)
{
    const QString url = reply->url().toString();
    ReplyBody *replyBody = replyBodies.take(reply);
    replyBody->read();
    if (reply->error() != QNetworkReply::NoError || !replyBody->isWhole()) {
        emit responseReceived(QStringLiteral("Connection error to %1.\n").arg(hostName));
    } else if (reply->isReadable()) {
        const QByteArray body = replyBody->take();
        if (url.endsWith(QLatin1String("identify"))) {
            // Log lines may come first; the document is the last line.
            const QByteArray document = body.mid(body.lastIndexOf('\n') + 1);
            emit identityUpdated(OstrelIdentity(QJsonDocument::fromJson(document)));
            emit responseReceived(QStringLiteral("Identity refreshed.\n"));
        } else {
            const bool statusReply = url.endsWith(QLatin1String("status"));
            emit responseReceived(Protocol::decodeText(body));
            // The next poll goes out before this reply is released, so busy never drops between.
            if (statusReply && !body.endsWith("Finished.\n")
                && !body.endsWith("No active process.\n"))
                requestStatus();
        }
    }
    reply->deleteLater();
}

QNetworkReply *HttpCommandProcessor::sendRequest(const QString &path)
{
    emit isBusyChanged(true);
    const QUrl url(baseUrl.arg(path), QUrl::TolerantMode);
    QNetworkRequest request(url);
    // Plain HTTP/1.1 on both Qt lines: Qt 6 would offer HTTP/2 by default.
    request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    ReplyBody::prepare(&request);
    QNetworkReply *reply = networkManager.get(request);
    connect(reply, &QObject::destroyed, this, &HttpCommandProcessor::handleReplyDestroyed);
    // Read as it comes, in bounded pieces: the toolkit would hold any body whole.
    replyBodies.insert(reply, new ReplyBody(reply));
    return reply;
}

void HttpCommandProcessor::requestStatus()
{
    sendRequest(QStringLiteral("status"));
}

// By now the dying reply is only a QObject, so it no longer counts as in flight.
void HttpCommandProcessor::handleReplyDestroyed()
{
    emit isBusyChanged(isBusy());
}
