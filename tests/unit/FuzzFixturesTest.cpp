// What the fuzz targets are put to holds for every input that has ever failed, and for those that
// they start from.

#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>
#include <string>

#include "Checks.h"
#include "Files.h"
#include "LogCapture.h"
#include "Qel/Settings/SettingStorageInifile.h"
#include "SyslogCapture.h"
#include "SystemCommands.h"
#include "TempDir.h"

namespace {

using testsupport::readFile;

class FuzzFixtures : public testing::Test {
protected:
    FuzzFixtures() {
        qlog::setSink([](const qlog::Record&) {});
        Qel::Settings::SettingStorageInifile::syncWrites(false);
    }
    ~FuzzFixtures() override {
        Qel::Settings::SettingStorageInifile::syncWrites(true);
        qlog::setSink(nullptr);
    }

    void expectPassed(fuzz::Check check, const std::string& bytes, const std::string& name) {
        try {
            check(bytes, dir_.path());
        } catch (const std::exception& e) {
            ADD_FAILURE() << name << ": " << e.what();
        }
        ++checked_;
    }

    /// Git keeps no empty folder, so that of a target which has never failed is not there.
    void expectAllThatEverFailedPass(fuzz::Check check, const std::string& target) {
        const std::string directory = T8_TEST_DATA_DIR "/fuzz/" + target;
        if (std::filesystem::exists(directory)) {
            expectAllPassed(check, directory);
        }
    }

    void expectAllPassed(fuzz::Check check, const std::string& directory) {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
            if (entry.is_regular_file()) {
                expectPassed(check, readFile(entry.path()), entry.path());
            }
        }
    }

    testsupport::TempDir dir_;
    int checked_ = 0;
};

TEST_F(FuzzFixtures, IniFilesHoldWhatIsPromised) {
    expectAllThatEverFailedPass(&fuzz::checkIni, "ini");
    expectAllPassed(&fuzz::checkIni, T8_FUZZ_DIR "/corpus/ini");
    expectAllPassed(&fuzz::checkIni, T8_TEST_DATA_DIR "/ini");
    expectAllPassed(&fuzz::checkIni, T8_FUZZ_DIR "/../examples/tv");
    EXPECT_GT(checked_, 60);
}

TEST_F(FuzzFixtures, XmlFilesHoldWhatIsPromised) {
    expectAllThatEverFailedPass(&fuzz::checkXml, "xml");
    expectAllPassed(&fuzz::checkXml, T8_FUZZ_DIR "/corpus/xml");
    expectAllPassed(&fuzz::checkXml, T8_FUZZ_DIR "/../examples/tv");
    EXPECT_GT(checked_, 20);
}

TEST_F(FuzzFixtures, TextsOfTypesHoldWhatIsPromised) {
    expectAllThatEverFailedPass(&fuzz::checkTypes, "types");
    expectAllPassed(&fuzz::checkTypes, T8_FUZZ_DIR "/corpus/types");
    std::istringstream lines(readFile(T8_TEST_DATA_DIR "/types/all-types-written.ini"));
    for (std::string line; std::getline(lines, line);) {
        const std::size_t equals = line.find(" = ");
        if (equals != std::string::npos) {
            expectPassed(&fuzz::checkTypes, line.substr(equals + 3), line);
        }
    }
    EXPECT_GT(checked_, 100);
}

}  // namespace
