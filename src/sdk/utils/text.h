#pragma once

#include <string>

namespace Travik::Utils {

/// Wide text to UTF-8 and back, by POCO's rules; empty for empty.
std::string toUtf8(const std::wstring& text);
std::wstring toWide(const std::string& text);

} // namespace Travik::Utils
