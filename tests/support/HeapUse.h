#ifndef TESTS_SUPPORT_HEAPUSE_H
#define TESTS_SUPPORT_HEAPUSE_H

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <libxml/xmlmemory.h>
#include <malloc.h>
#include <new>

namespace testsupport {

/// What an action took from the heap.
struct HeapUse {
    double peak;    ///< bytes, the most that it had at one time
    double bytes;   ///< of all blocks together, also of those that it gave back
    double blocks;  ///< how often it asked for one

    double keptBytes;   ///< of what it has not given back
    double keptBlocks;  ///< the same, their number
};

/// Counts what the program's C++ code and libxml2 take from the heap.
///
/// The header takes the place of `new` and `delete` in the whole program: include it in one source.
class Heap {
public:
    /// To be called before libxml2 is first used.
    static void countLibxml2() { xmlMemSetup(&give, &take, &retake, &duplicate); }

    template <class Action>
    static HeapUse useOf(Action action) {
        const std::size_t before = inUse_;
        peak_ = before;
        bytes_ = 0;
        blocks_ = 0;
        given_ = 0;
        action();
        const auto blocks = static_cast<double>(blocks_);
        return {static_cast<double>(peak_ - before), static_cast<double>(bytes_), blocks,
                static_cast<double>(inUse_) - static_cast<double>(before),
                blocks - static_cast<double>(given_)};
    }

    static void* take(std::size_t size) {
        void* const block = std::malloc(std::max<std::size_t>(size, 1));
        if (block != nullptr) {
            count(block);
        }
        return block;
    }

    static void give(void* block) {
        if (block != nullptr) {
            inUse_ -= malloc_usable_size(block);
            ++given_;
        }
        std::free(block);
    }

private:
    static void count(void* block) {
        const std::size_t size = malloc_usable_size(block);
        bytes_ += size;
        ++blocks_;
        const std::size_t now = inUse_ += size;
        std::size_t most = peak_;
        while (most < now && !peak_.compare_exchange_weak(most, now)) {
        }
    }

    static void* retake(void* block, std::size_t size) {
        const std::size_t before = block == nullptr ? 0 : malloc_usable_size(block);
        void* const moved = std::realloc(block, size);
        if (moved != nullptr) {
            inUse_ -= before;
            given_ += block == nullptr ? 0 : 1;
            count(moved);
        }
        return moved;
    }

    static char* duplicate(const char* text) {
        const std::size_t size = std::strlen(text) + 1;
        void* const copy = take(size);
        return copy == nullptr ? nullptr : static_cast<char*>(std::memcpy(copy, text, size));
    }

    static inline std::atomic<std::size_t> inUse_{0};
    static inline std::atomic<std::size_t> peak_{0};
    static inline std::atomic<std::size_t> bytes_{0};
    static inline std::atomic<std::size_t> blocks_{0};
    static inline std::atomic<std::size_t> given_{0};
};

}  // namespace testsupport

void* operator new(std::size_t size) {
    void* const block = testsupport::Heap::take(size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

void operator delete(void* block) noexcept {
    testsupport::Heap::give(block);
}

void operator delete(void* block, std::size_t) noexcept {
    testsupport::Heap::give(block);
}

#endif
