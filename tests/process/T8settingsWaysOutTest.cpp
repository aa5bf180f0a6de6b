// What a message advises is typed as it stands, and helps.

#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>

#include "VerifyFixture.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using testsupport::kSound;
using testsupport::ToolRun;
using Json = nlohmann::json;

class T8settingsWaysOut : public testsupport::VerifyTest {
protected:
    ToolRun seal() const { return run({"seal", file_}); }
    ToolRun recover(const std::vector<std::string>& options = {}) const {
        std::vector<std::string> words = {"recover", file_};
        words.insert(words.end(), options.begin(), options.end());
        return run(words);
    }

    /// Types what stands behind `before` up to the end of the line into a shell.
    void type(const std::string& text, const std::string& before) const {
        const std::size_t start = text.find(before);
        ASSERT_NE(std::string::npos, start) << text;
        const std::string rest = text.substr(start + before.size());
        const std::string tool = T8_TOOL;
        const std::string commands =
            "t8settings() { '" + tool + "' \"$@\"; }; export T8SETTINGS_MARKER='" + marker_ +
            "' T8SETTINGS_BASE='" + base_ + "'; " + rest.substr(0, rest.find('\n')) + " >/dev/null";
        ASSERT_EQ(0, std::system(commands.c_str())) << commands;
    }

    std::string textOfBass() const {
        return run({"get", "--origin", "settings/sound/bass"}).out +
               run({"get", "settings/sound/bass"}).out;
    }

    const std::string file_ = path("settings/settings.ini");
    const std::string edited_ =
        "#name = settings\n[sound]\nbass = int8,-9\ntreble = int8,3\n#crc32 = 1168239953\n";
    const std::string fromFile_ = "readWriteFile\t" + file_ + "\n";
};

TEST_F(T8settingsWaysOut, HandEditBesideAWholeCopyCanBeKept) {
    put("settings/settings.ini.tmp", kSound);
    put("settings/settings.ini", edited_);
    const std::string keep =
        "mv " + file_ + ".tmp " + file_ + ".tmp.before-recover && t8settings seal " + file_ + "\n";
    EXPECT_THAT(
        recover().out,
        testing::EndsWith("settings/sound/bass\tint8,-9\tint8,-2\nTo go on with " + file_ +
                          ".tmp: t8settings recover " + file_ + " --from tmp\nTo keep " + file_ +
                          " instead, when its lines are as they should be: " + keep));
    EXPECT_THAT(run({"verify", file_}).out,
                HasSubstr("; the next save mends it; after a hand edit, first of all: t8settings "
                          "recover " +
                          file_ + "\n"));
    const ToolRun refused = seal();
    EXPECT_THAT(refused.err,
                testing::EndsWith("\nt8settings: to keep " + file_ + " instead: " + keep));
    type(refused.err, "instead: ");
    EXPECT_EQ(fromFile_ + "-9\n", textOfBass());
    EXPECT_EQ(kSound, bytesOf("settings/settings.ini.tmp.before-recover"));
}

TEST_F(T8settingsWaysOut, TornCopyHasNoSuchAdvice) {
    put("settings/settings.ini.tmp", "torn");
    put("settings/settings.ini", edited_);
    EXPECT_THAT(recover().out, Not(HasSubstr("To go on with")));
}

TEST_F(T8settingsWaysOut, BlankFileIsMovedAway) {
    for (const auto& [bytes, what] : std::map<std::string, std::string>{
             {"", "nothing is in it"},
             {std::string(600, '\0'), "nothing but blanks and zero bytes is in it"},
             {"\n \n", "nothing but blanks and zero bytes is in it"}}) {
        std::filesystem::remove(file_ + ".before-recover");
        put("settings/settings.ini", bytes);
        const std::string away = "mv " + file_ + " " + file_ + ".before-recover\n";
        EXPECT_EQ("t8settings: " + file_ + ": " + what + "; to go by the defaults: " + away +
                      "t8settings: " + file_ +
                      " is unchanged: it has no lines to mend; --force seals it as it is\n",
                  seal().err);
        EXPECT_THAT(run({"verify", file_}).out,
                    AllOf(HasSubstr("; after damage: t8settings recover " + file_ + "\n"),
                          Not(HasSubstr("t8settings seal"))));
        const ToolRun shown = recover();
        EXPECT_THAT(shown.out, testing::EndsWith("\nNothing lies beside it.\nNothing of it can be "
                                                 "put back. To go by the defaults: " +
                                                 away));
        type(shown.out, "defaults: ");
        EXPECT_EQ("defaultsFile\t" + path("qel-default-settings/settings.ini") + "\n-2\n",
                  textOfBass());
        EXPECT_EQ(bytes, bytesOf("settings/settings.ini.before-recover"));
    }
}

TEST_F(T8settingsWaysOut, BlankFileWithoutACheckIsNotToBeSealed) {
    put("settings/settings.ini", "\n#crc32 = false\n");
    EXPECT_EQ(
        file_ + ":2: the CRC check is switched off, so damage goes unnoticed\n1 file, 1 finding\n",
        run({"verify", file_}).out);
}

