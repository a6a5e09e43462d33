// Tests a front end against the stand-in, with faults that a real VirtualBox shows only on bad days.
//
// The front end here is one function, start, which promises to answer in words. Its tests make VirtualBox fail
// by the stand-in's control program (vboxsim.exe) and look at the words. Nothing in the front end knows of the
// stand-in.

#include "sample.h"

using namespace Travik;
using std::chrono::seconds;

namespace {

// --- the front end ---

std::wstring start(const Operations& vbox, const std::wstring& name)
{
    try {
        Travik::startMachine(vbox, vbox.findMachine(name), seconds(60));
        return L"running";
    } catch (const ServerGone&) {
        reconnect(vbox, seconds(20)); // all handles are void
        return L"VirtualBox stopped working; please try again";
    } catch (const SdkError& error) {
        if (error.result() == Result::ObjectNotFound)
            return L"there is no machine of this name";
        return L"the machine could not be started";
    }
}

// --- its tests ---

std::wstring control; // the path of vboxsim.exe

void simulate(const std::wstring& command)
{
    // The outer quotation marks belong to the command interpreter, which takes one pair off.
    if (_wsystem((L"\"\"" + control + L"\" " + command + L"\"").c_str()) != 0)
        throw std::runtime_error("vboxsim failed");
}

bool expect(const std::wstring& story, const std::wstring& answer, const std::wstring& expected)
{
    print((answer == expected ? L"passed: " : L"FAILED: ") + story + L": " + answer);
    return answer == expected;
}

void test(const Operations& vbox, const std::vector<std::wstring>& arguments)
{
    control = arguments[0];
    const std::wstring& name = arguments[1];
    bool passed = expect(L"an unknown machine", start(vbox, L"nobody"), L"there is no machine of this name");

    simulate(L"fail IMachine::LaunchVMProcess 0x80BB0005 --times 1");
    passed &= expect(L"a process that cannot be started", start(vbox, name), L"the machine could not be started");

    simulate(L"fail IMachine::LaunchVMProcess 0x80BB0007 --times 3");
    passed &= expect(L"a lock that comes free late", start(vbox, name), L"running");
    simulate(L"crash-vm \"" + name + L"\"");

    simulate(L"die-in IMachine::LaunchVMProcess");
    passed &= expect(L"a server that dies", start(vbox, name), L"VirtualBox stopped working; please try again");
    passed &= expect(L"the next try", start(vbox, name), L"running");
    simulate(L"crash-vm \"" + name + L"\"");

    if (!passed)
        throw std::runtime_error("a test failed");
}

} // namespace

int wmain(int count, wchar_t** values)
{
    return runSample(count, values, 2, L"sample_test_your_front_end VBOXSIM.EXE MACHINE", test);
}
