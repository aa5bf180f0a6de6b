#include "IniStorageFixture.h"

using testsupport::IniStorageFixture;
using testsupport::readFile;
using testsupport::withCrc;

namespace {

class InifileReset : public IniStorageFixture {
protected:
    const std::string mine_ = "#name = settings\n#savepolicy = ondemand\n[]\na = int,5";
    const std::string theirs_ = "#name = settings\n#savepolicy = ondemand\n[]\na = int,77";
};

TEST_F(InifileReset, WithoutDefaultsThePresentValuesReplaceWhatAnotherProcessWrote) {
    build(mine_);
    ASSERT_TRUE(reopen());
    build(theirs_);
    EXPECT_TRUE(storage_->resetToDefaults());
    EXPECT_EQ(withCrc(mine_), readFile(rw_));
}

TEST_F(InifileReset, DefaultsThatAreGoneLeaveThePresentValuesOnTheDisk) {
    buildDefaults("#name = settings\na = int,1\n");
    build(mine_);
    ASSERT_TRUE(reopen());
    build(theirs_);
    std::filesystem::remove(defaults_);
    EXPECT_TRUE(storage_->resetToDefaults());
    EXPECT_EQ(withCrc(mine_), readFile(rw_));
}

TEST_F(InifileReset, OneThatCouldNotBeWrittenCanBeAskedOfTheStorageOnceMore) {
    const std::string defaults = "#name = settings\n#savepolicy = ondemand\n[]\na = int,1";
    buildDefaults(defaults);
    build(mine_);
    ASSERT_TRUE(reopen());
    manager_.setSettingsOperationMode(Qel::Settings::SOM_ResettingToDefault);
    std::filesystem::create_directory(copy_);
    EXPECT_FALSE(storage_->resetToDefaults());
    EXPECT_EQ(withCrc(mine_), readFile(rw_));
    std::filesystem::remove(copy_);
    EXPECT_TRUE(storage_->resetToDefaults());
    EXPECT_EQ(withCrc(defaults), readFile(rw_));
}

}  // namespace
