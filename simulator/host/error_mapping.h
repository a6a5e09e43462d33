#pragma once

#include "base/failure.h"

#include "images/image.h"

#include <Poco/UUID.h>

#include <string>

namespace VBoxSim {

/// What VirtualBox's calls answer for a failure of work on images and appliances.
Failure failureOf(const StorageError& error);

Poco::UUID toUuid(const std::wstring& uuid);
/// Empty for the null UUID.
std::wstring fromUuid(const Poco::UUID& uuid);

} // namespace VBoxSim
