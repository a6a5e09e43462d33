#include "svc/class_objects.h"

#include <atomic>
#include <tuple>
#include <utility>

#include "com/call_frame.h"
#include "com/interface_keeper.h"
#include "com/session_objects.h"
#include "com/virtual_box_object.h"
#include "control/class_factory.h"
#include "identity.h"
#include "svc/control.h"

namespace VBoxSim {

namespace {

/// Turns what a session object wrote into a reference to that session.
class SessionArrival : public SessionUnmarshaler
{
public:
    explicit SessionArrival(Server& server) : server_(server) {}

private:
    HRESULT sessionOf(const SessionPacket& packet, REFIID id, void** out) override
    {
        return make<SessionReference>(server_, packet)->QueryInterface(id, out);
    }

    Server& server_;
};

/// Makes a new object for each client that asks.
template <class Implementation, class... Arguments>
class Factory : public ClassFactory<Factory<Implementation, Arguments...>>
{
public:
    Factory(Server& server, std::atomic<long>& locks, const wchar_t* callName, Arguments... arguments)
        : server_(server), locks_(locks), callName_(callName), arguments_(arguments...)
    {}

    HRESULT make(REFIID id, void** out)
    {
        HRESULT result = S_OK;
        const HRESULT served = serve(
            server_, {callName_, IID_IClassFactory}, [] { return std::wstring(); },
            [&](HostLock&) { result = makeObject()->QueryInterface(id, out); });
        return FAILED(served) ? served : result;
    }
    void keepLoaded(bool keep) { locks_ += keep ? 1 : -1; }

private:
    ComPtr<Implementation> makeObject()
    {
        return std::apply([&](auto&... more) { return VBoxSim::make<Implementation>(server_, more...); }, arguments_);
    }

    Server& server_;
    std::atomic<long>& locks_;
    const wchar_t* const callName_;
    std::tuple<Arguments...> arguments_;
};

} // namespace

struct ClassObjects::Factories
{
    Factories(Server& server, const std::function<void()>& stop)
        : virtualBox(server, locks, L"VirtualBox::CreateInstance"),
          sessions(server, locks, L"SimSessions::CreateInstance"),
          control(server, locks, L"VBoxSimControl::CreateInstance", stop),
          reference(server, locks, L"SessionReference::CreateInstance")
    {}

    std::atomic<long> locks{0};
    Factory<VirtualBoxObject> virtualBox;
    Factory<SessionService> sessions;
    Factory<Control, std::function<void()>> control;
    Factory<SessionArrival> reference;
};

ClassObjects::ClassObjects(Server& server, const std::function<void()>& stop)
    : factories_(std::make_unique<Factories>(server, stop))
{}

ClassObjects::~ClassObjects()
{
    withdraw();
}

long ClassObjects::locks() const
{
    return factories_->locks;
}

HRESULT ClassObjects::offer()
{
    const struct
    {
        const GUID& classId;
        IClassFactory* factory;
        DWORD context;
    } classes[] = {
        {CLSID_VirtualBox, &factories_->virtualBox, CLSCTX_LOCAL_SERVER},
        {sessionsClass, &factories_->sessions, CLSCTX_LOCAL_SERVER},
        {controlClass, &factories_->control, CLSCTX_LOCAL_SERVER},
        {sessionReferenceClass, &factories_->reference, CLSCTX_INPROC_SERVER},
    };
    for (REFIID id : {IID_IUnknown, IID_IDispatch, IID_IClassFactory, IID_ISupportErrorInfo})
        keepRegistered(id);
    for (const auto& offered : classes) {
        DWORD registration = 0;
        const HRESULT result =
            CoRegisterClassObject(offered.classId, offered.factory, offered.context, REGCLS_MULTIPLEUSE, &registration);
        if (FAILED(result))
            return result;
        registrations_.push_back(registration);
    }
    return S_OK;
}

void ClassObjects::withdraw()
{
    for (const DWORD registration : std::exchange(registrations_, {}))
        CoRevokeClassObject(registration);
}

} // namespace VBoxSim
