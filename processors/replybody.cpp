#include "processors/replybody.h"

#include <QNetworkReply>
#include <QNetworkRequest>

#include <utility>

// Qt 5 inflates a compressed reply whole and at once, but only where it announced the encodings
// itself: with zlib (a Qt 5 build) the console announces them and inflates here. Qt 6 inflates in
// bounded pieces of its own as the reply is read, and refuses what inflates beyond reason.
#ifdef OSTREL_INFLATE
#include <zlib.h>
constexpr bool InflatedHere = true;
#else
struct z_stream_s
{ };
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

ReplyBody::~ReplyBody()
{
#ifdef OSTREL_INFLATE
    if (inflater)
        inflateEnd(inflater.get());
#endif
}

void ReplyBody::prepare(QNetworkRequest *request)
{
    if (InflatedHere)
        request->setRawHeader("Accept-Encoding", "gzip, deflate");
}

void ReplyBody::read()
{
#ifdef OSTREL_INFLATE
    if (!decided && reply->bytesAvailable() > 0) {
        decided = true;
        if (isCompressed()) {
            inflater = std::make_unique<z_stream_s>();
            // A gzip or zlib stream, told apart by its header, as Qt 5 does.
            failed = inflateInit2(inflater.get(), MAX_WBITS + 32) != Z_OK;
        }
    }
#endif
    while (!failed && reply->bytesAvailable() > 0) {
        const QByteArray piece = reply->read(PieceSize);
        if (inflater)
            failed = !inflate(piece);
        else
            body += piece;
        failed = failed || body.size() > MaximumSize;
    }
    if (failed && !reply->isFinished())
        reply->abort();
}

QByteArray ReplyBody::take()
{
    return std::exchange(body, QByteArray());
}

bool ReplyBody::isCompressed() const
{
    const QByteArray encoding = reply->rawHeader("Content-Encoding");
    return encoding.compare("gzip", Qt::CaseInsensitive) == 0
            || encoding.compare("deflate", Qt::CaseInsensitive) == 0;
}

// Inflates one piece into the body, never past one byte more than the body may hold. False when
// the stream is broken.
bool ReplyBody::inflate(const QByteArray &piece)
{
#ifdef OSTREL_INFLATE
    z_stream_s *stream = inflater.get();
    stream->next_in = reinterpret_cast<Bytef *>(const_cast<char *>(piece.constData()));
    stream->avail_in = uInt(piece.size());
    // What follows the end of the stream is not part of the body.
    while (stream->avail_in > 0 && !inflaterEnded && body.size() <= MaximumSize) {
        const int start = body.size();
        const int room = int(qMin<qint64>(PieceSize, MaximumSize + 1 - start));
        body.resize(start + room);
        stream->next_out = reinterpret_cast<Bytef *>(body.data() + start);
        stream->avail_out = uInt(room);
        const int result = ::inflate(stream, Z_NO_FLUSH);
        body.resize(start + room - int(stream->avail_out));
        if (result == Z_DATA_ERROR && !triedRawDeflate && stream->total_out == 0) {
            // "deflate" sent as a bare deflate stream, without zlib's header: Qt 5 takes it too.
            triedRawDeflate = true;
            inflateEnd(stream);
            if (inflateInit2(stream, -MAX_WBITS) != Z_OK)
                return false;
            stream->next_in = reinterpret_cast<Bytef *>(const_cast<char *>(piece.constData()));
            stream->avail_in = uInt(piece.size());
            continue;
        }
        if (result == Z_STREAM_END)
            inflaterEnded = true;
        else if (result != Z_OK)
            return false;
    }
    return true;
#else
    Q_UNUSED(piece)
    return false;
#endif
}
