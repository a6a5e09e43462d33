#pragma once

#include "images/image.h"

namespace VBoxSim {

/// Makes an image without content: a dynamic one, or a fixed one with all its room taken. As all that writes: a target
/// that exists is Result::fileError, and after a failure nothing is left.
void createImage(const std::filesystem::path& target, ImageFormat format, bool fixed, std::uint64_t logicalSize,
                 const std::wstring& uuid);

/// Where a fixed VMDK has its data.
std::filesystem::path flatDataOf(const std::filesystem::path& vmdk);

} // namespace VBoxSim
