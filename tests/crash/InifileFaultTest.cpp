// Every file call of a save fails in every way that the system knows; and afterwards the power may
// be cut.

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <iterator>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include "GenerationsFixture.h"
#include "Sanitized.h"
#include "files/DirectoryLock.h"

namespace {

using testsupport::FileCalls;
using testsupport::filesIn;
using testsupport::Promise;
using testsupport::Recorder;
using testsupport::Start;

using Calls = std::vector<std::string>;

/// The call of this verb and number, counted from 0, and perhaps all that follow it.
struct Fault {
    std::string verb;
    int number;
    int error;
    bool forGood;
    /// As when a disk is full: the call before the failing ones does half of its work.
    bool halfFirst = false;

    int times() const {
        // Nothing interrupts a program for ever.
        return !forGood ? 1 : error == EINTR ? 1000 : FileCalls::kForGood;
    }
    bool opens() const { return verb == "open" || verb == "create"; }

    /// Whether the library gets over it by trying again.
    bool passes() const {
        const bool once = !forGood;
        return error == FileCalls::kShort || (error == EMFILE && once && opens()) ||
               (error == EINTR && (opens() ? once : verb != "rename"));
    }

    /// A directory that may be written but not read has entries that nobody can sync.
    bool hidesTheDirectory() const {
        return verb == "open" && error == EACCES && forGood && number == 0;
    }

    std::string text() const {
        return verb + " " + std::to_string(number) +
               (error == FileCalls::kShort ? " short" : " errno " + std::to_string(error)) +
               (forGood ? " for good" : " once") + (halfFirst ? " after a half" : "");
    }
};

/// What a failing call spoils: nothing, the keeping of what was not loaded, the copy, or what a
/// load would find.
enum class Loss { kNothing, kKeeping, kCopy, kFile };

struct Lost {
    Loss loss;
    std::string call;        ///< the one whose failure has spoilt it
    bool isNotSafe = false;  ///< a damaged file that is kept, which holds no save up
};

std::string verbOf(const std::string& call) {
    return call.substr(0, call.find(' '));
}

bool mayPass(int error) {
    return error == EMFILE || error == EINTR;
}

bool syncs(const std::string& call) {
    return verbOf(call) == "fsync" || call == "open .";
}

/// The same while what was not loaded is kept, which ends with the directory's sync. What cannot be
/// copied gets another name, unless that may pass.
Loss lossOfKeeping(const Calls& calls, std::size_t failed, int error) {
    static const std::set<std::string> kNeeded = {"create", "write", "fdatasync", "open", "read"};
    const std::string& call = calls.at(failed);
    const std::string verb = verbOf(call);
    if (call == "open .") {
        const bool isOfTheLock =
            std::count(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(failed), call) ==
            static_cast<std::ptrdiff_t>(failed);
        return isOfTheLock ? Loss::kNothing : Loss::kKeeping;
    }
    const bool isNeeded =
        kNeeded.count(verb) != 0 || (verb == "close" && call.find(".bad") != std::string::npos);
    return verb == "fsync" || (isNeeded && mayPass(error)) ? Loss::kKeeping : Loss::kNothing;
}

Loss lossOf(const Calls& calls, std::size_t failed) {
    static const std::set<std::string> kHarmless = {"close .", "lock .", "unlock ."};
    const std::string& call = calls.at(failed);
    const auto last = calls.begin() + static_cast<std::ptrdiff_t>(failed) + 1;
    const auto made = [&](const std::string& verb, const std::string& name = "") {
        return std::any_of(calls.begin(), last, [&](const std::string& earlier) {
            return name.empty() ? verbOf(earlier) == verb : earlier == verb + " " + name;
        });
    };
    const bool copyBegun = made("create", "rw.ini.tmp") || made("create", "rw.ini.tmp.new");
    if (kHarmless.count(call) != 0 || verbOf(call) == "fchown" || verbOf(call) == "fchmod" ||
        verbOf(call) == "unlink") {
        return Loss::kNothing;
    }
    if (made("create", "rw.ini") || (made("rename") && verbOf(call) != "rename")) {
        return Loss::kFile;
    }
    return copyBegun ? Loss::kCopy : Loss::kNothing;
}

/// Counts its changes as saved before it writes them.
class ForgetfulStorage : public Qel::Settings::SettingStorageInifile {
public:
    using SettingStorageInifile::SettingStorageInifile;

