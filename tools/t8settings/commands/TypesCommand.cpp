#include <Qel/Settings/T8SettingsManager.h>
#include <memory>
#include <optional>

#include "commands/Command.h"
#include "console/Json.h"
#include "console/Table.h"
#include "values/Types.h"

namespace t8settings {

namespace {

using Qel::Settings::TypeDescription;

constexpr const char* kTypesHelp =
    "Without NAME one line for each type: its name, its kind and what it is made of.\n"
    "With NAME that type, and below it each text of an enumeration with its number,\n"
    "or each field of a record, or of the records in an array or map, with its type\n"
    "and its default, and of a list its form as a field. NAME may also be a type\n"
    "that only fields, keys or values have, such as Role, SourcePK or\n"
    "QelNetSourceVer3. No base directory is needed.\n\n"
    "Example:\n"
    "  t8settings types DisplaySetup";

Row rowOf(const TypeDescription& type) {
    return {type.name, kindOf(type), summaryOf(type)};
}

Row rowOf(const TypeDescription& type, const TypeDescription::Enumerator& enumerator) {
    Row row = {enumerator.text, std::to_string(enumerator.value)};
    if (enumerator.text == type.emptyText) {
        row.emplace_back("the empty text");
    }
    return row;
}

Json jsonOf(const TypeDescription::Enumerator& enumerator) {
    return {{"text", enumerator.text}, {"value", enumerator.value}};
}

bool isList(const TypeDescription::Field& field) {
    return typeCalled(field.type).kind == TypeDescription::Kind::kArray;
}

Row rowOf(const TypeDescription::Field& field) {
    Row row = {field.name, field.type, field.defaultText};
    if (isList(field)) {
        row.push_back(textsOfListField());
    }
    return row;
}

Json jsonOf(const TypeDescription::Field& field) {
    Json json = {{"name", field.name}, {"type", field.type}, {"defaultText", field.defaultText}};
    if (isList(field)) {
        json["takes"] = textsOfListField();
    }
    return json;
}

/// What a type does not have is no member of its object.
template <class Part>
void addParts(Json& json, const char* key, const std::vector<Part>& parts) {
    for (const Part& part : parts) {
        json[key].push_back(jsonOf(part));
    }
}

Json jsonOf(const TypeDescription& type) {
    Json json = {{"name", type.name}, {"kind", kindOf(type)}, {"emptyText", type.emptyText}};
    if (type.kind == TypeDescription::Kind::kScalar) {
        json["takes"] = summaryOf(type);
    }
    if (!type.keyType.empty()) {
        json["keyType"] = type.keyType;
    }
    if (!type.elementType.empty()) {
        json["elementType"] = type.elementType;
    }
    addParts(json, "enumerators", type.enumerators);
    addParts(json, "fields", type.fields);
    return json;
}

Result allTypes(Format format) {
    std::vector<Row> rows;
    Json json = Json::array();
    for (const TypeDescription& type : Qel::Settings::describeTypes()) {
        rows.push_back(rowOf(type));
        json.push_back(jsonOf(type));
    }
    return {format == Format::kJson ? textOfJson(json) : linesOf(rows, nameAndType())};
}

Result oneType(Format format, const TypeDescription& type) {
    if (format == Format::kJson) {
        return {textOfJson(jsonOf(type))};
    }
    std::vector<Row> rows = {rowOf(type)};
    for (const TypeDescription::Enumerator& enumerator : type.enumerators) {
        rows.push_back(rowOf(type, enumerator));
    }
    for (const TypeDescription::Field& field : type.fields) {
        rows.push_back(rowOf(field));
    }
    return {linesOf(rows, nameAndType())};
}

}  // namespace

Command addTypesCommand(CLI::App& app) {
    const auto name = std::make_shared<std::optional<std::string>>();
    CLI::App* const command = app.add_subcommand("types", "Show the types that settings can have");
    command->add_option("NAME", *name, "Only this type, with all that it is made of")
        ->type_name("");
    command->footer(kTypesHelp);
    return {command, {}, [name](Format format) {
                demandWord(name->value_or("all"), "NAME");
                return *name ? oneType(format, typeCalled(**name)) : allTypes(format);
            }};
}

}  // namespace t8settings
