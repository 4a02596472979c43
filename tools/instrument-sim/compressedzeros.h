#pragma once

#include <string>

// Zeros compressed as a peer that means harm sends them: a body of a kilobyte a megabyte, which
// inflates a thousandfold. One megabyte compressed and flushed to a byte boundary stands for every
// further one, so a body of any size costs next to nothing to make. The check values at the end
// are those of two megabytes: nothing that inflates such a body may get that far.
class CompressedZeros
{
public:
    // Content-Encoding gzip, or deflate (zlib's format).
    enum Format { Gzip, Deflate };

    explicit CompressedZeros(Format format);

    // The stream's header and its first megabyte.
    const std::string &head() const { return opening; }
    // One megabyte more.
    const std::string &megabyte() const { return repeated; }
    // The whole stream of that many megabytes (at least two).
    std::string whole(int megabytes) const;

private:
    std::string opening;
    std::string repeated;
    std::string closing;
};
