#include <cerrno>
#include <filesystem>

#include "Files.h"
#include "TempDir.h"
#include "files/DirectoryLock.h"
#include "files/SafeWrite.h"
#include "files/WholeFile.h"

using namespace Qel::Settings::files;
using testsupport::exists;
using testsupport::TempDir;
using testsupport::writeFile;

namespace {

TEST(LargestFile, IsReadToItsLastByte) {
    const TempDir dir;
    const std::string path = dir.file("x.ini");
    writeFile(path, "");
    std::filesystem::resize_file(path, kLargestFile);
    std::string data;
    EXPECT_TRUE(readWholeFile(path, data));
    EXPECT_EQ(kLargestFile, data.size());
}

TEST(LargestFile, OneByteMoreIsNoSettingsFile) {
    const TempDir dir;
    const std::string path = dir.file("x.ini");
    writeFile(path, "");
    std::filesystem::resize_file(path, kLargestFile + 1);
    std::string data = "before";
    EXPECT_FALSE(readWholeFile(path, data));
    EXPECT_EQ("", data);
}

TEST(LargestFile, WhatCouldNotBeReadBackIsNotWritten) {
    const TempDir dir;
    const std::string file = dir.file("x.ini");
    const std::string copy = dir.file("x.ini.tmp");
    const std::string data(kLargestFile + 1, 'a');
    const DirectoryLock lock(dir.path(), DirectoryLock::Mode::kExclusive);
    EXPECT_EQ(WriteResult::kCopyFailed, writeThroughCopy({file, copy, data, false, false}, lock));
    EXPECT_EQ(EFBIG, errno);
    EXPECT_FALSE(exists(file));
    EXPECT_FALSE(exists(copy));
}

}  // namespace
