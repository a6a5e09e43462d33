' A VBScript front end, which finds VirtualBox by its program name. Writes what it sees, and ends with 1 when that is wrong.
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

Const PoweredOff = 1, Running = 5
Const Unlocked = 1, Locked = 2, WriteLock = 2

Dim vbox, machine, found, session, progress, names
Set vbox = CreateObject("VirtualBox.VirtualBox.1")
For Each found In vbox.Machines
    If found.Accessible Then names = names & "[" & found.Name & "]"
Next
Expect "lists machines", InStr(names, "[Player]") > 0 And InStr(names, "[Worker]") > 0, True
Expect "counts machines", UBound(vbox.Machines) + 1, 5

Set machine = vbox.FindMachine("Player")
machine.SetExtraData "Script/Key", "value"
Expect "reads extra data", machine.GetExtraData("Script/Key"), "value"
Expect "finds members without regard to case", machine.GETEXTRADATA("Script/Key"), "value"

Set session = CreateObject("VirtualBox.Session")
machine.LockMachine session, WriteLock
Expect "locks", session.State, Locked
session.Machine.MemorySize = 768
session.Machine.SaveSettings
session.UnlockMachine
Expect "changes settings", machine.MemorySize, 768
Expect "unlocks", session.State, Unlocked

Set progress = machine.LaunchVMProcess(session, "headless", Array("SCRIPT=1"))
progress.WaitForCompletion -1
Expect "starts", progress.ResultCode, 0
Expect "runs", machine.State, Running
Set progress = session.Console.PowerDown
progress.WaitForCompletion -1
Expect "powers off", machine.State, PoweredOff

On Error Resume Next
vbox.FindMachine "No such machine"
Expect "an error's number", Hex(Err.Number), "80BB0001"
Expect "an error's text", InStr(Err.Description, "No such machine") > 0, True
Expect "an error's source", Err.Source, "VirtualBoxWrap"
WScript.Quit failures
