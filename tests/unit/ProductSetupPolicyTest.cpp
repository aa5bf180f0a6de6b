#include <cerrno>
#include <gtest/gtest.h>
#include <string>
#include <utility>

#include "ProductFixture.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageFileBase.h"
#include "Qel/Settings/SettingsStorageFileAsyncSaver.h"
#include "SystemCommands.h"

namespace {

using namespace Qel::Settings;

/// Who this process claims to be, while it lives.
class ProcessName {
public:
    explicit ProcessName(std::string name)
        : name_(std::move(name)), before_(program_invocation_short_name) {
        program_invocation_short_name = name_.data();
    }
    ~ProcessName() { program_invocation_short_name = before_; }
    ProcessName(const ProcessName&) = delete;
    ProcessName& operator=(const ProcessName&) = delete;

private:
    std::string name_;
    char* before_;
};

class ProductSetupPolicy : public testsupport::ProductFixture {
protected:
    // The saver's thread would look for the device's own marker before a test can set another.
    ProductSetupPolicy() { SettingsStorageFileAsyncSaver::initInstance()->stop(); }

    SettingStorageFileBase::SavePolicy policyOf(const std::string& storageName) const {
        return dynamic_cast<const SettingStorageFileBase&>(*storage(storageName)).savePolicy();
    }

    /// The policy that settings and calibration data get in a process of this name.
    std::pair<SettingStorageFileBase::SavePolicy, SettingStorageFileBase::SavePolicy> policiesIn(
        const std::string& processName) {
        putIni(settings_, "plain.ini");
        putIni(calibrationDefaults_, "calibrated.ini");
        const ProcessName name(processName);
        bringUp();
        return {policyOf("plain"), policyOf("calibrated")};
    }

    static std::pair<SettingStorageFileBase::SavePolicy, SettingStorageFileBase::SavePolicy> both(
        SettingStorageFileBase::SavePolicy policy) {
        return {policy, policy};
    }
};

TEST_F(ProductSetupPolicy, MainApplicationSavesInTheBackground) {
    EXPECT_EQ(both(SettingStorageFileBase::Save_async), policiesIn("QelVisionMainApplication"));
}

TEST_F(ProductSetupPolicy, EveryOtherProcessSavesAtEachChange) {
    for (const char* const name :
         {"QelVisionMainApplication2", "QelVisionMainApplicatio", "qelvisionmainapplication",
          "QELVISIONMAINAPPLICATION", "QelVisionMainApplication ", " QelVisionMainApplication",
          "xQelVisionMainApplication", "", "t8settings"}) {
        EXPECT_EQ(both(SettingStorageFileBase::Save_onEachChange), policiesIn(name)) << name;
    }
}

TEST_F(ProductSetupPolicy, FilesOwnPolicyLineWins) {
    put(settings_, "quiet.ini", "#savepolicy = ondemand\n#crc32 = false\n");
    put(settings_, "background.ini", "#savepolicy = async\n#crc32 = false\n");
    bringUp();
    EXPECT_EQ(SettingStorageFileBase::Save_onDemand, policyOf("quiet"));
    EXPECT_EQ(SettingStorageFileBase::Save_async, policyOf("background"));
}

TEST_F(ProductSetupPolicy, XmlStoragesAreNotGivenThePolicy) {
    put(settings_, "any.xml", "<tv/>");
    const ProcessName name("QelVisionMainApplication");
    bringUp();
    EXPECT_EQ(SettingStorageFileBase::Save_onDemand, policyOf("tv"));
}

TEST_F(ProductSetupPolicy, OrdinaryProcessHasAChangeInTheFileAtOnce) {
    putIni(settings_, "sound.ini", 1);
    bringUp();
    ASSERT_TRUE(manager_->setting("sound/value")->setValue(2));
    bringUp();
    EXPECT_EQ(2, manager_->setting("sound/value")->getValue<int>());
}

TEST_F(ProductSetupPolicy, MainApplicationHasAChangeInTheFileAfterAFlush) {
    putIni(settings_, "sound.ini", 1);
    const ProcessName name("QelVisionMainApplication");
    bringUp();
    ASSERT_TRUE(manager_->setting("sound/value")->setValue(2));
    SettingsManager::flushAllSettings();
    EXPECT_FALSE(dynamic_cast<SettingStorageFileBase&>(*storage("sound")).dirty());
    bringUp();
    EXPECT_EQ(2, manager_->setting("sound/value")->getValue<int>());
}

}  // namespace
