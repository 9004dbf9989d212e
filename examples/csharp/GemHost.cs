// A GEM host in C# by P/Invoke: it asks the equipment of ../c/gem_equipment.c to START and ends with
// its report. The tests run it by Mono; it is written for .NET as well, and there checked by reading
// only.
//     mcs GemHost.cs && mono GemHost.exe PORT        or        dotnet run PORT
using System;
using System.Runtime.InteropServices;
using System.Text;

static class GemHost
{
    const string Library = "libvelto.so.1";

    // Handles are pointers that nothing but the library looks into; size_t is UIntPtr.
    [DllImport(Library)] static extern IntPtr velto_loop_new();
    [DllImport(Library)] static extern void velto_loop_free(IntPtr loop);
    [DllImport(Library)] static extern int velto_loop_run(IntPtr loop);
    [DllImport(Library)] static extern int velto_loop_run_once(IntPtr loop, int timeoutMs);
    [DllImport(Library)] static extern void velto_loop_quit(IntPtr loop);
    [DllImport(Library)] static extern IntPtr velto_last_error();
    [DllImport(Library)] static extern IntPtr velto_gem_host(IntPtr loop, byte[] address);
    [DllImport(Library)] static extern int velto_gem_subscribed(IntPtr control);
    [DllImport(Library)] static extern int velto_sml_to_bytes(byte[] sml, UIntPtr length, out Value result);
    [DllImport(Library)] static extern int velto_gem_subscribe(
        IntPtr control, uint ceid, uint[] vids, UIntPtr count, ReportHandler handler, IntPtr user, IntPtr subscription);
    [DllImport(Library)] static extern int velto_gem_request(
        IntPtr control, IntPtr message, UIntPtr length, uint milliseconds, ReplyHandler handler, IntPtr user);

    [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
    delegate void ReportHandler(IntPtr user, IntPtr control, uint ceid, IntPtr name, IntPtr values, UIntPtr length);
    [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
    delegate void ReplyHandler(
        IntPtr user, IntPtr control, int outcome, IntPtr message, UIntPtr length, IntPtr reason);

    [StructLayout(LayoutKind.Sequential)]
    struct Value // velto_value
    {
        public int Type;
        public long Integer;
        public double Real;
        public IntPtr Text;
        public UIntPtr Length;
    }

    static byte[] Text(string value) => Encoding.GetEncoding("ISO-8859-1").GetBytes(value + "\0");

    static void Must(int status)
    {
        if (status != 0)
            throw new InvalidOperationException(Marshal.PtrToStringAnsi(velto_last_error()));
    }

    static int Main(string[] arguments)
    {
        int status = 1;
        IntPtr loop = velto_loop_new();
        IntPtr host = velto_gem_host(loop, Text("127.0.0.1:" + (arguments.Length > 0 ? arguments[0] : "5021")));
        if (host == IntPtr.Zero)
            Must(1);

        // The library keeps the handlers: these variables keep them from the garbage collector.
        // None of them may let an exception out.
        ReportHandler onReport = (user, control, ceid, name, values, length) =>
        {
            Console.WriteLine($"C#: event {ceid}, {length} bytes of values");
            status = 0;
            velto_loop_quit(loop);
        };
        ReplyHandler onReply = (user, control, outcome, message, length, reason) =>
        {
            if (outcome == 0) // VELTO_ANSWERED
                return;
            Console.Error.WriteLine(Marshal.PtrToStringAnsi(reason));
            velto_loop_quit(loop);
        };
        Must(velto_gem_subscribe(host, 12, new uint[] { 101 }, (UIntPtr)1, onReport, IntPtr.Zero, IntPtr.Zero));
        while (velto_gem_subscribed(host) != 1 && velto_loop_run_once(loop, 1000) >= 0)
            continue;

        string sml = "s2f41w{<a 'START'>{}}";
        Must(velto_sml_to_bytes(Text(sml), (UIntPtr)(uint)sml.Length, out Value start));
        Must(velto_gem_request(host, start.Text, start.Length, 5000, onReply, IntPtr.Zero));
        Must(velto_loop_run(loop));
        velto_loop_free(loop);
        GC.KeepAlive(onReport);
        GC.KeepAlive(onReply);
        return status;
    }
}
