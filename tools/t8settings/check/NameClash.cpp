#include "check/NameClash.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <optional>
#include <utility>

#include "console/Terminal.h"
#include "files/Descriptor.h"
#include "store/LibraryLog.h"
#include "store/XmlFile.h"

namespace t8settings {

namespace {

struct Named {
    std::string name;
    std::string file;
};

std::optional<Named> nameInXml(const StorageFiles& storage) {
    for (const std::string& path : {storage.readWrite, storage.defaults}) {
        if (!path.empty() && isThere(path)) {
            const XmlFile file(path);
            if (file.error.empty()) {
                return Named{file.storageName, path};
            }
        }
    }
    return std::nullopt;
}

bool isTaken(const IniFile& file) {
    return file.accepted() && file.misplacedName() == nullptr;
}

/// What a load calls the storage; nothing when it takes none of its files.
std::optional<Named> nameOf(const StorageFiles& storage) {
    if (storage.isXml()) {
        return nameInXml(storage);
    }
    std::optional<Named> named;
    if (!storage.defaults.empty()) {
        const IniFile defaults = defaultsOf(storage);
        if (!isTaken(defaults)) {
            return std::nullopt;
        }
        named = Named{defaults.storageName(), storage.defaults};
    }
    const IniFile own = readWriteOf(storage, named ? named->name : storage.storageName());
    return isTaken(own) ? Named{own.storageName(), storage.readWrite} : named;
}

/// What a clash means, at either of the two files.
std::vector<FileFinding> findingsOn(const ReplacedStorage& storage) {
    const std::string called = "its storage is called " + inQuotes(storage.name) + " as that of ";
    const std::string remedy = remedyFor(storage);
    return {
        {storage.file,
         {0, Harm::kChanged,
          called + storage.by + ", which takes its place: reset --all does not reset it", remedy}},
        {storage.by,
         {0, Harm::kChanged,
          called + storage.file + " and takes its place: reset --all does not reset that one",
          remedy}}};
}

/// Of two files of one store. The paths may lead there in different ways.
bool isOfOneStorage(const std::string& one, const std::string& other) {
    return one.substr(one.rfind('/') + 1) == other.substr(other.rfind('/') + 1) &&
           survivesReset(one) == survivesReset(other);
}

}  // namespace

std::vector<ReplacedStorage> storagesReplacedBelow(const std::string& base) {
    const LibraryMessagesDropped dropped;
    std::vector<Named> all;
    std::map<std::string, std::string> lastOfName;
    for (const StorageFiles& storage : storagesBelow(base)) {
        if (const auto named = nameOf(storage)) {
            all.push_back(*named);
            lastOfName[named->name] = named->file;
        }
    }
    std::vector<ReplacedStorage> replaced;
    for (const Named& storage : all) {
        const std::string& last = lastOfName.at(storage.name);
        if (last != storage.file) {
            replaced.push_back({storage.name, storage.file, last});
        }
    }
    return replaced;
}

std::string remedyFor(const ReplacedStorage& storage) {
    return std::string("give one of the two another ") +
           (isXml(storage.file) || isXml(storage.by) ? "name: #name or, in XML, the root element"
                                                     : "#name");
}

std::vector<FileFinding> nameClashesBelow(const std::string& base) {
    std::vector<FileFinding> findings;
    for (const ReplacedStorage& storage : storagesReplacedBelow(base)) {
        for (FileFinding& finding : findingsOn(storage)) {
            findings.push_back(std::move(finding));
        }
    }
    return findings;
}

std::vector<FileFinding> NameClashes::take(const std::string& path) {
    const std::string base =
        survivesReset(path) ? baseMeantBy(Qel::Settings::files::directoryOf(path)) : "";
    if (base.empty() || !whyUnreadable(base).empty()) {
        return {};
    }
    if (below_.count(base) == 0) {
        below_[base] = nameClashesBelow(base);
    }
    std::vector<FileFinding>& left = below_[base];
    const auto taken = std::stable_partition(
        left.begin(), left.end(),
        [&path](const FileFinding& finding) { return !isOfOneStorage(finding.path, path); });
    std::vector<FileFinding> findings(std::make_move_iterator(taken),
                                      std::make_move_iterator(left.end()));
    left.erase(taken, left.end());
    return findings;
}

std::vector<FileFinding> nameClashesOf(const std::string& path) {
    return NameClashes().take(path);
}

}  // namespace t8settings
