#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace VBoxSim::Time {

/// Since 1970, UTC.
std::int64_t nowMilliseconds();
std::int64_t nowNanoseconds();

/// "YYYY-MM-DDThh:mm:ssZ" as settings files write it.
std::wstring toIso(std::int64_t milliseconds);
/// Milliseconds; nothing for a text that is no such time.
std::optional<std::int64_t> parseIso(std::wstring_view text);

} // namespace VBoxSim::Time
