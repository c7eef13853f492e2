#include "bench/happening.h"

namespace cellwarden::bench {
namespace {

struct Counter {
    Tally& tally;

    void operator()(const DaemonListens&) const {}
    void operator()(const PhoneChange&) const {}
    void operator()(const UeventSent&) const { tally.uevents++; }
    void operator()(const CycleDone& cycle) const {
        (cycle.full ? tally.full_cycles : tally.light_cycles)++;
    }
    void operator()(const AttributeWrite& write) const { tally.attribute_writes[write.name]++; }
    void operator()(const UnitStored& stored) const { tally.units[stored.unit.unit]++; }
    void operator()(const EventSent& sent) const { tally.events[sent.event.name]++; }
    void operator()(const LogRecord&) const { tally.log_lines++; }
};

}  // namespace

void count_happening(Tally& tally, const Happening& happening) {
    std::visit(Counter{tally}, happening);
}

}  // namespace cellwarden::bench
