#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "Sanitized.h"
#include "VerifyFixture.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using testsupport::kSound;
using testsupport::ToolRun;
using Json = nlohmann::json;

class T8settingsVerify : public testsupport::VerifyTest {};

TEST_F(T8settingsVerify, SoundFilesAreCountedAndExitWith0) {
    const ToolRun verify = run({"verify"});
    EXPECT_EQ("2 files, all sound\n", verify.out);
    EXPECT_EQ("", verify.err);
    EXPECT_EQ(0, verify.exitCode);
    const ToolRun json = run({"verify", "--json"});
    EXPECT_EQ(
        Json({{"files",
               {{{"file", path("qel-default-settings/settings.ini")},
                 {"state", "defaults"},
                 {"settings", 1}},
                {{"file", path("settings/settings.ini")}, {"state", "sealed"}, {"settings", 2}}}},
              {"findings", Json::array()},
              {"kept", Json::array()},
              {"missing", Json::array()}}),
        Json::parse(json.out));
    EXPECT_EQ(0, json.exitCode);
}

TEST_F(T8settingsVerify, FileAloneNeedsNoBaseDirectory) {
    const ToolRun verify = runBare({"verify", path("settings/settings.ini")});
    EXPECT_EQ("1 file, all sound\n", verify.out);
    EXPECT_EQ(0, verify.exitCode);
    const ToolRun none = runBare({"verify"});
    EXPECT_EQ("", none.out);
    EXPECT_EQ("t8settings: no base directory: say --base DIR or set T8SETTINGS_BASE\n", none.err);
    EXPECT_EQ(2, none.exitCode);
}

TEST_F(T8settingsVerify, WrongAndMissingCrcSayWhatALoadDoesAndWhatToDo) {
    const std::string file = path("settings/settings.ini");
    const std::string remedy = "; the next program to load it sets it aside as " + file +
                               ".bad; after a hand edit: t8settings seal " + file +
                               "; after damage: t8settings recover " + file;
    put("settings/settings.ini", "#name = settings\n[sound]\nbass = int8,-2\n#crc32 = 12\n");
    expectFindings(
        run({"verify"}),
        {file + ":4: wrong CRC: the text has 4003686501, its CRC line says 12" + remedy});
    put("settings/settings.ini", "#name = settings\n");
    expectFindings(run({"verify"}), {file + ": no CRC line" + remedy});
    EXPECT_THAT(run({"verify"}).out, HasSubstr("\n2 files, 1 finding\n"));
}

TEST_F(T8settingsVerify, NothingIsWrittenOrSetAside) {
    put("settings/settings.ini", "#name = settings\n[sound]\nbass = int8,5\n#crc32 = 12\n");
    put("settings/other.ini", "damaged");
    put("settings/other.ini.tmp", "damaged too");
    const auto before = everything();
    EXPECT_EQ(5, run({"verify"}).exitCode);
    EXPECT_EQ(5, run({"verify", path("settings/other.ini")}).exitCode);
    EXPECT_EQ(before, everything());
}

TEST_F(T8settingsVerify, SwitchedOffCheckIsAFinding) {
    const std::string file = path("settings/settings.ini");
    put("settings/settings.ini", "#name = settings\n#crc32 = false\n");
    expectFindings(run({"verify"}), {file +
                                     ":2: the CRC check is switched off, so damage goes "
                                     "unnoticed; t8settings seal " +
                                     file + " switches it on"});
}

// What is advised has to be taken as it stands.
TEST_F(T8settingsVerify, SwitchedOffCheckBesideAFileIsNoMatterForSeal) {
    const std::string file = path("settings/settings.ini");
    for (const char* const beside : {".tmp", ".bad"}) {
        put(std::string("settings/settings.ini") + beside, "#name = settings\n#crc32 = false\n");
        const std::string finding =
            file + beside + ":2: the CRC check is switched off, so damage goes unnoticed; ";
        const std::string recover = "t8settings recover " + file + " shows what it holds\n";
        EXPECT_THAT(run({"verify", file + beside}).out, StartsWith(finding + recover));
        EXPECT_EQ(2, run({"seal", file + beside}).exitCode);
    }
    EXPECT_EQ(5, run({"recover", file}).exitCode);
}

