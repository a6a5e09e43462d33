#include <gtest/gtest.h>

#include "base/safe_name.h"
#include "base/text.h"

using namespace VBoxSim;

namespace {

/// The text that the system at hand has for characters: beyond the first 65,536 Windows needs two units for one.
std::wstring wide(std::u32string_view characters)
{
    std::wstring text;
    for (const char32_t c : characters) {
        if (c > 0xFFFF && sizeof(wchar_t) == 2) {
            text += static_cast<wchar_t>(0xD800 + ((c - 0x10000) >> 10));
            text += static_cast<wchar_t>(0xDC00 + (c & 0x3FF));
        } else {
            text += static_cast<wchar_t>(c);
        }
    }
    return text;
}

} // namespace

TEST(Text, ConvertsCharactersOfEveryLength)
{
    const std::pair<std::string, std::u32string> samples[] = {
        {"", U""},
        {"plain", U"plain"},
        {"\xC2\x80\xDF\xBF", U"\u0080\u07FF"},
        {"\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF", U"\u0800\uD7FF\uE000\uFFFF"},
        {"\xF0\x90\x80\x80\xF0\x9F\x8E\xAE\xF4\x8F\xBF\xBF", U"\U00010000\U0001F3AE\U0010FFFF"},
        {std::string("a\0b", 3), std::u32string(U"a\0b", 3)}};
    for (const auto& [narrow, characters] : samples) {
        EXPECT_EQ(fromUtf8(narrow), wide(characters));
        EXPECT_EQ(toUtf8(wide(characters)), narrow);
    }
}

TEST(Text, DamageBecomesTheReplacementCharacter)
{
    const std::pair<std::string, std::u32string> samples[] = {
        {"\x80", U"\uFFFD"},           // a byte that continues nothing
        {"\xC0\xAF", U"\uFFFD\uFFFD"}, // longer than it has to be
        {"\xE0\x80\x80", U"\uFFFD\uFFFD\uFFFD"},
        {"\xED\xA0\x80", U"\uFFFD\uFFFD\uFFFD"},           // half of a pair
        {"\xF4\x90\x80\x80", U"\uFFFD\uFFFD\uFFFD\uFFFD"}, // beyond the last character
        {"\xF5x", U"\uFFFDx"},
        {"\xE2\x82", U"\uFFFD"}, // cut off
        {"\xE2\x82x", U"\uFFFDx"}};
    for (const auto& [narrow, characters] : samples)
        EXPECT_EQ(fromUtf8(narrow), wide(characters)) << narrow.size();
    const std::string replacement = "\xEF\xBF\xBD";
    EXPECT_EQ(toUtf8(std::wstring(1, static_cast<wchar_t>(0xD83C))), replacement);
    EXPECT_EQ(toUtf8(std::wstring(1, static_cast<wchar_t>(0xDFAE)) + L"x"), replacement + "x");
}

TEST(Text, StorableTextIsProperWithoutControls)
{
    EXPECT_TRUE(isStorable(fromUtf8("\xE6\xA8\xA1 \xF0\x9F\x8E\xAE\t\n")));
    EXPECT_FALSE(isStorable(std::wstring(1, static_cast<wchar_t>(0xD83C))));
    EXPECT_FALSE(isStorable(std::wstring(1, static_cast<wchar_t>(0xDFAE))));
    EXPECT_FALSE(isStorable(std::wstring(1, static_cast<wchar_t>(0xFFFE))));
    EXPECT_FALSE(isStorable(L"a\x01"));
}

TEST(Text, CaseDoesNotCountInFileNames)
{
    EXPECT_TRUE(equalIgnoringCase(L"Disk.VMDK", L"disk.vmdk"));
    EXPECT_TRUE(equalIgnoringCase(L"\u00C4", L"\u00E4"));
    EXPECT_FALSE(equalIgnoringCase(L"disk", L"disk1"));
    EXPECT_EQ(toLower(L"A\u00C4"), L"a\u00E4");
}

TEST(Uuids, AreLowerCaseWithoutBraces)
{
    EXPECT_EQ(parseUuid(L"{ABCDEF01-0000-0000-0000-000000000000}"), L"abcdef01-0000-0000-0000-000000000000");
    EXPECT_FALSE(parseUuid(L"ABCDEF01-0000-0000-0000-00000000000"));
    EXPECT_FALSE(parseUuid(L"ABCDEF01-0000-0000-0000-00000000000G"));
    const std::wstring fresh = newUuid();
    EXPECT_EQ(parseUuid(fresh), fresh);
    EXPECT_NE(newUuid(), newUuid());
}

TEST(Uuids, AreStoredAsWindowsDoes)
{
    const std::wstring uuid = L"00112233-4455-6677-8899-aabbccddeeff";
    const std::array<std::uint8_t, 16> bytes = {0x33, 0x22, 0x11, 0x00, 0x55, 0x44, 0x77, 0x66,
                                                0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};
    EXPECT_EQ(guidBytes(uuid), bytes);
    EXPECT_EQ(uuidOfGuid(bytes.data()), uuid);
    EXPECT_EQ(guidBytes(L""), (std::array<std::uint8_t, 16>{}));
    EXPECT_EQ(uuidOfGuid(guidBytes(L"").data()), L"");
}

TEST(SafeNames, StayInTheirFolder)
{
    for (const char* name : {"", "/a", "\\a", "C:a", "..", "../a", "a/../..", "a\\..\\b", ".. /a", "a/.. ."})
        EXPECT_TRUE(leavesFolder(name)) << name;
    for (const char* name : {"a", "a/b", "./a", "...a", "a..", "a b"})
        EXPECT_FALSE(leavesFolder(name)) << name;
}

TEST(SafeNames, AreNoDevices)
{
    for (const wchar_t* name : {L"CON", L"nul.vdi", L"Com1", L"lpt\u00B9.x", L"aux ", L"a.", L"a:b", L"a|b", L""})
        EXPECT_FALSE(isPlainFileName(name)) << toUtf8(name);
    for (const wchar_t* name : {L"console", L"COM", L"COM10", L"a.vdi", L"\u786C.vmdk"})
        EXPECT_TRUE(isPlainFileName(name)) << toUtf8(name);
    EXPECT_EQ(safeFileName("x/NUL.vmdk", L"f"), L"_NUL.vmdk");
    EXPECT_EQ(safeFileName("x/..", L"f"), L"f");
    EXPECT_TRUE(safeFileName(std::string(500, 'a') + ".vmdk", L"f").ends_with(L".vmdk"));
}
