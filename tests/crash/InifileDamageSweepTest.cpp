#include <algorithm>
#include <array>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <iostream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "IniStorageFixture.h"
#include "Sanitized.h"
#include "qlog/QlogControl.h"

namespace {

using testsupport::exists;
using testsupport::IniStorageFixture;
using testsupport::readFile;
using testsupport::withCrc;
using testsupport::writeFile;

// The rules of the format by which a changed file still counts as whole. All of them are about the
// line of the CRC: not one byte before it may change.
const char* const kDetected = nullptr;
const char* const kKeyGoesOn = "bytes between #crc32 and its = do not count";
const char* const kWhiteSpace = "white space around the number does not count";
const char* const kNumberEnds = "the number is read as far as it goes";
const char* const kNotations = "the number may be hexadecimal, octal or signed";
const char* const kLastByte = "the byte that ends the file is not looked at";
const char* const kDropped = "what follows the line of the CRC is dropped";
const char* const kOptedOut = "#crc32 = false switches the check off";

/// Where the parts of a whole file's CRC line are.
struct CrcLine {
    explicit CrcLine(const std::string& whole)
        : start(whole.rfind("\n#crc32")),
          keyEnd(start + 7),
          equals(whole.find('=', start)),
          number(equals + 2),
          last(whole.size() - 1) {}

    std::size_t start;   ///< the line feed before it
    std::size_t keyEnd;  ///< the blank after "#crc32"
    std::size_t equals;
    std::size_t number;
    std::size_t last;  ///< the line feed that ends it, and the file
};

/// `text` with `end` in place of each line feed.
std::string withLineEnds(const std::string& text, const std::string& end) {
    std::string bytes;
    for (const char c : text) {
        bytes += c == '\n' ? end : std::string(1, c);
    }
    return bytes;
}

/// What lies beside the damaged file.
enum class Beside { kNothing, kGoodCopy, kGoodFile };

std::string nameOf(const testing::TestParamInfo<Beside>& beside) {
    static constexpr std::array<const char*, 3> kNames = {"AFile", "AFileBesideItsGoodCopy",
                                                          "ACopyBesideItsGoodFile"};
    return kNames.at(static_cast<std::size_t>(beside.param));
}

/// A good file is damaged in every way, and every time it is loaded as at start-up. What is
/// detected never gives a value and is not changed; what is accepted gives the values as saved.
class InifileDamageSweep : public IniStorageFixture, public testing::WithParamInterface<Beside> {
protected:
    InifileDamageSweep() {
        qlog::setDefaultThreshold(5);
        prepare(0);
    }

    /// One of several values of each setting: texts of equal length, which grows with `more`.
    static std::string textOf(int generation, std::size_t more) {
        const std::string digit = std::to_string(generation);
        std::string text = "#name = settings\n#savepolicy = ondemand";
        for (const char* const section : {"\n[first]", "\n\n[second]", "\n\n[third]"}) {
            text += section;
            text += "\na = int," + digit + "\nb = char," + digit + "\nc = string,\"" + digit +
                    ", \\\"quoted\\\"\\n" + digit + "\"";
            text += "\nd = float64," + digit + ".5\ne = uint8[]," + digit + ";2;" + digit;
            text += "\nf = map<int:string>,1," + digit + ",3,a" + digit + "b";
            text += "\ng = string[],x" + digit + ";\"y,;" + digit + "\";z" + digit;
            for (std::size_t i = 0; i < more; i += 4) {
                text += std::to_string(i % 900 + 100) + digit;
            }
        }
        return text;
    }

