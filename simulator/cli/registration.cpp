#include "cli/registration.h"

#include <windows.h>
#include <objbase.h>
#include <oleauto.h>
#include <wrl/client.h>

#include <cstring>
#include <stdexcept>
#include <utility>
#include <vector>

#include "identity.h"
#include "virtualbox.h"

namespace VBoxSim {

namespace {

/// Every key that the stand-in makes carries this value.
constexpr const wchar_t* mark = L"vboxsim";
/// The system's marshaller, which reads the type library.
constexpr CLSID automationMarshaller{0x00020424, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
/// Here lies, under the same names, what the stand-in's keys replaced.
constexpr const wchar_t* backupPath = L"Software\\vboxsim\\Replaced";

void check(LSTATUS status, const std::wstring& what)
{
    if (status == ERROR_SUCCESS)
        return;
    std::string text = "registry error " + std::to_string(status) + " at ";
    for (const wchar_t c : what)
        text += static_cast<char>(c < 0x80 ? c : '?');
    throw std::runtime_error(text);
}

bool underWine()
{
    return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

/// Where classes are written: the user's own on Windows; Wine's COM looks at the machine's only.
HKEY root()
{
    return underWine() ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
}

std::wstring classesPath(const std::wstring& key)
{
    return L"Software\\Classes\\" + key;
}

std::wstring guidText(const GUID& guid)
{
    wchar_t text[40];
    StringFromGUID2(guid, text, 40);
    return text;
}

std::wstring besideThisProgram(const wchar_t* file)
{
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path.substr(0, path.find_last_of(L'\\') + 1) + file;
}

class Key
{
public:
    Key(HKEY parent, const std::wstring& path, bool create)
    {
        if (create)
            check(RegCreateKeyExW(parent, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key_, nullptr), path);
        else if (RegOpenKeyExW(parent, path.c_str(), 0, KEY_READ, &key_) != ERROR_SUCCESS)
            key_ = nullptr;
    }
    ~Key()
    {
        if (key_)
            RegCloseKey(key_);
    }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;

    explicit operator bool() const { return key_ != nullptr; }
    HKEY get() const { return key_; }

    bool has(const wchar_t* value) const
    {
        return key_ && RegQueryValueExW(key_, value, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
    }
    void set(const wchar_t* name, const std::wstring& text)
    {
        check(RegSetValueExW(key_, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                             static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t))),
              name ? name : L"(default)");
    }

private:
    HKEY key_ = nullptr;
};

/// Copies a key with all below it.
void copyTree(HKEY fromRoot, const std::wstring& from, HKEY toRoot, const std::wstring& to)
{
    const Key source(fromRoot, from, false);
    const Key target(toRoot, to, true);
    check(RegCopyTreeW(source.get(), nullptr, target.get()), to);
}

/// One class, program name or interface: the values of its key and of the keys directly below.
struct Entry
{
    struct Value
    {
        std::wstring subkey;
        const wchar_t* name;
        std::wstring text;
    };
    std::wstring key; ///< below Classes
    std::vector<Value> values;
};

Entry classEntry(const GUID& id, const wchar_t* title, const wchar_t* program)
{
    return {L"CLSID\\" + guidText(id),
            {{L"", nullptr, title}, {L"LocalServer32", nullptr, L"\"" + besideThisProgram(program) + L"\""}}};
}

constexpr const wchar_t* proxyFile = L"vboxsim-ps.dll";
constexpr const wchar_t* typeLibraryVersion = L"1.3";

Entry libraryEntry(const GUID& id, const wchar_t* title, const wchar_t* library)
{
    return {L"CLSID\\" + guidText(id),
            {{L"", nullptr, title},
             {L"InprocServer32", nullptr, besideThisProgram(library)},
             {L"InprocServer32", L"ThreadingModel", L"Both"}}};
}

/// A class of VirtualBox: scripts find it by its name, with and without version, and its description in the library.
void addVirtualBoxClass(std::vector<Entry>& entries, Entry entry, const GUID& id, const std::wstring& name)
{
    const std::wstring versioned = name + L".1";
    entry.values.insert(entry.values.end(), {{L"ProgID", nullptr, versioned},
                                             {L"VersionIndependentProgID", nullptr, name},
                                             {L"TypeLib", nullptr, guidText(LIBID_VirtualBox)}});
    entries.push_back(std::move(entry));
    entries.push_back({versioned, {{L"", nullptr, name}, {L"CLSID", nullptr, guidText(id)}}});
    entries.push_back(
        {name, {{L"", nullptr, name}, {L"CLSID", nullptr, guidText(id)}, {L"CurVer", nullptr, versioned}}});
}

/// The type library is a resource of the proxy library.
Entry typeLibraryEntry()
{
    const std::wstring version = typeLibraryVersion;
    return {L"TypeLib\\" + guidText(LIBID_VirtualBox),
            {{version, nullptr, L"VirtualBox Type Library (vboxsim)"},
             {version + L"\\0\\win64", nullptr, besideThisProgram(proxyFile)},
             {version + L"\\FLAGS", nullptr, L"0"},
             {version + L"\\HELPDIR", nullptr, besideThisProgram(L"")}}};
}

bool isDescribed(ITypeLib* library, const IID& id)
{
    Microsoft::WRL::ComPtr<ITypeInfo> description;
    return SUCCEEDED(library->GetTypeInfoOfGuid(id, &description));
}

/// The proxy library itself knows which interfaces it serves.
void addInterfaces(std::vector<Entry>& entries, Marshaller marshaller)
{
    using Describe = int (*)(unsigned, const IID**, const char**);
    const std::wstring path = besideThisProgram(proxyFile);
    const HMODULE library = LoadLibraryW(path.c_str());
    const auto describe =
        library ? reinterpret_cast<Describe>(reinterpret_cast<void*>(GetProcAddress(library, "VBoxSimProxyInterface")))
                : nullptr;
    Microsoft::WRL::ComPtr<ITypeLib> descriptions;
    if (!describe || FAILED(LoadTypeLibEx(path.c_str(), REGKIND_NONE, &descriptions)))
        throw std::runtime_error("vboxsim-ps.dll is missing beside this program");
    const IID* id = nullptr;
    const char* name = nullptr;
    for (unsigned i = 0; describe(i, &id, &name); ++i) {
        const bool described = isDescribed(descriptions.Get(), *id);
        const bool automation = described && marshaller == Marshaller::Automation && *id != IID_IVirtualBoxErrorInfo;
        Entry entry{L"Interface\\" + guidText(*id),
                    {{L"", nullptr, std::wstring(name, name + std::strlen(name))},
                     {L"ProxyStubClsid32", nullptr, guidText(automation ? automationMarshaller : proxyClass)}}};
        if (described)
            entry.values.insert(entry.values.end(), {{L"TypeLib", nullptr, guidText(LIBID_VirtualBox)},
                                                     {L"TypeLib", L"Version", typeLibraryVersion}});
        entries.push_back(std::move(entry));
    }
}

std::vector<Entry> allEntries(Marshaller marshaller)
{
    std::vector<Entry> entries{
        classEntry(controlClass, L"vboxsim control", L"vboxsim-svc.exe"),
        classEntry(sessionsClass, L"vboxsim sessions", L"vboxsim-svc.exe"),
        libraryEntry(sessionReturnClass, L"vboxsim session reference", L"vboxsim-session.dll"),
        libraryEntry(proxyClass, L"vboxsim proxies", proxyFile),
        typeLibraryEntry(),
    };
    addVirtualBoxClass(entries, classEntry(CLSID_VirtualBox, L"VirtualBox (vboxsim)", L"vboxsim-svc.exe"),
                       CLSID_VirtualBox, L"VirtualBox.VirtualBox");
    addVirtualBoxClass(entries, libraryEntry(CLSID_Session, L"VirtualBox session (vboxsim)", L"vboxsim-session.dll"),
                       CLSID_Session, L"VirtualBox.Session");
#ifdef TRAVIK_IDENTITY_STOCK61
    addVirtualBoxClass(entries,
                       libraryEntry(CLSID_VirtualBoxClient, L"VirtualBox client (vboxsim)", L"vboxsim-session.dll"),
                       CLSID_VirtualBoxClient, L"VirtualBox.VirtualBoxClient");
#endif
    addInterfaces(entries, marshaller);
    return entries;
}

void write(const Entry& entry)
{
    const std::wstring path = classesPath(entry.key);
    {
        const Key old(root(), path, false);
        if (old && !old.has(mark))
            copyTree(root(), path, HKEY_CURRENT_USER, std::wstring(backupPath) + L"\\" + entry.key);
        if (old)
            RegDeleteTreeW(root(), path.c_str());
    }
    Key key(root(), path, true);
    key.set(mark, L"1");
    for (const Entry::Value& value : entry.values) {
        if (value.subkey.empty())
            key.set(value.name, value.text);
        else
            Key(key.get(), value.subkey, true).set(value.name, value.text);
    }
}

void erase(const Entry& entry)
{
    const std::wstring path = classesPath(entry.key);
    const std::wstring backup = std::wstring(backupPath) + L"\\" + entry.key;
    if (!Key(root(), path, false).has(mark))
        return; // not ours (any more)
    check(RegDeleteTreeW(root(), path.c_str()), path);
    if (Key(HKEY_CURRENT_USER, backup, false))
        copyTree(HKEY_CURRENT_USER, backup, root(), path);
}

} // namespace

Registered registered()
{
    Registered found = Registered::Nothing;
    for (const GUID* id : {&CLSID_VirtualBox, &CLSID_Session}) {
        // The merged view, so that a server registered for the whole machine is seen too.
        const Key key(HKEY_CLASSES_ROOT, L"CLSID\\" + guidText(*id), false);
        if (key && !key.has(mark))
            return Registered::Foreign;
        if (key)
            found = Registered::StandIn;
    }
    return found;
}

void registerStandIn(bool force, Marshaller marshaller)
{
    if (registered() == Registered::Foreign && !force)
        throw std::runtime_error("another VirtualBox is registered here; --force replaces it until 'unregister'");
    for (const Entry& entry : allEntries(marshaller))
        write(entry);
}

void unregisterStandIn()
{
    for (const Entry& entry : allEntries(Marshaller::Own))
        erase(entry);
    RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\vboxsim");
}

} // namespace VBoxSim
