#include "images/vmdk_descriptor.h"

#include <Poco/NumberParser.h>
#include <Poco/String.h>

#include <algorithm>
#include <sstream>

#include "base/failure.h"
#include "base/text.h"

namespace VBoxSim {

namespace {

constexpr char marker[] = "# disk descriptorfile";
constexpr std::size_t mostExtents = 8192;
constexpr std::wstring_view noUuid = L"00000000-0000-0000-0000-000000000000";

std::string unquoted(const std::string& text)
{
    std::string trimmed = Poco::trim(text);
    if (trimmed.size() >= 2 && trimmed.front() == '"' && trimmed.back() == '"')
        return trimmed.substr(1, trimmed.size() - 2);
    return trimmed;
}

/// Whether the line sets the key; `value` gets what it sets.
bool isSetting(const std::string& line, const std::string& key, std::string& value)
{
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos || Poco::icompare(Poco::trim(line.substr(0, equals)), key) != 0)
        return false;
    value = unquoted(line.substr(equals + 1));
    return true;
}

bool startsExtent(const std::string& line)
{
    return line.rfind("RW ", 0) == 0 || line.rfind("RDONLY ", 0) == 0 || line.rfind("NOACCESS ", 0) == 0;
}

std::string extentLine(const std::string& line, const std::string& file)
{
    const std::size_t open = line.find('"');
    const std::size_t close = line.find('"', open + 1);
    return line.substr(0, open + 1) + file + line.substr(close);
}

} // namespace

bool VmdkDescriptor::isDescriptor(const std::string& start)
{
    return Poco::icompare(start.substr(0, sizeof marker - 1), marker) == 0;
}

VmdkDescriptor::VmdkDescriptor(const std::string& text, std::wstring name) : name_(std::move(name))
{
    if (!isDescriptor(text))
        damaged(L"its descriptor is missing");
    // The rest of the sectors that hold an embedded descriptor is zero.
    std::istringstream stream(text.substr(0, text.find('\0')));
    for (std::string line; std::getline(stream, line);) {
        lines_.push_back(Poco::trimRight(line));
        if (startsExtent(lines_.back()))
            parseExtent(lines_.size() - 1);
    }
    const std::string version = value("version");
    if (version != "1" && version != "2" && version != "3")
        throw Failure(Result::notSupported, L"The descriptor of '" + name_ + L"' has an unknown version");
}

void VmdkDescriptor::damaged(const wchar_t* what) const
{
    throw Failure(Result::fileError, L"The VMDK image '" + name_ + L"' is damaged: " + what);
}

void VmdkDescriptor::parseExtent(std::size_t line)
{
    const std::string& text = lines_[line];
    std::istringstream stream(text);
    std::string access;
    std::string sectors;
    std::string type;
    stream >> access >> sectors >> type;

    VmdkExtent extent;
    extent.line = line;
    Poco::UInt64 number = 0;
    if (!Poco::NumberParser::tryParseUnsigned64(sectors, number))
        damaged(L"an extent has no size");
    extent.sectors = number;
    if (type == "ZERO")
        extent.type = VmdkExtentType::Zero;
    else if (type == "FLAT" || type == "VMFS")
        extent.type = VmdkExtentType::Flat;
    else if (type == "SPARSE")
        extent.type = VmdkExtentType::Sparse;
    else
        throw Failure(Result::notSupported, L"'" + name_ + L"' has an extent of type '" + fromUtf8(type) + L"'");

    if (extent.type != VmdkExtentType::Zero) {
        const std::size_t open = text.find('"');
        const std::size_t close = open == std::string::npos ? open : text.find('"', open + 1);
        if (close == std::string::npos || close == open + 1)
            damaged(L"an extent names no file");
        extent.file = text.substr(open + 1, close - open - 1);
        const std::string rest = Poco::trim(text.substr(close + 1));
        if (!rest.empty() && extent.type == VmdkExtentType::Flat) {
            if (!Poco::NumberParser::tryParseUnsigned64(rest, number))
                damaged(L"an extent has no place");
            extent.offsetSectors = number;
        }
    }
    if (extents_.size() == mostExtents)
        damaged(L"it has too many extents");
    extents_.push_back(extent);
}

std::string VmdkDescriptor::value(const std::string& key) const
{
    std::string found;
    for (const std::string& line : lines_) {
        if (isSetting(line, key, found))
            return found;
    }
    return {};
}

std::wstring VmdkDescriptor::uuid(const std::string& key) const
{
    const std::wstring uuid = parseUuid(fromUtf8(value(key))).value_or(L"");
    return uuid == noUuid ? L"" : uuid;
}

void VmdkDescriptor::setValue(const std::string& key, const std::string& value)
{
    const std::string line = key + R"(=")" + value + '"';
    std::string old;
    const auto place = std::find_if(lines_.begin(), lines_.end(),
                                    [&](const std::string& candidate) { return isSetting(candidate, key, old); });
    if (place != lines_.end())
        *place = line;
    else
        lines_.push_back(line);
}

void VmdkDescriptor::setExtentFile(std::size_t extent, const std::string& file)
{
    extents_[extent].file = file;
    std::string& line = lines_[extents_[extent].line];
    line = extentLine(line, file);
}

std::string VmdkDescriptor::text() const
{
    std::string text;
    for (const std::string& line : lines_)
        text += line + '\n';
    return text;
}

} // namespace VBoxSim
