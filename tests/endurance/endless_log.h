#pragma once

#include <cstdint>
#include <string>

namespace TravikTest {

/// The text of a record of the program that writes for ever, of many lengths.
inline std::wstring endlessText(std::uint32_t number)
{
    return L"record " + std::to_wstring(number) + L" " + std::wstring(number * 37 % 500, L'x') + L" end";
}

} // namespace TravikTest
