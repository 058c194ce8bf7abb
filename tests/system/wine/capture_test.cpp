// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Frames of a running capture: what they show and when they come.

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "painted_window.h"
#include "platform.h"
#include "recording.h"

namespace wine_test {
namespace {

INT64 PerformanceTime() {
  LARGE_INTEGER frequency;
  LARGE_INTEGER counter;
  QueryPerformanceFrequency(&frequency);
  QueryPerformanceCounter(&counter);
  return static_cast<INT64>(static_cast<double>(counter.QuadPart) * 1e7 /
                            static_cast<double>(frequency.QuadPart));
}

SizeInt32 ContentSize(IDirect3D11CaptureFrame* frame) {
  SizeInt32 size = {};
  EXPECT_EQ(frame->get_ContentSize(&size), S_OK);
  return size;
}

INT64 TimeOf(IDirect3D11CaptureFrame* frame) {
  ABI::Windows::Foundation::TimeSpan time = {};
  EXPECT_EQ(frame->get_SystemRelativeTime(&time), S_OK);
  return time.Duration;
}

// The number of pixels of the area at (left, top) of `pixels` that are not those of the picture.
int Mismatches(const Pixels& pixels, int left, int top, SIZE area, int picture) {
  if (left + area.cx > pixels.width || top + area.cy > pixels.height) return -1;
  int wrong = 0;
  for (int y = 0; y < area.cy; ++y) {
    for (int x = 0; x < area.cx; ++x) {
      wrong += pixels.At(left + x, top + y) != PaintedPixel(picture, x, y);
    }
  }
  return wrong;
}

bool Shows(IDirect3D11CaptureFrame* frame, SIZE area, int picture, int left = 0, int top = 0) {
  return Mismatches(ReadPixels(frame), left, top, area, picture) == 0;
}

// Of the recorded window, which is 160 x 120.
auto ShowsAll(int picture) {
  return [picture](IDirect3D11CaptureFrame* frame) { return Shows(frame, {160, 120}, picture); };
}

TEST(Capture, ShowsTheWindowsPixels) {
  const PaintedWindow window;
  Recording recording(MakeItem(window.Handle()));
  const auto frame = recording.NextFrame();
  ASSERT_TRUE(frame);
  EXPECT_EQ(ContentSize(frame.Get()).Width, 160);
  EXPECT_EQ(ContentSize(frame.Get()).Height, 120);
  const Pixels pixels = ReadPixels(frame.Get());
  EXPECT_EQ(pixels.width, 160);
  EXPECT_EQ(pixels.height, 120);
  EXPECT_EQ(Mismatches(pixels, 0, 0, {160, 120}, 0), 0);
}

TEST(Capture, IncludesTheWindowsFrame) {
  WindowOptions options;
  options.style = WS_OVERLAPPEDWINDOW;
  options.client = {200, 150};
  const PaintedWindow window(options);
  RECT outer;
  GetWindowRect(window.Handle(), &outer);
  POINT client = {0, 0};
  ClientToScreen(window.Handle(), &client);
  ASSERT_GT(client.y, outer.top);
  Recording recording(MakeItem(window.Handle()));
  const auto frame = recording.NextFrame();
  ASSERT_TRUE(frame);
  const Pixels pixels = ReadPixels(frame.Get());
  EXPECT_EQ(pixels.width, outer.right - outer.left);
  EXPECT_EQ(pixels.height, outer.bottom - outer.top);
  EXPECT_EQ(Mismatches(pixels, client.x - outer.left, client.y - outer.top, {200, 150}, 0), 0);
}

TEST(Capture, SendsAFrameWhenTheWindowChangesAndNoneOtherwise) {
  PaintedWindow window;
  Recording recording(MakeItem(window.Handle()));
  recording.TakeAllFrames();
  for (int picture = 1; picture <= 5; ++picture) {
    EXPECT_FALSE(recording.NextFrame(100));
    window.Show(picture);
    EXPECT_TRUE(recording.FrameWhere(ShowsAll(picture)));
    recording.TakeAllFrames();
  }
}

TEST(Capture, SendsAFrameEveryTickWhenTheRegistrySaysSo) {
  const PlatformSetting setting(L"SendUnchangedFrames", 1);
  const PaintedWindow window;
  Recording recording(MakeItem(window.Handle()));
  ASSERT_TRUE(recording.NextFrame());
  const ULONGLONG begin = GetTickCount64();
  INT64 previous_time = 0;
  for (int i = 0; i < 30; ++i) {
    const auto frame = recording.NextFrame();
    ASSERT_TRUE(frame);
    EXPECT_EQ(Mismatches(ReadPixels(frame.Get()), 0, 0, {160, 120}, 0), 0);
    EXPECT_GT(TimeOf(frame.Get()), previous_time);
    previous_time = TimeOf(frame.Get());
  }
  // 30 frames at 60 a second take half a second; the tick count is 16 ms coarse.
  EXPECT_GE(GetTickCount64() - begin, 450u);
}

TEST(Capture, CountsTimeByThePerformanceCounter) {
  PaintedWindow window;
  Recording recording(MakeItem(window.Handle()));
  recording.TakeAllFrames();
  const INT64 before = PerformanceTime();
  window.Show(1);
  const auto frame = recording.NextFrame();
  const INT64 after = PerformanceTime();
  ASSERT_TRUE(frame);
  EXPECT_GE(TimeOf(frame.Get()), before - 10);  // 1 us, for the rounding of the double.
  EXPECT_LE(TimeOf(frame.Get()), after + 10);
}

TEST(Capture, CutsOffWhatExceedsThePoolsSize) {
  PaintedWindow window;
  Recording recording(MakeItem(window.Handle()));
  recording.TakeAllFrames();
  window.Resize({300, 200});
  window.Show(1);
  const auto frame = recording.FrameWhere([](IDirect3D11CaptureFrame* f) {
    return ContentSize(f).Width == 300 && ContentSize(f).Height == 200 && Shows(f, {160, 120}, 1);
  });
  ASSERT_TRUE(frame);
  const Pixels pixels = ReadPixels(frame.Get());
  EXPECT_EQ(pixels.width, 160);
  EXPECT_EQ(pixels.height, 120);
}

TEST(Capture, PutsSmallerContentAtTheTopLeft) {
  PaintedWindow window;
  Recording recording(MakeItem(window.Handle()));
  recording.TakeAllFrames();
  for (const SIZE size : {SIZE{100, 70}, SIZE{100, 110}}) {
    window.Resize(size);
    window.Show(1);
    const auto frame = recording.FrameWhere([&](IDirect3D11CaptureFrame* f) {
      return ContentSize(f).Width == size.cx && ContentSize(f).Height == size.cy &&
             Shows(f, size, 1);
    });
    ASSERT_TRUE(frame) << size.cy;
    const Pixels pixels = ReadPixels(frame.Get());
    EXPECT_EQ(pixels.width, 160);
    EXPECT_EQ(pixels.height, 120);
  }
}

TEST(Capture, PausesWhileTheWindowIsMinimised) {
  const PlatformSetting setting(L"SendUnchangedFrames", 1);
  PaintedWindow window;
  Recording recording(MakeItem(window.Handle()));
  ASSERT_TRUE(recording.NextFrame());
  window.SetState(SW_MINIMIZE);
  ASSERT_TRUE(IsIconic(window.Handle()));
  recording.TakeAllFrames();
  EXPECT_FALSE(recording.NextFrame(400));
  window.SetState(SW_RESTORE);
  EXPECT_TRUE(recording.FrameWhere(ShowsAll(0)));
}

TEST(Capture, WaitsUntilAWindowThatIsShownAgainIsPainted) {
  const PlatformSetting setting(L"SendUnchangedFrames", 1);
  PaintedWindow window;
  Recording recording(MakeItem(window.Handle()));
  const int states[][2] = {{SW_MINIMIZE, SW_RESTORE}, {SW_HIDE, SW_SHOWNA}};
  for (const auto& [gone, shown] : states) {
    window.SetState(gone);
    recording.TakeAllFrames();
    window.SetState(shown, 150);
    for (int i = 0; i < 5; ++i) {
      const auto frame = recording.NextFrame();
      ASSERT_TRUE(frame);
      EXPECT_TRUE(Shows(frame.Get(), {160, 120}, 0)) << shown << ", frame " << i;
    }
  }
}

TEST(Capture, EndsWithTheWindow) {
  const PlatformSetting setting(L"SendUnchangedFrames", 1);
  PaintedWindow window;
  Recording recording(MakeItem(window.Handle()));
  ASSERT_TRUE(recording.NextFrame());
  window.Destroy();
  recording.TakeAllFrames();
  EXPECT_FALSE(recording.NextFrame(300));
}

TEST(Capture, ShowsTheMonitor) {
  WindowOptions options;
  options.position = {333, 222};
  options.ex_style = WS_EX_TOPMOST;
  const PaintedWindow window(options);
  const HMONITOR monitor = MonitorFromPoint({0, 0}, MONITOR_DEFAULTTOPRIMARY);
  Recording recording(MakeItem(monitor));
  EXPECT_TRUE(recording.FrameWhere([](IDirect3D11CaptureFrame* frame) {
    return ContentSize(frame).Width == GetSystemMetrics(SM_CXSCREEN) &&
           ContentSize(frame).Height == GetSystemMetrics(SM_CYSCREEN) &&
           Shows(frame, {160, 120}, 0, 333, 222);
  }));
}

// Pixels of `picture` with the arrow drawn over them at `position`, by GDI.
std::vector<UINT32> PictureWithArrow(SIZE size, int picture, POINT position) {
  BITMAPINFO info = {};
  info.bmiHeader.biSize = sizeof(info.bmiHeader);
  info.bmiHeader.biWidth = size.cx;
  info.bmiHeader.biHeight = -size.cy;
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 32;
  void* bits = nullptr;
  const HDC dc = CreateCompatibleDC(nullptr);
  const HBITMAP bitmap = CreateDIBSection(dc, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
  const HGDIOBJ previous = SelectObject(dc, bitmap);
  const auto pixels = static_cast<UINT32*>(bits);
  for (int y = 0; y < size.cy; ++y) {
    for (int x = 0; x < size.cx; ++x) pixels[y * size.cx + x] = PaintedPixel(picture, x, y);
  }
  const HCURSOR arrow = LoadCursor(nullptr, IDC_ARROW);
  ICONINFO icon = {};
  GetIconInfo(arrow, &icon);
  DeleteObject(icon.hbmMask);
  DeleteObject(icon.hbmColor);
  DrawIconEx(dc, position.x - icon.xHotspot, position.y - icon.yHotspot, arrow, 0, 0, 0, nullptr,
             DI_NORMAL);
  GdiFlush();
  std::vector<UINT32> result(pixels, pixels + size.cx * size.cy);
  for (UINT32& pixel : result) pixel |= 0xFF000000u;
  SelectObject(dc, previous);
  DeleteObject(bitmap);
  DeleteDC(dc);
  return result;
}

TEST(Capture, DrawsTheCursorOnlyWhenAsked) {
  PaintedWindow window;  // At (100, 100), with the arrow for its cursor.
  ASSERT_TRUE(PutCursor(window, LoadCursor(nullptr, IDC_ARROW), {160, 150}));
  Recording recording(MakeItem(window.Handle()), 2, {0, 0}, true);
  const auto expected = PictureWithArrow({160, 120}, 0, {60, 50});
  EXPECT_TRUE(recording.FrameWhere(
      [&](IDirect3D11CaptureFrame* frame) { return ReadPixels(frame).values == expected; }));
  ComPointer<IGraphicsCaptureSession2> session;
  recording.Session()->QueryInterface(__uuidof(IGraphicsCaptureSession2),
                                      reinterpret_cast<void**>(session.Put()));
  EXPECT_EQ(session->put_IsCursorCaptureEnabled(false), S_OK);
  EXPECT_TRUE(recording.FrameWhere(ShowsAll(0)));
}

// A cursor of 32 x 32 pixels that is transparent but for a white one at its hotspot.
class SpotCursor {
 public:
  explicit SpotCursor(POINT hotspot) {
    BYTE transparent[32 * 4];
    BYTE white[32 * 4] = {};
    std::fill(std::begin(transparent), std::end(transparent), static_cast<BYTE>(0xFF));
    const int byte = hotspot.y * 4 + hotspot.x / 8;
    const BYTE bit = static_cast<BYTE>(0x80 >> hotspot.x % 8);
    transparent[byte] = static_cast<BYTE>(~bit);
    white[byte] = bit;
    cursor_ = CreateCursor(nullptr, hotspot.x, hotspot.y, 32, 32, transparent, white);
  }
  SpotCursor(const SpotCursor&) = delete;
  SpotCursor& operator=(const SpotCursor&) = delete;
  ~SpotCursor() { DestroyCursor(cursor_); }

  HCURSOR Handle() const { return cursor_; }

 private:
  HCURSOR cursor_ = nullptr;
};

// The arrow's own hotspot is its corner.
TEST(Capture, DrawsTheCursorWithItsHotspotWhereItPoints) {
  const SpotCursor cursor({19, 6});
  ASSERT_NE(cursor.Handle(), nullptr);
  WindowOptions options;  // At (100, 100).
  options.cursor = cursor.Handle();
  PaintedWindow window(options);
  ASSERT_TRUE(PutCursor(window, cursor.Handle(), {160, 150}));
  Recording recording(MakeItem(window.Handle()), 2, {0, 0}, true);
  EXPECT_TRUE(recording.FrameWhere([](IDirect3D11CaptureFrame* frame) {
    Pixels pixels = ReadPixels(frame);
    const bool white = pixels.At(60, 50) == 0xFFFFFFFF;
    pixels.values[50 * 160 + 60] = PaintedPixel(0, 60, 50);
    return white && Mismatches(pixels, 0, 0, {160, 120}, 0) == 0;
  }));
}

TEST(Capture, RaisesFrameArrivedOnceAFrameOnTheQueuesThreadWhileItPumps) {
  PaintedWindow window;
  Recording recording(MakeItem(window.Handle()));
  recording.TakeAllFrames();
  int raised = 0;
  int empty = 0;
  const DWORD own_thread = GetCurrentThreadId();
  const auto handler = ArrivedHandler::Make([&](IDirect3D11CaptureFramePool* pool, IInspectable*) {
    ++raised;
    EXPECT_EQ(GetCurrentThreadId(), own_thread);
    EXPECT_EQ(pool, recording.Pool());
    ComPointer<IDirect3D11CaptureFrame> frame;
    EXPECT_EQ(pool->TryGetNextFrame(frame.Put()), S_OK);
    empty += !frame;
  });
  EventRegistrationToken token;
  ASSERT_EQ(recording.Pool()->add_FrameArrived(handler.Get(), &token), S_OK);
  window.Show(1);
  Sleep(150);
  window.Show(2);
  Sleep(150);
  EXPECT_EQ(raised, 0);
  DrainMessages();
  EXPECT_EQ(raised, 2);
  EXPECT_EQ(empty, 0);
  EXPECT_EQ(recording.Pool()->remove_FrameArrived(token), S_OK);
  window.Show(3);
  EXPECT_TRUE(recording.FrameWhere(ShowsAll(3)));
  EXPECT_EQ(raised, 2);
}

// The handler takes longer than a tick, so that a new picture could be due whenever it returns.
TEST(Capture, LetsAHostWithASlowHandlerEmptyItsMessageQueue) {
  const PlatformSetting setting(L"SendUnchangedFrames", 1);
  const PaintedWindow window;
  Recording recording(MakeItem(window.Handle()));
  int raised = 0;
  EventRegistrationToken token;
  const auto handler = ArrivedHandler::Make([&](IDirect3D11CaptureFramePool* pool, IInspectable*) {
    ComPointer<IDirect3D11CaptureFrame> frame;
    pool->TryGetNextFrame(frame.Put());
    Sleep(40);
    if (++raised == 100) pool->remove_FrameArrived(token);
  });
  ASSERT_EQ(recording.Pool()->add_FrameArrived(handler.Get(), &token), S_OK);
  for (int i = 0; i < 5; ++i) {
    raised = 0;
    Sleep(100);
    DrainMessages();
    EXPECT_GE(raised, 1);
    // Two buffers, and one more picture may be due before the first event is begun.
    EXPECT_LE(raised, 3);
  }
}

TEST(Capture, GoesOnSendingToASlowHandlerWhereTheRegistrySaysSo) {
  const PlatformSetting every_tick(L"SendUnchangedFrames", 1);
  const PlatformSetting during_events(L"SendDuringEvents", 1);
  const PaintedWindow window;
  Recording recording(MakeItem(window.Handle()));
  int raised = 0;
  EventRegistrationToken token;
  const auto handler = ArrivedHandler::Make([&](IDirect3D11CaptureFramePool* pool, IInspectable*) {
    ComPointer<IDirect3D11CaptureFrame> frame;
    pool->TryGetNextFrame(frame.Put());
    frame.Reset();
    Sleep(100);
    // Frames that nobody takes fill the buffers, and the queue is empty soon.
    if (++raised == 20) pool->remove_FrameArrived(token);
  });
  ASSERT_EQ(recording.Pool()->add_FrameArrived(handler.Get(), &token), S_OK);
  Sleep(100);
  DrainMessages();
  EXPECT_EQ(raised, 20);
}

TEST(Capture, TakesNoPictureUntilTheEventsOfEarlierOnesAreWorkedOff) {
  const PlatformSetting setting(L"SendUnchangedFrames", 1);
  const PaintedWindow window;
  Recording recording(MakeItem(window.Handle()));
  int raised = 0;
  const auto handler =
      ArrivedHandler::Make([&](IDirect3D11CaptureFramePool*, IInspectable*) { ++raised; });
  EventRegistrationToken token;
  ASSERT_EQ(recording.Pool()->add_FrameArrived(handler.Get(), &token), S_OK);
  Sleep(300);  // Time for both buffers to be filled; nothing is dispatched.
  MSG message;
  while (raised == 0 && PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    DispatchMessageW(&message);
  }
  ASSERT_EQ(raised, 1);
  ComPointer<IDirect3D11CaptureFrame> frame;
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(recording.Pool()->TryGetNextFrame(frame.Put()), S_OK);
    EXPECT_TRUE(frame);
  }
  frame.Reset();
  Sleep(100);
  EXPECT_EQ(recording.Pool()->TryGetNextFrame(frame.Put()), S_OK);
  EXPECT_FALSE(frame);
  EXPECT_TRUE(recording.NextFrame());
}

TEST(Session, RefusesCallsOnceClosedAndASecondStart) {
  const PaintedWindow window;
  Recording recording(MakeItem(window.Handle()));
  IGraphicsCaptureSession* const session = recording.Session();
  EXPECT_EQ(session->StartCapture(), static_cast<HRESULT>(0x8000000E));  // E_ILLEGAL_METHOD_CALL
  ComPointer<IGraphicsCaptureSession2> cursor;
  ComPointer<IGraphicsCaptureSession3> border;
  session->QueryInterface(__uuidof(IGraphicsCaptureSession2),
                          reinterpret_cast<void**>(cursor.Put()));
  session->QueryInterface(__uuidof(IGraphicsCaptureSession3),
                          reinterpret_cast<void**>(border.Put()));
  boolean value = true;
  EXPECT_EQ(cursor->get_IsCursorCaptureEnabled(&value), S_OK);
  EXPECT_FALSE(value);
  EXPECT_EQ(border->put_IsBorderRequired(false), S_OK);
  EXPECT_EQ(border->get_IsBorderRequired(&value), S_OK);
  EXPECT_FALSE(value);
  EXPECT_EQ(Close(session), S_OK);
  EXPECT_EQ(Close(session), S_OK);
  EXPECT_EQ(session->StartCapture(), kClosed);
  EXPECT_EQ(cursor->put_IsCursorCaptureEnabled(true), kClosed);
  EXPECT_EQ(border->put_IsBorderRequired(true), kClosed);
}

TEST(Session, IsNotStartedOnceItsPoolIsClosedOrGone) {
  EnsureDispatcherQueue();
  const PaintedWindow window;
  for (const bool closed : {true, false}) {
    auto pool = MakePool({160, 120});
    ComPointer<IGraphicsCaptureSession> session;
    ASSERT_EQ(pool->CreateCaptureSession(MakeItem(window.Handle()).Get(), session.Put()), S_OK);
    if (closed) {
      EXPECT_EQ(Close(pool.Get()), S_OK);
    } else {
      pool.Reset();
    }
    EXPECT_EQ(session->StartCapture(), kClosed) << closed;
  }
}

TEST(Session, StopsSendingWhenClosed) {
  const PlatformSetting setting(L"SendUnchangedFrames", 1);
  const PaintedWindow window;
  Recording recording(MakeItem(window.Handle()));
  ASSERT_TRUE(recording.NextFrame());
  EXPECT_EQ(Close(recording.Session()), S_OK);
  recording.TakeAllFrames();
  EXPECT_FALSE(recording.NextFrame(300));
}

// Whether the object tells that it has the interface.
bool Tells(IInspectable* object, const IID& iid) {
  ULONG count = 0;
  IID* iids = nullptr;
  EXPECT_EQ(object->GetIids(&count, &iids), S_OK);
  const bool told = std::find(iids, iids + count, iid) != iids + count;
  CoTaskMemFree(iids);
  return told;
}

TEST(Session, HasNoInterfaceOfAPropertyThatThePlatformLacks) {
  EnsureDispatcherQueue();
  const PaintedWindow window;
  const auto pool = MakePool({160, 120});
  const auto make_session = [&] {
    ComPointer<IGraphicsCaptureSession> session;
    EXPECT_EQ(pool->CreateCaptureSession(MakeItem(window.Handle()).Get(), session.Put()), S_OK);
    return session;
  };
  EXPECT_TRUE(make_session().As<IGraphicsCaptureSession2>());
  EXPECT_TRUE(make_session().As<IGraphicsCaptureSession3>());
  EXPECT_TRUE(Tells(make_session().Get(), __uuidof(IGraphicsCaptureSession2)));
  const PlatformSetting no_cursor(L"WithoutCursorProperty", 1);
  EXPECT_FALSE(make_session().As<IGraphicsCaptureSession2>());
  EXPECT_FALSE(Tells(make_session().Get(), __uuidof(IGraphicsCaptureSession2)));
  EXPECT_TRUE(make_session().As<IGraphicsCaptureSession3>());
  const PlatformSetting no_border(L"WithoutBorderProperty", 1);
  EXPECT_FALSE(make_session().As<IGraphicsCaptureSession3>());
}

// The window of wine_painter.exe, which lies beside this program.
class OtherProcess {
 public:
  OtherProcess() {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, ARRAYSIZE(path));
    const std::wstring folder = std::wstring(path, std::wstring(path).rfind(L'\\') + 1);
    const std::wstring title = L"painter-of-" + std::to_wstring(GetCurrentProcessId());
    std::wstring command = L"\"" + folder + L"wine_painter.exe\" " + title;
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &process_)) {
      return;
    }
    for (int i = 0; i < 500 && !window_; ++i) {
      Sleep(20);
      window_ = FindWindowW(kPaintedWindowClass, title.c_str());
    }
  }
  OtherProcess(const OtherProcess&) = delete;
  OtherProcess& operator=(const OtherProcess&) = delete;
  ~OtherProcess() {
    if (!process_.hProcess) return;
    PostMessageW(window_, WM_CLOSE, 0, 0);
    if (WaitForSingleObject(process_.hProcess, 5000) != WAIT_OBJECT_0) {
      TerminateProcess(process_.hProcess, 1);
    }
    CloseHandle(process_.hThread);
    CloseHandle(process_.hProcess);
  }

  HWND Window() const { return window_; }

 private:
  PROCESS_INFORMATION process_ = {};
  HWND window_ = nullptr;
};

TEST(Capture, ShowsAnotherProcesssWindow) {
  const OtherProcess other;
  ASSERT_NE(other.Window(), nullptr);
  Recording recording(MakeItem(other.Window()));
  for (int picture = 0; picture < 10; ++picture) {
    ShowPicture(other.Window(), picture);
    EXPECT_TRUE(recording.FrameWhere([&](IDirect3D11CaptureFrame* frame) {
      return Shows(frame, {200, 150}, picture);
    })) << picture;
  }
}

}  // namespace
}  // namespace wine_test
