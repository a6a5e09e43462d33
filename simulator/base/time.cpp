#include "base/time.h"

#include <array>
#include <charconv>
#include <chrono>
#include <cstdio>

#include "base/text.h"

namespace VBoxSim::Time {

namespace {

template <class Unit>
std::int64_t now()
{
    return std::chrono::duration_cast<Unit>(std::chrono::system_clock::now().time_since_epoch()).count();
}

/// The digits at that place; nothing when other characters are among them.
std::optional<int> numberAt(const std::string& text, std::size_t place, std::size_t length)
{
    int value = 0;
    const char* last = text.data() + place + length;
    const auto [end, problem] = std::from_chars(text.data() + place, last, value);
    return problem == std::errc() && end == last && value >= 0 ? std::optional(value) : std::nullopt;
}

} // namespace

std::int64_t nowMilliseconds()
{
    return now<std::chrono::milliseconds>();
}

std::int64_t nowNanoseconds()
{
    return now<std::chrono::nanoseconds>();
}

std::wstring toIso(std::int64_t milliseconds)
{
    using namespace std::chrono;
    const auto moment = floor<seconds>(sys_time<std::chrono::milliseconds>(std::chrono::milliseconds(milliseconds)));
    const year_month_day date = floor<days>(moment);
    const hh_mm_ss time(moment - floor<days>(moment));
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                  static_cast<int>(time.seconds().count()));
    return fromUtf8(text.data());
}

std::optional<std::int64_t> parseIso(std::wstring_view text)
{
    using namespace std::chrono;
    constexpr std::string_view form = "0000-00-00T00:00:00Z";
    const std::string ascii = toUtf8(text.substr(0, form.size()));
    if (ascii.size() != form.size())
        return std::nullopt;
    for (std::size_t i = 0; i < form.size(); ++i)
        if (form[i] != '0' && form[i] != ascii[i])
            return std::nullopt;
    const auto part = [&](std::size_t place, std::size_t length) { return numberAt(ascii, place, length); };
    const auto years = part(0, 4), month = part(5, 2), day = part(8, 2);
    const auto hour = part(11, 2), minute = part(14, 2), second = part(17, 2);
    if (!years || !month || !day || !hour || !minute || !second)
        return std::nullopt;
    const year_month_day date(year(*years), std::chrono::month(static_cast<unsigned>(*month)),
                              std::chrono::day(static_cast<unsigned>(*day)));
    if (!date.ok() || *hour > 23 || *minute > 59 || *second > 59)
        return std::nullopt;
    const auto moment = sys_days(date) + hours(*hour) + minutes(*minute) + seconds(*second);
    return duration_cast<std::chrono::milliseconds>(moment.time_since_epoch()).count();
}

} // namespace VBoxSim::Time
