#include <windows.h>
#include <gmock/gmock.h>
#include <winver.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "pe_file.h"
#include "scratch.h"

using namespace testing;

namespace {

std::filesystem::path dllPath()
{
    return TravikTest::productFolder() / L"TravikSDK-selq6.dll";
}

const TravikTest::PeFile& dll()
{
    static const TravikTest::PeFile file(dllPath());
    return file;
}

std::vector<std::string> split(const std::string& text, char separator)
{
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);)
        parts.push_back(part);
    return parts;
}

TEST(DllFile, exportsThreeUndecoratedNamesAndNoMore)
{
    EXPECT_THAT(dll().exports(), UnorderedElementsAre("GetVBoxInstance", "utils_removeFilePath", "utils_toUTF8"));
    EXPECT_EQ(dll().exportCount(), 3u);
}

TEST(DllFile, needsNoDllButTheSystems)
{
    // What every Windows 10 has. The runtime libraries of the compiler are not in this list.
    const std::set<std::string> system = {"advapi32.dll", "iphlpapi.dll", "kernel32.dll", "msvcrt.dll", "ntdll.dll",
                                          "ole32.dll",    "oleaut32.dll", "shell32.dll",  "user32.dll", "ws2_32.dll"};
    EXPECT_THAT(dll().imports(), Contains("ole32.dll")) << "the reader of the import table finds nothing";
    for (const std::string& name : dll().imports())
        EXPECT_TRUE(system.count(name) == 1 || name.rfind("api-ms-win-crt-", 0) == 0) << name;
}

// The runtime asks for this function to keep the DLL loaded while a thread lives that has used a thread_local with a
// destructor; nothing else in the library wants it.
TEST(DllFile, doesNotPinItself)
{
    EXPECT_TRUE(dll().contains("CoCreateInstance")) << "the search finds nothing";
    EXPECT_FALSE(dll().contains("GetModuleHandleEx"));
}

TEST(DllFile, carriesTheVersionOfTheProject)
{
    DWORD ignored = 0;
    std::vector<char> block(GetFileVersionInfoSizeW(dllPath().c_str(), &ignored));
    ASSERT_FALSE(block.empty()) << "no version resource";
    ASSERT_TRUE(GetFileVersionInfoW(dllPath().c_str(), 0, static_cast<DWORD>(block.size()), block.data()));

    void* value = nullptr;
    UINT length = 0;
    ASSERT_TRUE(VerQueryValueW(block.data(), L"\\", &value, &length));
    const auto* version = static_cast<VS_FIXEDFILEINFO*>(value);
    std::ostringstream numbers;
    numbers << HIWORD(version->dwFileVersionMS) << '.' << LOWORD(version->dwFileVersionMS) << '.'
            << HIWORD(version->dwFileVersionLS);
    EXPECT_EQ(numbers.str(), TRAVIK_VERSION);
    EXPECT_EQ(version->dwProductVersionMS, version->dwFileVersionMS);
    EXPECT_EQ(version->dwProductVersionLS, version->dwFileVersionLS);

    for (const wchar_t* name : {L"FileVersion", L"ProductVersion"}) {
        const std::wstring path = std::wstring(L"\\StringFileInfo\\040904B0\\") + name;
        ASSERT_TRUE(VerQueryValueW(block.data(), path.c_str(), &value, &length));
        const std::string expected = TRAVIK_VERSION;
        EXPECT_EQ(static_cast<const wchar_t*>(value), std::wstring(expected.begin(), expected.end()));
    }
}

TEST(DllFile, isLoadedWhereNobodyGuessesAndRunsNoData)
{
    EXPECT_TRUE(dll().characteristics() & IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA);
    EXPECT_TRUE(dll().characteristics() & IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE);
    EXPECT_TRUE(dll().characteristics() & IMAGE_DLLCHARACTERISTICS_NX_COMPAT);
    EXPECT_TRUE(dll().hasRelocations());
    EXPECT_FALSE(dll().hasWritableCode());
}

TEST(DllFile, tellsNothingOfTheMachineThatBuiltIt)
{
    ASSERT_TRUE(dll().contains("getvboxinstance")) << "the search finds nothing";
    for (std::string path : split(TRAVIK_BUILD_PATHS, '|')) {
        EXPECT_FALSE(dll().contains(path + '/')) << path;
        std::replace(path.begin(), path.end(), '/', '\\');
        EXPECT_FALSE(dll().contains(path + '\\')) << path;
    }
}

} // namespace
