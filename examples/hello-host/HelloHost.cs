// HelloHost.cs - a whole host in C#: it pushes a moving bar and prints what the module FrameMonitor saw of it.
// Usage: HelloHost.exe FOLDER-OF-MODULES
using System;
using System.IO;
using System.Threading;
using LumetraCore;

static class HelloHost
{
    const int Width = 320, Height = 240, Frames = 60, FrameMilliseconds = 16;
    const Command ReportCommand = Command.ModuleFirst;  // FrameMonitor's own: a line of JSON to its log

    static int Main(string[] arguments)
    {
        if (arguments.Length != 1)
        {
            Console.Error.WriteLine("usage: HelloHost.exe FOLDER-OF-MODULES");
            return 2;
        }
        Engine.CallbackFailed += failure => Console.Error.WriteLine("A callback failed: " + failure.Exception);
        Engine.Initialize();  // before the folder changes: the loader's path to the library may begin here
        try
        {
            Directory.SetCurrentDirectory(arguments[0]);  // on Linux modules are found from the working folder
            Engine.RegisterLog(Engine.EngineModuleId, (level, text) => Console.Error.WriteLine(text));
            Engine.Configure(Width, Height, ImageFormat.Rgb, ConversionFlags.Gray);
            int monitor = Engine.RegisterModule("FrameMonitor");
            if (monitor < 1)
            {
                Console.Error.WriteLine("FrameMonitor cannot be loaded; lumetra-inspect says why");
                return 1;
            }
            Engine.InitializeModule(monitor, "{\"histogram\":false}");
            Engine.RegisterLog(monitor, (level, text) => Console.WriteLine(text));
            PushScene();
            Engine.Send(monitor, ReportCommand, "");
            Engine.UnregisterModule(monitor);
            return 0;
        }
        finally
        {
            Engine.Destroy();
        }
    }

    static void PushScene()
    {
        byte[] pixels = new byte[Width * Height * 3];  // one for all frames: the engine copies it
        for (int frame = 0; frame < Frames; ++frame)
        {
            Draw(pixels, frame);
            long now = (DateTime.UtcNow - new DateTime(1970, 1, 1)).Ticks / 10;
            if (!Engine.PushImage(pixels, "{\"frame\":" + frame + ",\"timestampUs\":" + now + "}", frame))
                Console.Error.WriteLine("frame " + frame + " was refused");
            Thread.Sleep(FrameMilliseconds);
        }
    }

    static void Draw(byte[] pixels, int frame)
    {
        const int BarWidth = 40;
        for (int y = 0; y < Height; ++y)
        {
            for (int x = 0; x < Width; ++x)
            {
                bool bar = (x + Width - 4 * frame % Width) % Width < BarWidth;
                int at = 3 * (y * Width + x);
                pixels[at] = (byte)(bar ? 255 : x * 255 / Width);
                pixels[at + 1] = (byte)(bar ? 255 : y * 255 / Height);
                pixels[at + 2] = 64;
            }
        }
    }
}
