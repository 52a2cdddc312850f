// Counting allocator: a program that links alloc_count.cpp replaces the C
// library's allocator entry points with ones that count each call, and reads
// the count here. Used by the benchmarks and by the allocation-free lookup
// test (in builds without a sanitizer, which would own the allocator).
#pragma once

// Allocations (malloc, calloc, realloc and the aligned forms) this process
// made since it started.
unsigned long dm_alloc_count();
