#pragma once

#include <functional>
#include <optional>

#include "base/failure.h"

namespace VBoxSim {

/// Runs the work and answers what it threw as the failure that a caller sees; nothing when it threw nothing.
std::optional<Failure> attempt(const std::function<void()>& work) noexcept;

} // namespace VBoxSim
