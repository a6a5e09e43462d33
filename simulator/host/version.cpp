#include "host/version.h"

#include <array>
#include <cstddef>
#include <cwchar>
#include <map>

namespace VBoxSim {

namespace {

/// Major, minor and build number; what is missing is 0.
std::array<std::uint32_t, 3> numbersOf(const std::wstring& version)
{
    std::array<std::uint32_t, 3> numbers{};
    const wchar_t* at = version.c_str();
    for (std::uint32_t& number : numbers) {
        wchar_t* end = nullptr;
        number = static_cast<std::uint32_t>(std::wcstoul(at, &end, 10));
        at = *end == L'.' ? end + 1 : L"";
    }
    return numbers;
}

} // namespace

std::wstring normalizedVersion(const std::wstring& version)
{
    return version.substr(0, version.find(L'_'));
}

std::wstring apiVersion(const std::wstring& version)
{
    const auto numbers = numbersOf(version);
    return std::to_wstring(numbers[0]) + L'_' + std::to_wstring(numbers[1]);
}

std::int64_t apiRevision(const std::wstring& version)
{
    const auto numbers = numbersOf(version);
    return std::int64_t(numbers[0]) << 56 | std::int64_t(numbers[1]) << 48 | std::int64_t(numbers[2]) << 40 | 1;
}

std::uint32_t sourceRevision(const std::wstring& version)
{
    static const std::map<std::uint32_t, std::uint32_t> releases{
        // of 6.1, by build number
        {0, 135406},  {2, 135662},  {4, 136177},  {6, 137129},  {8, 137981},  {10, 138449}, {12, 139181},
        {14, 140239}, {16, 140961}, {18, 142142}, {20, 143896}, {22, 144080}, {24, 145767}, {26, 145957},
        {28, 147628}, {30, 148432}, {32, 149290}, {34, 150636}, {36, 152435}, {38, 153438}, {40, 154048},
        {42, 155177}, {44, 156814}, {46, 158378}, {48, 159471}, {50, 161033}};
    const auto numbers = numbersOf(version);
    const auto release = releases.find(numbers[2]);
    return numbers[0] == 6 && numbers[1] == 1 && release != releases.end() ? release->second : 0;
}

} // namespace VBoxSim
