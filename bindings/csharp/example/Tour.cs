// A machine's life: lists, creates, changes, starts, watches, stops and deletes. Says what it does, one line a step.
using System;
using System.Linq;
using System.Threading.Tasks;
using Travik;

static class Tour
{
    static void Main()
    {
        using (var library = new Library("tour.log", TimeSpan.FromMinutes(1)))
            Task.Run(() => Run(library)).Wait();
    }

    static void Run(Library library)
    {
        Say("1 machines: " + library.Machines().Length);
        string name = library.FreeName("Tour");
        Machine machine = library.CreateMachine("", name);
        machine.SetMemory(512);
        machine.SaveSettings();
        machine.AddToList();
        Say("2 created " + machine.Name());
        Say("3 found " + (library.FindMachine(name).Uuid() == machine.Uuid()));
        machine.WithLock(LockType.Write, mutable =>
        {
            mutable.SetMemory(1024);
            mutable.SetCpuCount(2);
            mutable.SaveSettings();
        });
        Say("4 changed");
        machine.SetExtraData("tour", "磁盘 🎮");
        Say("5 extra data " + machine.ExtraData("tour"));
        try
        {
            library.FindMachine("nobody has this name");
        }
        catch (TravikException error)
        {
            Say("6 failed: " + error.CodeName);
        }
        machine.Launch("headless", new[] { "TOUR=1" }).Finish();
        Say("7 runs: " + (machine.State() == MachineState.Running));
        Travik.Console console = library.Console();
        Task<Notice[]> notices = Task.Run(() => console.Watch().ToArray());
        Task.Delay(200).Wait();
        console.PowerDown().Finish();
        Say("8 stopping seen: " + notices.Result.Any(notice => notice.State == MachineState.Stopping));
        Say("9 ended: " + (notices.Result.Last().Kind == NoticeKind.Ended));
        machine.WithLock(LockType.Write, mutable => { }); // waits until the machine is free
        machine.DeleteWithFiles();
        Say("10 deleted");
    }

    static void Say(string text) => System.Console.WriteLine(text);
}
