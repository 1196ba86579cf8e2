#include <VOXVirtualTime>

void keepTime()
{
    const VOXVirtualTime virtualTime;
}
