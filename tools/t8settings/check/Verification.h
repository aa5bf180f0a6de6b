#ifndef T8SETTINGS_VERIFICATION_H
#define T8SETTINGS_VERIFICATION_H

#include <map>
#include <set>
#include <string>
#include <vector>

#include "check/FileCheck.h"
#include "check/NameClash.h"

namespace t8settings {

/// What a look at settings files has found; nothing is loaded or changed by it.
class Verification {
public:
    /// A file that is there.
    struct File {
        std::string path;
        std::string state;  ///< `wordOf`, or "xml"
        std::size_t settings;
    };

    /// All files below the base directory. Throws `Failure` when it cannot be read.
    void verifyBelow(const std::string& base);

    /// One file with what lies beside it, or the one that lies beside it alone.
    void verifyFile(const std::string& path);

    const std::vector<File>& files() const { return files_; }
    const std::vector<FileFinding>& findings() const { return findings_; }

    /// Paths of what seal and recover have kept: nothing is amiss with that, but it may be deleted.
    const std::vector<std::string>& kept() const { return kept_; }

    /// Directories that are not there, each with that of the defaults of which nothing can be saved
    /// until then: nothing is amiss with that in a store that is only read.
    const std::map<std::string, std::string>& missing() const { return missing_; }

    /// Directories of defaults that are not there, each with that of the files that go without, as
    /// they may in a store that was never to have any.
    const std::map<std::string, std::string>& missingDefaults() const { return missingDefaults_; }

private:
    void verifyStorage(const StorageFiles& storage);
    void verifyIni(const StorageFiles& storage);
    void verifyGroup(const FileGroup& group);
    void verifyXml(const std::string& storage, const std::string& path);
    /// Notes that nothing of the storage can be saved.
    void noteMissingDirectory(const StorageFiles& storage);
    /// Notes directories without that of their defaults.
    void noteMissingDefaults(const std::string& base, const std::vector<StorageFiles>& storages);
    /// Whether the directory can be read; if not, that is its only finding.
    bool canRead(const std::string& directory);
    void verifyDirectory(const std::string& path);
    void verifyEntry(const std::string& path);
    /// Whether a link that is called as a storage's file leads to it.
    bool isTargetOfALink(const std::string& path) const;
    /// Whether it is a link without a file, which is a finding then.
    bool addIfDangling(const std::string& path);
    /// Settings that came with `path`, of the storage whose read/write file is `storage`.
    void noteNames(const std::string& storage, const std::string& path,
                   const std::set<std::string>& names);

    void addFile(const IniFile& file);
    void add(const std::string& path, Harm harm, const std::string& reason,
             const std::string& remedy);

    std::vector<File> files_;
    std::vector<FileFinding> findings_;
    std::vector<std::string> kept_;
    std::map<std::string, std::string> missing_;
    std::map<std::string, std::string> missingDefaults_;
    NameClashes clashes_;
    std::map<std::string, bool> canRead_;  ///< by directory
    std::set<std::string> known_;          ///< paths of the storages' files
    struct Place {
        std::string storage;
        std::string path;
    };
    std::map<std::string, Place> placeOfName_;
};

}  // namespace t8settings

#endif
