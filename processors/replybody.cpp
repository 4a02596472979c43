#include "processors/replybody.h"

#include <QNetworkReply>
#include <QNetworkRequest>

#include <utility>

// Qt 5 inflates a compressed reply whole and at once, but only where it announced the encodings
// itself: with zlib (a Qt 5 build) the console announces them and inflates here. Qt 6 inflates in
// bounded pieces of its own as the reply is read, and refuses what inflates beyond reason.
#ifdef OSTREL_INFLATE
#include "processors/gzipinflater.h"
constexpr bool InflatedHere = true;
#else
constexpr bool InflatedHere = false;
#endif

ReplyBody::ReplyBody(QNetworkReply *reply)
    : QObject(reply)
    , reply(reply)
{
    reply->setReadBufferSize(PieceSize);
    connect(reply, &QIODevice::readyRead, this, &ReplyBody::read);
    // A compressed reply that Qt 6 refuses as inflating beyond reason would wait for its end,
    // which need never come. Every other failure ends the reply right after it is reported, and
    // aborting one that has failed already has the toolkit complain on standard error: the
    // reply is given up only if it is still running once the report is over.
    connect(reply, &QNetworkReply::errorOccurred, this, [this] {
        QMetaObject::invokeMethod(
                this,
                [this] {
                    if (!this->reply->isFinished())
                        this->reply->abort();
                },
                Qt::QueuedConnection);
    });
}

void ReplyBody::prepare(QNetworkRequest *request)
{
    if (InflatedHere)
        request->setRawHeader("Accept-Encoding", "gzip, deflate");
}

void ReplyBody::read()
{
    while (!failed && reply->bytesAvailable() > 0)
        failed = !append(reply->read(PieceSize)) || body.size() > MaximumSize;
    if (failed && !reply->isFinished())
        reply->abort();
}

QByteArray ReplyBody::take()
{
    return std::exchange(body, QByteArray());
}

// Adds a piece to the body as it came, or inflated where the console inflates what the toolkit
// would. False when its compression is broken.
bool ReplyBody::append(const QByteArray &piece)
{
#ifdef OSTREL_INFLATE
    if (!std::exchange(started, true)) {
        const QByteArray encoding = reply->rawHeader("Content-Encoding");
        if (encoding.compare("gzip", Qt::CaseInsensitive) == 0
            || encoding.compare("deflate", Qt::CaseInsensitive) == 0)
            inflater = new GzipInflater(this);
    }
    if (inflater)
        return inflater->inflatePiece(piece, &body, MaximumSize + 1);
#endif
    body += piece;
    return true;
}
