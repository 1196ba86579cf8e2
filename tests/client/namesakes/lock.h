#ifndef LOCK_H
#define LOCK_H

namespace shop {
class Lock
{
public:
    const char *keeper() const { return "janitor"; }
};
}

#endif
