#include <filesystem>
#include <gtest/gtest.h>
#include <random>
#include <string>

#include "IniStorageFixture.h"

namespace {

using testsupport::exists;
using testsupport::IniStorageFixture;
using testsupport::readFile;
using testsupport::withCrc;
using testsupport::writeFile;

const std::string kText = "#name = settings\n#savepolicy = ondemand\n[s]\na = int,1\nb = string,x";

class InifileDamage : public IniStorageFixture {
protected:
    /// Loads a read/write file of these bytes at start-up. True when it was accepted; otherwise it
    /// must lie aside, byte for byte, and the defaults stand.
    bool accepts(const std::string& bytes) {
        std::filesystem::remove(bad_);
        writeFile(rw_, bytes);
        log_.clear();
        EXPECT_TRUE(reopen());
        if (exists(rw_)) {
            EXPECT_EQ(readFile(rw_), bytes);
            EXPECT_FALSE(exists(bad_));
            return true;
        }
        EXPECT_EQ(readFile(bad_), bytes);
        EXPECT_EQ(
            loggedByBase(5, "Error loading '" + rw_ + "' (returned false, r/w, renamed to *.bad)."),
            1U);
        check({"settings/a = int,0"});
        return false;
    }

    void givenDefaults() { buildDefaults("#name = settings\na = int,0\n"); }

    void checkWhole() {
        check({"settings/a = int,0", "settings/s/a = int,1", "settings/s/b = string,x"});
    }
};

TEST_F(InifileDamage, AFileCutAtAnyLengthIsSetAside) {
    givenDefaults();
    const std::string whole = withCrc(kText);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        EXPECT_FALSE(accepts(whole.substr(0, length))) << length;
    }
    EXPECT_TRUE(accepts(whole));
    checkWhole();
}

TEST_F(InifileDamage, AFileCutAtAnyLengthIsReplacedByItsWholeCopy) {
    givenDefaults();
    const std::string whole = withCrc(kText);
    writeFile(copy_, whole);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        EXPECT_TRUE(accepts(whole.substr(0, length))) << length;
        checkWhole();
    }
}

TEST_F(InifileDamage, ACopyCutAtAnyLengthIsSkipped) {
    givenDefaults();
    const std::string whole = withCrc(kText);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        writeFile(copy_, whole.substr(0, length));
        EXPECT_TRUE(accepts(whole)) << length;
        checkWhole();
    }
}

TEST_F(InifileDamage, EveryInvertedBitIsFoundOutExceptWhereTheFormatIgnoresIt) {
    givenDefaults();
    const std::string whole = withCrc(kText);
    const std::size_t crcLine = whole.rfind("\n#crc32");
    const std::size_t equals = whole.find('=', crcLine);
    for (std::size_t bit = 0; bit < 8 * whole.size(); ++bit) {
        const std::size_t offset = bit / 8;
        std::string bytes = whole;
        bytes[offset] = static_cast<char>(bytes[offset] ^ (1 << bit % 8));
        // Nobody looks at the last byte, and the blank after "#crc32" is part of a key that may go
        // on at will.
        const bool isIgnored = offset + 1 == whole.size() || offset + 1 == equals;
        EXPECT_EQ(accepts(bytes), isIgnored) << "bit " << bit << " of " << bytes;
        if (isIgnored) {
            checkWhole();
        }
    }
}

TEST_F(InifileDamage, EveryChangedByteOfTheTextIsFoundOut) {
    givenDefaults();
    const std::string whole = withCrc(kText);
    std::mt19937 random(7);
    for (std::size_t offset = 0; offset < kText.size(); ++offset) {
        std::string bytes = whole;
        bytes[offset] = static_cast<char>(bytes[offset] ^ (1 + static_cast<int>(random() % 255)));
        EXPECT_FALSE(accepts(bytes)) << offset;
    }
}

