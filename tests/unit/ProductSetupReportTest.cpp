#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "ProductFixture.h"
#include "Qel/Settings/SettingStorageInterface.h"
#include "qlog/QlogControl.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class ProductSetupReport : public testsupport::ProductFixture {
protected:
    /// What the set-up says between its headline and "Settings available:".
    std::vector<std::string> storageLines() const {
        const std::vector<std::string> lines = report();
        const auto end = std::find(lines.begin(), lines.end(), "2 Settings available:");
        EXPECT_NE(lines.begin(), end);
        EXPECT_NE(lines.end(), end);
        return lines.empty() ? lines : std::vector<std::string>(lines.begin() + 1, end);
    }

    /// A defaults file whose "#name" stands too late: the storage fails, with a word on line 1.
    void putBrokenIni(const std::string& name) const {
        put(defaults_, name, "neither section nor setting\n#name = x\n");
    }
};

TEST_F(ProductSetupReport, RegisteredStorageIsToldInFourMessages) {
    putIni(defaults_, "foo.ini");
    putIni(settings_, "foo.ini");
    bringUp();
    EXPECT_THAT(storageLines(),
                ElementsAre("2 \tfoo.ini", "2 \t\tDefaults: " + defaults_ + "/foo.ini",
                            "2 \t\tRW file : " + settings_ + "/foo.ini",
                            "2 \t\tSuccessfully registered storage"));
}

TEST_F(ProductSetupReport, AbsentDefaultsFileIsToldAsAnEmptyPath) {
    putIni(settings_, "foo.ini");
    bringUp();
    EXPECT_THAT(storageLines(), ElementsAre("2 \tfoo.ini", "2 \t\tDefaults: ",
                                            "2 \t\tRW file : " + settings_ + "/foo.ini",
                                            "2 \t\tSuccessfully registered storage"));
}

TEST_F(ProductSetupReport, StoragesAreToldOneAfterAnotherSettingsBeforeCalibration) {
    putIni(settings_, "z.ini");
    put(settings_, "a.xml", "<tv/>");
    putIni(calibration_, "c.ini");
    bringUp();
    EXPECT_THAT(
        storageLines(),
        ElementsAre("2 \ta.xml", "2 \t\tDefaults: ", "2 \t\tRW file : " + settings_ + "/a.xml",
                    "2 \t\tSuccessfully registered storage", "2 \tz.ini",
                    "2 \t\tDefaults: ", "2 \t\tRW file : " + settings_ + "/z.ini",
                    "2 \t\tSuccessfully registered storage", "2 \tc.ini",
                    "2 \t\tDefaults: ", "2 \t\tRW file : " + calibration_ + "/c.ini",
                    "2 \t\tSuccessfully registered storage"));
}

TEST_F(ProductSetupReport, FailureIsToldWithWhatTheStorageSays) {
    putBrokenIni("foo.ini");
    bringUp();
    EXPECT_THAT(storageLines(),
                ElementsAre("2 \tfoo.ini", "2 \t\tDefaults: " + defaults_ + "/foo.ini",
                            "2 \t\tRW file : " + settings_ + "/foo.ini",
                            "4 \t\tFAILED to register storage for foo.ini, errInfo: neither "
                            "section nor setting\n"));
}

TEST_F(ProductSetupReport, FailureOfAStorageThatSaysNothingIsToldWithoutErrInfo) {
    put(defaults_, "foo.xml", "<tv>");
    bringUp();
    EXPECT_THAT(storageLines(),
                ElementsAre("2 \tfoo.xml", "2 \t\tDefaults: " + defaults_ + "/foo.xml",
                            "2 \t\tRW file : " + settings_ + "/foo.xml",
                            "4 \t\tFAILED to register storage for foo.xml, no errInfo"));
}

TEST_F(ProductSetupReport, FailureDoesNotStopTheOthersAndIsNotTriedAgain) {
    putIni(defaults_, "a.ini");
    putBrokenIni("b.ini");
    putIni(defaults_, "c.ini");
    putIni(calibration_, "d.ini");
    EXPECT_EQ(0U, bringUp());
    EXPECT_THAT(storageNames(), ElementsAre("a", "c", "d"));
    EXPECT_EQ(1U, log_.count(2, "Qel::Settings", "src/T8SettingsManager", "\tb.ini"));
}

TEST_F(ProductSetupReport, FailureIsToldWithInformationSwitchedOffAndNothingElse) {
    putIni(defaults_, "a.ini");
    putBrokenIni("b.ini");
    put(defaults_, "c.xml", "<tv>");
    qlog::setDefaultThreshold(4);
    bringUp();
    EXPECT_THAT(report(), ElementsAre("4 \t\tFAILED to register storage for b.ini, errInfo: "
                                      "neither section nor setting\n",
                                      "4 \t\tFAILED to register storage for c.xml, no errInfo"));
}

TEST_F(ProductSetupReport, EverythingHappensInSilenceWhenTheLogIsOff) {
    putIni(defaults_, "a.ini");
    putBrokenIni("b.ini");
    qlog::setDefaultThreshold(6);
    EXPECT_EQ(0U, bringUp());
    EXPECT_THAT(storageNames(), ElementsAre("a"));
    EXPECT_THAT(log_.entries(), IsEmpty()) << log_.dump();
}

TEST_F(ProductSetupReport, EndsWithTheInfoOfEachStorageInOrderOfTheirNamesAndNoSettings) {
    putIni(settings_, "z.ini");
    put(settings_, "a.xml", "<tv><x/></tv>");
    putIni(calibrationDefaults_, "b.ini");
    bringUp();
    const std::vector<std::string> lines = report();
    const auto end = std::find(lines.begin(), lines.end(), "2 Settings available:");
    EXPECT_THAT(
        std::vector<std::string>(end, lines.end()),
        ElementsAre(
            "2 Settings available:", "2 Storages loaded:",
            "2 b RW def=" + calibrationDefaults_ + "/b.ini rw=" + calibration_ +
                "/b.ini savePolicy=Save_onEachChange",
            "2 tv RO def=(No filename) rw=" + settings_ + "/a.xml savePolicy=Save_onDemand",
            "2 z RW def=(No filename) rw=" + settings_ + "/z.ini savePolicy=Save_onEachChange"));
}

TEST_F(ProductSetupReport, StorageOfARejectedLineIsRegisteredAllTheSame) {
    put(defaults_, "foo.ini", "neither section nor setting\nx = int32,1\n");
    bringUp();
    EXPECT_THAT(storageNames(), ElementsAre("foo"));
    EXPECT_THAT(storageLines(), Contains("2 \t\tSuccessfully registered storage"));
    EXPECT_THAT(storageLines(), Not(Contains(testing::HasSubstr("FAILED"))));
    EXPECT_EQ("neither section nor setting\n", *storage("foo")->errInfo());
}

}  // namespace
