#include "failure.h"

#include <travik/scoped_handle.h>

#include <algorithm>
#include <filesystem>
#include <iterator>

#include "terminal.h"
#include "text.h"

using namespace Travik;

namespace {

struct Advice
{
    std::uint32_t code;   // 0: of any code
    std::uint32_t result; // 0: of any result
    int exitCode;
    const char* sentence;
    const char* remedy;
};

/// The first row that fits counts; the last one fits always.
const Advice advices[] = {
    {0, Result::ClassNotRegistered, ExitCode::Unreachable,
     "VirtualBox, or the build of it that this library drives, is not installed here",
     "'travikctl doctor' tells more."},
    {0, Result::ServerExecFailure, ExitCode::Unreachable,
     "the VirtualBox server could not be started: an older one may be going down, or run under another user or "
     "elevation",
     "Close VirtualBox and try again; 'travikctl doctor' tells more."},
    {0, Result::NoInterface, ExitCode::Unreachable,
     "the VirtualBox that answers is of another version or build than this library drives", "Run 'travikctl doctor'."},
    {FindMachineFail, Result::ObjectNotFound, ExitCode::NotFound, "no registered machine has exactly this name or UUID",
     "'travikctl list' shows them."},
    {CheckFileExistsFail, 0, ExitCode::NotFound, "there is no such file or folder", "Check the path."},
    {OpenMachineFail, Result::FileError, ExitCode::NotFound, "the settings file is missing or cannot be read",
     "Check the path."},
    {OpenMachineFail, 0, ExitCode::Refused, "the file is not a settings file that VirtualBox can read",
     "Give the .vbox file of a machine."},
    {LockMachineFail, Result::InvalidObjectState, ExitCode::Locked, "the machine runs, or another program works on it",
     "Stop or close it there; --wait-lock SECONDS waits for it."},
    {LaunchVMProcessFail, Result::InvalidObjectState, ExitCode::Locked,
     "the machine runs already, or another program works on it", "--wait-lock SECONDS waits for it."},
    {MachineUnregisterFail, Result::InvalidObjectState, ExitCode::Locked,
     "the machine runs, or another program works on it", "Stop it first; --wait-lock SECONDS waits for the lock."},
    {GetConsoleFail, 0, ExitCode::Refused, "the machine does not run", "Start it first."},
    {PowerDownFail, Result::InvalidVMState, ExitCode::Refused, "only a running, paused or stuck machine can be stopped",
     "'travikctl state' shows the state."},
    {ConsoleResumeFail, Result::InvalidVMState, ExitCode::Refused, "only a paused machine can be resumed",
     "'travikctl state' shows the state."},
    {AddRedirectFail, Result::InvalidArg, ExitCode::Refused,
     "a rule with this name, or for this protocol, host address and host port, exists already",
     "Take another name or port, or remove that rule first."},
    {RemoveRedirectFail, Result::InvalidArg, ExitCode::NotFound, "the adapter has no rule of this name",
     "'travikctl nat list' shows the rules."},
    {GetNetworkAdapterFail, Result::InvalidArg, ExitCode::Refused, "the machine has no such network adapter",
     "The first one is --adapter 0."},
    {MachineCreateSharedFolderFail, Result::ObjectInUse, ExitCode::Refused,
     "the machine has a shared folder of this name already", "Take another name, or remove that share first."},
    {MachineRemoveSharedFolderFail, Result::ObjectNotFound, ExitCode::NotFound,
     "the machine has no permanent shared folder of this name", "--transient removes one of the running machine."},
    {ConsoleCreateSharedFolderFail, Result::FileError, ExitCode::Refused,
     "the running machine has a shared folder of this name already, or the host folder cannot be reached",
     "Take another name, or check the path."},
    {ConsoleRemoveSharedFolderFail, Result::FileError, ExitCode::NotFound,
     "the running machine has no shared folder of this name", "Without --transient a permanent one is removed."},
    {SetGuestPropertyFail, Result::AccessDenied, ExitCode::Refused, "the property is read-only for the host",
     "Only the guest can change it."},
    {SetGuestPropertyFail, Result::InvalidArg, ExitCode::Refused, "a flag is not known",
     "Flags: TRANSIENT, TRANSRESET, RDONLYGUEST, RDONLYHOST, READONLY."},
    {SetGuestPropertyFail, Result::InvalidObjectState, ExitCode::Refused,
     "a transient property needs a running machine", "Start it first."},
    {MachineGetStorageControllerByNameFail, Result::ObjectNotFound, ExitCode::NotFound,
     "the machine has no storage controller of this name", "Names are case-sensitive; many machines have SATA or IDE."},
    {MachineGetMediumFail, Result::ObjectNotFound, ExitCode::NotFound, "nothing is attached there",
     "Other places have other --port and --device."},
    {DetachDeviceFail, Result::ObjectNotFound, ExitCode::NotFound, "nothing is attached there",
     "Other places have other --port and --device."},
    {AttachDeviceFail, Result::ObjectInUse, ExitCode::Refused,
     "the place is taken, or the image is attached to a machine already", "Detach what is there first."},
    {AttachDeviceFail, Result::InvalidArg, ExitCode::Refused, "the controller has no such port or device",
     "'travikctl disk ports' tells how many ports it has."},
    {AttachDeviceFail, Result::ObjectNotFound, ExitCode::NotFound, "the machine has no storage controller of this name",
     "Names are case-sensitive; many machines have SATA or IDE."},
    {OpenMediumFail, Result::InvalidArg, ExitCode::Refused, "another image with the same UUID is known to VirtualBox",
     "--new-uuid gives this one a new UUID."},
    {OpenMediumFail, Result::IPRTError, ExitCode::Refused, "the file is not a disk image that VirtualBox knows",
     "Give a VDI, VMDK or VHD file."},
    {CloseMediumFail, Result::ObjectInUse, ExitCode::Refused, "the image is attached to a machine", "Detach it first."},
    {RenameFilePathFail, 0, ExitCode::Refused, "the file could not be moved",
     "The source must exist, the target must not, and the file must not be in use."},
    {RemoveFilePathFail, 0, ExitCode::Refused, "the file is in use or gone already", "Close what uses it."},
    {CreateMachineFail, Result::FileError, ExitCode::Refused,
     "a settings file of this name exists already, or the name is not good for a file",
     "'travikctl name' gives a free name."},
    {ApplianceReadFail, 0, ExitCode::Refused, "the appliance is not an .ova or .ovf file that is complete",
     "Fetch it again, or export it anew."},
    {MachineDeleteConfigFail, 0, ExitCode::Refused,
     "the machine is no longer registered, but files of it could not be deleted", "Delete what is left of its folder."},
    {MachineUnregisterFail, Result::InvalidVMState, ExitCode::Refused, "the machine runs", "Stop it first."},
    {ProgressWaitForCompletionFail, 0, ExitCode::Refused, "VirtualBox began the task and could not finish it",
     "--log FILE keeps the library's log of it."},
    {0, Result::InvalidVMState, ExitCode::Refused, "the machine is not in a state that allows this",
     "'travikctl state' shows it. Most settings change only while it is off."},
    {0, Result::InvalidObjectState, ExitCode::Refused,
     "another program works on it, or it is in a state that does not allow this", "Try again later."},
    {0, Result::ObjectNotFound, ExitCode::NotFound, "VirtualBox does not know it", "Check the name."},
    {0, Result::AccessDenied, ExitCode::Refused,
     "the object is no longer usable, or the machine's settings file is missing or damaged",
     "'travikctl list' marks such machines."},
    {0, Result::InvalidArg, ExitCode::Refused, "VirtualBox does not accept one of the values", "Check them."},
    {0, Result::RpcWrongThread, ExitCode::Refused,
     "the library was called from another thread than the one that it started on", "This is a fault of travikctl."},
    {InitVboxComFail, 0, ExitCode::Unreachable, "VirtualBox could not be reached", "Run 'travikctl doctor'."},
    {0, 0, ExitCode::Refused, "VirtualBox refused and gives no reason",
     "Its own log may; --log FILE shows what was asked of it, --verbose the numbers."},
};

const Advice& adviceFor(const SdkError& error)
{
    // VirtualBox itself does not tell a settings file that is missing from one that makes no sense.
    std::error_code unreachable;
    const bool missing = error.code() == OpenMachineFail && !std::filesystem::exists(error.arguments(), unreachable);
    const std::uint32_t result = missing ? std::uint32_t(Result::FileError) : error.result();
    return *std::find_if(std::begin(advices), std::end(advices) - 1, [&](const Advice& advice) {
        return (advice.code == 0 || advice.code == error.code()) && (advice.result == 0 || advice.result == result);
    });
}

/// Of these the text of the library names what the user gave: a name or a path.
bool isAboutAnArgument(const SdkError& error)
{
    switch (error.code()) {
    case FindMachineFail:
    case OpenMachineFail:
    case CheckFileExistsFail:
    case OpenMediumFail:
    case RenameFilePathFail:
        return !error.arguments().empty();
    default:
        return false;
    }
}

Failure describeCode(const SdkError& error)
{
    Failure failure;
    const bool gone = dynamic_cast<const ServerGone*>(&error) != nullptr;
    const Advice& advice = adviceFor(error);
    failure.exitCode = gone ? ExitCode::Unreachable : advice.exitCode;
    failure.sentence = gone ? "the VirtualBox server went away" : advice.sentence;
    failure.remedy = gone ? "Run the command again: it is started anew." : advice.remedy;
    if (isAboutAnArgument(error))
        failure.sentence += ": " + toUtf8(error.arguments());
    if (const std::wstring operation = error.operation(); !operation.empty())
        failure.operation = toUtf8(operation);
    failure.code = error.code();
    failure.codeName = toUtf8(error.codeName());
    if (error.result() != 0) {
        failure.result = hexadecimal(error.result());
        if (*error.resultName() != 0)
            failure.resultName = toUtf8(error.resultName());
    }
    failure.text = toUtf8(error.text());
    return failure;
}

Failure describeTask(const ProgressError& error)
{
    Failure failure = describeCode(error);
    if (!error.text().empty()) // VirtualBox's own words
        failure.reason = failure.sentence = toUtf8(error.text());
    return failure;
}

Failure described(int exitCode, const std::string& sentence, const std::string& remedy)
{
    Failure failure;
    failure.exitCode = exitCode;
    failure.sentence = failure.text = sentence;
    failure.remedy = remedy;
    return failure;
}

} // namespace

