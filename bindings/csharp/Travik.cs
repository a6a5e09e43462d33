// Drive an installed VirtualBox through TravikSDK-c.dll.
//
//     using (var library = new Travik.Library())
//     using (var machine = library.FindMachine("Player"))
//     {
//         machine.WithLock(LockType.Write, mutable => { mutable.SetMemory(4096); mutable.SaveSettings(); });
//         machine.Launch("headless", new string[0]).Finish();
//         foreach (var notice in library.Console().Watch())
//             System.Console.WriteLine(notice.State);
//     }
using System;
using System.Collections.Generic;
using System.Runtime.InteropServices;
using System.Text;
using System.Threading.Tasks;

namespace Travik
{
    /// <summary>A call that failed.</summary>
    public class TravikException : Exception
    {
        internal TravikException(uint code, RawError told)
            : base(Core.Text(told.Operation) + ": " + Core.Text(told.CodeName) + " (" + code + "): " +
                   Core.Text(told.ResultName) + " " + Core.Text(told.Text))
        {
            Code = code;
            Result = told.Result;
            HResult = unchecked((int)told.Result);
            CodeName = Core.Text(told.CodeName);
            Operation = Core.Text(told.Operation);
        }

        /// <summary>The library's code, or one of 1001 upwards; see the enumeration Code.</summary>
        public uint Code { get; }
        /// <summary>VirtualBox's HRESULT, 0 when it was not asked.</summary>
        public uint Result { get; }
        public string CodeName { get; }
        public string Operation { get; }
        /// <summary>The limit of the call passed.</summary>
        public bool IsTimeout => Code == (uint)Travik.Code.Deadline;
        /// <summary>VirtualBox's server is gone: call Library.Reconnect and find the machines again.</summary>
        public bool IsServerGone => Native.travik_isServerGone(Result) != 0;
    }

    internal delegate uint Call(out IntPtr error);

    internal static class Core
    {
        internal static void Check(Call call)
        {
            uint code = call(out IntPtr error);
            if (code == 0)
                return;
            var told = error == IntPtr.Zero ? new RawError() : Marshal.PtrToStructure<RawError>(error);
            var failure = new TravikException(code, told);
            Native.travik_freeError(ref error);
            throw failure;
        }

        internal static uint Milliseconds(TimeSpan? limit)
        {
            if (limit == null)
                return 0;
            return (uint)Math.Min(Math.Max(1, Math.Ceiling(limit.Value.TotalMilliseconds)), uint.MaxValue);
        }

        internal static byte[] Utf8(string text)
        {
            if (text.IndexOf('\0') >= 0)
                throw new ArgumentException("a text holds a zero");
            return Encoding.UTF8.GetBytes(text + '\0');
        }

        internal static string Text(IntPtr text)
        {
            if (text == IntPtr.Zero)
                return "";
            int length = 0;
            while (Marshal.ReadByte(text, length) != 0)
                ++length;
            var bytes = new byte[length];
            Marshal.Copy(text, bytes, 0, length);
            return Encoding.UTF8.GetString(bytes);
        }

        internal static string TakeText(IntPtr text)
        {
            string value = Text(text);
            Native.travik_freeText(ref text);
            return value;
        }

        internal static string[] TakeTexts(RawTexts list)
        {
            var values = new string[list.Count];
            for (int i = 0; i < values.Length; ++i)
                values[i] = Text(Marshal.ReadIntPtr(list.Items, i * IntPtr.Size));
            Native.travik_freeTexts(ref list);
            return values;
        }

        internal static ulong[] TakeHandles(RawMachines list)
        {
            var values = new ulong[list.Count];
            for (int i = 0; i < values.Length; ++i)
                values[i] = (ulong)Marshal.ReadInt64(list.Items, i * 8);
            Native.travik_freeMachines(ref list);
            return values;
        }
    }

    /// <summary>Texts in memory that the library can read.</summary>
    internal sealed class NativeTexts : IDisposable
    {
        internal readonly IntPtr[] Items;

        internal NativeTexts(string[] texts)
        {
            Items = Array.ConvertAll(texts, text =>
            {
                byte[] bytes = Core.Utf8(text);
                IntPtr memory = Marshal.AllocHGlobal(bytes.Length);
                Marshal.Copy(bytes, 0, memory, bytes.Length);
                return memory;
            });
        }

        public void Dispose()
        {
            foreach (IntPtr item in Items)
                Marshal.FreeHGlobal(item);
        }
    }

