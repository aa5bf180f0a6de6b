#ifndef T8SETTINGS_STOREWATCH_H
#define T8SETTINGS_STOREWATCH_H

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "survey/StoredStorage.h"

namespace t8settings {

/// A setting that has come, gone, or got another value. One that got another type has gone and
/// come.
struct SettingChange {
    std::optional<Record> before;
    std::optional<Record> after;

    const Record& either() const { return after ? *after : *before; }
};

/// The settings below a base directory as they were when they were last looked at.
///
/// Files that no load could use, and files that have gone, may be on their way to be replaced: what
/// was known of them stands until they have been so for `kPatience`. From then on one that cannot
/// be used is told of on standard error, once, and one that has gone counts as gone.
class StoreWatch {
public:
    using Time = std::chrono::steady_clock::time_point;
    using Changes = std::vector<SettingChange>;

    static constexpr std::chrono::milliseconds kPatience{1000};

    /// Takes the first look.
    StoreWatch(std::string base, Time now);

    /// What has changed in all files, or in those that are called so, in the order of the files.
    Changes lookAtAll(Time now);
    Changes lookAt(const std::set<std::string>& fileNames, Time now);

    /// What has changed in the files that have been waited for.
    Changes lookAtDoubtful(Time now);

    /// When to call `lookAtDoubtful`, if ever.
    std::optional<Time> nextLook() const;

    /// All settings that are known.
    std::vector<std::string> names() const;

private:
    struct Doubt {
        std::string reason;
        Time since;
        bool isTold;
    };
    struct Known {
        std::string fileName;
        StoredSettings settings = {};
        bool hasReadWrite = false;
        std::optional<Doubt> doubt = std::nullopt;
    };
    using Wanted = std::function<bool(const Known& known)>;

    Changes look(const Wanted& isWanted, Time now);
    static void lookAt(Known& known, const StoredStorage& storage, bool isListed, Time now,
                       Changes& changes);
    static bool isWaitedFor(Known& known, const std::string& reason, Time now);

    std::string base_;
    std::map<std::string, Known> known_;  ///< by the paths of the read/write files
};

}  // namespace t8settings

#endif
