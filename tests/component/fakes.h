#pragma once

#include <windows.h>
#include <virtualbox.h>

#include <cstdint>
#include <functional>
#include <string>
#include <variant>
#include <vector>

namespace TravikTest {

/// A fake object of VirtualBox with one reference, which belongs to the caller. Every call of it is recorded in the
/// world, as "label: IMachine::get_Name(arguments)", and answered as the world says. See scripts/make_fakes.py.
template <class Interface>
Interface* newFake(std::wstring label);

/// What an output gets.
struct OwnValue
{};
struct Null
{};
using MakeArray = std::function<SAFEARRAY*()>;
/// Makes a reference for the output.
struct MakeObject
{
    std::function<IUnknown*()> make;
};
using Given = std::variant<OwnValue, Null, std::int64_t, std::wstring, MakeObject, MakeArray>;

/// How a fake answers one of its methods.
struct Answer
{
    HRESULT result = S_OK;
    /// For the outputs in order. An output beyond them, or with OwnValue, gets the fake's own: the number 7, the
    /// text "text of IMachine::get_Name", a new object named "IMedium of IMachine::GetMedium", a null array.
    std::vector<Given> given = {};
    /// Runs while the fake is being called.
    std::function<void()> during = {};
    /// A failing call that fills its outputs all the same.
    bool givesOnFailure = false;
};

/// All fakes of a test, what was called, and how they answer.
namespace FakeWorld {

/// The answer to every further call of this method, such as "IMachine::get_Name".
void answer(const std::wstring& method, Answer answer);

/// The answer to the next call only; several wait in line.
void answerOnce(const std::wstring& method, Answer answer);

/// The next call of this method is answered as all others would be, but with this change.
void changeOnce(const std::wstring& method, const std::function<void(Answer&)>& change);

/// Every call of this method from now on.
void change(const std::wstring& method, const std::function<void(Answer&)>& change);

/// Every answer from now on, after the changes of others, in whatever thread the call is; an empty function: none.
void disturb(std::function<void(Answer&)> change);

/// Forgets the calls so far and the fakes that nobody refers to any more. Nobody may call a fake meanwhile.
void sweep();

/// The calls since the last time, in order.
std::vector<std::wstring> takeCalls();

/// All references to all fakes together.
long references();

/// The labels of the fakes that still have references.
std::vector<std::wstring> live();

/// What nobody may do: use an object after its last release, release it while it is being called for the last time.
std::vector<std::wstring> violations();

/// The labels of the fakes whose last reference went since the last time, in order.
std::vector<std::wstring> takeReleased();

/// Runs whenever the last reference of any fake goes, in the thread that releases it; an empty function: no more.
void onLastRelease(std::function<void()> function);

/// How often any fake was asked for one of its own interfaces.
int queries();

/// Forgets everything; a finished progress that succeeded is what a progress is from the start.
void reset();

/// Lets CoCreateInstance find the fakes of the two root objects, as servers of their kind, or not any more. Their
/// creation is recorded and answered as "VirtualBox::CreateInstance" and "Session::CreateInstance", whose one output
/// output is the object.
void registerClasses(DWORD virtualBoxContext = CLSCTX_LOCAL_SERVER, DWORD sessionContext = CLSCTX_INPROC_SERVER);
void revokeClasses();
/// Whether the class of a root object is registered as a server of one of these kinds.
bool serves(REFCLSID clsid, DWORD context);

} // namespace FakeWorld

/// How arguments are written in the records of calls: "vm"[2] for a text of two characters, null for none.
std::wstring rendered(const std::wstring& text);

/// Makers of arrays for answers.
MakeArray textArray(std::vector<std::wstring> texts);
template <class Interface>
MakeArray objectArray(std::vector<std::wstring> labels);
/// The same array, an element null where the label is empty.
MakeArray objectArrayOf(VARTYPE type, const IID& iid, std::vector<std::function<IUnknown*()>> elements);

template <class Interface>
MakeArray objectArray(std::vector<std::wstring> labels)
{
    std::vector<std::function<IUnknown*()>> elements;
    for (const std::wstring& label : labels)
        elements.push_back([label]() -> IUnknown* { return label.empty() ? nullptr : newFake<Interface>(label); });
    return objectArrayOf(VT_DISPATCH, __uuidof(Interface), std::move(elements));
}

} // namespace TravikTest
