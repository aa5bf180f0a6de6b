#ifndef T8SETTINGS_RESTORING_H
#define T8SETTINGS_RESTORING_H

#include <string>

#include "commands/Command.h"

namespace t8settings {

struct RestoreOptions {
    std::string path;
    std::string from;  ///< "tmp", "tmp.new", "bad" or "bad.1" to "bad.99"
    bool confirmed = false;
};

/// Puts the file that lies beside `path` in its place, after asking unless that is confirmed.
/// Throws `Failure`, with nothing lost and the name of all that is kept, when it cannot.
Result restore(const RestoreOptions& options, const std::string& marker, Format format);

}  // namespace t8settings

#endif
