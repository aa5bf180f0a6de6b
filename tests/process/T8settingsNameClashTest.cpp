// Two storages of one name, of which the one that is loaded later takes the other's place.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>

#include "ToolRun.h"

namespace {

using testsupport::ToolRun;
using Json = nlohmann::json;

class T8settingsNameClash : public testsupport::ToolTest {
protected:
    T8settingsNameClash() {
        put("qel-default-settings/a.ini", "#name = a\nbass = int8,0\n");
        put("settings/a.ini", "#name = a\nbass = int8,3\n#crc32 = false\n");
        put("calibration_data/panel.ini", "#name = a\ngamma = int8,22\n#crc32 = false\n");
    }

    std::string earlier_ = path("settings/a.ini");
    std::string later_ = path("calibration_data/panel.ini");
    std::string laterFinding_ = later_ + ": its storage is called \"a\" as that of " + earlier_ +
                                " and takes its place: reset --all does not reset that one; "
                                "give one of the two another #name\n";
};

TEST_F(T8settingsNameClash, IsAFindingAtBothFiles) {
    const ToolRun verify = run({"verify"});
    const std::string findings = "\n" + earlier_ + ": its storage is called \"a\" as that of " +
                                 later_ +
                                 ", which takes its place: reset --all does not reset it; give one "
                                 "of the two another #name\n" +
                                 laterFinding_;
    EXPECT_NE(std::string::npos, verify.out.find(findings)) << verify.out;
    EXPECT_EQ(5, verify.exitCode);
}

TEST_F(T8settingsNameClash, IsAFindingAtAFileThatIsVerifiedAlone) {
    const std::string unchecked =
        later_ + ":3: the CRC check is switched off, so damage goes unnoticed; t8settings seal " +
        later_ + " switches it on\n";
    const ToolRun verify = runBare({"verify", later_});
    EXPECT_EQ(unchecked + laterFinding_ + "1 file, 2 findings\n", verify.out);
    EXPECT_EQ(5, verify.exitCode);
    const std::string both = runBare({"verify", earlier_, path("qel-default-settings/a.ini")}).out;
    EXPECT_EQ(both.find("is called"), both.rfind("is called")) << both;
    put("calibration_data/panel.ini.bad", "#name = a\n");
    EXPECT_EQ(std::string::npos, runBare({"verify", later_ + ".bad"}).out.find("is called"));
}

TEST_F(T8settingsNameClash, DefaultsFileNamesAStorageThatHasNoOther) {
    std::filesystem::remove(earlier_);
    const std::string verified = run({"verify"}).out;
    EXPECT_NE(std::string::npos,
              verified.find(path("qel-default-settings/a.ini") +
                            ": its storage is called \"a\" as that of " + later_))
        << verified;
}

TEST_F(T8settingsNameClash, InXmlTheRootElementIsTheNameToChange) {
    put("qel-default-settings/product.xml", "<a><model value=\"T8\"/></a>");
    const std::string remedy =
        "; give one of the two another name: #name or, in XML, the root element\n";
    const std::string xml = path("qel-default-settings/product.xml");
    std::filesystem::remove(later_);
    const std::string verified = run({"verify"}).out;
    EXPECT_NE(std::string::npos,
              verified.find(xml + ": its storage is called \"a\" as that of " + earlier_))
        << verified;
    EXPECT_NE(std::string::npos, verified.find(remedy)) << verified;
    EXPECT_EQ(std::string::npos, verified.find("another #name")) << verified;
    const std::string info = run({"info"}).out;
    EXPECT_NE(std::string::npos, info.find("and takes its place" + remedy)) << info;
}

TEST_F(T8settingsNameClash, FileThatNoLoadTakesClashesWithNone) {
    put("calibration_data/panel.ini", "#name = a\ngamma = int8,22\n#crc32 = 1\n");
    EXPECT_EQ(std::string::npos, run({"verify"}).out.find("is called"));
}

TEST_F(T8settingsNameClash, SealWarnsOfIt) {
    put("calibration_data/panel.ini", "#name = a\ngamma = int8,22\n");
    const ToolRun sealed = run({"seal", later_});
    EXPECT_EQ("t8settings: warning: " + laterFinding_, sealed.err);
    EXPECT_EQ(0, sealed.exitCode);
    put("calibration_data/panel.ini", "#name = panel\ngamma = int8,22\n");
    EXPECT_EQ("", run({"seal", later_}).err);
}

TEST_F(T8settingsNameClash, RecoverWarnsOfIt) {
    put("calibration_data/panel.ini", "");
    put("calibration_data/panel.ini.bad", "#name = a\ngamma = int8,22\n#crc32 = false\n");
    EXPECT_EQ("t8settings: warning: " + laterFinding_,
              run({"recover", later_, "--from", "bad", "--yes"}).err);
    put("calibration_data/panel.ini.bad", "#name = panel\ngamma = int8,22\n#crc32 = false\n");
    EXPECT_EQ("", run({"recover", later_, "--from", "bad", "--yes"}).err);
}

TEST_F(T8settingsNameClash, InfoShowsTheStorageThatIsReplaced) {
    const ToolRun info = run({"info"});
    EXPECT_NE(std::string::npos,
              info.out.find("REPLACED " + earlier_ + "\n  error: " + later_ +
                            " has its name \"a\" and takes its place; give one of the two another "
                            "#name\n"))
        << info.out;
    EXPECT_EQ(Json({{{"name", "a"}, {"file", earlier_}, {"by", later_}}}),
              Json::parse(run({"info", "--json"}).out).at("replaced"));
}

TEST_F(T8settingsNameClash, ResetOfTheStoreTellsWhatItPassesOver) {
    demandOwnMarker();
    put("qel-default-settings/b.ini", "#name = b\nx = int8,0\n");
    const ToolRun reset = run({"reset", "--all", "--yes"});
    EXPECT_EQ("a: kept, it survives a reset\nb: reset to its defaults\n" + earlier_ +
                  ": NOT reset, " + later_ +
                  " has its name \"a\" and takes its place; give one of the two another #name\n"
                  "The marker " +
                  marker_ + " stays until the restart; until then no process saves settings.\n",
              reset.out);
    EXPECT_EQ(1, reset.exitCode);
    std::filesystem::remove(marker_);
    EXPECT_EQ("3\n", run({"get", "a/bass"}).out);
    EXPECT_EQ(Json({{"name", "a"}, {"file", earlier_}, {"fate", "replaced"}}),
              Json::parse(run({"reset", "--all", "--yes", "--json"}).out).at("storages").back());
}

}  // namespace
