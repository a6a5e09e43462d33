#pragma once

// VirtualBox's COM as the probe calls it: raw, through the interface description. Here are owners for texts and arrays,
// and readers that throw when a call fails which the statement only needs on its way.

#include <wrl/client.h>

#include <functional>
#include <source_location>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "identity.h"
#include "travik/vbox_types.h"
#include "virtualbox.h"

namespace Probe {

using Microsoft::WRL::ComPtr;

// The interface description calls its numbers by the same names: these stand nearer.
namespace Result = Travik::Result;
namespace AccessMode = Travik::AccessMode;
namespace ChipsetType = Travik::ChipsetType;
namespace CleanupMode = Travik::CleanupMode;
namespace CloneMode = Travik::CloneMode;
namespace CloneOptions = Travik::CloneOptions;
namespace DeviceType = Travik::DeviceType;
namespace ImportOptions = Travik::ImportOptions;
namespace LockType = Travik::LockType;
namespace MachineState = Travik::MachineState;
namespace MediumState = Travik::MediumState;
namespace MediumType = Travik::MediumType;
namespace NATProtocol = Travik::NATProtocol;
namespace NetworkAttachmentType = Travik::NetworkAttachmentType;
namespace ParavirtProvider = Travik::ParavirtProvider;
namespace ProcessorFeature = Travik::ProcessorFeature;
namespace SessionState = Travik::SessionState;
namespace SessionType = Travik::SessionType;
namespace StorageBus = Travik::StorageBus;
namespace StorageControllerType = Travik::StorageControllerType;
namespace VBoxEventType = Travik::VBoxEventType;
namespace DescriptionType = Travik::VirtualSystemDescriptionType;
namespace DescriptionValue = Travik::VirtualSystemDescriptionValueType;

using Place = std::source_location;

std::string utf8(std::wstring_view text);
std::wstring wide(std::string_view utf8Text);
/// "0x80BB0001 VBOX_E_OBJECT_NOT_FOUND"
std::string resultName(std::uint32_t result);

/// A call failed that the statement does not ask about, but needs.
class CallFailed : public std::runtime_error
{
public:
    CallFailed(std::uint32_t result, const Place& place);
};

/// The user pressed Ctrl-C.
class Interrupted : public std::exception
{};

/// Throws CallFailed for a failure, and Interrupted after Ctrl-C.
void must(HRESULT result, const Place& place = Place::current());

/// Throws Interrupted after Ctrl-C, unless the probe is cleaning up.
void throwIfInterrupted();
void interrupt();
/// From now on nothing is interrupted any more: what was made is taken away.
void ignoreInterrupts();

/// Asks again and again until the answer is yes or the time is over; returns the last answer.
bool soon(const std::function<bool()>& question, unsigned milliseconds = 20'000);

class Text
{
public:
    Text() = default;
    Text(std::wstring_view text) : text_(SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))) {}
    Text(const wchar_t* text) : Text(std::wstring_view(text)) {}
    Text(const std::wstring& text) : Text(std::wstring_view(text)) {}
    ~Text() { SysFreeString(text_); }
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;

    operator BSTR() const { return text_; }
    BSTR* put() { return &text_; }
    std::wstring str() const { return std::wstring(text_ ? text_ : L"", SysStringLen(text_)); }

private:
    BSTR text_ = nullptr;
};

class Array
{
public:
    Array() = default;
    explicit Array(SAFEARRAY* owned) : array_(owned) {}
    ~Array();
    Array(Array&& other) noexcept : array_(std::exchange(other.array_, nullptr)) {}
    Array& operator=(Array&&) = delete;

    static Array ofNumbers(const std::vector<LONG>& numbers);
    static Array ofTexts(const std::vector<std::wstring>& texts);
    template <class I>
    static Array of(const std::vector<ComPtr<I>>& objects)
    {
        std::vector<IDispatch*> raw;
        for (const ComPtr<I>& object : objects)
            raw.push_back(object.Get());
        return ofObjects(raw, __uuidof(I));
    }

    operator SAFEARRAY*() const { return array_; }
    SAFEARRAY** put() { return &array_; }
    std::size_t size() const;
    std::vector<std::wstring> texts() const;
    std::vector<LONG> numbers() const;
    /// Asks each element for the interface, as a careful client does.
    template <class I>
    std::vector<ComPtr<I>> objects() const
    {
        std::vector<ComPtr<I>> found;
        forEachObject([&found](IUnknown* element) {
            ComPtr<I> object;
            must(element->QueryInterface(__uuidof(I), reinterpret_cast<void**>(object.GetAddressOf())));
            found.push_back(object);
        });
        return found;
    }
    /// The same objects to be passed on. Under Wine the array itself may have lost their type on its way here.
    template <class I>
    Array copy() const
    {
        return of(objects<I>());
    }

private:
    static Array ofObjects(const std::vector<IDispatch*>& objects, REFIID id);
    void forEachObject(const std::function<void(IUnknown*)>& action) const;

    SAFEARRAY* array_ = nullptr;
};

/// The identifier of an interface; some differ between builds of VirtualBox.
template <class I>
REFIID idOf()
{
    if constexpr (std::is_same_v<I, IVirtualBox>)
        return identity().virtualBox;
    else if constexpr (std::is_same_v<I, ISession>)
        return identity().session;
    else if constexpr (std::is_same_v<I, IStateChangedEvent>)
        return identity().stateChangedEvent;
    else
        return __uuidof(I);
}

/// Null when the object does not have the interface.
template <class I, class O>
ComPtr<I> query(const ComPtr<O>& object)
{
    ComPtr<I> found;
    if (object)
        object->QueryInterface(idOf<I>(), reinterpret_cast<void**>(found.GetAddressOf()));
    return found;
}

/// A number or a truth value that an object has.
template <class O, class I, class V>
V read(const ComPtr<O>& object, HRESULT (STDMETHODCALLTYPE I::*getter)(V*), const Place& place = Place::current())
{
    V value{};
    must((object.Get()->*getter)(&value), place);
    return value;
}

template <class O, class I>
std::wstring text(const ComPtr<O>& object, HRESULT (STDMETHODCALLTYPE I::*getter)(BSTR*),
                  const Place& place = Place::current())
{
    Text value;
    must((object.Get()->*getter)(value.put()), place);
    return value.str();
}

template <class O, class I>
Array array(const ComPtr<O>& object, HRESULT (STDMETHODCALLTYPE I::*getter)(SAFEARRAY**),
            const Place& place = Place::current())
{
    Array value;
    must((object.Get()->*getter)(value.put()), place);
    return value;
}

/// An object that an object has; may be null.
template <class O, class I, class V>
ComPtr<V> object(const ComPtr<O>& owner, HRESULT (STDMETHODCALLTYPE I::*getter)(V**),
                 const Place& place = Place::current())
{
    ComPtr<V> value;
    must((owner.Get()->*getter)(&value), place);
    return value;
}

} // namespace Probe