    /// <summary>Owns a handle and gives it back.</summary>
    public abstract class Handle : IDisposable
    {
        private readonly Func<ulong, uint> release;

        private protected Handle(ulong raw, Func<ulong, uint> release)
        {
            Raw = raw;
            this.release = release;
        }

        ~Handle() { Dispose(); }

        internal ulong Raw { get; private set; }

        /// <summary>Whether it names nothing: an empty drive has no medium.</summary>
        public bool IsNone => Raw == 0;

        public void Dispose()
        {
            if (Raw != 0)
                release(Raw);
            Raw = 0;
            GC.SuppressFinalize(this);
        }
    }

    /// <summary>The library, open as long as this object. One at a time in a process.</summary>
    public sealed partial class Library : IDisposable
    {
        public Library(string logPath = null, TimeSpan? limit = null)
        {
            using (var path = new NativeTexts(logPath == null ? new string[0] : new[] { logPath }))
            {
                var options = new RawOptions
                {
                    Size = (uint)Marshal.SizeOf<RawOptions>(),
                    LogPath = logPath == null ? IntPtr.Zero : path.Items[0],
                    DeadlineMs = Core.Milliseconds(limit)
                };
                Core.Check((out IntPtr error) => Native.travik_open(ref options, out error));
            }
        }

        /// <summary>Waits for a call that runs; those that wait for their turn fail.</summary>
        public void Dispose() => Native.travik_close(Native.NO_DEADLINE, out _);
    }

    public sealed partial class Progress
    {
        /// <summary>Waits until the task is complete, and fails as it did.</summary>
        public void Finish(TimeSpan? limit = null) => Core.Check(
            (out IntPtr error) => Native.travik_finishProgress(Raw, Core.Milliseconds(limit), out error));

        /// <summary>The same without a blocked caller.</summary>
        public Task FinishAsync(TimeSpan? limit = null) => Task.Run(() => Finish(limit));
    }

    public sealed partial class Machine
    {
        /// <summary>Locks the machine, waiting while another lock is just being given back, and unlocks it.</summary>
        public void WithLock(LockType lockType, Action<Machine> change, TimeSpan? wait = null)
        {
            uint waitMs = Core.Milliseconds(wait ?? TimeSpan.FromSeconds(10));
            Core.Check((out IntPtr error) => Native.travik_lockMachineInTime(Raw, (uint)lockType, waitMs, 0, out error));
            try
            {
                using (Machine mutable = SessionMachine())
                    change(mutable);
            }
            finally
            {
                Native.travik_unlockMachine(0, out IntPtr error); // fails when the machine's end has closed the session
                Native.travik_freeError(ref error);
            }
        }
    }

    public enum NoticeKind : uint
    {
        State = 1,
        RuntimeError = 2,
        Resync = 3, // notices were lost: ask for the state anew
        Ended = 4   // the last one: the console is gone
    }

    /// <summary>What a watched machine tells.</summary>
    public sealed class Notice
    {
        internal Notice(RawNotice raw)
        {
            Kind = (NoticeKind)raw.Kind;
            State = (MachineState)raw.State;
            Fatal = raw.Fatal != 0;
            Result = raw.Result;
            Id = Core.Text(raw.Id);
            Text = Core.Text(raw.Text);
        }

        public NoticeKind Kind { get; }
        public MachineState State { get; }
        public bool Fatal { get; }
        public uint Result { get; }
        public string Id { get; }
        public string Text { get; }
    }

    public sealed partial class Console
    {
        /// <summary>The notices of the machine, until it ends. Leaving the loop ends the watch.</summary>
        public IEnumerable<Notice> Watch()
        {
            ulong watcher = 0;
            Core.Check((out IntPtr error) => Native.travik_watch(Raw, IntPtr.Zero, IntPtr.Zero, out watcher, 0, out error));
            try
            {
                for (Notice notice = null; notice?.Kind != NoticeKind.Ended;)
                {
                    IntPtr raw = IntPtr.Zero;
                    Core.Check((out IntPtr error) => Native.travik_nextNotice(watcher, 1000, out raw, out error));
                    if (raw == IntPtr.Zero)
                        continue;
                    notice = new Notice(Marshal.PtrToStructure<RawNotice>(raw));
                    Native.travik_freeNotice(ref raw);
                    yield return notice;
                }
            }
            finally
            {
                Native.travik_unwatch(watcher);
            }
        }
    }
}
