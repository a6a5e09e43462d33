#pragma once

#include <windows.h>
#include <oleauto.h>

#include <cstddef>
#include <string>
#include <vector>

namespace TravikTest {

/// The COM strings and arrays that the library makes and frees in this process: the test executable stands between the
/// library and oleaut32, counts them, and can let one of them fail.
namespace ComMemory {

/// The text that the library allocates as the number-th from now on (from 1) cannot be made; 0: all can.
void failText(int number);

/// No array can be made, or no array's data can be locked.
void failArrayCreation(bool fails);
void failArrayAccess(bool fails);

/// The texts that the library allocated since the last call, in order.
std::vector<std::wstring> takeAllocatedTexts();

/// How many texts and arrays are not freed yet.
std::size_t liveTexts();
std::size_t liveArrays();

/// Texts and arrays that a fake gives away; the library has to free them.
BSTR giveText(const std::wstring& text);
SAFEARRAY* giveArray(SAFEARRAY* array);

/// The text of a BSTR for an array element, which its array frees.
BSTR elementText(const std::wstring& text);

/// Back to the start: nothing fails, nothing counted.
void reset();

} // namespace ComMemory
} // namespace TravikTest
