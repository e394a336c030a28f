// LumetraCore.cs - LumetraCore for hosts in C#: the flat interface, made safe to call from managed code.
//
// An exception must not cross the border in either direction, so texts are checked before the call, what a
// handler throws ends in the thunk that called it, and nothing that native code may still call is ever
// collected or moved. The thunks are static methods, because runtimes that compile ahead of time can hand out
// no others; each is marked with MonoPInvokeCallback, which those runtimes look for by name.
//
// One file, C# 7, no unsafe code. The library is found as the runtime finds "LumetraCore": libLumetraCore.so
// on the loader's path. Define LUMETRACORE_LINKED_IN where it is linked into the program instead.
using System;
using System.Collections.Generic;
using System.Runtime.InteropServices;
using System.Threading;

namespace LumetraCore
{
    /// <summary>Pixel layout of a frame. Rows follow each other without padding, top row first.</summary>
    public enum ImageFormat
    {
        /// <summary>No pixels.</summary>
        None = 0,
        /// <summary>3 bytes a pixel: R, G, B.</summary>
        Rgb = 1,
        /// <summary>12 bits a pixel; carried, never read by the engine.</summary>
        Yuv420 = 2,
        /// <summary>4 bytes a pixel: B, G, R, A; alpha is ignored.</summary>
        Bgra = 3,
        /// <summary>2 bytes a pixel, packed 4:2:2: Y0, U, Y1, V.</summary>
        Yuyv = 4,
        /// <summary>3 bytes a pixel: B, G, R.</summary>
        Bgr = 5,
        /// <summary>No pixel bytes are kept.</summary>
        Reserved6 = 6,
        /// <summary>1 byte a pixel; what modules receive after a conversion.</summary>
        Gray8 = 7
    }

    /// <summary>What happens to a frame before modules see it; the value of "conversionflags".</summary>
    [Flags]
    public enum ConversionFlags
    {
        /// <summary>The frame travels as it came.</summary>
        None = 0,
        /// <summary>To 8-bit grey; without it no pixel is touched.</summary>
        Gray = 1,
        /// <summary>Levels 1 to 7 too.</summary>
        Pyramid = 2,
        /// <summary>Last input row first; with <see cref="Gray"/> only.</summary>
        FlipVertical = 4,
        /// <summary>Write the levels as PGM or PPM files to the writable path.</summary>
        DebugDump = 8
    }

    /// <summary>Commands. The engine takes those named here; a module gets every number and gives it its own
    /// meaning. Cast a module's own numbers, which begin at <see cref="ModuleFirst"/>.</summary>
    public enum Command
    {
        /// <summary>Text: the configuration as JSON.</summary>
        Configure = 1,
        /// <summary>Accepted by the engine without effect; "begin" to a module.</summary>
        Start = 3,
        /// <summary>Accepted by the engine without effect; "pause" to a module.</summary>
        Stop = 4,
        /// <summary>Frames are refused until the next configuration.</summary>
        Invalidate = 8,
        /// <summary>First number that belongs to modules alone.</summary>
        ModuleFirst = 1000
    }

    /// <summary>Callback kinds. The engine itself takes <see cref="Log"/> and <see cref="HostText"/>.</summary>
    public enum CallbackKind
    {
        /// <summary>A log sink: <see cref="Engine.RegisterLog"/>.</summary>
        Log = 1,
        /// <summary>Defined by modules; the engine only forwards it.</summary>
        Type2 = 2,
        /// <summary>The engine's push function, given to a module: <see cref="Engine.RegisterPush"/>.</summary>
        PushNativeImage = 3,
        /// <summary>The exchange of descriptors: <see cref="Engine.RegisterHostText"/>.</summary>
        HostText = 4
    }

    /// <summary>Results of <see cref="Engine.GetStatus"/> that the engine gives; a module's own status may be
    /// any number.</summary>
    public enum Status
    {
        /// <summary>The engine or module works.</summary>
        Ready = 1,
        /// <summary>No engine, no such module, or one that lacks the function.</summary>
        Unavailable = 3
    }

