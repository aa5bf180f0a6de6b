#ifndef TESTS_SUPPORT_DISKMODEL_H
#define TESTS_SUPPORT_DISKMODEL_H

#include <cstddef>
#include <functional>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "FileCalls.h"

namespace testsupport {

/// The files of one directory: name to bytes, or to `secondNameOf` a name before it in the order of
/// names, which is that of the same file.
using Files = std::map<std::string, std::string>;

inline const std::string kSecondName = "the same file as ";

inline std::string secondNameOf(const std::string& name) {
    return kSecondName + name;
}

inline bool isSecondName(const std::string& bytes) {
    return bytes.compare(0, kSecondName.size(), kSecondName) == 0;
}

inline const std::string& bytesIn(const Files& files, const std::string& name) {
    const std::string& bytes = files.at(name);
    return isSecondName(bytes) ? files.at(bytes.substr(kSecondName.size())) : bytes;
}

/// One directory on a disk that promises as little as it may, as a sequence of file calls leaves
/// it.
///
/// Data that was written since the file's last `fdatasync` may be there, or an earlier state of the
/// file, or a part of it with nothing, zeros, rubbish or the rest of an earlier state behind it. An
/// entry (name to file) that was made, replaced or deleted since the directory's last `fsync` may
/// be any of those that the name has had since, whatever became of other names: a rename counts as
/// two changes. Syncing a file does nothing for its entry.
class DiskModel {
public:
    /// Where a write may have come to its end: at every byte, or where it tells most, that is,
    /// before and after each line, and within and before the end of the last.
    enum class Cuts { kTelling, kAll };

    /// A disk on which these files are safe.
    explicit DiskModel(const Files& files, Cuts cuts = Cuts::kTelling) : cuts_(cuts) {
        for (const auto& file : files) {
            if (isSecondName(file.second)) {
                entries_[file.first] = entries_.at(file.second.substr(kSecondName.size()));
            } else {
                entries_[file.first] = {contents_.size()};
                contents_.push_back({file.second});
            }
        }
    }

    void apply(const FileEffect& effect);

    /// What processes see as long as there is power.
    Files current() const {
        Names names;
        std::map<FileNumber, std::string> last;
        for (const auto& entry : entries_) {
            if (entry.second.back() != kNone) {
                names[entry.first] = entry.second.back();
                last[entry.second.back()] = contents_[entry.second.back()].back();
            }
        }
        return filesOf(names, last);
    }

    /// Everything that may be found after a power cut at this moment.
    std::set<Files> afterPowerCut() const {
        std::set<Files> found;
        chooseEntries(entries_.begin(), {}, found);
        return found;
    }

private:
    using FileNumber = std::size_t;
    using Names = std::map<std::string, FileNumber>;
    static constexpr FileNumber kNone = static_cast<FileNumber>(-1);

    Cuts cuts_;
    /// First what is safe, then each change since.
    std::map<std::string, std::vector<FileNumber>> entries_;
    std::vector<std::vector<std::string>> contents_;
    std::map<int, FileNumber> descriptors_;

    FileNumber fileAt(const std::string& name) const {
        const auto found = entries_.find(name);
        return found == entries_.end() ? kNone : found->second.back();
    }

    void point(const std::string& name, FileNumber file) {
        std::vector<FileNumber>& entry = entries_[name];
        if (entry.empty()) {
            entry.push_back(kNone);
        }
        entry.push_back(file);
    }

    void create(const std::string& name, int descriptor) {
        if (fileAt(name) == kNone) {
            point(name, contents_.size());
            contents_.push_back({""});
        } else {
            contents_[fileAt(name)].push_back("");
        }
        descriptors_[descriptor] = fileAt(name);
    }

    template <class T>
    static void settle(std::vector<T>& history) {
        history.erase(history.begin(), history.end() - 1);
    }

