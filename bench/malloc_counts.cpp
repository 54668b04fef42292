#include "bench/malloc_counts.h"

namespace {

velmora::bench::MallocCounts total;

void count(std::size_t bytes) noexcept {
    ++total.count;
    total.bytes += bytes;
}

}  // namespace

velmora::bench::MallocCounts velmora::bench::mallocCounts() noexcept {
    return total;
}

// glibc's own functions under their internal names: a program's malloc replaces the library's for
// every shared library too (glibc manual, 3.2.5).
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t number, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);

void* malloc(std::size_t size) {
    count(size);
    return __libc_malloc(size);
}

void* calloc(std::size_t number, std::size_t size) {
    count(number * size);
    return __libc_calloc(number, size);
}

void* realloc(void* block, std::size_t size) {
    count(size);
    return __libc_realloc(block, size);
}
}
