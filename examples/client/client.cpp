#include <Qel/Settings/SettingHolder.h>
#include <Qel/Settings/SettingsManager.h>
#include <Qel/Settings/T8SettingsManager.h>
#include <iostream>

using namespace Qel::Settings;

int main(int argc, char* argv[]) {
    if (argc != 2) return 2;
    SettingsManager::location(argv[1]);  // before the first use; on the television it is "/"
    const auto language = T8SettingsManager()->setting("settings/general/language");
    if (!language) return 3;
    std::cout << "language was " << language->getValue<std::string>() << '\n';
    const bool accepted = language->setValue("fi");
    std::cout << "language is " << language->getValue<std::string>() << '\n';
    return accepted ? 0 : 4;
}
