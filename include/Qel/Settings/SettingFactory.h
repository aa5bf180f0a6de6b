#ifndef QEL_SETTINGS_SETTINGFACTORY_H
#define QEL_SETTINGS_SETTINGFACTORY_H

#include <array>
#include <boost/any.hpp>
#include <boost/smart_ptr/shared_ptr.hpp>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <typeinfo>
#include <unordered_map>
#include <vector>

#include "Qel/Settings/Export.h"

namespace Qel {
namespace Settings {

class HolderBlocks;
class SettingHolder;

/// Makes a setting called `name`, of no storage yet, from the text of its value; empty on failure.
using LoadFn = boost::shared_ptr<SettingHolder> (*)(std::string name, const std::string& text);

/// The text of a setting's value; throws `boost::bad_any_cast` for a value of another type.
using SaveFn = std::string (*)(boost::shared_ptr<SettingHolder>);

/// The registry of the types that settings can have: what a type is called in the files, which
/// run-time type it is, and how its values are read and written.
///
/// Several names may share one run-time type; its values are then written under the name that was
/// registered last, and all names go on being read. A fresh factory knows the built-in types.
///
/// No lock: fill it while one thread has it, then any number of threads may read it. The code of a
/// registered type must stay loaded as long as the factory lives.
class QEL_SETTINGS_EXPORT SettingFactory {
public:
    using LoadFn = Qel::Settings::LoadFn;
    using SaveFn = Qel::Settings::SaveFn;

    SettingFactory();
    SettingFactory(const SettingFactory&) = delete;
    SettingFactory& operator=(const SettingFactory&) = delete;
    ~SettingFactory();

    /// Makes `name` stand for this pair of functions, and values of the run-time type be written
    /// under `name`, each in place of what was there. Always true.
    bool registerType(const std::type_info& type, std::string name, LoadFn load, SaveFn save);

    /// A setting of the type called `type`. Empty when there is no such type, when it cannot be
    /// loaded, or when its load function refuses the text.
    boost::shared_ptr<SettingHolder> create(std::string type, std::string name, std::string value);

    /// The name that values of this run-time type are written under; empty for an unknown type.
    std::string typeName(const std::type_info& type) const;

    /// The name that the setting's type is written under; empty for a null holder and for a value
    /// that is empty or of an unknown type.
    std::string typeAsString(boost::shared_ptr<SettingHolder> holder) const;

    /// The text of the setting's value; empty when `typeAsString` is, or when the type cannot be
    /// saved.
    ///
    /// Looks at the value twice, and another thread may change a shared setting in between: whoever
    /// needs type and text of one and the same value hands in a holder that nobody else has.
    std::string valueAsString(boost::shared_ptr<SettingHolder> holder) const;

    class Maker;

    /// What makes settings of the type called `type`, for whoever makes many. Good as long as the
    /// factory lives.
    Maker maker(std::string_view type) const;

    class Writer;

    /// Writes both tables to the standard output.
    void debugReport() const;

    /// The names of all types, ascending.
    std::vector<std::string> typeNames() const;

private:
    /// Ordered by the type's name where it has one for the whole program, so that a type is the
    /// same in every shared object.
    struct TypeInfo {
        const std::type_info* type;
        bool operator<(const TypeInfo& other) const { return type->before(*other.type); }
    };

    /// Makes a setting without copies of the texts.
    using MakeFn = boost::shared_ptr<SettingHolder> (*)(HolderBlocks& blocks, std::string_view name,
                                                        std::string_view text);

    /// Appends the text of a value. Throws `boost::bad_any_cast` when it is of another type.
    using AppendFn = void (*)(std::string& out, const boost::any& value);
    struct BuiltInType;

    struct Functions {
        LoadFn load;
        SaveFn save;
        // Do what `load` and `save` do; null for functions that are not built in.
        MakeFn make;
        AppendFn append;
    };

    /// How values of one run-time type are written.
    struct Form {
        const std::string* typeName;
        const Functions* functions;

        /// Null for an unknown type, and for one that is written under no name.
        SaveFn save() const {
            return typeName == nullptr || typeName->empty() ? nullptr : functions->save;
        }
    };

    static const BuiltInType kBuiltInTypes[];

    void add(const std::type_info& type, std::string name, const Functions& functions);
    Form formOf(const std::type_info& type) const;

    std::map<std::string, Functions, std::less<>> m_settingFactory;
    std::map<TypeInfo, std::string> m_typeInfo2typeId;
    // The second map once more, by the address that a type has nearly everywhere.
    std::unordered_map<const std::type_info*, Form> forms_;
};

/// Makes settings of one type, or none at all of an unknown one.
class SettingFactory::Maker {
public:
    Maker() = default;

    bool isKnown() const { return functions_ != nullptr; }

    /// As `create` does, with `blocks` for settings of the built-in types.
    boost::shared_ptr<SettingHolder> operator()(HolderBlocks& blocks, std::string_view name,
                                                std::string_view text) const;

private:
    friend class SettingFactory;
    explicit Maker(const Functions* functions) : functions_(functions) {}

    const Functions* functions_ = nullptr;
};

/// Writes the values of many settings. For one thread, while the factory lives and is not filled.
class SettingFactory::Writer {
public:
    /// `lead` stands before each type's name. It is to outlive the writer.
    Writer(const SettingFactory& factory, std::string_view lead) : factory_(factory), lead_(lead) {}

    /// Appends the lead, the name of the setting's type, a comma and the text of its value, both of
    /// one and the same value whoever changes it meanwhile.
    void append(std::string& out, const SettingHolder& holder);

private:
    struct KnownType {
        const std::type_info* type = nullptr;
        std::string start;  ///< the lead, the type's name and the comma
        AppendFn append = nullptr;
    };

    const KnownType& known(const std::type_info& type);

    const SettingFactory& factory_;
    std::string_view lead_;
    std::array<KnownType, 16> knownTypes_;
};

}  // namespace Settings
}  // namespace Qel

#endif
