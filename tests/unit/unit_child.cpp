// The other process of the unit tests.
//   unit_child log [path FILE | init SUFFIX | record TEXT]...     does that with the log, in turn
//   unit_child leave return|exit|exception|quick|unload|static    leaves with a live handle

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>

#include "counting_object.h"
#include "log/log.h"
#include "selq6/handle_table.h"
#include "table_holder.h"

namespace {

/// Works to the very end of the process, when the C++ library is gone already.
void say(std::string_view text)
{
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

int log(int count, wchar_t** arguments)
{
    for (int i = 0; i + 1 < count; i += 2) {
        const std::wstring_view verb = arguments[i];
        const std::wstring argument = arguments[i + 1];
        if (verb == L"path")
            Travik::reopenLogFile(argument);
        else if (verb == L"init")
            Travik::initLogger(argument);
        else if (verb == L"record")
            Travik::writeRecord(Travik::LogLevel::Info, 7, L"unit_child", argument);
        else
            return 2;
    }
    return 0;
}

/// Lives as long as the process, and longer than every table.
TravikTest::CountingUnknown& heldObject()
{
    static auto* const object = new TravikTest::CountingUnknown;
    object->onRelease = [] {
        if (object->references == 0) // a call's own reference goes unmentioned
            say("released\n");
    };
    return *object;
}

/// Puts the object into the table of the DLL; the module of that DLL.
HMODULE holdInLibrary()
{
    const HMODULE library = LoadLibraryW(L"unit_table_holder.dll");
    const auto hold = reinterpret_cast<HoldInTable>(reinterpret_cast<void*>(GetProcAddress(library, "holdInTable")));
    if (!hold)
        ExitProcess(3);
    hold(&heldObject());
    return library;
}

int leaveByReturn()
{
    holdInLibrary();
    return 0;
}

int leaveByExit()
{
    holdInLibrary();
    std::exit(0);
}

int leaveByException()
{
    holdInLibrary();
    throw std::runtime_error("nobody catches this");
}

int leaveQuickly()
{
    holdInLibrary();
    ExitProcess(0);
}

int unloadAndLeave()
{
    FreeLibrary(holdInLibrary());
    say("unloaded\n");
    return 0;
}

int leaveWithStaticTable()
{
    static Travik::HandleTable<IUnknown> table(Travik::COM_Get_MachineFail);
    table.insert(table.newHandle(), &heldObject());
    return 0;
}

int leave(const std::wstring& how)
{
    const std::map<std::wstring, std::function<int()>> ways = {
        {L"return", leaveByReturn}, {L"exit", leaveByExit},      {L"exception", leaveByException},
        {L"quick", leaveQuickly},   {L"unload", unloadAndLeave}, {L"static", leaveWithStaticTable},
    };
    say("leaving\n");
    return ways.at(how)();
}

} // namespace

int wmain(int count, wchar_t** arguments)
{
    // No window that waits for a click when the process fails.
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    const std::wstring_view role = count > 1 ? arguments[1] : L"";
    if (role == L"log")
        return log(count - 2, arguments + 2);
    if (role == L"leave" && count == 3)
        return leave(arguments[2]);
    return 2;
}
