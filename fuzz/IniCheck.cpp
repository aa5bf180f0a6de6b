#include <boost/make_shared.hpp>
#include <cstdio>
#include <stdexcept>

#include "Checks.h"
#include "Files.h"
#include "IniModel.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageInifile.h"
#include "Qel/Settings/SettingsManager.h"

namespace fuzz {
namespace {

using namespace Qel::Settings;
using testsupport::exists;
using testsupport::readFile;
using testsupport::writeFile;

/// One storage's files, and the storage that reads them, as a process has them that comes up.
class Store {
public:
    explicit Store(const std::string& directory)
        : defaults_(directory + "/defaults.ini"), rw_(directory + "/rw.ini") {
        for (const char* suffix : {"", ".tmp", ".tmp.new", ".bad"}) {
            std::remove((rw_ + suffix).c_str());
            std::remove((defaults_ + suffix).c_str());
        }
    }

    void putDefaults(const std::string& bytes) { writeFile(defaults_, bytes); }
    void putFile(const std::string& bytes) { writeFile(rw_, bytes); }
    void putCopy(const std::string& bytes) { writeFile(rw_ + ".tmp", bytes); }

    /// A new process; the result is that of the load.
    bool comeUp() {
        storage_.reset();
        manager_.reset();
        manager_ = boost::make_shared<SettingsManager>();
        storage_ = boost::make_shared<SettingStorageInifile>(
            "settings", exists(defaults_) ? defaults_ : "", rw_, productTypes(),
            SettingStorageFileBase::Save_onDemand);
        return storage_->init(manager_.get(), nullptr);
    }

    SettingStorageInifile& storage() { return *storage_; }
    const std::string& file() const { return rw_; }
    bool isSetAside() const { return exists(rw_ + ".bad"); }
    std::string setAside() const { return readFile(rw_ + ".bad"); }

private:
    std::string defaults_;
    std::string rw_;
    boost::shared_ptr<SettingsManager> manager_;
    boost::shared_ptr<SettingStorageInifile> storage_;
};

void requireSame(const Settings& settings, const Settings& expected, const std::string& what) {
    require(settings == expected,
            what + ":\n" + listOf(settings) + "instead of:\n" + listOf(expected));
}

void requireHolds(SettingStorageInifile& storage, const IniContent& expected) {
    requireSame(settingsOf(storage), expected.settings, "read as");
    require(storage.name() == expected.name, "called '" + storage.name() + "'");
    require(storage.readonly() == expected.readonly, "read-only");
    require(*storage.errInfo() == expected.rejected, "rejected: " + *storage.errInfo());
}

/// A file is read or set aside, as it is.
void checkAsFile(const std::string& bytes, const std::string& directory) {
    std::string text;
    const bool hasGoodCrc = takeGoodCrc(bytes, text);
    const bool isGood = hasGoodCrc && !contentOf(text).misplacedName;
    Store store(directory);
    store.putFile(bytes);
    require(store.comeUp(), "a damaged file keeps the storage from coming up");
    require(store.isSetAside() != exists(store.file()), "file neither kept nor set aside");
    require(store.isSetAside() != isGood,
            isGood ? "a good file is set aside" : "a damaged file is read");
    const std::string left = isGood ? readFile(store.file()) : store.setAside();
    require(left == bytes, "the file is changed");
}

/// A copy of any kind beside a good file does not cost the values of both.
void checkAsCopy(const std::string& bytes, const std::string& directory) {
    const std::string good = "#name = settings\n[a]\nb = int,1";
    std::string text = good;
    if (!takeGoodCrc(bytes, text)) {
        text = good;
    }
    Store store(directory);
    store.putFile(withCrc(good));
    store.putCopy(bytes);
    require(store.comeUp(), "a damaged copy keeps the storage from coming up");
    const IniContent content = contentOf(text);
    require(store.isSetAside() == content.misplacedName, "a good file is set aside");
    requireSame(settingsOf(store.storage()), content.settings, "copy and file read as");
}

/// The defaults file needs no CRC.
void checkAsDefaults(const std::string& bytes, const std::string& directory) {
    const IniContent content = contentOf(bytes);
    Store store(directory);
    store.putDefaults(bytes);
    require(store.comeUp() != content.misplacedName, "defaults file and its #name line");
    if (!content.misplacedName) {
        requireHolds(store.storage(), content);
    }
}

/// What was read is saved and read again, until it changes no more or has done so often enough.
void checkSaved(Store& store, IniContent content) {
    constexpr int kRounds = 3;
    for (int round = 0; round < kRounds; ++round) {
        const Settings expected = reloaded(content);
        require(store.storage().saveFile(store.file()), "what was read cannot be saved");
        const std::string text = readFile(store.file());
        require(store.comeUp() && !store.isSetAside(), "what was saved is set aside:\n" + text);
        const Settings after = settingsOf(store.storage());
        requireSame(after, expected, "saved as:\n" + text + "and read again as");
        require(store.storage().errInfo()->empty(), "what was saved is rejected:\n" + text);

        require(store.storage().saveFile(store.file()), "what was read again cannot be saved");
        const bool isSame = after == content.settings;
        require(!isSame || readFile(store.file()) == text,
                "the same settings in another text:\n" + text + readFile(store.file()));
        if (isSame) {
            return;
        }
        content = contentOf(text);
    }
}

/// A change to the value that a setting has already, and the save that follows it.
void checkChange(Store& store) {
    if (store.storage().settingsSet().empty()) {
        return;
    }
    const std::string text = readFile(store.file());
    const auto setting = store.storage().settingsSet().begin()->second;
    require(setting->setValue(setting->value()), "a change is refused");
    require(store.storage().save(), "a change is not saved");
    require(readFile(store.file()) == text, "a change to the same value changes the file");
}

void checkMisplacedName(Store& store, const std::string& file) {
    try {
        store.putFile(file);
        store.storage().loadFile(store.file());
    } catch (const std::runtime_error& e) {
        require(e.what() == std::string("#name must be first line in ini-file."), e.what());
        return;
    }
    require(false, "a misplaced #name line is accepted");
}

/// `bytes` with the CRC that they need.
void checkAsText(const std::string& bytes, const std::string& directory) {
    const IniContent content = contentOf(bytes);
    Store store(directory);
    store.putFile(withCrc(bytes));
    require(store.comeUp(), "a storage that does not come up");
    require(store.isSetAside() == content.misplacedName, "a good file and its #name line");
    if (content.misplacedName) {
        checkMisplacedName(store, withCrc(bytes));
    } else {
        requireHolds(store.storage(), content);
        checkSaved(store, content);
        checkChange(store);
    }
}

}  // namespace

void checkIni(const std::string& bytes, const std::string& directory) {
    checkAsFile(bytes, directory);
    checkAsCopy(bytes, directory);
    checkAsDefaults(bytes, directory);
    checkAsText(bytes, directory);
}

}  // namespace fuzz
