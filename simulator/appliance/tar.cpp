#include "appliance/tar.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "base/failure.h"
#include "base/safe_name.h"
#include "base/text.h"

namespace VBoxSim {

namespace {

constexpr std::size_t blockSize = 512;
constexpr std::size_t mostMembers = 200000;
constexpr std::uint64_t longestMetadata = std::uint64_t(64) << 10;
constexpr std::uint64_t largestNumber = std::uint64_t(1) << 60;

struct Field
{
    std::size_t place;
    std::size_t length;
};
constexpr Field nameField = {0, 100};
constexpr Field sizeField = {124, 12};
constexpr Field checksumField = {148, 8};
constexpr std::size_t typePlace = 156;
constexpr Field magicField = {257, 5};
constexpr std::size_t gnuMark = 262; ///< zero in ustar, blank in the older GNU form
constexpr Field prefixField = {345, 155};

using Header = std::array<std::uint8_t, blockSize>;

Failure damaged(const wchar_t* what)
{
    return Failure(Result::iprtError, std::wstring(L"The archive is damaged: ") + what);
}

std::string text(const Header& header, Field field)
{
    const char* start = reinterpret_cast<const char*>(header.data()) + field.place;
    return {start, std::find(start, start + field.length, '\0')};
}

/// Octal digits among blanks and zeros, or a binary number after a first byte with its highest bit set.
std::uint64_t number(const Header& header, Field field)
{
    const std::uint8_t* bytes = header.data() + field.place;
    std::uint64_t value = 0;
    if (bytes[0] & 0x80) {
        if (bytes[0] != 0x80)
            throw damaged(L"a number is out of range");
        for (std::size_t i = 1; i < field.length; ++i) {
            if (value > largestNumber >> 8)
                throw damaged(L"a number is out of range");
            value = value << 8 | bytes[i];
        }
        return value;
    }
    std::size_t i = 0;
    while (i < field.length && bytes[i] == ' ')
        ++i;
    const std::size_t first = i;
    for (; i < field.length && bytes[i] >= '0' && bytes[i] <= '7'; ++i)
        value = value << 3 | static_cast<std::uint64_t>(bytes[i] - '0');
    if (i == first || (i < field.length && bytes[i] != ' ' && bytes[i] != '\0'))
        throw damaged(L"a number is malformed");
    return value;
}

void verifyChecksum(const Header& header)
{
    std::uint64_t sum = 0;
    std::int64_t signedSum = 0; // some old programs added signed bytes
    for (std::size_t i = 0; i < blockSize; ++i) {
        const bool inChecksum = i >= checksumField.place && i < checksumField.place + checksumField.length;
        const std::uint8_t byte = inChecksum ? ' ' : header[i];
        sum += byte;
        signedSum += static_cast<std::int8_t>(byte);
    }
    const std::uint64_t stored = number(header, checksumField);
    if (stored != sum && static_cast<std::int64_t>(stored) != signedSum)
        throw damaged(L"a header does not match its checksum");
}

bool isZero(const Header& header)
{
    return std::all_of(header.begin(), header.end(), [](std::uint8_t byte) { return byte == 0; });
}

std::string storedName(const Header& header)
{
    std::string name = text(header, nameField);
    if (text(header, magicField) != "ustar" || header[gnuMark] != 0)
        return name;
    const std::string prefix = text(header, prefixField);
    return prefix.empty() ? name : prefix + "/" + name;
}

/// What the extra headers in front of a member say about it.
struct Overrides
{
    std::string name;
    bool hasSize = false;
    std::uint64_t size = 0;
};

/// Records "<length> <key>=<value>\n" of a pax header.
void readPax(const std::string& data, Overrides& overrides)
{
    for (std::size_t place = 0; place < data.size() && data[place] != '\0';) {
        const std::size_t blank = data.find(' ', place);
        std::size_t length = 0;
        for (std::size_t i = place; i < std::min(blank, data.size()); ++i) {
            if (data[i] < '0' || data[i] > '9' || length > longestMetadata)
                throw damaged(L"an extended header is malformed");
            length = length * 10 + static_cast<std::size_t>(data[i] - '0');
        }
        if (blank == std::string::npos || length < blank - place + 3 || length > data.size() - place)
            throw damaged(L"an extended header is malformed");
        const std::string record = data.substr(blank + 1, place + length - blank - 2);
        const std::size_t equals = record.find('=');
        if (equals == std::string::npos)
            throw damaged(L"an extended header is malformed");
        const std::string key = record.substr(0, equals);
        const std::string value = record.substr(equals + 1);
        if (key == "path") {
            overrides.name = value;
        } else if (key == "size") {
            if (value.empty() || value.size() > 18 || value.find_first_not_of("0123456789") != std::string::npos)
                throw damaged(L"an extended header has a wrong size");
            overrides.size = std::stoull(value);
            overrides.hasSize = true;
        } else if (key.rfind("GNU.sparse.", 0) == 0) {
            throw Failure(Result::notSupported, L"The archive has sparse members");
        }
        place += length;
    }
}

bool isMetadata(char type)
{
    return type == 'x' || type == 'g' || type == 'L' || type == 'K';
}

/// How many bytes of data follow a header.
std::uint64_t dataSize(const Header& header, char type, const Overrides& overrides)
{
    const std::uint64_t stored = number(header, sizeField);
    // Links, folders and devices have no data, whatever their size says.
    if (type >= '1' && type <= '6')
        return 0;
    return overrides.hasSize && !isMetadata(type) ? overrides.size : stored;
}

void readMetadata(const ByteSource& source, std::uint64_t place, std::uint64_t size, char type, Overrides& overrides)
{
    if (size > longestMetadata)
        throw damaged(L"an extended header is too long");
    std::string data(static_cast<std::size_t>(size), '\0');
    source.readAt(place, data.data(), data.size());
    if (type == 'x')
        readPax(data, overrides);
    else if (type == 'L')
        overrides.name = data.substr(0, data.find('\0'));
}

} // namespace

TarArchive::TarArchive(std::shared_ptr<const ByteSource> source) : source_(std::move(source))
{
    Overrides overrides;
    std::uint64_t place = 0;
    for (std::size_t count = 0;; ++count) {
        // The end is marked by blocks of zeros, which some programs leave out.
        if (place == source_->size() && count > 0)
            break;
        if (source_->size() - place < blockSize)
            throw damaged(L"it ends inside a header");
        Header header;
        source_->readAt(place, header.data(), header.size());
        if (isZero(header))
            break;
        if (count == mostMembers)
            throw damaged(L"it has too many members");
        verifyChecksum(header);

        const char type = static_cast<char>(header[typePlace]);
        const std::uint64_t size = dataSize(header, type, overrides);
        place += blockSize;
        if (size > source_->size() - place)
            throw damaged(L"it ends inside a member");

        if (isMetadata(type)) {
            readMetadata(*source_, place, size, type, overrides);
        } else {
            if (type == 'S')
                throw Failure(Result::notSupported, L"The archive has sparse members");
            const std::string name = withoutLeadingDot(overrides.name.empty() ? storedName(header) : overrides.name);
            if (type == '0' || type == '\0' || type == '7') {
                if (name.empty())
                    throw damaged(L"a member has no name");
                byName_.try_emplace(toLower(fromUtf8(name)), members_.size());
                members_.push_back({name, place, size});
            }
            overrides = Overrides();
        }
        // The padding of the last member may be missing together with the end mark.
        place = std::min(place + (size + blockSize - 1) / blockSize * blockSize, source_->size());
    }
}

const TarMember* TarArchive::find(const std::string& name) const
{
    const auto found = byName_.find(toLower(fromUtf8(name)));
    return found == byName_.end() ? nullptr : &members_[found->second];
}

std::shared_ptr<ByteSource> TarArchive::open(const TarMember& member) const
{
    return std::make_shared<WindowSource>(source_, member.offset, member.size);
}

} // namespace VBoxSim
