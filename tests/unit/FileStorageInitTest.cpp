#include <boost/make_shared.hpp>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <sys/file.h>
#include <unistd.h>
#include <vector>

#include "FileStorageFixture.h"
#include "Qel/Settings/SettingFactory.h"

namespace {

using namespace Qel::Settings;
using testsupport::FileStorageFixture;
using testsupport::readFile;
using testsupport::writeFile;

/// What a file does when it is loaded.
enum class Load { kSucceeds, kReturnsFalse, kThrows };

bool perform(Load load) {
    if (load == Load::kThrows) {
        throw std::runtime_error("no sense in it");
    }
    return load == Load::kSucceeds;
}

class FileStorageInit : public FileStorageFixture {
protected:
    /// Makes the read/write file, and both loads do as told.
    void given(Load defaults, Load readWrite) {
        writeFile(rw_, "user's values");
        storage_->onLoad = [this, defaults, readWrite](const std::string& path) {
            return perform(path == rw_ ? readWrite : defaults);
        };
    }

    std::string errorLoading(const std::string& rest) const {
        return "Error loading '" + rw_ + "' " + rest;
    }

    bool wasSetAside() const {
        return !testsupport::exists(rw_) && readFile(bad_) == "user's values";
    }

    bool isUntouched() const {
        return readFile(rw_) == "user's values" && !testsupport::exists(bad_);
    }
};

TEST_F(FileStorageInit, FailsWithoutAnyFileName) {
    create("", "");
    EXPECT_FALSE(init());
    EXPECT_EQ(storage_->calls(), Calls{});
    EXPECT_EQ(storage_->settingsManager(), &manager_);
    EXPECT_TRUE(log_.entries().empty()) << log_.dump();
}

TEST_F(FileStorageInit, FailsWithoutAManagerBeforeAnythingElse) {
    add("settings/a");
    storage_->appendErrInfo("kept");
    EXPECT_FALSE(storage_->init(nullptr, boost::shared_ptr<SettingFactory>()));
    EXPECT_EQ(storage_->calls(), Calls{});
    EXPECT_EQ(storage_->settingsSet().size(), 1U);
    EXPECT_EQ(*storage_->errInfo(), "kept");
}

TEST_F(FileStorageInit, ThrowsASecondTimeAndKeepsWhatIsLoaded) {
    ASSERT_TRUE(init());
    add("settings/a");
    try {
        init();
        FAIL() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "Storage already registered with a SettingsManager.");
    }
    EXPECT_EQ(storage_->settingsSet().size(), 1U);
    EXPECT_EQ(storage_->calls(), Calls{"load " + defaults_});
}

TEST_F(FileStorageInit, ThrowsASecondTimeThoughTheFirstFailed) {
    given(Load::kReturnsFalse, Load::kSucceeds);
    EXPECT_FALSE(init());
    EXPECT_THROW(init(), std::runtime_error);
    EXPECT_EQ(storage_->settingsManager(), &manager_);
}

TEST_F(FileStorageInit, TakesTheFactoryUnlessItHasOne) {
    const auto types = boost::make_shared<SettingFactory>();
    EXPECT_TRUE(storage_->init(&manager_, types));
    EXPECT_EQ(storage_->factory(), types);
}

TEST_F(FileStorageInit, DefaultsThatThrowFailItAndTheMessageNamesTheReadWriteFile) {
    given(Load::kThrows, Load::kSucceeds);
    writeFile(defaults_, "factory values");
    EXPECT_FALSE(init());
    EXPECT_EQ(storage_->calls(), Calls{"load " + defaults_});
    EXPECT_EQ(logged(5, errorLoading("(r/o, no recovery): no sense in it")), 1U) << log_.dump();
    EXPECT_EQ(log_.entries().size(), 1U) << log_.dump();
    EXPECT_TRUE(isUntouched());
    EXPECT_EQ(readFile(defaults_), "factory values");
    EXPECT_FALSE(testsupport::exists(defaults_ + ".bad"));
}

