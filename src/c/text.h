#pragma once

#include <string>
#include <string_view>

#include "travik/travik.h"

namespace Travik::Flat {

/// A text of the caller's as the library takes it. Throws Refused when it is null or not UTF-8.
std::wstring toWide(const char* text);

/// A text of the library as the caller takes it. Half a surrogate pair becomes U+FFFD.
std::string toUtf8(std::wstring_view text);

/// The same in memory that travik_freeText frees.
char* newText(std::wstring_view text);

} // namespace Travik::Flat