TEST_F(T8settingsWaysOut, FileOfWhichNothingComesBackMayStillBeMended) {
    put("settings/settings.ini", "[sound]\nbass = int8,?\n");
    EXPECT_THAT(
        recover().out,
        testing::EndsWith("\nWhen its lines are as they should be: t8settings seal " + file_ +
                          "\nNothing of it can be put back. To go by the "
                          "defaults: mv " +
                          file_ + " " + file_ + ".before-recover\n"));
}

TEST_F(T8settingsWaysOut, ByteOrderMarkIsCalledSoAndGoesAsAdvised) {
    const std::string said = ":1: begins with a byte order mark (BOM); delete it: ";
    for (const std::string first : {"", "#name = settings\n", "# a comment\n", "bass = int8,1\n"}) {
        put("settings/settings.ini", "\xEF\xBB\xBF" + first + "[sound]\nbass = int8,-9\n");
        const ToolRun refused = seal();
        EXPECT_EQ("t8settings: " + file_ + said + "sed -i '1s/\\xEF\\xBB\\xBF//' " + file_ +
                      "\nt8settings: " + file_ +
                      " is unchanged: mend these lines; --force seals it as it is\n",
                  refused.err)
            << first;
        EXPECT_THAT(run({"verify", file_}).out, HasSubstr("\n" + file_ + said));
        type(refused.err, "delete it: ");
        EXPECT_EQ(0, seal().exitCode);
        EXPECT_THAT(bytesOf("settings/settings.ini"), StartsWith(first + "[sound]\n"));
    }
}

TEST_F(T8settingsWaysOut, Utf16IsCalledSoOnceAndNothingOfItComesBack) {
    constexpr char kWide[] = "[\0s\0]\0\n\0a\0=\0i\0n\0t\0,\0\n";
    const std::string wide(kWide, sizeof kWide);
    for (const std::string& text :
         {"\xFF\xFE" + wide, "\xFE\xFF" + wide, wide, std::string(1, '\0') + wide}) {
        put("settings/settings.ini", text);
        const std::string said =
            file_ + ":1: is UTF-16; save it as UTF-8 without a byte order mark (BOM)\n";
        EXPECT_THAT(run({"verify", file_}).out,
                    AllOf(HasSubstr("; after damage: t8settings recover " + file_ + "\n" + said),
                          HasSubstr("1 file, 2 findings\n"), Not(HasSubstr("t8settings seal"))));
        EXPECT_EQ("t8settings: " + said + "t8settings: " + file_ +
                      " is unchanged: mend these lines; --force seals it as it is\n",
                  seal().err);
        EXPECT_EQ(file_ + ": no CRC line, 0 settings\n" + said +
                      "A load takes none of them, and sets " + file_ + " aside as " + file_ +
                      ".bad.\nNothing lies beside it.\nNothing of it can be put back. To go by the "
                      "defaults: mv " +
                      file_ + " " + file_ + ".before-recover\n",
                  recover().out);
        std::filesystem::rename(file_, file_ + ".bad");
        const ToolRun recovered = recover({"--from", "bad", "--yes"});
        EXPECT_EQ("t8settings: " + file_ +
                      ".bad:1: is UTF-16; save it as UTF-8 without a byte order mark (BOM)\n"
                      "t8settings: " +
                      file_ + ".bad has no setting that could be put back\n",
                  recovered.err);
        std::filesystem::remove(file_ + ".bad");
    }
}

TEST_F(T8settingsWaysOut, MissingDirectoryOfDefaultsIsToldWhereFilesGoWithoutIt) {
    put("calibration_data/c.ini", "#name = c\n#crc32 = false\n");
    std::filesystem::remove_all(path("qel-default-settings"));
    std::filesystem::remove_all(path("qel-default-calibration_data"));
    std::filesystem::remove(path("calibration_data/c.ini"));
    const ToolRun verified = run({"verify"});
    EXPECT_EQ(path("qel-default-settings") + ": not there, and nothing in " + path("settings") +
                  " has a default\n1 file, all sound\n",
              verified.out);
    EXPECT_EQ(0, verified.exitCode);
    EXPECT_EQ(
        Json({{{"directory", path("qel-default-settings")}, {"readWrite", path("settings")}}}),
        Json::parse(run({"verify", "--json"}).out).at("missing"));
}

TEST_F(T8settingsWaysOut, DamagedXmlComesWithWhatToDo) {
    put("qel-default-settings/p.xml", "<p><m value=\"1\"/></p>");
    put("settings/p.xml", "<p><");
    const std::string file = path("settings/p.xml");
    const std::string out = run({"verify"}).out;
    EXPECT_THAT(out, HasSubstr("; mend it; or to go by the defaults: mv " + file + " " + file +
                               ".before-recover\n"));
    type(out, "defaults: ");
    EXPECT_THAT(run({"verify"}).out, testing::EndsWith("files, all sound\n"));
    EXPECT_EQ("1\n", run({"get", "p/m"}).out);
    put("qel-default-settings/p.xml", "<p><");
    EXPECT_THAT(run({"verify"}).out, HasSubstr("/qel-default-settings/p.xml: no readable "
                                               "well-formed XML document; mend it\n"));
}

