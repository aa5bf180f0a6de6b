// Makes or loads files of 50 settings, for others to count the instructions:
//   LoadCostProgram make DIR         makes 40 files
//   LoadCostProgram load DIR COUNT   loads the first COUNT of them
//   LoadCostProgram save DIR COUNT   loads them, changes a setting of each and saves them

#include <boost/make_shared.hpp>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageInifile.h"
#include "Qel/Settings/SettingsManager.h"

namespace {

using namespace Qel::Settings;
using StoragePtr = boost::shared_ptr<SettingStorageInifile>;

constexpr int kFiles = 40;
constexpr int kSettings = 50;

boost::any valueOf(int i) {
    if (i % 10 < 4) return 1000 * i;
    if (i % 10 < 6) return i % 20 == 0;
    if (i % 10 < 7) return i / 8.0;
    if (i % 10 < 9) return "twenty bytes, " + std::to_string(100000 + i);
    return std::vector<int>{i, -i, 10 * i, 100 * i, 5, 6, 7, 8};
}

void addSettings(const SettingStorageInifile& storage, SettingsManager& manager) {
    for (int i = 0; i < kSettings; ++i) {
        manager.registerSetting(boost::make_shared<SettingHolder>(
            storage.name() + "/section/key" + std::to_string(i), valueOf(i)));
    }
}

void run(const std::string& work, const std::string& directory, int files) {
    SettingStorageInifile::syncWrites(false);
    SettingsManager manager;
    manager.factory(boost::make_shared<SettingFactory>());
    for (int i = 0; i < files; ++i) {
        const std::string name = "file" + std::to_string(i);
        const auto storage = boost::make_shared<SettingStorageInifile>(
            name, "", directory + "/" + name + ".ini", SettingStorageInifile::Save_onDemand);
        manager.registerStorage(storage);
        if (work == "make") {
            addSettings(*storage, manager);
        }
        if (work != "load") {
            manager.setting(name + "/section/key0")->setValue(work == "make" ? 1 : 2);
            storage->save();
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::cerr << "usage: LoadCostProgram make DIR | load DIR COUNT | save DIR COUNT\n";
        return 2;
    }
    try {
        run(argv[1], argv[2], argc < 4 ? kFiles : std::atoi(argv[3]));
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "LoadCostProgram: " << error.what() << '\n';
        return 1;
    }
}
