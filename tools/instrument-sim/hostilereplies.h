#pragma once

#include "tools/instrument-sim/httpreplyserver.h"

#include <string>
#include <vector>

// What an instrument that means harm can answer, for the tests and the benchmarks: bodies that
// inflate a thousandfold, that never end, or that come slowly. None of them may cost the console
// more than the body it may hold.
namespace HostileReplies {

struct Named
{
    std::string name;
    HttpReply reply;
};

std::vector<Named> all();

// What they cost is measured in this process's resident memory, in kB: now, and at its peak since
// the peak was last reset (false when it could not be).
long long residentKilobytes();
long long peakResidentKilobytes();
bool resetPeak();

} // namespace HostileReplies
