#include "output.h"

#include <chrono>

#include "terminal.h"
#include "text.h"

namespace {

std::string padded(const std::string& text, std::size_t width)
{
    const std::size_t columns = columnsOf(text);
    return text + std::string(columns < width ? width - columns : 0, ' ');
}

std::string withoutTrailingBlanks(std::string line)
{
    line.erase(line.find_last_not_of(' ') + 1);
    return line + "\n";
}

/// The prose of a key if it has some, else its value.
std::string shown(const Json& object, const std::string& key)
{
    return plain(object.value(key + "Text", object.value(key, Json())));
}

bool isProse(const Json& object, const std::string& key)
{
    return key.ends_with("Text") && object.contains(key.substr(0, key.size() - 4));
}

/// Good news green, bad news red, what wants a look yellow.
std::string painted(const std::string& cell)
{
    const std::string word = cell.substr(0, cell.find_last_not_of(' ') + 1);
    if (word == "running" || word == "ok")
        return colored(cell, Color::Green);
    if (word == "aborted" || word == "inaccessible" || word == "problem")
        return colored(cell, Color::Red);
    if (word == "paused" || word == "stuck" || word == "note")
        return colored(cell, Color::Yellow);
    return cell;
}

/// Now, in UTC with milliseconds, as ISO 8601 writes it.
std::string timeStamp()
{
    const auto now = std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
    const auto day = std::chrono::floor<std::chrono::days>(now);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss time(now - day);
    char text[40];
    std::snprintf(text, sizeof(text), "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", int(date.year()), unsigned(date.month()),
                  unsigned(date.day()), int(time.hours().count()), int(time.minutes().count()),
                  int(time.seconds().count()), int(time.subseconds().count()));
    return text;
}

} // namespace

std::string plain(const Json& value)
{
    if (value.is_string())
        return value.get<std::string>();
    if (value.is_null())
        return "-";
    if (value.is_boolean())
        return value.get<bool>() ? "yes" : "no";
    return value.dump();
}

std::string dumped(const Json& value, int indentation)
{
    return value.dump(indentation, ' ', false, Json::error_handler_t::replace) + "\n";
}

Json Output::head() const
{
    return {{"schema", "travikctl/1"}, {"verb", verb_}};
}

void Output::table(const std::string& key, const std::vector<std::string>& columns, const Json& rows)
{
    facts_[key] = rows;
    if (json_)
        return;
    std::vector<std::vector<std::string>> cells{columns};
    for (const Json& row : rows) {
        cells.emplace_back();
        for (const std::string& column : columns)
            cells.back().push_back(shown(row, column));
    }
    std::vector<std::size_t> widths(columns.size());
    for (const auto& row : cells) {
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], columnsOf(row[i]));
    }
    std::string text;
    for (const auto& row : cells) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i)
            line += i + 1 < row.size() ? painted(padded(row[i], widths[i] + 2)) : painted(row[i]);
        text += withoutTrailingBlanks(line);
    }
    writeOut(text);
}

void Output::fields(const std::string& key, const Json& object, const Labels& labels)
{
    facts_[key] = object;
    if (json_)
        return;
    const auto label = [&labels](const std::string& name) {
        const auto found = labels.find(name);
        return found != labels.end() ? found->second : name;
    };
    std::size_t width = 0;
    for (const auto& item : object.items())
        width = std::max(width, isProse(object, item.key()) ? 0 : columnsOf(label(item.key())));
    std::string text;
    for (const auto& item : object.items()) {
        if (!isProse(object, item.key()))
            text +=
                withoutTrailingBlanks(padded(label(item.key()) + ":", width + 2) + painted(shown(object, item.key())));
    }
    writeOut(text);
}

void Output::record(const Json& facts)
{
    facts_.update(facts);
}

void Output::done(const std::string& sentence, const Json& facts)
{
    facts_.update(facts);
    if (!json_ && !quiet_)
        writeOut(sentence + "\n");
}

void Output::answer(const std::string& text, const Json& facts)
{
    facts_.update(facts);
    if (!json_)
        writeOut(text + "\n");
}

void Output::note(const std::string& sentence)
{
    facts_["notes"].push_back(sentence);
    remark(sentence);
}

void Output::remark(const std::string& sentence)
{
    if (!json_ && !quiet_)
        writeOut("note: " + sentence + "\n");
}

void Output::line(const std::string& sentence, const Json& object)
{
    Json whole = head();
    whole["time"] = timeStamp();
    whole.update(object);
    writeOut(json_ ? dumped(whole, -1) : sentence + "\n");
}

void Output::fail(const Json& error)
{
    if (inLines_ && json_)
        line("", {{"event", "failed"}, {"error", error}});
    else
        facts_["error"] = error;
}

void Output::finish()
{
    if (!json_ || inLines_)
        return;
    Json document = head();
    document.update(facts_);
    writeOut(dumped(document, 2));
}
