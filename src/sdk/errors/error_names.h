#pragma once

#include <cstdint>
#include <string>

#include "travik/sdk_error.h"

namespace Travik {

/// The fixed name of a code; "Unknow" for 0, 210 and every other number without one.
std::wstring sdkErrorName(SdkErrorCode code);

/// The name of a VBoxResultCode as it follows " rcDesc="; "Unknow" for 16, 31 and beyond.
std::wstring vboxResultName(std::uint32_t value);

} // namespace Travik
