#pragma once

#include "connection.h"

namespace TravikTest {

/// The library that the flat interface drives in these tests, in place of the DLL's.
extern Travik::VBoxInstanceImpl* libraryUnderTest;

} // namespace TravikTest
