#include <cstdio>
#include <string>

#include "Qel/Settings/SettingHolder.h"

/// Uses one class, to see that a client finds the headers, links and starts.
int main() {
    Qel::Settings::SettingHolder bass("sound/bass", 3);
    bass.setValue(4);
    std::printf("%s=%d\n", bass.name().c_str(), bass.getValue<int>());
    return 0;
}
