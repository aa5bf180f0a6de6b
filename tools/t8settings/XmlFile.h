#ifndef T8SETTINGS_XMLFILE_H
#define T8SETTINGS_XMLFILE_H

#include <string>
#include <vector>

namespace t8settings {

/// One XML settings file, read by the library's own parser; it is not set aside, whatever it holds.
struct XmlFile {
    explicit XmlFile(const std::string& path);

    std::string path;
    std::string error;  ///< why it cannot be loaded; empty when it can
    bool isThere = false;
    std::string storageName;
    std::vector<std::string> names;     ///< of its settings
    std::vector<std::string> rejected;  ///< elements that no setting could be made of
};

}  // namespace t8settings

#endif
