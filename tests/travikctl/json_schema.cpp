#include "json_schema.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>

using nlohmann::json;

namespace {

bool hasType(const json& value, const std::string& type)
{
    return type == "object"    ? value.is_object()
           : type == "array"   ? value.is_array()
           : type == "string"  ? value.is_string()
           : type == "integer" ? value.is_number_integer()
           : type == "boolean" ? value.is_boolean()
           : type == "null"    ? value.is_null()
                               : throw std::logic_error("the schema has a type " + type);
}

std::string problemOfObject(const json& value, const json& schema, const json& root)
{
    for (const json& key : schema.value("required", json::array())) {
        if (!value.contains(key.get<std::string>()))
            return key.get<std::string>() + " is missing";
    }
    const json properties = schema.value("properties", json::object());
    for (const auto& item : value.items()) {
        if (!properties.contains(item.key())) {
            if (schema.contains("additionalProperties"))
                return item.key() + " is not in the schema";
            continue;
        }
        if (const std::string problem = problemBySchema(item.value(), properties[item.key()], root); !problem.empty())
            return item.key() + ": " + problem;
    }
    return "";
}

std::string problemOfChoice(const json& value, const json& choices, const json& root, bool exactlyOne)
{
    std::size_t fitting = 0;
    std::string problems;
    for (const json& choice : choices) {
        const std::string problem = problemBySchema(value, choice, root);
        fitting += problem.empty() ? 1 : 0;
        problems += "\n  " + problem;
    }
    return fitting == 1 || (fitting > 1 && !exactlyOne) ? "" : std::to_string(fitting) + " choices fit:" + problems;
}

void refuseUnknownWords(const json& schema)
{
    static const std::set<std::string> known{"$schema", "$defs", "$ref",     "title",      "description",
                                             "type",    "const", "enum",     "pattern",    "items",
                                             "oneOf",   "anyOf", "required", "properties", "additionalProperties"};
    for (const auto& item : schema.items()) {
        if (!known.contains(item.key()))
            throw std::logic_error("the schema says " + item.key());
    }
}

} // namespace

std::string problemBySchema(const json& value, const json& schema, const json& root)
{
    refuseUnknownWords(schema);
    if (schema.contains("$ref"))
        return problemBySchema(value, root.at(json::json_pointer(schema["$ref"].get<std::string>().substr(1))), root);
    if (schema.contains("type") && !hasType(value, schema["type"]))
        return value.dump() + " is no " + schema["type"].get<std::string>();
    if (schema.contains("const") && value != schema["const"])
        return value.dump() + " is not " + schema["const"].dump();
    if (schema.contains("enum") &&
        std::find(schema["enum"].begin(), schema["enum"].end(), value) == schema["enum"].end())
        return value.dump() + " is none of " + schema["enum"].dump();
    if (schema.contains("pattern") &&
        !std::regex_search(value.get<std::string>(), std::regex(schema["pattern"].get<std::string>())))
        return value.dump() + " does not fit " + schema["pattern"].dump();
    for (const char* word : {"oneOf", "anyOf"}) {
        if (!schema.contains(word))
            continue;
        const std::string problem = problemOfChoice(value, schema[word], root, word == std::string("oneOf"));
        if (!problem.empty())
            return problem;
    }
    if (value.is_array() && schema.contains("items")) {
        for (const json& item : value) {
            if (const std::string problem = problemBySchema(item, schema["items"], root); !problem.empty())
                return "an item: " + problem;
        }
    }
    return value.is_object() ? problemOfObject(value, schema, root) : "";
}

std::string problemByTravikctlSchema(const json& document)
{
    static const json schema = [] {
        std::ifstream stream(std::filesystem::path(_wgetenv(L"TRAVIK_TEST_SCHEMA")));
        return json::parse(stream);
    }();
    if (document.is_discarded())
        return "no JSON";
    return problemBySchema(document, schema, schema);
}
