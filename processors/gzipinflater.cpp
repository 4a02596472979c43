#include "processors/gzipinflater.h"

GzipInflater::GzipInflater(QObject *parent)
    : QObject(parent)
{
    // A gzip or zlib stream, told apart by its header, as Qt 5 does.
    valid = inflateInit2(&stream, MAX_WBITS + 32) == Z_OK;
}

GzipInflater::~GzipInflater()
{
    if (valid)
        inflateEnd(&stream);
}

bool GzipInflater::inflatePiece(const QByteArray &piece, QByteArray *output, qint64 limit)
{
    if (!valid)
        return false;
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(piece.constData()));
    stream.avail_in = uInt(piece.size());
    while (stream.avail_in > 0 && !ended && output->size() < limit) {
        const int start = output->size();
        const int room = int(qMin<qint64>(StepSize, limit - start));
        output->resize(start + room);
        stream.next_out = reinterpret_cast<Bytef *>(output->data() + start);
        stream.avail_out = uInt(room);
        const int result = inflate(&stream, Z_NO_FLUSH);
        output->resize(start + room - int(stream.avail_out));
        if (result == Z_DATA_ERROR && !triedRawDeflate && stream.total_out == 0) {
            triedRawDeflate = true;
            inflateEnd(&stream);
            valid = inflateInit2(&stream, -MAX_WBITS) == Z_OK;
            if (!valid)
                return false;
            stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(piece.constData()));
            stream.avail_in = uInt(piece.size());
            continue;
        }
        if (result == Z_STREAM_END)
            ended = true;
        else if (result != Z_OK)
            return false;
    }
    return true;
}
