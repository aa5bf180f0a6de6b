#include "Sections.h"

namespace t8settings {

std::string sectionOf(const std::string& name, const std::set<std::string>& sections) {
    for (std::size_t slash = name.rfind('/'); slash != std::string::npos && slash > 0;
         slash = name.rfind('/', slash - 1)) {
        std::string section = name.substr(0, slash + 1);
        if (sections.count(section) != 0) {
            return section;
        }
    }
    return "";
}

}  // namespace t8settings
