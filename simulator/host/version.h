#pragma once

#include <cstdint>
#include <string>

namespace VBoxSim {

// What a VirtualBox of a version such as `6.1.50` says of itself.

/// Without what a distributor appended: `6.1.50_Debian` is `6.1.50`.
std::wstring normalizedVersion(const std::wstring& version);
/// `6_1`.
std::wstring apiVersion(const std::wstring& version);
/// The numbers of the version, one byte each from the highest down, and 1 in the lowest bit.
std::int64_t apiRevision(const std::wstring& version);
/// The revision of the sources that the release was made from; 0 for one that is not known.
std::uint32_t sourceRevision(const std::wstring& version);

} // namespace VBoxSim
