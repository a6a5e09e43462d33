#include "base/time.h"

#include <Poco/DateTime.h>
#include <Poco/DateTimeFormat.h>
#include <Poco/DateTimeFormatter.h>
#include <Poco/DateTimeParser.h>
#include <Poco/Timestamp.h>

#include <chrono>

#include "base/text.h"

namespace VBoxSim::Time {

namespace {
template <class Unit>
std::int64_t now()
{
    return std::chrono::duration_cast<Unit>(std::chrono::system_clock::now().time_since_epoch()).count();
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
    const Poco::Timestamp moment(milliseconds * 1000);
    return fromUtf8(Poco::DateTimeFormatter::format(moment, Poco::DateTimeFormat::ISO8601_FORMAT));
}

std::int64_t fromIso(std::wstring_view text)
{
    Poco::DateTime moment;
    int zone = 0;
    if (!Poco::DateTimeParser::tryParse(Poco::DateTimeFormat::ISO8601_FORMAT, toUtf8(text), moment, zone))
        return 0;
    return moment.timestamp().epochMicroseconds() / 1000;
}

} // namespace VBoxSim::Time
