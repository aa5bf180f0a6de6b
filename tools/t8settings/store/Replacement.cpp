#include "store/Replacement.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "console/Exit.h"
#include "console/Shell.h"
#include "console/Terminal.h"
#include "files/Descriptor.h"
#include "files/FileStatus.h"
#include "files/SafeWrite.h"
#include "files/Sync.h"
#include "files/WholeFile.h"
#include "text/Crc32.h"
#include "text/CrcCheck.h"

namespace t8settings {

namespace {

namespace files = Qel::Settings::files;
namespace text = Qel::Settings::text;

constexpr const char* kKept = ".before-recover";
constexpr mode_t kAllPermissions = 0777;

Failure failure(const std::string& path, const std::string& what, int error) {
    return {ExitCode::kFailed, path + " " + what + ": " + std::strerror(error)};
}

/// While it lives, new files get these permissions and no others.
class NewFilesLike {
public:
    explicit NewFilesLike(mode_t permissions)
        : previous_(::umask(~permissions & kAllPermissions)) {}
    ~NewFilesLike() { ::umask(previous_); }
    NewFilesLike(const NewFilesLike&) = delete;
    NewFilesLike& operator=(const NewFilesLike&) = delete;

private:
    mode_t previous_;
};

/// The copy is what a load reads then, unless it could not be placed safely.
Failure fileFailed(const Replacement& replacement, const std::string& data, int error) {
    const std::string& path = replacement.group.file.path();
    const std::string copy = copyOf(path);
    std::string there;
    const bool isCopyNew = files::readWholeFile(copy, there) && there == data;
    const std::string inForce =
        isCopyNew
            ? copy + " has the new text and is read in its place; when " + path +
                  " can be written, run: " + commandOn("recover", path) + " --from tmp"
            : "a load finds the text from before or the new one; see " + commandOn("recover", path);
    return {ExitCode::kFailed,
            path + " could not be written: " + std::strerror(error) + "\n" + inForce};
}

void write(const Replacement& replacement, const std::string& data,
           const files::DirectoryLock& lock) {
    const std::string& path = replacement.group.file.path();
    const std::string copy = copyOf(path);
    switch (files::writeThroughCopy({path, copy, data, replacement.group.copy.accepted(), true},
                                    lock)) {
        case files::WriteResult::kDone:
            return;
        case files::WriteResult::kCopyFailed:
            throw failure(path, "is unchanged, " + copy + " could not be written", errno);
        case files::WriteResult::kFileFailed:
            throw fileFailed(replacement, data, errno);
    }
}

/// Only who may give files away can do that; for everybody else it is his own file.
void giveTo(const std::string& path, const files::FileStatus& owner) {
    static_cast<void>(::chown(path.c_str(), owner.owner, owner.group) == 0);
}

bool copyTo(const std::string& kept, const std::string& data, const files::FileStatus& like) {
    files::Descriptor file =
        files::openFile(kept, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, S_IRUSR | S_IWUSR);
    if (!file.isOpen()) {
        return false;
    }
    if (writeAll(file.number(), data) && ::fchmod(file.number(), like.permissions) == 0 &&
        files::syncData(file) && file.close()) {
        giveTo(kept, like);
        return true;
    }
    const int error = errno;
    ::unlink(kept.c_str());
    errno = error;
    return false;
}

std::string asItWas(const KeptFile& file) {
    return file.name + ": " + file.path + " as it was";
}

/// Makes a copy of the file, which then can be replaced, or moves it if it cannot be read. Throws
/// `Failure`, with nothing changed, when that is not possible.
void keep(KeptFile& file, const files::DirectoryLock& lock) {
    const auto status = files::statusAt(file.path);
    std::string data;
    file.isMoved = !status || !files::readWholeFile(file.path, data);
    const bool done = file.isMoved ? std::rename(file.path.c_str(), file.name.c_str()) == 0
                                   : copyTo(file.name, data, *status);
    if (done && lock.syncDirectory()) {
        return;
    }
    const Failure unchanged =
        failure(file.path, "is unchanged, it could not be kept as " + file.name, errno);
    if (done && file.isMoved && std::rename(file.name.c_str(), file.path.c_str()) != 0) {
        throw failure(file.path, "is now " + file.name + " and could not be moved back", errno);
    }
    if (done && !file.isMoved) {
        ::unlink(file.name.c_str());
    }
    throw unchanged;
}

/// After a failure: what was moved goes back to its place, unless something lies there. Returns
/// what there is to say of the file, in one line; nothing when it is as it was.
std::string putBack(const KeptFile& file) {
    const bool isBack = file.isMoved && !isThere(file.path) &&
                        std::rename(file.name.c_str(), file.path.c_str()) == 0;
    return isBack ? "" : asItWas(file);
}

std::uint32_t replace(const Replacement& replacement, const files::DirectoryLock& lock) {
    const std::string& path = replacement.group.file.path();
    const std::uint32_t crc = text::crc32(replacement.text);
    std::string data = replacement.text;
    text::appendCrcLine(data, crc);
    const auto like = files::statusAt(replacement.like);
    if (isThere(path) || !like) {
        write(replacement, data, lock);
    } else {
        const NewFilesLike permissions(like->permissions);
        write(replacement, data, lock);
        giveTo(path, *like);
    }
    const IniFile written = iniFileAt(path);
    if (written.state() != FileState::kSealed || written.text() != replacement.text) {
        throw Failure(ExitCode::kFailed, path + " does not give back what was written to it");
    }
    return crc;
}

}  // namespace

std::string nameToKeep(const std::string& path) {
    std::string name = path + kKept;
    for (int number = 2; isThere(name); ++number) {
        name = path + kKept + "." + std::to_string(number);
    }
    return name;
}

bool isKept(const std::string& path) {
    std::string name = path.substr(path.rfind('/') + 1);
    const std::size_t number = name.find_last_not_of("0123456789");
    if (number != std::string::npos && number + 1 < name.size() && name[number] == '.') {
        name.resize(number);
    }
    return endsWith(name, kKept);
}

std::string linesOf(const std::vector<KeptFile>& files) {
    std::string lines;
    for (const KeptFile& file : files) {
        lines += visible(asItWas(file)) + "\n";
    }
    return lines;
}

Json jsonOf(const std::vector<KeptFile>& files) {
    Json json = Json::array();
    for (const KeptFile& file : files) {
        Json row;
        addBytes(row, "file", file.path);
        addBytes(row, "as", file.name);
        json.push_back(row);
    }
    return json;
}

std::uint32_t replaceKeeping(std::vector<KeptFile>& kept, const Replacement& replacement,
                             const files::DirectoryLock& lock) {
    std::size_t done = 0;
    try {
        for (KeptFile& file : kept) {
            keep(file, lock);
            ++done;
        }
        return replace(replacement, lock);
    } catch (const Failure& failure) {
        std::string text = failure.what();
        for (std::size_t i = 0; i < done; ++i) {
            const std::string left = putBack(kept[i]);
            text += left.empty() ? "" : "\n" + left;
        }
        throw Failure(failure.code(), text);
    }
}

}  // namespace t8settings
