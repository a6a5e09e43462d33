#include <windows.h>
#include <comdef.h>
#include <gmock/gmock.h>
#include <oleauto.h>

#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "automation/com_string.h"
#include "automation/safe_array.h"
#include "counting_object.h"

namespace {

// What is left of the memory for texts; negative: any number of them.
int textsLeft = -1;
bool arraysLeft = true;

template <class Function>
Function* systemFunction(const char* name)
{
    return reinterpret_cast<Function*>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"oleaut32.dll"), name)));
}

BSTR WINAPI sysAllocStringLen(const OLECHAR* text, UINT length)
{
    if (textsLeft == 0)
        return nullptr;
    if (textsLeft > 0)
        --textsLeft;
    return systemFunction<decltype(sysAllocStringLen)>("SysAllocStringLen")(text, length);
}

BSTR lastFreedText = nullptr;

void WINAPI sysFreeString(BSTR text)
{
    if (text)
        lastFreedText = text;
    systemFunction<decltype(sysFreeString)>("SysFreeString")(text);
}

SAFEARRAY* lastDestroyedArray = nullptr;

HRESULT WINAPI safeArrayDestroy(SAFEARRAY* array)
{
    if (array)
        lastDestroyedArray = array;
    return systemFunction<decltype(safeArrayDestroy)>("SafeArrayDestroy")(array);
}

SAFEARRAY* WINAPI safeArrayCreateVector(VARTYPE type, LONG lowerBound, ULONG count)
{
    if (!arraysLeft)
        return nullptr;
    return systemFunction<decltype(safeArrayCreateVector)>("SafeArrayCreateVector")(type, lowerBound, count);
}

} // namespace

// Calls of an imported function go through these pointers. The linker takes ours before it looks into the system's
// import library.
extern "C" {
decltype(&sysAllocStringLen) __imp_SysAllocStringLen = &sysAllocStringLen;
decltype(&sysFreeString) __imp_SysFreeString = &sysFreeString;
decltype(&safeArrayDestroy) __imp_SafeArrayDestroy = &safeArrayDestroy;
decltype(&safeArrayCreateVector) __imp_SafeArrayCreateVector = &safeArrayCreateVector;
}

