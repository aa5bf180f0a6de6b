#ifndef T8SETTINGS_EXIT_H
#define T8SETTINGS_EXIT_H

#include <stdexcept>
#include <string>

namespace t8settings {

/// What the process's exit code tells; scripts rely on the numbers.
enum class ExitCode : int {
    kDone = 0,
    kFailed = 1,
    kUsage = 2,
    kUnknownName = 3,  ///< no setting or no type is called so
    kRefused = 4,      ///< read-only, or a reset to defaults is in progress
    kFindings = 5,     ///< done, and what was looked at is not all sound, or not all the same
};

/// Ends the command. The text is for people; each of its lines becomes one on standard error.
class Failure : public std::runtime_error {
public:
    Failure(ExitCode code, const std::string& text) : std::runtime_error(text), code_(code) {}

    ExitCode code() const { return code_; }

    /// The same of a command that may have changed the store.
    Failure withChanges() const {
        Failure same = *this;
        same.changed_ = true;
        return same;
    }
    bool changed() const { return changed_; }

private:
    ExitCode code_;
    bool changed_ = false;
};

/// Throws `Failure` for an empty word, which a script's variable that was never set looks like.
inline void demandWord(const std::string& word, const char* what) {
    if (word.empty()) {
        throw Failure(ExitCode::kUsage, std::string(what) + " is empty");
    }
}

}  // namespace t8settings

#endif
