// What the pages quote and point at must be there.

#include <cstddef>
#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

#include "Files.h"
#include "MarkdownPage.h"

using testsupport::MarkdownPage;
using testsupport::readFile;
using testsupport::sourceFile;

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> pages() {
    std::vector<fs::path> found = {sourceFile("README.md"), sourceFile("platform/qlog/README.md")};
    for (const auto& entry : fs::directory_iterator(sourceFile("docs"))) {
        if (entry.path().extension() == ".md") {
            found.push_back(entry.path());
        }
    }
    return found;
}

TEST(Pages, ReadmeShowsTheClientThatIsCompiled) {
    EXPECT_EQ(MarkdownPage("README.md").fencedBlock("cpp"),
              readFile(sourceFile("examples/client/client.cpp")));
}

TEST(Pages, ReadmeShowsTheBuildFileThatTheClientIsBuiltWith) {
    EXPECT_EQ(MarkdownPage("README.md").fencedBlock("cmake"),
              readFile(sourceFile("examples/client/CMakeLists.txt")));
}

TEST(Pages, EveryFolderOfTheReadmesMapIsThere) {
    const auto rows = MarkdownPage("README.md").table("| where | what |");
    ASSERT_FALSE(rows.empty());
    for (const auto& row : rows) {
        const std::string path = row.at(0).substr(1, row.at(0).size() - 2);
        EXPECT_TRUE(fs::exists(sourceFile(path))) << path;
    }
}

/// The names in the comment at the top of the source: what stands at the left, up to two blanks.
std::vector<std::string> locksOfTheSource() {
    static const std::string kMargin = "//   ";
    std::istringstream source(readFile(sourceFile("src/SettingsStorageFileBase.cpp")));
    std::vector<std::string> names;
    for (std::string line; std::getline(source, line) && line.compare(0, 2, "//") == 0;) {
        if (line.compare(0, kMargin.size(), kMargin) == 0 && line.at(kMargin.size()) != ' ') {
            line.erase(0, kMargin.size());
            names.push_back(line.substr(0, line.find("  ")));
        }
    }
    return names;
}

TEST(Pages, LocksStandInTheSameOrderInThePageAndInTheSource) {
    std::vector<std::string> names;
    for (const auto& row : MarkdownPage("docs/threading.md").table("| lock | guards |")) {
        names.push_back(row.at(0));
    }
    EXPECT_EQ(names, locksOfTheSource());
    EXPECT_EQ(names.size(), 10U);
}

/// What the page's links point at, less the place within a page; addresses on the net left out.
std::vector<std::string> linkedFiles(const std::string& text) {
    static const std::string kOpening = "](";
    std::vector<std::string> targets;
    for (std::size_t at = text.find(kOpening); at != std::string::npos;
         at = text.find(kOpening, at + 1)) {
        const std::size_t start = at + kOpening.size();
        const std::string target = text.substr(start, text.find_first_of("#)", start) - start);
        if (!target.empty() && target.find(':') == std::string::npos) {
            targets.push_back(target);
        }
    }
    return targets;
}

TEST(Pages, EveryLinkLeadsToAFile) {
    std::size_t links = 0;
    for (const fs::path& page : pages()) {
        for (const std::string& target : linkedFiles(readFile(page))) {
            ++links;
            EXPECT_TRUE(fs::exists(page.parent_path() / target)) << page << " links " << target;
        }
    }
    EXPECT_GT(links, 0U);
}

}  // namespace
