// What replaces a file waits for the lock on its directory, and does nothing without it.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/file.h>
#include <unistd.h>

#include "ToolRun.h"

namespace {

using testsupport::ToolRun;

class T8settingsLocked : public testsupport::ToolTest {
protected:
    T8settingsLocked() {
        put("settings/a.ini", kText);
        put("settings/a.ini.bad", kText);
        directory_ = open(path("settings").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        EXPECT_EQ(0, flock(directory_, LOCK_EX));
    }
    ~T8settingsLocked() override { close(directory_); }

    void expectRefused(const std::vector<std::string>& command, const std::string& reason) const {
        const ToolRun refused = run(command);
        EXPECT_EQ("t8settings: " + reason, refused.err);
        EXPECT_EQ(1, refused.exitCode);
        EXPECT_EQ(kText, bytesOf("settings/a.ini"));
    }

    const std::string kText = "#name = a\nbass = int8,3\n#crc32 = false\n";
    const std::string file_ = path("settings/a.ini");
    int directory_ = -1;
};

TEST_F(T8settingsLocked, SealSaysThatItGaveUpAndNothingElse) {
    expectRefused({"seal", file_},
                  file_ +
                      " is unchanged: its directory is locked by another process for too long, or "
                      "cannot be locked\n");
}

TEST_F(T8settingsLocked, RecoverSaysThatItGaveUpAndNothingElse) {
    expectRefused({"recover", file_, "--from", "bad", "--yes"},
                  "nothing was changed: the lock on " + path("settings") +
                      " could not be had; end the program that holds it, or whatever keeps the "
                      "directory from being read, and try again\n");
}

}  // namespace
