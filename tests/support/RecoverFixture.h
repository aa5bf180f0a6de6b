#ifndef TESTS_SUPPORT_RECOVERFIXTURE_H
#define TESTS_SUPPORT_RECOVERFIXTURE_H

#include <string>
#include <vector>

#include "ToolRun.h"

namespace testsupport {

inline const std::string kOld =
    "#name = settings\n[sound]\nbass = int8,1\ntreble = int8,2\n#crc32 = 1325194012\n";
inline const std::string kNew =
    "#name = settings\n[sound]\nbass = int8,5\nname = string,x\ntreble = int8,2\n"
    "#crc32 = 622713224\n";

class RecoverTest : public ToolTest {
protected:
    void putFile(const std::string& bytes) { put("settings/settings.ini", bytes); }
    void putTmp(const std::string& bytes) { put("settings/settings.ini.tmp", bytes); }
    void putBad(const std::string& bytes) { put("settings/settings.ini.bad", bytes); }

    ToolRun recover(std::vector<std::string> options = {}) const {
        options.insert(options.begin(), {"recover", file_});
        return run(options);
    }

    std::string bytes(const std::string& suffix = "") const { return readFile(file_ + suffix); }
    bool isThere(const std::string& suffix) const { return exists(file_ + suffix); }

    std::string file_ = path("settings/settings.ini");
};

}  // namespace testsupport

#endif
