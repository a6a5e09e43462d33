#include "com/interface_keeper.h"

#include <objbase.h>
#include <objidl.h>
#include <wrl/client.h>

#include <algorithm>
#include <mutex>
#include <vector>

#include "com/clients.h"
#include "identity.h"

using Microsoft::WRL::ComPtr;

namespace VBoxSim {

namespace {

/// Answers for every interface that is kept, with nothing behind it. Lives as long as the process.
class Placeholder : public IUnknown
{
public:
    static Placeholder& instance()
    {
        static Placeholder* const placeholder = new Placeholder; // COM holds it until the end
        return *placeholder;
    }

    void keep(REFIID id)
    {
        {
            const std::lock_guard guard(mutex_);
            if (std::find(kept_.begin(), kept_.end(), id) != kept_.end())
                return;
            kept_.push_back(id);
        }
        ComPtr<IStream> stream;
        if (SUCCEEDED(CreateStreamOnHGlobal(nullptr, TRUE, &stream)))
            CoMarshalInterface(stream.Get(), id, this, MSHCTX_LOCAL, nullptr, MSHLFLAGS_TABLESTRONG);
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) override
    {
        if (!out)
            return E_POINTER;
        const std::lock_guard guard(mutex_);
        const bool known = id == IID_IUnknown || std::find(kept_.begin(), kept_.end(), id) != kept_.end();
        *out = known ? this : nullptr;
        return known ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }

private:
    std::mutex mutex_;
    std::vector<IID> kept_;
};

} // namespace

void keepRegistered(REFIID id)
{
    if (underWine())
        Placeholder::instance().keep(id);
}

void useOwnStubs(REFIID id)
{
    if (underWine() && id != IID_IErrorInfo) // which is the system's
        CoRegisterPSClsid(id, proxyClass);
}

} // namespace VBoxSim
