// binding_test.cs - the binding for C# on a real engine with real modules: what crosses the border and what
// must not. Run in the folder with the modules; its argument is the list of exported names. Exit status 0
// when every check held. Nothing but the runtime's core library is needed.
using System;
using System.Collections.Generic;
using System.IO;
using System.Linq;
using System.Reflection;
using System.Runtime.InteropServices;
using System.Threading;
using LumetraCore;

static class BindingTest
{
    const int Monitor = 101, Camera = 102, Unknown = 4711;
    const int Report = 1000, Snapshot = 1002, Count = 1003;
    const string Smile = "\uD83D\uDE00";
    static readonly string[] BadTexts = { "\uD83D", "a\uD83Db", "\uDE00", "\uDE00\uD83D", "a\0b" };

    static int failures;
    static string namesFile;

    static int Main(string[] arguments)
    {
        namesFile = arguments[0];
        Action[] tests = {
            BindsEveryExportedFunction, RefusesBadTextBeforeTheCall, AnswersWithoutAnEngine, ReadsDeviceTexts,
            CarriesTextWholeToTheLog, TellsTheOldLogOfItsReplacement, KeepsARawDelegateAlive,
            ListsCallbacksAndStatuses, TakesAFrameToAModule, SurvivesCollectionsUnderForeignThreads,
            ContainsWhatLogHandlersThrow, ExchangesDescriptors, KeepsTheDescriptorWhenAHandlerFails,
            ChangesTheHostTextWhileItsChangeIsLogged, GivesNoPlaceToARefusedModuleLog,
            PacksPaddedAndBottomUpRows,
            SeesFramesWithoutACopyAsLongAsItLikes, GoesOnAfterAReceiverThrew
        };
        foreach (Action test in tests)
        {
            int before = failures;
            try { test(); }
            catch (Exception exception) { Expect(false, exception.ToString()); }
            Engine.Destroy();
            Console.WriteLine((failures == before ? "passed " : "FAILED ") + test.Method.Name);
        }
        return failures == 0 ? 0 : 1;
    }

    static void BindsEveryExportedFunction()
    {
        var exported = File.ReadAllLines(namesFile).Where(name => name.StartsWith("LumetraCore_"));
        var bound = typeof(Engine).Assembly.GetType("LumetraCore.Native")
            .GetMethods(BindingFlags.Static | BindingFlags.NonPublic)
            .Where(method => method.GetCustomAttributes(typeof(DllImportAttribute), false).Any());
        Same(string.Join(" ", exported.OrderBy(name => name, StringComparer.Ordinal)),
            string.Join(" ", bound.Select(method => method.Name).Distinct()
                .OrderBy(name => name, StringComparer.Ordinal)));
        foreach (MethodInfo method in bound)
        {
            var import = (DllImportAttribute)method.GetCustomAttributes(typeof(DllImportAttribute), false)[0];
            bool text = method.GetParameters().Any(parameter => parameter.ParameterType == typeof(string));
            Expect(import.CallingConvention == CallingConvention.Cdecl, method.Name + " is not cdecl");
            Expect(!text || import.CharSet == CharSet.Unicode, method.Name + " does not pass UTF-16");
        }
    }

    // An engine is there, so that a text that slips through ends the process.
    static void RefusesBadTextBeforeTheCall()
    {
        Start();
        Action<string>[] calls = {
            text => Engine.Send(0, Command.Start, text), text => Engine.RegisterModule(text),
            text => Engine.InitializeModule(text, ""), text => Engine.InitializeModule("name", text),
            text => Engine.InitializeModule(Unknown, text), text => Engine.UnregisterModule(text),
            text => Engine.PushImage(new byte[1], text, 0), text => Engine.PushImage(IntPtr.Zero, 0, text, 0),
            text => Engine.SetNativeTexture(IntPtr.Zero, text), text => Engine.Log(text)
        };
        for (int i = 0; i < calls.Length; ++i)
        {
            foreach (string text in BadTexts) Throws<ArgumentException>(() => calls[i](text), "call " + i);
            Throws<ArgumentNullException>(() => calls[i](null), "call " + i);
            Expect(Engine.IsValidText(Smile + "a" + Smile), "a pair was refused");
        }
        Throws<ArgumentNullException>(() => Engine.PushImage(null, "", 0), "no pixels");
        Throws<ArgumentOutOfRangeException>(() => Engine.PushImage(IntPtr.Zero, -1, "", 0), "size");
    }