    /// <summary>Takes a line of the log. The engine logs at level 0. Runs on native threads, several at once;
    /// what it throws goes to <see cref="Engine.CallbackFailed"/>. It must not call
    /// <see cref="Engine.SetNativeTexture"/>, which logs with its record locked. A module's handler must not register or
    /// unregister that module's log, nor remove it: the module may be waiting for the handler.</summary>
    public delegate void LogHandler(int level, string text);

    /// <summary>Sees the descriptor of a frame that a module pushes and returns the one that travels with the
    /// frame; null counts as an empty text. Runs on the modules' threads, several at once. When it throws, or
    /// returns text that <see cref="Engine.IsValidText"/> refuses, the frame keeps the descriptor that it had
    /// and <see cref="Engine.CallbackFailed"/> is raised.</summary>
    public delegate string HostTextHandler(string descriptor);

    /// <summary>What a handler threw, reported by <see cref="Engine.CallbackFailed"/>.</summary>
    public sealed class CallbackFailure
    {
        internal CallbackFailure(int moduleId, CallbackKind kind, Exception exception)
        {
            ModuleId = moduleId;
            Kind = kind;
            Exception = exception;
        }

        /// <summary>Whose callback it was; 0 is the engine's.</summary>
        public int ModuleId { get; private set; }
        /// <summary>The kind of the callback.</summary>
        public CallbackKind Kind { get; private set; }
        /// <summary>What its handler threw.</summary>
        public Exception Exception { get; private set; }
    }

    /// <summary>The engine; there is one in a process.
    /// <para>Threads: <see cref="Initialize"/> and <see cref="Destroy"/> must not overlap any other call;
    /// between the two any thread may call.</para>
    /// <para>Texts: null is refused with ArgumentNullException; unpaired surrogates and embedded 0 units with
    /// ArgumentException. In both cases nothing has been called.</para>
    /// <para>Errors beyond that end a managed process, because native exceptions cannot cross: memory that
    /// runs out, threads that cannot be started, and what a module's own functions throw.</para></summary>
    public static class Engine
    {
        /// <summary>The id that addresses the engine itself; modules report ids of at least 1.</summary>
        public const int EngineModuleId = 0;

        // The interface cannot say how many units a device text needs; 680,372 have been seen.
        private const int DeviceTextUnits = 1048576;
        // Modules write as many kinds as they have.
        private const int SupportedKindsRoom = 256;

        private static readonly object delegatesLock = new object();
        private static readonly Dictionary<Delegate, Delegate> handedOut =
            new Dictionary<Delegate, Delegate>();
        private static volatile Exception lastCallbackException;

        /// <summary>Raised when a handler throws, on the native thread that called it, several at once. What a
        /// subscriber throws is dropped.</summary>
        public static event Action<CallbackFailure> CallbackFailed;

        /// <summary>What a handler threw last, null if none has. Any thread.</summary>
        public static Exception LastCallbackException
        {
            get { return lastCallbackException; }
        }

        /// <summary>Creates the engine. A second call changes nothing.</summary>
        public static void Initialize()
        {
            Native.LumetraCore_initialize();
        }

        /// <summary>Stops and deletes the engine. Deliveries already handed to workers complete; frames still
        /// queued are dropped. Call it before the process ends and before the runtime unloads this assembly,
        /// and remove modules first: they are neither notified nor closed. Harmless without an
        /// engine.</summary>
        public static void Destroy()
        {
            Native.LumetraCore_destroy();
        }

        /// <summary>Commands the engine (<paramref name="moduleId"/> 0) or a module.</summary>
        /// <param name="moduleId">0 or a module's id.</param>
        /// <param name="command">What to do.</param>
        /// <param name="text">For <see cref="Command.Configure"/> to the engine a JSON object.</param>
        /// <returns>Engine: 1 done, 0 refused or unknown. Module: its own result, 0 if it is unknown or takes
        /// no commands. No engine: 0.</returns>
        public static int Send(int moduleId, Command command, string text)
        {
            return Native.LumetraCore_command(moduleId, (int)command, Checked(text, nameof(text)));
        }

