#include <atomic>
#include <cstdlib>
#include <dlfcn.h>
#include <functional>
#include <glob.h>
#include <gtest/gtest.h>
#include <new>
#include <stdexcept>
#include <vector>

#include "AtOnce.h"
#include "NoMachineMarker.h"
#include "ProductFixture.h"
#include "Qel/Settings/SettingHolder.h"
#include "types/ApplicationTypes.h"

namespace Qel {
namespace Settings {

namespace {

std::function<void()>& duringTypeRegistration() {
    static std::function<void()> action;
    return action;
}

}  // namespace

// In place of the product's own list, to have the product's set-up fail.
const std::vector<ApplicationType>& applicationTypes() {
    static const std::vector<ApplicationType> none;
    if (duringTypeRegistration()) {
        duringTypeRegistration()();
    }
    return none;
}

}  // namespace Settings
}  // namespace Qel

namespace {

/// The lists of files that the C library has made and not got back, and a machine that is out of
/// memory as soon as it has made one.
std::atomic<int> listsOfFiles{0};
std::atomic<bool> memoryEndsWithAList{false};
std::atomic<bool> noMemoryForAList{false};
std::atomic<bool> nextAllocationFails{false};

template <class Function>
Function* ofTheCLibrary(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

using Complaint = int(const char*, int);

int countedGlob(const char* function, const char* pattern, int flags, Complaint* complaint,
                void* list) {
    using Glob = int(const char*, int, Complaint*, void*);
    ++listsOfFiles;
    if (noMemoryForAList.exchange(false)) {
        return GLOB_NOSPACE;
    }
    const int result = ofTheCLibrary<Glob>(function)(pattern, flags, complaint, list);
    if (memoryEndsWithAList && result == 0) {
        nextAllocationFails = true;
    }
    return result;
}

void countedGlobfree(const char* function, void* list) {
    --listsOfFiles;
    ofTheCLibrary<void(void*)>(function)(list);
}

}  // namespace

// In place of the C library's; which pair is called depends on how the caller was compiled.
int plainGlob(const char* pattern, int flags, Complaint* complaint, void* list) __asm__("glob");
int plainGlob(const char* pattern, int flags, Complaint* complaint, void* list) {
    return countedGlob("glob", pattern, flags, complaint, list);
}
int largeGlob(const char* pattern, int flags, Complaint* complaint, void* list) __asm__("glob64");
int largeGlob(const char* pattern, int flags, Complaint* complaint, void* list) {
    return countedGlob("glob64", pattern, flags, complaint, list);
}
void plainGlobfree(void* list) __asm__("globfree");
void plainGlobfree(void* list) {
    countedGlobfree("globfree", list);
}
void largeGlobfree(void* list) __asm__("globfree64");
void largeGlobfree(void* list) {
    countedGlobfree("globfree64", list);
}

void* operator new(std::size_t size) {
    if (nextAllocationFails.exchange(false)) {
        throw std::bad_alloc();
    }
    void* const memory = std::malloc(size);
    return memory != nullptr ? memory : throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace {

using namespace Qel::Settings;

class ProductSetupFailure : public testsupport::ProductFixture {};

TEST_F(ProductSetupFailure, ExceptionPassesAndTheNextUseSetsUpAnew) {
    putIni(defaults_, "sound.ini", 3);
    int tries = 0;
    duringTypeRegistration() = [&] {
        if (++tries < 3) {
            throw std::runtime_error("no memory for types");
        }
    };
    for (int failure = 0; failure < 2; ++failure) {
        try {
            T8SettingsManager();
            FAIL() << "nothing was thrown";
        } catch (const std::runtime_error& e) {
            EXPECT_STREQ("no memory for types", e.what());
        }
        ASSERT_NE(nullptr, SettingsManager::existingInstance());
        EXPECT_EQ(nullptr, SettingsManager::existingInstance()->setting("sound/value"));
    }
    EXPECT_EQ(3, T8SettingsManager()->setting("sound/value")->getValue<int>());
    EXPECT_EQ(3, tries);
}

TEST_F(ProductSetupFailure, ListOfFilesIsGivenBackWhenMemoryRunsOut) {
    putIni(defaults_, "sound.ini");
    memoryEndsWithAList = true;
    EXPECT_THROW(bringUp(), std::bad_alloc);
    memoryEndsWithAList = false;
    EXPECT_EQ(0, listsOfFiles);
    EXPECT_EQ(0U, bringUp());
    EXPECT_EQ(0, listsOfFiles);
}

// Coming up as if there were no files would be a store full of defaults, and nobody would know why.
TEST_F(ProductSetupFailure, DirectoryThatThereIsNoMemoryToListIsAnErrorInTheLog) {
    putIni(defaults_, "sound.ini", 1);
    putIni(settings_, "sound.ini", 2);
    noMemoryForAList = true;
    EXPECT_EQ(0U, bringUp());
    EXPECT_EQ(
        1U, log_.count(5, "Qel::Settings", "src/files/StorageFiles",
                       "Directory '" + defaults_ + "' cannot be read, its settings are left out: " +
                           "Cannot allocate memory"))
        << log_.dump();
    EXPECT_EQ("", *storage("sound")->filename());
    EXPECT_EQ(2, manager_->setting("sound/value")->getValue<int>());
    EXPECT_EQ(0, listsOfFiles);
}

// Each set-up keeps its types; that is the one thing that they share.
TEST_F(ProductSetupFailure, ManagersMayBeSetUpAtTheSameTime) {
    const auto setUpSome = [] {
        for (int i = 0; i < 300; ++i) {
            SettingsManager manager;
            EXPECT_EQ(0U, initDefaultSettingsManager(manager));
            EXPECT_NE(nullptr, static_cast<const SettingsManager&>(manager).factory());
        }
    };
    testsupport::atOnce({setUpSome, setUpSome, setUpSome});
}

}  // namespace
