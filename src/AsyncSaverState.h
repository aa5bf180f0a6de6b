#ifndef QEL_SETTINGS_ASYNCSAVERSTATE_H
#define QEL_SETTINGS_ASYNCSAVERSTATE_H

#include <algorithm>
#include <atomic>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/thread.hpp>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <map>
#include <memory>
#include <unistd.h>
#include <vector>

#include "Qel/Settings/SettingsStorageFileAsyncSaver.h"

namespace Qel {
namespace Settings {

/// What the saver works with; which lock guards what stands at the top of its source.
struct SettingsStorageFileAsyncSaver::State {
    struct Save {
        SettingStorageFileBase* storage;
        boost::thread::id thread;
    };

    std::atomic<bool> stopRequested{false};
    std::unique_ptr<boost::thread> thread;
    boost::mutex storagesMutex;
    boost::mutex saveMutex;
    std::vector<SettingStorageFileBase*> storages;
    std::size_t cursor = 0;

    boost::mutex control;
    std::vector<Save> savesUnderWay;
    boost::condition_variable saveEnded;
    pid_t process = getpid();
};

/// One run over the storages, bounded: a storage that changes all the time is saved a limited
/// number of times, one that cannot be saved is tried a limited number of times.
struct SettingsStorageFileAsyncSaver::Drain {
    static constexpr std::size_t kFailuresPerStorage = 3;

    explicit Drain(int savesPerStorage) : limit(savesPerStorage) {}

    bool hasHadEnough(std::uint64_t storageNumber) const {
        const auto found = saves.find(storageNumber);
        return found != saves.end() && found->second >= limit;
    }
    bool isHopeless(std::size_t storageCount) const {
        return failures >= kFailuresPerStorage * std::max<std::size_t>(storageCount, 1);
    }

    int limit;
    std::map<std::uint64_t, int> saves;  // by the storage's number
    std::size_t failures = 0;            // without a success in between
    std::exception_ptr thrown;
};

}  // namespace Settings
}  // namespace Qel

#endif
