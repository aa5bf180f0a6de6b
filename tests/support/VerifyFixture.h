#ifndef TESTS_SUPPORT_VERIFYFIXTURE_H
#define TESTS_SUPPORT_VERIFYFIXTURE_H

#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "ToolRun.h"

namespace testsupport {

/// Text and right CRC of a sound file.
inline const char* const kSound =
    "#name = settings\n#savepolicy = async\n[sound]\nbass = int8,-2\ntreble = int8,3\n"
    "#crc32 = 1168239953\n";

class VerifyTest : public ToolTest {
protected:
    VerifyTest() {
        put("qel-default-settings/settings.ini", "#name = settings\n[sound]\nbass = int8,-2\n");
        put("settings/settings.ini", kSound);
    }

    /// Exit code 5 and exactly these lines before the last one.
    void expectFindings(const ToolRun& verify, const std::vector<std::string>& lines) const {
        std::string expected;
        for (const std::string& line : lines) {
            expected += line + "\n";
        }
        EXPECT_EQ(expected, verify.out.substr(0, verify.out.rfind('\n', verify.out.size() - 2) + 1))
            << verify.out;
        EXPECT_EQ("", verify.err);
        EXPECT_EQ(5, verify.exitCode);
    }

    /// What the tool says of one read/write file with a switched-off check, that remark left out.
    std::vector<std::string> saidOf(const std::string& text) const {
        put("settings/x.ini", text + "\n#crc32 = false\n");
        const nlohmann::json json =
            nlohmann::json::parse(run({"verify", path("settings/x.ini"), "--json"}).out);
        std::vector<std::string> said;
        for (const nlohmann::json& finding : json.at("findings")) {
            if (finding.at("remedy").get<std::string>().find("t8settings seal") != 0) {
                said.push_back(finding.at("line").dump() + " " +
                               finding.at("harm").get<std::string>() + ": " +
                               finding.at("reason").get<std::string>());
            }
        }
        return said;
    }

    using Said = std::vector<std::string>;

    /// Name and bytes of everything below the base directory.
    std::map<std::string, std::string> everything() const {
        std::map<std::string, std::string> all;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(base_)) {
            const std::string name = entry.path();
            all[name] = entry.is_regular_file() ? readFile(name) : "";
        }
        return all;
    }
};

}  // namespace testsupport

#endif
