// What background saving looks like to an application: a change is in memory at once, and on the
// disk when the saver or flushAllSettings() has written it. A process gets this policy by the name
// QelVisionMainApplication; under any other name it saves within each change.

#include <Qel/Settings/SettingHolder.h>
#include <Qel/Settings/SettingsManager.h>
#include <Qel/Settings/T8SettingsManager.h>
#include <filesystem>
#include <iostream>

using namespace Qel::Settings;
namespace fs = std::filesystem;

int main(int argc, char* argv[]) {
    if (argc != 3) {
        std::cerr << "usage: background BASE MARKER\n";
        return 2;
    }
    SettingsManager::location(argv[1]);
    SettingsManager* const manager = T8SettingsManager();
    // A scratch copy takes no part in a reset of the machine's own settings. The set-up has started
    // the saver, which may have met the machine's marker since.
    SettingsManager::setResetToDefaultsMarker(argv[2]);
    manager->setSettingsOperationMode(SOM_Normal);

    const auto backlight = manager->setting("picture/movie/backlight");
    if (!backlight) return 3;
    const std::string name = "settings/picture.ini";
    const auto report = [&](const char* what) {
        std::cout << what << ": backlight " << int{backlight->getValue<unsigned char>()} << ", "
                  << name << (fs::exists(argv[1] / fs::path(name)) ? " is there" : " is not there")
                  << '\n';
    };
    report("loaded ");
    backlight->setValueKeepingType<unsigned char>(50);
    report("changed");
    SettingsManager::flushAllSettings();
    report("flushed");
    return 0;
}
