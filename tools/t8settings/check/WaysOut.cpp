#include "check/WaysOut.h"

#include <string_view>
#include <unistd.h>

#include "console/Shell.h"
#include "store/Replacement.h"

namespace t8settings {

namespace {

bool isLink(const std::string& path) {
    char firstByte = 0;
    return ::readlink(path.c_str(), &firstByte, 1) >= 0;
}

}  // namespace

bool isBlank(const IniFile& file) {
    constexpr std::string_view kNothing("\0 \t\r\n", 5);
    return file.text().find_first_not_of(kNothing) == std::string::npos;
}

std::string commandToMoveAway(const std::string& path) {
    return "mv " + shellPath(path) + " " + shellPath(nameToKeep(path));
}

std::string commandsToKeepFile(const FileGroup& group) {
    return commandToMoveAway(group.copy.path()) + " && " + commandOn("seal", group.file.path());
}

std::string linkLostTo(const std::string& path, const std::string& source) {
    if (!isLink(source) || isLink(path)) {
        return "";
    }
    return source + " is a link, and " + path +
           " is none now, so the file that it leads to is not read; to have the link back, with "
           "this text in its file: cp " +
           shellPath(path) + " " + shellPath(source) + " && mv " + shellPath(source) + " " +
           shellPath(path);
}

}  // namespace t8settings
