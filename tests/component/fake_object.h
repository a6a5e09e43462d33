#pragma once

#include <virtualbox_defaults.h>

#include <atomic>
#include <string>
#include <type_traits>
#include <utility>

#include "fakes.h"

namespace TravikTest {

/// The part of a fake that does not depend on its interface.
class FakeBase
{
public:
    explicit FakeBase(std::wstring label) : label_(std::move(label)) {}
    virtual ~FakeBase() = default;
    FakeBase(const FakeBase&) = delete;
    FakeBase& operator=(const FakeBase&) = delete;

    const std::wstring& label() const { return label_; }
    bool isLive() const { return references_ > 0; }

protected:
    ULONG addReference();
    ULONG dropReference();
    static void noteQuery();

    /// One call of a method: its inputs are written down, then it is answered, then its outputs are filled.
    class Call
    {
    public:
        Call(FakeBase& fake, const wchar_t* method) : fake_(fake), method_(method) {}

        template <class Number>
        std::enable_if_t<std::is_integral_v<Number>> input(Number number)
        {
            add(std::to_wstring(number));
        }
        void input(BSTR text);
        void input(SAFEARRAY* array);
        void input(IUnknown* object);
        template <class Output>
        std::enable_if_t<!std::is_base_of_v<IUnknown, Output>> input(Output*)
        {}

        /// Records the call and runs what the test wants to happen meanwhile.
        void answer();

        template <class Input>
        std::enable_if_t<std::is_integral_v<Input>> output(Input)
        {}
        void output(BSTR) {}
        void output(SAFEARRAY*) {}
        void output(IUnknown*) {}
        template <class Number>
        std::enable_if_t<std::is_integral_v<Number>> output(Number* target)
        {
            if (const Given* given = take(target))
                *target = static_cast<Number>(number(*given));
        }
        void output(BSTR* target);
        void output(SAFEARRAY** target);
        template <class Interface>
        std::enable_if_t<std::is_base_of_v<IUnknown, Interface>> output(Interface** target)
        {
            if (const Given* given = take(target))
                *target = static_cast<Interface*>(object(*given, __uuidof(Interface)));
        }
        void output(GUID*) {} // of a method that the library never calls

        HRESULT result() const { return answer_.result; }

    private:
        void add(const std::wstring& argument);
        /// What the next output gets; null when it stays as it is. A missing target makes the call fail.
        const Given* take(const void* target);
        static std::int64_t number(const Given& given);
        IUnknown* object(const Given& given, REFIID iid) const;

        FakeBase& fake_;
        std::wstring method_;
        std::wstring arguments_;
        Answer answer_;
        std::size_t next_ = 0;
    };

    template <class... Arguments>
    HRESULT called(const wchar_t* method, Arguments... arguments)
    {
        Call call(*this, method);
        (call.input(arguments), ...);
        call.answer();
        (call.output(arguments), ...);
        return call.result();
    }

    /// Makes the world know the fake as the object behind this pointer.
    void introduce(IUnknown* object);

private:
    std::wstring label_;
    std::atomic<long> references_ = 0;
};

/// The base of every fake. It stays in memory after its last release, so that a later use is seen.
template <class Interface>
class FakeObject : public Defaults<Interface>, public FakeBase
{
public:
    explicit FakeObject(std::wstring label) : FakeBase(std::move(label))
    {
        introduce(this);
        addReference();
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        *object = nullptr;
        if (isOwn(iid)) {
            noteQuery();
            addReference();
            *object = static_cast<Interface*>(this);
            return S_OK;
        }
        if (iid == __uuidof(IStateChangedEvent))
            return called(L"IEvent::QueryInterface_IStateChangedEvent", reinterpret_cast<IStateChangedEvent**>(object));
        if (iid == __uuidof(IRuntimeErrorEvent))
            return called(L"IEvent::QueryInterface_IRuntimeErrorEvent", reinterpret_cast<IRuntimeErrorEvent**>(object));
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return addReference(); }
    ULONG STDMETHODCALLTYPE Release() override { return dropReference(); }

private:
    static bool isOwn(REFIID iid)
    {
        return iid == __uuidof(Interface) || iid == __uuidof(IUnknown) ||
               (std::is_base_of_v<IDispatch, Interface> && iid == __uuidof(IDispatch)) ||
               (std::is_base_of_v<IEvent, Interface> && iid == __uuidof(IEvent)) ||
               (std::is_base_of_v<IErrorInfo, Interface> && iid == __uuidof(IErrorInfo));
    }
};

} // namespace TravikTest
