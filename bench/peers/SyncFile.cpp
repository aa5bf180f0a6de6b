#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

#include "Peers.h"

namespace bench {

namespace {

class Descriptor {
public:
    Descriptor(const std::string& path, int flags) : value_(::open(path.c_str(), flags, 0600)) {
        if (value_ < 0) fail(path);
    }
    ~Descriptor() { ::close(value_); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    [[noreturn]] static void fail(const std::string& what) {
        throw std::system_error(errno, std::generic_category(), what);
    }

    int value() const { return value_; }

private:
    int value_;
};

void sync(const std::string& path) {
    const Descriptor file(path, O_RDONLY);
    if (::fsync(file.value()) != 0) Descriptor::fail(path);
}

std::string directoryOf(const std::string& path) {
    return path.substr(0, path.rfind('/') + 1);
}

void write(const std::string& path, const std::string& text, Durability durability) {
    const Descriptor file(path, O_WRONLY | O_CREAT | O_TRUNC);
    if (::write(file.value(), text.data(), text.size()) != static_cast<ssize_t>(text.size()) ||
        (durability == Durability::kDurable && ::fsync(file.value()) != 0)) {
        Descriptor::fail(path);
    }
}

}  // namespace

void syncFile(const std::string& path) {
    sync(path);
}

void replaceFile(const std::string& path, const std::string& text, Durability durability) {
    const std::string copy = path + ".new";
    write(copy, text, durability);
    if (::rename(copy.c_str(), path.c_str()) != 0) Descriptor::fail(path);
    if (durability == Durability::kDurable) sync(directoryOf(path));
}

}  // namespace bench