TEST_F(T8settingsWaysOut, CrcLineBelowWholeNamesIsToBeDeleted) {
    put("x.ini", "settings/sound/bass = int8,5\n#crc32 = 1\n");
    const ToolRun refused = run({"load", path("x.ini")});
    EXPECT_THAT(refused.err, HasSubstr(":2: wrong CRC: the text has 2406201769, its CRC line says "
                                       "1; a dump has none: delete it to have the others taken as "
                                       "they are\n"));
    put("x.ini", "settings/sound/bass = int8,5\n");
    EXPECT_EQ("1 changed, 0 the same\n", run({"load", path("x.ini")}).out);
    for (const char* const text :
         {"#name = settings\na/bass = int8,5\n#crc32 = 1\n", "[a]\na/bass = int8,5\n#crc32 = 1\n",
          "a/bass = int8,5\nbass = int8,1\n#crc32 = 1\n"}) {
        put("x.ini", text);
        EXPECT_THAT(run({"load", path("x.ini")}).err, HasSubstr("; write \"#crc32 = false\""))
            << text;
    }
}

TEST_F(T8settingsWaysOut, LinkThatWasSetAsideIsToldOfAndCanBeHadBack) {
    const std::string away = path("away.ini");
    std::filesystem::remove(file_);
    std::filesystem::create_symlink("../away.ini", file_ + ".bad");
    put("away.ini", edited_);
    const ToolRun recovered = recover({"--from", "bad", "--yes"});
    EXPECT_THAT(recovered.err,
                HasSubstr("t8settings: warning: " + file_ + ".bad is a link, and " + file_ +
                          " is none now, so the file that it leads to is not read; to have the "
                          "link back, with this text in its file: cp "));
    const std::string text = bytesOf("settings/settings.ini");
    EXPECT_FALSE(std::filesystem::is_symlink(file_));
    type(recovered.err, "in its file: ");
    EXPECT_TRUE(std::filesystem::is_symlink(file_));
    EXPECT_EQ(text, bytesOf("away.ini"));
    EXPECT_EQ("2 files, all sound\n", run({"verify"}).out);
}

TEST_F(T8settingsWaysOut, EqualsSignBetweenNameAndTextComesWithTheRightLine) {
    const auto meant = [this](const std::vector<std::string>& words) {
        const ToolRun set = run(words);
        EXPECT_EQ("", set.out);
        EXPECT_EQ(2, set.exitCode);
        EXPECT_THAT(set.err,
                    AllOf(StartsWith("t8settings: no \"=\" goes between NAME and TEXT\n"),
                          testing::EndsWith("?\nt8settings: see t8settings set --help\n")));
        const std::size_t start = set.err.find("mean ") + 5;
        return set.err.substr(start, set.err.find("?\n", start) - start);
    };
    const std::string name = "settings/sound/bass";
    EXPECT_EQ("t8settings set " + name + " 5", meant({"set", name + "=5"}));
    EXPECT_EQ("t8settings set " + name + " 5", meant({"set", name, "=", "5"}));
    EXPECT_EQ("t8settings set " + name + " ''", meant({"set", name + "="}));
    EXPECT_EQ("t8settings --base " + base_ + " set --json " + name + " 'a b'",
              meant({"--base", base_, "set", name + "=a b", "--json"}));
    EXPECT_EQ("t8settings set --marker 5 " + name + " 5",
              meant({"set", name, "=", "5", "--marker", "5"}));
    EXPECT_EQ("t8settings set -- " + name + " -x", meant({"set", "--", name, "=", "-x"}));
    EXPECT_THAT(run({"set", "a", "b", "c"}).err, HasSubstr("\"c\" is too many\n"));
    EXPECT_THAT(run({"set", "a=b", "c"}).err, HasSubstr("no such setting: \"a=b\"\n"));
    const std::string line = meant({"set", name + "=-5"}) + "\n";
    type(line, "");
    EXPECT_EQ(fromFile_ + "-5\n", textOfBass());
}

TEST_F(T8settingsWaysOut, PatternWhereANameGoesIsCalledOne) {
    for (const char* const command : {"get", "reset", "describe"}) {
        const ToolRun refused = run({command, "settings/sound/*"});
        EXPECT_EQ(
            "t8settings: no such setting: \"settings/sound/*\"\nt8settings: a whole name is "
            "needed here, and no pattern; what matches: t8settings list "
            "'settings/sound/*'\n",
            refused.err);
        EXPECT_EQ(3, refused.exitCode);
    }
    EXPECT_EQ("t8settings: no such setting: \"radio/*\"\n", run({"reset", "radio/*"}).err);
}

}  // namespace
