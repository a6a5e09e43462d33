#include "failure.h"

#include <travik/scoped_handle.h>

#include <algorithm>
#include <iterator>

#include "terminal.h"
#include "text.h"

using namespace Travik;

namespace {

/// A failure with all that is known about it; numbers are null where there are none.
struct Failure
{
    int exitCode = ExitCode::Refused;
    Json operation, code, codeName, result, resultName;
    std::string text;
    std::string hint;
};

struct Advice
{
    std::uint32_t code;   // 0: of any code
    std::uint32_t result; // 0: of any result
    int exitCode;
    const char* hint;
};

/// The first row that fits counts; the last one fits always.
const Advice advices[] = {
    {0, 0x80040154, ExitCode::Unreachable,
     "VirtualBox, or the build of it that this library drives, is not installed here. 'travikctl doctor' tells more."},
    {0, 0x80080005, ExitCode::Unreachable,
     "The VirtualBox server could not be started: an older one may be going down, or run under another user or "
     "elevation. Close VirtualBox and try again; 'travikctl doctor' tells more."},
    {0, 0x80004002, ExitCode::Unreachable,
     "The VirtualBox that answers is of another version or build than this library drives. Run 'travikctl doctor'."},
    {FindMachineFail, 0x80BB0001, ExitCode::NotFound,
     "No registered machine has exactly this name or UUID. 'travikctl list' shows them."},
    {CheckFileExistsFail, 0, ExitCode::NotFound, "There is no such file or folder. Check the path."},
    {OpenMachineFail, 0x80BB0004, ExitCode::NotFound,
     "The settings file is missing or cannot be read. Check the path."},
    {OpenMachineFail, 0, ExitCode::Refused, "The file is not a settings file that VirtualBox can read."},
    {LockMachineFail, 0x80BB0007, ExitCode::Locked,
     "The machine runs, or another program works on it. Stop or close it there; --wait-lock SECONDS waits for it."},
    {LaunchVMProcessFail, 0x80BB0007, ExitCode::Locked,
     "The machine runs already, or another program works on it. --wait-lock SECONDS waits for it."},
    {MachineUnregisterFail, 0x80BB0007, ExitCode::Locked,
     "The machine runs, or another program works on it. Stop it first; --wait-lock SECONDS waits for the lock."},
    {GetConsoleFail, 0, ExitCode::Refused, "The machine does not run. Start it first."},
    {PowerDownFail, 0x80BB0002, ExitCode::Refused, "Only a running, paused or stuck machine can be stopped."},
    {ConsoleResumeFail, 0x80BB0002, ExitCode::Refused, "Only a paused machine can be resumed."},
    {AddRedirectFail, 0x80070057, ExitCode::Refused,
     "A rule with this name, or for this protocol, host address and host port, exists already; or an address is not "
     "valid."},
    {RemoveRedirectFail, 0x80070057, ExitCode::NotFound,
     "The adapter has no rule of this name. 'travikctl nat list' shows the rules."},
    {MachineCreateSharedFolderFail, 0x80BB000C, ExitCode::Refused,
     "The machine has a shared folder of this name already."},
    {MachineRemoveSharedFolderFail, 0x80BB0001, ExitCode::NotFound,
     "The machine has no permanent shared folder of this name; --transient removes one of the running machine."},
    {ConsoleCreateSharedFolderFail, 0x80BB0004, ExitCode::Refused,
     "The running machine has a shared folder of this name already, or the host folder cannot be reached."},
    {ConsoleRemoveSharedFolderFail, 0x80BB0004, ExitCode::NotFound,
     "The running machine has no shared folder of this name."},
    {SetGuestPropertyFail, 0x80070005, ExitCode::Refused, "The property is read-only for the host."},
    {SetGuestPropertyFail, 0x80070057, ExitCode::Refused,
     "A flag is not known. Flags: TRANSIENT, TRANSRESET, RDONLYGUEST, RDONLYHOST, READONLY."},
    {SetGuestPropertyFail, 0x80BB0007, ExitCode::Refused, "A transient property needs a running machine."},
    {MachineGetStorageControllerByNameFail, 0x80BB0001, ExitCode::NotFound,
     "The machine has no storage controller of this name; names are case-sensitive."},
    {MachineGetMediumFail, 0x80BB0001, ExitCode::NotFound, "Nothing is attached there."},
    {DetachDeviceFail, 0x80BB0001, ExitCode::NotFound, "Nothing is attached there."},
    {AttachDeviceFail, 0x80BB000C, ExitCode::Refused,
     "The place is taken, or the image is attached to a machine already."},
    {AttachDeviceFail, 0x80070057, ExitCode::Refused, "The controller has no such port or device."},
    {AttachDeviceFail, 0x80BB0001, ExitCode::NotFound, "The machine has no storage controller of this name."},
    {OpenMediumFail, 0x80070057, ExitCode::Refused,
     "Another image with the same UUID is known to VirtualBox. --new-uuid gives this one a new UUID."},
    {OpenMediumFail, 0x80BB0005, ExitCode::Refused, "The file is not a disk image that VirtualBox knows."},
    {CloseMediumFail, 0x80BB000C, ExitCode::Refused, "The image is attached to a machine. Detach it first."},
    {RenameFilePathFail, 0, ExitCode::Refused,
     "The source must exist, the target must not, and the file must not be in use."},
    {RemoveFilePathFail, 0, ExitCode::Refused, "The file is in use or gone already."},
    {CreateMachineFail, 0x80BB0004, ExitCode::Refused,
     "A settings file of this name exists already, or the name is not good for a file. 'travikctl name' gives a free "
     "name."},
    {ApplianceReadFail, 0, ExitCode::Refused, "The appliance must be an .ova or .ovf file that is complete."},
    {MachineDeleteConfigFail, 0, ExitCode::Refused,
     "The machine is no longer registered, but files of it could not be deleted. Delete what is left of its folder."},
    {MachineUnregisterFail, 0x80BB0002, ExitCode::Refused, "Stop the machine first."},
    {0, 0x80BB0002, ExitCode::Refused,
     "The machine is not in a state that allows this; 'travikctl state' shows it. Most settings change only while it "
     "is off."},
    {0, 0x80BB0007, ExitCode::Refused, "Another program works on it, or it is in a state that does not allow this."},
    {0, 0x80BB0001, ExitCode::NotFound, "VirtualBox does not know it."},
    {0, 0x80070005, ExitCode::Refused,
     "The object is no longer usable, or the machine's settings file is missing or damaged; 'travikctl list' marks "
     "such machines."},
    {0, 0x80070057, ExitCode::Refused, "VirtualBox does not accept one of the values."},
    {0, 0x8001010E, ExitCode::Refused, "The library was called from another thread than the one that it started on."},
    {InitVboxComFail, 0, ExitCode::Unreachable, "VirtualBox could not be reached. Run 'travikctl doctor'."},
    {0, 0, ExitCode::Refused, "VirtualBox gives no reason. Its own log may; --log FILE shows what was asked of it."},
};

const Advice& adviceFor(const SdkError& error)
{
    return *std::find_if(std::begin(advices), std::end(advices) - 1, [&error](const Advice& advice) {
        return (advice.code == 0 || advice.code == error.code()) &&
               (advice.result == 0 || advice.result == error.result());
    });
}

Failure describe(const SdkError& error)
{
    Failure failure;
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
    if (isServerGone(error.result())) {
        failure.exitCode = ExitCode::Unreachable;
        failure.hint =
            "The VirtualBox server, or the machine's process, went away. Run the command again: it is started "
            "anew.";
    } else {
        const Advice& advice = adviceFor(error);
        failure.exitCode = advice.exitCode;
        failure.hint = advice.hint;
    }
    return failure;
}

Failure describe(std::exception_ptr exception)
{
    Failure failure;
    try {
        std::rethrow_exception(exception);
    } catch (const SdkError& error) {
        return describe(error);
    } catch (const TimedOut& error) {
        failure.exitCode = ExitCode::TimedOut;
        failure.text = error.what();
        failure.hint = "VirtualBox goes on with it. --timeout SECONDS waits longer, 0 without limit.";
    } catch (const CommandError& error) {
        failure.exitCode = error.exitCode();
        failure.text = error.what();
        failure.hint = error.hint();
    } catch (const Interrupted&) {
        failure.exitCode = ExitCode::Interrupted;
        failure.text = "interrupted";
        failure.hint = "What VirtualBox has begun it goes on with; locks were given back.";
    } catch (const std::exception& error) {
        failure.text = error.what();
        failure.hint = "The file system or the system refused; the text is its own.";
    } catch (...) {
        failure.text = "the library ran out of memory for a COM string";
        failure.hint = "Close other programs and try again.";
    }
    return failure;
}

std::string asText(const Failure& failure)
{
    std::string text;
    const auto line = [&text](const char* heading, const std::string& value) {
        if (!value.empty())
            text += std::string(heading) + value + "\n";
    };
    const auto numbered = [](const Json& name, const Json& number) {
        if (number.is_null())
            return std::string();
        return name.is_null() ? plain(number) : plain(name) + " (" + plain(number) + ")";
    };
    line("operation: ", failure.operation.is_null() ? "" : plain(failure.operation));
    line("code:      ", numbered(failure.codeName, failure.code));
    line("HRESULT:   ", numbered(failure.resultName, failure.result));
    line("text:      ", failure.text);
    line("hint:      ", failure.hint);
    return "travikctl failed\n" + text;
}

Json asJson(const Failure& failure)
{
    return {{"error",
             {{"operation", failure.operation},
              {"code", failure.code},
              {"name", failure.codeName},
              {"hresult", failure.result},
              {"hresultName", failure.resultName},
              {"text", failure.text},
              {"hint", failure.hint},
              {"exitCode", failure.exitCode}}}};
}

} // namespace

int reportFailure(std::exception_ptr exception, bool json)
{
    const Failure failure = describe(exception);
    if (json)
        writeOut(asJson(failure).dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
    else
        writeError(asText(failure));
    return failure.exitCode;
}