        /// <summary>Configures the engine for frames of one size and format, without the smaller levels and
        /// without forwarding; <see cref="Send"/> takes the whole configuration.</summary>
        /// <param name="width">Pixels in a row.</param>
        /// <param name="height">Rows.</param>
        /// <param name="format">Layout of the frames that will be pushed.</param>
        /// <param name="flags">What becomes of them.</param>
        /// <returns>Whether frames are taken now.</returns>
        public static bool Configure(int width, int height, ImageFormat format, ConversionFlags flags)
        {
            string text = string.Format(System.Globalization.CultureInfo.InvariantCulture,
                "{{\"imageCfg\":{{\"width\":{0},\"height\":{1}}},\"format\":{2},\"conversionflags\":{3}}}",
                width, height, (int)format, (int)flags);
            return Send(EngineModuleId, Command.Configure, text) == 1;
        }

        /// <summary>Loads the module from "name.framework/name", a path that the platform's loader resolves
        /// (on Linux against the working directory).</summary>
        /// <param name="name">Without directory or extension.</param>
        /// <returns>The module's id, at least 1; 0 it cannot be opened; -1 it has no usable id or there is no
        /// engine; another number below 1: the id that it reported, which is refused.</returns>
        public static int RegisterModule(string name)
        {
            return Native.LumetraCore_registerDllByName(Checked(name, nameof(name)));
        }

        /// <summary>Hands a configuration text to a module.</summary>
        /// <returns>Whether there is such a module and it takes one.</returns>
        public static bool InitializeModule(string name, string configuration)
        {
            return Native.LumetraCore_initializeDllByName(Checked(name, nameof(name)),
                       Checked(configuration, nameof(configuration))) == 1;
        }

        /// <summary>Hands a configuration text to a module.</summary>
        /// <returns>Whether there is such a module and it takes one.</returns>
        public static bool InitializeModule(int moduleId, string configuration)
        {
            return Native.LumetraCore_initializeDllByID(moduleId,
                       Checked(configuration, nameof(configuration))) == 1;
        }

        /// <summary>Removes a module; its library is closed once its last notification has returned.</summary>
        /// <returns>Whether there was such a module.</returns>
        public static bool UnregisterModule(string name)
        {
            return Native.LumetraCore_unregisterDllByName(Checked(name, nameof(name))) == 1;
        }

        /// <summary>Removes a module; its library is closed once its last notification has returned.</summary>
        /// <returns>Whether there was such a module.</returns>
        public static bool UnregisterModule(int moduleId)
        {
            return Native.LumetraCore_unregisterDllByID(moduleId) == 1;
        }

        /// <summary>Sends the log of the engine (<paramref name="moduleId"/> 0) or of a module to
        /// <paramref name="handler"/>, in place of the one before, which still hears what is logged of the change.
        /// The handler is kept until it is replaced or unregistered; it may still be running, on other threads,
        /// when this returns.</summary>
        /// <returns>The engine's or module's result: 1 taken, 0 not. At 0 the one before stays.</returns>
        /// <exception cref="InvalidOperationException">More than 15 modules have had a log handler; the places
        /// are kept for the life of the process, since a module may log at any time.</exception>
        public static int RegisterLog(int moduleId, LogHandler handler)
        {
            if (handler == null) throw new ArgumentNullException(nameof(handler));
            return LogThunks.Register(moduleId, handler);
        }

        /// <summary>Takes the log handler back; the engine's log returns to standard output.</summary>
        /// <returns>The engine's or module's result: 1 done, 0 not.</returns>
        public static int UnregisterLog(int moduleId)
        {
            return LogThunks.Unregister(moduleId);
        }

        /// <summary>Shows the descriptors of frames that modules push to <paramref name="handler"/>, in place
        /// of the one before; with "forwardNativeImage" in the configuration they are JSON, and a picture
        /// comes with those of YUYV frames. The handler is kept until it is replaced or unregistered; it may
        /// still be running, on other threads, when this returns.</summary>
        /// <returns>1 taken; no engine: 0.</returns>
        public static int RegisterHostText(HostTextHandler handler)
        {
            if (handler == null) throw new ArgumentNullException(nameof(handler));
            return HostTextThunk.Register(handler);
        }