    /// Lays down the undamaged files: the saved values are generation 2, those of the copy 3.
    void prepare(std::size_t more) {
        std::filesystem::remove(rw_);
        std::filesystem::remove(copy_);
        buildDefaults(textOf(1, more));
        older_ = withCrc(textOf(2, more));
        newer_ = withCrc(textOf(3, more));
        defaultValues_ = valuesOf("");
        olderValues_ = valuesOf(older_);
        newerValues_ = valuesOf(newer_);
        std::filesystem::remove(rw_);
        if (GetParam() == Beside::kGoodCopy) {
            writeFile(copy_, newer_);
        } else if (GetParam() == Beside::kGoodFile) {
            writeFile(rw_, older_);
        }
    }

    /// The file that is damaged, as it was, and one with the other values.
    const std::string& whole() const { return GetParam() == Beside::kGoodFile ? newer_ : older_; }
    const std::string& other() const { return GetParam() == Beside::kGoodFile ? older_ : newer_; }

    /// Loads the file as `bytes`, which break no more than `rule` allows.
    void sweep(const std::string& what, const std::string& bytes, const char* rule) {
        if (bytes == older_ || bytes == newer_ || HasFailure()) {
            return;
        }
        ++tried_;
        log_.clear();
        outcomes_[GetParam() == Beside::kGoodCopy ? "the copy stands in"
                  : rule == kDetected             ? "detected"
                                                  : rule] += 1;
        const std::string& damaged = GetParam() == Beside::kGoodFile ? copy_ : rw_;
        // Some file systems put a file that is overwritten on the disk at once, a new one later.
        std::filesystem::remove(damaged);
        writeFile(damaged, bytes);
        ASSERT_TRUE(reopen()) << what;
        if (GetParam() == Beside::kNothing) {
            expectAlone(what, bytes, rule);
        } else if (GetParam() == Beside::kGoodCopy) {
            expectFiles(what, bytes, newer_);
            EXPECT_EQ(settingsOf(*storage_), newerValues_) << what;
        } else {
            expectFiles(what, older_, bytes);
            EXPECT_EQ(settingsOf(*storage_), rule != kDetected ? newerValues_ : olderValues_)
                << what;
        }
    }

    /// Loads one of kTimesLess of the files that it is given, which differ in one byte only.
    void sweepInTurn(const std::string& what, const std::string& bytes, const char* rule) {
        if (offered_++ % testsupport::kTimesLess == 0) {
            sweep(what, bytes, rule);
        }
    }

    static const char* ruleFor(const std::map<std::size_t, const char*>& rules,
                               std::size_t offset) {
        const auto found = rules.find(offset);
        return found == rules.end() ? kDetected : found->second;
    }

    /// How many were tried, and which of them were accepted.
    ~InifileDamageSweep() override {
        std::cout << tried_ << " damages\n";
        for (const auto& entry : outcomes_) {
            std::cout << "  " << entry.second << ": " << entry.first << "\n";
        }
    }

private:
    std::vector<std::string> valuesOf(const std::string& bytes) {
        if (!bytes.empty()) {
            writeFile(rw_, bytes);
        }
        EXPECT_TRUE(reopen());
        return settingsOf(*storage_);
    }

    void expectFiles(const std::string& what, const std::string& file, const std::string& copy) {
        EXPECT_FALSE(exists(bad_)) << what;
        EXPECT_EQ(readFile(rw_), file) << what;
        EXPECT_EQ(readFile(copy_), copy) << what;
    }

    void expectAlone(const std::string& what, const std::string& bytes, const char* rule) {
        EXPECT_FALSE(exists(copy_)) << what;
        if (rule != kDetected) {
            EXPECT_FALSE(exists(bad_)) << what;
            EXPECT_EQ(readFile(rw_), bytes) << what;
            EXPECT_EQ(settingsOf(*storage_), olderValues_) << what;
            return;
        }
        EXPECT_EQ(
            loggedByBase(5, "Error loading '" + rw_ + "' (returned false, r/w, renamed to *.bad)."),
            1U)
            << what;
        EXPECT_FALSE(exists(rw_)) << what;
        ASSERT_TRUE(exists(bad_)) << what;
        EXPECT_EQ(readFile(bad_), bytes) << what;
        EXPECT_EQ(settingsOf(*storage_), defaultValues_) << what;
        std::filesystem::remove(bad_);
    }

