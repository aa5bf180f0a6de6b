#ifndef TESTS_SUPPORT_DAMAGEDFILEFIXTURE_H
#define TESTS_SUPPORT_DAMAGEDFILEFIXTURE_H

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>

#include "FileCalls.h"
#include "IniStorageFixture.h"

namespace testsupport {

/// A read/write file that is damaged and cannot be renamed to ".bad": a directory of that name is
/// in the way.
class DamagedFileFixture : public IniStorageFixture {
protected:
    const std::string kDamaged =
        "#name = settings\n[]\na = int,1\n" + std::string(100000, 'x') + '\0' + "end";
    const std::string kSaved = withCrc("#name = settings\n#savepolicy = ondemand\n[]\na = int,2");

    DamagedFileFixture() {
        buildDefaults("#name = settings\na = int,0\n");
        std::filesystem::create_directory(bad_);
    }

    /// Starts up over a damaged file that stays, and changes a value.
    void loadDamaged() {
        writeFile(rw_, kDamaged);
        ASSERT_TRUE(reopen());
        ASSERT_EQ(readFile(rw_), kDamaged);
        setting("settings/a")->setValue(2);
    }

    std::string stays() const {
        return "'" + rw_ + "' stays where it is; a save would copy it first.";
    }
    std::string keptAs(const std::string& path) const {
        return "The damaged file '" + rw_ + "' is kept as '" + path + "'.";
    }
    std::string notSaved(const std::string& state, const std::string& reason) const {
        return "'" + rw_ + "' is not saved, a later save tries again: the " + state +
               " file there can neither be set aside nor copied: " + reason;
    }
    std::string lost(const std::string& reason) const { return lost(rw_, reason); }
    std::string lostCopy(const std::string& reason) const { return lost(copy_, reason); }
    static std::string lost(const std::string& path, const std::string& reason) {
        return "'" + path +
               "' is lost and written afresh: the damaged file there can neither be set aside nor "
               "copied: " +
               reason;
    }

    static mode_t permissionsOf(const std::string& path) {
        struct stat status = {};
        EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
        return status.st_mode & 07777U;
    }
    static std::ptrdiff_t placeOf(const std::string& call, const FileCalls& calls) {
        const auto found = std::find(calls.calls().begin(), calls.calls().end(), call);
        EXPECT_NE(found, calls.calls().end()) << call;
        return found - calls.calls().begin();
    }

    std::string second_ = bad_ + ".1";
};

}  // namespace testsupport

#endif
