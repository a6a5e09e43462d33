#include "com_roots.h"

#include <mutex>

#include "fakes.h"

namespace TravikTest {
namespace {

std::mutex guard;
std::function<HRESULT()> chosen;

HRESULT result()
{
    const std::lock_guard lock(guard);
    return chosen ? chosen() : S_OK;
}

HRESULT WINAPI initialize(LPVOID)
{
    return result();
}

HRESULT WINAPI createInstance(REFCLSID clsid, LPUNKNOWN, DWORD, REFIID, LPVOID* object)
{
    *object = nullptr;
    const HRESULT now = result();
    if (now < 0)
        return now;
    if (clsid == CLSID_VirtualBox)
        *object = newFake<IVirtualBox>(L"virtualBox");
    else
        *object = newFake<ISession>(L"session");
    return now;
}

} // namespace

void ComRoots::chance(std::function<HRESULT()> result)
{
    const std::lock_guard lock(guard);
    chosen = std::move(result);
}

} // namespace TravikTest

// The library calls these functions through the import table; these definitions come before those of the import
// library.
extern "C" {
decltype(&CoInitialize) __imp_CoInitialize = TravikTest::initialize;
decltype(&CoCreateInstance) __imp_CoCreateInstance = TravikTest::createInstance;
}
