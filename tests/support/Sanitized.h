#ifndef TESTS_SUPPORT_SANITIZED_H
#define TESTS_SUPPORT_SANITIZED_H

#include <cstddef>

namespace testsupport {

/// By what a test that does one thing very often divides how often it does it.
///
/// A sanitizer slows the program down by ten times, and finds in the first of many like rounds what
/// it finds in the last; that all of them come out right is what the other builds are for. Odd and
/// prime, so that a test which takes one of so many of its cases takes every kind of them in turn.
#ifdef T8_SANITIZED
inline constexpr std::size_t kTimesLess = 5;
#else
inline constexpr std::size_t kTimesLess = 1;
#endif

}  // namespace testsupport

#endif
