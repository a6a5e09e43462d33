#include "output.h"

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

void Output::table(const std::string& key, const std::vector<std::string>& columns, const Json& rows)
{
    if (json_) {
        document_[key] = rows;
        return;
    }
    std::vector<std::vector<std::string>> cells{columns};
    for (const Json& row : rows) {
        cells.emplace_back();
        for (const std::string& column : columns)
            cells.back().push_back(plain(row.value(column, Json())));
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
            line += padded(row[i], widths[i] + 2);
        text += withoutTrailingBlanks(line);
    }
    writeOut(text);
}

void Output::fields(const std::string& key, const Json& object)
{
    if (json_) {
        document_[key] = object;
        return;
    }
    std::size_t width = 0;
    for (const auto& item : object.items())
        width = std::max(width, columnsOf(item.key()));
    std::string text;
    for (const auto& item : object.items())
        text += withoutTrailingBlanks(padded(item.key() + ":", width + 2) + plain(item.value()));
    writeOut(text);
}

void Output::done(const std::string& sentence, const Json& facts)
{
    if (json_)
        document_.update(facts);
    else
        writeOut(sentence + "\n");
}

void Output::value(const std::string& key, const Json& value)
{
    done(plain(value), {{key, value}});
}

void Output::note(const std::string& sentence)
{
    if (json_)
        document_["notes"].push_back(sentence);
    else
        writeOut("note: " + sentence + "\n");
}

void Output::line(const std::string& sentence, const Json& object)
{
    writeOut((json_ ? object.dump() : sentence) + "\n");
}

void Output::finish()
{
    if (json_ && !document_.empty())
        writeOut(document_.dump(2) + "\n");
}
