#ifndef TESTS_SUPPORT_FILECALLS_H
#define TESTS_SUPPORT_FILECALLS_H

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <dlfcn.h>
#include <fcntl.h>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string>
#include <sys/file.h>
#include <sys/types.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace testsupport {

/// A call that has been made and has had its effect.
struct FileEffect {
    std::string call;   ///< as `FileCalls` spells it
    int descriptor;     ///< what it was made on or gave; -1 when the call has none
    std::string bytes;  ///< what it wrote
};

/// Watches the calls that the program makes on the files of one directory, and makes some of them
/// fail or end the process, while it lives; one at a time, one thread.
///
/// A call reads "create rw.ini" (an open for writing), "open rw.ini", "write rw.ini", "read",
/// "fdatasync", "fsync", "close", "fchown", "fchmod", "unlink", "link a b", "rename a b" (also one
/// that replaces nothing), and "lock .", "share ." and "unlock ." for the directory itself.
///
/// The header takes the place of the C functions in the whole program: include it in one source.
class FileCalls {
public:
    /// How the process ends at a call: before it, or in the middle of what it writes.
    enum class Exit { kBefore, kTorn };
    static constexpr int kExitCode = 86;

    /// In place of an errno: the call writes half of what it was to write.
    static constexpr int kShort = -1;
    static constexpr int kForGood = std::numeric_limits<int>::max();

    explicit FileCalls(std::string directory) : directory_(std::move(directory)) {
        names_.fill(std::string());
        current() = this;
    }
    ~FileCalls() { current() = nullptr; }
    FileCalls(const FileCalls&) = delete;
    FileCalls& operator=(const FileCalls&) = delete;

    static FileCalls*& current() {
        static FileCalls* calls = nullptr;
        return calls;
    }

    const std::vector<std::string>& calls() const { return calls_; }
    void clear() { calls_.clear(); }

    std::size_t count(const std::string& call) const {
        return static_cast<std::size_t>(std::count(calls_.begin(), calls_.end(), call));
    }

    /// Whether no child process could have inherited any of the files that were opened.
    bool allClosedOnExec() const { return allClosedOnExec_; }
    void noteFlags(int flags) { allClosedOnExec_ = allClosedOnExec_ && (flags & O_CLOEXEC) != 0; }

    /// After `spared` of them, `times` calls that read so, or whose verb is this, fail with
    /// `error`, without effect (a failing close does close).
    void fail(const std::string& call, int error, int times = 1, int spared = 0) {
        faults_.push_back({call, error, times, spared});
    }

    /// From now on no call fails.
    void mend() { faults_.clear(); }

    /// Which calls a fault has struck, as places in `calls`.
    const std::vector<std::size_t>& struck() const { return struck_; }

    /// `observer` is told of every call that has had an effect.
    void observe(std::function<void(const FileEffect&)> observer) {
        observer_ = std::move(observer);
    }
    void tell(const std::string& call, int descriptor = -1, const std::string& bytes = "") const {
        if (observer_) {
            observer_({call, descriptor, bytes});
        }
    }

    /// The call of this number, counted from 0 since the last `clear`, fails with `error`.
    void failAt(std::size_t number, int error) {
        faultNumber_ = number;
        numberedFault_ = error;
    }

    /// The process ends at the call of this number, counted from 0 since the last `clear`.
    void exitAt(std::size_t number, Exit how) {
        exitNumber_ = number;
        exit_ = how;
    }

    /// No write takes more than so many bytes at once.
    void limitWrites(std::size_t bytes) { writeLimit_ = bytes; }

    /// What is left of a path below the watched directory, "." for the directory, "" elsewhere.
    std::string nameOf(const char* path) const {
        const std::string text(path);
        if (text == directory_) {
            return ".";
        }
        const std::string start = directory_ + "/";
        return text.compare(0, start.size(), start) == 0 ? text.substr(start.size()) : "";
    }
    std::string nameOf(int descriptor) const {
        const auto index = static_cast<std::size_t>(descriptor);
        return index < names_.size() ? names_[index] : "";
    }
    void opened(int descriptor, const std::string& name) {
        if (descriptor >= 0) {
            names_.at(static_cast<std::size_t>(descriptor)) = name;
        }
    }
    void closed(int descriptor) { names_.at(static_cast<std::size_t>(descriptor)).clear(); }
    std::size_t writable(std::size_t size) {
        const std::size_t half = (size + 1) / 2;
        return std::min(std::exchange(shortens_, false) ? half : size, writeLimit_);
    }

