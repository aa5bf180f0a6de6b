#ifndef TESTS_SUPPORT_SINGLESTEP_H
#define TESTS_SUPPORT_SINGLESTEP_H

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <ucontext.h>

extern "C" const char __executable_start;
extern "C" const char etext;

namespace testsupport {

/// Runs an operation instruction by instruction and, before one of them, something else in between:
/// so a moment at which another thread may come can be met that has no lock or call to hook into.
/// The program's own instructions count, not those of shared libraries, where more can be held than
/// shows. One thread at a time.
class SingleStep {
public:
#if (defined(__x86_64__) || defined(__i386__)) && !defined(T8_SANITIZED)
    static constexpr bool kWorksHere = true;
#else
    static constexpr bool kWorksHere = false;
#endif

    /// False when the operation had ended before so many instructions.
    static bool run(const std::function<void()>& operation, std::size_t instructions,
                    const std::function<void()>& between);

private:
    static constexpr unsigned int kTrapFlag = 0x100;

    static void step(int /*signal*/, siginfo_t* /*info*/, void* context);

    static inline std::size_t left = 0;
    static inline const std::function<void()>* then = nullptr;
};

#if (defined(__x86_64__) || defined(__i386__)) && !defined(T8_SANITIZED)

inline void SingleStep::step(int /*signal*/, siginfo_t* /*info*/, void* context) {
#ifdef __x86_64__
    constexpr int kNext = REG_RIP;
#else
    constexpr int kNext = REG_EIP;
#endif
    auto& registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
    const auto next = static_cast<std::uintptr_t>(registers[kNext]);
    if (next < reinterpret_cast<std::uintptr_t>(&__executable_start) ||
        next >= reinterpret_cast<std::uintptr_t>(&etext)) {
        return;
    }
    if (then != nullptr && left-- == 0) {
        registers[REG_EFL] &= ~static_cast<greg_t>(kTrapFlag);
        const std::function<void()>& between = *then;
        then = nullptr;
        between();
    }
}

inline bool SingleStep::run(const std::function<void()>& operation, std::size_t instructions,
                            const std::function<void()>& between) {
    struct sigaction stepping = {};
    struct sigaction before = {};
    stepping.sa_sigaction = step;
    stepping.sa_flags = SA_SIGINFO;
    ::sigaction(SIGTRAP, &stepping, &before);
    left = instructions;
    then = &between;
#ifdef __x86_64__
    asm volatile(
        "lea -128(%%rsp), %%rsp; pushfq; orq $0x100, (%%rsp); popfq; lea 128(%%rsp), %%rsp" ::
            : "memory", "cc");
    operation();
    asm volatile(
        "lea -128(%%rsp), %%rsp; pushfq; andq $~0x100, (%%rsp); popfq; lea 128(%%rsp), %%rsp" ::
            : "memory", "cc");
#else
    asm volatile("pushfl; orl $0x100, (%%esp); popfl" ::: "memory", "cc");
    operation();
    asm volatile("pushfl; andl $~0x100, (%%esp); popfl" ::: "memory", "cc");
#endif
    ::sigaction(SIGTRAP, &before, nullptr);
    return then == nullptr;
}

#else

inline bool SingleStep::run(const std::function<void()>& operation, std::size_t /*instructions*/,
                            const std::function<void()>& /*between*/) {
    operation();
    return false;
}

#endif

}  // namespace testsupport

#endif
