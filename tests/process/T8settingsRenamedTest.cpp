// Settings that a hand edit has given other names.

#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

#include "VerifyFixture.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testsupport::ToolRun;

class T8settingsRenamed : public testsupport::VerifyTest {
protected:
    T8settingsRenamed() {
        put("qel-default-settings/media.ini", kGeneral + kSoundSection + kTimer);
    }

    std::string file() const { return path("settings/media.ini"); }
    std::string defaults() const { return path("qel-default-settings/media.ini"); }
    std::string notInDefaults() const { return " not in " + defaults(); }

    /// What verify says of the file once it is sealed; without the file's name, and without what it
    /// says at last.
    std::string saidOfSealed(const std::string& text) const {
        put("settings/media.ini", text);
        EXPECT_EQ(0, run({"seal", file()}).exitCode) << text;
        std::string out = run({"verify", file()}).out;
        for (std::size_t at = out.find(file() + ":"); at != std::string::npos;
             at = out.find(file() + ":")) {
            out.erase(at, file().size() + 1);
        }
        return out.substr(0, out.rfind("1 file, "));
    }

    const std::string kGeneral = "[general]\nlanguage = string,en\n";
    const std::string kSoundSection = "[sound]\nbass = int,0\nvolume = int8,1\n";
    const std::string kTimer = "[timer]\nsleep = int8,0\nstandby = int8,1\n";
};

TEST_F(T8settingsRenamed, SectionOfAnotherNameIsToldOnceForAllItsSettings) {
    EXPECT_EQ(
        "3: 2 settings of section \"audio\" are" + notInDefaults() + "; did you mean [sound]?\n",
        saidOfSealed(kGeneral + "[audio]\nbass = int32,0\nvolume = int8,1\n" + kTimer));
    EXPECT_EQ("3: 2 settings of section \"media/sound\" are" + notInDefaults() +
                  "; did you mean [sound]?\n",
              saidOfSealed(kGeneral + "[media/sound]\nbass = int,0\nvolume = int8,1\n"));
    EXPECT_EQ("5: 1 setting of section \"tv/media/sound\" is" + notInDefaults() +
                  "; did you mean [sound]?\n",
              saidOfSealed(kSoundSection.substr(0, kSoundSection.rfind("volume")) + kGeneral +
                           "[tv/media/sound]\nvolume = int8,1\n"));
}

TEST_F(T8settingsRenamed, SectionWhoseLineIsGoneIsToldWhereItsSettingsBegin) {
    EXPECT_EQ("3: 2 settings of section \"general\" are" + notInDefaults() +
                  "; did you mean [sound] above this line?\n",
              saidOfSealed(kGeneral + "bass = int,0\nvolume = int8,1\n" + kTimer));
    EXPECT_EQ("3: 2 settings of section \"general\" are" + notInDefaults() +
                  "; did you mean [sound] above this line?\n5: 2 settings of section \"general\" "
                  "are" +
                  notInDefaults() + "; did you mean [timer] above this line?\n",
              saidOfSealed(kGeneral + "bass = int,0\nvolume = int8,1\nsleep = int8,0\n"
                                      "standby = int8,1\n"));
    EXPECT_EQ("4: 2 settings of section \"general\" are" + notInDefaults() +
                  "; did you mean [sound] above this line?\n",
              saidOfSealed(kGeneral + "# hello\nbass = int,0\nvolume = int8,1\n" + kTimer));
    EXPECT_EQ("", saidOfSealed(kGeneral + kSoundSection + kTimer));
}

