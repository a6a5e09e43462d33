// Keeps a VirtualBox or a stand-in that is registered on this machine out of the tests: where the fakes' classes are
// revoked, or are servers of another kind than is asked for, there is none. The test executable stands between the
// library and ole32; these definitions come before those of the import library.
#include <objbase.h>

#include "fakes.h"

namespace TravikTest {
namespace {

HRESULT WINAPI createInstance(REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID id, LPVOID* object)
{
    if ((clsid == CLSID_VirtualBox || clsid == CLSID_Session) && !FakeWorld::serves(clsid, context)) {
        *object = nullptr;
        return REGDB_E_CLASSNOTREG;
    }
    static const auto original = reinterpret_cast<decltype(&CoCreateInstance)>(
        reinterpret_cast<void*>(GetProcAddress(LoadLibraryW(L"ole32.dll"), "CoCreateInstance")));
    return original(clsid, outer, context, id, object);
}

} // namespace
} // namespace TravikTest

extern "C" {
decltype(&CoCreateInstance) __imp_CoCreateInstance = TravikTest::createInstance;
}
