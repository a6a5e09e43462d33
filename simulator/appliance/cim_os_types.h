#pragma once

#include <cstdint>
#include <string>

namespace VBoxSim {

/// VirtualBox's type for an operating system that DMTF numbers. For the two numbers that say "other" words in the
/// description tell more; a number without a counterpart is "Other".
std::wstring osTypeOfCim(std::uint32_t number, const std::wstring& description);

} // namespace VBoxSim
