#ifndef T8SETTINGS_XMLFILE_H
#define T8SETTINGS_XMLFILE_H

#include <string>
#include <syslog.h>
#include <vector>

#include "store/Store.h"

namespace t8settings {

/// The library tells the system log what it rejects, for whoever watches a television; a mere look
/// at a file is none of that.
class SystemLogSilenced {
public:
    SystemLogSilenced() : mask_(::setlogmask(LOG_MASK(LOG_EMERG))) {}
    ~SystemLogSilenced() { ::setlogmask(mask_); }
    SystemLogSilenced(const SystemLogSilenced&) = delete;
    SystemLogSilenced& operator=(const SystemLogSilenced&) = delete;

private:
    int mask_;
};

/// One XML settings file, read by the library's own parser; it is not set aside, whatever it holds.
struct XmlFile {
    explicit XmlFile(const std::string& path);

    std::string path;
    std::string unreadable;  ///< why it cannot be read, in the system's words; mostly empty
    std::string error;       ///< why it cannot be loaded; empty when it can
    std::string storageName;
    std::vector<SettingPtr> settings;
    std::vector<std::string> rejected;  ///< elements that no setting could be made of
};

}  // namespace t8settings

#endif
