#include "cli/registration.h"

#include <windows.h>
#include <objbase.h>

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

Entry libraryEntry(const GUID& id, const wchar_t* title, const wchar_t* library)
{
    return {L"CLSID\\" + guidText(id),
            {{L"", nullptr, title},
             {L"InprocServer32", nullptr, besideThisProgram(library)},
             {L"InprocServer32", L"ThreadingModel", L"Both"}}};
}

void addProgramName(std::vector<Entry>& entries, const wchar_t* name, const GUID& id)
{
    for (const std::wstring& key : {std::wstring(name), std::wstring(name) + L".1"})
        entries.push_back({key, {{L"", nullptr, name}, {L"CLSID", nullptr, guidText(id)}}});
}

/// The proxy library itself knows which interfaces it serves.
void addInterfaces(std::vector<Entry>& entries)
{
    using Describe = int (*)(unsigned, const IID**, const char**);
    const std::wstring path = besideThisProgram(L"vboxsim-ps.dll");
    const HMODULE library = LoadLibraryW(path.c_str());
    const auto describe =
        library ? reinterpret_cast<Describe>(reinterpret_cast<void*>(GetProcAddress(library, "VBoxSimProxyInterface")))
                : nullptr;
    if (!describe)
        throw std::runtime_error("vboxsim-ps.dll is missing beside this program");
    const IID* id = nullptr;
    const char* name = nullptr;
    for (unsigned i = 0; describe(i, &id, &name); ++i)
        entries.push_back({L"Interface\\" + guidText(*id),
                           {{L"", nullptr, std::wstring(name, name + std::strlen(name))},
                            {L"ProxyStubClsid32", nullptr, guidText(proxyClass)}}});
}

std::vector<Entry> allEntries()
{
    std::vector<Entry> entries{
        classEntry(CLSID_VirtualBox, L"VirtualBox (vboxsim)", L"vboxsim-svc.exe"),
        libraryEntry(CLSID_Session, L"VirtualBox session (vboxsim)", L"vboxsim-session.dll"),
#ifdef TRAVIK_IDENTITY_STOCK61
        libraryEntry(CLSID_VirtualBoxClient, L"VirtualBox client (vboxsim)", L"vboxsim-session.dll"),
#endif
        classEntry(controlClass, L"vboxsim control", L"vboxsim-svc.exe"),
        classEntry(sessionsClass, L"vboxsim sessions", L"vboxsim-svc.exe"),
        libraryEntry(proxyClass, L"vboxsim proxies", L"vboxsim-ps.dll"),
    };
    addProgramName(entries, L"VirtualBox.VirtualBox", CLSID_VirtualBox);
    addProgramName(entries, L"VirtualBox.Session", CLSID_Session);
    addInterfaces(entries);
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

void registerStandIn(bool force)
{
    if (registered() == Registered::Foreign && !force)
        throw std::runtime_error("another VirtualBox is registered here; --force replaces it until 'unregister'");
    for (const Entry& entry : allEntries())
        write(entry);
}

void unregisterStandIn()
{
    for (const Entry& entry : allEntries())
        erase(entry);
    RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\vboxsim");
}

} // namespace VBoxSim
