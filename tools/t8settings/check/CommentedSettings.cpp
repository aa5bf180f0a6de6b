#include "check/CommentedSettings.h"

#include <climits>
#include <cstddef>
#include <set>
#include <string>
#include <string_view>

#include "check/Swallowed.h"
#include "console/Terminal.h"

namespace t8settings {

namespace {

using Kind = Qel::Settings::text::IniLine::Kind;

/// Goes through the lines with the section that is in force.
class CommentChecker {
public:
    CommentChecker(const IniFile& file, const KnownDefaults& defaults, const FactoryPtr& factory)
        : factory_(factory), root_(file.storageName() + "/"), prefix_(root_) {
        const auto given = settingsByName(file);
        for (const auto& known : defaults.settings) {
            if (given.count(known.first) == 0) {
                missing_.insert(known.first);
                lengths_.insert(known.first.size());
            }
        }
    }

    void check(const IniFile::Line& line) {
        if (line.kind == Kind::Section) {
            prefix_ = root_ + line.key + "/";
        } else if (isComment(line)) {
            checkComment(line);
        }
    }

    const std::vector<Finding>& findings() const { return findings_; }

private:
    void checkComment(const IniFile::Line& line) {
        const std::string_view whole = line.whole;
        const std::size_t start = whole.find_first_not_of("# \t");
        for (const std::size_t equals : settingsIn(whole, factory_)) {
            const std::size_t end = whole.find_last_not_of(" \t", equals - 1) + 1;
            if (start < end && isMeantSo(whole.substr(start, end - start))) {
                continue;
            }
            const std::string key = keyIn(whole.substr(1, end - 1));
            if (!key.empty()) {
                findings_.push_back({line.number, Harm::kDoubtful,
                                     "is a comment; if it was " +
                                         inQuotes(key + " " + line.whole.substr(equals)) + ", " +
                                         visible(prefix_ + key) + " has lost that",
                                     "write that on a line of its own, unless it is meant so"});
                return;
            }
        }
    }

    bool isMissing(std::string_view prefix, std::string_view text) const {
        return lengths_.count(prefix.size() + text.size()) != 0 &&
               missing_.count(std::string(prefix).append(text)) != 0;
    }

    /// A setting that was commented out whole, be it of a dump.
    bool isMeantSo(std::string_view text) const {
        return isMissing(prefix_, text) || isMissing(root_, text) || isMissing("", text);
    }

    /// The key that has become a part of this text behind the "#"; empty for none.
    std::string keyIn(std::string_view text) const {
        for (auto length = lengths_.rbegin(); length != lengths_.rend(); ++length) {
            const bool mayEndInIt =
                *length > prefix_.size() && *length - prefix_.size() <= text.size();
            const std::string_view key =
                mayEndInIt ? text.substr(text.size() + prefix_.size() - *length) : "";
            if (mayEndInIt && isMissing(prefix_, key)) {
                return std::string(key);
            }
        }
        const bool mayLackAByte = lengths_.count(prefix_.size() + 1 + text.size()) != 0;
        for (int byte = CHAR_MIN; mayLackAByte && byte <= CHAR_MAX; ++byte) {
            std::string key = static_cast<char>(byte) + std::string(text);
            if (isMissing(prefix_, key)) {
                return key;
            }
        }
        return "";
    }

    const FactoryPtr& factory_;
    const std::string root_;
    std::string prefix_;             ///< of the names of the settings in the section in force
    std::set<std::string> missing_;  ///< names of the defaults that the file does not have
    std::set<std::size_t> lengths_;  ///< of these
    std::vector<Finding> findings_;
};

}  // namespace

std::vector<Finding> commentedSettingsIn(const IniFile& file, const KnownDefaults& defaults,
                                         const FactoryPtr& factory) {
    if (file.state() == FileState::kSealed || defaults.path.empty()) {
        return {};
    }
    CommentChecker checker(file, defaults, factory);
    for (const IniFile::Line& line : file.lines()) {
        checker.check(line);
    }
    return checker.findings();
}

}  // namespace t8settings
