#include "utils/text.h"

#include <Poco/UnicodeConverter.h>

namespace Travik::Utils {

std::string toUtf8(const std::wstring& text)
{
    std::string result;
    if (!text.empty())
        Poco::UnicodeConverter::convert(text, result);
    return result;
}

std::wstring toWide(const std::string& text)
{
    std::wstring result;
    if (!text.empty())
        Poco::UnicodeConverter::convert(text, result);
    return result;
}

} // namespace Travik::Utils
