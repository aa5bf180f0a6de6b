#ifndef T8SETTINGS_REPLACEDLINES_H
#define T8SETTINGS_REPLACEDLINES_H

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "check/LineCheck.h"
#include "store/IniFile.h"
#include "store/Store.h"

namespace t8settings {

/// Damaged lines of which a reset leaves nothing to miss: whatever settings seem to be meant by
/// them, the defaults have each. The file must outlive it.
class ReplacedLines {
public:
    ReplacedLines(const IniFile& file, const std::set<std::string>& byDefault,
                  const FactoryPtr& factory);

    bool has(const Finding& finding) const;

private:
    struct Place {
        const IniFile::Line* line;
        std::string prefix;  ///< of the names of settings at this place
    };

    bool isByDefault(const std::string& name) const { return byDefault_.count(name) != 0; }
    bool areByDefault(const std::string& prefix, const std::vector<std::string>& keys) const;
    bool isSettingReplaced(const Place& place) const;
    bool isTextReplaced(const Place& place) const;
    bool areStraysReplaced(const IniFile::Line& section) const;
    std::vector<std::string> prefixesMeantBy(const IniFile::Line& section) const;

    const std::set<std::string>& byDefault_;
    const FactoryPtr& factory_;
    std::string root_;
    std::set<std::string> prefixes_;  ///< of the names by default
    std::map<std::size_t, Place> places_;
    std::map<std::string, std::size_t> timesGiven_;
    std::map<std::size_t, std::vector<const IniFile::Line*>> strays_;  ///< by the lines above
};

}  // namespace t8settings

#endif
