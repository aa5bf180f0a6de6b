#include "Qel/Settings/SettingFactory.h"

#include <cstdint>
#include <iostream>

#include "HolderBlocks.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/StrConv.h"
#include "text/Numbers.h"

namespace Qel {
namespace Settings {

struct SettingFactory::BuiltInType {
    const std::type_info& type;
    const char* name;
    LoadFn load;
    SaveFn save;
    MakeFn make;
    AppendFn append;

    template <class T>
    static boost::shared_ptr<SettingHolder> makeScalar(HolderBlocks& blocks, std::string_view name,
                                                       std::string_view text) {
        return blocks.make(std::string(name), StrConv::detail::readBuiltIn<T>(text));
    }

    template <class T>
    static boost::shared_ptr<SettingHolder> makeArray(HolderBlocks& blocks, std::string_view name,
                                                      std::string_view text) {
        return blocks.make(std::string(name), StrConv::detail::readArray<T>(text));
    }

    template <class T>
    static void appendScalar(std::string& out, const boost::any& value) {
        StrConv::detail::append(out, boost::any_cast<const T&>(value));
    }

    template <class T>
    static void appendArray(std::string& out, const boost::any& value) {
        StrConv::detail::appendArray(out, boost::any_cast<const std::vector<T>&>(value));
    }

    template <class T>
    static constexpr BuiltInType scalar(const char* name) {
        return {typeid(T), name, &load_x<T>, &save_x<T>, &makeScalar<T>, &appendScalar<T>};
    }

