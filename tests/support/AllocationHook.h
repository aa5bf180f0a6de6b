#ifndef TESTS_SUPPORT_ALLOCATIONHOOK_H
#define TESTS_SUPPORT_ALLOCATIONHOOK_H

#include <cstdlib>
#include <new>
#include <utility>

#include "Gate.h"

namespace testsupport {

/// Where the thread that has set it is held when it next asks for memory, once: in the middle of
/// what it is doing, with the locks that it has taken for that.
///
/// The header takes the place of `new` and `delete` in the whole program: include it in one source.
inline thread_local Gate* atNextAllocation = nullptr;

/// How many blocks the thread that has set it still gets, from then on none; negative for any
/// number.
inline thread_local int allocationsLeft = -1;

/// Does `action` with no memory, with one block, with two and so on, until these are enough;
/// `afterShortage` runs after each try before.
template <class Action, class AfterShortage>
void withEverMoreMemory(Action action, AfterShortage afterShortage) {
    for (int blocks = 0;; ++blocks) {
        allocationsLeft = blocks;
        try {
            action();
            allocationsLeft = -1;
            return;
        } catch (const std::bad_alloc&) {
            allocationsLeft = -1;
            afterShortage();
        }
    }
}

}  // namespace testsupport

void* operator new(std::size_t size) {
    if (testsupport::Gate* const gate = std::exchange(testsupport::atNextAllocation, nullptr)) {
        gate->pass();
    }
    const bool isShort = testsupport::allocationsLeft == 0;
    if (testsupport::allocationsLeft > 0) {
        --testsupport::allocationsLeft;
    }
    void* const block = isShort ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

// Not inlined: where the compiler sees one of the pair and not the other, it takes `new` and `free`
// for a mismatch.
[[gnu::noinline]] void operator delete(void* block) noexcept {
    std::free(block);
}

[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}

#endif
