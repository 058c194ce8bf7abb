// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT
using System;
using System.Diagnostics;
using System.IO;
using System.Runtime.InteropServices;
using System.Threading;
using QuillWgc;

// capture TITLE FILE.bmp saves one frame of the window with that title.
static class Capture {
  [DllImport("user32.dll", CharSet = CharSet.Unicode)]
  static extern IntPtr FindWindowW(string className, string title);

  static void Save(string title, string path) {
    IntPtr window = FindWindowW(null, title);
    if (window == IntPtr.Zero) throw new CaptureException("no window has that title");
    using (var session = new Session(window)) {
      ReadOnlySpan<byte> frame;
      uint width, height;
      var waited = Stopwatch.StartNew();
      while ((frame = session.Frame(out width, out height)).IsEmpty) {
        if (!session.IsRunning) throw new CaptureException("the window was closed");
        if (waited.ElapsedMilliseconds > 5000)
          throw new CaptureException("no frame in 5 seconds: is the window minimised?");
        Thread.Sleep(10);
      }
      using (var file = new BinaryWriter(File.Create(path))) {
        file.Write((short)0x4D42);  // "BM"
        foreach (int field in new[] {54 + frame.Length, 0, 54, 40, (int)width, -(int)height,
                                     1 | 32 << 16, 0, 0, 0, 0, 0, 0}) file.Write(field);
        file.Write(frame);
      }
    }
  }

  static int Main(string[] arguments) {
    try {
      if (arguments.Length != 2) throw new CaptureException("usage: capture TITLE FILE.bmp");
      Save(arguments[0], arguments[1]);
      return 0;
    } catch (Exception error) {
      Console.Error.WriteLine("capture: " + error.Message);
      return 1;
    }
  }
}
