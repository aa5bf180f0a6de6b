#ifndef T8SETTINGS_DIRECTORYWATCH_H
#define T8SETTINGS_DIRECTORYWATCH_H

#include <set>
#include <string>
#include <vector>

namespace t8settings {

/// Tells what happens to the entries of some directories, which may come and go.
class DirectoryWatch {
public:
    /// Watches those of the directories that are there. Throws `Failure` when the system has no
    /// watches left.
    explicit DirectoryWatch(std::vector<std::string> directories);
    ~DirectoryWatch();
    DirectoryWatch(const DirectoryWatch&) = delete;
    DirectoryWatch& operator=(const DirectoryWatch&) = delete;

    /// To be polled for reading.
    int descriptor() const { return descriptor_; }

    struct News {
        std::set<std::string> names;  ///< of entries that came, went, or were written
        bool isIncomplete = false;    ///< there was more than the system could keep
    };

    /// What has happened since the last call; waits for nothing.
    News take();

    /// Finds out which directories are there by now. True when one has come or gone or another one
    /// has taken its place: its entries are to be looked at, as nothing tells of them.
    bool renew();

private:
    void release(int watch) const;

    std::vector<std::string> directories_;
    int descriptor_;
    std::vector<int> watches_;  ///< in the order of the directories; -1 for one that is not there
};

}  // namespace t8settings

#endif
