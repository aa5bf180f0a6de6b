#include "check/CommentedSections.h"

#include <algorithm>
#include <cstddef>
#include <map>

#include "check/KnownDefaults.h"

namespace t8settings {

namespace {

using Kind = Qel::Settings::text::IniLine::Kind;

/// What the section was called that a comment may have been.
std::string sectionIn(const IniFile::Line& comment) {
    const std::size_t start =
        std::min(comment.whole.find_first_not_of("# \t["), comment.whole.size());
    const std::size_t end = comment.whole.find_last_not_of("] \t") + 1;
    return comment.whole.substr(start, std::max(start, end) - start);
}

class CommentFinder {
public:
    explicit CommentFinder(const IniFile& file)
        : file_(file), defaults_(knownDefaultsFor(file)), settings_(settingsByName(file)) {}

    std::vector<Finding> commentedSections() const {
        std::vector<Finding> commented;
        const IniFile::Line* comment = nullptr;
        std::string section;
        for (const IniFile::Line& line : file_.lines()) {
            if (line.kind == Kind::Section) {
                comment = nullptr;
                section = line.key;
            } else if (line.kind == Kind::Header && mayHaveBeenSection(line)) {
                comment = &line;
            } else if (line.kind == Kind::Setting && comment != nullptr &&
                       isOfSection(line, sectionIn(*comment))) {
                commented.push_back(commentedSection(comment->number, section));
                comment = nullptr;
            }
        }
        return commented;
    }

private:
    bool isOfSection(const IniFile::Line& line, const std::string& section) const {
        const std::string name = file_.storageName() + "/" + section + "/" + line.key;
        return !defaults_.has(line.name) && defaults_.has(name) && settings_.count(name) == 0;
    }

    const IniFile& file_;
    const KnownDefaults defaults_;
    const std::map<std::string, const IniFile::Line*> settings_;
};

}  // namespace

std::vector<Finding> commentedSectionsIn(const IniFile& file) {
    // A right CRC tells that they are meant so; and of a file that no load takes for whole, all
    // comments are told that may have been sections.
    return file.state() == FileState::kUnchecked ? CommentFinder(file).commentedSections()
                                                 : std::vector<Finding>();
}

}  // namespace t8settings