    bool saveFile(const std::string& file) override {
        written_ = SettingStorageInifile::saveFile(file);
        return true;
    }
    bool save() override {
        written_ = true;
        return SettingStorageInifile::save() && written_;
    }

private:
    bool written_ = true;
};

class InifileFault : public testsupport::Generations, public testing::WithParamInterface<Start> {
protected:
    InifileFault() {
        using std::chrono::milliseconds;
        worksInEachState_ = false;
        Qel::Settings::files::directoryLockWait = {milliseconds(3), milliseconds(3),
                                                   milliseconds(1), milliseconds(0)};
    }
    ~InifileFault() override {
        Qel::Settings::files::directoryLockWait = Qel::Settings::files::DirectoryLockWait();
    }

    static auto openDescriptors() {
        using std::filesystem::directory_iterator;
        return std::distance(directory_iterator("/proc/self/fd"), directory_iterator());
    }

    template <class Kind = Storage>
    void givenAChange() {
        lie(GetParam());
        storage_ =
            boost::make_shared<Kind>("settings", defaults_, rw_, types_, Storage::Save_onDemand);
        FileCalls calls(live_.path());
        ASSERT_TRUE(startUp(*storage_, GetParam(), calls));
        ASSERT_EQ(heldBy(*storage_), valueOf(generationAt(GetParam())));
        change(*storage_, 2);
    }

    std::set<std::string> verbsOfASave() {
        givenAChange();
        const FileCalls calls(live_.path());
        EXPECT_TRUE(storage_->save());
        std::set<std::string> verbs;
        for (const std::string& call : calls.calls()) {
            verbs.insert(verbOf(call));
        }
        return verbs;
    }

    Lost lostBy(const Fault& fault, const FileCalls& calls) const {
        bool isNotSafe = false;
        for (const std::size_t struck : calls.struck()) {
            const std::string& call = calls.calls()[struck];
            const Loss loss = isKeeping(calls.calls(), struck)
                                  ? lossOfKeeping(calls.calls(), struck, fault.error)
                                  : lossOf(calls.calls(), struck);
            if (loss == Loss::kNothing || fault.passes() || fault.hidesTheDirectory() ||
                makesRoom(fault, call)) {
                continue;
            }
            if (loss == Loss::kKeeping && GetParam() == Start::kDamagedFileStands && syncs(call)) {
                isNotSafe = true;
                continue;
            }
            return {loss == Loss::kCopy && stays(fault) ? Loss::kFile : loss, call, isNotSafe};
        }
        return {Loss::kNothing, "", isNotSafe};
    }

    static bool isKeeping(const Calls& calls, std::size_t number) {
        const auto end = calls.begin() + static_cast<std::ptrdiff_t>(number);
        return stands(GetParam()) && std::find(calls.begin(), end, "fsync .") == end &&
               std::none_of(calls.begin(), end, [](const std::string& earlier) {
                   return earlier == "create rw.ini.tmp" || earlier == "create rw.ini.tmp.new";
               });
    }

    /// Whether the library gets over it by deleting a leftover that it may not write.
    static bool makesRoom(const Fault& fault, const std::string& call) {
        return GetParam() == Start::kDamagedCopyLeft && call == "create rw.ini.tmp" &&
               fault.error == EACCES && !fault.forGood;
    }

    /// Whether the very call that fails would be needed to take the copy back for good.
    bool stays(const Fault& fault) const {
        const bool lay = GetParam() == Start::kDamagedCopyLeft;
        return fault.forGood && GetParam() != Start::kGoodCopyLeft &&
               GetParam() != Start::kUnreadCopy && GetParam() != Start::kUnreadCopyOfAGoodFile &&
               (lay ? fault.verb == "fdatasync" : fault.verb == "fsync" || fault.verb == "open");
    }

    /// What the log says when something could not be kept. The directory is opened once more to be
    /// synced.
    std::string notKept(const std::string& call, const std::string& reason) const {
        const bool isCopy = call.find("rw.ini.tmp") != std::string::npos;
        return "5 '" + (isCopy ? copy_ : rw_) + "' is not saved, a later save tries again: the " +
               (GetParam() == Start::kDamagedFileStands ? "damaged" : "unread") + " file there " +
               (syncs(call) ? "is kept, but not safe on the disk"
                            : "can neither be set aside nor copied") +
               ": " + reason;
    }

    void expectLog(const Lost& lost, int error) {
        const Loss loss = lost.loss;
        const std::string reason = std::generic_category().message(error);
        Calls expected;
        if (lost.isNotSafe) {
            expected = {"5 '" + rw_ +
                        "': the damaged file there is kept, but not safe on the disk: " + reason};
        }
        if (loss == Loss::kKeeping) {
            expected.push_back(notKept(lost.call, reason));
        }
        Calls errors = messagesOf("src/SettingsStorageFileBase");
        errors.erase(std::remove_if(errors.begin(), errors.end(),
                                    [](const std::string& text) { return text.front() == '4'; }),
                     errors.end());
        EXPECT_EQ(errors, expected);
        expected.clear();
        if (loss == Loss::kCopy || loss == Loss::kFile) {
            expected = {"5 SettingStorageInifile::writeIniFile( '" + rw_ + "' ): could not write " +
                            (loss == Loss::kFile ? "file" : "temporary file '" + copy_ + "'"),
                        "5 SettingStorageInifile: '" + rw_ +
                            "' is not saved, a later save tries again: " + reason};
        }
        EXPECT_EQ(messagesOf("src/SettingsStorageInifile"), expected);
    }

