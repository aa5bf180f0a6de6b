#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <sys/stat.h>

#include "FileCalls.h"
#include "Files.h"
#include "TempDir.h"
#include "files/WholeFile.h"

namespace {

using Qel::Settings::files::readWholeFile;
using testsupport::FileCalls;
using testsupport::writeFile;

class WholeFile : public testing::Test {
protected:
    /// What the file reads as; "false" when it cannot be read, which must leave nothing behind.
    static std::string read(const std::string& path) {
        std::string data = "left";
        if (readWholeFile(path, data)) {
            return data;
        }
        EXPECT_EQ(data, "") << path;
        return "false";
    }

    static std::size_t openDescriptors() {
        const std::filesystem::directory_iterator descriptors("/proc/self/fd");
        return static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
    }

    testsupport::TempDir dir_;
    std::string file_ = dir_.file("x.ini");
};

TEST_F(WholeFile, AllBytesAreRead) {
    std::string bytes;
    for (int i = 0; i < 70000; ++i) {
        bytes += static_cast<char>(i * 7 % 256);
    }
    for (const std::size_t size : {0U, 1U, 2U, 255U, 4095U, 4096U, 4097U, 65536U, 70000U}) {
        writeFile(file_, bytes.substr(0, size));
        EXPECT_EQ(read(file_), bytes.substr(0, size)) << size;
    }
}

TEST_F(WholeFile, AFileThatSaysItIsEmptyIsReadToItsEnd) {
    EXPECT_EQ(std::filesystem::file_size("/proc/self/status"), 0U);
    EXPECT_NE(read("/proc/self/status").find("VmRSS:"), std::string::npos);
    EXPECT_GT(read("/proc/self/smaps").size(), 4096U);
}

TEST_F(WholeFile, ALinkIsFollowed) {
    writeFile(file_, "text");
    std::filesystem::create_symlink("x.ini", dir_.file("link.ini"));
    EXPECT_EQ(read(dir_.file("link.ini")), "text");
}

TEST_F(WholeFile, WhatIsNotThereIsNotRead) {
    EXPECT_EQ(read(file_), "false");
    EXPECT_EQ(read(""), "false");
    EXPECT_EQ(read(dir_.file("absent/x.ini")), "false");
    std::filesystem::create_symlink("nowhere", dir_.file("link.ini"));
    EXPECT_EQ(read(dir_.file("link.ini")), "false");
}

TEST_F(WholeFile, WhatIsNoRegularFileIsNotReadAndNotWaitedFor) {
    EXPECT_EQ(read(dir_.path()), "false");
    ASSERT_EQ(::mkfifo(file_.c_str(), 0600), 0);
    EXPECT_EQ(read(file_), "false");
    EXPECT_EQ(read("/dev/null"), "false");
    EXPECT_EQ(read("/dev/zero"), "false");
}

TEST_F(WholeFile, AFileBeyondAllReasonIsNotRead) {
    using Qel::Settings::files::kLargestFile;
    writeFile(file_, "");
    std::filesystem::resize_file(file_, kLargestFile + 1);
    EXPECT_EQ(read(file_), "false");
    std::filesystem::resize_file(file_, 2000000000U);
    EXPECT_EQ(read(file_), "false");
    std::filesystem::resize_file(file_, kLargestFile);
    std::string data;
    EXPECT_TRUE(readWholeFile(file_, data));
    EXPECT_EQ(data.size(), kLargestFile);
}

TEST_F(WholeFile, AnInterruptedReadIsRepeated) {
    writeFile(file_, "text");
    FileCalls calls(dir_.path());
    calls.fail("read x.ini", EINTR, 3);
    EXPECT_EQ(read(file_), "text");
}

TEST_F(WholeFile, AFileThatCannotBeReadToItsEndIsNotRead) {
    writeFile(file_, "text");
    for (const std::size_t number : {1U, 2U}) {
        FileCalls calls(dir_.path());
        calls.failAt(number, EIO);
        EXPECT_EQ(read(file_), "false");
        EXPECT_EQ(calls.calls().at(number), "read x.ini");
    }
}

TEST_F(WholeFile, AShortageIsGivenFiveTries) {
    writeFile(file_, "text");
    for (const int shortage : {EINTR, EMFILE, ENFILE, EAGAIN, ENOMEM}) {
        FileCalls calls(dir_.path());
        calls.fail("open x.ini", shortage, 4);
        EXPECT_EQ(read(file_), "text") << shortage;
        calls.clear();
        calls.fail("open x.ini", shortage, 5);
        EXPECT_EQ(read(file_), "false") << shortage;
        EXPECT_EQ(calls.count("open x.ini"), 5U) << shortage;
    }
}

TEST_F(WholeFile, OtherReasonsAreNotWaitedFor) {
    writeFile(file_, "text");
    for (const int reason : {EACCES, EIO, ENOENT, ELOOP}) {
        FileCalls calls(dir_.path());
        calls.fail("open x.ini", reason);
        EXPECT_EQ(read(file_), "false") << reason;
        EXPECT_EQ(calls.count("open x.ini"), 1U) << reason;
    }
}

TEST_F(WholeFile, NoDescriptorIsLeftOpen) {
    writeFile(file_, "text");
    const std::size_t before = openDescriptors();
    EXPECT_EQ(read(file_), "text");
    EXPECT_EQ(read(dir_.path()), "false");
    {
        FileCalls calls(dir_.path());
        calls.fail("read x.ini", EIO);
        EXPECT_EQ(read(file_), "false");
        EXPECT_TRUE(calls.allClosedOnExec());
    }
    EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
