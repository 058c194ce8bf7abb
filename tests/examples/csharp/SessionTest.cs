// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// QuillWgc.cs against the library's own sources, on the native tests' platform, which the same shared
// object holds. Runs each case on a thread of its own.
using System;
using System.Collections.Generic;
using System.Reflection;
using System.Runtime.CompilerServices;
using System.Runtime.InteropServices;
using System.Threading;
using QuillWgc;

static class Platform {
  const string Dll = "libquill-wgc.dll";
  const UnmanagedType U1 = UnmanagedType.U1;

  [DllImport(Dll)] public static extern void fake_reset(int width, int height);
  [DllImport(Dll)] [return: MarshalAs(U1)]
  public static extern bool fake_deliver(byte[] pixels, uint width, uint height);
  [DllImport(Dll)] public static extern void fake_close_item();
  [DllImport(Dll)] public static extern void fake_fail_device();
  [DllImport(Dll)] public static extern void fake_be_old();
  [DllImport(Dll)] [return: MarshalAs(U1)] public static extern bool fake_captures_monitor();
  [DllImport(Dll)] [return: MarshalAs(U1)] public static extern bool fake_cursor_captured();
  [DllImport(Dll)] [return: MarshalAs(U1)] public static extern bool fake_border_drawn();
  [DllImport(Dll)] public static extern long fake_live_objects();
  [DllImport(Dll)] public static extern void fake_release(IntPtr com);
}

static class Cases {
  // Targets that the platform takes for real ones.
  static readonly IntPtr Window = (IntPtr)0x10, Monitor = (IntPtr)0x20;
  // Two by two watched tiles of 32 x 32 pixels, and some more on each side.
  public const int Width = 97, Height = 65;
  const string SecondStart = "capture could not start: Winrt exception:-2147417842";

  static byte[] Picture(int seed) {
    var pixels = new byte[Width * Height * 4];
    new Random(seed).NextBytes(pixels);
    return pixels;
  }

  static void Show(byte[] pixels) =>
      Require(Platform.fake_deliver(pixels, Width, Height), "somebody takes the frame");

  static void Require(bool holds, string what, [CallerLineNumber] int line = 0) {
    if (!holds) throw new Exception("line " + line + ": " + what);
  }

  static void RequireEqual<T>(T found, T expected, [CallerLineNumber] int line = 0) =>
      Require(Equals(found, expected), found + " instead of " + expected, line);

  static void RequireProblem(string message, Action action, [CallerLineNumber] int line = 0) {
    try {
      action();
    } catch (CaptureException problem) {
      RequireEqual(problem.Message, message, line);
      return;
    }
    Require(false, "no exception", line);
  }

  static void OnOtherThread(Action action, ApartmentState apartment = ApartmentState.MTA) {
    Exception problem = null;
    var thread = new Thread(() => {
      try {
        action();
      } catch (Exception caught) {
        problem = caught;
      }
    });
    thread.SetApartmentState(apartment);
    thread.Start();
    thread.Join();
    if (problem != null) throw problem;
  }

  static void Collect() {
    for (int i = 0; i < 3; ++i) {
      GC.Collect();
      GC.WaitForPendingFinalizers();
    }
  }

  static bool Holds(ReadOnlySpan<byte> frame, byte[] pixels) => frame.SequenceEqual(pixels);

  public static void FramesAreTheSessionsOwnMemory() {
    using (var session = new Session(Window)) {
      Require(!Platform.fake_captures_monitor(), "a window");
      Require(session.Frame(out var width, out var height).IsEmpty, "no frame yet");
      Show(Picture(1));
      var first = session.Frame(out width, out height);
      RequireEqual(width + " x " + height, Width + " x " + Height);
      Require(Holds(first, Picture(1)), "every byte");
      Show(Picture(2));
      Require(Holds(session.Frame(out _, out _), Picture(2)), "every byte of the second");
      Require(Holds(first, Picture(2)), "no copy: overwritten by the second");
    }
  }

  public static void CapturesAMonitor() {
    using (var session = new Session(Monitor, isMonitor: true)) {
      Require(Platform.fake_captures_monitor(), "a monitor");
      Show(Picture(3));
      Require(Holds(session.Frame(out _, out _), Picture(3)), "every byte");
    }
    RequireProblem("no session could be created", () => new Session(IntPtr.Zero, true));
  }

  public static void RatioIsThatOfTheLastFrame() {
    using (var session = new Session(Window)) {
      Show(Picture(1));
      session.Frame(out _, out _);
      RequireEqual(session.UpdateRatio(), 1f);
      RequireEqual(session.UpdateRatio(), 0f);
      session.DetectChanges(true);
      Show(Picture(1));
      session.Frame(out _, out _);
      RequireEqual(session.UpdateRatio(), 1f);  // detection's own first frame
      var changed = Picture(1);
      changed[(40 * Width + 50) * 4] ^= 1;  // in the second tile of the second row
      Show(changed);
      session.Frame(out _, out _);
      RequireEqual(Math.Round(session.UpdateRatio(), 6), Math.Round(32.0 * 32 / (Width * Height), 6));
    }
  }

