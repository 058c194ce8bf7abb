// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT
using System;
using System.Runtime.InteropServices;
using System.Threading;
using Microsoft.Win32.SafeHandles;
[assembly: DefaultDllImportSearchPaths(DllImportSearchPath.AssemblyDirectory |
                                       DllImportSearchPath.System32)]

namespace QuillWgc {
public delegate void LogCallback(int level, [MarshalAs(UnmanagedType.LPUTF8Str)] string line,
                                 UIntPtr length);

// The functions of libquill_wgc.h. A bool has one byte there, four by .NET's default.
public static class Native {
  const string Dll = "libquill-wgc.dll";
  const UnmanagedType U1 = UnmanagedType.U1;

  [DllImport(Dll)] [return: MarshalAs(U1)] public static extern bool is_wgc_session_supported();
  [DllImport(Dll)] public static extern void wgc_register_logger(LogCallback callback);
  [DllImport(Dll)] public static extern IntPtr wgc_session_create(IntPtr window);
  [DllImport(Dll)] public static extern IntPtr wgc_session_create2(IntPtr monitor);
  [DllImport(Dll)] [return: MarshalAs(U1)] public static extern bool wgc_session_start(Session s);
  [DllImport(Dll)] public static extern void wgc_session_destroy(IntPtr s);
  [DllImport(Dll)] [return: MarshalAs(U1)] public static extern bool wgc_get_recent_frame(
      Session s, out IntPtr frame, IntPtr reserved, out uint width, out uint height,
      [MarshalAs(U1)] out bool cursor);
  [DllImport(Dll)] public static extern void wgc_free_recent_frame(Session s, IntPtr frame);
  [DllImport(Dll)] public static extern float wgc_get_update_ratio(Session s);
  [DllImport(Dll)] [return: MarshalAs(U1)] public static extern bool wgc_get_status(Session s);
  [DllImport(Dll)] public static extern IntPtr wgc_get_device(Session s);
  [DllImport(Dll)] [return: MarshalAs(U1)] public static extern bool wgc_enable_cursor(
      Session s, [MarshalAs(U1)] bool on);
  [DllImport(Dll)] [return: MarshalAs(U1)] public static extern bool wgc_show_border(
      Session s, [MarshalAs(U1)] bool on);
  [DllImport(Dll)] public static extern void wgc_set_dirty_rect(
      Session s, [MarshalAs(U1)] bool on);
  [DllImport(Dll)] public static extern void wgc_set_capture_to_texture(
      Session s, [MarshalAs(U1)] bool on);
}

public class CaptureException : Exception {
  public CaptureException(string message) : base(message) {}
}

// Captures a window or monitor until it is disposed of. All calls belong on one thread, without an
// `await` between them, and the next session belongs on a new thread.
public sealed class Session : SafeHandleZeroOrMinusOneIsInvalid {
  // In a static field, because the library's pointer does not keep the collector from freeing it.
  static readonly LogCallback Callback = OnLogLine;
  [ThreadStatic] static string problem;  // a failing call logs on its own thread
  readonly Thread thread = Thread.CurrentThread;

  // Each line of the log, on the thread that logs it. A handler must not throw.
  public static event Action<int, string> Logged;

  public Session(IntPtr target, bool isMonitor = false) : base(true) {
    // The library's own answer would be an exception that ends the process.
    Check(thread.GetApartmentState() != ApartmentState.STA, "this thread is [STAThread]");
    Native.wgc_register_logger(Callback);
    SetHandle(isMonitor ? Native.wgc_session_create2(target) : Native.wgc_session_create(target));
    Check(!IsInvalid, "no session could be created");
    if (Native.wgc_session_start(this)) return;
    Dispose();
    throw new CaptureException("capture could not start" + problem);
  }

  // The latest frame, empty before the first: rows from the top, four bytes a pixel, blue first.
  // The memory is the session's and holds this frame until the next call or the session's end.
  public unsafe ReadOnlySpan<byte> Frame(out uint width, out uint height) {
    if (!Native.wgc_get_recent_frame(CheckThread(), out var frame, IntPtr.Zero, out width,
                                     out height, out _)) return default;
    return new ReadOnlySpan<byte>(frame.ToPointer(), checked((int)(width * height * 4)));
  }

  // The share of the picture that the last frame changed; 0 until the next frame.
  public float UpdateRatio() => Native.wgc_get_update_ratio(CheckThread());
  public bool IsRunning => Native.wgc_get_status(this);  // any thread
  public void DetectChanges(bool on) => Native.wgc_set_dirty_rect(this, on);  // any thread
  public void DrawCursor(bool on) =>
      Check(Native.wgc_enable_cursor(CheckThread(), on), "the cursor cannot be drawn" + problem);
  public void ShowBorder(bool on) =>
      Check(Native.wgc_show_border(CheckThread(), on), "the border cannot be hidden" + problem);

  protected override void Dispose(bool disposing) {
    if (disposing) CheckThread();
    base.Dispose(disposing);
  }
  // Finalizers run on another thread, where a session must not end: it lives on with the process.
  protected override bool ReleaseHandle() {
    if (Thread.CurrentThread == thread) Native.wgc_session_destroy(handle);
    return Thread.CurrentThread == thread;
  }

  Session CheckThread() => Thread.CurrentThread == thread
      ? this : throw new CaptureException("the session belongs to another thread");
  static void OnLogLine(int level, string line, UIntPtr length) {
    if (level > 1) problem = ": " + line;
    Logged?.Invoke(level, line);
  }
  static void Check(bool done, string message) { if (!done) throw new CaptureException(message); }
}
}