TEST_F(T8settingsVerify, GoodCopyIsReadInPlaceOfTheFile) {
    const std::string file = path("settings/settings.ini");
    const std::string shows = "t8settings recover " + file + " shows what differs";
    put("settings/settings.ini.tmp", kSound);
    expectFindings(run({"verify"}), {file +
                                     ".tmp: whole copy of an interrupted save, read in place "
                                     "of " +
                                     file + "; the next save puts it in order; " + shows});
    put("settings/settings.ini", "torn");
    const ToolRun torn = run({"verify"});
    EXPECT_THAT(torn.out, StartsWith(file + ": no CRC line; " + file +
                                     ".tmp is read in its place; the next save mends it; after a "
                                     "hand edit, first of all: t8settings recover " +
                                     file + "\n"));
    EXPECT_THAT(torn.out, Not(HasSubstr(".bad")));
    std::filesystem::remove(file);
    EXPECT_THAT(
        run({"verify"}).out,
        StartsWith(
            file +
            ".tmp: whole copy of an interrupted save, which no program "
            "looks for since " +
            file +
            " is not there; a program's next save replaces it: first of all: t8settings recover " +
            file + "\n"));
}

TEST_F(T8settingsVerify, LinesOfACopyThatIsReadAreJudgedToo) {
    put("settings/settings.ini.tmp", "#name = settings\nnothing\n#crc32 = false\n");
    EXPECT_THAT(run({"verify"}).out,
                HasSubstr("\n" + path("settings/settings.ini.tmp") + ":2: no \"=\" after the key"));
}

TEST_F(T8settingsVerify, WhatLiesBesideAFileIsTold) {
    const std::string file = path("settings/settings.ini");
    put("settings/settings.ini.tmp", "torn");
    put("settings/settings.ini.bad", "damaged");
    put("settings/settings.ini.tmp.new", "");
    expectFindings(
        run({"verify"}),
        {file + ".tmp: left by an interrupted save and not whole: no CRC line; the next save "
                "replaces it",
         file +
             ".tmp.new: left by an interrupted save and never read; the next save that needs the "
             "name replaces it; or delete it",
         file +
             ".bad: set aside by a load, or kept by a save, that could not use it, and never read; "
             "t8settings "
             "recover " +
             file + " shows what it holds; or delete it"});
}

TEST_F(T8settingsVerify, LeftoversWithoutTheirFileAreFound) {
    put("settings/gone.ini.bad", kSound);
    put("settings/gone.ini.tmp", kSound);
    const ToolRun verify = run({"verify"});
    EXPECT_THAT(verify.out,
                AllOf(HasSubstr(path("settings/gone.ini.tmp") + ": whole copy of an interrupted "
                                                                "save, which no program looks for"),
                      HasSubstr(path("settings/gone.ini.bad") + ": set aside"),
                      HasSubstr("\n4 files, 2 findings\n")));
    EXPECT_EQ(5, verify.exitCode);
}

TEST_F(T8settingsVerify, FilesThatNobodyReadsAreNamed) {
    put("settings/notes.txt", "");
    put("settings/.hidden.ini", "");
    put("settings/settings.ini~", "");
    std::filesystem::create_directory(path("settings/lost+found"));
    expectFindings(
        run({"verify"}),
        {path("settings/.hidden.ini") + ": ignored, as its name begins with \".\"",
         path("settings/notes.txt") + ": ignored, as its name ends in neither .ini nor .xml",
         path("settings/settings.ini~") + ": ignored, as its name ends in neither .ini nor .xml"});
}

