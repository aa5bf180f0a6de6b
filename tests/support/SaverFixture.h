#ifndef TESTS_SUPPORT_SAVERFIXTURE_H
#define TESTS_SUPPORT_SAVERFIXTURE_H

#include <cstddef>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "LogCapture.h"
#include "Qel/Settings/SettingsStorageFileAsyncSaver.h"
#include "SaverThreads.h"
#include "SaverTiming.h"
#include "StubFileStorage.h"
#include "SystemCommands.h"

namespace testsupport {

/// A storage of the background saver that touches no file.
class AsyncStub : public StubFileStorage {
public:
    explicit AsyncStub(const std::string& name, SavePolicy policy = Save_async)
        : StubFileStorage(name, "", "/absent/" + name, policy) {}

    ~AsyncStub() override { retire(); }

    /// As a change of one of its settings does.
    void touch() { changed(name() + "/x"); }

    std::size_t saves() const { return calls().size(); }

    using SettingStorageFileBase::retire;
};

/// The process's saver, whose log messages and shell commands are recorded.
///
/// `saver()` has the thread running, as the product has it; `stoppedSaver()` leaves it to the test
/// to call the operations one by one.
class SaverFixture : public testing::Test {
protected:
    using Saver = Qel::Settings::SettingsStorageFileAsyncSaver;
    using Texts = std::vector<std::string>;

    static Saver& saver() { return *Saver::initInstance(); }

    Saver& stoppedSaver() {
        saver().stop();
        log_.clear();
        SystemCommands::instance().clear();
        return saver();
    }

    static Texts commands() { return SystemCommands::instance().commands(); }

    /// The time that the thread rests between two passes; before the saver's first use.
    static void rest(int milliseconds) {
        Qel::Settings::saverIdlePeriod = boost::chrono::milliseconds(milliseconds);
    }

    /// Returns when the thread has made its first pass and rests. The test logs nothing meanwhile.
    void untilSaverRests() const {
        ASSERT_TRUE(log_.waitFor("SettingsStorageFileAsyncSaver::threadFunc(): starting"));
        untilSaverThreadRests();
    }

    /// How often the saver logged exactly this.
    std::size_t logged(int level, const std::string& text) const {
        return log_.count(level, "Qel::Settings", "src/SettingsStorageFileAsyncSaver", text);
    }

    /// The texts of all messages of the saver, each after its level and a blank.
    Texts messages() const {
        Texts texts;
        for (const LogEntry& entry : log_.entries()) {
            if (entry.source == "src/SettingsStorageFileAsyncSaver") {
                EXPECT_EQ("Qel::Settings", entry.context);
                texts.push_back(std::to_string(entry.level) + " " + entry.text);
            }
        }
        return texts;
    }

    /// What a flush runs.
    const Texts flushCommands_ = {"sync > /dev/null", "flash flushcache > /dev/null"};
    LogCapture log_;
};

}  // namespace testsupport

#endif