        /// <summary>Takes the descriptor handler back.</summary>
        /// <returns>1 done; no engine: 0.</returns>
        public static int UnregisterHostText()
        {
            return HostTextThunk.Unregister();
        }

        /// <summary>Gives a module the engine's push function, so that it can push frames of its own.</summary>
        /// <returns>The module's result, 0 if it is unknown or takes no callbacks.</returns>
        public static int RegisterPush(int moduleId)
        {
            return RegisterCallback(moduleId, CallbackKind.PushNativeImage, IntPtr.Zero, IntPtr.Zero);
        }

        /// <summary>Registers a native function, for kinds that have no method of their own.</summary>
        /// <param name="moduleId">0 or a module's id.</param>
        /// <param name="kind">What the function is for.</param>
        /// <param name="function">Must stay callable until frames have ceased after it was replaced or
        /// unregistered, at the latest until <see cref="Destroy"/> has returned.</param>
        /// <param name="user">Stored; zero reaches a module as the engine's address.</param>
        /// <returns>Engine: 1 stored, 0 kind not supported. Module: its own result, 0 if it is unknown or takes
        /// no callbacks. No engine: 0.</returns>
        public static int RegisterCallback(int moduleId, CallbackKind kind, IntPtr function, IntPtr user)
        {
            return Native.LumetraCore_registerCallback(moduleId, (int)kind, function, user);
        }

        /// <summary>Registers a delegate, which is kept for the life of the process. Its type must be marked
        /// <c>[UnmanagedFunctionPointer(CallingConvention.Cdecl)]</c>, and it must let no exception leave: there
        /// is nobody around it to catch one. Where code is compiled ahead of time it must be a static method
        /// with the runtime's attribute.</summary>
        /// <returns>As the overload that takes a native function.</returns>
        public static int RegisterCallback(int moduleId, CallbackKind kind, Delegate function, IntPtr user)
        {
            if (function == null) throw new ArgumentNullException(nameof(function));
            lock (delegatesLock)
            {
                // Delegates of one method are equal, but each has native code of its own: the one kept goes out.
                Delegate kept;
                if (handedOut.TryGetValue(function, out kept)) function = kept;
                else handedOut.Add(function, function);
            }
            return RegisterCallback(moduleId, kind, Marshal.GetFunctionPointerForDelegate(function), user);
        }

        /// <summary>Takes a callback of any kind back.</summary>
        /// <returns>As <see cref="RegisterCallback(int, CallbackKind, IntPtr, IntPtr)"/>.</returns>
        public static int UnregisterCallback(int moduleId, CallbackKind kind)
        {
            return Native.LumetraCore_unregisterCallback(moduleId, (int)kind);
        }

        /// <summary>Lists callback kinds, ascending for the engine.</summary>
        /// <returns>The kinds, at most 256; null for a module that is unknown or lacks the function, and without an
        /// engine.</returns>
        public static CallbackKind[] GetSupportedCallbacks(int moduleId)
        {
            int[] numbers = new int[SupportedKindsRoom];
            int count = Native.LumetraCore_getSupportedCallbacks(moduleId, numbers);
            if (count < 0) return null;

            CallbackKind[] kinds = new CallbackKind[Math.Min(count, numbers.Length)];
            for (int i = 0; i < kinds.Length; ++i) kinds[i] = (CallbackKind)numbers[i];
            return kinds;
        }

        /// <summary>Asks the engine (<paramref name="moduleId"/> 0) or a module how it is.</summary>
        /// <returns>A <see cref="Status"/>, or a number of the module's own.</returns>
        public static Status GetStatus(int moduleId)
        {
            return (Status)Native.LumetraCore_getStatus(moduleId);
        }

