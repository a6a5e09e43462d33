#pragma once

#include <nlohmann/json.hpp>

#include <map>
#include <string>
#include <vector>

using Json = nlohmann::ordered_json;

/// What a command has to say: for people as text at once, for programs as one JSON document at the end
/// (travikctl.schema.json). A key "stateText" beside "state" is the prose of an identifier: people see only the prose.
class Output
{
public:
    /// Other names for keys, for people.
    using Labels = std::map<std::string, std::string>;

    Output(std::string verb, bool json, bool quiet, bool inLines = false)
        : verb_(std::move(verb)), json_(json), quiet_(quiet), inLines_(inLines)
    {}

    bool json() const { return json_; }

    /// Rows, an array of objects with the same keys, as an aligned table whose headings are the keys.
    void table(const std::string& key, const std::vector<std::string>& columns, const Json& rows);

    /// An object as aligned "key: value" lines.
    void fields(const std::string& key, const Json& object, const Labels& labels = {});

    /// For programs only.
    void record(const Json& facts);

    /// What was done: a sentence for people, unless they want none, and the facts for programs.
    void done(const std::string& sentence, const Json& facts);

    /// What was asked for: a text for people, and the facts for programs.
    void answer(const std::string& text, const Json& facts);

    /// Something that the reader should know.
    void note(const std::string& sentence);
    /// The same for people only: programs have it in the facts.
    void remark(const std::string& sentence);

    /// For output that has no end: text or a JSON object with the time, one line each, at once.
    void line(const std::string& sentence, const Json& object);

    /// The failure that ends the command, for programs.
    void fail(const Json& error);

    /// Prints the document.
    void finish();

private:
    Json head() const;

    std::string verb_;
    bool json_, quiet_;
    bool inLines_; ///< no document
    Json facts_ = Json::object();
};

/// A JSON value as people read it.
std::string plain(const Json& value);

/// A JSON text; what is no UTF-8 in it is replaced.
std::string dumped(const Json& value, int indentation);
