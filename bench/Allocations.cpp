// SPDX-License-Identifier: Apache-2.0

#include "Allocations.h"

#include <cstdlib>
#include <new>

namespace velo::bench {

namespace {

thread_local std::size_t counted = 0;

}  // namespace

std::size_t allocations() {
    return counted;
}

void* allocate(std::size_t size) {
    ++counted;
    void* const memory = std::malloc(size);
    if (memory == nullptr) std::abort();
    return memory;
}

}  // namespace velo::bench

void* operator new(std::size_t size) {
    return velo::bench::allocate(size);
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
