#include "tools/instrument-sim/hostilereplies.h"

#include "tools/instrument-sim/compressedzeros.h"

#include <chrono>
#include <fstream>
#include <string>
#include <thread>
#include <utility>

namespace HostileReplies {

std::vector<Named> all()
{
    const CompressedZeros gzip(CompressedZeros::Gzip), deflate(CompressedZeros::Deflate);
    const auto again = [](const std::string &piece, int pauseMilliseconds) {
        return [piece, pauseMilliseconds] {
            std::this_thread::sleep_for(std::chrono::milliseconds(pauseMilliseconds));
            return piece;
        };
    };
    const auto once = [](const std::string &piece) {
        return [piece, given = false]() mutable {
            return std::exchange(given, true) ? std::string() : piece;
        };
    };
    const std::string text(1 << 16, 'x');
    return {
            {"gzip, its length stated: a megabyte that inflates to a gigabyte",
             {200, gzip.whole(1024), false, {}, "gzip"}},
            {"deflate in one chunk that inflates to a gigabyte",
             {200, {}, false, {}, "deflate", once(deflate.whole(1024)), true}},
            {"gzip without end, chunked",
             {200, gzip.head(), false, {}, "gzip", again(gzip.megabyte(), 0), true}},
            {"gzip without end, slowly, its length not stated",
             {200, gzip.head(), false, {}, "gzip", again(gzip.megabyte(), 1)}},
            // The server compresses text by itself for a client that accepts it.
            {"text without end, compressed by the server as it goes",
             {200, {}, false, {}, {}, again(text, 0), true}},
            {"text without end, as it stands, its length not stated",
             {200, {}, false, {}, "identity", again(text, 0)}},
    };
}

namespace {
long long statusField(const std::string &field)
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.compare(0, field.size(), field) == 0)
            return std::stoll(line.substr(field.size()));
    }
    return -1;
}
} // namespace

long long residentKilobytes()
{
    return statusField("VmRSS:");
}

long long peakResidentKilobytes()
{
    return statusField("VmHWM:");
}

bool resetPeak()
{
    std::ofstream references("/proc/self/clear_refs");
    return bool(references << "5" << std::flush);
}

} // namespace HostileReplies
