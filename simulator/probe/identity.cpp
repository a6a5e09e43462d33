#include "identity.h"

#include <objbase.h>

#include "vbox_identity.h"

#define PROBE_STRING(text) L"{" PROBE_WIDE(text) L"}"
#define PROBE_WIDE(text) PROBE_PREFIX(text)
#define PROBE_PREFIX(text) L## #text

namespace Probe {

namespace {

GUID guid(const wchar_t* text)
{
    GUID id{};
    CLSIDFromString(text, &id);
    return id;
}

std::wstring textOf(const GUID& id)
{
    wchar_t text[40];
    StringFromGUID2(id, text, 40);
    return text;
}

std::wstring registryText(const std::wstring& key)
{
    wchar_t value[1024] = L"";
    DWORD size = sizeof(value);
    RegGetValueW(HKEY_CLASSES_ROOT, key.c_str(), nullptr, RRF_RT_REG_SZ, nullptr, value, &size);
    return value;
}

bool isRegistered(const Identity& known)
{
    return !registryText(L"CLSID\\" + textOf(known.virtualBoxClass) + L"\\LocalServer32").empty();
}

Identity chosenIdentity;

} // namespace

std::optional<Identity> identityNamed(const std::string& name)
{
    if (name == "stock61")
        return Identity{"stock61",
                        guid(PROBE_STRING(TRAVIK_STOCK61_CLSID_VirtualBox)),
                        guid(PROBE_STRING(TRAVIK_STOCK61_CLSID_Session)),
                        guid(PROBE_STRING(TRAVIK_STOCK61_IID_IVirtualBox)),
                        guid(PROBE_STRING(TRAVIK_STOCK61_IID_ISession)),
                        guid(PROBE_STRING(TRAVIK_STOCK61_IID_IStateChangedEvent)),
                        guid(PROBE_STRING(TRAVIK_STOCK61_IID_IRuntimeErrorEvent))};
    if (name == "selq6")
        return Identity{"selq6",
                        guid(PROBE_STRING(TRAVIK_SELQ6_CLSID_VirtualBox)),
                        guid(PROBE_STRING(TRAVIK_SELQ6_CLSID_Session)),
                        guid(PROBE_STRING(TRAVIK_SELQ6_IID_IVirtualBox)),
                        guid(PROBE_STRING(TRAVIK_SELQ6_IID_ISession)),
                        guid(PROBE_STRING(TRAVIK_SELQ6_IID_IStateChangedEvent)),
                        guid(PROBE_STRING(TRAVIK_SELQ6_IID_IRuntimeErrorEvent))};
    return std::nullopt;
}

std::optional<Identity> registeredIdentity()
{
    const std::optional<Identity> own = identityNamed("selq6"), stock = identityNamed("stock61");
    const bool ownThere = isRegistered(*own), stockThere = isRegistered(*stock);
    if (ownThere == stockThere)
        return std::nullopt;
    return ownThere ? own : stock;
}

const Identity& identity()
{
    return chosenIdentity;
}

void chooseIdentity(const Identity& chosen)
{
    chosenIdentity = chosen;
}

std::string marshaller()
{
    const std::wstring id = registryText(L"Interface\\" + textOf(identity().virtualBox) + L"\\ProxyStubClsid32");
    if (_wcsicmp(id.c_str(), L"{00020424-0000-0000-C000-000000000046}") == 0)
        return "automation";
    return id.empty() ? "not registered" : "proxies " + std::string(id.begin(), id.end());
}

} // namespace Probe
