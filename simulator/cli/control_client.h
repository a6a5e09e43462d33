#pragma once

#include <windows.h>
#include <wrl/client.h>

#include <stdexcept>
#include <string>
#include <type_traits>

#include "automation/com_string.h"
#include "base/text.h"
#include "vboxsim_control.h"

namespace VBoxSim {

/// A control call that failed, with the result in its text.
class ControlError : public std::runtime_error
{
public:
    ControlError(const std::string& what, HRESULT result);
};

/// The controls of the running server; COM starts one when there is none.
class ControlClient
{
public:
    ControlClient();
    ~ControlClient();
    ControlClient(const ControlClient&) = delete;
    ControlClient& operator=(const ControlClient&) = delete;

    /// Calls a method that takes no text.
    template <class... Arguments>
    void call(HRESULT (STDMETHODCALLTYPE IVBoxSimControl::*method)(Arguments...),
              std::type_identity_t<Arguments>... arguments)
    {
        check((control_.Get()->*method)(arguments...));
    }
    /// Calls a method that gives a text, and returns that as UTF-8.
    std::string text(HRESULT (STDMETHODCALLTYPE IVBoxSimControl::*method)(BSTR*));
    /// The listing of references and their number.
    std::string references(unsigned long& count);

    static bool serverRuns();

private:
    void check(HRESULT result);

    Microsoft::WRL::ComPtr<IVBoxSimControl> control_;
};

/// A UTF-8 text as an argument of a COM call.
class TextArgument : public Travik::ComString
{
public:
    explicit TextArgument(const std::string& utf8) : ComString(fromUtf8(utf8)) {}
    operator BSTR() const { return get(); }
};

} // namespace VBoxSim
