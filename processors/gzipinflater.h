#pragma once

#include <QByteArray>
#include <QObject>

#include <zlib.h>

// Inflates a gzip or zlib stream a piece at a time, as it arrives, and stops at a size the caller
// names: a small compressed body that would inflate to gigabytes is given up once it has passed
// that size, without ever being held whole. "deflate" sent as a bare deflate stream, without
// zlib's header, is taken too, as Qt 5 takes it.
class GzipInflater final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(GzipInflater)

public:
    explicit GzipInflater(QObject *parent);
    ~GzipInflater() override;

    // Inflates one piece onto the end of output, never beyond limit bytes. False when the stream
    // is broken; what follows the end of the stream is not inflated.
    bool inflatePiece(const QByteArray &piece, QByteArray *output, qint64 limit);

    // What one step inflates at most.
    static constexpr qint64 StepSize = 64 * 1024;

private:
    z_stream stream {};
    bool valid = false;
    bool ended = false;
    bool triedRawDeflate = false;
};
