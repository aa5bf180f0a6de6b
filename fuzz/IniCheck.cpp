#include <boost/make_shared.hpp>
#include <cstdio>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "Checks.h"
#include "Files.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageInifile.h"
#include "Qel/Settings/SettingsManager.h"
#include "text/Crc32.h"

namespace fuzz {
namespace {

using namespace Qel::Settings;
using testsupport::exists;
using testsupport::readFile;
using testsupport::writeFile;

constexpr const char* kMisplacedName = "#name must be first line in ini-file.";

std::string trimmed(std::string_view text) {
    constexpr const char* kWhiteSpace = " \t\n\v\f\r";
    const std::size_t first = text.find_first_not_of(kWhiteSpace);
    if (first == std::string_view::npos) {
        return {};
    }
    return std::string(text.substr(first, text.find_last_not_of(kWhiteSpace) - first + 1));
}

std::string withCrc(const std::string& text) {
    return text + "\n#crc32 = " + std::to_string(text::crc32(text)) + "\n";
}

bool startsWith(const std::string& text, const std::string& start) {
    return text.compare(0, start.size(), start) == 0;
}

/// Whether a "#name" line comes after the first line that is not empty.
bool hasMisplacedName(const std::string& bytes) {
    bool isFirst = true;
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t end = std::min(bytes.find('\n', at), bytes.size());
        const std::string line = trimmed(bytes.substr(at, end - at));
        at = end + 1;
        if (line.empty()) {
            continue;
        }
        const std::string key = trimmed(line.substr(0, line.find('=')));
        if (!isFirst && line[0] == '#' && trimmed(key.substr(1)) == "name") {
            return true;
        }
        isFirst = false;
    }
    return false;
}

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

/// A file is read or set aside, as it is.
void checkAsFile(const std::string& bytes, const std::string& directory) {
    Store store(directory);
    store.putFile(bytes);
    require(store.comeUp(), "a damaged file keeps the storage from coming up");
    require(store.isSetAside() != exists(store.file()), "file neither kept nor set aside");
    const std::string left = store.isSetAside() ? store.setAside() : readFile(store.file());
    require(left == bytes, "the file was changed");
}

/// A copy of any kind beside a good file does not cost the values of both.
void checkAsCopy(const std::string& bytes, const std::string& directory) {
    Store store(directory);
    const std::string good = withCrc("#name = settings\n[a]\nb = int,1");
    store.putFile(good);
    store.putCopy(bytes);
    require(store.comeUp(), "a damaged copy keeps the storage from coming up");
    require(!store.isSetAside() || hasMisplacedName(bytes), "a good file was set aside");
}

void checkAsDefaults(const std::string& bytes, const std::string& directory,
                     const Settings& expected) {
    Store store(directory);
    store.putDefaults(bytes);
    require(store.comeUp() != hasMisplacedName(bytes), "defaults file and its #name line");
    require(settingsOf(store.storage()) == expected, "not what the same text is as a file:\n" +
                                                         listOf(settingsOf(store.storage())) +
                                                         "instead of\n" + listOf(expected));
}

/// The longest of the known prefixes, or else all but the key.
std::string sectionPrefixOf(const std::string& name, const std::vector<std::string>& known) {
    std::string longest;
    for (const std::string& prefix : known) {
        if (prefix.size() > longest.size() && startsWith(name, prefix)) {
            longest = prefix;
        }
    }
    return longest.empty() ? name.substr(0, name.rfind('/') + 1) : longest;
}

/// "type,text" as it is after it has stood in a file.
std::string reread(const std::string& setting) {
    const std::size_t comma = setting.find(',');
    const std::string type = setting.substr(0, comma);
    const auto holder = productTypes()->create(type, "name", trimmed(setting.substr(comma + 1)));
    require(holder != nullptr, "a text that the library wrote is refused: " + setting);
    return type + "," + productTypes()->valueAsString(holder);
}

/// What a save and a load make of `before`, losses that are documented included.
Settings reloaded(const Settings& before, SettingStorageInifile& storage) {
    const std::string root = storage.name() + "/";
    std::vector<std::string> known = storage.sections();
    known.push_back(root);
    Settings after;
    std::string readUnder = root;
    for (const auto& setting : before) {
        const std::string prefix = sectionPrefixOf(setting.first, known);
        const std::string key = trimmed(setting.first.substr(prefix.size()));
        if (!key.empty() && (key[0] == '#' || key[0] == '[')) {
            continue;
        }
        std::string section = startsWith(prefix, root) ? prefix.substr(root.size()) : prefix;
        section = trimmed(section.substr(0, section.size() - (section.empty() ? 0 : 1)));
        if (!section.empty()) {
            readUnder = root + section + "/";
        }
        after[readUnder + key] = reread(setting.second);
    }
    return after;
}

void checkSaved(Store& store) {
    constexpr int kRounds = 3;
    for (int round = 0; round < kRounds; ++round) {
        const Settings before = settingsOf(store.storage());
        const Settings expected = reloaded(before, store.storage());
        require(store.storage().saveFile(store.file()), "what was loaded cannot be saved");
        const std::string text = readFile(store.file());
        require(store.comeUp() && !store.isSetAside(), "what was saved is set aside:\n" + text);
        require(store.storage().errInfo()->empty(),
                "what was saved is rejected: " + *store.storage().errInfo());
        const Settings after = settingsOf(store.storage());
        require(after == expected, "loaded:\n" + listOf(before) + "saved:\n" + text +
                                       "loaded again:\n" + listOf(after) + "instead of:\n" +
                                       listOf(expected));
        require(store.storage().saveFile(store.file()), "what was loaded again cannot be saved");
        require(after != before || readFile(store.file()) == text,
                "the same settings, another text:\n" + text + readFile(store.file()));
        if (after == before) {
            return;
        }
    }
}

/// A change to the value that a setting has already, and the save that follows it.
void checkChange(Store& store) {
    if (store.storage().settingsSet().empty()) {
        return;
    }
    const std::string text = readFile(store.file());
    const auto setting = store.storage().settingsSet().begin()->second;
    const bool writable = !store.storage().readonly();
    require(setting->setValue(setting->value()) == writable, "change of a setting");
    require(store.storage().save() == writable, "save of a change");
    require(readFile(store.file()) == text, "a change to the same value changes the file");
}

}  // namespace

void checkIni(const std::string& bytes, const std::string& directory) {
    checkAsFile(bytes, directory);
    checkAsCopy(bytes, directory);

    Store store(directory);
    store.putFile(withCrc(bytes));
    require(store.comeUp(), "a storage that does not come up");
    require(store.isSetAside() == hasMisplacedName(bytes), "a good file and its #name line");
    if (store.isSetAside()) {
        try {
            store.putFile(withCrc(bytes));
            store.storage().loadFile(store.file());
            require(false, "a misplaced #name line is accepted");
        } catch (const std::runtime_error& e) {
            require(std::string(e.what()) == kMisplacedName, e.what());
        }
    }
    const Settings settings = settingsOf(store.storage());
    if (!store.isSetAside()) {
        checkSaved(store);
        checkChange(store);
    }
    checkAsDefaults(bytes, directory, settings);
}

}  // namespace fuzz
