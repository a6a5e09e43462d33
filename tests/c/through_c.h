#pragma once

#include <cstring>
#include <memory>

#include "bench.h"
#include "call.h"

namespace TravikTest {

using namespace Travik::Flat;

// The caller's side of the flat interface, for callers of the C++ one.

class Texts
{
public:
    explicit Texts(const std::list<std::wstring>& texts)
    {
        for (const std::wstring& text : texts)
            texts_.push_back(utf8(text));
        for (const std::string& text : texts_)
            pointers_.push_back(text.c_str());
    }
    const char* const* data() const { return pointers_.data(); }
    std::uint32_t size() const { return static_cast<std::uint32_t>(pointers_.size()); }

    static std::string utf8(const std::wstring& text) { return toUtf8(text); }

private:
    std::list<std::string> texts_;
    std::vector<const char*> pointers_;
};

/// An output in C for an output in C++; null for null. Every one begins with rubbish, which the call has to clear.
template <class Inner, class Outer>
class Owned
{
public:
    explicit Owned(Outer* outer) : outer_(outer) { std::memset(&inner_, 0xA5, sizeof inner_); }
    Inner* put() { return !outer_ ? nullptr : &inner_; }

protected:
    Inner inner_;
    Outer* outer_;
};

template <class Number>
struct OwnedNumber : Owned<Number, Number>
{
    using Owned<Number, Number>::Owned;
    void take()
    {
        if (this->outer_)
            *this->outer_ = this->inner_;
    }
};

struct OwnedText : Owned<char*, std::wstring>
{
    using Owned::Owned;
    void take()
    {
        if (!outer_)
            return;
        *outer_ = toWide(inner_);
        travik_freeText(&inner_);
        EXPECT_EQ(inner_, nullptr);
    }
};

struct OwnedTexts : Owned<travik_texts, std::list<std::wstring>>
{
    using Owned::Owned;
    void take()
    {
        if (!outer_)
            return;
        outer_->clear();
        for (std::uint32_t i = 0; i < inner_.count; ++i)
            outer_->push_back(toWide(inner_.items[i]));
        travik_freeTexts(&inner_);
        EXPECT_EQ(inner_.items, nullptr);
    }
};

template <class Handle>
struct OwnedHandle : Owned<Handle, VBoxHandle>
{
    using Owned<Handle, VBoxHandle>::Owned;
    void take()
    {
        if (this->outer_)
            *this->outer_ = static_cast<VBoxHandle>(this->inner_.value);
    }
};

struct OwnedHandles : Owned<travik_machines, std::vector<VBoxHandle>>
{
    using Owned::Owned;
    void take()
    {
        if (!outer_)
            return;
        for (std::uint32_t i = 0; i < inner_.count; ++i)
            outer_->push_back(static_cast<VBoxHandle>(inner_.items[i].value));
        travik_freeMachines(&inner_);
        EXPECT_EQ(inner_.items, nullptr);
    }
};

struct FreeError
{
    void operator()(travik_error* error) const { travik_freeError(&error); }
};

/// An instance for the rows of the operation table whose every operation goes through the flat interface, to the
/// library under test.
class ThroughC : public TestBox
{
public:
    using SdkErrorCode = Travik::SdkErrorCode;

    std::uint32_t deadlineMs = 0;

    /// What the last call left behind; null when it succeeded.
    const travik_error* failure()
    {
        failure_.reset(std::exchange(error_, nullptr));
        return failure_.get();
    }

#include "through_c_operations.inc"

private:
    travik_error** error()
    {
        return &error_;
    }
    static std::string utf8(const std::wstring& text)
    {
        return toUtf8(text);
    }

    travik_error* error_ = nullptr;
    std::unique_ptr<travik_error, FreeError> failure_;
};

} // namespace TravikTest