TEST_F(FileStorageInit, DefaultsThatThrowWithoutAReadWriteFileNameNobody) {
    create(defaults_, "");
    storage_->onLoad = [](const std::string&) { return perform(Load::kThrows); };
    EXPECT_FALSE(init());
    EXPECT_EQ(logged(5, "Error loading '' (r/o, no recovery): no sense in it"), 1U) << log_.dump();
}

TEST_F(FileStorageInit, DefaultsThatReturnFalseFailItWithoutAMessage) {
    given(Load::kReturnsFalse, Load::kSucceeds);
    EXPECT_FALSE(init());
    EXPECT_EQ(storage_->calls(), Calls{"load " + defaults_});
    EXPECT_TRUE(log_.entries().empty()) << log_.dump();
    EXPECT_TRUE(isUntouched());
}

TEST_F(FileStorageInit, DefaultsAloneAreEnough) {
    create(defaults_, "");
    EXPECT_TRUE(init());
    EXPECT_EQ(storage_->calls(), Calls{"load " + defaults_});
}

TEST_F(FileStorageInit, BelowWhatIsNoDirectoryThereIsSimplyNoFile) {
    writeFile(defaults_, "defaults");
    create(defaults_, defaults_ + "/rw.ini");
    storage_->onLoad = [](const std::string&) { return true; };
    EXPECT_TRUE(init());
    for (const auto& entry : log_.entries()) {
        EXPECT_LT(entry.level, 4) << log_.dump();
    }
}

TEST_F(FileStorageInit, AMissingReadWriteFileLeavesTheDefaultsAndIsNotCreated) {
    storage_->onLoad = [this](const std::string&) {
        add("settings/a", 1);
        return true;
    };
    EXPECT_TRUE(init());
    EXPECT_EQ(storage_->calls(), Calls{"load " + defaults_});
    EXPECT_EQ(storage_->querySetting("settings/a")->getValue<int>(), 1);
    EXPECT_TRUE(std::filesystem::is_empty(dir_.path()));
    EXPECT_TRUE(log_.entries().empty()) << log_.dump();
}

TEST_F(FileStorageInit, NeitherDefaultsNameNorReadWriteFileIsNoError) {
    create("", rw_);
    EXPECT_TRUE(init());
    EXPECT_EQ(storage_->calls(), Calls{});
}

TEST_F(FileStorageInit, ReadWriteValuesReplaceTheDefaultsSettingBySetting) {
    writeFile(rw_, "user's values");
    storage_->onLoad = [this](const std::string& path) {
        add("settings/a", path == rw_ ? 10 : 1);
        if (path == defaults_) {
            add("settings/b", 2);
        }
        return true;
    };
    EXPECT_TRUE(init());
    EXPECT_EQ(storage_->calls(), (Calls{"load " + defaults_, "load " + rw_}));
    EXPECT_EQ(storage_->querySetting("settings/a")->getValue<int>(), 10);
    EXPECT_EQ(storage_->querySetting("settings/b")->getValue<int>(), 2);
    EXPECT_FALSE(storage_->dirty());
    EXPECT_TRUE(isUntouched());
}

TEST_F(FileStorageInit, AReadWriteFileThatReturnsFalseIsSetAside) {
    given(Load::kSucceeds, Load::kReturnsFalse);
    EXPECT_TRUE(init());
    EXPECT_TRUE(wasSetAside());
    EXPECT_EQ(logged(5, errorLoading("(returned false, r/w, renamed to *.bad).")), 1U);
    EXPECT_EQ(log_.entries().size(), 1U) << log_.dump();
}

TEST_F(FileStorageInit, AReadWriteFileThatThrowsIsSetAside) {
    given(Load::kSucceeds, Load::kThrows);
    EXPECT_TRUE(init());
    EXPECT_TRUE(wasSetAside());
    EXPECT_EQ(logged(5, errorLoading("(threw exception, r/w, renamed to *.bad): no sense in it")),
              1U);
    EXPECT_EQ(log_.entries().size(), 1U) << log_.dump();
}

enum class File { kNoName, kAbsent, kLoads, kReturnsFalse, kThrows };

struct Row {
    File defaults;
    File readWrite;
    bool usable;
    bool setAside;
};

