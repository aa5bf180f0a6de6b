#ifndef QEL_SETTINGS_FILES_DESCRIPTOR_H
#define QEL_SETTINGS_FILES_DESCRIPTOR_H

#include <string>
#include <string_view>
#include <sys/types.h>

namespace Qel {
namespace Settings {
namespace files {

/// An open file that is closed when its owner goes.
class Descriptor {
public:
    Descriptor() : number_(-1) {}
    explicit Descriptor(int number) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept;
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    /// Leaves errno alone.
    ~Descriptor();

    bool isOpen() const { return number_ >= 0; }
    int number() const { return number_; }
    int release();

    /// False when the system reports that what was written did not reach the file.
    bool close();

private:
    int number_;
};

/// Whether this errno is that of a shortage that passes by itself (descriptors, memory, an
/// interruption): it says nothing about the file.
bool passesByItself(int error);

/// Opens a file that no child process inherits. A shortage that passes by itself is given a moment
/// to pass: a healthy file that cannot be opened right now would otherwise count as a damaged one.
Descriptor openFile(const std::string& path, int flags, mode_t permissions = 0);

/// Whether a shortage that passes by itself keeps any file from being opened right now. To be asked
/// when something has failed that opens files but does not say whether it could.
bool noFileCanBeOpened();

/// Who may do what with a file.
struct Access {
    mode_t permissions;                    ///< the nine bits for owner, group and others
    uid_t owner = static_cast<uid_t>(-1);  ///< -1 for whoever it is
    gid_t group = static_cast<gid_t>(-1);  ///< likewise
};

/// Gives a new file the owner, the group and the permissions of the one that it stands for: whoever
/// may read that may read this one, and no other group may. Only a privileged process can give
/// files away; where the system refuses the group too, the new file stays stricter than the other.
void giveAccess(const Descriptor& file, const Access& access);

/// Writes all of `data`, in as many calls as it takes. After a failure errno says why.
bool writeAll(const Descriptor& file, std::string_view data);

/// The directory part of `path`: "." when it has none.
std::string directoryOf(const std::string& path);

}  // namespace files
}  // namespace Settings
}  // namespace Qel

#endif