// Who clears away what is ignored must not lose a storage.
TEST_F(T8settingsVerify, FileThatALinkOfAStorageLeadsToIsNotIgnored) {
    std::filesystem::rename(path("settings/settings.ini"), path("settings/real"));
    std::filesystem::create_symlink("real", path("settings/settings.ini"));
    EXPECT_EQ("2 files, all sound\n", run({"verify"}).out);
}

TEST_F(T8settingsVerify, LastLineThatMayBeCutShortIsToldBeforeAnybodySealsIt) {
    put("settings/settings.ini", "#name = settings\n[sound]\nbass = int8,1");
    EXPECT_THAT(run({"verify", path("settings/settings.ini")}).out,
                HasSubstr(":3: the last line may be cut short, as no line feed ends it; complete "
                          "it, and end it with a line feed\n"));
}

TEST_F(T8settingsVerify, FilesThatSealAndRecoverHaveKeptAreTold) {
    const std::string kept = path("settings/settings.ini.tmp.before-recover.2");
    put("settings/settings.ini.tmp.before-recover.2", "");
    const ToolRun verify = run({"verify"});
    EXPECT_EQ(kept + ": kept by seal or recover; delete it when nobody needs it\n" +
                  "2 files, all sound\n",
              verify.out);
    EXPECT_EQ(0, verify.exitCode);
    EXPECT_EQ(Json({{{"file", kept}}}), Json::parse(run({"verify", "--json"}).out).at("kept"));
}

TEST_F(T8settingsVerify, FilesThatASaveHasKeptAreTold) {
    put("settings/settings.ini.bad.1", "damaged");
    put("settings/settings.ini.bad.99", "damaged");
    put("settings/settings.ini.bad.100", "");
    put("settings/settings.ini.tmp.bad", kSound);
    put("settings/settings.ini.tmp.bad.99", "damaged");
    const std::string file = path("settings/settings.ini");
    const std::string text =
        ": kept by a save that could not use it, and never read; t8settings recover " + file +
        " shows what it holds; or delete it";
    expectFindings(run({"verify"}),
                   {file + ".bad.1" + text, file + ".bad.99" + text, file + ".tmp.bad" + text,
                    file + ".tmp.bad.99" + text,
                    file + ".bad.100: ignored, as its name ends in neither .ini nor .xml"});
}

TEST_F(T8settingsVerify, CopyThatASaveHasKeptIsReadAsItsStorages) {
    put("settings/gone.ini.tmp.bad.7", "bass = int8,300\n#crc32 = false\n");
    EXPECT_THAT(run({"verify", path("settings/gone.ini.tmp.bad.7")}).out,
                HasSubstr(".tmp.bad.7:1: gone/bass: int8 would not keep"));
    EXPECT_THAT(run({"verify"}).out, HasSubstr("t8settings recover " + path("settings/gone.ini")));
}

TEST_F(T8settingsVerify, OnlyANameThatRecoverGivesIsSaidToBeKeptByIt) {
    const std::string base = dir_.file("x.before-recover");
    std::filesystem::create_directories(base + "/settings");
    std::filesystem::create_directories(base + "/qel-default-settings");
    testsupport::writeFile(base + "/settings/settings.ini", kSound);
    for (const char* const name : {"a.before-recovery", "b", "c.before-recover.2"}) {
        testsupport::writeFile(base + "/settings/" + name, "");
    }
    const std::string ignored = ": ignored, as its name ends in neither .ini nor .xml";
    expectFindings(
        runBare({"--base", base, "verify"}),
        {base + "/settings/a.before-recovery" + ignored, base + "/settings/b" + ignored,
         base + "/settings/c.before-recover.2: kept by seal or recover; delete it when nobody "
                "needs it"});
}

