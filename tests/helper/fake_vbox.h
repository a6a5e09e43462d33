#pragma once

#include <travik/scoped_handle.h>

#include <algorithm>
#include <deque>
#include <map>
#include <string>
#include <vector>

/// An instance whose every operation notes its call and answers what the test has arranged; without an arrangement it
/// succeeds: it hands out a new handle, leaves a text empty or a number 0.
class FakeVBox final : public Travik::VBoxInstanceImpl
{
public:
    using VBoxHandle = Travik::VBoxHandle;
    using SdkErrorCode = Travik::SdkErrorCode;

    /// The calls in order, as "lockMachine(7, 2)" without outputs; those that read the last failure are left out.
    std::vector<std::string> calls;
    /// What operations write to their output, in order.
    std::map<std::string, std::deque<std::wstring>> texts;
    std::map<std::string, std::deque<std::int64_t>> numbers;
    std::vector<VBoxHandle> listed;
    /// Of what operations hand out, in order: true for no object.
    std::map<std::string, std::deque<bool>> nothing;
    /// The handles that were handed out and not given back.
    std::vector<VBoxHandle> live;
    /// Called at the beginning of every operation but the releases.
    std::function<void(const std::string& operation)> onCall;
    /// The last failure.
    std::uint32_t lastResult = 0;
    std::wstring lastText;

    /// Arranges that the next unarranged call of the operation fails, leaving the text that the library would leave.
    void fail(const std::string& operation, std::uint32_t code, std::uint32_t result)
    {
        const std::wstring wide(operation.begin(), operation.end());
        answers_[operation].push_back(
            {code, result,
             L"vbox sdk failure in Travik::VBox::" + wide + L"(1 | two):17 errorDesc=" + Travik::errorCodeName(code)});
    }
    /// The same, but the last text stays as it was.
    void failSilently(const std::string& operation, std::uint32_t code, std::uint32_t result)
    {
        answers_[operation].push_back({code, result, std::wstring()});
    }
    void succeed(const std::string& operation) { answers_[operation].push_back({0, 0, std::wstring()}); }

    /// How often an operation was called.
    std::ptrdiff_t count(const std::string& operation) const
    {
        return std::count_if(calls.begin(), calls.end(), [&](const std::string& call) {
            return call.compare(0, operation.size() + 1, operation + "(") == 0;
        });
    }
    bool called(const std::string& call) const { return std::find(calls.begin(), calls.end(), call) != calls.end(); }

#include "fake_operations.inc" // all operations, made from the public header

private:
    struct Answer
    {
        std::uint32_t code;
        std::uint32_t result;
        std::wstring text;
    };

    static std::string noted(const std::wstring& text)
    {
        return std::string(text.begin(), text.end());
    }
    static std::string noted(const std::vector<std::uint32_t>& values)
    {
        std::string text;
        for (std::uint32_t value : values)
            text += (text.empty() ? "[" : " ") + std::to_string(value);
        return text + "]";
    }
    static std::string noted(const std::list<std::wstring>& values)
    {
        return std::to_string(values.size()) + " texts";
    }
    template <class Object>
    static std::string noted(Object*)
    {
        return "out";
    }
    template <class Number, class = std::enable_if_t<std::is_arithmetic_v<Number>>>
    static std::string noted(Number number)
    {
        return std::to_string(number);
    }

    template <class... Arguments>
    void note(const std::string& operation, const Arguments&... arguments)
    {
        std::string text;
        ((text += (text.empty() ? "" : ", ") + noted(arguments)), ...);
        calls.push_back(operation + "(" + text + ")");
    }

    template <class... Arguments>
    SdkErrorCode answer(const std::string& operation, const Arguments&... arguments)
    {
        if (onCall)
            onCall(operation);
        note(operation, arguments...);
        lastResult = 0;
        auto& arranged = answers_[operation];
        if (arranged.empty())
            return SdkErrorCode(0);
        const Answer given = arranged.front();
        arranged.pop_front();
        lastResult = given.result;
        if (!given.text.empty())
            lastText = given.text;
        return SdkErrorCode(given.code);
    }

    template <class... Arguments>
    SdkErrorCode handOut(const std::string& operation, VBoxHandle* out, const Arguments&... arguments)
    {
        const SdkErrorCode code = answer(operation, arguments...);
        if (code == 0 && out && !take(nothing[operation], false)) {
            *out = ++next_;
            live.push_back(next_);
        }
        return code;
    }

    SdkErrorCode giveBack(const std::string& operation, VBoxHandle handle)
    {
        note(operation, handle);
        live.erase(std::remove(live.begin(), live.end(), handle), live.end());
        return SdkErrorCode(0);
    }

    template <class... Arguments>
    SdkErrorCode tell(const std::string& operation, std::wstring* out, const Arguments&... arguments)
    {
        const SdkErrorCode code = answer(operation, arguments...);
        if (code == 0)
            *out = take(texts[operation], *out);
        return code;
    }
    template <class Number, class... Arguments>
    SdkErrorCode tell(const std::string& operation, Number* out, const Arguments&... arguments)
    {
        const SdkErrorCode code = answer(operation, arguments...);
        if (code == 0)
            *out = static_cast<Number>(take(numbers[operation], std::int64_t(*out)));
        return code;
    }
    SdkErrorCode tell(const std::string& operation, std::vector<VBoxHandle>* out)
    {
        const SdkErrorCode code = answer(operation);
        if (code == 0)
            *out = listed;
        return code;
    }

    std::uint32_t convert(const std::string& operation, std::uint32_t value)
    {
        note(operation, value);
        return value;
    }

    std::uint32_t lastError() const
    {
        return lastResult;
    }
    std::wstring lastErrorMessage() const
    {
        return lastText;
    }

    /// The next arranged value.
    template <class Value>
    static Value take(std::deque<Value>& arranged, Value otherwise)
    {
        if (arranged.empty())
            return otherwise;
        const Value value = arranged.front();
        arranged.pop_front();
        return value;
    }

    std::map<std::string, std::deque<Answer>> answers_;
    VBoxHandle next_ = 100;
};
