#ifndef BENCH_PEERS_H
#define BENCH_PEERS_H

#include <memory>

#include "Store.h"

namespace bench {

std::unique_ptr<Store> makeT8Settings(const Settings& settings, const std::string&);
std::unique_ptr<Store> makeGKeyFile(const Settings& settings, const std::string&);
std::unique_ptr<Store> makeSimpleIni(const Settings& settings, const std::string&);
std::unique_ptr<Store> makeQSettings(const Settings& settings, const std::string&);
std::unique_ptr<Store> makeKConfig(const Settings& settings, const std::string&);
std::unique_ptr<Store> makePropertyTree(const Settings& settings, const std::string&);
std::unique_ptr<Store> makeLibconfig(const Settings& settings, const std::string&);
std::unique_ptr<Store> makeSqlite(const Settings& settings, const std::string&);
std::unique_ptr<Store> makeLmdb(const Settings& settings, const std::string&);

/// Writes what is still in the system's caches of the file to the disk: for the libraries that have
/// no such option of their own and leave the directory's entry as it is.
void syncFile(const std::string& path);

/// Replaces the file as a whole and durably: for the libraries that give their text away and leave
/// the writing to the program.
void replaceFile(const std::string& path, const std::string& text, Durability durability);

}  // namespace bench

#endif
