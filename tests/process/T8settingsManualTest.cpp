#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

#include "ToolRun.h"

namespace {

using testsupport::readFile;
using testsupport::writeFile;

const char* const kSource = T8_TEST_DATA_DIR "/../..";

/// A command of the manual and all that it shows.
struct Example {
    std::string command;
    std::string shown;
};

std::vector<Example> examplesOf(const std::string& page) {
    std::vector<Example> examples;
    std::istringstream lines(page);
    bool inside = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("```", 0) == 0) {
            inside = line == "```console";
        } else if (inside && line.rfind("$ ", 0) == 0) {
            examples.push_back({line.substr(2), ""});
        } else if (inside) {
            examples.back().shown += line + "\n";
        }
    }
    return examples;
}

class T8settingsManual : public testsupport::ToolTest {};

TEST_F(T8settingsManual, ExamplesShowWhatTheManualSays) {
    ASSERT_NO_FATAL_FAILURE(demandOwnMarker());
    const std::vector<Example> examples =
        examplesOf(readFile(std::string(kSource) + "/docs/tool.md"));
    ASSERT_GT(examples.size(), 10U);
    const std::string work = dir_.file("work/");
    std::filesystem::create_directory(work);
    std::filesystem::create_directory_symlink(std::string(kSource) + "/examples",
                                              work + "examples");
    // One shell, since the first commands set its environment for the others.
    std::string script = "cd '" + work +
                         "' || exit 1\nunset QLOG QLOG_TO\nexport T8SETTINGS_MARKER='" + marker_ +
                         "'\nPATH=\"$(dirname '" + T8_TOOL + "'):$PATH\"\n";
    for (std::size_t i = 0; i < examples.size(); ++i) {
        script += "{ " + examples[i].command + "; } >" + std::to_string(i) + " 2>&1\n";
    }
    writeFile(work + "script", script + "true\n");
    ASSERT_EQ(0, system(("sh '" + work + "script'").c_str()));
    for (std::size_t i = 0; i < examples.size(); ++i) {
        EXPECT_EQ(examples[i].shown, readFile(work + std::to_string(i))) << examples[i].command;
    }
}

}  // namespace
