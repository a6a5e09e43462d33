' Makes a machine the usual way, with a disk and a drive, runs it, saves its state, and takes everything away again.
' The argument is a folder for the disk and the appliance `sample.ova` in it. Ends with the number of wrong expectations.
Option Explicit

Dim failures
failures = 0

Sub Expect(what, got, wanted)
    If CStr(got) = CStr(wanted) Then
        WScript.Echo "ok " & what
    Else
        failures = failures + 1
        WScript.Echo "WRONG " & what & ": " & got & ", not " & wanted
    End If
End Sub

Const PoweredOff = 1, Saved = 2, Running = 5, Paused = 6
Const Unlocked = 1, WriteLock = 2, Shared = 1
Const HardDisk = 3, DVD = 2, IDE = 1, SATA = 2, ReadWrite = 2, Fixed = 65536
Const OnExtraDataChanged = 34, OnMachineStateChanged = 32, FullCleanup = 4

Dim vbox, folder
Set vbox = CreateObject("VirtualBox.VirtualBox")
folder = WScript.Arguments(0)

' Media.
Dim disk, flat, progress
Set disk = vbox.CreateMedium("VDI", folder & "\script.vdi", ReadWrite, HardDisk)
Expect "a new medium has no storage", disk.State, 0
Set progress = disk.CreateBaseStorage(8388608, Array(0))
progress.WaitForCompletion -1
Expect "makes a disk", progress.ResultCode, 0
Expect "the disk is there", disk.State, 1
Expect "its format", disk.Format, "VDI"
Set flat = vbox.CreateMedium("VHD", folder & "\script.vhd", ReadWrite, HardDisk)
Set progress = flat.CreateBaseStorage(4194304, Array(Fixed))
progress.WaitForCompletion -1
Expect "makes a fixed disk", progress.ResultCode, 0
Set progress = flat.DeleteStorage
progress.WaitForCompletion -1
Expect "deletes a disk", progress.ResultCode, 0

' Machines and their storage.
Dim kind, machine, session, own
Set kind = vbox.GetGuestOSType("linux26_64")
Expect "a guest system's identifier", kind.Id, "Linux26_64"
Set machine = vbox.CreateMachine("", "Scripted", Array("/"), kind.Id, "")
machine.MemorySize = kind.RecommendedRAM
Expect "a new machine boots from a floppy disk first", machine.GetBootOrder(1), 1
machine.SetBootOrder 1, HardDisk
machine.AddStorageController "Disks", SATA
machine.AddStorageController "Drives", IDE
machine.SaveSettings
vbox.RegisterMachine machine
Set session = CreateObject("VirtualBox.Session")
machine.LockMachine session, WriteLock
Set own = session.Machine
own.AttachDevice "Disks", 0, 0, HardDisk, disk
own.AttachDeviceWithoutMedium "Drives", 1, 0, DVD
own.SaveSettings
session.UnlockMachine
Expect "the disk is attached", machine.GetMedium("Disks", 0, 0).Id, disk.Id
Expect "the controller's number", machine.GetStorageControllerByInstance(SATA, 0).Name, "Disks"
Expect "the machine boots from its disk", machine.GetBootOrder(1), HardDisk

' Events.
Dim source, listener, happened
Set source = vbox.EventSource
Set listener = source.CreateListener
source.RegisterListener listener, Array(OnExtraDataChanged), False
machine.SetExtraData "Script/Key", "value"
Set happened = source.GetEvent(listener, 5000)
Expect "an event's type", happened.Type, OnExtraDataChanged
Expect "an event's own attribute", happened.Key, "Script/Key"
Expect "another one", happened.MachineId, machine.Id
source.EventProcessed listener, happened
source.UnregisterListener listener

' Consoles.
Set progress = machine.LaunchVMProcess(session, "headless", Array())
progress.WaitForCompletion -1
Expect "runs", session.Console.State, Running
session.Console.Pause
Expect "pauses", machine.State, Paused
session.Console.Resume
session.Console.Reset
session.Console.PowerButton
Expect "goes on running", machine.State, Running
Set progress = session.Machine.SaveState
progress.WaitForCompletion -1
Expect "saves its state", progress.ResultCode, 0
Expect "is saved", machine.State, Saved
Dim tries
For tries = 1 To 20000
    If machine.SessionState = Unlocked Then Exit For
Next
machine.LockMachine session, Shared
session.Machine.DiscardSavedState True
Expect "drops its state", machine.State, PoweredOff
session.UnlockMachine

' Appliances.
Dim appliance, disks, systems, names, suggested, imported
Set appliance = vbox.CreateAppliance
Set progress = appliance.Read(folder & "\sample.ova")
progress.WaitForCompletion -1
Expect "reads an appliance", progress.ResultCode, 0
disks = appliance.Disks
Expect "its disks", Left(disks(0), 7), "vmdisk1"
appliance.Interpret
systems = appliance.VirtualSystemDescriptions
names = systems(0).GetValuesByType(3, 3)
suggested = names(0)
Set progress = appliance.ImportMachines(Array())
progress.WaitForCompletion -1
Expect "imports it", progress.ResultCode, 0
names = appliance.Machines
Set imported = vbox.FindMachine(names(0))
Expect "the machine's name", imported.Name, suggested

' Away with both.
Dim gone
For Each gone In Array(imported, machine)
    Set progress = gone.DeleteConfig(gone.Unregister(FullCleanup))
    progress.WaitForCompletion -1
    Expect "deletes a machine", progress.ResultCode, 0
Next

On Error Resume Next
vbox.FindMachine "Scripted"
Expect "an error's number", Hex(Err.Number), "80BB0001"
Expect "an error's text", InStr(Err.Description, "Scripted") > 0, True
WScript.Quit failures
