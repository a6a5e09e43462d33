#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace TravikTest {

/// The name of an SDK code as records and failure texts show it: "FindMachineFail" for 107, "Unknow" for a code without
/// one.
std::wstring codeName(std::uint32_t code);

/// One HRESULT that the library knows by name; 0x80BB0010 it knows, but by no name.
struct NamedResult
{
    std::uint32_t result;
    const wchar_t* name;
};

/// The 30 failures that the library knows.
const std::vector<NamedResult>& knownResults();

/// The name of an HRESULT, "Unknow" for all that are not known.
std::wstring resultName(std::uint32_t result);

/// Lower-case digits without leading zeros.
std::wstring hexadecimalText(std::uint32_t value);

} // namespace TravikTest
