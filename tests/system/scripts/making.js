// Makes a machine with a disk, runs it and takes everything away again. The argument is a folder for the disk and the
// appliance `sample.ova` in it. Ends with the number of wrong expectations.
var failures = 0;

function expect(what, got, wanted) {
    if (got === wanted) {
        WScript.Echo("ok " + what);
    } else {
        ++failures;
        WScript.Echo("WRONG " + what + ": " + got + ", not " + wanted);
    }
}

function done(progress, what) {
    progress.WaitForCompletion(-1);
    expect(what, progress.ResultCode, 0);
}

var PoweredOff = 1, Running = 5, Unlocked = 1, WriteLock = 2;
var HardDisk = 3, SATA = 2, FloppyBus = 4, ReadWrite = 2, Full = 4;
var AnyEvent = 1, OnExtraDataChanged = 34;

var vbox = new ActiveXObject("VirtualBox.VirtualBox.1");
var folder = WScript.Arguments(0);

var disk = vbox.CreateMedium("", folder + "\\script.vdi", ReadWrite, HardDisk);
done(disk.CreateBaseStorage(8388608, null), "makes a disk");
expect("its format", disk.Format, "VDI");

var machine = vbox.CreateMachine("", "Scripted", null, "Windows7_64", "");
machine.AddStorageController("Disks", SATA);
machine.SaveSettings();
vbox.RegisterMachine(machine);
var session = new ActiveXObject("VirtualBox.Session");
machine.LockMachine(session, WriteLock);
session.Machine.AttachDevice("Disks", 0, 0, HardDisk, disk);
session.Machine.SaveSettings();
session.UnlockMachine();
expect("the disk is attached", machine.GetMedium("Disks", 0, 0).Id, disk.Id);

// This language makes no array of numbers: one with the number of any event comes from a call.
var source = vbox.EventSource, listener = source.CreateListener();
var types = vbox.SystemProperties.GetDeviceTypesForStorageBus(FloppyBus);
expect("the number of any event", new VBArray(types).toArray().join(), String(AnyEvent));
source.RegisterListener(listener, types, 0);
machine.SetExtraData("Script/Key", "value");
var happened = source.GetEvent(listener, 5000);
while (happened !== null && happened.Type !== OnExtraDataChanged) {
    source.EventProcessed(listener, happened);
    happened = source.GetEvent(listener, 5000);
}
expect("an event's type", happened.Type, OnExtraDataChanged);
expect("an event's own attribute", happened.Key, "Script/Key");
expect("another one", happened.MachineId, machine.Id);
source.EventProcessed(listener, happened);
source.UnregisterListener(listener);

done(machine.LaunchVMProcess(session, "headless", null), "starts");
expect("runs", session.Console.State, Running);
session.Console.Pause();
session.Console.Resume();
done(session.Console.PowerDown(), "powers off");
expect("is off", machine.State, PoweredOff);
for (var i = 0; i < 20000 && machine.SessionState !== Unlocked; ++i) {
}

var appliance = vbox.CreateAppliance();
done(appliance.Read(folder + "\\sample.ova"), "reads an appliance");
appliance.Interpret();
done(appliance.ImportMachines(null), "imports it");
var imported = vbox.FindMachine(new VBArray(appliance.Machines).getItem(0));
expect("the machine is accessible", imported.Accessible, 1);

done(imported.DeleteConfig(imported.Unregister(Full)), "deletes the imported machine");
done(machine.DeleteConfig(machine.Unregister(Full)), "deletes the made one");

try {
    vbox.FindMachine("Scripted");
    expect("an error", "none", "80bb0001");
} catch (error) {
    expect("an error's number", (error.number >>> 0).toString(16), "80bb0001");
    expect("an error's text", error.message.indexOf("Scripted") >= 0, true);
}
WScript.Quit(failures);
