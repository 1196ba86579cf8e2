#include "support/allocations.h"

#include <atomic>
#include <cstddef>

extern "C" {
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *old, std::size_t size);
}

namespace {
std::atomic<unsigned long long> count{0};
}

// In front of the C library's, for the whole process.
extern "C" {
void *malloc(std::size_t size)
{
    ++count;
    return __libc_malloc(size);
}

void *calloc(std::size_t number, std::size_t size)
{
    ++count;
    return __libc_calloc(number, size);
}

void *realloc(void *old, std::size_t size)
{
    ++count;
    return __libc_realloc(old, size);
}
}

unsigned long long allocationCount()
{
    return count;
}