  public static void RunsUntilTheWindowCloses() {
    Session ended;
    using (var session = ended = new Session(Window)) {
      Require(session.IsRunning, "runs");
      Platform.fake_close_item();
      Require(!session.IsRunning, "is closed");
    }
    try {
      Require(ended.IsRunning, "an exception");
    } catch (ObjectDisposedException) {
    }
  }

  public static void SwitchesReachThePlatform() {
    using (var session = new Session(Window)) {
      foreach (bool cursor in new[] {true, false}) {
        foreach (bool border in new[] {true, false}) {
          session.DrawCursor(cursor);
          session.ShowBorder(border);
          RequireEqual(Platform.fake_cursor_captured(), cursor);
          RequireEqual(Platform.fake_border_drawn(), border);
        }
      }
    }
  }

  public static void RefusedSwitchThrowsTheLibrarysReason() {
    Require(Native.is_wgc_session_supported(), "supported");
    Platform.fake_be_old();
    Require(!Native.is_wgc_session_supported(), "not supported");
    using (var session = new Session(Window)) {
      // Another thread logs a line before this one throws.
      Action<int, string> interrupt = null;
      interrupt = (level, line) => {
        Session.Logged -= interrupt;
        OnOtherThread(() => Native.wgc_show_border(session, false));
      };
      Session.Logged += interrupt;
      RequireProblem("the cursor cannot be drawn: Failed to enable cursor",
                     () => session.DrawCursor(true));
      RequireProblem("the border cannot be hidden: Failed to  hide border",
                     () => session.ShowBorder(false));
    }
  }

  public static void FailedStartThrowsTheLibrarysReason() {
    Platform.fake_fail_device();
    RequireProblem("capture could not start: Failed to create d3d11 device,hr:80004005",
                   () => new Session(Window));
  }

  public static void SecondStartOnAThreadFailsAndLeavesTheFirst() {
    using (var session = new Session(Window)) {
      RequireProblem(SecondStart, () => new Session(Window));
      Show(Picture(4));
      Require(Holds(session.Frame(out _, out _), Picture(4)), "the first captures");
    }
    RequireProblem(SecondStart, () => new Session(Window));
  }

  public static void SessionBelongsToItsThread() {
    const string foreign = "the session belongs to another thread";
    using (var session = new Session(Window)) {
      OnOtherThread(() => {
        RequireProblem(foreign, () => session.Frame(out _, out _));
        RequireProblem(foreign, () => session.UpdateRatio());
        RequireProblem(foreign, () => session.DrawCursor(true));
        RequireProblem(foreign, () => session.ShowBorder(true));
        RequireProblem(foreign, session.Dispose);
        Require(session.IsRunning, "may be asked from any thread");
        session.DetectChanges(true);
      });
      Require(session.IsRunning, "runs");
    }
    OnOtherThread(() => RequireProblem("this thread is [STAThread]", () => new Session(Window)),
                  ApartmentState.STA);
  }

  public static void LogOutlivesCollections() {
    var lines = new List<string>();
    Action<int, string> add = (level, line) => lines.Add(level + " " + line);
    using (var session = new Session(Window)) {
      Collect();
      Session.Logged += add;
      session.DetectChanges(true);
      Session.Logged -= add;
      session.DetectChanges(false);
    }
    RequireEqual(string.Join("|", lines), "1 Set dirtyRect enable");
  }

  public static void ForgottenSessionIsNotEndedByTheCollector() {
    long before = Platform.fake_live_objects();
    WeakReference forgotten = null;
    IntPtr handle = IntPtr.Zero;
    OnOtherThread(() => {
      var session = new Session(Window);
      handle = session.DangerousGetHandle();
      forgotten = new WeakReference(session);
    });
    Collect();
    Require(!forgotten.IsAlive, "collected");
    Require(Platform.fake_live_objects() > before, "still there");
    Native.wgc_session_destroy(handle);  // which this platform allows on any thread
  }

  public static void TexturesAreReachable() {
    using (var session = new Session(Window)) {
      Require(Native.wgc_get_device(session) != IntPtr.Zero, "a device");
      Native.wgc_set_capture_to_texture(session, true);
      Show(Picture(5));
      Require(Native.wgc_get_recent_frame(session, out var texture, IntPtr.Zero, out var width,
                                          out var height, out var cursor), "a texture");
      RequireEqual((width, height, cursor), ((uint)Width, (uint)Height, false));
      Platform.fake_release(texture);
      Native.wgc_free_recent_frame(session, texture);
    }
  }
}

static class SessionTest {
  static int Main() {
    int failures = 0;
    foreach (var method in typeof(Cases).GetMethods(BindingFlags.DeclaredOnly | BindingFlags.Public |
                                                    BindingFlags.Static)) {
      var test = (Action)method.CreateDelegate(typeof(Action));
      Platform.fake_reset(Cases.Width, Cases.Height);
      long objects = Platform.fake_live_objects();
      string problem = null;
      var thread = new Thread(() => {
        try {
          test();
        } catch (Exception caught) {
          problem = caught.ToString();
        }
      });
      thread.Start();
      thread.Join();
      if (problem == null && Platform.fake_live_objects() != objects) problem = "objects are left";
      if (problem == null) continue;
      Console.Error.WriteLine(method.Name + ": " + problem);
      ++failures;
    }
    return failures == 0 ? 0 : 1;
  }
}