const std::vector<Row> kDecisionTable = {
    {File::kNoName, File::kNoName, false, false},
    {File::kNoName, File::kAbsent, true, false},
    {File::kNoName, File::kLoads, true, false},
    {File::kNoName, File::kReturnsFalse, true, true},
    {File::kNoName, File::kThrows, true, true},
    {File::kLoads, File::kNoName, true, false},
    {File::kLoads, File::kAbsent, true, false},
    {File::kLoads, File::kLoads, true, false},
    {File::kLoads, File::kReturnsFalse, true, true},
    {File::kLoads, File::kThrows, true, true},
    {File::kReturnsFalse, File::kNoName, false, false},
    {File::kReturnsFalse, File::kAbsent, false, false},
    {File::kReturnsFalse, File::kLoads, false, false},
    {File::kReturnsFalse, File::kReturnsFalse, false, false},
    {File::kReturnsFalse, File::kThrows, false, false},
    {File::kThrows, File::kNoName, false, false},
    {File::kThrows, File::kAbsent, false, false},
    {File::kThrows, File::kLoads, false, false},
    {File::kThrows, File::kReturnsFalse, false, false},
    {File::kThrows, File::kThrows, false, false},
};

Load loadOf(File file) {
    if (file == File::kThrows) {
        return Load::kThrows;
    }
    return file == File::kReturnsFalse ? Load::kReturnsFalse : Load::kSucceeds;
}

TEST_F(FileStorageInit, EveryCombinationOfTheTwoFilesEndsAsTheTableSays) {
    for (std::size_t i = 0; i < kDecisionTable.size(); ++i) {
        const Row& row = kDecisionTable[i];
        create(row.defaults == File::kNoName ? "" : defaults_,
               row.readWrite == File::kNoName ? "" : rw_);
        given(loadOf(row.defaults), loadOf(row.readWrite));
        std::filesystem::remove(bad_);
        if (row.readWrite == File::kAbsent) {
            std::filesystem::remove(rw_);
        }
        EXPECT_EQ(init(), row.usable) << "row " << i;
        EXPECT_EQ(testsupport::exists(bad_), row.setAside) << "row " << i;
        EXPECT_EQ(testsupport::exists(rw_), row.readWrite != File::kAbsent && !row.setAside)
            << "row " << i;
    }
}

TEST_F(FileStorageInit, ASecondLookThatSucceedsSetsNothingAside) {
    writeFile(rw_, "user's values");
    int loads = 0;
    storage_->onLoad = [&](const std::string& path) {
        storage_->appendErrInfo(path == rw_ ? "rw " : "defaults ");
        return path != rw_ || ++loads == 2;
    };
    EXPECT_TRUE(init());
    EXPECT_EQ(storage_->calls(), (Calls{"load " + defaults_, "load " + rw_, "load " + rw_}));
    EXPECT_TRUE(isUntouched());
    EXPECT_TRUE(log_.entries().empty()) << log_.dump();
    EXPECT_EQ(*storage_->errInfo(), "defaults rw ");
}