    /// Notes a call. True when it is to fail, with errno set.
    bool fails(const std::string& call) {
        const std::size_t number = calls_.size();
        calls_.push_back(call);
        if (number == exitNumber_ && exit_ == Exit::kBefore) {
            ::_exit(kExitCode);
        }
        if (number == faultNumber_) {
            errno = numberedFault_;
            return true;
        }
        for (Fault& fault : faults_) {
            if (fault.strikes(call)) {
                struck_.push_back(number);
                shortens_ = fault.error == kShort;
                errno = shortens_ ? errno : fault.error;
                return !shortens_;
            }
        }
        return false;
    }

    /// Whether the call noted last is the one in the middle of which the process ends.
    bool tears() const { return exit_ == Exit::kTorn && calls_.size() == exitNumber_ + 1; }

private:
    struct Fault {
        std::string call;
        int error;
        int times;
        int spared;

        bool strikes(const std::string& made) {
            const bool meant = made == call || made.compare(0, call.size() + 1, call + " ") == 0;
            if (meant && spared > 0) {
                --spared;
                return false;
            }
            return meant && times > 0 && times-- > 0;
        }
    };
    static constexpr std::size_t kNever = static_cast<std::size_t>(-2);

    std::string directory_;
    std::array<std::string, 1024> names_;
    std::vector<std::string> calls_;
    std::vector<Fault> faults_;
    std::vector<std::size_t> struck_;
    std::function<void(const FileEffect&)> observer_;
    bool shortens_ = false;
    bool allClosedOnExec_ = true;
    std::size_t faultNumber_ = kNever;
    int numberedFault_ = 0;
    std::size_t exitNumber_ = kNever;
    Exit exit_ = Exit::kBefore;
    std::size_t writeLimit_ = static_cast<std::size_t>(-1);
};

/// The C library's own function, or the one that a sanitizer has put before it.
template <class Function>
Function* nextFunction(const char* name) {
    void* const found = dlsym(RTLD_NEXT, name);
    if (found == nullptr) {
        ::_exit(127);
    }
    return reinterpret_cast<Function*>(found);
}

/// A call on a descriptor: noted, made unless it is to fail.
template <class Call>
int callOnDescriptor(const char* call, int descriptor, Call real) {
    FileCalls* const watch = FileCalls::current();
    const std::string name = watch == nullptr ? "" : watch->nameOf(descriptor);
    if (name.empty()) {
        return real();
    }
    const std::string text = std::string(call) + " " + name;
    const int result = watch->fails(text) ? -1 : real();
    if (result == 0) {
        watch->tell(text, descriptor);
    }
    return result;
}

/// The same for a call on a path.
template <class Call>
int callOnPath(const char* call, const char* path, const char* secondPath, Call real) {
    FileCalls* const watch = FileCalls::current();
    const std::string name = watch == nullptr ? "" : watch->nameOf(path);
    if (name.empty()) {
        return real();
    }
    const std::string text = std::string(call) + " " + name +
                             (secondPath == nullptr ? "" : " " + watch->nameOf(secondPath));
    const int result = watch->fails(text) ? -1 : real();
    if (result == 0) {
        watch->tell(text);
    }
    return result;
}

inline int watchedOpen(const char* function, const char* path, int flags, mode_t mode) {
    auto* const real = nextFunction<int(const char*, int, ...)>(function);
    FileCalls* const watch = FileCalls::current();
    const std::string name = watch == nullptr ? "" : watch->nameOf(path);
    if (name.empty()) {
        return real(path, flags, mode);
    }
    const std::string call = ((flags & O_ACCMODE) == O_RDONLY ? "open " : "create ") + name;
    if (watch->fails(call)) {
        return -1;
    }
    watch->noteFlags(flags);
    const int descriptor = real(path, flags, mode);
    watch->opened(descriptor, name);
    if (descriptor >= 0) {
        watch->tell(call, descriptor);
    }
    return descriptor;
}

// Which of the two the program calls depends on how it was compiled.
int plainOpen(const char* path, int flags, mode_t mode) __asm__("open");
int plainOpen(const char* path, int flags, mode_t mode) {
    return watchedOpen("open", path, flags, mode);
}
int largeFileOpen(const char* path, int flags, mode_t mode) __asm__("open64");
int largeFileOpen(const char* path, int flags, mode_t mode) {
    return watchedOpen("open64", path, flags, mode);
}

}  // namespace testsupport

