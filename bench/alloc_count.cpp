// The benchmark programs' allocator entry points: each forwards to the C
// library's allocator and counts the call, so a case can show how many
// allocations its timed loop made (the library's calls bind to these, being
// the program's own definitions).
#include <malloc.h>

#include <atomic>
#include <cerrno>
#include <cstddef>

#include "alloc_count.h"

extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t n, size_t size);
void *__libc_realloc(void *p, size_t size);
void *__libc_memalign(size_t align, size_t size);
void __libc_free(void *p);
}

namespace {

std::atomic<unsigned long> allocs{0};

void count() { allocs.fetch_add(1, std::memory_order_relaxed); }

}  // namespace

unsigned long dm_alloc_count() { return allocs.load(std::memory_order_relaxed); }

extern "C" {

void *malloc(size_t size)
{
    count();
    return __libc_malloc(size);
}

void *calloc(size_t n, size_t size)
{
    count();
    return __libc_calloc(n, size);
}

void *realloc(void *p, size_t size)
{
    count();
    return __libc_realloc(p, size);
}

void *memalign(size_t align, size_t size)
{
    count();
    return __libc_memalign(align, size);
}

void *aligned_alloc(size_t align, size_t size)
{
    count();
    return __libc_memalign(align, size);
}

int posix_memalign(void **out, size_t align, size_t size)
{
    count();
    void *p = __libc_memalign(align, size);
    if (p == nullptr) {
        return ENOMEM;
    }
    *out = p;
    return 0;
}

void free(void *p) { __libc_free(p); }

}  // extern "C"