TEST_F(InifileDamage, ALostByteIsFoundOut) {
    givenDefaults();
    const std::string whole = withCrc(kText);
    for (std::size_t offset = 0; offset < kText.size(); ++offset) {
        std::string bytes = whole;
        bytes.erase(offset, 1);
        EXPECT_FALSE(accepts(bytes)) << offset;
    }
}

TEST_F(InifileDamage, FilesOfOtherKindsAreSetAside) {
    givenDefaults();
    std::mt19937 random(8);
    std::string binary(5000, '\0');
    for (char& c : binary) {
        c = static_cast<char>(random() % 256);
    }
    const std::string crcLine = withCrc(kText).substr(kText.size() + 1);
    EXPECT_FALSE(accepts(""));
    EXPECT_FALSE(accepts("\n"));
    EXPECT_FALSE(accepts(std::string(100, '\0')));
    EXPECT_FALSE(accepts(binary));
    EXPECT_FALSE(accepts(binary + "\n" + crcLine));
    EXPECT_FALSE(accepts(crcLine));
    EXPECT_FALSE(accepts(withCrc(kText) + crcLine));
    EXPECT_FALSE(accepts("<?xml version=\"1.0\"?>\n<tv/>\n"));
    EXPECT_FALSE(accepts("\xFF\xFE#\0n\0a\0m\0e\0"));
}

TEST_F(InifileDamage, AFileBeyondAllReasonIsSetAside) {
    givenDefaults();
    build(kText);
    std::filesystem::resize_file(rw_, 2000000000U);
    ASSERT_TRUE(reopen());
    check({"settings/a = int,0"});
    EXPECT_FALSE(exists(rw_));
    EXPECT_EQ(std::filesystem::file_size(bad_), 2000000000U);
}

TEST_F(InifileDamage, LineEndsThatAToolHasChangedAreFoundOut) {
    givenDefaults();
    std::string bytes;
    for (const char c : withCrc(kText)) {
        bytes += c == '\n' ? std::string("\r\n") : std::string(1, c);
    }
    EXPECT_FALSE(accepts(bytes));
}

TEST_F(InifileDamage, ALineOfAMegabyteLoads) {
    const std::string value(1 << 20, 'x');
    build("#name = settings\nlong = string," + value + "\nlast = int,1");
    ASSERT_TRUE(reopen());
    EXPECT_EQ(setting("settings/long")->getValue<std::string>(), value);
    EXPECT_EQ(setting("settings/last")->getValue<int>(), 1);
}

TEST_F(InifileDamage, ALineOfAMegabyteThatIsNonsenseIsRejectedAndTheRestLoads) {
    const std::string line(1 << 20, 'x');
    build("#name = settings\n" + line + "\nlast = int,1");
    ASSERT_TRUE(reopen());
    check({"settings/last = int,1"});
    EXPECT_EQ(errInfo(), line + "\n");
    EXPECT_EQ(logged(5, "SettingStorageInifile: failed to load '" + line + "'"), 1U);
}

TEST_F(InifileDamage, RandomLinesWithAGoodCrcLoadWhatMakesSense) {
    std::mt19937 random(9);
    const std::string alphabet = "#[]=,;\"\\ \t\r\nab1-int8stringname/\xC3\xA4";
    for (int round = 0; round < 300; ++round) {
        std::string text = "#name = settings\n";
        for (std::size_t i = random() % 200; i > 0; --i) {
            text += alphabet[random() % alphabet.size()];
        }
        text += "\nlast = int,1";
        build(text);
        ASSERT_TRUE(reopen());
        bool found = false;
        for (const auto& entry : storage_->settingsSet()) {
            found = found || entry.first.substr(entry.first.size() - 4) == "last";
        }
        EXPECT_TRUE(found || exists(bad_)) << text;
        EXPECT_EQ(exists(bad_), loggedByBase(5, "Error loading '" + rw_ +
                                                    "' (threw exception, r/w, renamed to *.bad): "
                                                    "#name must be first line in ini-file.") > 0)
            << text;
        std::filesystem::remove(bad_);
        log_.clear();
    }
}

}  // namespace
