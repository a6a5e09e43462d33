// A JScript front end, which finds VirtualBox by its program name. Writes what it sees, and ends with 1 when that is wrong.
var failures = 0;

function expect(what, got, wanted) {
    if (got === wanted) {
        WScript.Echo("ok " + what);
    } else {
        ++failures;
        WScript.Echo("WRONG " + what + ": " + got + ", not " + wanted);
    }
}

var PoweredOff = 1, Running = 5;
var Unlocked = 1, Locked = 2, WriteLock = 2;

var vbox = new ActiveXObject("VirtualBox.VirtualBox");
var machines = new VBArray(vbox.Machines).toArray();
var names = "";
for (var i = 0; i < machines.length; ++i) {
    if (machines[i].Accessible)
        names += "[" + machines[i].Name + "]";
}
expect("lists machines", names.indexOf("[Player]") >= 0 && names.indexOf("[Worker]") >= 0, true);
expect("counts machines", machines.length, 5);

var machine = vbox.FindMachine("Worker");
machine.SetExtraData("Script/Key", "value");
expect("reads extra data", machine.GetExtraData("Script/Key"), "value");

var session = new ActiveXObject("VirtualBox.Session.1");
machine.LockMachine(session, WriteLock);
expect("locks", session.State, Locked);
session.Machine.MemorySize = 768;
session.Machine.SaveSettings();
session.UnlockMachine();
expect("changes settings", machine.MemorySize, 768);
expect("unlocks", session.State, Unlocked);

var progress = machine.LaunchVMProcess(session, "headless", null);
progress.WaitForCompletion(-1);
expect("starts", progress.ResultCode, 0);
expect("runs", machine.State, Running);
progress = session.Console.PowerDown();
progress.WaitForCompletion(-1);
expect("powers off", machine.State, PoweredOff);

try {
    vbox.FindMachine("No such machine");
    expect("an error", "none", "80bb0001");
} catch (error) {
    expect("an error's number", (error.number >>> 0).toString(16), "80bb0001");
    expect("an error's text", error.message.indexOf("No such machine") >= 0, true);
}
WScript.Quit(failures);
