#ifndef CASES_H
#define CASES_H

#include "support/medians.h"

#include <QByteArray>

/// Operations of the library that are measured: each builds what it needs and gives the step that is
/// repeated.

/// A query of one of @p motors motors over UDP, from the proxy to the signal of the watcher.
Step callOverUdp(int motors);
/// The same query of one motor, through a lane of a scheduler.
Step callThroughLane();
/// A broadcast of a stop, from the frame to the last of @p motors motors.
Step broadcastTo(int motors);
/// One of @p motors motors leaves the bus and comes back.
Step detachAndAttach(int motors);
/// A call is built and prepared as a frame; the same frame is checked and read.
Step prepareAndParse();
/// The frame of prepareAndParse().
QByteArray exampleFrame();

#endif
