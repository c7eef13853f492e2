// The device calls that fail in the fault campaign, and the lines that may then differ from a run
// without the fault.
#pragma once

#include <string>
#include <vector>

namespace cellwarden::bench {

// The actions of the daemon in the order of the cycles, one per line: "3 log ...", "3 write
// battery/soh 96", "3 unit 2491 HASH", "3 event NAME HASH". The lines of a cycle are grouped by
// kind, because the log and the files are watched separately.
using Transcript = std::vector<std::string>;

struct CallFault {
    const char* name;  // name of the fault in the stand-in libraries
    // Lines that may be missing, added or in another cycle, without the number of the cycle; a '#'
    // at the end stands for a hash.
    std::vector<const char*> may_differ;
    const char* loss;  // data or function that the fault costs
};

const std::vector<CallFault>& call_faults();

// Returns the lines that the fault does not explain.
Transcript unexplained(const CallFault& fault, const Transcript& differing);

}  // namespace cellwarden::bench
