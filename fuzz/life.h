// A piece of a phone's life as an input tells it: attribute texts, passing time, cycles, restarts
// and failing libraries, with the daemon's own cycle code in between.
//
// An input is a row of steps, each an opcode and what belongs to it:
//   0 to 133         that parameter's attribute: a length, then so many characters (255: no file)
//   FULL_CYCLE       2 bytes: the lower 10 bits are the seconds since the last cycle (few, as
//   ageing
//                    is summed second by second), the upper 6, signed, the days by which the wall
//                    clock is set
//   LIGHT_CYCLE      nothing
//   RESTART          nothing
//   FAULTS           1 byte: what fails from now on, one bit each
// Other opcodes do nothing.
#pragma once

#include "core/cycle.h"
#include "fuzz/fuzzing.h"

namespace cellwarden::fuzz {

enum Opcode : uint8_t { FULL_CYCLE = 134, LIGHT_CYCLE = 135, RESTART = 136, FAULTS = 137 };

struct Life {
    ServiceState state;
    BattStat stat;
    ChgInsertionRemovalData connection;
    SysfsParams snapshot;
};

// A phone with no attributes and the given bytes in the record's unit, and the daemon started on
// it. The same record every time; it is too large for the stack.
Life& new_life(const std::string& record);

// Lives the steps and calls `after_cycle` after every full cycle, and after every restart.
enum class After { FULL_CYCLE, RESTART };
void live(Life& life, Input& steps, void (*after_cycle)(Life& life, After what));

// Whether the levels that the record brings are such as the daemon itself decides, and none is
// ordered from outside.
bool levels_are_sane(const BattStat& stat);

// Steps for seeds: the attributes of the bench's phone, then full cycles in which it charges, heats
// up and empties, then a shutdown and a restart.
std::string ordinary_steps();

}  // namespace cellwarden::fuzz
