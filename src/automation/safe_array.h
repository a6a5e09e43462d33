#pragma once

#include <windows.h>
#include <oleauto.h>
#include <wrl/client.h>

#include <cstdint>
#include <list>
#include <string>
#include <utility>
#include <vector>

namespace Travik {

/// Owns one SAFEARRAY.
class ComArray
{
public:
    ComArray() noexcept = default;
    explicit ComArray(SAFEARRAY* array) noexcept : array_(array) {}
    ComArray(const ComArray&) = delete;
    ComArray& operator=(const ComArray&) = delete;
    ~ComArray() { SafeArrayDestroy(array_); }

    SAFEARRAY* get() const noexcept { return array_; }
    bool isNull() const noexcept { return array_ == nullptr; }

    /// For a call to write to.
    SAFEARRAY** put() noexcept
    {
        SafeArrayDestroy(std::exchange(array_, nullptr));
        return &array_;
    }

    /// Gives the array up to the caller.
    SAFEARRAY* detach() noexcept { return std::exchange(array_, nullptr); }

private:
    SAFEARRAY* array_ = nullptr;
};

/// Gives access to the elements of an array for its lifetime. Without access, or without elements, it is empty.
template <class Element>
class ArrayAccess
{
public:
    explicit ArrayAccess(SAFEARRAY* array) noexcept
        : array_(SUCCEEDED(SafeArrayAccessData(array, reinterpret_cast<void**>(&data_))) ? array : nullptr)
    {}
    ArrayAccess(const ArrayAccess&) = delete;
    ArrayAccess& operator=(const ArrayAccess&) = delete;
    ~ArrayAccess()
    {
        if (array_)
            SafeArrayUnaccessData(array_);
    }

    /// False when the data could not be locked.
    bool locked() const noexcept { return array_ != nullptr; }
    Element* begin() const noexcept { return locked() ? data_ : nullptr; }
    Element* end() const noexcept { return !begin() ? nullptr : data_ + array_->rgsabound[0].cElements; }

private:
    Element* data_ = nullptr;
    SAFEARRAY* array_;
};

/// The objects of an interface array in order, each with a reference of its own; nulls are kept.
template <class Interface>
std::vector<Microsoft::WRL::ComPtr<Interface>> toObjects(SAFEARRAY* array)
{
    const ArrayAccess<Interface*> elements(array);
    return std::vector<Microsoft::WRL::ComPtr<Interface>>(elements.begin(), elements.end());
}

/// The texts of a BSTR array in order.
std::vector<std::wstring> toTexts(SAFEARRAY* array);

/// A BSTR array of these texts. Throws _com_error (E_OUTOFMEMORY) when it cannot be made.
SAFEARRAY* toTextArray(const std::list<std::wstring>& texts);

/// A VT_I4 array of these numbers, lower bound 0; null when it cannot be made.
SAFEARRAY* toNumberArray(const std::vector<std::uint32_t>& numbers);

} // namespace Travik
