#ifndef T8SETTINGS_PROGRESS_H
#define T8SETTINGS_PROGRESS_H

#include <cstddef>
#include <string>

namespace t8settings {

/// Tells a person who waits for a long piece of work how far it has come, in passing, such as
/// "verifying file 3 of 20: sound.ini". Work within the work tells so in its place. For the main
/// thread.
class Progress {
public:
    /// `doing` is what is done to each of the `all` parts: "verifying file".
    Progress(std::string doing, std::size_t all);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Before each part, which is called `name`. Says so unless the work is still young or the last
    /// line is.
    void begin(const std::string& name);

private:
    std::string doing_;
    std::size_t all_;
    std::size_t begun_ = 0;
};

/// Throws `Failure` when the environment says something else than milliseconds of when `Progress`
/// is to say so.
void demandMilliseconds();

}  // namespace t8settings

#endif
