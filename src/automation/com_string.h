#pragma once

#include <windows.h>
#include <comdef.h>

#include <string>
#include <utility>

namespace Travik {

/// The text of a BSTR by its length, so embedded zeros survive; empty for null.
inline std::wstring textOf(BSTR text)
{
    return !text ? std::wstring() : std::wstring(text, SysStringLen(text));
}

/// Owns one BSTR. Text goes in and out by its length, so embedded zeros survive.
class ComString
{
public:
    ComString() noexcept = default;

    /// Throws _com_error (E_OUTOFMEMORY) when the BSTR cannot be allocated.
    explicit ComString(const std::wstring& text) : text_(SysAllocStringLen(text.data(), static_cast<UINT>(text.size())))
    {
        if (!text_)
            _com_issue_error(E_OUTOFMEMORY);
    }

    ComString(const ComString&) = delete;
    ComString& operator=(const ComString&) = delete;
    ~ComString() { SysFreeString(text_); }

    BSTR get() const noexcept { return text_; }
    bool isNull() const noexcept { return text_ == nullptr; }
    std::wstring str() const { return textOf(text_); }

    /// Gives the BSTR up to the caller.
    BSTR detach() noexcept { return std::exchange(text_, nullptr); }

    /// For a call to write to.
    BSTR* put() noexcept
    {
        SysFreeString(text_);
        text_ = nullptr;
        return &text_;
    }

private:
    BSTR text_ = nullptr;
};

} // namespace Travik
