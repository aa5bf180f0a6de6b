#ifndef TESTS_SUPPORT_PROCESSFIXTURE_H
#define TESTS_SUPPORT_PROCESSFIXTURE_H

#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <stdlib.h>
#include <string>

#include "Child.h"
#include "Files.h"
#include "TempDir.h"

namespace testsupport {

/// A base directory with the defaults of one storage for each pair of directories, and real
/// processes that use it: SettingsProgram under a name of one's choice.
///
/// The commands of a flush are scripts here that write their names down. The marker of a reset lies
/// in the directory, not where the product has it.
class ProcessFixture : public testing::Test {
protected:
    static constexpr const char* kMain = "QelVisionMainApplication";
    static constexpr const char* kHelper = "Helper";
    static constexpr const char* kFlush = "sync\nflash flushcache\n";

    ProcessFixture() {
        for (const char* const name : {"bin", "qel-default-settings", "settings",
                                       "qel-default-calibration_data", "calibration_data"}) {
            std::filesystem::create_directory(dir_.file(name));
        }
        writeFile(dir_.file("qel-default-settings/tv.ini"),
                  "#name = tv\nvolume = int,1\ntext = string,a\n");
        writeFile(dir_.file("qel-default-calibration_data/panel.ini"),
                  "#name = panel\ngamma = int,1\n");
        for (const char* const name : {"sync", "flash"}) {
            writeFile(dir_.file("bin/") + name, "#!/bin/sh\necho \"" + std::string(name) +
                                                    "${*:+ $*}\" >>'" + dir_.file("commands") +
                                                    "'\n");
            std::filesystem::permissions(dir_.file("bin/") + name,
                                         std::filesystem::perms::owner_all);
        }
        environment_["PATH"] = dir_.file("bin") + ":" + getenv("PATH");
        environment_["QLOG"] = "4";
    }

    /// A process of SettingsProgram called `name`, its store not up yet.
    std::unique_ptr<Child> spawn(const std::string& name) {
        const std::string path = dir_.file("bin/" + name);
        if (!exists(path)) {
            std::filesystem::create_symlink(T8_TEST_PROGRAM_DIR "/SettingsProgram", path);
        }
        return std::make_unique<Child>(path, std::vector<std::string>{}, environment_, errors_);
    }

    /// The same with its store up.
    std::unique_ptr<Child> start(const std::string& name) {
        std::unique_ptr<Child> child = spawn(name);
        EXPECT_EQ("up", child->ask(up_)) << errors();
        return child;
    }

    /// A process of another program of the tests.
    std::unique_ptr<Child> run(const std::string& program,
                               const std::vector<std::string>& arguments) {
        return std::make_unique<Child>(T8_TEST_PROGRAM_DIR "/" + program, arguments, environment_,
                                       errors_);
    }

    /// What the flush commands wrote down.
    std::string commands() const { return contentsOf(dir_.file("commands")); }

    /// What all processes wrote to standard error.
    std::string errors() const { return contentsOf(errors_); }

    /// Whether the user's values of `storage` ("settings/tv") are on disk with this line.
    bool onDisk(const std::string& storage, const std::string& line) const {
        return contentsOf(dir_.file(storage + ".ini")).find("\n" + line + "\n") !=
               std::string::npos;
    }

    static std::string contentsOf(const std::string& path) {
        return exists(path) ? readFile(path) : "";
    }

    TempDir dir_;
    std::string errors_ = dir_.file("errors");
    std::string marker_ = dir_.file("marker");
    std::string up_ = "up " + dir_.path() + " " + marker_;
    Child::Environment environment_;
};

}  // namespace testsupport

#endif
