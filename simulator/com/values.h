#pragma once

#include <windows.h>
#include <oleauto.h>
#include <wrl/client.h>

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "automation/safe_array.h"
#include "base/failure.h"

namespace VBoxSim {

using Microsoft::WRL::ComPtr;

/// The text of an argument. VirtualBox reads its arguments as C strings: what follows an embedded zero is not seen.
inline std::wstring textOf(BSTR text)
{
    return text ? std::wstring(text) : std::wstring();
}

/// An output must be given.
template <class Out>
void require(Out* out)
{
    if (!out)
        throw Failure(Result::pointer, L"The output parameter is null");
}

// store: writes one result into the caller's output.

inline void store(BSTR* out, std::wstring_view text)
{
    *out = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    if (!*out)
        throw std::bad_alloc();
}

inline void store(BOOL* out, bool value)
{
    *out = value ? TRUE : FALSE;
}

template <class Number, class Value>
requires std::is_arithmetic_v<Number> && std::is_arithmetic_v<Value> &&
    (!std::is_same_v<Value, bool>)void store(Number* out, Value value)
{
    *out = static_cast<Number>(value);
}

template <class Interface, class Object>
void store(Interface** out, ComPtr<Object> object)
{
    *out = object.Detach();
}

template <class Interface>
void store(Interface** out, std::nullptr_t)
{
    *out = nullptr;
}

/// The elements of a new array.
template <class Element>
Element* elementsOf(const Travik::ComArray& array)
{
    if (array.isNull())
        throw std::bad_alloc();
    return static_cast<Element*>(array.get()->pvData);
}

/// An array of interface pointers, with the identifier that its elements need on the way to the client.
template <class Interface>
struct Interfaces : std::vector<ComPtr<Interface>>
{};

template <class Interface>
void store(SAFEARRAY** out, const Interfaces<Interface>& objects)
{
    IID id = __uuidof(Interface);
    Travik::ComArray array(SafeArrayCreateVectorEx(VT_DISPATCH, 0, static_cast<ULONG>(objects.size()), &id));
    auto** data = elementsOf<Interface*>(array);
    for (std::size_t i = 0; i < objects.size(); ++i)
        objects[i].CopyTo(&data[i]);
    *out = array.detach();
}

inline void store(SAFEARRAY** out, const std::vector<std::wstring>& texts)
{
    Travik::ComArray array(SafeArrayCreateVector(VT_BSTR, 0, static_cast<ULONG>(texts.size())));
    auto* data = elementsOf<BSTR>(array);
    for (std::size_t i = 0; i < texts.size(); ++i)
        store(&data[i], texts[i]);
    *out = array.detach();
}

template <class Number>
void storeNumbers(SAFEARRAY** out, VARTYPE type, const std::vector<Number>& numbers)
{
    Travik::ComArray array(SafeArrayCreateVector(type, 0, static_cast<ULONG>(numbers.size())));
    std::copy(numbers.begin(), numbers.end(), elementsOf<Number>(array));
    *out = array.detach();
}

inline void store(SAFEARRAY** out, const std::vector<LONG>& numbers)
{
    storeNumbers(out, VT_I4, numbers);
}

inline void store(SAFEARRAY** out, const std::vector<LONG64>& numbers)
{
    storeNumbers(out, VT_I8, numbers);
}

// Reading array arguments: an absent array, another element type or more than one dimension act as an empty one.

/// Whether the elements can be read as such. Under Wine an array without the type of its elements crosses as plain
/// bytes: numbers can then be told by their size, but texts and objects have become addresses in the client. What
/// cannot be read is refused, because taken for empty it would change what the call does.
template <class Element>
bool holds(SAFEARRAY* array, std::initializer_list<VARTYPE> types)
{
    VARTYPE type = VT_EMPTY;
    if (SUCCEEDED(SafeArrayGetVartype(array, &type)) && type != VT_EMPTY)
        return std::find(types.begin(), types.end(), type) != types.end();
    // NOLINTNEXTLINE(bugprone-sizeof-expression): that of a pointer is not asked for
    const bool readable = std::is_arithmetic_v<Element> && SafeArrayGetElemsize(array) == sizeof(Element);
    if (!readable && array->rgsabound[0].cElements != 0)
        throw Failure(Result::invalidArgument, L"The kind of the array's elements cannot be known");
    return readable;
}

template <class Element, class Use>
void forEachElement(SAFEARRAY* array, std::initializer_list<VARTYPE> types, Use&& use)
{
    if (!array || SafeArrayGetDim(array) != 1 || !holds<Element>(array, types) || !array->pvData)
        return;
    const auto* data = static_cast<const Element*>(array->pvData);
    for (ULONG i = 0; i < array->rgsabound[0].cElements; ++i)
        use(data[i]);
}

inline std::vector<std::wstring> textsOf(SAFEARRAY* array)
{
    std::vector<std::wstring> texts;
    forEachElement<BSTR>(array, {VT_BSTR}, [&](BSTR text) { texts.push_back(textOf(text)); });
    return texts;
}

inline std::vector<std::int32_t> numbersOf(SAFEARRAY* array)
{
    std::vector<std::int32_t> numbers;
    forEachElement<LONG>(array, {VT_I4, VT_UI4, VT_INT, VT_UINT}, [&](LONG number) { numbers.push_back(number); });
    return numbers;
}

inline std::vector<IUnknown*> objectsOf(SAFEARRAY* array)
{
    std::vector<IUnknown*> objects;
    forEachElement<IUnknown*>(array, {VT_DISPATCH, VT_UNKNOWN}, [&](IUnknown* object) { objects.push_back(object); });
    return objects;
}

/// What COM tells an object from others by; released with the last copy, and nothing for no object.
inline std::shared_ptr<void> identityOf(IUnknown* object)
{
    ComPtr<IUnknown> identity;
    if (object)
        object->QueryInterface(IID_PPV_ARGS(&identity));
    return {identity.Get(), [identity](void*) {}};
}

// Extra data as the calls hand it out.

inline std::vector<std::wstring> keysOf(const std::map<std::wstring, std::wstring>& data)
{
    std::vector<std::wstring> keys;
    for (const auto& [key, value] : data)
        keys.push_back(key);
    return keys;
}

/// An absent one is empty.
inline std::wstring valueOf(const std::map<std::wstring, std::wstring>& data, const std::wstring& key)
{
    const auto found = data.find(key);
    return found == data.end() ? std::wstring() : found->second;
}

} // namespace VBoxSim
