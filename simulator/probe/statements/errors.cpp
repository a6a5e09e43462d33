// What failures tell.
#include "lab.h"

namespace Probe {
namespace {

using enum Ground;

bool underWine()
{
    return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

/// The error object of a look-up that fails.
ComPtr<IVirtualBoxErrorInfo> failedLookUp(Lab& lab)
{
    ComPtr<IMachine> machine;
    lab.box->FindMachine(Text(lab.newName()), &machine);
    ComPtr<IErrorInfo> error;
    if (GetErrorInfo(0, &error) != S_OK) {
        if (underWine())
            throw Cannot("Wine's COM carries no error objects; only the stand-in's own proxies do");
        throw std::runtime_error("there is no error object");
    }
    return query<IVirtualBoxErrorInfo>(error);
}

Finding ofCalls(Lab& lab)
{
    const auto error = failedLookUp(lab);
    if (!error)
        return says(false, "an IVirtualBoxErrorInfo", "another error object");
    return all(
        {answers(Result::ObjectNotFound, static_cast<HRESULT>(read(error, &IVirtualBoxErrorInfo::get_ResultCode))),
         no(text(error, &IVirtualBoxErrorInfo::get_Text).empty()),
         no(text(error, &IVirtualBoxErrorInfo::get_Component).empty())});
}

Finding sameText(Lab& lab)
{
    const auto error = failedLookUp(lab);
    Text description;
    must(error->GetDescription(description.put()));
    return equal(text(error, &IVirtualBoxErrorInfo::get_Text), description.str());
}

ComPtr<IVirtualBoxErrorInfo> failedRead(Lab& lab)
{
    ComPtr<IAppliance> appliance;
    ComPtr<IProgress> progress;
    must(lab.box->CreateAppliance(&appliance));
    must(appliance->Read(Text(lab.newFile(L".ovf").wstring()), &progress));
    finish(progress);
    const auto error = object(progress, &IProgress::get_ErrorInfo);
    if (!error)
        throw std::runtime_error("there is no error object");
    return error;
}

Finding ofOperations(Lab& lab)
{
    const auto error = failedRead(lab);
    return all({no(text(error, &IVirtualBoxErrorInfo::get_Text).empty()),
                no(text(error, &IVirtualBoxErrorInfo::get_Component).empty()),
                equal(36, static_cast<std::int64_t>(text(error, &IVirtualBoxErrorInfo::get_InterfaceID).size()))});
}

Finding lastOfChain(Lab& lab)
{
    ComPtr<IVirtualBoxErrorInfo> error = failedRead(lab);
    int length = 1;
    while (length < 20 && (error = object(error, &IVirtualBoxErrorInfo::get_Next)))
        ++length;
    return says(length < 20, "an end", std::to_string(length) + " errors");
}

Finding noAccessError(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    return all({yes(read(machine, &IMachine::get_Accessible) != FALSE),
                no(object(machine, &IMachine::get_AccessError) != nullptr)});
}

Finding supported(Lab& lab)
{
    const auto support = query<ISupportErrorInfo>(lab.create());
    if (!support)
        return says(false, "ISupportErrorInfo", "none");
    return all({answers(static_cast<std::uint32_t>(S_OK), support->InterfaceSupportsErrorInfo(__uuidof(IMachine))),
                answers(static_cast<std::uint32_t>(S_FALSE), support->InterfaceSupportsErrorInfo(IID_IUnknown))});
}

Finding nullPlace(Lab& lab)
{
    return answersOneOf({Result::Pointer, Result::RpcNullReference}, lab.box->get_Version(nullptr));
}

Finding nullObject(Lab& lab)
{
    return answers(Result::InvalidArg, lab.box->RegisterMachine(nullptr));
}

Finding emptyOnFailure(Lab& lab)
{
    ComPtr<IMachine> machine;
    lab.box->FindMachine(Text(lab.newName()), &machine);
    Text name;
    lab.box->ComposeMachineFilename(Text(L""), nullptr, nullptr, nullptr, name.put());
    return all({yes(!machine), equal(L"", name.str())});
}

} // namespace

Subject errorStatements()
{
    return {
        "errors",
        "Errors",
        {
            {"errors.call", "A call that fails leaves an error object with result, text and component.", Documented,
             ofCalls},
            {"errors.description", "Its text is COM's description, too.", Documented, sameText},
            {"errors.support", "Objects say of which interfaces they give error objects; not of `IUnknown`.",
             Documented, supported},
            {"errors.operation", "The error of an operation has text, component and the interface's identifier.",
             Documented, ofOperations},
            {"errors.chain", "Errors may have one before them; the chain ends.", Documented, lastOfChain},
            {"errors.access", "A machine that can be read has no access error.", Documented, noAccessError},
            {"errors.null-place", "A null output gives `E_POINTER`, or the proxy's 0x800706F4.", Assumed, nullPlace},
            {"errors.null-object", "A null object where one is needed gives `E_INVALIDARG`.", Documented, nullObject},
            {"errors.empty", "After a failure nothing is handed out.", Documented, emptyOnFailure},
            {"errors.wording", "What the texts say.", Assumed, nullptr, "no rule gives their words"},
        }};
}

} // namespace Probe
