// LumetraTap.cs - for hosts in C#: frames as modules see them, by the module Tap. To be taken into a project beside
// LumetraCore.cs; C# 7, no unsafe code.
//
// The pixels are not copied: a frame's levels are the engine's own memory, which stays as it is until the frame is
// disposed, also after the engine's end.
using System;
using System.Runtime.InteropServices;
using System.Text;
using System.Threading;

namespace LumetraCore
{
    /// <summary>Takes a frame, on a thread of the module's, one at a time. The frame is the receiver's to dispose, now
    /// or later. What it throws goes to <see cref="Engine.CallbackFailed"/>. It cannot call <see cref="Tap.Start"/> or
    /// <see cref="Tap.Stop"/>, and must neither remove the module nor destroy the engine, which wait for it.</summary>
    public delegate void FrameReceiver(TapFrame frame);

    /// <summary>One frame. What is kept is memory that the engine cannot use again: dispose what you do not need. The
    /// garbage collector disposes a frame that nobody refers to any more, even while its pixels are still read: hold it
    /// by <c>using</c> or <c>GC.KeepAlive</c> for as long. Any thread, but not while another disposes it.</summary>
    public sealed class TapFrame : IDisposable
    {
        /// <summary>Levels of a frame: the picture, and seven smaller ones.</summary>
        public const int LevelCount = 8;

        private readonly Record record;
        private IntPtr frame;

        internal TapFrame(IntPtr frame)
        {
            record = (Record)Marshal.PtrToStructure(frame, typeof(Record));
            this.frame = frame;  // from here on it can be released
            byte[] text = new byte[record.DescriptorSize];
            Marshal.Copy(record.Descriptor, text, 0, text.Length);
            Descriptor = Encoding.UTF8.GetString(text);
        }

        /// <summary>Disposes a frame that nobody else has.</summary>
        ~TapFrame()
        {
            Release();
        }

        /// <summary>Push time: milliseconds since the Unix epoch.</summary>
        public ulong Id { get { return record.Id; } }
        /// <summary>Frames skipped so far, for newer ones that came while the receiver worked.</summary>
        public ulong Skipped { get { return record.Skipped; } }
        /// <summary>The pusher's number for the frame.</summary>
        public int FrameIndex { get { return record.FrameIndex; } }
        /// <summary>Pixels in a row of level 0; of level k <c>Width >> k</c>.</summary>
        public int Width { get { return record.Width; } }
        /// <summary>Rows of level 0; of level k <c>Height >> k</c>.</summary>
        public int Height { get { return record.Height; } }
        /// <summary><see cref="ImageFormat.Gray8"/> after a conversion, else the configured one.</summary>
        public ImageFormat Format { get { return (ImageFormat)record.Format; } }
        /// <summary>The text that travels with the frame, normally JSON.</summary>
        public string Descriptor { get; private set; }

        /// <summary>The pixels of a level, rows without padding, top row first; zero: no pixels there. Valid until the
        /// frame is disposed; other modules see them too, so do not write to them.</summary>
        /// <param name="level">0 to 7.</param>
        /// <returns>The address of the first pixel.</returns>
        /// <exception cref="ObjectDisposedException">The frame has been disposed.</exception>
        public IntPtr Pixels(int level)
        {
            if (frame == IntPtr.Zero) throw new ObjectDisposedException(nameof(TapFrame));
            return record.Levels[level];
        }

        /// <summary>Bytes of a level.</summary>
        /// <param name="level">0 to 7.</param>
        /// <returns>The count; 0 where there are no pixels.</returns>
        public int Size(int level)
        {
            return record.LevelSizes[level];
        }

        /// <summary>A copy of a level's pixels.</summary>
        /// <param name="level">0 to 7.</param>
        /// <returns>The bytes; none where there are no pixels.</returns>
        /// <exception cref="ObjectDisposedException">The frame has been disposed.</exception>
        public byte[] CopyPixels(int level)
        {
            byte[] bytes = new byte[Size(level)];
            if (bytes.Length > 0) Marshal.Copy(Pixels(level), bytes, 0, bytes.Length);
            GC.KeepAlive(this);
            return bytes;
        }

