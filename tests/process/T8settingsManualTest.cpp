#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "ToolRun.h"

namespace {

using testsupport::readFile;
using testsupport::writeFile;

const char* const kSource = T8_TEST_DATA_DIR "/../..";

using Lines = std::vector<std::string>;

Lines linesOf(const std::string& text) {
    Lines lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

bool startsWith(const std::string& text, const std::string& start) {
    return text.rfind(start, 0) == 0;
}

/// The lines after each one that begins with `opening`, up to one that begins with `closing`.
Lines between(const Lines& lines, const std::string& opening, const std::string& closing) {
    Lines found;
    bool inside = false;
    for (const std::string& line : lines) {
        if (!inside) {
            inside = startsWith(line, opening);
        } else if (startsWith(line, closing)) {
            inside = false;
        } else {
            found.push_back(line);
        }
    }
    return found;
}

Lines page(const std::string& name) {
    return linesOf(readFile(std::string(kSource) + "/" + name));
}

Lines manPage() {
    return page("tools/t8settings/t8settings.1");
}

/// A command of a page and all that it shows.
struct Example {
    std::string command;
    std::string shown;
};

std::vector<Example> examplesOf(const Lines& shellLines) {
    std::vector<Example> examples;
    for (const std::string& line : shellLines) {
        if (startsWith(line, "$ ")) {
            examples.push_back({line.substr(2), ""});
        } else if (!examples.empty()) {
            examples.back().shown += line + "\n";
        }
    }
    return examples;
}

class T8settingsManual : public testsupport::ToolTest {
protected:
    void expectToShowWhatThePageSays(const std::vector<Example>& examples) const {
        ASSERT_NO_FATAL_FAILURE(demandOwnMarker());
        const std::string work = dir_.file("work/");
        std::filesystem::create_directory(work);
        std::filesystem::create_directory_symlink(std::string(kSource) + "/examples",
                                                  work + "examples");
        // One shell, since the first commands set its environment for the others.
        std::string script = "cd '" + work +
                             "' || exit 1\nunset QLOG QLOG_TO\nexport T8SETTINGS_MARKER='" +
                             marker_ + "'\nPATH=\"$(dirname '" + T8_TOOL + "'):$PATH\"\n";
        for (std::size_t i = 0; i < examples.size(); ++i) {
            script += "{ " + examples[i].command + "\n} >" + std::to_string(i) + " 2>&1\n";
        }
        writeFile(work + "script", script + "true\n");
        ASSERT_EQ(0, system(("sh '" + work + "script'").c_str()));
        for (std::size_t i = 0; i < examples.size(); ++i) {
            EXPECT_EQ(examples[i].shown, readFile(work + std::to_string(i))) << examples[i].command;
        }
    }

    /// What the help lists below the title, such as "-h,--help" or "list".
    std::set<std::string> listed(const std::vector<std::string>& arguments,
                                 const std::string& title) const {
        std::set<std::string> words;
        for (const std::string& line : between(linesOf(runBare(arguments).out), title, "Every")) {
            const std::size_t end = line.find(' ', 2);
            if (line.empty()) {
                break;
            }
            if (line[2] != ' ') {
                words.insert(line.substr(2, end - 2));
            }
        }
        return words;
    }
};

TEST_F(T8settingsManual, ExamplesShowWhatTheManualSays) {
    const auto examples = examplesOf(between(page("docs/tool.md"), "```console", "```"));
    ASSERT_GT(examples.size(), 10U);
    expectToShowWhatThePageSays(examples);
}

TEST_F(T8settingsManual, ExamplesShowWhatTheManPageSays) {
    const auto examples =
        examplesOf(between(between(manPage(), ".Sh EXAMPLES", ".Sh"), ".Bd -literal", ".Ed"));
    ASSERT_GT(examples.size(), 5U);
    expectToShowWhatThePageSays(examples);
}

/// The macro lines that introduce what a list of the page describes: "Cm get Ar NAME".
Lines itemsOf(const Lines& lines) {
    Lines items;
    for (const std::string& line : lines) {
        if (startsWith(line, ".It ")) {
            items.push_back(line.substr(4));
        }
    }
    return items;
}

/// An item of the page as the help lists it, less its arguments.
std::string wordOf(const std::string& item) {
    std::smatch option;
    if (std::regex_search(item, option, std::regex("^Fl (?:([a-z]) , Fl )?(-[a-z-]+)"))) {
        return (option[1].matched ? "-" + option.str(1) + "," : "") + "-" + option.str(2);
    }
    return std::regex_replace(item, std::regex("^Cm ([a-z]+).*"), "$1");
}

TEST_F(T8settingsManual, ManPageHasTheCommandsAndOptionsOfTheHelp) {
    std::set<std::string> options;
    std::set<std::string> commands;
    for (const std::string& item : itemsOf(between(manPage(), ".Sh DESCRIPTION", ".Ss"))) {
        options.insert(wordOf(item));
    }
    for (const std::string& item : itemsOf(between(manPage(), ".Ss Commands", ".Sh"))) {
        if (startsWith(item, "Cm ")) {
            commands.insert(wordOf(item));
        }
    }
    EXPECT_GE(commands.size(), 6U);
    EXPECT_EQ(listed({"--help"}, "Commands:"), commands);
    EXPECT_EQ(listed({"--help"}, "Options:"), options);
}

TEST_F(T8settingsManual, ManPageHasTheOptionsOfEachCommandWithTheCommand) {
    for (const std::string& command : listed({"--help"}, "Commands:")) {
        std::set<std::string> options = {"-h,--help"};
        const Lines described =
            between(between(manPage(), ".Ss Commands", ".Sh"), ".It Cm " + command, ".It Cm");
        for (const std::string& item : itemsOf(described)) {
            options.insert(wordOf(item));
        }
        EXPECT_EQ(listed({command, "--help"}, "Options:"), options) << command;
    }
}

TEST_F(T8settingsManual, ManPageHasTheVariablesAndExitCodesOfTheHelp) {
    const std::string help = runBare({"--help"}).out;
    std::set<std::string> codes;
    for (const std::string& item : itemsOf(between(manPage(), ".Sh EXIT STATUS", ".Sh"))) {
        codes.insert(item);
    }
    std::set<std::string> codesOfTheHelp;
    for (const char c : help.substr(help.find("Exit codes:"))) {
        if (c >= '0' && c <= '9') codesOfTheHelp.emplace(1, c);
    }
    EXPECT_EQ(codesOfTheHelp, codes);
    const Lines variables = itemsOf(between(manPage(), ".Sh ENVIRONMENT", ".Sh"));
    for (const char* const variable : {"T8SETTINGS_BASE", "T8SETTINGS_MARKER"}) {
        EXPECT_THAT(variables, testing::Contains(std::string("Ev ") + variable));
        EXPECT_THAT(help, testing::HasSubstr(variable));
    }
}

}  // namespace
