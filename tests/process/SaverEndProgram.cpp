#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iterator>
#include <map>
#include <pthread.h>
#include <signal.h>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "Files.h"
#include "Gate.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageInifile.h"
#include "Qel/Settings/SettingsManager.h"
#include "Qel/Settings/SettingsStorageFileAsyncSaver.h"
#include "SaverThreads.h"

namespace {

using namespace Qel::Settings;
using testsupport::Gate;

void say(const std::string& line) {
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

boost::shared_ptr<SettingStorageInifile> changedStorage(const std::string& file) {
    const auto storage = boost::make_shared<SettingStorageInifile>(
        "tv", "", file, boost::make_shared<SettingFactory>(), SettingStorageInifile::Save_async);
    const auto setting = boost::make_shared<SettingHolder>("tv/volume", 1);
    storage->registerSetting(setting);
    setting->setValue(2);
    return storage;
}

/// Does what a scenario asks for at the very end of the process, after the saver's own end.
struct AtTheEnd {
    AtTheEnd() = default;
    AtTheEnd(const AtTheEnd&) = delete;
    AtTheEnd& operator=(const AtTheEnd&) = delete;
    ~AtTheEnd() {
        storage.reset();
        if (action) {
            action();
        }
    }
    boost::shared_ptr<SettingStorageInifile> storage;
    std::function<void()> action;
};

AtTheEnd atTheEnd;

void releaseAStorageAfterMain(const std::string& file) {
    atTheEnd.storage = changedStorage(file);
    atTheEnd.action = [] { say("released"); };
}

void makeAStorageAfterMain(const std::string& file) {
    SettingsStorageFileAsyncSaver::initInstance();
    atTheEnd.action = [file] {
        const auto storage = changedStorage(file);
        say(storage->save() ? "saved" : "not saved");
    };
}

/// Its saves do what the scenario says, on the saver's thread.
class ScriptedStorage : public SettingStorageFileBase {
public:
    explicit ScriptedStorage(std::function<void()> duringSave)
        : SettingStorageFileBase("scripted", "", "/absent/scripted", Save_async),
          duringSave_(std::move(duringSave)) {}
    ~ScriptedStorage() override { retire(); }
    bool saveFile(const std::string&) override {
        duringSave_();
        return true;
    }
    bool loadFile(const std::string&) override { return true; }

private:
    std::function<void()> duringSave_;
};

/// Makes the thread save at once, not in ten seconds.
void startAfresh(SettingStorageFileBase& storage) {
    auto& saver = *SettingsStorageFileAsyncSaver::initInstance();
    saver.stop();
    storage.changed("scripted/x");
    saver.start();
}

void exitInASave(const std::string&) {
    static ScriptedStorage storage([] { std::exit(3); });
    startAfresh(storage);
    pause();
}

// The saver's thread, which is to be joined at the end, waits for this flush.
void exitInAFlush(const std::string&) {
    static ScriptedStorage storage([] { std::exit(3); });
    testsupport::untilSaverThreadRests();
    storage.changed("scripted/x");
    SettingsStorageFileAsyncSaver::instance()->flush();
}

auto threadCount() {
    const std::filesystem::directory_iterator threads("/proc/self/task");
    return std::distance(begin(threads), end(threads));
}

void startAfterMain(const std::string&) {
    static auto* const saver = SettingsStorageFileAsyncSaver::initInstance();
    atTheEnd.action = [] {
        const auto before = threadCount();
        saver->start();
        say(threadCount() == before ? "not started" : "started");
    };
}

// A page that nobody may touch, touched on the saver's thread.
void crashInASave(const std::string&) {
    struct sigaction action = {};
    action.sa_handler = [](int) {
        static constexpr char kText[] = "handler called\n";
        static_cast<void>(!write(STDOUT_FILENO, kText, sizeof kText - 1));
        _exit(4);
    };
    sigaction(SIGSEGV, &action, nullptr);
    static ScriptedStorage storage([] {
        void* const page = mmap(nullptr, 1, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        *static_cast<volatile char*>(page) = 1;
    });
    startAfresh(storage);
    pause();
}

// The thread that waits for the saver's end is in the middle of stopping it.
void exitInTheLastSave(const std::string&) {
    static ScriptedStorage storage([] { std::exit(3); });
    testsupport::untilSaverThreadRests();
    storage.changed("scripted/x");
    SettingsStorageFileAsyncSaver::instance()->stop();
}

/// Forks, and tells how the child ended, which `inChild` must see to.
void fork(const std::function<void()>& inChild) {
    const pid_t child = ::fork();
    if (child == 0) {
        alarm(20);  // for one that hangs
        inChild();
    }
    int status = 0;
    waitpid(child, &status, 0);
    say(WIFEXITED(status) ? "child exited " + std::to_string(WEXITSTATUS(status))
                          : "child killed " + std::to_string(WTERMSIG(status)));
}

void forkAndChange(const std::string& file) {
    atTheEnd.storage = changedStorage(file);
    static const SettingsManager manager;
    testsupport::untilSaverThreadRests();
    fork([] {
        atTheEnd.storage->querySetting("tv/volume")->setValue(3);
        std::exit(0);
    });
    const bool saved = testsupport::exists(file) &&
                       testsupport::readFile(file).find("volume = int,3") != std::string::npos;
    say(saved ? "child's change saved" : "child's change not saved");
}

// The child inherits the saver's locks as they are in the middle of a save.
void forkDuringASave(const std::string&) {
    static Gate& gate = *new Gate;  // its end would wait for a thread that the child has not
    static ScriptedStorage storage([] { gate.pass(); });
    static const SettingsManager manager;
    startAfresh(storage);
    gate.waitForArrival();
    fork([] {
        { const SettingsManager shortLived; }
        SettingsStorageFileAsyncSaver::instance()->start();
        SettingsManager::flushAllSettings();
        std::exit(0);
    });
    gate.open();
}

// Blocked here, and free in the saver's thread if that took signals, where it would end the
// process.
void sendOneselfATerminationSignal(const std::string& file) {
    const auto storage = changedStorage(file);
    sigset_t termination;
    sigemptyset(&termination);
    sigaddset(&termination, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &termination, nullptr);
    kill(getpid(), SIGTERM);
    const timespec longest = {20, 0};
    const int number = sigtimedwait(&termination, nullptr, &longest);
    say("main thread took " + std::to_string(number));
}

}  // namespace

/// Brings a process with a background saver to the end that its first argument names.
int main(int argc, char** argv) {
    const std::map<std::string, void (*)(const std::string&)> scenarios = {
        {"release-after-main", releaseAStorageAfterMain},
        {"make-after-main", makeAStorageAfterMain},
        {"start-after-main", startAfterMain},
        {"crash-in-save", crashInASave},
        {"exit-in-save", exitInASave},
        {"exit-in-flush", exitInAFlush},
        {"exit-in-last-save", exitInTheLastSave},
        {"fork", forkAndChange},
        {"fork-during-save", forkDuringASave},
        {"termination", sendOneselfATerminationSignal},
    };
    const auto found = scenarios.find(argc == 3 ? argv[1] : "");
    if (found == scenarios.end()) {
        return 2;
    }
    found->second(argv[2]);
    return 0;
}