TEST_F(T8settingsVerify, XmlIsReadByTheLibrarysParser) {
    put("qel-default-settings/product.xml", "<product><model value=\"T8\"/></product>");
    EXPECT_EQ("3 files, all sound\n", run({"verify"}).out);
    put("qel-default-settings/product.xml", "<product><a type=\"wat\">1</a></product>");
    expectFindings(run({"verify"}),
                   {path("qel-default-settings/product.xml") +
                    ": failed to load product/a(wat)=1; t8settings types shows all types"});
    put("qel-default-settings/product.xml", "<product>");
    EXPECT_THAT(run({"verify", path("qel-default-settings/product.xml"), "--json"}).out,
                AllOf(HasSubstr("\"harm\": \"unusable\""), HasSubstr("\"state\": \"xml\""),
                      HasSubstr("no readable well-formed XML document")));
}

TEST_F(T8settingsVerify, XmlThatTheNextLoadSetsAsideIsToldSo) {
    put("settings/product.xml", "<product>");
    EXPECT_THAT(run({"verify"}).out,
                HasSubstr("; the next program to load it sets it aside as " +
                          path("settings/product.xml") + ".bad; mend it; or "));
    run({"list"});
    const std::string bad = path("settings/product.xml.bad");
    EXPECT_TRUE(testsupport::exists(bad));
    expectFindings(
        run({"verify"}),
        {bad + ": set aside by a load that could not use it, and never read; mend it and give "
               "it its name back; or delete it"});
    EXPECT_EQ(bad + ": no readable well-formed XML document\n1 file, 1 finding\n",
              run({"verify", bad}).out);
    put("settings/product.xml.bad", "<product><model>T8</model></product>");
    EXPECT_EQ("1 file, all sound\n", run({"verify", bad}).out);
    EXPECT_EQ("product/model\tstring\tT8\n", runBare({"list", "--file", bad}).out);
    put("settings/product.xml", "<product>");
    EXPECT_THAT(run({"verify"}).out, HasSubstr("sets it aside as " + bad +
                                               ", in place of the one that is there; mend "));
}

TEST_F(T8settingsVerify, WhatCannotBeReadIsAFailure) {
    const ToolRun missing =
        run({"verify", path("settings/none.ini"), path("settings/settings.ini")});
    EXPECT_EQ(path("settings/none.ini") + ": not there\n1 file, 1 finding\n", missing.out);
    EXPECT_EQ(1, missing.exitCode);
    std::filesystem::create_directory(path("settings/dir.ini"));
    const ToolRun directory = run({"verify", "--json"});
    EXPECT_EQ(1, directory.exitCode);
    const Json finding = Json::parse(directory.out).at("findings").at(0);
    EXPECT_EQ("unreadable", finding.at("harm"));
    EXPECT_EQ(nullptr, finding.at("line"));
    EXPECT_THAT(finding.at("reason").get<std::string>(),
                StartsWith("cannot be read: Is a directory; the next program to load it"));
    EXPECT_EQ(1, run({"--base", path("none"), "verify"}).exitCode);
}

