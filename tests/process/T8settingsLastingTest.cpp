// What a save would make last, as nothing tells of it afterwards.

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "ToolRun.h"

namespace {

using testing::HasSubstr;
using testsupport::ToolRun;

class T8settingsLasting : public testsupport::ToolTest {
protected:
    T8settingsLasting() {
        put("qel-default-settings/settings.ini",
            "#name = settings\n[sound]\nbass = int8,0\ntone = int8,0\n[timer]\nsleep = int8,0\n");
    }

    void putFile(const std::string& sections) const {
        put("settings/settings.ini", "#name = settings\n" + sections + "#crc32 = false\n");
    }

    /// Exit code 1, the finding and what to do on standard error, and the file as it was.
    void expectRefused(const std::vector<std::string>& command, const std::string& finding) const {
        const std::string before = testsupport::readFile(file_);
        const ToolRun run = this->run(command);
        EXPECT_EQ("", run.out);
        EXPECT_EQ("t8settings: " + finding +
                      "\nt8settings: nothing was changed, as a save of settings would make that "
                      "last\nt8settings: mend these lines, then: t8settings seal " +
                      file_ + "\n",
                  run.err);
        EXPECT_EQ(1, run.exitCode);
        EXPECT_EQ(before, testsupport::readFile(file_));
    }

    std::string file_ = path("settings/settings.ini");
};

TEST_F(T8settingsLasting, SectionThatIsNotClosedKeepsEachCommandFromSaving) {
    putFile("[timer]\nsleep = int8,3\n[sound\nbass = int8,5\n");
    const std::string finding =
        file_ +
        ":4: section is not closed, so the settings below it are read into section \"timer\"; "
        "write the \"]\"";
    expectRefused({"set", "settings/timer/sleep", "6"}, finding);
    expectRefused({"reset", "settings/timer/sleep"}, finding);
    testsupport::writeFile(dir_.file("dump"), "settings/timer/sleep = int8,6\n");
    expectRefused({"load", dir_.file("dump")}, finding);
}

TEST_F(T8settingsLasting, SectionThatHasLostItsNameKeepsCommandsFromSaving) {
    putFile("[timer]\nsleep = int8,3\n[]\nbass = int8,5\ntone = int8,6\n");
    expectRefused({"set", "settings/timer/sleep", "6"},
                  file_ +
                      ":4: no line ends a section, so the settings below it are read into section "
                      "\"timer\"; move settings without a section above all sections");
}

// A save writes such a line above a setting without a section, and above one of the old name.
TEST_F(T8settingsLasting, LineOfASaveAboveSettingsWithoutASectionIsWrittenOnceMore) {
    put("qel-default-settings/settings.ini",
        "#name = settings\nzeta = int8,1\n[sound]\nbass = int8,0\n");
    putFile("[sound]\nbass = int8,2\n[]\nzeta = int8,1\n");
    const ToolRun set = run({"set", "settings/sound/bass", "3"});
    EXPECT_EQ("", set.err);
    EXPECT_EQ(0, set.exitCode);
    put("settings/settings.ini",
        "#name = new\n[sound]\nbass = int8,2\n[]\nsettings/sound/bass = int8,0\n"
        "settings/zeta = int8,1\n#crc32 = false\n");
    EXPECT_EQ(0, run({"set", "new/sound/bass", "3"}).exitCode);
}

TEST_F(T8settingsLasting, ValueThatIsReadAsAnotherIsMendedByItsOwnSettingAlone) {
    putFile("[sound]\nbass = int8,300\ntone = int8,5\n");
    expectRefused({"set", "settings/sound/tone", "6"},
                  file_ +
                      ":3: settings/sound/bass: int8 would not keep \"300\", it would make \"44\" "
                      "of it; int8 takes whole numbers from -128 to 127");
    const ToolRun mended = run({"set", "settings/sound/bass", "30"});
    EXPECT_EQ("", mended.err);
    EXPECT_EQ(0, mended.exitCode);
    EXPECT_EQ(0, run({"set", "settings/sound/tone", "6"}).exitCode);
    EXPECT_EQ(0, run({"verify"}).exitCode);
}

TEST_F(T8settingsLasting, WholeCopyWithoutItsFileIsNotReplaced) {
    putFile("[sound]\nbass = int8,5\n");
    const std::string copy = file_ + ".tmp";
    std::filesystem::rename(file_, copy);
    const std::string bytes = testsupport::readFile(copy);
    const std::string finding = copy +
                                ": whole copy of an interrupted save, which no program looks for "
                                "since " +
                                file_ +
                                " is not there; a program's next save replaces it: first of all: "
                                "t8settings recover " +
                                file_;
    EXPECT_THAT(run({"verify"}).out, HasSubstr(finding + "\n"));
    const ToolRun set = run({"set", "settings/sound/tone", "6"});
    EXPECT_EQ("t8settings: " + finding +
                  "\nt8settings: nothing was changed, as a save of settings would make that last\n",
              set.err);
    EXPECT_EQ(1, set.exitCode);
    EXPECT_EQ(bytes, testsupport::readFile(copy));
    EXPECT_FALSE(testsupport::exists(file_));
    ASSERT_EQ(0, run({"recover", file_, "--from", "tmp", "--yes"}).exitCode);
    EXPECT_EQ(0, run({"set", "settings/sound/tone", "6"}).exitCode);
    EXPECT_EQ("5\n", run({"get", "settings/sound/bass"}).out);
}

}  // namespace
