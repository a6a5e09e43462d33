#include "library_under_test.h"

namespace TravikTest {

Travik::VBoxInstanceImpl* libraryUnderTest = nullptr;

} // namespace TravikTest

Travik::VBoxInstanceImpl* Travik::Flat::library()
{
    return TravikTest::libraryUnderTest;
}