TEST_F(T8settingsVerify, WhatIsNoPlainFileIsNotDamaged) {
    EXPECT_EQ(base_ + ": is a directory; did you mean --base " + base_ + "?\n0 files, 1 finding\n",
              run({"verify", base_}).out);
    const std::string odd = path("my tv's \"x\"");
    std::filesystem::create_directories(odd + "/settings");
    EXPECT_THAT(run({"verify", odd}).out,
                HasSubstr("; did you mean --base '" + path("my tv'\\''s \"x\"") + "'?\n"));
    for (const char* const inside :
         {"settings", "settings/", "qel-default-settings", "calibration_data"}) {
        EXPECT_THAT(run({"verify", path(inside)}).out,
                    HasSubstr("; did you mean --base " + base_ + "?\n"));
    }
    EXPECT_THAT(run({"verify", dir_.path()}).out, StartsWith(dir_.path() + ": is a directory\n"));
    EXPECT_EQ("/dev/null: is no plain file\n0 files, 1 finding\n",
              run({"verify", "/dev/null"}).out);
    const ToolRun recover = run({"recover", base_});
    const std::string shown =
        " is a directory; which of its files need mending is shown by: "
        "t8settings --base " +
        base_ + " verify\n";
    EXPECT_EQ("t8settings: " + base_ + shown, recover.err);
    EXPECT_EQ("t8settings: " + path("settings") + shown, run({"seal", path("settings")}).err);
    EXPECT_EQ(1, recover.exitCode);
    std::filesystem::create_symlink("nothing", path("link.ini"));
    const ToolRun link = run({"verify", path("link.ini")});
    EXPECT_EQ(
        path("link.ini") +
            ": is a link that leads nowhere; mend the link, or remove it\n0 files, 1 finding\n",
        link.out);
    EXPECT_EQ(1, link.exitCode);
    const std::string copy = path("settings/settings.ini.tmp");
    std::filesystem::create_directory(copy);
    expectFindings(run({"verify"}),
                   {copy + ": is a directory; remove it; nothing can be saved until then"});
}

TEST_F(T8settingsVerify, WhatHasTheNameOfAFileAndIsNoneIsToBeMovedAway) {
    std::filesystem::create_directory(path("settings/dir.ini"));
    std::filesystem::create_directory(path("settings/old.ini.bad"));
    std::filesystem::create_symlink("nothing", path("settings/link.ini"));
    ASSERT_EQ(0, mkfifo(path("settings/pipe.ini").c_str(), 0600));
    const auto unread = [this](const std::string& name, const std::string& reason) {
        return path(name) + ": cannot be read: " + reason +
               "; the next program to load it sets it aside as " + path(name) +
               ".bad; move it away\n";
    };
    const ToolRun verify = run({"verify"});
    EXPECT_EQ(unread("settings/dir.ini", "Is a directory") + path("settings/link.ini") +
                  ": is a link that leads nowhere; mend the link, or remove it\n" +
                  unread("settings/pipe.ini", "no plain file") + path("settings/old.ini.bad") +
                  ": set aside by a load, or kept by a save, that could not use it, and never "
                  "read; move it away\n5 files, 4 findings\n",
              verify.out);
    EXPECT_EQ(1, verify.exitCode);
    EXPECT_EQ(path("settings/pipe.ini") + ": is no plain file; move it away\n0 files, 1 finding\n",
              run({"verify", path("settings/pipe.ini")}).out);
    EXPECT_EQ("t8settings: " + path("settings/dir.ini") + " is a directory; move it away\n",
              run({"recover", path("settings/dir.ini")}).err);
    EXPECT_EQ("t8settings: " + path("settings/pipe.ini") + ": cannot be read: no plain file\n",
              run({"seal", path("settings/pipe.ini")}).err);
}

TEST_F(T8settingsVerify, MissingLineFeedAfterTheCrcLineIsToldAsSuch) {
    const std::string sealed = bytesOf("settings/settings.ini");
    put("settings/settings.ini", sealed.substr(0, sealed.size() - 1));
    EXPECT_THAT(run({"verify"}).out,
                HasSubstr(": wrong CRC: the line feed after the CRC line is missing; "));
}

TEST_F(T8settingsVerify, ResetInProgressIsTold) {
    testsupport::writeFile(marker_, "");
    const ToolRun verify = run({"verify"});
    EXPECT_EQ("t8settings: a reset to defaults is in progress, " + marker_ +
                  " exists: nothing is saved until the restart\n",
              verify.err);
    EXPECT_EQ(0, verify.exitCode);
}

TEST_F(T8settingsVerify, EmptyWordIsNoFile) {
    for (const char* const command : {"verify", "seal", "recover"}) {
        const ToolRun empty = run({command, ""});
        EXPECT_EQ("t8settings: FILE is empty\n", empty.err);
        EXPECT_EQ(2, empty.exitCode);
    }
}