    std::set<std::size_t> cutsOf(const std::string& text) const {
        std::set<std::size_t> cuts = {0, text.size() - 1};
        for (std::size_t at = 0; cuts_ == Cuts::kAll && at < text.size(); ++at) {
            cuts.insert(at);
        }
        std::size_t lastLine = 0;
        for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos;) {
            lastLine = ++at == text.size() ? lastLine : at;
            cuts.insert(at);
        }
        cuts.insert((lastLine + text.size()) / 2);
        return cuts;
    }

    static std::string rubbish(std::size_t size) {
        std::string bytes;
        for (unsigned int seed = 12345678; bytes.size() < size;
             seed = seed * 1103515245U + 12345U) {
            bytes += static_cast<char>(seed >> 16U & 0xffU);
        }
        return bytes;
    }

    /// The newest of these states, written but in part.
    void addTorn(const std::vector<std::string>& history, std::size_t newest,
                 std::set<std::string>& found) const {
        const std::string& text = history[newest];
        if (text.empty()) {
            return;
        }
        for (const std::size_t cut : cutsOf(text)) {
            const std::string start = text.substr(0, cut);
            found.insert(start);
            found.insert(start + std::string(text.size() - cut, '\0'));
            found.insert(start + rubbish(text.size() - cut));
            for (std::size_t older = 0; older < newest; ++older) {
                if (history[older].size() > cut) {
                    found.insert(start + history[older].substr(cut));
                }
            }
        }
    }

    std::set<std::string> possible(const std::vector<std::string>& history) const {
        std::set<std::string> found(history.begin(), history.end());
        for (std::size_t newest = 1; newest < history.size(); ++newest) {
            addTorn(history, newest, found);
        }
        return found;
    }

    void chooseEntries(decltype(entries_)::const_iterator next, const Names& chosen,
                       std::set<Files>& found) const {
        if (next == entries_.end()) {
            chooseContents(chosen, {}, found);
            return;
        }
        const std::set<FileNumber> choices(next->second.begin(), next->second.end());
        for (const FileNumber file : choices) {
            Names names = chosen;
            if (file != kNone) {
                names[next->first] = file;
            }
            chooseEntries(std::next(next), names, found);
        }
    }

    static Files filesOf(const Names& names, const std::map<FileNumber, std::string>& contents) {
        Files files;
        std::map<FileNumber, std::string> firstNames;
        for (const auto& name : names) {
            const auto first = firstNames.emplace(name.second, name.first);
            files[name.first] =
                first.second ? contents.at(name.second) : secondNameOf(first.first->second);
        }
        return files;
    }

    void chooseContents(const Names& names, std::map<FileNumber, std::string> chosen,
                        std::set<Files>& found) const {
        for (const auto& name : names) {
            if (chosen.find(name.second) == chosen.end()) {
                for (const std::string& bytes : possible(contents_[name.second])) {
                    chosen[name.second] = bytes;
                    chooseContents(names, chosen, found);
                }
                return;
            }
        }
        found.insert(filesOf(names, chosen));
    }
};

inline void DiskModel::apply(const FileEffect& effect) {
    std::istringstream words(effect.call);
    std::string verb;
    std::string name;
    std::string target;
    words >> verb >> name >> target;
    if (verb == "create") {
        create(name, effect.descriptor);
    } else if (verb == "write") {
        std::vector<std::string>& states = contents_[descriptors_.at(effect.descriptor)];
        states.push_back(states.back() + effect.bytes);
    } else if (verb == "open") {
        descriptors_[effect.descriptor] = fileAt(name);
    } else if (verb == "fsync" && name == ".") {
        for (auto& entry : entries_) {
            settle(entry.second);
        }
    } else if (verb == "fdatasync" || verb == "fsync") {
        settle(contents_[descriptors_.at(effect.descriptor)]);
    } else if (verb == "close") {
        descriptors_.erase(effect.descriptor);
    } else if (verb == "unlink") {
        point(name, kNone);
    } else if (verb == "link") {
        point(target, fileAt(name));
    } else if (verb == "rename") {
        point(target, fileAt(name));
        point(name, kNone);
    }
}

}  // namespace testsupport

#endif
