#include "tools/instrument-sim/compressedzeros.h"

#include <zlib.h>

namespace {
// Compresses a megabyte of zeros, or none, and flushes as asked; appends the output.
void compress(z_stream *stream, bool input, int flush, std::string *output)
{
    static const std::string zeros(1 << 20, '\0');
    stream->next_in = reinterpret_cast<Bytef *>(const_cast<char *>(zeros.data()));
    stream->avail_in = input ? uInt(zeros.size()) : 0;
    char buffer[1 << 16];
    do {
        stream->next_out = reinterpret_cast<Bytef *>(buffer);
        stream->avail_out = sizeof buffer;
        deflate(stream, flush);
        output->append(buffer, sizeof buffer - stream->avail_out);
    } while (stream->avail_out == 0);
}
} // namespace

CompressedZeros::CompressedZeros(Format format)
{
    z_stream stream {};
    // Window bits 15 write zlib's format; 16 more, gzip's.
    deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, format == Gzip ? 31 : 15, 9,
                 Z_DEFAULT_STRATEGY);
    compress(&stream, true, Z_FULL_FLUSH, &opening);
    compress(&stream, true, Z_FULL_FLUSH, &repeated);
    compress(&stream, false, Z_FINISH, &closing);
    deflateEnd(&stream);
}

std::string CompressedZeros::whole(int megabytes) const
{
    std::string stream = opening;
    for (int count = 1; count < megabytes; ++count)
        stream += repeated;
    return stream + closing;
}