    std::string older_;
    std::string newer_;
    std::vector<std::string> defaultValues_;
    std::vector<std::string> olderValues_;
    std::vector<std::string> newerValues_;
    std::map<std::string, int> outcomes_;
    int tried_ = 0;
    std::size_t offered_ = 0;
};

TEST_P(InifileDamageSweep, CutAtAnyLength) {
    for (std::size_t length = 0; length < whole().size(); ++length) {
        sweep("cut to " + std::to_string(length), whole().substr(0, length), kDetected);
    }
}

TEST_P(InifileDamageSweep, EveryBitInverted) {
    const CrcLine line(whole());
    for (std::size_t bit = 0; bit < 8 * whole().size(); ++bit) {
        const std::size_t offset = bit / 8;
        std::string bytes = whole();
        bytes[offset] = static_cast<char>(bytes[offset] ^ (1 << bit % 8));
        sweepInTurn("bit " + std::to_string(bit), bytes,
                    offset == line.keyEnd ? kKeyGoesOn
                    : offset == line.last ? kLastByte
                                          : kDetected);
    }
}

TEST_P(InifileDamageSweep, EveryByteLostOrDoubled) {
    const CrcLine line(whole());
    const std::map<std::size_t, const char*> losses = {{line.keyEnd, kKeyGoesOn},
                                                       {line.number - 1, kWhiteSpace}};
    const std::map<std::size_t, const char*> doubles = {{line.keyEnd - 1, kKeyGoesOn},
                                                        {line.keyEnd, kKeyGoesOn},
                                                        {line.number - 1, kWhiteSpace},
                                                        {line.last, kDropped}};
    for (std::size_t offset = 0; offset < whole().size(); ++offset) {
        std::string bytes = whole();
        bytes.erase(offset, 1);
        sweepInTurn("lost byte " + std::to_string(offset), bytes, ruleFor(losses, offset));
        bytes = whole();
        bytes.insert(offset, 1, bytes[offset]);
        sweepInTurn("doubled byte " + std::to_string(offset), bytes, ruleFor(doubles, offset));
    }
}

TEST_P(InifileDamageSweep, EveryByteReplaced) {
    const CrcLine line(whole());
    const std::map<std::size_t, const char*> ends = {{line.keyEnd, kKeyGoesOn},
                                                     {line.last, kLastByte}};
    std::map<std::size_t, const char*> spaces = ends;
    spaces[line.number - 1] = kWhiteSpace;
    std::mt19937 random(7);
    for (std::size_t offset = 0; offset < whole().size(); ++offset) {
        // None of the random bytes is white space, a sign, a digit or the "=".
        for (const char c : {'\0', '\n', '\t', static_cast<char>(0x80 + random() % 0x80)}) {
            std::string bytes = whole();
            bytes[offset] = c;
            sweepInTurn("replaced byte " + std::to_string(offset), bytes,
                        ruleFor(c == '\n' || c == '\t' ? spaces : ends, offset));
        }
    }
}

TEST_P(InifileDamageSweep, AByteInsertedAnywhere) {
    const CrcLine line(whole());
    const std::map<std::size_t, const char*> ends = {{line.keyEnd, kKeyGoesOn},
                                                     {line.equals, kKeyGoesOn},
                                                     {line.last, kNumberEnds},
                                                     {line.last + 1, kDropped}};
    std::map<std::size_t, const char*> spaces = ends;
    spaces[line.number - 1] = kWhiteSpace;
    spaces[line.number] = kWhiteSpace;
    for (std::size_t offset = 0; offset <= whole().size(); ++offset) {
        for (const char c : {'\0', '\n', ' ', 'x'}) {
            std::string bytes = whole();
            bytes.insert(offset, 1, c);
            sweepInTurn("inserted before byte " + std::to_string(offset), bytes,
                        ruleFor(c == '\n' || c == ' ' ? spaces : ends, offset));
        }
    }
}

// A disk loses, zeroes and mixes up blocks; erased flash is full of ones.
TEST_P(InifileDamageSweep, EveryBlockFilledLostOrMixedUp) {
    prepare(4000);
    const std::string file = whole();
    ASSERT_GT(file.size(), 12000U);
    for (const std::size_t size : {128U, 512U, 4096U}) {
        for (std::size_t start = 0; start < file.size(); start += size) {
            const std::size_t length = std::min<std::size_t>(size, file.size() - start);
            const std::string what = std::to_string(size) + " bytes at " + std::to_string(start);
            const char* const rule = start == CrcLine(file).last ? kLastByte : kDetected;
            for (const char fill : {'\0', '\xFF'}) {
                sweep(what, std::string(file).replace(start, length, length, fill), rule);
            }
            sweep(what, file.substr(0, start) + std::string(file.size() - start, '\0'), rule);
            sweep(what, std::string(file).erase(start, length), kDetected);
            sweep(what, std::string(file).replace(start, length, file, 0, length), kDetected);
            sweep(what, std::string(file).replace(start, length, other(), start, length),
                  kDetected);
        }
    }
}

TEST_P(InifileDamageSweep, TwoFilesJoinedAnywhere) {
    for (std::size_t length = 0; length <= other().size(); ++length) {
        const std::string what = " joined at " + std::to_string(length);
        sweep("two" + what, other().substr(0, length) + whole().substr(length), kDetected);
        // Without a line of its own, the second piece lies behind the first one's.
        const bool hasLine = length >= CrcLine(other()).keyEnd;
        sweep("whole and piece" + what, whole() + other().substr(0, length),
              length == 0 || !hasLine ? kDropped : kDetected);
        sweep("piece and whole" + what, other().substr(0, length) + whole(), kDetected);
    }
}

TEST_P(InifileDamageSweep, FilesOfOtherKinds) {
    const std::string text = whole().substr(0, CrcLine(whole()).start);
    const std::string line = whole().substr(text.size() + 1);
    std::mt19937 random(8);
    std::string binary(5000, '\0');
    std::generate(binary.begin(), binary.end(), [&] { return static_cast<char>(random() % 256); });
    const std::map<std::string, std::string> kinds = {
        {"empty", ""},
        {"one line feed", "\n"},
        {"zeros", std::string(whole().size(), '\0')},
        {"erased", std::string(whole().size(), '\xFF')},
        {"binary", binary},
        {"binary with the line", binary + "\n" + line},
        {"the line alone", line},
        {"no line", text},
        {"no line but the line feed before it", text + "\n"},
        {"no number", text + "\n#crc32 = \n"},
        {"the line twice", whole() + line},
        {"the line first", line + text + "\n"},
        {"the line of other values", text + other().substr(CrcLine(other()).start)},
        {"carriage returns", withLineEnds(whole(), "\r\n")},
        {"carriage returns alone", withLineEnds(whole(), "\r")},
        {"no line feeds", withLineEnds(whole(), "")},
        {"a line feed in front", "\n" + whole()},
        {"a byte order mark", "\xEF\xBB\xBF" + whole()},
        {"a line in front", "garbage\n" + whole()},
        {"a block in front", std::string(512, '\0') + whole()},
        {"a megabyte in front", std::string(1 << 20, 'x') + whole()},
        {"a line of a megabyte in the text", text + "\n" + std::string(1 << 20, 'x') + "\n" + line},
        {"a line of a megabyte alone", std::string(1 << 20, 'x')},
        {"an upper-case line", text + "\n#CRC32" + line.substr(6)},
        {"XML", "<?xml version=\"1.0\"?>\n<tv/>\n"},
        {"16-bit characters", std::string("\xFF\xFE#\0n\0a\0m\0e\0", 12)},
    };
    for (const auto& kind : kinds) {
        sweep(kind.first, kind.second, kDetected);
    }
}

TEST_P(InifileDamageSweep, WhatTheFormatLetsPass) {
    const std::string text = whole().substr(0, CrcLine(whole()).start);
    const std::string number = std::to_string(Qel::Settings::text::crc32(text));
    std::ostringstream bases;
    bases << text << "\n#crc32 = 0x" << std::hex << Qel::Settings::text::crc32(text) << "\n";
    sweep("hexadecimal", bases.str(), kNotations);
    sweep("signed", text + "\n#crc32 = +" + number + "\n", kNotations);
    sweep("no blanks", text + "\n#crc32=" + number + "\n", kWhiteSpace);
    sweep("a carriage return", text + "\n#crc32 = " + number + "\r\n", kWhiteSpace);
    sweep("a remark", text + "\n#crc32 = " + number + " by hand\n", kNumberEnds);
    sweep("a remark before", text + "\n#crc32 of the above = " + number + "\n", kKeyGoesOn);
    sweep("opted out", text + "\n#crc32 = false\n", kOptedOut);
    for (const std::string& more :
         {std::string("\n"), std::string("garbage"), std::string("[first]\na = int,9\n"),
          std::string("#readonly\n"), std::string(512, '\0'), std::string(4096, '\xFF'),
          std::string(1 << 20, 'x'), text}) {
        sweep("followed by " + more.substr(0, 20), whole() + more, kDropped);
    }
}

INSTANTIATE_TEST_SUITE_P(Of, InifileDamageSweep,
                         testing::Values(Beside::kNothing, Beside::kGoodCopy, Beside::kGoodFile),
                         nameOf);

class InifileDamage : public IniStorageFixture {};

// Nobody checks such a file: what is damaged in it is read as it stands. Damage to the line itself
// is found out all the same.
TEST_F(InifileDamage, AFileThatHasOptedOutOfTheCheckIsReadAsItStands) {
    const std::string text =
        "#name = settings\n[s]\na = int,1\nb = string[],\"x\";y\nc = bool,true";
    const std::string whole = text + "\n#crc32 = false\n";
    const CrcLine line(whole);
    int readAsItStands = 0;
    for (std::size_t bit = 0; bit < 8 * whole.size(); ++bit) {
        const std::size_t offset = bit / 8;
        std::string bytes = whole;
        bytes[offset] = static_cast<char>(bytes[offset] ^ (1 << bit % 8));
        const bool passes = offset < line.start || offset == line.keyEnd || offset == line.last;
        readAsItStands += passes ? 1 : 0;
        writeFile(rw_, bytes);
        ASSERT_TRUE(reopen()) << bit;
        EXPECT_EQ(exists(rw_), passes) << bit;
        EXPECT_EQ(readFile(passes ? rw_ : bad_), bytes) << bit;
        std::filesystem::remove(rw_);
    }
    for (std::size_t length = 0; length < whole.size(); ++length) {
        writeFile(rw_, whole.substr(0, length));
        ASSERT_TRUE(reopen()) << length;
        EXPECT_FALSE(exists(rw_)) << length;
        EXPECT_EQ(readFile(bad_), whole.substr(0, length));
        check({});
    }
    std::cout << 9 * whole.size() << " damages, " << readAsItStands << " read as they stand\n";
}

TEST_F(InifileDamage, AFileBeyondAllReasonIsSetAside) {
    buildDefaults("#name = settings\na = int,0\n");
    build("#name = settings\na = int,1");
    std::filesystem::resize_file(rw_, 2000000000U);
    ASSERT_TRUE(reopen());
    check({"settings/a = int,0"});
    EXPECT_FALSE(exists(rw_));
    EXPECT_EQ(std::filesystem::file_size(bad_), 2000000000U);
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
