// Marshalling of safe arrays for the proxies. oleaut32 does the work, but under Wine an unmarshalled array has lost its
// features: its elements would never be released, and it has no interface identifier, so that it cannot be passed on.
// What the wire form says is set again here. On Windows the array arrives whole and nothing is changed.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the system header asks for this very name
#define _OLEAUT32_ // so that oleauto.h does not declare the functions below as imports
#include <windows.h>
#include <oleauto.h>
#include <wtypes.h>

#include <cstring>

namespace {

template <class Function>
Function oleaut32(const char* name)
{
    static const HMODULE module = LoadLibraryW(L"oleaut32.dll");
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

using SizeFunction = ULONG(WINAPI*)(ULONG*, ULONG, LPSAFEARRAY*);
using MarshalFunction = unsigned char*(WINAPI*)(ULONG*, unsigned char*, LPSAFEARRAY*);
using FreeFunction = void(WINAPI*)(ULONG*, LPSAFEARRAY*);
using SetIidFunction = HRESULT(WINAPI*)(SAFEARRAY*, REFGUID);

template <class Value>
Value read(const unsigned char* from)
{
    Value value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

constexpr ULONG arrayOfKnownInterface = 0x800D; // SF_HAVEIID

/// Wire form after 4-byte alignment: pointer mark, dimensions; then, for one dimension and up: dimensions and features
/// (16 bits each), element size, locks (16 bits) with the variant type (16 bits), kind of array (the union tag), number
/// of elements, pointer mark, identifier.
void restoreFeatures(const unsigned char* wire, SAFEARRAY* array)
{
    const auto address = reinterpret_cast<ULONG_PTR>(wire);
    const unsigned char* at = wire + ((4 - address % 4) % 4);
    if (!array || !read<ULONG>(at))
        return;
    const unsigned char* header = at + 8;
    if (read<ULONG>(header + 12) != arrayOfKnownInterface)
        return;
    array->fFeatures |= FADF_HAVEIID | (read<USHORT>(header + 2) & (FADF_DISPATCH | FADF_UNKNOWN));
    static const auto setIid = oleaut32<SetIidFunction>("SafeArraySetIID");
    setIid(array, read<GUID>(header + 24));
}

} // namespace

extern "C" {

ULONG WINAPI LPSAFEARRAY_UserSize(ULONG* flags, ULONG offset, LPSAFEARRAY* array)
{
    static const auto forward = oleaut32<SizeFunction>("LPSAFEARRAY_UserSize");
    return forward(flags, offset, array);
}

unsigned char* WINAPI LPSAFEARRAY_UserMarshal(ULONG* flags, unsigned char* buffer, LPSAFEARRAY* array)
{
    static const auto forward = oleaut32<MarshalFunction>("LPSAFEARRAY_UserMarshal");
    return forward(flags, buffer, array);
}

unsigned char* WINAPI LPSAFEARRAY_UserUnmarshal(ULONG* flags, unsigned char* buffer, LPSAFEARRAY* array)
{
    static const auto forward = oleaut32<MarshalFunction>("LPSAFEARRAY_UserUnmarshal");
    unsigned char* const end = forward(flags, buffer, array);
    if (end && !(*array && (*array)->fFeatures & FADF_HAVEIID))
        restoreFeatures(buffer, *array);
    return end;
}

void WINAPI LPSAFEARRAY_UserFree(ULONG* flags, LPSAFEARRAY* array)
{
    static const auto forward = oleaut32<FreeFunction>("LPSAFEARRAY_UserFree");
    forward(flags, array);
}
}
