// The device calls that the fault campaign lets fail, and what may differ from a run without the
// fault.
#pragma once

#include <string>
#include <vector>

namespace cellwarden::bench {

// What the daemon did, one line each, in cycle order: "3 log ...", "3 write battery/soh 96",
// "3 unit 2491 HASH", "3 event NAME HASH". The lines of one cycle are grouped by kind, because the
// log and the files are watched separately.
using Transcript = std::vector<std::string>;

struct CallFault {
    const char* name;  // as the stand-in libraries know it
    // Lines that may be missing, added or in another cycle, without the number of the cycle; a '#'
    // at the end stands for a hash.
    std::vector<const char*> may_differ;
    const char* loss;  // what the fault costs
};

const std::vector<CallFault>& call_faults();

// Returns the lines that the fault does not explain.
Transcript unexplained(const CallFault& fault, const Transcript& differing);

}  // namespace cellwarden::bench