// A line feed for the blank in "gain [dB]" is enough.
TEST_F(T8settingsRenamed, SectionThatTakesASettingOutOfTheOneAboveIsTold) {
    const std::string told =
        "5: 1 setting of section \"dB\" is" + notInDefaults() + "; did you mean [sound]?\n";
    const std::string above = kGeneral + "[sound]\nbass = int,1\n";
    EXPECT_EQ(told, saidOfSealed(above + "[dB]\nvolume = int8,5\n"));
    EXPECT_EQ(told, saidOfSealed(above + "[dB]\nvolume = int8,5\nown = int,1\n" + kTimer));
    EXPECT_EQ("", saidOfSealed(above + "volume = int8,4\n[dB]\nvolume = int8,5\n"));
    EXPECT_EQ("", saidOfSealed(above + "[dB]\nvolume = string,5\n"));
    EXPECT_EQ("", saidOfSealed("[sound]\nbass = int,1\n" + kGeneral + "[dB]\nvolume = int8,5\n"));
}

TEST_F(T8settingsRenamed, SectionsOfTheSameSettingsAreBothNamed) {
    put("qel-default-settings/media.ini",
        "[left]\na = int,1\nb = int,1\n[right]\na = int,1\nb = int,1\n");
    EXPECT_EQ("1: 2 settings of section \"centre\" are" + notInDefaults() +
                  "; did you mean [left] or [right]?\n",
              saidOfSealed("[centre]\na = int,1\nb = int,1\n"));
}

TEST_F(T8settingsRenamed, SectionsOfTheProductsOwnAreNotTold) {
    for (const std::string& own :
         {kGeneral + kSoundSection + kTimer + "[audio]\nbass = int,0\nvolume = int8,1\n",
          kGeneral + kTimer + "[audio]\nbass = int,0\nvolume = int,1\n",
          kGeneral + kTimer + "[audio]\nbass = int,0\n",
          kGeneral + kTimer +
              "[audio]\nbass = int,0\nvolume = int8,1\nown = int,1\n[sound]\n"
              "volume = int8,2\n",
          kGeneral + kTimer + "own = int,1\nbass = int,0\n",
          kGeneral + kSoundSection + "[audio/sound]\nbass = int,0\n",
          kGeneral + kSoundSection + "[audio]\nsound/bass = int,0\n"}) {
        EXPECT_EQ("", saidOfSealed(own)) << own;
    }
    std::filesystem::remove(path("qel-default-settings/media.ini"));
    EXPECT_EQ("", saidOfSealed("[audio]\nbass = int,0\nmedia/sound/bass = int,1\n = int,1\n"));
}

TEST_F(T8settingsRenamed, WholeNameAsAKeyIsToldWithThePlaceThatItBelongsIn) {
    EXPECT_EQ(
        "5: media/timer/media/sound/bass is" + notInDefaults() +
            ", which has media/sound/bass; if that is meant, change line 2 and delete this one\n",
        saidOfSealed(kSoundSection + "[timer]\nmedia/sound/bass = int,9\n"));
    EXPECT_EQ(
        "2: media/timer/media/sound/bass is" + notInDefaults() +
            ", which has media/sound/bass; if that is meant, write it as bass below [sound]\n",
        saidOfSealed("[timer]\nmedia/sound/bass = int,9\n"));
    EXPECT_EQ(
        "4: media/sound/sound/bass is" + notInDefaults() +
            ", which has media/sound/bass; if that is meant, change line 2 and delete this one\n",
        saidOfSealed(kSoundSection + "sound/bass = int,9\n"));
    EXPECT_EQ(
        "2: media/timer/sound/bass is" + notInDefaults() +
            ", which has media/sound/bass; if that is meant, write it as bass below [sound]\n",
        saidOfSealed("[timer]\nsound/bass = int,9\n"));
    put("qel-default-settings/media.ini", "bass = int,0\n");
    EXPECT_EQ("1: media/media/bass is" + notInDefaults() +
                  ", which has media/bass; if that is meant, write it as bass above all sections\n",
              saidOfSealed("media/bass = int,9\n"));
}

TEST_F(T8settingsRenamed, SettingWithoutAKeyIsTold) {
    EXPECT_EQ("2: media/sound/ has no key before its \"=\"; write one, or delete the line\n",
              saidOfSealed("[sound]\n= int,9\nvolume = int8,1\n"));
}