TEST_F(FileStorageInit, TheSecondLookShutsEveryOtherProcessOut) {
    writeFile(rw_, "user's values");
    const auto othersMayLock = [this] {
        const int directory = ::open(dir_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        const bool locked = ::flock(directory, LOCK_SH | LOCK_NB) == 0;
        EXPECT_TRUE(locked || errno == EWOULDBLOCK);
        ::close(directory);
        return locked;
    };
    std::vector<bool> freeAtLoad;
    storage_->onLoad = [&](const std::string& path) {
        freeAtLoad.push_back(othersMayLock());
        return path != rw_;
    };
    EXPECT_TRUE(init());
    EXPECT_EQ(freeAtLoad, (std::vector<bool>{true, true, false}));
    EXPECT_TRUE(othersMayLock());
}

TEST_F(FileStorageInit, SettingAsideReplacesAnOlderBadFile) {
    given(Load::kSucceeds, Load::kReturnsFalse);
    writeFile(bad_, "from last week");
    EXPECT_TRUE(init());
    EXPECT_TRUE(wasSetAside());
}

TEST_F(FileStorageInit, ABrokenFileIsSetAsideWithLoggingOffToo) {
    qlog::setDefaultThreshold(6);
    given(Load::kSucceeds, Load::kThrows);
    EXPECT_TRUE(init());
    EXPECT_TRUE(wasSetAside());
    EXPECT_TRUE(log_.entries().empty()) << log_.dump();
}

TEST_F(FileStorageInit, ARenameThatFailsIsLoggedAndNothingElse) {
    given(Load::kSucceeds, Load::kReturnsFalse);
    std::filesystem::create_directory(bad_);
    EXPECT_TRUE(init());
    EXPECT_EQ(readFile(rw_), "user's values");
    EXPECT_EQ(logged(5, errorLoading("(returned false, r/w, renamed to *.bad).")), 1U);
    EXPECT_EQ(logged(5, "Failed to rename file to '" + bad_ + "', errno=" + std::to_string(EISDIR)),
              1U)
        << log_.dump();
}

TEST_F(FileStorageInit, ValuesOfABrokenLoadStayAndTheDefaultsAreNotLoadedAgain) {
    writeFile(rw_, "user's values");
    storage_->onLoad = [this](const std::string& path) {
        add("settings/a", path == rw_ ? 10 : 1);
        return path != rw_;
    };
    EXPECT_TRUE(init());
    EXPECT_EQ(storage_->calls(), (Calls{"load " + defaults_, "load " + rw_, "load " + rw_}));
    EXPECT_EQ(storage_->querySetting("settings/a")->getValue<int>(), 10);
}

TEST_F(FileStorageInit, EmptiesSettingsAndErrorTextBeforeTheFirstLoad) {
    add("settings/old");
    storage_->appendErrInfo("old");
    storage_->onLoad = [this](const std::string&) {
        EXPECT_TRUE(storage_->settingsSet().empty());
        EXPECT_EQ(*storage_->errInfo(), "");
        return false;
    };
    EXPECT_FALSE(init());
    EXPECT_EQ(storage_->calls().size(), 1U);
    EXPECT_FALSE(storage_->querySetting("settings/old"));
}

TEST_F(FileStorageInit, EmptiesThemWithoutAnyFileNameToo) {
    create("", "");
    add("settings/old");
    storage_->appendErrInfo("old");
    EXPECT_FALSE(init());
    EXPECT_TRUE(storage_->settingsSet().empty());
    EXPECT_EQ(*storage_->errInfo(), "");
}

TEST_F(FileStorageInit, AReadOnlyStorageLoadsItsReadWriteFileToo) {
    writeFile(rw_, "user's values");
    storage_->onLoad = [this](const std::string&) {
        storage_->readonly(true);
        return true;
    };
    EXPECT_TRUE(init());
    EXPECT_EQ(storage_->calls(), (Calls{"load " + defaults_, "load " + rw_}));
}

TEST_F(FileStorageInit, TheStartAfterARecoveryBeginsWithTheDefaults) {
    given(Load::kSucceeds, Load::kReturnsFalse);
    ASSERT_TRUE(init());
    create();
    log_.clear();
    EXPECT_TRUE(init());
    EXPECT_EQ(storage_->calls(), Calls{"load " + defaults_});
    EXPECT_TRUE(log_.entries().empty()) << log_.dump();
}

TEST_F(FileStorageInit, PercentSignsInPathsAndExceptionsAreText) {
    rw_ = dir_.file("100%s%n.ini");
    bad_ = rw_ + ".bad";
    create();
    writeFile(rw_, "user's values");
    std::filesystem::create_directory(bad_);
    storage_->onLoad = [this](const std::string& path) {
        return path != rw_ ? true : throw std::runtime_error("50%d");
    };
    EXPECT_TRUE(init());
    EXPECT_EQ(logged(5, errorLoading("(threw exception, r/w, renamed to *.bad): 50%d")), 1U)
        << log_.dump();
    EXPECT_EQ(logged(5, "Failed to rename file to '" + bad_ + "', errno=" + std::to_string(EISDIR)),
              1U)
        << log_.dump();
}

}  // namespace
