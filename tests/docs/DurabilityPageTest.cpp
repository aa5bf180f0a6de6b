// The costs that docs/durability.md states are counted, and the tests that it names are looked for.

#include <algorithm>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "FileCalls.h"
#include "IniStorageFixture.h"
#include "MarkdownPage.h"

using testsupport::FileCalls;
using testsupport::MarkdownPage;
using testsupport::sourceFile;
using testsupport::writeFile;

namespace {

const std::string kOld = "#name = settings\n#savepolicy = ondemand\n[]\na = int,1";

class DurabilityPage : public testsupport::IniStorageFixture {
protected:
    DurabilityPage() { buildDefaults("#name = settings\na = int,0\n"); }
    ~DurabilityPage() override { Storage::syncWrites(true); }

    void given(bool file, const std::string& copy) {
        std::filesystem::remove(rw_);
        std::filesystem::remove(copy_);
        if (file) {
            build(kOld);
        }
        if (!copy.empty()) {
            writeFile(copy_, copy);
        }
        ASSERT_TRUE(reopen());
    }

    void saveOf(int value) {
        setting("settings/a")->setValue(value);
        EXPECT_TRUE(storage_->save());
    }

    /// What each row's step does after `given`.
    std::map<std::string, std::pair<std::function<void()>, std::function<void()>>> steps() {
        const std::function<void()> nothing = [] {};
        const std::function<void()> file = [this] { given(true, ""); };
        const std::function<void()> goodCopy = [this] { given(true, testsupport::withCrc(kOld)); };
        const std::function<void()> save = [this] { saveOf(2); };
        const std::function<void()> load = [this] { EXPECT_TRUE(reopen()); };
        return {
            {"save", {file, save}},
            {"first save, which makes the file", {[this] { given(false, ""); }, save}},
            {"save over a good copy that was left", {goodCopy, save}},
            {"save over a damaged copy that was left", {[this] { given(true, "torn"); }, save}},
            {"save that keeps a damaged file first",
             {[this] {
                  std::filesystem::create_directory(bad_);
                  given(false, "");
                  writeFile(rw_, "torn");
                  ASSERT_TRUE(reopen());
              },
              save}},
            {"save of an unchanged text", {file, [this] { saveOf(1); }}},
            {"save with `syncWrites(false)`",
             {file,
              [this] {
                  Storage::syncWrites(false);
                  saveOf(2);
                  Storage::syncWrites(true);
              }}},
            {"load", {file, load}},
            {"load from a good copy that was left", {goodCopy, load}},
            {"reset of a storage", {file, [this] { EXPECT_TRUE(storage_->resetToDefaults()); }}}};
    }
};

TEST_F(DurabilityPage, EveryStepCostsTheSyncsThatThePageStates) {
    const auto rows = MarkdownPage("docs/durability.md")
                          .table("| step | `fdatasync` of a file | `fsync` of the directory |");
    const auto all = steps();
    EXPECT_EQ(rows.size(), all.size());
    for (const auto& row : rows) {
        const auto& step = all.at(row.at(0));
        step.first();
        const FileCalls calls(dir_.path());
        step.second();
        const auto count = [&](const std::string& verb) {
            return std::count_if(
                calls.calls().begin(), calls.calls().end(),
                [&](const std::string& call) { return call.compare(0, verb.size(), verb) == 0; });
        };
        EXPECT_EQ(std::to_string(count("fdatasync ")), row.at(1)) << row.at(0);
        EXPECT_EQ(std::to_string(count("fsync ")), row.at(2)) << row.at(0);
    }
}

TEST(DurabilityPageNames, EveryTestOfTheTableIsThere) {
    std::vector<std::string> there;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(sourceFile("tests"))) {
        there.push_back("`" + entry.path().stem().string() + "`");
    }
    const auto rows =
        MarkdownPage("docs/durability.md").table("| test | what it does | what it does not say |");
    EXPECT_GE(rows.size(), 15U);
    for (const auto& row : rows) {
        std::istringstream names(row.at(0));
        for (std::string name; std::getline(names, name, ',');) {
            name.erase(0, name.find('`'));
            EXPECT_TRUE(std::count(there.begin(), there.end(), name) == 1 ||
                        name == "`WriterMutant`")
                << name;
        }
    }
}

}  // namespace
