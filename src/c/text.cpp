#include "text.h"

#include <windows.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "failure.h"

namespace Travik::Flat {

std::wstring toWide(const char* text)
{
    if (!text)
        throw Refused(TRAVIK_NullArgument, "a text is null");
    const std::size_t size = std::strlen(text);
    if (size == 0)
        return std::wstring();
    if (size > INT_MAX)
        throw std::bad_alloc();
    std::wstring wide(size, L'\0'); // never more units than bytes
    const int units = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text, static_cast<int>(size), wide.data(),
                                          static_cast<int>(size));
    if (units == 0)
        throw Refused(TRAVIK_NotUtf8, "a text is not UTF-8");
    wide.resize(static_cast<std::size_t>(units));
    return wide;
}

std::string toUtf8(std::wstring_view text)
{
    if (text.empty())
        return std::string();
    if (text.size() > INT_MAX / 3)
        throw std::bad_alloc();
    std::string utf8(text.size() * 3, '\0'); // never more bytes
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), utf8.data(),
                                          static_cast<int>(utf8.size()), nullptr, nullptr);
    utf8.resize(static_cast<std::size_t>(bytes));
    return utf8;
}

char* newText(std::wstring_view text)
{
    const std::string utf8 = toUtf8(text);
    auto* const made = static_cast<char*>(std::malloc(utf8.size() + 1));
    if (!made)
        throw std::bad_alloc();
    std::memcpy(made, utf8.c_str(), utf8.size() + 1);
    return made;
}

} // namespace Travik::Flat

extern "C" {

void travik_freeText(char** text)
{
    if (text)
        std::free(std::exchange(*text, nullptr));
}

void travik_freeTexts(travik_texts* texts)
{
    if (!texts)
        return;
    for (std::uint32_t i = 0; texts->items && i < texts->count; ++i)
        std::free(texts->items[i]);
    std::free(texts->items);
    *texts = {};
}

void travik_freeMachines(travik_machines* machines)
{
    if (!machines)
        return;
    std::free(machines->items);
    *machines = {};
}
}
