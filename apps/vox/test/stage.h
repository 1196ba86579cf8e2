#ifndef STAGE_H
#define STAGE_H

#include <QHash>

class Program;
class VOXBus;
class VOXSimulation;
class WitnessBus;

/// What the steps of a scenario act on and look at.
struct Stage
{
    VOXSimulation &simulation;
    WitnessBus &line;
    Program &program;
    /// The buses from which nodes were taken away, by their addresses.
    QHash<unsigned int, VOXBus *> &away;
};

#endif