TEST_F(T8settingsRenamed, LineOfNoTypeIsNotToldToHaveNoKeyAsWell) {
    put("settings/media.ini", "[sound]\n=,\nvolume = int8,1\n#crc32 = false\n");
    const std::string out = run({"verify", file()}).out;
    EXPECT_THAT(out, HasSubstr(file() + ":2: media/sound/: no such type"));
    EXPECT_THAT(out, testing::Not(HasSubstr("has no key")));
}

TEST_F(T8settingsRenamed, SectionThatATextHasRunIntoIsNotToldAsGone) {
    put("settings/media.ini",
        "[sound]\nbass = int,0\nvolume = int8,1 [timer]\nsleep = int8,3\n"
        "standby = int8,4\n#crc32 = false\n");
    const std::string out = run({"verify", file()}).out;
    EXPECT_THAT(out, HasSubstr(file() + ":3: media/sound/volume has run into what looks like the "
                                        "section [timer]"));
    EXPECT_THAT(out, testing::Not(HasSubstr(notInDefaults())));
}

TEST_F(T8settingsRenamed, ByteOrderMarkBeforeAKeyIsToldAndGoesAsAdvised) {
    const std::string advice = "sed -i '2s/\\xEF\\xBB\\xBF//' " + path("settings/media.ini");
    EXPECT_EQ(
        "2: the key \"bass\" has a byte order mark (BOM) before it; delete it: " + advice + "\n",
        saidOfSealed("[sound]\n\xEF\xBB\xBF"
                     "bass = int,9\nvolume = int8,1\n"));
    ASSERT_EQ(0, std::system(advice.c_str()));
    EXPECT_THAT(bytesOf("settings/media.ini"), testing::StartsWith("[sound]\nbass = int,9\n"));
}

TEST_F(T8settingsRenamed, SaveThatHidesItTellsOfItForTheLastTime) {
    std::filesystem::remove(path("settings/settings.ini"));
    saidOfSealed(kGeneral + "[audio]\nbass = int,0\nvolume = int8,1\n" + kTimer +
                 "sound/bass = int,5\nmedia/sound/bass = int,5\n");
    const ToolRun set = run({"set", "media/timer/sleep", "5"});
    EXPECT_EQ("t8settings: warning: " + file() + ":3: 2 settings of section \"audio\" are" +
                  notInDefaults() +
                  "; did you mean [sound]? after this save nothing tells of it any more\n"
                  "t8settings: warning: " +
                  file() + ":9: media/timer/sound/bass is" + notInDefaults() +
                  ", which has media/sound/bass; if that is meant, write it as bass below [sound]; "
                  "after this save nothing tells of it any more\n",
              set.err);
    EXPECT_EQ(0, set.exitCode);
    EXPECT_THAT(run({"verify", file()}).out, AllOf(HasSubstr("media/timer/media/sound/bass is"),
                                                   HasSubstr("1 file, 1 finding\n")));
}

TEST_F(T8settingsRenamed, OfADamagedFileTheySettingBySettingStayBehind) {
    for (const std::string line : {"[audio]\n", ""}) {
        const std::string text =
            kGeneral + line + "bass = int,7\nvolume = int8,8\n" + kTimer + "#crc32 = 1\n";
        put("settings/media.ini.bad", text);
        std::filesystem::remove(file());
        const ToolRun recovered = run({"recover", file(), "--from", "bad", "--yes"});
        const std::string section = line.empty() ? "general" : "audio";
        EXPECT_THAT(recovered.out,
                    AllOf(HasSubstr(": media/" + section + "/bass is" + notInDefaults() +
                                    "; did you mean media/sound/bass?\n"),
                          HasSubstr(": media/" + section + "/volume is" + notInDefaults() +
                                    "; did you mean media/sound/volume?\n"),
                          HasSubstr("media.ini: 3 settings from ")));
        EXPECT_EQ(5, recovered.exitCode);
        EXPECT_THAT(bytesOf("settings/media.ini"), Not(HasSubstr("bass")));
    }
}

}  // namespace
