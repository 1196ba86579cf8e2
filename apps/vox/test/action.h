#ifndef ACTION_H
#define ACTION_H

#include <functional>

class VOXJsonPlace;
class VOXSimulation;
struct Stage;

/// What a step of a scenario does to the network, or to the program under test.
using Action = std::function<void(Stage &)>;

/// Reads the "do" of a step: one of
///
///     {"fault": WORDS}, and "clear" removes all faults
///     {"away": NODE}, {"back": NODE}
///     {"line": "cut"}, {"line": "restored"}
///     {"switch": MOTOR, "to": "up", "down" or "stop", "input": 1}
///     {"hand": MOTOR, "percent": 40}, or "position" in pulses
///     {"post": COMMAND, "node": NODE, "to": ADDRESS}
///     {"write": TEXT}, to the program's standard input
///
/// A mistake is one of @p place. @p network is like the one that the action will find.
Action actionAt(const VOXJsonPlace &place, const VOXSimulation &network);

#endif
