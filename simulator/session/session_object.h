#pragma once

#include <windows.h>
#include <wrl/client.h>

#include <atomic>
#include <mutex>

#include "automation/com_string.h"
#include "control/session_marshal.h"
#include "identity.h"
#include "session/local_object.h"
#include "vboxsim_control.h"

namespace VBoxSim {

/// VirtualBox's session object, in the client's process. It keeps nothing but its identifier: the server knows what the
/// session has locked, and is asked each time. When it is passed to the server, only the identifier crosses, so that
/// the server never needs to call back into the client.
class SessionObject : public ComObject<LateBound<ISession>, SessionMarshal, ISupportErrorInfo>
{
public:
    SessionObject();

    /// The session object of this process with that identifier, for its new owner; null when it is gone.
    static Microsoft::WRL::ComPtr<SessionObject> find(const GUID& id);
    /// It came back from a call that a script passed it to, or that call has ended.
    void land();

    HRESULT STDMETHODCALLTYPE get_State(ULONG* state) override;
    HRESULT STDMETHODCALLTYPE get_Type(ULONG* type) override;
    HRESULT STDMETHODCALLTYPE get_Name(BSTR* name) override;
    HRESULT STDMETHODCALLTYPE put_Name(BSTR name) override;
    HRESULT STDMETHODCALLTYPE get_Machine(IMachine** machine) override;
    HRESULT STDMETHODCALLTYPE get_Console(IConsole** console) override;
    HRESULT STDMETHODCALLTYPE UnlockMachine() override;

    HRESULT STDMETHODCALLTYPE GetUnmarshalClass(REFIID id, void* object, DWORD context, void* reserved, DWORD flags,
                                                CLSID* unmarshaler) override;
    HRESULT STDMETHODCALLTYPE GetMarshalSizeMax(REFIID id, void* object, DWORD context, void* reserved, DWORD flags,
                                                DWORD* size) override;
    HRESULT STDMETHODCALLTYPE MarshalInterface(IStream* stream, REFIID id, void* object, DWORD context, void* reserved,
                                               DWORD flags) override;

    HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID id) override;

private:
    ~SessionObject() override;
    void* interfaceOf(REFIID id) override;

    /// Asks the server; `question` gets its service and the session's identifier.
    template <class Question>
    HRESULT ask(Question&& question);
    HRESULT findService(Microsoft::WRL::ComPtr<ISimSessions>& service);
    /// The marshaler for other apartments of this process, where the object itself is used.
    HRESULT freeThreaded(Microsoft::WRL::ComPtr<IMarshal>& marshaler);

    const KeepsLoaded keepsLoaded_;
    const GUID id_;
    const Travik::ComString idText_;
    std::atomic<bool> known_{false}; ///< the server may know the session
    /// A script's variable passes its session and is cleared before it takes it back: until then the session holds
    /// itself.
    std::atomic<bool> inFlight_{false};

    std::mutex mutex_; ///< guards what follows
    Microsoft::WRL::ComPtr<ISimSessions> service_;
    DWORD serviceApartment_ = 0;
    Microsoft::WRL::ComPtr<IUnknown> freeThreadedMarshaler_;
};

} // namespace VBoxSim