namespace {

using namespace Travik;
using namespace std::string_literals;

/// While it lives, only so many texts can be allocated.
class ScarceTexts
{
public:
    explicit ScarceTexts(int count) { textsLeft = count; }
    ScarceTexts(const ScarceTexts&) = delete;
    ScarceTexts& operator=(const ScarceTexts&) = delete;
    ~ScarceTexts() { textsLeft = -1; }
};

/// While it lives, no array can be allocated.
class NoArrays
{
public:
    NoArrays() { arraysLeft = false; }
    NoArrays(const NoArrays&) = delete;
    NoArrays& operator=(const NoArrays&) = delete;
    ~NoArrays() { arraysLeft = true; }
};

template <class Action>
HRESULT comErrorOf(Action action)
{
    try {
        action();
    } catch (const _com_error& error) {
        return error.Error();
    }
    return S_OK;
}

const std::wstring awkwardTexts[] = {
    L"",
    L"x",
    L"Windows 10",
    L"a\0b"s,
    L"\0"s,
    L"\0\0end\0"s,
    L"\u4E2D\u6587",
    L"\U0001F3AE",
    std::wstring(1, wchar_t(0xD83C)),
    std::wstring(32000, L'n'),
};

TEST(ComStrings, CarryTextByItsLength)
{
    for (const std::wstring& text : awkwardTexts) {
        const ComString string(text);
        ASSERT_FALSE(string.isNull());
        EXPECT_EQ(text.size(), SysStringLen(string.get()));
        EXPECT_EQ(text, string.str());
        EXPECT_EQ(text, textOf(string.get()));
        EXPECT_EQ(L'\0', string.get()[text.size()]);
    }
}

TEST(ComStrings, AreNullUntilACallWritesToThem)
{
    ComString string;
    EXPECT_TRUE(string.isNull());
    EXPECT_EQ(nullptr, string.get());
    EXPECT_EQ(L"", string.str());
    *string.put() = SysAllocStringLen(L"a\0b", 3);
    EXPECT_FALSE(string.isNull());
    EXPECT_EQ(L"a\0b"s, string.str());
}

TEST(ComStrings, AreNullAgainWhenTheirPlaceIsHandedOutOnceMore)
{
    ComString string(L"before");
    const BSTR before = string.get();
    EXPECT_EQ(nullptr, *string.put());
    EXPECT_TRUE(string.isNull());
    EXPECT_EQ(before, lastFreedText);
}

TEST(ComStrings, GiveTheirTextUp)
{
    ComString string(L"kept");
    const BSTR text = string.detach();
    EXPECT_TRUE(string.isNull());
    EXPECT_EQ(L"kept", textOf(text));
    SysFreeString(text);
}

TEST(ComStrings, ThatCannotBeAllocatedRaiseOutOfMemory)
{
    const ScarceTexts none(0);
    EXPECT_EQ(E_OUTOFMEMORY, comErrorOf([] { ComString string(L"x"); }));
    EXPECT_EQ(E_OUTOFMEMORY, comErrorOf([] { ComString string(L""); }));
}

TEST(TextOf, NullIsEmpty)
{
    EXPECT_EQ(L"", textOf(nullptr));
}

/// A BSTR array of these texts; a null pointer is a null element. Whoever asks destroys it.
SAFEARRAY* arrayOf(const std::vector<const std::wstring*>& texts)
{
    SAFEARRAY* array = SafeArrayCreateVector(VT_BSTR, 0, static_cast<ULONG>(texts.size()));
    BSTR* elements = nullptr;
    SafeArrayAccessData(array, reinterpret_cast<void**>(&elements));
    for (const std::wstring* text : texts)
        *elements++ = !text ? nullptr : SysAllocStringLen(text->data(), static_cast<UINT>(text->size()));
    SafeArrayUnaccessData(array);
    return array;
}

TEST(TextsOfAnArray, KeepTheirOrderTheirZerosAndTheNullsAsEmpty)
{
    std::vector<const std::wstring*> texts;
    std::vector<std::wstring> expected;
    for (const std::wstring& text : awkwardTexts) {
        texts.push_back(&text);
        expected.push_back(text);
        texts.push_back(nullptr);
        expected.emplace_back();
    }
    const ComArray array(arrayOf(texts));
    EXPECT_EQ(expected, toTexts(array.get()));
    EXPECT_EQ(expected, toTexts(array.get())) << "the array stays whole and unlocked";
    EXPECT_EQ(0u, array.get()->cLocks);
}

TEST(TextsOfAnArray, OfNoArrayOrAnEmptyOneAreNone)
{
    EXPECT_TRUE(toTexts(nullptr).empty());
    const ComArray empty(SafeArrayCreateVector(VT_BSTR, 0, 0));
    EXPECT_TRUE(toTexts(empty.get()).empty());
}

void expectVector(SAFEARRAY* array, VARTYPE type, ULONG count)
{
    ASSERT_NE(nullptr, array);
    VARTYPE found = VT_EMPTY;
    EXPECT_EQ(S_OK, SafeArrayGetVartype(array, &found));
    EXPECT_EQ(type, found);
    EXPECT_EQ(1u, SafeArrayGetDim(array));
    LONG lower = -1;
    EXPECT_EQ(S_OK, SafeArrayGetLBound(array, 1, &lower));
    EXPECT_EQ(0, lower);
    EXPECT_EQ(count, array->rgsabound[0].cElements);
    EXPECT_EQ(0u, array->cLocks);
}

TEST(TextArrays, HoldTheTextsByTheirLengthInAVectorFrom0)
{
    const std::list<std::wstring> texts(std::begin(awkwardTexts), std::end(awkwardTexts));
    const ComArray array(toTextArray(texts));
    expectVector(array.get(), VT_BSTR, static_cast<ULONG>(texts.size()));
    LONG index = 0;
    for (const std::wstring& text : texts) {
        ComString element;
        EXPECT_EQ(S_OK, SafeArrayGetElement(array.get(), &index, element.put()));
        EXPECT_FALSE(element.isNull()) << "an empty text is no null";
        EXPECT_EQ(text, element.str());
        ++index;
    }
}

TEST(TextArrays, OfNoTextsAreValidAndEmpty)
{
    const ComArray array(toTextArray({}));
    expectVector(array.get(), VT_BSTR, 0);
}

TEST(TextArrays, WhoseTextsCannotBeAllocatedRaiseOutOfMemory)
{
    for (int possible = 0; possible < 3; ++possible) {
        const ScarceTexts few(possible);
        EXPECT_EQ(E_OUTOFMEMORY, comErrorOf([] { ComArray array(toTextArray({L"1", L"2", L"3"})); })) << possible;
    }
}

TEST(TextArrays, ThatCannotBeMadeRaiseOutOfMemory)
{
    const NoArrays none;
    EXPECT_EQ(E_OUTOFMEMORY, comErrorOf([] { ComArray array(toTextArray({L"1"})); }));
    EXPECT_EQ(E_OUTOFMEMORY, comErrorOf([] { ComArray array(toTextArray({})); }));
}

TEST(NumberArrays, ThatCannotBeMadeAreNull)
{
    const NoArrays none;
    EXPECT_EQ(nullptr, toNumberArray({1, 2}));
    EXPECT_EQ(nullptr, toNumberArray({}));
}

TEST(NumberArrays, HoldTheNumbersAsVtI4InAVectorFrom0)
{
    const std::vector<std::uint32_t> numbers = {46, 57, 0, 1, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 46};
    const ComArray array(toNumberArray(numbers));
    expectVector(array.get(), VT_I4, 8);
    const ArrayAccess<LONG> elements(array.get());
    ASSERT_TRUE(elements.locked());
    EXPECT_THAT(std::vector<LONG>(elements.begin(), elements.end()),
                testing::ElementsAre(46, 57, 0, 1, 0x7FFFFFFF, -0x7FFFFFFF - 1, -1, 46));
}

TEST(NumberArrays, OfNoNumbersAreValidAndEmpty)
{
    const ComArray array(toNumberArray({}));
    expectVector(array.get(), VT_I4, 0);
}

TEST(ObjectsOfAnArray, KeepTheirOrderAndTheNullsAndHoldAReferenceEach)
{
    TravikTest::CountingUnknown first;
    TravikTest::CountingUnknown second;
    {
        const ComArray array(SafeArrayCreateVector(VT_UNKNOWN, 0, 3));
        LONG index = 0;
        EXPECT_EQ(S_OK, SafeArrayPutElement(array.get(), &index, static_cast<IUnknown*>(&first)));
        index = 2;
        EXPECT_EQ(S_OK, SafeArrayPutElement(array.get(), &index, static_cast<IUnknown*>(&second)));
        const auto objects = toObjects<IUnknown>(array.get());
        ASSERT_EQ(3u, objects.size());
        EXPECT_EQ(&first, objects[0].Get());
        EXPECT_EQ(nullptr, objects[1].Get());
        EXPECT_EQ(&second, objects[2].Get());
        EXPECT_EQ(2, first.references);
        EXPECT_EQ(2, second.references);
    }
    EXPECT_EQ(0, first.references);
    EXPECT_EQ(0, second.references);
}

TEST(ObjectsOfAnArray, OfNoArrayOrAnEmptyOneAreNone)
{
    EXPECT_TRUE(toObjects<IUnknown>(nullptr).empty());
    const ComArray empty(SafeArrayCreateVector(VT_UNKNOWN, 0, 0));
    EXPECT_TRUE(toObjects<IUnknown>(empty.get()).empty());
}

TEST(ComArrays, AreFreedOrGivenUpOnce)
{
    ComArray array(SafeArrayCreateVector(VT_I4, 0, 1));
    SAFEARRAY* const raw = array.detach();
    EXPECT_TRUE(array.isNull());
    EXPECT_EQ(S_OK, SafeArrayDestroy(raw));
    *array.put() = SafeArrayCreateVector(VT_I4, 0, 1);
    EXPECT_FALSE(array.isNull());
}

TEST(ComArrays, AreNullAgainWhenTheirPlaceIsHandedOutOnceMore)
{
    ComArray array(SafeArrayCreateVector(VT_I4, 0, 1));
    SAFEARRAY* const before = array.get();
    EXPECT_EQ(nullptr, *array.put());
    EXPECT_TRUE(array.isNull());
    EXPECT_EQ(before, lastDestroyedArray);
}

} // namespace
