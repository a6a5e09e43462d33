#pragma once

#include <cstdint>
#include <string>

// Names for VirtualBox's numbers; a number without a name is shown as it is.

std::string machineStateName(std::uint32_t state);
std::string mediumStateName(std::uint32_t state);
std::string eventTypeName(std::uint32_t type);
