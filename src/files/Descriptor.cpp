#include "files/Descriptor.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

namespace Qel {
namespace Settings {
namespace files {

namespace {

constexpr int kOpenAttempts = 5;
constexpr timespec kOpenPause = {0, 2000000};
constexpr mode_t kGroupBits = 0070;
constexpr uid_t kSameOwner = static_cast<uid_t>(-1);

}  // namespace

Descriptor::~Descriptor() {
    const int error = errno;
    close();
    errno = error;
}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    if (this != &other) {
        close();
        number_ = other.release();
    }
    return *this;
}

int Descriptor::release() {
    const int number = number_;
    number_ = -1;
    return number;
}

bool Descriptor::close() {
    const int number = release();
    // An interrupted close has closed the descriptor all the same; a second try could hit somebody
    // else's.
    return number < 0 || ::close(number) == 0 || errno == EINTR;
}

bool passesByItself(int error) {
    static constexpr std::array<int, 5> kShortages = {EINTR, EMFILE, ENFILE, EAGAIN, ENOMEM};
    return std::find(kShortages.begin(), kShortages.end(), error) != kShortages.end();
}

Descriptor openFile(const std::string& path, int flags, mode_t permissions) {
    for (int attempt = 1;; ++attempt) {
        const int number = ::open(path.c_str(), flags | O_CLOEXEC, permissions);
        if (number >= 0 || attempt == kOpenAttempts || !passesByItself(errno)) {
            return Descriptor(number);
        }
        ::nanosleep(&kOpenPause, nullptr);
    }
}

bool noFileCanBeOpened() {
    return !Descriptor(::open("/", O_PATH | O_CLOEXEC)).isOpen() && passesByItself(errno);
}

void giveAccess(const Descriptor& file, const Access& access) {
    const bool grouped = ::fchown(file.number(), access.owner, access.group) == 0 ||
                         ::fchown(file.number(), kSameOwner, access.group) == 0;
    const mode_t withoutGroup = access.permissions & ~kGroupBits;
    static_cast<void>(::fchmod(file.number(), grouped ? access.permissions : withoutGroup));
}

bool writeAll(const Descriptor& file, std::string_view data) {
    while (!data.empty()) {
        const ssize_t count = ::write(file.number(), data.data(), data.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return false;
        }
        data.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

std::string directoryOf(const std::string& path) {
    const std::string::size_type slash = path.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace files
}  // namespace Settings
}  // namespace Qel