Failure describe(std::exception_ptr exception)
{
    try {
        std::rethrow_exception(exception);
    } catch (const ProgressError& error) {
        return describeTask(error);
    } catch (const MachineGone& error) {
        Failure failure = describeCode(error);
        failure.sentence = "the machine's process went away";
        failure.remedy = "The machine has ended; 'travikctl state' tells how.";
        return failure;
    } catch (const SdkError& error) {
        return describeCode(error);
    } catch (const TimedOut& error) {
        return described(ExitCode::TimedOut, error.what(),
                         "VirtualBox goes on with it. --timeout SECONDS waits longer, 0 without limit.");
    } catch (const CommandError& error) {
        return described(error.exitCode(), error.what(), error.hint());
    } catch (const Interrupted&) {
        return described(ExitCode::Interrupted, "interrupted",
                         "What VirtualBox has begun it goes on with; locks were given back.");
    } catch (const std::exception& error) {
        return described(ExitCode::Refused, error.what(),
                         "The file system or the system refused; the text is its own.");
    } catch (...) {
        return described(ExitCode::Refused, "the library ran out of memory for a COM string",
                         "Close other programs and try again.");
    }
}

bool hasReasonInLog(const Failure& failure)
{
    return failure.code == ProgressWaitForCompletionFail && failure.reason.is_null();
}

std::string asText(const Failure& failure, const std::string& who, bool verbose)
{
    std::string text = colored(who + ": " + failure.sentence, Color::Red, true) + "\n";
    const auto line = [&text](const std::string& heading, const std::string& value) {
        if (!value.empty())
            text += heading + value + "\n";
    };
    const auto numbered = [](const Json& name, const Json& number) {
        if (number.is_null())
            return std::string();
        return name.is_null() ? plain(number) : plain(name) + " (" + plain(number) + ")";
    };
    line("", failure.remedy);
    if (!verbose)
        return text;
    line("operation: ", failure.operation.is_null() ? "" : plain(failure.operation));
    line("code:      ", numbered(failure.codeName, failure.code));
    line("HRESULT:   ", numbered(failure.resultName, failure.result));
    line("text:      ", failure.text);
    return text;
}

Json asJson(const Failure& failure)
{
    return {{"sentence", failure.sentence},      {"remedy", failure.remedy},
            {"operation", failure.operation},    {"code", failure.code},
            {"name", failure.codeName},          {"hresult", failure.result},
            {"hresultName", failure.resultName}, {"text", failure.text},
            {"reason", failure.reason},          {"exitCode", failure.exitCode}};
}
