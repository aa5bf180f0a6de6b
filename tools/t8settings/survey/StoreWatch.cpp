#include "survey/StoreWatch.h"

#include <algorithm>
#include <utility>

#include "console/Exit.h"
#include "console/Terminal.h"
#include "files/Descriptor.h"
#include "store/LibraryLog.h"

namespace t8settings {

namespace {

/// None while the base directory cannot be read: it may be on its way back.
std::vector<StorageFiles> storagesBelowIfAny(const std::string& base) {
    try {
        return storagesBelow(base);
    } catch (const Failure&) {
        return {};
    }
}

void addChange(StoreWatch::Changes& changes, const std::optional<Record>& before,
               const std::optional<Record>& after) {
    if (before && after && before->type != after->type) {
        changes.push_back({before, std::nullopt});
        changes.push_back({std::nullopt, after});
    } else if (!before || !after || before->text != after->text) {
        changes.push_back({before, after});
    }
}

/// In the order of the names.
void addChanges(StoreWatch::Changes& changes, const StoredSettings& before,
                const StoredSettings& after) {
    auto left = before.begin();
    auto right = after.begin();
    while (left != before.end() || right != after.end()) {
        const bool hasLeft =
            left != before.end() && (right == after.end() || left->first <= right->first);
        const bool hasRight =
            right != after.end() && (left == before.end() || right->first <= left->first);
        addChange(changes, hasLeft ? std::optional<Record>((left++)->second) : std::nullopt,
                  hasRight ? std::optional<Record>((right++)->second) : std::nullopt);
    }
}

constexpr const char* kGone = "gone";

/// What is amiss with a file that was not listed; nothing when it has gone.
StoredStorage notListed(const std::string& base, const std::string& path) {
    StoredStorage storage;
    for (const std::string& directory : {base, Qel::Settings::files::directoryOf(path)}) {
        const std::string reason = whyUnreadable(directory);
        if (!reason.empty() && storage.problem.empty()) {
            storage.problem = path;
            storage.problem.append(": ").append(directory).append(" cannot be read: ");
            storage.problem += reason;
        }
    }
    return storage;
}

}  // namespace

StoreWatch::StoreWatch(std::string base, Time now) : base_(std::move(base)) {
    for (const StorageFiles& files : storagesBelowIfAny(base_)) {
        StoredStorage found = storedIn(files);
        Known& known = known_[files.readWrite];
        known = {files.fileName, std::move(found.settings), found.hasReadWrite};
        if (!found.problem.empty()) {
            known.doubt = Doubt{found.problem, now, false};
        }
    }
}

StoreWatch::Changes StoreWatch::lookAtAll(Time now) {
    return look([](const Known&) { return true; }, now);
}

StoreWatch::Changes StoreWatch::lookAt(const std::set<std::string>& fileNames, Time now) {
    return look([&](const Known& known) { return fileNames.count(known.fileName) == 1; }, now);
}

StoreWatch::Changes StoreWatch::lookAtDoubtful(Time now) {
    const std::optional<Time> next = nextLook();
    return !next || *next > now ? Changes()
                                : look(
                                      [now](const Known& known) {
                                          return known.doubt && !known.doubt->isTold &&
                                                 known.doubt->since + kPatience <= now;
                                      },
                                      now);
}

std::optional<StoreWatch::Time> StoreWatch::nextLook() const {
    std::optional<Time> next;
    for (const auto& known : known_) {
        const std::optional<Doubt>& doubt = known.second.doubt;
        if (doubt && !doubt->isTold && (!next || doubt->since + kPatience < *next)) {
            next = doubt->since + kPatience;
        }
    }
    return next;
}

std::vector<std::string> StoreWatch::names() const {
    std::vector<std::string> all;
    for (const auto& known : known_) {
        for (const auto& setting : known.second.settings) {
            all.push_back(setting.first);
        }
    }
    return all;
}

StoreWatch::Changes StoreWatch::look(const Wanted& isWanted, Time now) {
    // What is amiss is told in the watch's own words, once.
    const LibraryMessagesDropped dropped;
    Changes changes;
    std::set<std::string> listed;
    for (const StorageFiles& files : storagesBelowIfAny(base_)) {
        listed.insert(files.readWrite);
        Known& known = known_.emplace(files.readWrite, Known{files.fileName}).first->second;
        if (isWanted(known)) {
            lookAt(known, storedIn(files), true, now, changes);
        }
    }
    for (auto known = known_.begin(); known != known_.end();) {
        const bool isGone = listed.count(known->first) == 0;
        if (isGone && isWanted(known->second)) {
            lookAt(known->second, notListed(base_, known->first), false, now, changes);
        }
        known = isGone && !known->second.doubt && known->second.settings.empty()
                    ? known_.erase(known)
                    : std::next(known);
    }
    return changes;
}

void StoreWatch::lookAt(Known& known, const StoredStorage& storage, bool isListed, Time now,
                        Changes& changes) {
    const bool hasGone = !isListed || (known.hasReadWrite && !storage.hasReadWrite);
    const std::string reason = hasGone && storage.problem.empty() ? kGone : storage.problem;
    if (!reason.empty() && isWaitedFor(known, reason, now)) {
        return;
    }
    addChanges(changes, known.settings, storage.settings);
    known = {known.fileName, storage.settings, storage.hasReadWrite};
}

bool StoreWatch::isWaitedFor(Known& known, const std::string& reason, Time now) {
    if (!known.doubt || known.doubt->reason != reason) {
        known.doubt = Doubt{reason, now, false};
    }
    const bool isOver = now - known.doubt->since >= kPatience;
    if (isOver && reason != kGone && !known.doubt->isTold) {
        known.doubt->isTold = true;
        complain("warning: " + reason + "; what was known of it stands until it changes");
    }
    return !isOver || reason != kGone;
}

}  // namespace t8settings