    template <class T>
    static constexpr BuiltInType array(const char* name) {
        return {typeid(std::vector<T>), name,          &load_array_x<T>,
                &save_array_x<T>,       &makeArray<T>, &appendArray<T>};
    }
};

// The C names come after the sized names of the same types, so that files are written with "short",
// "int" and "long long" while both spellings are read.
constexpr SettingFactory::BuiltInType SettingFactory::kBuiltInTypes[] = {
    BuiltInType::scalar<std::string>("string"),
    BuiltInType::array<std::string>("string[]"),
    BuiltInType::scalar<unsigned char>("uint8"),
    BuiltInType::array<unsigned char>("uint8[]"),
    BuiltInType::scalar<unsigned short>("uint16"),
    BuiltInType::array<unsigned short>("uint16[]"),
    BuiltInType::scalar<unsigned int>("uint32"),
    BuiltInType::array<unsigned int>("uint32[]"),
    BuiltInType::scalar<unsigned long long>("uint64"),
    BuiltInType::array<unsigned long long>("uint64[]"),
    BuiltInType::scalar<signed char>("int8"),
    BuiltInType::array<signed char>("int8[]"),
    BuiltInType::scalar<short>("int16"),
    BuiltInType::array<short>("int16[]"),
    BuiltInType::scalar<int>("int32"),
    BuiltInType::array<int>("int32[]"),
    BuiltInType::scalar<long long>("int64"),
    BuiltInType::array<long long>("int64[]"),
    BuiltInType::scalar<float>("float32"),
    BuiltInType::array<float>("float32[]"),
    BuiltInType::scalar<double>("float64"),
    BuiltInType::array<double>("float64[]"),
    BuiltInType::scalar<bool>("bool"),
    BuiltInType::array<bool>("bool[]"),
    BuiltInType::scalar<char>("char"),
    BuiltInType::array<char>("char[]"),
    BuiltInType::scalar<short>("short"),
    BuiltInType::array<short>("short[]"),
    BuiltInType::scalar<int>("int"),
    BuiltInType::array<int>("int[]"),
    BuiltInType::scalar<long>("long"),
    BuiltInType::array<long>("long[]"),
    BuiltInType::scalar<long long>("long long"),
    BuiltInType::array<long long>("long long[]"),
};

namespace {

template <class Function>
std::string addressOf(Function* function) {
    std::string text;
    text::appendSigned(text, reinterpret_cast<long>(function));
    return text;
}

}  // namespace

SettingFactory::SettingFactory() {
    for (const BuiltInType& row : kBuiltInTypes) {
        add(row.type, row.name, {row.load, row.save, row.make, row.append});
    }
}

SettingFactory::~SettingFactory() = default;

bool SettingFactory::registerType(const std::type_info& type, std::string name, LoadFn load,
                                  SaveFn save) {
    Functions functions = {load, save, nullptr, nullptr};
    for (const BuiltInType& row : kBuiltInTypes) {
        if (row.load == load) functions.make = row.make;
        if (row.save == save) functions.append = row.append;
    }
    add(type, std::move(name), functions);
    return true;
}

void SettingFactory::add(const std::type_info& type, std::string name, const Functions& functions) {
    Functions& place = m_settingFactory[name];
    place = functions;
    const auto entry = m_typeInfo2typeId.try_emplace(TypeInfo{&type}).first;
    entry->second = std::move(name);
    forms_[entry->first.type] = {&entry->second, &place};
}

boost::shared_ptr<SettingHolder> SettingFactory::create(std::string type, std::string name,
                                                        std::string value) {
    const auto found = m_settingFactory.find(type);
    if (found == m_settingFactory.end() || found->second.load == nullptr) return {};
    return found->second.load(std::move(name), value);
}

SettingFactory::Maker SettingFactory::maker(std::string_view type) const {
    const auto found = m_settingFactory.find(type);
    return Maker(found == m_settingFactory.end() ? nullptr : &found->second);
}

boost::shared_ptr<SettingHolder> SettingFactory::Maker::operator()(HolderBlocks& blocks,
                                                                   std::string_view name,
                                                                   std::string_view text) const {
    if (functions_ == nullptr || functions_->load == nullptr) return {};
    if (functions_->make != nullptr) return functions_->make(blocks, name, text);
    return functions_->load(std::string(name), std::string(text));
}

SettingFactory::Form SettingFactory::formOf(const std::type_info& type) const {
    const auto known = forms_.find(&type);
    if (known != forms_.end()) return known->second;
    // Another shared object's copy of a type that is registered, or none that is.
    const auto found = m_typeInfo2typeId.find(TypeInfo{&type});
    return found == m_typeInfo2typeId.end() ? Form{nullptr, nullptr} : forms_.at(found->first.type);
}

std::string SettingFactory::typeName(const std::type_info& type) const {
    const Form form = formOf(type);
    return form.typeName == nullptr ? std::string() : *form.typeName;
}

std::string SettingFactory::typeAsString(boost::shared_ptr<SettingHolder> holder) const {
    return holder ? typeName(holder->type()) : std::string();
}

std::string SettingFactory::valueAsString(boost::shared_ptr<SettingHolder> holder) const {
    const SaveFn save = holder ? formOf(holder->type()).save() : nullptr;
    return save == nullptr ? std::string() : save(std::move(holder));
}

void SettingFactory::Writer::append(std::string& out, const SettingHolder& holder) {
    const bool written = holder.readValue([this, &out](const boost::any& value) {
        const KnownType& type = known(value.type());
        if (type.append == nullptr) return false;
        out.append(type.start);
        type.append(out, value);
        return true;
    });
    if (written) return;
    // The type's own function may do anything, so not under the value's lock.
    const auto value = boost::make_shared<SettingHolder>(holder.name(), holder.value());
    out.append(lead_)
        .append(factory_.typeAsString(value))
        .append(",")
        .append(factory_.valueAsString(value));
}

/// A storage has values of a few types again and again.
const SettingFactory::Writer::KnownType& SettingFactory::Writer::known(const std::type_info& type) {
    const std::size_t address = reinterpret_cast<std::uintptr_t>(&type) / sizeof type;
    KnownType& place = knownTypes_[address % knownTypes_.size()];
    if (place.type != &type) {
        const Form form = factory_.formOf(type);
        const bool builtIn = form.save() != nullptr && form.functions->append != nullptr;
        std::string start = builtIn ? std::string(lead_) + *form.typeName + "," : std::string();
        place = {&type, std::move(start), builtIn ? form.functions->append : nullptr};
    }
    return place;
}

void SettingFactory::debugReport() const {
    std::cout << "SettingFactory::debugReport()\n\tm_typeInfo2typeId[] =\n";
    for (const auto& entry : m_typeInfo2typeId) {
        std::cout << "\t\t" << entry.second << " : " << entry.first.type->name() << std::endl;
    }
    std::cout << "\n\tm_settingFactory[] =\n";
    for (const auto& entry : m_settingFactory) {
        std::cout << "\t\t" << entry.first << " : (" << addressOf(entry.second.load) << ", "
                  << addressOf(entry.second.save) << ')' << std::endl;
    }
}

std::vector<std::string> SettingFactory::typeNames() const {
    std::vector<std::string> names;
    for (const auto& entry : m_settingFactory) names.push_back(entry.first);
    return names;
}

}  // namespace Settings
}  // namespace Qel