        /// <summary>Hands one camera frame to the engine, which copies the pixels before it returns; push at
        /// most one a millisecond. A pusher far ahead of the engine waits here for up to 100 ms.</summary>
        /// <param name="pixels">The frame in the configured format, then its smaller levels if any. Borrowed;
        /// pinned for the call, not copied on the way.</param>
        /// <param name="descriptor">JSON that travels with the frame.</param>
        /// <param name="frameIndex">The host's number for the frame.</param>
        /// <returns>Whether it was taken; not without an engine or a configuration.</returns>
        public static bool PushImage(byte[] pixels, string descriptor, int frameIndex)
        {
            if (pixels == null) throw new ArgumentNullException(nameof(pixels));
            return Native.LumetraCore_pushImageData(pixels, pixels.Length,
                       Checked(descriptor, nameof(descriptor)), frameIndex) == 1;
        }

        /// <summary>The same from memory that the host has pinned or that is native.</summary>
        /// <param name="pixels">Borrowed; at least <paramref name="size"/> bytes.</param>
        /// <param name="size">Bytes at <paramref name="pixels"/>.</param>
        /// <param name="descriptor">JSON that travels with the frame.</param>
        /// <param name="frameIndex">The host's number for the frame.</param>
        /// <returns>Whether it was taken; not without an engine or a configuration.</returns>
        public static bool PushImage(IntPtr pixels, int size, string descriptor, int frameIndex)
        {
            if (size < 0) throw new ArgumentOutOfRangeException(nameof(size));
            if (pixels == IntPtr.Zero && size > 0) throw new ArgumentNullException(nameof(pixels));
            return Native.LumetraCore_pushImageData(pixels, size, Checked(descriptor, nameof(descriptor)),
                       frameIndex) == 1;
        }

        /// <summary>Records the host's texture, or forgets it at zero. The handle is never
        /// dereferenced.</summary>
        /// <param name="texture">The handle.</param>
        /// <param name="description">JSON with "width", "height" (pixels), "mipMap", "format".</param>
        /// <returns>Whether there is an engine.</returns>
        public static bool SetNativeTexture(IntPtr texture, string description)
        {
            return Native.LumetraCore_setNativeTexturePointer(texture,
                       Checked(description, nameof(description))) == 1;
        }

        /// <summary>Sends the host's own text to the engine's log at level 0.</summary>
        public static void Log(string text)
        {
            Native.LumetraCore_passLogFromNativeLib(Checked(text, nameof(text)));
        }

        /// <summary>Describes the machine and the running program as JSON. Works without an engine.</summary>
        public static string GetDeviceInfo()
        {
            return ReadDeviceText(Native.LumetraCore_getDeviceInfo);
        }

        /// <summary>Lists the capture devices with their picture sizes and frame rates as JSON. Works without
        /// an engine; opens every device, so it may take long.</summary>
        public static string EnumerateDevices()
        {
            return ReadDeviceText(Native.LumetraCore_enumerateAVDevicesNative);
        }

        /// <summary>Whether the library takes this text: not null, no embedded 0 unit, every surrogate
        /// paired.</summary>
        public static bool IsValidText(string text)
        {
            return text != null && FaultOf(text) == null;
        }

        // The native side would throw, which ends a managed process, or read half of the text.
        private static string Checked(string text, string parameter)
        {
            if (text == null) throw new ArgumentNullException(parameter);
            string fault = FaultOf(text);
            if (fault != null) throw new ArgumentException(fault, parameter);
            return text;
        }

        internal static string FaultOf(string text)
        {
            for (int i = 0; i < text.Length; ++i)
            {
                char unit = text[i];
                if (unit == '\0') return "The text has a 0 unit at " + i + ", where the library would end it.";
                if (!char.IsSurrogate(unit)) continue;
                bool paired = char.IsHighSurrogate(unit) && i + 1 < text.Length &&
                    char.IsLowSurrogate(text[i + 1]);
                if (!paired) return "The text has an unpaired surrogate at " + i + ".";
                ++i;
            }
            return null;
        }

