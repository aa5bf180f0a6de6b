#include <boost/shared_ptr.hpp>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>

#include "Generations.h"
#include "NoMachineMarker.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageFileBase.h"
#include "Qel/Settings/SettingStorageInifile.h"
#include "Qel/Settings/SettingsManager.h"
#include "Qel/Settings/T8SettingsManager.h"
#include "SaverThreads.h"

namespace {

using namespace Qel::Settings;

std::string marker;

std::string word(std::istream& arguments) {
    std::string text;
    arguments >> text;
    return text;
}

std::string yesOrNo(bool yes) {
    return yes ? "yes" : "no";
}

boost::shared_ptr<SettingHolder> setting(const std::string& name) {
    const auto holder = T8SettingsManager()->setting(name);
    if (!holder) {
        throw std::runtime_error("no setting " + name);
    }
    return holder;
}

boost::shared_ptr<SettingStorageInterface> storage(const std::string& name) {
    boost::shared_ptr<SettingStorageInterface> found;
    T8SettingsManager()->forEachStorage(
        [&](const boost::shared_ptr<SettingStorageInterface>& candidate) {
            if (candidate->name() == name) {
                found = candidate;
            }
        });
    if (!found) {
        throw std::runtime_error("no storage " + name);
    }
    return found;
}

/// Brings the store up with a marker of its own: the product's concerns the whole machine.
void bringUp() {
    T8SettingsManager();
    SettingsManager::setResetToDefaultsMarker(marker);
}

std::string up(std::istream& arguments) {
    SettingsManager::location(word(arguments));
    marker = word(arguments);
    bringUp();
    return "up";
}

std::string get(std::istream& arguments) {
    return T8SettingsManager()->factory()->valueAsString(setting(word(arguments)));
}

std::string set(std::istream& arguments) {
    const auto holder = setting(word(arguments));
    const auto types = T8SettingsManager()->factory();
    const auto wanted = types->create(types->typeAsString(holder), holder->name(), word(arguments));
    return yesOrNo(holder->setValue(wanted->value()));
}

std::string save(std::istream& arguments) {
    return yesOrNo(storage(word(arguments))->save());
}

std::string dirty(std::istream& arguments) {
    const auto found = storage(word(arguments));
    return yesOrNo(dynamic_cast<SettingStorageFileBase&>(*found).dirty());
}

std::string info(std::istream& arguments) {
    return storage(word(arguments))->info();
}

std::string mode(std::istream&) {
    return std::to_string(T8SettingsManager()->getSettingsOperationMode());
}

std::string reset(std::istream&) {
    return std::to_string(T8SettingsManager()->resetToDefault());
}

std::string flush(std::istream&) {
    SettingsManager::flushAllSettings();
    return "done";
}

std::string threads(std::istream&) {
    return std::to_string(testsupport::saverThreads().size());
}

/// Answers when the saver's thread has made its first pass and rests for ten seconds.
std::string rest(std::istream&) {
    testsupport::untilSaverThreadRests();
    return "rests";
}

/// Leaves the syncs out, so that many saves fit into a second.
std::string hurry(std::istream&) {
    SettingStorageInifile::syncWrites(false);
    return "hurries";
}

/// The generation of a storage's settings, -1 for a mixture.
std::string generation(std::istream& arguments) {
    return std::to_string(testsupport::generationOf(storage(word(arguments))->settingsSet()));
}

/// Saves one generation after the other, from the first to the last, and then makes a file if one
/// is named. Gives the last one that it could save.
std::string generations(std::istream& arguments) {
    const auto target = storage(word(arguments));
    int next = 0;
    int last = 0;
    arguments >> next >> last;
    bool saved = true;
    for (; saved && next <= last; ++next) {
        testsupport::setGeneration(target->settingsSet(), next);
        saved = target->save();
    }
    const std::string end = word(arguments);
    if (!end.empty()) {
        std::ofstream(end).put('\n');
    }
    return std::to_string(next - (saved ? 1 : 2));
}

/// Brings the store up again and again until there is a file of the second name. Gives how often,
/// how many different generations the storage of the first name had, the least of them (-1 is a
/// mixture, 0 are the defaults), and how often it was an older one than before.
std::string restart(std::istream& arguments) {
    const std::string name = word(arguments);
    const std::string end = word(arguments);
    int starts = 0;
    int steppedBack = 0;
    int last = 0;
    std::set<int> different;
    do {
        SettingsManager::reloadSettings();
        bringUp();
        const int found = testsupport::generationOf(storage(name)->settingsSet());
        steppedBack += found < last ? 1 : 0;
        last = found;
        different.insert(found);
        ++starts;
    } while (!std::filesystem::exists(end));
    return std::to_string(starts) + " " + std::to_string(different.size()) + " " +
           std::to_string(*different.begin()) + " " + std::to_string(steppedBack);
}

[[noreturn]] std::string leave(std::istream&) {
    std::exit(0);
}

std::string answer(const std::string& line) {
    static const std::map<std::string, std::function<std::string(std::istream&)>> commands = {
        {"up", up},
        {"get", get},
        {"set", set},
        {"save", save},
        {"dirty", dirty},
        {"info", info},
        {"mode", mode},
        {"reset", reset},
        {"flush", flush},
        {"threads", threads},
        {"rest", rest},
        {"hurry", hurry},
        {"generation", generation},
        {"generations", generations},
        {"restart", restart},
        {"exit", leave},
    };
    std::istringstream arguments(line);
    try {
        return commands.at(word(arguments))(arguments);
    } catch (const std::exception& e) {
        return std::string("failed: ") + e.what();
    }
}

}  // namespace

/// A process of the television: it does what each line of its input says and answers with a line.
int main() {
    for (std::string line; std::getline(std::cin, line);) {
        std::cout << answer(line) << std::endl;
    }
    return 0;
}
