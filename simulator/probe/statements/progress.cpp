// Operations that take their time.
#include "lab.h"

namespace Probe {
namespace {

using enum Ground;

/// An operation that ended well: the deletion of a machine.
ComPtr<IProgress> deletion(Lab& lab)
{
    ComPtr<IProgress> progress;
    must(lab.unregistered()->DeleteConfig(nullptr, &progress));
    return progress;
}

ComPtr<IProgress> endedWell(Lab& lab)
{
    const ComPtr<IProgress> progress = deletion(lab);
    finishWell(progress);
    return progress;
}

/// One that ended badly: the reading of an appliance that is not there.
ComPtr<IProgress> endedBadly(Lab& lab)
{
    ComPtr<IAppliance> appliance;
    ComPtr<IProgress> progress;
    must(lab.box->CreateAppliance(&appliance));
    must(appliance->Read(Text(lab.newFile(L".ovf").wstring()), &progress));
    finish(progress);
    return progress;
}

/// One that takes a while: the start of a machine. The caller waits for it.
struct Start
{
    ComPtr<IMachine> machine;
    ComPtr<ISession> session;
    ComPtr<IProgress> progress;
};

Start slowStart(Lab& lab)
{
    lab.needStart();
    Start start{lab.machine(), lab.session(), nullptr};
    must(start.machine->LaunchVMProcess(start.session.Get(), Text(L"headless"), nullptr, &start.progress));
    return start;
}

Finding ended(Lab& lab)
{
    const ComPtr<IProgress> progress = endedWell(lab);
    return all({equal(100, read(progress, &IProgress::get_Percent)),
                no(read(progress, &IProgress::get_Canceled) != FALSE),
                answers(Result::Ok, static_cast<HRESULT>(read(progress, &IProgress::get_ResultCode)))});
}

Finding progressOperations(Lab& lab)
{
    const ComPtr<IProgress> progress = endedWell(lab);
    const ULONG count = read(progress, &IProgress::get_OperationCount);
    return all({equal(count - 1, read(progress, &IProgress::get_Operation)),
                equal(100, read(progress, &IProgress::get_OperationPercent))});
}

Finding description(Lab& lab)
{
    const ComPtr<IProgress> progress = endedWell(lab);
    return all({no(text(progress, &IProgress::get_Description).empty()),
                no(text(progress, &IProgress::get_OperationDescription).empty())});
}

Finding id(Lab& lab)
{
    return equal(36, static_cast<std::int64_t>(text(deletion(lab), &IProgress::get_Id).size()));
}

Finding timeRemaining(Lab& lab)
{
    return equal(0, read(endedWell(lab), &IProgress::get_TimeRemaining));
}

Finding waitAfterTheEnd(Lab& lab)
{
    return answers(Result::Ok, endedWell(lab)->WaitForCompletion(-1));
}

Finding waitIsNoJudgement(Lab& lab)
{
    const ComPtr<IProgress> progress = endedBadly(lab);
    return all({answers(Result::Ok, progress->WaitForCompletion(-1)),
                yes(read(progress, &IProgress::get_Completed) != FALSE),
                fails(static_cast<HRESULT>(read(progress, &IProgress::get_ResultCode)))});
}

Finding noErrorAfterSuccess(Lab& lab)
{
    ComPtr<IVirtualBoxErrorInfo> error;
    must(endedWell(lab)->get_ErrorInfo(&error));
    return no(error != nullptr);
}

Finding errorAfterFailure(Lab& lab)
{
    const ComPtr<IProgress> progress = endedBadly(lab);
    const auto error = object(progress, &IProgress::get_ErrorInfo);
    if (!error)
        return says(false, "an error object", "none");
    return all({equal(read(progress, &IProgress::get_ResultCode), read(error, &IVirtualBoxErrorInfo::get_ResultCode)),
                no(text(error, &IVirtualBoxErrorInfo::get_Text).empty())});
}

Finding notCancelable(Lab& lab)
{
    const ComPtr<IProgress> progress = deletion(lab);
    const BOOL cancelable = read(progress, &IProgress::get_Cancelable);
    const HRESULT result = progress->Cancel();
    finish(progress);
    return all({no(cancelable != FALSE), answers(Result::InvalidObjectState, result)});
}

Finding canceledTooLate(Lab& lab)
{
    ComPtr<IProgress> progress;
    must(lab.machine()->CloneTo(lab.create().Get(), CloneMode::MachineState, nullptr, &progress));
    finishWell(progress);
    return all({answers(Result::Ok, progress->Cancel()),
                answers(Result::Ok, static_cast<HRESULT>(read(progress, &IProgress::get_ResultCode)))});
}

Finding waitTimesOut(Lab& lab)
{
    const Start start = slowStart(lab);
    const HRESULT result = start.progress->WaitForCompletion(0);
    const bool over = read(start.progress, &IProgress::get_Completed) != FALSE;
    finish(start.progress);
    if (over)
        throw Cannot("the start was over before it could be asked");
    return answers(Result::Ok, result);
}

Finding resultTooEarly(Lab& lab)
{
    const Start start = slowStart(lab);
    LONG code = 0;
    const HRESULT result = start.progress->get_ResultCode(&code);
    const bool over = read(start.progress, &IProgress::get_Completed) != FALSE;
    finish(start.progress);
    if (over)
        throw Cannot("the start was over before it could be asked");
    return answers(Result::Fail, result);
}

Finding percentGrows(Lab& lab)
{
    const Start start = slowStart(lab);
    ULONG before = 0;
    bool grows = true;
    soon([&] {
        const ULONG now = read(start.progress, &IProgress::get_Percent);
        grows = grows && now >= before && now <= 100;
        before = now;
        return read(start.progress, &IProgress::get_Completed) != FALSE;
    });
    return yes(grows);
}

} // namespace

Subject progressStatements()
{
    return {
        "progress",
        "Operations and their progress",
        {
            {"progress.end", "An operation that ended well has 100 percent, is not canceled, and its result is `S_OK`.",
             Documented, ended},
            {"progress.operations", "Then the last of its operations is the current one, at 100 percent.", Documented,
             progressOperations},
            {"progress.description", "It has a description, and so has each of its operations.", Documented,
             description},
            {"progress.id", "Its identifier is a UUID.", Documented, id},
            {"progress.remaining", "No time remains.", Documented, timeRemaining},
            {"progress.wait", "Waiting for what is over returns at once.", Documented, waitAfterTheEnd},
            {"progress.time-out", "A wait whose time is over is no error: `S_OK`, and not completed.", Assumed,
             waitTimesOut},
            {"progress.judgement", "The wait says nothing of success: an operation that failed is completed, too.",
             Documented, waitIsNoJudgement},
            {"progress.early-result", "The result before the end gives `E_FAIL`.", Assumed, resultTooEarly},
            {"progress.percent", "The percentage grows and stays within 100.", Documented, percentGrows},
            {"progress.no-error", "An operation that ended well has no error object.", Assumed, noErrorAfterSuccess},
            {"progress.error", "One that failed has one, with its result and a text.", Documented, errorAfterFailure},
            {"progress.not-cancelable",
             "Deleting a machine cannot be canceled: `Cancel` gives `VBOX_E_INVALID_OBJECT_STATE`.", Assumed,
             notCancelable},
            {"progress.late-cancel", "`Cancel` after the end changes nothing.", Assumed, canceledTooLate},
            {"progress.canceled", "A canceled operation ends with a failure, `E_FAIL` or `VBOX_E_IPRT_ERROR`.", Assumed,
             nullptr, "it would need an operation that is surely slow, on a large disk"},
        }};
}

} // namespace Probe