    static void AnswersWithoutAnEngine()
    {
        Same("0 -1 False False", Engine.Send(0, Command.Start, "") + " " + Engine.RegisterModule("FrameMonitor") +
            " " + Engine.PushImage(new byte[3], "", 0) + " " + Engine.InitializeModule(Monitor, ""));
        Same("0 0 0", Engine.RegisterLog(0, (level, text) => { }) + " " + Engine.UnregisterLog(0) + " " +
            Engine.RegisterHostText(text => text));
        Expect(Engine.GetSupportedCallbacks(0) == null, "kinds");
        Expect(Engine.GetStatus(0) == Status.Unavailable, "status");
        Expect(!Engine.UnregisterModule(Monitor) && !Engine.UnregisterModule("FrameMonitor"), "modules");
        Expect(!Engine.SetNativeTexture(IntPtr.Zero, ""), "texture");
    }

    static void ReadsDeviceTexts()
    {
        foreach (string text in new[] { Engine.GetDeviceInfo(), Engine.EnumerateDevices() })
            Expect(text.StartsWith("{") && text.TrimEnd().EndsWith("}"), "no JSON object: " + text);
    }

    static void CarriesTextWholeToTheLog()
    {
        List<string> log = Start();
        Engine.Log("Grüße " + Smile);
        Expect(Engine.SetNativeTexture(new IntPtr(16), "{\"width\":640}"), "texture");
        Expect(log.Contains("Grüße " + Smile), "log: " + string.Join("|", log));
        Expect(Engine.UnregisterLog(0) == 1, "unregistered");
        log.Clear();
        Engine.Log("this line belongs on standard output");
        Same("", string.Join("|", log));
    }

    static void TellsTheOldLogOfItsReplacement()
    {
        List<string> before = Start();
        var after = new List<string>();
        before.Clear();
        Same("1", Engine.RegisterLog(0, (level, text) => after.Add(text)).ToString());
        Engine.Log("for the new one");
        Same("Registering Callback!", string.Join("|", before));
        Same("for the new one", string.Join("|", after));
    }

