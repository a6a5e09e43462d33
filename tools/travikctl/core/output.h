#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

using Json = nlohmann::ordered_json;

/// What a command has to say, for people as text at once, for programs as one JSON object at the end.
class Output
{
public:
    explicit Output(bool json) : json_(json) {}

    bool json() const { return json_; }

    /// Rows, an array of objects with the same keys, as an aligned table whose headings are the keys.
    void table(const std::string& key, const std::vector<std::string>& columns, const Json& rows);

    /// An object as aligned "key: value" lines.
    void fields(const std::string& key, const Json& object);

    /// A sentence for people, and the facts in it for programs.
    void done(const std::string& sentence, const Json& facts);

    /// One value alone.
    void value(const std::string& key, const Json& value);

    /// Something that the reader should know.
    void note(const std::string& sentence);

    /// For output that has no end: text or a JSON object, one line each, at once.
    void line(const std::string& sentence, const Json& object);

    /// Prints the JSON object, if there is one.
    void finish();

private:
    bool json_;
    Json document_ = Json::object();
};

/// A JSON value as people read it.
std::string plain(const Json& value);
