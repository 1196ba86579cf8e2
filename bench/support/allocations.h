#ifndef ALLOCATIONS_H
#define ALLOCATIONS_H

/// How often this program has asked for memory so far, Qt and the event loop included.
unsigned long long allocationCount();

#endif