    [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
    delegate void RawLog(int level, IntPtr text);

    static void KeepsARawDelegateAlive()
    {
        Start();
        var heard = new List<string>();
        RegisterRaw(heard);
        Collect();
        Engine.Log("still there");
        Same("still there", string.Join("|", heard));
        Same("1", Engine.UnregisterCallback(0, CallbackKind.Log).ToString());
    }

    // Equal delegates are not the same one, and the second is what the engine is given.
    static void RegisterRaw(List<string> heard)
    {
        var ear = new Ear { Heard = heard };
        for (int i = 0; i < 2; ++i)
            Same("1", Engine.RegisterCallback(0, CallbackKind.Log, new RawLog(ear.Hear), IntPtr.Zero).ToString());
        heard.Clear();
    }

    sealed class Ear
    {
        public List<string> Heard;
        public void Hear(int level, IntPtr text) { Heard.Add(Marshal.PtrToStringUni(text)); }
    }

    static void ListsCallbacksAndStatuses()
    {
        List<string> log = Start();
        Same("Log HostText", string.Join(" ", Engine.GetSupportedCallbacks(0)));
        Expect(Engine.GetStatus(0) == Status.Ready, "engine's status");
        Same("0", Engine.RegisterModule("NoSuchModule").ToString());
        Expect(log.Any(line => line.Contains("NoSuchModule.framework/NoSuchModule")), "log of a failed load");
        Same("101", Engine.RegisterModule("FrameMonitor").ToString());
        Same("Log", string.Join(" ", Engine.GetSupportedCallbacks(Monitor)));
        Same("2", ((int)Engine.GetStatus(Monitor)).ToString());
        Expect(Engine.GetSupportedCallbacks(Unknown) == null, "kinds of a module that is not there");
        Expect(Engine.InitializeModule("FrameMonitor", "{}") && !Engine.InitializeModule("Other", "{}"), "by name");
        Same("0", Engine.RegisterPush(Monitor).ToString());
        Expect(Engine.UnregisterModule("FrameMonitor") && !Engine.UnregisterModule(Monitor), "unregistered");
    }

    // Red is 9798 * 255 >> 15 = 76 in grey, green 149, blue 29.
    static void TakesAFrameToAModule()
    {
        byte[] rgb = new byte[16 * 8 * 3];
        for (int pixel = 0; pixel < 16 * 8; ++pixel) rgb[3 * pixel + (pixel < 16 ? 0 : pixel < 32 ? 1 : 2)] = 255;
        IntPtr native = Marshal.AllocHGlobal(rgb.Length);
        Marshal.Copy(rgb, 0, native, rgb.Length);
        for (int way = 0; way < 2; ++way)
        {
            StartMonitored(16, 8, ImageFormat.Rgb, ConversionFlags.Gray);
            Expect(way == 0 ? Engine.PushImage(rgb, "{}", 1) : Engine.PushImage(native, rgb.Length, "{}", 1), "push");
            WaitUntil(() => Engine.Send(Monitor, (Command)Count, "") == 1, "the frame");
            string prefix = Path.Combine(Path.GetTempPath(), "lumetra_binding_" + Guid.NewGuid().ToString("N"));
            int files = Engine.Send(Monitor, (Command)Snapshot, prefix);
            Same("1", files.ToString());
            byte[] file = File.ReadAllBytes(prefix + "_lvl_0.pgm");
            byte[] grey = file.Skip(file.Length - 16 * 8).ToArray();
            Same("76 149 29", grey[0] + " " + grey[16] + " " + grey[32]);
            File.Delete(prefix + "_lvl_0.pgm");
            Expect(Engine.Send(0, Command.Invalidate, "") == 1 && !Engine.PushImage(rgb, "{}", 2), "invalidated");
            Engine.UnregisterModule(Monitor);
            Engine.Destroy();
        }
        Marshal.FreeHGlobal(native);
    }

    // The monitor logs a line for every frame from the engine's workers.
    static void SurvivesCollectionsUnderForeignThreads()
    {
        StartMonitored(16, 8, ImageFormat.Gray8, ConversionFlags.Gray);
        int here = Thread.CurrentThread.ManagedThreadId, foreign = 0;
        RegisterCounting(() => { if (Thread.CurrentThread.ManagedThreadId != here) Interlocked.Increment(ref foreign); });
        Engine.InitializeModule(Monitor, "{\"digest\":true,\"histogram\":false}");
        for (int frame = 0; frame < 50; ++frame)
        {
            Expect(Engine.PushImage(new byte[16 * 8], "{\"frame\":" + frame + "}", frame), "push");
            Collect();
            WaitUntil(() => Engine.Send(Monitor, (Command)Count, "") == frame + 1, "frame " + frame);
        }
        Same("50", foreign.ToString());
        Same("1", Engine.UnregisterLog(Monitor).ToString());
        Engine.UnregisterModule(Monitor);
    }

    static void RegisterCounting(Action count)
    {
        Same("1", Engine.RegisterLog(Monitor, (level, text) => count()).ToString());
    }

    static void ContainsWhatLogHandlersThrow()
    {
        StartMonitored(16, 8, ImageFormat.Gray8, ConversionFlags.Gray);
        var told = new List<CallbackFailure>();
        Action<CallbackFailure> subscriber = failure =>
        {
            lock (told) told.Add(failure);
            throw new InvalidOperationException("a subscriber's own");
        };
        Engine.CallbackFailed += subscriber;
        Engine.RegisterLog(0, (level, text) => { throw new FormatException("engine"); });
        Engine.RegisterLog(Monitor, (level, text) => { throw new FormatException("monitor"); });
        Engine.InitializeModule(Monitor, "{\"digest\":true}");
        Engine.Log("one line");
        Engine.PushImage(new byte[16 * 8], "{}", 1);
        WaitUntil(() => { lock (told) return told.Any(failure => failure.ModuleId == Monitor); }, "the failure");
        Engine.CallbackFailed -= subscriber;
        Expect(Engine.LastCallbackException is FormatException, "last: " + Engine.LastCallbackException);
        lock (told)
            Expect(told.Any(failure => failure.ModuleId == 0 && failure.Kind == CallbackKind.Log &&
                failure.Exception.Message == "engine"), "the engine's failure was not told");
        Engine.RegisterLog(0, (level, text) => { });
        Engine.UnregisterLog(Monitor);
        Engine.UnregisterModule(Monitor);
    }

    // The monitor takes a frame's latency from its descriptor, so a descriptor from 1970 shows there.
    static void ExchangesDescriptors()
    {
        var seen = new List<string>();
        string report = ReportAfterCameraFrames(descriptor =>
        {
            lock (seen) seen.Add(descriptor);
            return "{\"timestampUs\":1000,\"note\":\"" + Smile + "\"}";
        });
        Expect(MedianLatency(report) > 1000L * 1000 * 3600, "the reply did not travel: " + report);
        Expect(seen[0].Contains("CameraSource"), "descriptor: " + seen[0]);
        Expect(seen[0].Contains("/9j/"), "no JPEG came with it: " + seen[0]);
        report = ReportAfterCameraFrames(descriptor => null);
        Expect(MedianLatency(report) < 1000L * 1000 * 3600, "an empty reply: " + report);
    }

    // Only the camera's own descriptor says that the frame was there before the handler held it up.
    static void KeepsTheDescriptorWhenAHandlerFails()
    {
        const int Held = 100;  // milliseconds
        HostTextHandler[] handlers = {
            descriptor => { Thread.Sleep(Held); throw new FormatException("host text"); },
            descriptor => { Thread.Sleep(Held); return "{\"timestampUs\":1000}\uD83D"; }
        };
        string[] expected = { "FormatException", "ArgumentException" };
        for (int i = 0; i < handlers.Length; ++i)
        {
            CallbackFailure told = null;
            Action<CallbackFailure> subscriber = failure => told = failure;
            Engine.CallbackFailed += subscriber;
            string report = ReportAfterCameraFrames(handlers[i]);
            Engine.CallbackFailed -= subscriber;
            long latency = MedianLatency(report);
            Expect(latency >= 1000 * Held && latency < 1000L * 1000 * 3600, "descriptor changed: " + report);
            Same(expected[i] + " HostText", told == null ? "" : told.Exception.GetType().Name + " " + told.Kind);
        }
    }

    static void ChangesTheHostTextWhileItsChangeIsLogged()
    {
        Start();
        bool waits = false;
        Engine.RegisterLog(0, (level, text) =>
        {
            if (!waits) return;
            waits = false;
            var other = new Thread(() => Engine.UnregisterHostText());
            other.Start();
            other.Join();
        });
        waits = true;
        Same("1", Engine.RegisterHostText(text => text).ToString());
        Expect(!waits, "nothing was logged");
    }

    static void GivesNoPlaceToARefusedModuleLog()
    {
        Start();
        for (int id = 2000; id < 2040; ++id)  // ids that nobody has take no place
            Same("0", Engine.RegisterLog(id, (level, text) => { }).ToString());
        Same("101", Engine.RegisterModule("FrameMonitor").ToString());
        Same("1", Engine.RegisterLog(Monitor, (level, text) => { }).ToString());
        Engine.UnregisterLog(Monitor);
        Engine.UnregisterModule(Monitor);
    }

    static void PacksPaddedAndBottomUpRows()
    {
        byte[] padded = { 1, 2, 3, 4, 0xEE, 5, 6, 7, 8 };  // nothing behind the last row
        // where the top row begins, stride, width, height, bytes of a pixel
        var cases = new Dictionary<string, int[]> {
            { "1 2 3 4 5 6 7 8", new[] { 0, 5, 4, 2, 1 } }, { "5 6 7 8 1 2 3 4", new[] { 5, -5, 2, 2, 2 } },
            { "1 2 3 5 6 7", new[] { 0, 5, 1, 2, 3 } }, { "2 3 4 238", new[] { 1, 4, 4, 1, 1 } }
        };
        GCHandle pinned = GCHandle.Alloc(padded, GCHandleType.Pinned);
        foreach (KeyValuePair<string, int[]> entry in cases)
        {
            int[] c = entry.Value;
            byte[] packed = new byte[9];
            int end = PackPixels.Pack(padded, c[0], c[1], c[2], c[3], c[4], packed, 1);
            Same("0 " + entry.Key, string.Join(" ", packed.Take(end)));
            IntPtr top = IntPtr.Add(pinned.AddrOfPinnedObject(), c[0]);
            Expect(PackPixels.Pack(top, c[1], c[2], c[3], c[4], packed) == end - 1, "end of " + entry.Key);
            Same(entry.Key, string.Join(" ", packed.Take(end - 1)));
        }
        pinned.Free();
        int[][] refused = {
            new[] { 0, 5, 0, 2, 1 }, new[] { 0, 5, 4, 0, 1 }, new[] { 0, 5, 4, 2, 0 }, new[] { 0, 3, 4, 2, 1 },
            new[] { 0, 5, 2, 2, 3 }, new[] { 1, 5, 4, 2, 1 }, new[] { 4, -5, 4, 2, 1 }, new[] { -1, 5, 4, 2, 1 },
            new[] { 0, 5, 4, 3, 1 }, new[] { 0, int.MinValue, int.MaxValue, int.MaxValue, int.MaxValue }
        };
        foreach (int[] c in refused)
            Throws<ArgumentException>(() => PackPixels.Pack(padded, c[0], c[1], c[2], c[3], c[4], new byte[16]),
                string.Join(" ", c));
        Throws<ArgumentException>(() => PackPixels.Pack(padded, 0, 5, 4, 2, 1, new byte[8], 1), "too little room");
    }

    static void SeesFramesWithoutACopyAsLongAsItLikes()
    {
        var frames = new List<TapFrame>();
        FrameReceiver keep = frame => { if (frame.FrameIndex == frames.Count) frames.Add(frame); else frame.Dispose(); };
        StartTapped(keep, ConversionFlags.Gray);
        for (int frame = 0; frame < 3; ++frame) PushUntil(frame, () => frames.Count > frame);
        Tap.Stop();
        Same("3", Engine.Send(Tap.ModuleId, Tap.HeldCommand, "").ToString());
        Engine.UnregisterModule(Tap.ModuleId);
        Engine.Destroy();
        for (int frame = 0; frame < 3; ++frame)
        {
            TapFrame tapped = frames[frame];
            Same(frame + " 4x2 Gray8 {\"frame\":" + frame + "} 8 0 0", tapped.FrameIndex + " " + tapped.Width + "x" +
                tapped.Height + " " + tapped.Format + " " + tapped.Descriptor + " " + tapped.Size(0) + " " +
                tapped.Size(1) + " " + tapped.Pixels(1));
            Expect(tapped.CopyPixels(0).All(grey => grey == 76), "pixels of frame " + frame);  // pure red
            Same("76", Marshal.ReadByte(tapped.Pixels(0), 7).ToString());
            tapped.Dispose();
            tapped.Dispose();
            Throws<ObjectDisposedException>(() => tapped.Pixels(0), "a disposed frame");
        }
        StartTapped(keep, ConversionFlags.Gray);
        Same("0", Engine.Send(Tap.ModuleId, Tap.HeldCommand, "").ToString());
        Engine.UnregisterModule(Tap.ModuleId);
    }

    static void GoesOnAfterAReceiverThrew()
    {
        CallbackFailure told = null;
        Action<CallbackFailure> subscriber = failure => told = failure;
        Engine.CallbackFailed += subscriber;
        int calls = 0;
        StartTapped(frame => { ++calls; frame.Dispose(); throw new FormatException("tap"); }, ConversionFlags.None);
        for (int frame = 0; frame < 2; ++frame) PushUntil(frame, () => calls > frame);
        Tap.Stop();
        int refusals = 0;
        Tap.Start(frame =>
        {
            frame.Dispose();
            Throws<InvalidOperationException>(Tap.Stop, "a receiver that stops");
            Throws<InvalidOperationException>(() => Tap.Start(other => { }), "a receiver that starts another");
            ++refusals;
        });
        PushUntil(2, () => refusals > 0);
        Tap.Stop();
        Engine.CallbackFailed -= subscriber;
        Same("105 Type2 tap", told.ModuleId + " " + told.Kind + " " + told.Exception.Message);
        Engine.UnregisterModule(Tap.ModuleId);
    }

    static void StartTapped(FrameReceiver receiver, ConversionFlags flags)
    {
        Start();
        Expect(Engine.Configure(4, 2, ImageFormat.Rgb, flags), "configure");
        Same("105", Engine.RegisterModule("Tap").ToString());
        Expect(Tap.Start(receiver), "the tap");
    }

    // A frame is dropped where the machine is too busy, so one that does not come is pushed again.
    static void PushUntil(int frame, Func<bool> condition)
    {
        byte[] red = Enumerable.Range(0, 4 * 2 * 3).Select(at => (byte)(at % 3 == 0 ? 255 : 0)).ToArray();
        for (int tries = 0; tries < 100 && !condition(); ++tries)
        {
            Expect(Engine.PushImage(red, "{\"frame\":" + frame + "}", frame), "push");
            for (int i = 0; i < 100 && !condition(); ++i) Thread.Sleep(2);
        }
        Expect(condition(), "waited in vain for frame " + frame);
    }

    static string ReportAfterCameraFrames(HostTextHandler handler)
    {
        StartMonitored(32, 16, ImageFormat.Yuyv, ConversionFlags.Gray);
        Expect(Engine.Send(0, Command.Configure, "{\"imageCfg\":{\"width\":32,\"height\":16},\"format\":4," +
            "\"conversionflags\":1,\"forwardNativeImage\":true}") == 1, "configure");
        var lines = new List<string>();
        Engine.RegisterLog(Monitor, (level, text) => { lock (lines) lines.Add(text); });
        Same("1", Engine.RegisterHostText(handler).ToString());
        Same("102", Engine.RegisterModule("CameraSource").ToString());
        Same("1", Engine.RegisterPush(Camera).ToString());
        Expect(Engine.InitializeModule(Camera, "{\"width\":32,\"height\":16,\"fps\":100}"), "camera");
        Same("1", Engine.Send(Camera, Command.Start, "").ToString());
        for (int i = 0; i < 5; ++i) Collect();
        WaitUntil(() => Engine.Send(Monitor, (Command)Count, "") >= 5, "the camera's frames");
        Engine.Send(Camera, Command.Stop, "");
        Engine.Send(Monitor, (Command)Report, "");
        Engine.UnregisterModule(Camera);
        Same("1", Engine.UnregisterHostText().ToString());
        Engine.UnregisterLog(Monitor);
        Engine.UnregisterModule(Monitor);
        Engine.Destroy();
        lock (lines) return lines.Last(line => line.Contains("\"report\""));
    }

    static long MedianLatency(string report)
    {
        const string Key = "\"median\":";
        int begin = report.IndexOf(Key, StringComparison.Ordinal) + Key.Length;
        return long.Parse(report.Substring(begin, report.IndexOf(',', begin) - begin));
    }

    static List<string> Start()
    {
        var log = new List<string>();
        Engine.Initialize();
        Same("1", Engine.RegisterLog(0, (level, text) => { lock (log) log.Add(text); }).ToString());
        return log;
    }

    static void StartMonitored(int width, int height, ImageFormat format, ConversionFlags flags)
    {
        Start();
        Expect(Engine.Configure(width, height, format, flags), "configure");
        Same("101", Engine.RegisterModule("FrameMonitor").ToString());
    }

    static void Collect()
    {
        GC.Collect();
        GC.WaitForPendingFinalizers();
    }

    static void WaitUntil(Func<bool> condition, string what)
    {
        for (int i = 0; i < 10000 && !condition(); ++i) Thread.Sleep(2);
        Expect(condition(), "waited in vain for " + what);
    }

    static void Throws<T>(Action call, string what) where T : Exception
    {
        try { call(); }
        catch (T exception) when (exception.GetType() == typeof(T)) { return; }
        Expect(false, what + ": no " + typeof(T).Name);
    }

    static void Same(string expected, string actual)
    {
        Expect(expected == actual, "expected \"" + expected + "\", got \"" + actual + "\"");
    }

    static void Expect(bool condition, string message)
    {
        if (condition) return;
        ++failures;
        Console.WriteLine("  " + message);
    }
}
