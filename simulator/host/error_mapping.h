#pragma once

#include <Poco/UUID.h>

#include <functional>
#include <optional>
#include <string>

#include "base/failure.h"
#include "base/storage_error.h"

namespace VBoxSim {

/// What VirtualBox's calls answer for a failure of work on images and appliances.
Failure failureOf(const StorageError& error);
/// What a canceled operation ends with.
Failure canceledFailure();

/// Runs the work and answers what it threw as the failure that a caller sees; nothing when it threw nothing.
std::optional<Failure> attempt(const std::function<void()>& work) noexcept;

Poco::UUID toUuid(const std::wstring& uuid);
/// Empty for the null UUID.
std::wstring fromUuid(const Poco::UUID& uuid);

} // namespace VBoxSim