        private static string ReadDeviceText(Action<IntPtr, int> write)
        {
            IntPtr buffer = Marshal.AllocHGlobal(DeviceTextUnits * sizeof(char));
            try
            {
                Marshal.WriteInt16(buffer, 0);
                write(buffer, 0);
                return Marshal.PtrToStringUni(buffer);
            }
            finally
            {
                Marshal.FreeHGlobal(buffer);
            }
        }

        internal static void ReportFailure(int moduleId, CallbackKind kind, Exception exception)
        {
            lastCallbackException = exception;
            try
            {
                Action<CallbackFailure> subscribers = CallbackFailed;
                if (subscribers != null) subscribers(new CallbackFailure(moduleId, kind, exception));
            }
            catch (Exception)
            {
                // A subscriber that fails over a failure: there is nobody left to report it to.
            }
        }
    }

    // Ahead-of-time compilers look for this name, in whatever namespace.
    [AttributeUsage(AttributeTargets.Method)]
    internal sealed class MonoPInvokeCallbackAttribute : Attribute
    {
        public MonoPInvokeCallbackAttribute(Type delegateType)
        {
            DelegateType = delegateType;
        }

        public Type DelegateType { get; private set; }
    }

    // The log function has no argument that says whose it is, so each source of a log has a method of its own.
    internal static class LogThunks
    {
        private static readonly object registration = new object();
        private static readonly NativeLogFn[] thunks = {
            Log0, Log1, Log2, Log3, Log4, Log5, Log6, Log7, Log8, Log9, Log10, Log11, Log12, Log13, Log14, Log15
        };
        private static readonly LogHandler[] handlers = new LogHandler[thunks.Length];
        private const int Nobody = -1;
        private static readonly int[] owners = new int[thunks.Length];

        static LogThunks()
        {
            for (int i = 1; i < owners.Length; ++i) owners[i] = Nobody;  // the first is the engine's, whose id is 0
        }

        // The lock is not held during a call: a module may wait there for a handler that is running, and that
        // handler may be on its way in here.
        internal static int Register(int moduleId, LogHandler handler)
        {
            int place;
            bool isNew;
            LogHandler before;
            lock (registration)
            {
                place = Array.IndexOf(owners, moduleId);
                isNew = place < 0;
                if (isNew) place = Array.IndexOf(owners, Nobody);
                if (place < 0) throw new InvalidOperationException("No place for another log.");
                before = handlers[place];
                owners[place] = moduleId;
                // All share one native function: the call itself is for the one before to hear.
                if (before == null) Volatile.Write(ref handlers[place], handler);
            }
            int result = Native.LumetraCore_registerCallback(moduleId, (int)CallbackKind.Log,
                Marshal.GetFunctionPointerForDelegate(thunks[place]), IntPtr.Zero);
            lock (registration)
            {
                if (result != 0) Volatile.Write(ref handlers[place], handler);
                else if (handlers[place] == handler) Volatile.Write(ref handlers[place], before);
                if (result == 0 && isNew) owners[place] = Nobody;
            }
            return result;
        }

        internal static int Unregister(int moduleId)
        {
            int result = Native.LumetraCore_unregisterCallback(moduleId, (int)CallbackKind.Log);
            lock (registration)
            {
                int place = Array.IndexOf(owners, moduleId);
                if (place >= 0) Volatile.Write(ref handlers[place], null);
            }
            return result;
        }

        private static void Run(int place, int level, IntPtr text)
        {
            try
            {
                LogHandler handler = Volatile.Read(ref handlers[place]);
                if (handler != null) handler(level, Marshal.PtrToStringUni(text));
            }
            catch (Exception exception)
            {
                Engine.ReportFailure(owners[place], CallbackKind.Log, exception);
            }
        }

