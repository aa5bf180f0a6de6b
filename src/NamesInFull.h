#ifndef QEL_SETTINGS_NAMESINFULL_H
#define QEL_SETTINGS_NAMESINFULL_H

#include <cstddef>
#include <stdexcept>

#include "files/WholeFile.h"

namespace Qel {
namespace Settings {

/// Counts the names of one file's settings. In the file a section, or an element around others,
/// stands once, but it is a part of every name under it: without a limit a file of some hundred
/// kilobytes could fill the memory.
class NamesInFull {
public:
    /// Throws `std::length_error` when all names so far are larger than the largest file.
    void add(std::size_t size) {
        if (size > left_) {
            throw std::length_error("the names of its settings take more than 64 MiB");
        }
        left_ -= size;
    }

private:
    std::size_t left_ = files::kLargestFile;
};

}  // namespace Settings
}  // namespace Qel

#endif
