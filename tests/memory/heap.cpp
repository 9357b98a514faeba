// SPDX-License-Identifier: MIT
#include "memory/heap.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

// The C library's own functions, for a program that replaces them.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);
}
// NOLINTEND(bugprone-reserved-identifier)

namespace memory {

namespace {

thread_local bool inside = false;
bool numbering = false;
long last_number = 0;
long first_failing = 0;
long last_failing = 0;
long taken = 0;
std::array<void*, 4096> blocks = {};  // by number; null once the block is freed

bool refused() {
    if (!inside || !numbering) return false;
    ++last_number;
    if (static_cast<std::size_t>(last_number) >= blocks.size()) std::abort();
    if (last_number < first_failing || last_number > last_failing) return false;
    errno = ENOMEM;
    return true;
}

void* handed_out(void* block) {
    if (!inside || block == nullptr) return block;
    ++taken;
    if (numbering) blocks.at(static_cast<std::size_t>(last_number)) = block;
    return block;
}

void given_back(const void* block) {
    if (block == nullptr) return;
    if (inside) --taken;
    for (long number = 1; number <= last_number; ++number) {
        void*& each = blocks.at(static_cast<std::size_t>(number));
        if (each == block) each = nullptr;
    }
}

void* aligned(std::size_t alignment, std::size_t size) {
    return refused() ? nullptr : handed_out(__libc_memalign(alignment, size));
}

}  // namespace

void enter() {
    inside = true;
}

void leave() {
    inside = false;
    numbering = false;
}

void fail_next(long first, long last) {
    blocks.fill(nullptr);
    last_number = 0;
    first_failing = first;
    last_failing = last;
    numbering = true;
}

long allocations() {
    return last_number;
}

std::vector<long> in_use() {
    std::vector<long> numbers;
    for (long number = 1; number <= last_number; ++number)
        if (blocks.at(static_cast<std::size_t>(number)) != nullptr) numbers.push_back(number);
    return numbers;
}

long balance() {
    return taken;
}

}  // namespace memory

extern "C" {

void* malloc(std::size_t size) noexcept {
    return memory::refused() ? nullptr : memory::handed_out(__libc_malloc(size));
}

void* calloc(std::size_t count, std::size_t size) noexcept {
    return memory::refused() ? nullptr : memory::handed_out(__libc_calloc(count, size));
}

void* realloc(void* block, std::size_t size) noexcept {
    if (memory::refused()) return nullptr;
    void* const moved = __libc_realloc(block, size);
    if (moved != nullptr || size == 0) memory::given_back(block);
    return memory::handed_out(moved);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
    return memory::aligned(alignment, size);
}

void* memalign(std::size_t alignment, std::size_t size) noexcept {
    return memory::aligned(alignment, size);
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size) noexcept {
    void* const memory = memory::aligned(alignment, size);
    if (memory == nullptr) return ENOMEM;
    *block = memory;
    return 0;
}

void free(void* block) noexcept {
    memory::given_back(block);
    __libc_free(block);
}

}  // extern "C"
