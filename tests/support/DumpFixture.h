#ifndef TESTS_SUPPORT_DUMPFIXTURE_H
#define TESTS_SUPPORT_DUMPFIXTURE_H

#include <gtest/gtest.h>
#include <sstream>
#include <string>

#include "ToolRun.h"

namespace testsupport {

/// A store of two storages that may change and one that may not, and loads of dumps.
class DumpTest : public ToolTest {
protected:
    DumpTest() {
        put("qel-default-settings/a.ini",
            "#name = a\n#savepolicy = eachchange\n[s]\nbass = int8,-2\ntitle = string,\"x, y\"\n"
            "top = int64,1\n");
        put("qel-default-settings/b.ini", "#name = b\nt\xC3\xBCr \xFF = string,x\n");
        put("qel-default-settings/product.xml", "<product><model value=\"T8\"/></product>");
    }

    ToolRun load(const std::string& dump) const {
        put("dump", dump);
        return run({"load", path("dump")});
    }

    /// That this dump changes nothing for these reasons, each at its place.
    void expectRefused(const std::string& dump, const std::string& reasons) const {
        const std::string before = run({"list"}).out;
        const ToolRun refused = load(dump);
        EXPECT_EQ("", refused.out) << dump;
        std::string expected;
        std::istringstream lines(reasons);
        for (std::string line; std::getline(lines, line);) {
            const bool hasPlace = line.front() == ':';
            expected += "t8settings: " + (hasPlace ? path("dump") : "") + line + "\n";
        }
        EXPECT_EQ(expected + "t8settings: nothing was changed\n", refused.err) << dump;
        EXPECT_EQ(1, refused.exitCode) << dump;
        EXPECT_EQ(before, run({"list"}).out) << dump;
    }

    void expectChanged(const ToolRun& load, int changed, int same) const {
        EXPECT_EQ(std::to_string(changed) + " changed, " + std::to_string(same) + " the same\n",
                  load.out);
        EXPECT_EQ("", load.err);
        EXPECT_EQ(0, load.exitCode);
    }
};

}  // namespace testsupport

#endif
