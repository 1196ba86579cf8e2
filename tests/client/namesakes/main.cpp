// A host that has files, include guards and classes of the same names, the classes in a namespace.
#include "lock.h"

#include <TB60LVStub>
#include <vox/devices/lock.h>

#include <cstdio>

int main()
{
    Lock ours;
    ours.apply(true, 3, 0x010000);
    const TB60LVStub motor(0x000101, nullptr);
    std::printf("%s %u %s\n", shop::Lock().keeper(), ours.getCurrentPrio(),
                qPrintable(VOX::toString(motor.addr(true))));
    return 0;
}
