#include "fakes.h"

#include <algorithm>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>

#include "com_memory.h"
#include "fake_object.h"

namespace TravikTest {
namespace {

struct World
{
    std::mutex guard;
    std::vector<std::unique_ptr<FakeBase>> fakes; // also those that nobody refers to any more
    std::map<const IUnknown*, FakeBase*> byPointer;
    std::map<std::wstring, Answer> answers;
    std::map<std::wstring, std::deque<Answer>> nextAnswers;
    std::shared_ptr<const std::function<void(Answer&)>> disturbance;
    std::vector<std::wstring> calls;
    std::vector<std::wstring> violations;
    std::vector<std::wstring> released;
    std::function<void()> atLastRelease;
    long references = 0;
    int queries = 0;
};

World& world()
{
    static World world;
    return world;
}

template <class Interface>
IUnknown* newFakeOf(std::wstring label)
{
    return newFake<Interface>(std::move(label));
}

struct Kind
{
    IID iid;
    const wchar_t* name;
    IUnknown* (*make)(std::wstring label);
};

#define KIND(Interface)                                                                                                \
    {                                                                                                                  \
        __uuidof(Interface), L## #Interface, newFakeOf<Interface>                                                      \
    }
const Kind kinds[] = {KIND(IVirtualBox),
                      KIND(ISession),
                      KIND(IMachine),
                      KIND(IConsole),
                      KIND(IProgress),
                      KIND(IVirtualBoxErrorInfo),
                      KIND(IMedium),
                      KIND(IHost),
                      KIND(INetworkAdapter),
                      KIND(INATEngine),
                      KIND(IAudioAdapter),
                      KIND(ISystemProperties),
                      KIND(IStorageController),
                      KIND(IAppliance),
                      KIND(IEventSource),
                      KIND(IEventListener),
                      KIND(IEvent),
                      KIND(IStateChangedEvent),
                      KIND(IRuntimeErrorEvent)};
#undef KIND

/// The label of an object, as arguments show it.
std::wstring labelOf(const IUnknown* object)
{
    if (!object)
        return L"null";
    const auto found = world().byPointer.find(object);
    return found == world().byPointer.end() ? L"a stranger" : found->second->label();
}

std::wstring renderedText(BSTR text)
{
    return !text ? L"null" : rendered(std::wstring(text, SysStringLen(text)));
}

std::wstring renderedElement(VARTYPE type, const void* data, ULONG index)
{
    switch (type) {
    case VT_I4:
        return std::to_wstring(static_cast<const LONG*>(data)[index]);
    case VT_BSTR:
        return renderedText(static_cast<const BSTR*>(data)[index]);
    case VT_DISPATCH:
    case VT_UNKNOWN:
        return labelOf(static_cast<IUnknown* const*>(data)[index]);
    default:
        return L"?";
    }
}

std::wstring typeName(VARTYPE type)
{
    switch (type) {
    case VT_I4:
        return L"VT_I4";
    case VT_BSTR:
        return L"VT_BSTR";
    case VT_DISPATCH:
        return L"VT_DISPATCH";
    case VT_UNKNOWN:
        return L"VT_UNKNOWN";
    default:
        return L"VT_" + std::to_wstring(type);
    }
}

/// "VT_I4[0+2]{1, 2}": type, lower bound, count and elements.
std::wstring renderedArray(SAFEARRAY* array)
{
    if (!array)
        return L"null";
    VARTYPE type = VT_EMPTY;
    SafeArrayGetVartype(array, &type);
    std::wstring text = typeName(type);
    for (UINT i = 0; i < array->cDims; ++i)
        text += L"[" + std::to_wstring(array->rgsabound[i].lLbound) + L"+" +
                std::to_wstring(array->rgsabound[i].cElements) + L"]";
    text += L"{";
    for (ULONG i = 0; array->cDims == 1 && i < array->rgsabound[0].cElements; ++i)
        text += (i == 0 ? L"" : L", ") + renderedElement(type, array->pvData, i);
    return text + L"}";
}

/// A progress is complete and has succeeded, unless the test says otherwise.
void answerAsUsual()
{
    world().answers[L"IProgress::get_Completed"].given = {std::int64_t(1)};
    world().answers[L"IProgress::get_ResultCode"].given = {std::int64_t(0)};
}

/// Makes one kind of root object for CoCreateInstance.
class ClassObject final : public IClassFactory, public FakeBase
{
public:
    ClassObject(std::wstring label, const wchar_t* method, REFIID iid)
        : FakeBase(std::move(label)), method_(method), iid_(iid)
    {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        const bool known = iid == __uuidof(IUnknown) || iid == __uuidof(IClassFactory);
        *object = known ? static_cast<IClassFactory*>(this) : nullptr;
        return known ? S_OK : E_NOINTERFACE;
    }
    // Lives as long as the process.
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override
    {
        *object = nullptr;
        if (outer || iid != iid_)
            return CLASS_E_NOAGGREGATION;
        if (iid == __uuidof(IVirtualBox))
            return called(method_, reinterpret_cast<IVirtualBox**>(object));
        return called(method_, reinterpret_cast<ISession**>(object));
    }

private:
    const wchar_t* method_;
    IID iid_;
};

ClassObject virtualBoxClass(L"class", L"VirtualBox::CreateInstance", __uuidof(IVirtualBox));
ClassObject sessionClass(L"class", L"Session::CreateInstance", __uuidof(ISession));
DWORD registrations[2] = {};
DWORD contexts[2] = {};

} // namespace

ULONG FakeBase::addReference()
{
    const std::lock_guard lock(world().guard);
    ++world().references;
    return static_cast<ULONG>(++references_);
}

ULONG FakeBase::dropReference()
{
    std::function<void()> last;
    long left = 0;
    {
        const std::lock_guard lock(world().guard);
        --world().references;
        if (references_ <= 0)
            world().violations.push_back(label_ + L" released after its last release");
        left = --references_;
        if (left == 0) {
            world().released.push_back(label_);
            last = world().atLastRelease;
        }
    }
    if (last)
        last();
    return static_cast<ULONG>(left);
}

void FakeBase::noteQuery()
{
    const std::lock_guard lock(world().guard);
    ++world().queries;
}

void FakeBase::introduce(IUnknown* object)
{
    const std::lock_guard lock(world().guard);
    world().fakes.emplace_back(this);
    world().byPointer[object] = this;
}

void FakeBase::Call::add(const std::wstring& argument)
{
    arguments_ += (arguments_.empty() ? L"" : L", ") + argument;
}

void FakeBase::Call::input(BSTR text)
{
    add(renderedText(text));
}

void FakeBase::Call::input(SAFEARRAY* array)
{
    const std::lock_guard lock(world().guard);
    add(renderedArray(array));
}

void FakeBase::Call::input(IUnknown* object)
{
    const std::lock_guard lock(world().guard);
    add(labelOf(object));
}

void FakeBase::Call::answer()
{
    const auto isObject = fake_.label_ != L"class";
    std::shared_ptr<const std::function<void(Answer&)>> disturbance;
    {
        const std::lock_guard lock(world().guard);
        if (isObject && !fake_.isLive())
            world().violations.push_back(fake_.label_ + L" called after its last release: " + method_);
        world().calls.push_back(fake_.label_ + L": " + method_ + L"(" + arguments_ + L")");
        auto& next = world().nextAnswers[method_];
        if (!next.empty()) {
            answer_ = next.front();
            next.pop_front();
        } else if (const auto usual = world().answers.find(method_); usual != world().answers.end()) {
            answer_ = usual->second;
        }
        disturbance = world().disturbance;
    }
    if (disturbance)
        (*disturbance)(answer_);
    if (answer_.during)
        answer_.during();
    const std::lock_guard lock(world().guard);
    if (isObject && !fake_.isLive())
        world().violations.push_back(fake_.label_ + L" released during " + method_);
}

const Given* FakeBase::Call::take(const void* target)
{
    static const Given own = OwnValue();
    const std::size_t index = next_++;
    if (!target && answer_.result >= 0)
        answer_.result = E_POINTER;
    if (!target || (answer_.result < 0 && !answer_.givesOnFailure))
        return nullptr;
    return index < answer_.given.size() ? &answer_.given[index] : &own;
}

std::int64_t FakeBase::Call::number(const Given& given)
{
    const auto* number = std::get_if<std::int64_t>(&given);
    return !number ? 7 : *number;
}

void FakeBase::Call::output(BSTR* target)
{
    const Given* given = take(target);
    if (!given)
        return;
    if (const auto* text = std::get_if<std::wstring>(given))
        *target = ComMemory::giveText(*text);
    else
        *target = std::holds_alternative<Null>(*given) ? nullptr : ComMemory::giveText(L"text of " + method_);
}

void FakeBase::Call::output(SAFEARRAY** target)
{
    const Given* given = take(target);
    if (!given)
        return;
    const auto* make = std::get_if<MakeArray>(given);
    *target = !make ? nullptr : ComMemory::giveArray((*make)());
}

IUnknown* FakeBase::Call::object(const Given& given, REFIID iid) const
{
    if (std::holds_alternative<Null>(given))
        return nullptr;
    if (const auto* object = std::get_if<MakeObject>(&given))
        return object->make();
    const auto* kind = std::find_if(std::begin(kinds), std::end(kinds), [&](const Kind& k) { return k.iid == iid; });
    if (kind == std::end(kinds))
        throw std::logic_error("no fake for an object that a method gives");
    return kind->make(kind->name + (L" of " + method_));
}

namespace FakeWorld {

void answer(const std::wstring& method, Answer answer)
{
    const std::lock_guard lock(world().guard);
    world().answers[method] = std::move(answer);
}

void answerOnce(const std::wstring& method, Answer answer)
{
    const std::lock_guard lock(world().guard);
    world().nextAnswers[method].push_back(std::move(answer));
}

void changeOnce(const std::wstring& method, const std::function<void(Answer&)>& change)
{
    const std::lock_guard lock(world().guard);
    Answer changed = world().answers[method];
    change(changed);
    world().nextAnswers[method].push_back(std::move(changed));
}

void change(const std::wstring& method, const std::function<void(Answer&)>& change)
{
    const std::lock_guard lock(world().guard);
    change(world().answers[method]);
}

void disturb(std::function<void(Answer&)> change)
{
    const std::lock_guard lock(world().guard);
    world().disturbance = change ? std::make_shared<std::function<void(Answer&)>>(std::move(change)) : nullptr;
}

void sweep()
{
    const std::lock_guard lock(world().guard);
    world().calls.clear();
    world().released.clear();
    std::erase_if(world().byPointer, [](const auto& entry) { return !entry.second->isLive(); });
    std::erase_if(world().fakes, [](const auto& fake) { return !fake->isLive(); });
}

std::vector<std::wstring> takeCalls()
{
    const std::lock_guard lock(world().guard);
    return std::exchange(world().calls, {});
}

long references()
{
    const std::lock_guard lock(world().guard);
    return world().references;
}

std::vector<std::wstring> live()
{
    const std::lock_guard lock(world().guard);
    std::vector<std::wstring> labels;
    for (const auto& fake : world().fakes) {
        if (fake->isLive())
            labels.push_back(fake->label());
    }
    return labels;
}

std::vector<std::wstring> violations()
{
    const std::lock_guard lock(world().guard);
    return world().violations;
}

std::vector<std::wstring> takeReleased()
{
    const std::lock_guard lock(world().guard);
    return std::exchange(world().released, {});
}

void onLastRelease(std::function<void()> function)
{
    const std::lock_guard lock(world().guard);
    world().atLastRelease = std::move(function);
}

int queries()
{
    const std::lock_guard lock(world().guard);
    return world().queries;
}

void reset()
{
    const std::lock_guard lock(world().guard);
    world().fakes.clear();
    world().byPointer.clear();
    world().answers.clear();
    world().nextAnswers.clear();
    world().disturbance = nullptr;
    world().calls.clear();
    world().violations.clear();
    world().released.clear();
    world().atLastRelease = nullptr;
    world().references = 0;
    world().queries = 0;
    answerAsUsual();
}

void registerClasses(DWORD virtualBoxContext, DWORD sessionContext)
{
    if (registrations[0] != 0)
        return;
    contexts[0] = virtualBoxContext;
    contexts[1] = sessionContext;
    CoRegisterClassObject(CLSID_VirtualBox, &virtualBoxClass, virtualBoxContext, REGCLS_MULTI_SEPARATE,
                          &registrations[0]);
    CoRegisterClassObject(CLSID_Session, &sessionClass, sessionContext, REGCLS_MULTI_SEPARATE, &registrations[1]);
}

void revokeClasses()
{
    for (DWORD& registration : registrations) {
        if (registration != 0)
            CoRevokeClassObject(registration);
        registration = 0;
    }
}

bool serves(REFCLSID clsid, DWORD context)
{
    return registrations[0] != 0 && (context & contexts[clsid == CLSID_VirtualBox ? 0 : 1]) != 0;
}

} // namespace FakeWorld

std::wstring rendered(const std::wstring& text)
{
    std::wstring result = L"\"";
    for (const wchar_t unit : text) {
        if (unit >= L' ' && unit <= L'~') {
            result += unit;
        } else {
            wchar_t digits[8];
            swprintf(digits, std::size(digits), L"{%04X}", static_cast<unsigned>(unit));
            result += digits;
        }
    }
    return result + L"\"[" + std::to_wstring(text.size()) + L"]";
}

MakeArray textArray(std::vector<std::wstring> texts)
{
    return [texts = std::move(texts)] {
        SAFEARRAYBOUND bound = {static_cast<ULONG>(texts.size()), 0};
        SAFEARRAY* const array = SafeArrayCreate(VT_BSTR, 1, &bound);
        std::transform(texts.begin(), texts.end(), static_cast<BSTR*>(array->pvData), ComMemory::elementText);
        return array;
    };
}

MakeArray objectArrayOf(VARTYPE type, const IID& iid, std::vector<std::function<IUnknown*()>> elements)
{
    return [type, iid, elements = std::move(elements)] {
        IID element = iid;
        SAFEARRAY* const array = SafeArrayCreateVectorEx(type, 0, static_cast<ULONG>(elements.size()), &element);
        std::transform(elements.begin(), elements.end(), static_cast<IUnknown**>(array->pvData),
                       [](const auto& make) { return make(); });
        return array;
    };
}

} // namespace TravikTest
