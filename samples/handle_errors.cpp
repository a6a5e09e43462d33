// The four kinds of failure that a front end should tell apart, and what to do about each.

#include "sample.h"

using namespace Travik;
using std::chrono::seconds;

namespace {

/// 1. A refusal that has a meaning: decide by the HRESULT, not by the text.
void refusal(const Operations& vbox)
{
    try {
        const ScopedMachine machine = vbox.findMachine(L"no machine has this name");
    } catch (const SdkError& error) {
        const bool absent = error.result() == Result::ObjectNotFound;
        print(std::wstring(L"1. ") + (absent ? L"there is no such machine" : L"another failure") + L"; " +
              error.operation() + L" gave " + error.codeName() + L", " + error.resultName());
    }
}

/// 2. A mistake of the front end: a handle that was given back. VirtualBox is not asked, so there is no HRESULT.
void mistake(const Operations& vbox)
{
    const ScopedMachine machine(vbox, 12345);
    try {
        print(vbox.getVmName(machine));
    } catch (const SdkError& error) {
        print(std::wstring(L"2. ") + error.codeName() + L" with HRESULT " + std::to_wstring(error.result()));
    }
}

/// 3. The lock race: the machine is just being unlocked somewhere. Waiting helps, but only for this HRESULT;
/// LockedSession knows, and a deadline ends it.
void lockRace(const Operations& vbox, const ScopedMachine& machine)
{
    const LockedSession first(vbox, machine, Lock::Write, seconds(10));
    try {
        const LockedSession second(vbox, machine, Lock::Write, std::chrono::milliseconds(300));
    } catch (const SdkError& error) {
        print(std::wstring(L"3. still locked after the deadline") +
              (isLockRace(error.result()) ? L", as expected" : L""));
    }
}

/// 4. The server went away: every handle is void. Drop all, connect again, find the machines again.
template <class Work>
void survivingTheServer(const Operations& vbox, Work work)
{
    try {
        work();
    } catch (const ServerGone& error) {
        print(std::wstring(L"4. the server is gone, ") + error.resultName() + L"; connecting again");
        reconnect(vbox, seconds(20));
        work();
    }
}

void handleErrors(const Operations& vbox, const std::vector<std::wstring>& arguments)
{
    refusal(vbox);
    mistake(vbox);
    lockRace(vbox, vbox.findMachine(arguments[0]));
    survivingTheServer(vbox, [&] {
        // The handle is made inside: one from outside would not outlive the server.
        const auto machine = vbox.findMachine(arguments[0]);
        print(L"4. " + vbox.getVmName(machine) + L" is there");
    });
}

} // namespace

int wmain(int count, wchar_t** values)
{
    return runSample(count, values, 1, L"sample_handle_errors MACHINE", handleErrors);
}