extern "C" {

ssize_t write(int descriptor, const void* data, size_t size) {
    auto* const real = testsupport::nextFunction<ssize_t(int, const void*, size_t)>("write");
    testsupport::FileCalls* const watch = testsupport::FileCalls::current();
    const std::string name = watch == nullptr ? "" : watch->nameOf(descriptor);
    if (name.empty()) {
        return real(descriptor, data, size);
    }
    if (watch->fails("write " + name)) {
        return -1;
    }
    if (watch->tears()) {
        static_cast<void>(real(descriptor, data, size / 2));
        ::_exit(testsupport::FileCalls::kExitCode);
    }
    const ssize_t count = real(descriptor, data, watch->writable(size));
    if (count > 0) {
        watch->tell("write " + name, descriptor,
                    std::string(static_cast<const char*>(data), static_cast<std::size_t>(count)));
    }
    return count;
}

ssize_t read(int descriptor, void* data, size_t size) {
    auto* const real = testsupport::nextFunction<ssize_t(int, void*, size_t)>("read");
    testsupport::FileCalls* const watch = testsupport::FileCalls::current();
    const std::string name = watch == nullptr ? "" : watch->nameOf(descriptor);
    return !name.empty() && watch->fails("read " + name) ? -1 : real(descriptor, data, size);
}

int fsync(int descriptor) {
    return testsupport::callOnDescriptor("fsync", descriptor, [&] {
        return testsupport::nextFunction<int(int)>("fsync")(descriptor);
    });
}

int fdatasync(int descriptor) {
    return testsupport::callOnDescriptor("fdatasync", descriptor, [&] {
        return testsupport::nextFunction<int(int)>("fdatasync")(descriptor);
    });
}

int fchown(int descriptor, uid_t owner, gid_t group) noexcept {
    return testsupport::callOnDescriptor("fchown", descriptor, [&] {
        return testsupport::nextFunction<int(int, uid_t, gid_t)>("fchown")(descriptor, owner,
                                                                           group);
    });
}

int fchmod(int descriptor, mode_t mode) noexcept {
    return testsupport::callOnDescriptor("fchmod", descriptor, [&] {
        return testsupport::nextFunction<int(int, mode_t)>("fchmod")(descriptor, mode);
    });
}

int flock(int descriptor, int operation) noexcept {
    const char* const call = (operation & LOCK_UN) != 0   ? "unlock"
                             : (operation & LOCK_EX) != 0 ? "lock"
                                                          : "share";
    return testsupport::callOnDescriptor(call, descriptor, [&] {
        return testsupport::nextFunction<int(int, int)>("flock")(descriptor, operation);
    });
}

int close(int descriptor) {
    auto* const real = testsupport::nextFunction<int(int)>("close");
    testsupport::FileCalls* const watch = testsupport::FileCalls::current();
    const std::string name = watch == nullptr ? "" : watch->nameOf(descriptor);
    if (name.empty()) {
        return real(descriptor);
    }
    const bool fails = watch->fails("close " + name);
    const int error = errno;
    watch->closed(descriptor);
    const int result = real(descriptor);
    watch->tell("close " + name, descriptor);
    errno = fails ? error : errno;
    return fails ? -1 : result;
}

int unlink(const char* path) noexcept {
    return testsupport::callOnPath("unlink", path, nullptr, [&] {
        return testsupport::nextFunction<int(const char*)>("unlink")(path);
    });
}

int rename(const char* from, const char* to) noexcept {
    return testsupport::callOnPath("rename", from, to, [&] {
        return testsupport::nextFunction<int(const char*, const char*)>("rename")(from, to);
    });
}

int renameat2(int fromDirectory, const char* from, int toDirectory, const char* to,
              unsigned int flags) noexcept {
    return testsupport::callOnPath("rename", from, to, [&] {
        return testsupport::nextFunction<int(int, const char*, int, const char*, unsigned int)>(
            "renameat2")(fromDirectory, from, toDirectory, to, flags);
    });
}

int link(const char* from, const char* to) noexcept {
    return testsupport::callOnPath("link", from, to, [&] {
        return testsupport::nextFunction<int(const char*, const char*)>("link")(from, to);
    });
}

}  // extern "C"

#endif
