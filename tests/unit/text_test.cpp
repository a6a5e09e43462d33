#include <gmock/gmock.h>

#include <string>

#include "utils/text.h"

namespace {

using namespace Travik::Utils;
using namespace std::string_literals;

TEST(Utf8, OfEmptyTextIsEmptyBothWays)
{
    EXPECT_EQ("", toUtf8(L""));
    EXPECT_EQ(L"", toWide(""));
}

TEST(Utf8, EncodesEveryLength)
{
    EXPECT_EQ("A\x7F", toUtf8(L"A\x7F"));
    EXPECT_EQ("\xC2\x80\xDF\xBF", toUtf8(L"\u0080\u07FF"));
    EXPECT_EQ("\xE0\xA0\x80\xE4\xB8\xAD\xEF\xBF\xBD", toUtf8(L"\u0800\u4E2D\uFFFD"));
    EXPECT_EQ("\xF0\x90\x80\x80\xF0\x9F\x8E\xAE\xF4\x8F\xBF\xBD", toUtf8(L"\U00010000\U0001F3AE\U0010FFFD"));
}

TEST(Utf8, DecodesEveryLength)
{
    EXPECT_EQ(L"A\x7F", toWide("A\x7F"));
    EXPECT_EQ(L"\u0080\u07FF", toWide("\xC2\x80\xDF\xBF"));
    EXPECT_EQ(L"\u0800\u4E2D\uFFFD", toWide("\xE0\xA0\x80\xE4\xB8\xAD\xEF\xBF\xBD"));
    EXPECT_EQ(L"\U00010000\U0001F3AE\U0010FFFD", toWide("\xF0\x90\x80\x80\xF0\x9F\x8E\xAE\xF4\x8F\xBF\xBD"));
}

TEST(Utf8, SurvivesTheRoundTrip)
{
    for (const std::wstring& text : {L"plain"s, L"caf\u00E9 \u4E2D\u6587 \U0001F3AE\U0001F1E9\U0001F1EA e\u0301"s,
                                     L"a\0b\0"s, std::wstring(100000, L'\u4E2D'), L"line\r\nend"s})
        EXPECT_EQ(text, toWide(toUtf8(text)));
}

TEST(Utf8, HasNoByteOrderMarkAndNoNormalisation)
{
    EXPECT_EQ("\xEF\xBB\xBFx", toUtf8(L"\uFEFFx"));
    EXPECT_EQ("x", toUtf8(L"x"));
    EXPECT_EQ("e\xCC\x81", toUtf8(L"e\u0301"));
}

} // namespace