TEST_F(T8settingsVerify, FileThatIsTooLargeIsUnusable) {
    std::filesystem::resize_file(path("settings/settings.ini"), (64U << 20) + 1);
    const std::string file = path("settings/settings.ini");
    expectFindings(run({"verify"}),
                   {file +
                    ": larger than 64 MiB, which no program reads; the next program to load "
                    "it sets it aside as " +
                    file + ".bad; after damage: t8settings recover " + file});
}

TEST_F(T8settingsVerify, NamesOfAnyBytesAreShownOnOneLineAndInJsonExactly) {
    const std::string name = "a b\n\xC3\xA9\xFF.ini";
    put("settings/" + name, "#name = \xFFx\nk\ty\x01 = int8,300\n#crc32 = false\n");
    const ToolRun verify = run({"verify", path("settings/" + name)});
    EXPECT_THAT(verify.out,
                HasSubstr(path("settings/a b\\n\xC3\xA9\xFF.ini") + ":2: \xFFx/k\\ty\\x01: "
                                                                    "int8 would not keep \"300\""));
    EXPECT_THAT(verify.out,
                HasSubstr("; t8settings seal $'" + path("settings/a b\\n\xC3\xA9\\xFF.ini") +
                          "' switches it on\n"));
    const Json finding =
        Json::parse(run({"verify", path("settings/" + name), "--json"}).out).at("findings").at(1);
    EXPECT_EQ(path("settings/a b\n\xC3\xA9\xEF\xBF\xBD.ini"), finding.at("file"));
    std::string hexadecimal;
    for (const char c : path("settings/" + name)) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned char>(c));
        hexadecimal += digits;
    }
    EXPECT_EQ(hexadecimal, finding.at("fileBytes"));
}

TEST_F(T8settingsVerify, DirectoryWithoutSettingsFilesIsRemarkedUpon) {
    const ToolRun verify = runBare({"--base", dir_.path(), "verify"});
    EXPECT_EQ("0 files, nothing to verify\n", verify.out);
    EXPECT_THAT(verify.err, StartsWith("t8settings: no settings files below"));
    EXPECT_EQ(1, verify.exitCode);
}

TEST_F(T8settingsVerify, DirectoryBehindALinkThatLeadsNowhereIsToldByWhoeverLooksThere) {
    std::filesystem::remove_all(path("settings"));
    std::filesystem::create_directory_symlink("nowhere", path("settings"));
    const std::string told =
        path("settings") + ": the directory cannot be read: it is a link that leads nowhere";
    const testsupport::ToolRun verify = run({"verify"});
    EXPECT_EQ(told + "\n1 file, 1 finding\n", verify.out);
    EXPECT_EQ(1, verify.exitCode);
    const testsupport::ToolRun get = run({"get", "settings/sound/bass"});
    EXPECT_EQ("-2\n", get.out);
    EXPECT_EQ("t8settings: warning: " + told + "; what lies in it may be left out here\n", get.err);
    EXPECT_EQ(5, get.exitCode);
}

TEST_F(T8settingsVerify, DirectoryWithoutWhichNothingCanBeSavedIsRemarkedUpon) {
    std::filesystem::remove_all(path("settings"));
    const testsupport::ToolRun verify = run({"verify"});
    EXPECT_EQ(path("settings") + ": not there, and nothing of " + path("qel-default-settings") +
                  " can be saved without it\n1 file, all sound\n",
              verify.out);
    EXPECT_EQ(0, verify.exitCode);
    EXPECT_EQ(Json({{{"directory", path("settings")}, {"defaults", path("qel-default-settings")}}}),
              Json::parse(run({"verify", "--json"}).out).at("missing"));
    put("qel-default-settings/settings.ini",
        "#name = settings\n#readonly\n[sound]\nbass = int8,1\n");
    EXPECT_EQ("1 file, all sound\n", run({"verify"}).out);
}

}  // namespace