        [MonoPInvokeCallback(typeof(NativeLogFn))]
        private static void Log0(int level, IntPtr text) { Run(0, level, text); }
        [MonoPInvokeCallback(typeof(NativeLogFn))]
        private static void Log1(int level, IntPtr text) { Run(1, level, text); }
        [MonoPInvokeCallback(typeof(NativeLogFn))]
        private static void Log2(int level, IntPtr text) { Run(2, level, text); }
        [MonoPInvokeCallback(typeof(NativeLogFn))]
        private static void Log3(int level, IntPtr text) { Run(3, level, text); }
        [MonoPInvokeCallback(typeof(NativeLogFn))]
        private static void Log4(int level, IntPtr text) { Run(4, level, text); }
        [MonoPInvokeCallback(typeof(NativeLogFn))]
        private static void Log5(int level, IntPtr text) { Run(5, level, text); }
        [MonoPInvokeCallback(typeof(NativeLogFn))]
        private static void Log6(int level, IntPtr text) { Run(6, level, text); }
        [MonoPInvokeCallback(typeof(NativeLogFn))]
        private static void Log7(int level, IntPtr text) { Run(7, level, text); }
        [MonoPInvokeCallback(typeof(NativeLogFn))]
        private static void Log8(int level, IntPtr text) { Run(8, level, text); }
        [MonoPInvokeCallback(typeof(NativeLogFn))]
        private static void Log9(int level, IntPtr text) { Run(9, level, text); }
        [MonoPInvokeCallback(typeof(NativeLogFn))]
        private static void Log10(int level, IntPtr text) { Run(10, level, text); }
        [MonoPInvokeCallback(typeof(NativeLogFn))]
        private static void Log11(int level, IntPtr text) { Run(11, level, text); }
        [MonoPInvokeCallback(typeof(NativeLogFn))]
        private static void Log12(int level, IntPtr text) { Run(12, level, text); }
        [MonoPInvokeCallback(typeof(NativeLogFn))]
        private static void Log13(int level, IntPtr text) { Run(13, level, text); }
        [MonoPInvokeCallback(typeof(NativeLogFn))]
        private static void Log14(int level, IntPtr text) { Run(14, level, text); }
        [MonoPInvokeCallback(typeof(NativeLogFn))]
        private static void Log15(int level, IntPtr text) { Run(15, level, text); }
    }

    // No lock: the calls below log, and the log's handler may wait for a thread that is on its way in here.
    internal static class HostTextThunk
    {
        private static readonly NativeHostTextFn thunk = Exchange;
        private static HostTextHandler handler;

        // The engine copies the reply as soon as it has it, on the same thread, so one for each thread does.
        [ThreadStatic] private static Reply reply;

        internal static int Register(HostTextHandler newHandler)
        {
            HostTextHandler before = Interlocked.Exchange(ref handler, newHandler);
            int result = Native.LumetraCore_registerCallback(Engine.EngineModuleId,
                (int)CallbackKind.HostText, Marshal.GetFunctionPointerForDelegate(thunk), IntPtr.Zero);
            if (result == 0) Interlocked.CompareExchange(ref handler, before, newHandler);
            return result;
        }

        internal static int Unregister()
        {
            int result = Native.LumetraCore_unregisterCallback(Engine.EngineModuleId,
                (int)CallbackKind.HostText);
            Volatile.Write(ref handler, null);
            return result;
        }

        [MonoPInvokeCallback(typeof(NativeHostTextFn))]
        private static IntPtr Exchange(IntPtr unused, IntPtr text)
        {
            string descriptor = null;
            try
            {
                descriptor = Marshal.PtrToStringUni(text);
                return Keep(Ask(descriptor));
            }
            catch (Exception exception)
            {
                Engine.ReportFailure(Engine.EngineModuleId, CallbackKind.HostText, exception);
            }
            try
            {
                return Keep(descriptor);
            }
            catch (OutOfMemoryException)
            {
                return IntPtr.Zero;
            }
        }

        private static string Ask(string descriptor)
        {
            HostTextHandler current = Volatile.Read(ref handler);
            if (current == null) return descriptor;

            string answer = current(descriptor);
            string fault = answer == null ? null : Engine.FaultOf(answer);
            if (fault != null) throw new ArgumentException(fault);
            return answer;
        }

