#ifndef TESTS_SUPPORT_STUBFILESTORAGE_H
#define TESTS_SUPPORT_STUBFILESTORAGE_H

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "Qel/Settings/SettingStorageFileBase.h"

namespace testsupport {

/// A file storage without a format: it records which files it is told to load and save, and does
/// with them what the test says.
class StubFileStorage : public Qel::Settings::SettingStorageFileBase {
public:
    using Operation = std::function<bool(const std::string& path)>;

    StubFileStorage(const std::string& name, const std::string& filename,
                    const std::string& rwFilename, SavePolicy policy = Save_onDemand)
        : SettingStorageFileBase(name, filename, rwFilename, policy) {}

    ~StubFileStorage() override { retire(); }

    bool saveFile(const std::string& path) override {
        record("save " + path);
        return !onSave || onSave(path);
    }

    bool loadFile(const std::string& path) override {
        record("load " + path);
        return !onLoad || onLoad(path);
    }

    /// "load PATH" and "save PATH", in order.
    std::vector<std::string> calls() const {
        const std::lock_guard<std::mutex> lock(callsMutex_);
        return calls_;
    }

    using SettingStorageFileBase::appendErrInfo;
    using SettingStorageFileBase::mayStillWrite;
    using SettingStorageFileBase::savePolicy;

    /// What a load and a save do besides being recorded; empty functions give true.
    Operation onLoad;
    Operation onSave;

private:
    void record(const std::string& call) {
        const std::lock_guard<std::mutex> lock(callsMutex_);
        calls_.push_back(call);
    }

    mutable std::mutex callsMutex_;
    std::vector<std::string> calls_;
};

}  // namespace testsupport

#endif
