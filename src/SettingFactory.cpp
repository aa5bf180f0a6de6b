#include "Qel/Settings/SettingFactory.h"

#include <iostream>

#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/StrConv.h"
#include "text/Numbers.h"

namespace Qel {
namespace Settings {
namespace {

struct BuiltInType {
    const std::type_info& type;
    const char* name;
    LoadFn load;
    SaveFn save;
};

template <class T>
constexpr BuiltInType scalar(const char* name) {
    return {typeid(T), name, &load_x<T>, &save_x<T>};
}

template <class T>
constexpr BuiltInType array(const char* name) {
    return {typeid(std::vector<T>), name, &load_array_x<T>, &save_array_x<T>};
}

// The C names come after the sized names of the same types, so that files are written with "short",
// "int" and "long long" while both spellings are read.
constexpr BuiltInType kBuiltInTypes[] = {
    scalar<std::string>("string"),
    array<std::string>("string[]"),
    scalar<unsigned char>("uint8"),
    array<unsigned char>("uint8[]"),
    scalar<unsigned short>("uint16"),
    array<unsigned short>("uint16[]"),
    scalar<unsigned int>("uint32"),
    array<unsigned int>("uint32[]"),
    scalar<unsigned long long>("uint64"),
    array<unsigned long long>("uint64[]"),
    scalar<signed char>("int8"),
    array<signed char>("int8[]"),
    scalar<short>("int16"),
    array<short>("int16[]"),
    scalar<int>("int32"),
    array<int>("int32[]"),
    scalar<long long>("int64"),
    array<long long>("int64[]"),
    scalar<float>("float32"),
    array<float>("float32[]"),
    scalar<double>("float64"),
    array<double>("float64[]"),
    scalar<bool>("bool"),
    array<bool>("bool[]"),
    scalar<char>("char"),
    array<char>("char[]"),
    scalar<short>("short"),
    array<short>("short[]"),
    scalar<int>("int"),
    array<int>("int[]"),
    scalar<long>("long"),
    array<long>("long[]"),
    scalar<long long>("long long"),
    array<long long>("long long[]"),
};

template <class Function>
std::string addressOf(Function* function) {
    std::string text;
    text::appendSigned(text, reinterpret_cast<long>(function));
    return text;
}

}  // namespace

SettingFactory::SettingFactory() {
    for (const BuiltInType& row : kBuiltInTypes) {
        registerType(row.type, row.name, row.load, row.save);
    }
}

SettingFactory::~SettingFactory() = default;

bool SettingFactory::registerType(const std::type_info& type, std::string name, LoadFn load,
                                  SaveFn save) {
    m_settingFactory[name] = {load, save};
    m_typeInfo2typeId[TypeInfo{&type}] = std::move(name);
    return true;
}

boost::shared_ptr<SettingHolder> SettingFactory::create(std::string type, std::string name,
                                                        std::string value) {
    const auto found = m_settingFactory.find(type);
    if (found == m_settingFactory.end() || found->second.first == nullptr) return {};
    return found->second.first(std::move(name), value);
}

std::string SettingFactory::typeName(const std::type_info& type) const {
    const auto found = m_typeInfo2typeId.find(TypeInfo{&type});
    return found == m_typeInfo2typeId.end() ? std::string() : found->second;
}

std::string SettingFactory::typeAsString(boost::shared_ptr<SettingHolder> holder) const {
    return holder ? typeName(holder->type()) : std::string();
}

std::string SettingFactory::valueAsString(boost::shared_ptr<SettingHolder> holder) const {
    const std::string type = typeAsString(holder);
    const auto found = type.empty() ? m_settingFactory.end() : m_settingFactory.find(type);
    if (found == m_settingFactory.end() || found->second.second == nullptr) return {};
    return found->second.second(std::move(holder));
}

void SettingFactory::debugReport() const {
    std::cout << "SettingFactory::debugReport()\n\tm_typeInfo2typeId[] =\n";
    for (const auto& entry : m_typeInfo2typeId) {
        std::cout << "\t\t" << entry.second << " : " << entry.first.type->name() << std::endl;
    }
    std::cout << "\n\tm_settingFactory[] =\n";
    for (const auto& entry : m_settingFactory) {
        std::cout << "\t\t" << entry.first << " : (" << addressOf(entry.second.first) << ", "
                  << addressOf(entry.second.second) << ')' << std::endl;
    }
}

std::vector<std::string> SettingFactory::typeNames() const {
    std::vector<std::string> names;
    for (const auto& entry : m_settingFactory) names.push_back(entry.first);
    return names;
}

}  // namespace Settings
}  // namespace Qel
