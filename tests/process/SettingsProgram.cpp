#include <boost/shared_ptr.hpp>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>

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

/// Sets a text setting so many times, each time to many copies of another letter, and gives the
/// number of times. On a machine with too much to do it ends early.
std::string hammer(std::istream& arguments) {
    const auto holder = setting(word(arguments));
    int times = 0;
    arguments >> times;
    SettingStorageInifile::syncWrites(false);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    int done = 0;
    while (done < times && std::chrono::steady_clock::now() < end &&
           holder->setValue(std::string(3000, static_cast<char>('a' + done % 26)))) {
        ++done;
    }
    return std::to_string(done);
}

/// Brings the store up again and again until there is a file of the second name, and counts the
/// times that the text setting of the first name was not copies of one letter.
std::string restart(std::istream& arguments) {
    const std::string name = word(arguments);
    const std::string end = word(arguments);
    int starts = 0;
    int mixtures = 0;
    do {
        SettingsManager::reloadSettings();
        bringUp();
        const auto text = setting(name)->getValue<std::string>();
        mixtures += text.empty() || text.find_first_not_of(text[0]) != std::string::npos ? 1 : 0;
        ++starts;
    } while (!std::filesystem::exists(end));
    return yesOrNo(starts > 1) + " " + std::to_string(mixtures);
}

[[noreturn]] std::string leave(std::istream&) {
    std::exit(0);
}

std::string answer(const std::string& line) {
    static const std::map<std::string, std::function<std::string(std::istream&)>> commands = {
        {"up", up},           {"get", get},         {"set", set},   {"save", save},
        {"dirty", dirty},     {"info", info},       {"mode", mode}, {"reset", reset},
        {"flush", flush},     {"threads", threads}, {"rest", rest}, {"hammer", hammer},
        {"restart", restart}, {"exit", leave},
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
