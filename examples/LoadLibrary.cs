// The library from C#: black levels of a dark frame, and means of a brightness series whose list it releases.
// "cali" is cali.dll on Windows and libcali.so elsewhere.
using System;
using System.Runtime.InteropServices;

static class LoadLibrary {
    [StructLayout(LayoutKind.Sequential)]
    struct Level {  // 16 bytes
        public IntPtr Frames;
        public uint FrameCount;
    }

    [StructLayout(LayoutKind.Sequential)]
    struct LevelList {  // 32 bytes
        public IntPtr Levels;
        public uint Count;
        public IntPtr Release;
        public IntPtr Owner;
    }

    [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
    delegate void ReleaseCallback(IntPtr list);

    [DllImport("cali", CallingConvention = CallingConvention.Cdecl)]
    static extern int cali_blc_calc_by_median(ref IntPtr frame, uint width, uint height, int pattern, out uint rr,
        out uint gr, out uint gb, out uint bb, out float gainRr, out float gainGr, out float gainGb, out float gainBb);

    [DllImport("cali", CallingConvention = CallingConvention.Cdecl)]
    static extern int cali_isp_roi_mean_std_calc(LevelList levels, uint width, uint height, int count, int positions,
        int frames, IntPtr[] means, IntPtr[] deviations);

    static int Main() {
        // Before the first call: lines in place of message boxes. The library asks the system, which this reaches.
        Environment.SetEnvironmentVariable("CALI_WARNINGS", "stderr");
        const int side = 16, frameCount = 2, positions = 4;
        var samples = new uint[side * side];
        for (uint i = 0; i < samples.Length; ++i) {
            samples[i] = 64 + i % 2 + 2 * (i / side % 2);
        }
        // Frames must not move while the library has their addresses.
        GCHandle pinned = GCHandle.Alloc(samples, GCHandleType.Pinned);
        IntPtr frame = pinned.AddrOfPinnedObject();
        uint rr, gr, gb, bb;
        float gainRr, gainGr, gainGb, gainBb;
        if (cali_blc_calc_by_median(ref frame, side, side, 3, out rr, out gr, out gb, out bb, out gainRr, out gainGr,
                out gainGb, out gainBb) != 0) {
            return 1;
        }
        Console.WriteLine("black level {0} {1} {2} {3}", rr, gr, gb, bb);

        int released = 0;
        IntPtr frames = Marshal.AllocHGlobal(frameCount * IntPtr.Size);
        for (int i = 0; i < frameCount; ++i) {
            Marshal.WriteIntPtr(frames, i * IntPtr.Size, frame);
        }
        IntPtr levels = Marshal.AllocHGlobal(Marshal.SizeOf(typeof(Level)));
        Marshal.StructureToPtr(new Level { Frames = frames, FrameCount = frameCount }, levels, false);
        // The variable keeps the delegate alive: the library knows only its address.
        ReleaseCallback release = list => {
            Marshal.FreeHGlobal(frames);
            Marshal.FreeHGlobal(levels);
            ++released;
        };
        var series = new LevelList { Levels = levels, Count = 1, Release = Marshal.GetFunctionPointerForDelegate(release) };
        var results = new float[2 * positions];
        GCHandle pinnedResults = GCHandle.Alloc(results, GCHandleType.Pinned);
        var rows = new IntPtr[2 * positions];
        for (int i = 0; i < rows.Length; ++i) {
            rows[i] = IntPtr.Add(pinnedResults.AddrOfPinnedObject(), i * sizeof(float));
        }
        var means = new IntPtr[positions];
        var deviations = new IntPtr[positions];
        Array.Copy(rows, 0, means, 0, positions);
        Array.Copy(rows, positions, deviations, 0, positions);
        int status = cali_isp_roi_mean_std_calc(series, side, side, 1, positions, frameCount, means, deviations);
        GC.KeepAlive(release);
        pinnedResults.Free();
        pinned.Free();
        if (status != 0) {
            return 1;
        }
        Console.WriteLine("means {0:0} {1:0} {2:0} {3:0}, released {4}", results[0], results[1], results[2], results[3],
            released);
        return 0;
    }
}
