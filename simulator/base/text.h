#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace VBoxSim {

/// Wide text is what std::wstring holds on the system at hand: UTF-16 on Windows, whole characters elsewhere. What is
/// not valid becomes the replacement character, in both directions.
std::string toUtf8(std::wstring_view text);
std::wstring fromUtf8(std::string_view text);

/// Whether a settings file can carry the text: proper characters, no controls other than tab and newline.
bool isStorable(std::wstring_view text);

/// Compares as Windows compares file names.
bool equalIgnoringCase(std::wstring_view left, std::wstring_view right);

std::wstring toLower(std::wstring_view text);

/// The entries of a list separated by commas or other marks, without surrounding blanks; empty ones are dropped.
template <class Use>
void forEachEntry(std::wstring_view list, std::wstring_view separators, Use&& use)
{
    while (!list.empty()) {
        const std::size_t end = std::min(list.find_first_of(separators), list.size());
        std::wstring_view entry = list.substr(0, end);
        while (!entry.empty() && entry.front() == L' ')
            entry.remove_prefix(1);
        while (!entry.empty() && entry.back() == L' ')
            entry.remove_suffix(1);
        if (!entry.empty())
            use(entry);
        list.remove_prefix(std::min(end + 1, list.size()));
    }
}

// A UUID is its text: lower case, without braces, as VirtualBox's attributes give it. No UUID is the empty text.

/// A new random one.
std::wstring newUuid();

/// The UUID in that form, from a text with or without braces; nothing if it is none.
std::optional<std::wstring> parseUuid(std::wstring_view text);

/// The UUID as settings files write it.
std::wstring braced(std::wstring_view uuid);

/// The 16 bytes of a UUID in the order of a Windows GUID, as disk images hold it; zero for none.
std::array<std::uint8_t, 16> guidBytes(std::wstring_view uuid);
std::wstring uuidOfGuid(const std::uint8_t* bytes);

} // namespace VBoxSim