    /// Saves the change under the fault; false when it has not struck. `next` is saved after it.
    bool strike(const Fault& fault, int next);
    /// Each call of the verb is struck in turn, until there are no more; of kTimesLess sweeps, one
    /// is made.
    void sweep(const std::string& verb, int error, bool forGood, bool halfFirst = false);

    std::size_t offered_ = 0;
    int faults_ = 0;
};

bool InifileFault::strike(const Fault& fault, int next) {
    SCOPED_TRACE(fault.text() + ", then generation " + std::to_string(next));
    const std::string before = filesIn(live_.path())["rw.ini"];
    Promise promise = promiseAt(GetParam());
    promise.insert(valueOf(2));
    if (GetParam() == Start::kUnreadCopyOfAGoodFile) {
        promise.insert(valueOf(1));
    }
    Recorder recorder(live_.path(), promise);
    if (fault.halfFirst) {
        recorder.calls().fail(fault.verb, FileCalls::kShort, 1, fault.number);
    }
    recorder.calls().fail(fault.verb, fault.error, fault.times(), fault.number);
    const auto descriptors = openDescriptors();
    log_.clear();
    qlog::setDefaultThreshold(4);
    const bool saved = storage_->save();
    qlog::setDefaultThreshold(kNoMessage);
    EXPECT_EQ(openDescriptors(), descriptors);
    const Lost lost = lostBy(fault, recorder.calls());
    const Loss loss = lost.loss;
    EXPECT_EQ(saved, loss == Loss::kNothing);
    EXPECT_EQ(storage_->dirty(), !saved);
    expectLog(lost, fault.error);
    if (saved) {
        promise = {valueOf(2)};
    }
    recorder.promise(promise);
    if (loss == Loss::kCopy || loss == Loss::kKeeping) {
        EXPECT_EQ(filesIn(live_.path())["rw.ini"], before);
    }
    const bool struck = !recorder.calls().struck().empty();
    recorder.calls().mend();
    change(*storage_, next);
    promise.insert(valueOf(next));
    recorder.promise(promise);
    EXPECT_TRUE(storage_->save());
    EXPECT_FALSE(storage_->dirty());
    recorder.promise({valueOf(next)});
    if (!fault.hidesTheDirectory()) {
        expectKept(recorder.trace());
    }
    return struck;
}

void InifileFault::sweep(const std::string& verb, int error, bool forGood, bool halfFirst) {
    if (offered_++ % testsupport::kTimesLess != 0) {
        return;
    }
    for (int number = 0, struck = 1; struck != 0; ++number) {
        struck = 0;
        for (const int next : {3, generationAt(GetParam())}) {
            givenAChange();
            struck += strike({verb, number, error, forGood, halfFirst}, next) ? 1 : 0;
        }
        faults_ += struck;
    }
}

TEST_P(InifileFault, ALoadGivesOldOrNewValuesAndTheNextSaveSucceeds) {
    for (const std::string& verb : verbsOfASave()) {
        for (const int error : {EIO, ENOSPC, EACCES, EROFS, EMFILE, EINTR}) {
            sweep(verb, error, false);
            sweep(verb, error, true);
        }
    }
    sweep("write", FileCalls::kShort, false);
    sweep("write", FileCalls::kShort, true);
    sweep("write", ENOSPC, true, true);
    expectKeptSomewhere(GetParam());
    RecordProperty("faults", faults_);
    std::cout << "[   faults ] " << faults_ << " saves struck\n";
}

TEST_P(InifileFault, AStorageThatForgetsItsChangesBeforeTheWriteIsCaught) {
    givenAChange<ForgetfulStorage>();
    testing::TestPartResultArray complaints;
    {
        const testing::ScopedFakeTestPartResultReporter reporter(
            testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD, &complaints);
        EXPECT_TRUE(strike({"write", 0, EIO, true}, 3));
    }
    ASSERT_EQ(complaints.size(), 1);
    EXPECT_NE(std::string(complaints.GetTestPartResult(0).summary()).find("storage_->dirty()"),
              std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(From, InifileFault, testsupport::everyStart(), testsupport::nameOfStart);

}  // namespace
