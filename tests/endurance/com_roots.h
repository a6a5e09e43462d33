#pragma once

#include <windows.h>

#include <functional>

namespace TravikTest {

/// The creation of the library's root objects, on any thread of this process and without COM: the test executable
/// stands between the library and ole32. A fake of each is made, unless the function answers with a failure.
namespace ComRoots {

void chance(std::function<HRESULT()> result);

} // namespace ComRoots
} // namespace TravikTest
