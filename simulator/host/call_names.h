#pragma once

#include <string>

namespace VBoxSim {

/// Throws when no call has this name (`IMachine::get_Name`, or with `.progress` the operation that one starts), and
/// names the nearest ones: a fault on it would never come, and a test that waits for the fault would prove nothing.
void checkCallName(const std::wstring& name);

} // namespace VBoxSim