        /// <summary>Gives the frame's memory back.</summary>
        public void Dispose()
        {
            Release();
            GC.SuppressFinalize(this);
        }

        private void Release()
        {
            IntPtr mine = Interlocked.Exchange(ref frame, IntPtr.Zero);
            if (mine == IntPtr.Zero) return;
            ((ReleaseFn)Marshal.GetDelegateForFunctionPointer(record.Release, typeof(ReleaseFn)))(mine);
        }

        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        private delegate void ReleaseFn(IntPtr frame);

        // LumetraTapFrame of LumetraTap.h.
        [StructLayout(LayoutKind.Sequential)]
        private struct Record
        {
            public uint StructSize;
            public int Format;
            public ulong Id;
            public ulong Skipped;
            public int FrameIndex;
            public int Width;
            public int Height;
            public int DescriptorSize;
            public IntPtr Descriptor;
            [MarshalAs(UnmanagedType.ByValArray, SizeConst = LevelCount)] public IntPtr[] Levels;
            [MarshalAs(UnmanagedType.ByValArray, SizeConst = LevelCount)] public int[] LevelSizes;
            public IntPtr Release;
        }
    }

    /// <summary>The module Tap; there is one in a process.</summary>
    public static class Tap
    {
        /// <summary>The module's id.</summary>
        public const int ModuleId = 105;
        /// <summary>How many frames the receiver has been given.</summary>
        public const Command DeliveredCommand = Command.ModuleFirst;
        /// <summary>How many were skipped for newer ones.</summary>
        public const Command SkippedCommand = Command.ModuleFirst + 1;
        /// <summary>How many have not been disposed.</summary>
        public const Command HeldCommand = Command.ModuleFirst + 2;

        private static readonly NativeTapFn thunk = Receive;
        private static FrameReceiver receiver;
        [ThreadStatic] private static bool inReceiver;

        /// <summary>Delivers the frames to <paramref name="newReceiver"/>, in place of the one before, which is not
        /// called any more. The module must have been loaded by <see cref="Engine.RegisterModule"/>.</summary>
        /// <returns>Whether the module took it.</returns>
        /// <exception cref="InvalidOperationException">Called by the receiver.</exception>
        public static bool Start(FrameReceiver newReceiver)
        {
            if (newReceiver == null) throw new ArgumentNullException(nameof(newReceiver));
            Stop();
            Volatile.Write(ref receiver, newReceiver);
            return Engine.RegisterCallback(ModuleId, CallbackKind.Type2,
                       Marshal.GetFunctionPointerForDelegate(thunk), IntPtr.Zero) == 1;
        }

        /// <summary>Delivers no frames any more; the receiver is not called after this has returned.</summary>
        /// <exception cref="InvalidOperationException">Called by the receiver.</exception>
        public static void Stop()
        {
            // The module would wait for the thread that it is called on, which ends the process.
            if (inReceiver) throw new InvalidOperationException("A receiver cannot end its own tap.");
            Engine.UnregisterCallback(ModuleId, CallbackKind.Type2);
            Volatile.Write(ref receiver, null);
        }

        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        private delegate void NativeTapFn(IntPtr user, IntPtr frame);

        [MonoPInvokeCallback(typeof(NativeTapFn))]
        private static void Receive(IntPtr user, IntPtr frame)
        {
            inReceiver = true;
            try
            {
                var tapped = new TapFrame(frame);
                FrameReceiver current = Volatile.Read(ref receiver);
                if (current == null) tapped.Dispose();
                else current(tapped);
            }
            catch (Exception exception)
            {
                Engine.ReportFailure(ModuleId, CallbackKind.Type2, exception);
            }
            finally
            {
                inReceiver = false;
            }
        }
    }
}