        private static IntPtr Keep(string text)
        {
            if (text == null) return IntPtr.Zero;
            if (reply == null) reply = new Reply();
            return reply.Set(text);
        }

        // Native memory that lives as long as its thread, or until the next reply.
        private sealed class Reply
        {
            private IntPtr memory = IntPtr.Zero;

            ~Reply()
            {
                Marshal.FreeHGlobal(memory);
            }

            internal IntPtr Set(string text)
            {
                Marshal.FreeHGlobal(memory);
                memory = IntPtr.Zero;
                memory = Marshal.StringToHGlobalUni(text);
                return memory;
            }
        }
    }

    [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
    internal delegate void NativeLogFn(int level, IntPtr text);

    [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
    internal delegate IntPtr NativeHostTextFn(IntPtr unused, IntPtr text);

    // The exported functions as they are; every text is checked before it comes here.
    internal static class Native
    {
#if LUMETRACORE_LINKED_IN
        private const string Library = "__Internal";
#else
        private const string Library = "LumetraCore";
#endif
        private const CallingConvention C = CallingConvention.Cdecl;
        private const CharSet Utf16 = CharSet.Unicode;

        [DllImport(Library, CallingConvention = C)]
        internal static extern void LumetraCore_initialize();

        [DllImport(Library, CallingConvention = C)]
        internal static extern void LumetraCore_destroy();

        [DllImport(Library, CallingConvention = C, CharSet = Utf16, ExactSpelling = true)]
        internal static extern int LumetraCore_command(int moduleId, int command, string text);

        [DllImport(Library, CallingConvention = C, CharSet = Utf16, ExactSpelling = true)]
        internal static extern int LumetraCore_registerDllByName(string name);

        [DllImport(Library, CallingConvention = C, CharSet = Utf16, ExactSpelling = true)]
        internal static extern int LumetraCore_initializeDllByName(string name, string configuration);

        [DllImport(Library, CallingConvention = C, CharSet = Utf16, ExactSpelling = true)]
        internal static extern int LumetraCore_initializeDllByID(int moduleId, string configuration);

        [DllImport(Library, CallingConvention = C)]
        internal static extern int LumetraCore_unregisterDllByID(int moduleId);

        [DllImport(Library, CallingConvention = C, CharSet = Utf16, ExactSpelling = true)]
        internal static extern int LumetraCore_unregisterDllByName(string name);

        [DllImport(Library, CallingConvention = C)]
        internal static extern int LumetraCore_registerCallback(int moduleId, int kind, IntPtr function,
                                                                IntPtr user);

        [DllImport(Library, CallingConvention = C)]
        internal static extern int LumetraCore_unregisterCallback(int moduleId, int kind);

        [DllImport(Library, CallingConvention = C)]
        internal static extern int LumetraCore_getSupportedCallbacks(int moduleId, [In, Out] int[] kinds);

        [DllImport(Library, CallingConvention = C)]
        internal static extern int LumetraCore_getStatus(int moduleId);

        [DllImport(Library, CallingConvention = C, CharSet = Utf16, ExactSpelling = true)]
        internal static extern int LumetraCore_pushImageData(byte[] data, int size, string descriptor,
                                                             int frameIndex);

        [DllImport(Library, CallingConvention = C, CharSet = Utf16, ExactSpelling = true)]
        internal static extern int LumetraCore_pushImageData(IntPtr data, int size, string descriptor,
                                                             int frameIndex);

        [DllImport(Library, CallingConvention = C, CharSet = Utf16, ExactSpelling = true)]
        internal static extern int LumetraCore_setNativeTexturePointer(IntPtr texture, string description);

        [DllImport(Library, CallingConvention = C, CharSet = Utf16, ExactSpelling = true)]
        internal static extern void LumetraCore_passLogFromNativeLib(string text);

        [DllImport(Library, CallingConvention = C)]
        internal static extern void LumetraCore_getDeviceInfo(IntPtr buffer, int unused);

        [DllImport(Library, CallingConvention = C)]
        internal static extern void LumetraCore_enumerateAVDevicesNative(IntPtr buffer, int unused);
    }
}
