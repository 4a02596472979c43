#pragma once

#include <QByteArray>
#include <QObject>

class GzipInflater;
class QNetworkReply;
class QNetworkRequest;

// Takes one reply's body in as it comes, a bounded piece at a time, and gives the reply up once
// the body has outgrown MaximumSize: a peer that sends without end, or a small compressed body
// that inflates to gigabytes, costs the console no more memory than that. Qt 5 would inflate a
// compressed reply whole and at once, before anything of it could be read: there (with zlib) the
// body is inflated as it is read, by an inflater of its own.
class ReplyBody final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ReplyBody)

public:
    // Reads the reply from now on, as its child.
    explicit ReplyBody(QNetworkReply *reply);

    // Asks for what the toolkit asks for by itself, so that the request stays as it was, while
    // on Qt 5 the toolkit then leaves inflating to this.
    static void prepare(QNetworkRequest *request);

    // Reads what has come; gives the reply up when the body has grown too large, or its
    // compression is broken.
    void read();
    // The whole body, once the reply has finished and nothing was wrong with it.
    bool isWhole() const { return !failed; }
    QByteArray take();

    // A body larger than this is taken as a failed request instead of being held in memory whole.
    static constexpr qint64 MaximumSize = 16 * 1024 * 1024;
    // What the toolkit holds of a reply before it is read here.
    static constexpr qint64 PieceSize = 64 * 1024;

private:
    bool append(const QByteArray &piece);

    QNetworkReply *reply;
    QByteArray body;
    bool failed = false;
    bool started = false;
    GzipInflater *inflater = nullptr; // a child, where the body is inflated here
};
