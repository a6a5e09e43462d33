#pragma once

#include <cstdint>
#include <string>

namespace VBoxSim {

/// VirtualBox's name for an operating system that DMTF numbers; "Other" for one without a counterpart.
std::string osTypeOfCim(std::uint32_t cimOsType);

} // namespace VBoxSim
