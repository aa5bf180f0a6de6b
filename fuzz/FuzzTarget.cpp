// Run by libFuzzer, with one input after another. T8_FUZZ_CHECK is the check that they are put to.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <stdlib.h>
#include <string>
#include <system_error>

#include "Checks.h"
#include "Qel/Settings/SettingStorageInifile.h"
#include "SyslogCapture.h"
#include "SystemCommands.h"
#include "qlog/QlogControl.h"

namespace {

/// libFuzzer ends without destructors; whoever starts this sets TMPDIR and clears up.
std::string makeDirectory() {
    std::string path = std::filesystem::temp_directory_path() / "t8-fuzz-XXXXXX";
    if (mkdtemp(path.data()) == nullptr) {
        std::perror(path.c_str());
        std::abort();
    }
    return path;
}

std::string setUp() {
    // Messages are made, with all that may go wrong in that, and not shown.
    qlog::setDefaultThreshold(2);
    qlog::setSink([](const qlog::Record&) {});
    Qel::Settings::SettingStorageInifile::syncWrites(false);
    return makeDirectory();
}

}  // namespace

// An exception is not caught: it ends the program, which is what libFuzzer waits for.
extern "C" __attribute__((visibility("default"))) int LLVMFuzzerTestOneInput(
    const std::uint8_t* data, std::size_t size) {
    static const std::string directory = setUp();
    fuzz::T8_FUZZ_CHECK(std::string(reinterpret_cast<const char*>(data), size), directory);
    return 0;
}
