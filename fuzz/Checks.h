#ifndef FUZZ_CHECKS_H
#define FUZZ_CHECKS_H

#include <boost/shared_ptr.hpp>
#include <map>
#include <stdexcept>
#include <string>

#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingStorageInterface.h"

// What must hold for any input whatever. The fuzz targets and a test run the same functions: the
// targets with inputs that nobody has thought of, the test with those that have failed before.

namespace fuzz {

/// Throws when the library does not do with `bytes` what its documentation says, or lets an
/// exception of its own out. Files are made and deleted in `directory`, which is to be on a file
/// system in memory.
using Check = void (*)(const std::string& bytes, const std::string& directory);

/// `bytes` as the files of an ini storage.
void checkIni(const std::string& bytes, const std::string& directory);

/// `bytes` as an XML document.
void checkXml(const std::string& bytes, const std::string& directory);

/// `bytes` as "type,text"; when they name no type the first byte chooses one.
void checkTypes(const std::string& bytes, const std::string& directory);

inline void require(bool holds, const std::string& what) {
    if (!holds) {
        throw std::logic_error(what);
    }
}

/// All types of the product.
boost::shared_ptr<Qel::Settings::SettingFactory> productTypes();

/// Names of settings to "type,text".
using Settings = std::map<std::string, std::string>;

Settings settingsOf(const Qel::Settings::SettingStorageInterface& storage);

/// The settings for people to read, one a line.
std::string listOf(const Settings& settings);

}  // namespace fuzz

#endif
