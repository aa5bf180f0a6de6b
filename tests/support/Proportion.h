#ifndef TESTS_SUPPORT_PROPORTION_H
#define TESTS_SUPPORT_PROPORTION_H

#include <array>
#include <cstddef>
#include <gtest/gtest.h>
#include <iostream>
#include <string>
#include <time.h>

#include "HeapUse.h"
#include "Sanitized.h"

namespace testsupport {

/// As many settings as a file has items.
inline constexpr std::size_t kOneEach = static_cast<std::size_t>(-1);

/// The two sizes that are compared, the second twice the first.
inline constexpr std::array<std::size_t, 2> twoSizes(std::size_t size) {
    return {size / kTimesLess, 2 * (size / kTimesLess)};
}

/// A text of any size: the item again and again, each "%" in it a number that counts up.
struct Shape {
    const char* name;
    std::string head;
    std::string item;
    std::string separator;
    std::string tail;
    std::size_t items;
    std::size_t settings;  ///< in a file of any size, or kOneEach
    double multiple;       ///< the most memory that it may take, in sizes of the file

    std::size_t settingsOf(std::size_t count) const {
        return settings == kOneEach ? count : settings;
    }

    std::string text(std::size_t count) const {
        std::string all = head;
        for (std::size_t i = 0; i < count; ++i) {
            all += i == 0 ? "" : separator;
            appendItem(all, i);
        }
        return all + tail;
    }

private:
    void appendItem(std::string& all, std::size_t i) const {
        for (const char c : item) {
            if (c == '%') {
                all += std::to_string(1000000 + i);
            } else {
                all += c;
            }
        }
    }
};

inline void PrintTo(const Shape& shape, std::ostream* out) {
    *out << shape.name;
}

/// How long the processor has worked for the calling thread.
inline double processorSeconds() {
    timespec time;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

/// The memory that one action takes for a file, and for one of twice the size. Prints both, and the
/// processor's time, which is for people: it is no measure on a machine that others use as well.
class Proportion {
public:
    Proportion(std::string what, double multiple) : what_(std::move(what)), multiple_(multiple) {}

    template <class Action>
    void measure(std::size_t fileSize, Action action) {
        const double before = processorSeconds();
        const HeapUse use = Heap::useOf(action);
        const auto size = static_cast<double>(fileSize);
        std::cout << what_ << " of " << fileSize << " bytes: memory " << use.peak / size
                  << " times that, " << use.blocks << " blocks, "
                  << 1000 * (processorSeconds() - before) << " ms\n";
        EXPECT_LT(use.peak, multiple_ * size);
        if (isSecond_) {
            EXPECT_LT(use.blocks, 2.1 * first_.blocks + kSlack);
            EXPECT_LT(use.bytes, 2.5 * first_.bytes + kSlack);
            EXPECT_LT(use.peak, 2.5 * first_.peak + kSlack);
        }
        first_ = use;
        isSecond_ = true;
    }

private:
    static constexpr double kSlack = 10000;

    std::string what_;
    double multiple_;
    HeapUse first_{};
    bool isSecond_ = false;
};

}  // namespace testsupport

#endif
