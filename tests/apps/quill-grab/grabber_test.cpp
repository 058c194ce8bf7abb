// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/session/grabber.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

#include "apps/quill-grab/decode_png.h"
#include "apps/quill-grab/grab_error.h"
#include "apps/quill-grab/grab_test.h"
#include "common/log_sink.h"
#include "quill-grab/output/png/png_series.h"
#include "quill-grab/output/video/stream_format.h"

namespace quill_apps {
namespace {

constexpr double kForever = std::numeric_limits<double>::infinity();

TEST(ScheduleTest, PollThatIsLateByLessThanATickMissesNone) {
  for (const double late : {0.0, 0.24}) {
    Schedule schedule(5.0, 4.0);
    for (int tick = 0; tick < 1000; ++tick) {
      ASSERT_EQ(schedule.next(), 5.0 + tick * 0.25);
      ASSERT_EQ(schedule.Take(schedule.next() + late), 0u);
    }
  }
}

TEST(ScheduleTest, LatePollCountsTheTicksItMissed) {
  Schedule schedule(5.0, 10.0);
  EXPECT_EQ(schedule.Take(5.0), 0u);
  EXPECT_EQ(schedule.Take(5.55), 4u);  // stands for tick 5; 1 to 4 are missed
  EXPECT_DOUBLE_EQ(schedule.next(), 5.6);
  EXPECT_EQ(schedule.Take(5.6), 0u);
}

TEST(ScheduleTest, RoundingErrorsDoNotAddUpOverADay) {
  constexpr int kTicks = 2589408;  // 86400 s at 29.97 a second
  Schedule schedule(0.1, 29.97);
  uint64_t missed = 0;
  for (int tick = 0; tick < kTicks; ++tick) missed += schedule.Take(schedule.next());
  EXPECT_EQ(missed, 0u);
  EXPECT_NEAR(schedule.next(), 0.1 + 86400.0, 1e-6);
}

struct EndCase {
  const char* what;
  uint64_t frames;  // --frames
  double seconds;   // --seconds
  RunState state;
  std::optional<ExitCode> code;  // none while the run goes on
  const char* text = "";
  bool has_stream = false;
};

TEST(RunEndTest, FramesTimeTargetAndInterruptionEndARun) {
  // In the middle of a run: so many frames, of which so many count, and how much outputs have.
  const auto at_1 = [](uint64_t frames, uint64_t counted, double outputs = 0.0) {
    return RunState{1.0, 1.1, frames, counted, outputs, true, false};
  };
  const auto at_5 = [](uint64_t frames, uint64_t counted, double next_poll = 5.1) {
    return RunState{5.0, next_poll, frames, counted, 0.0, true, false};
  };
  const auto closed = [](uint64_t frames) {
    return RunState{1, 1, frames, frames, 0, false, false};
  };
  const auto interrupted = [](uint64_t frames) { return RunState{1, 1, frames, 0, 0, true, true}; };
  const EndCase cases[] = {
      {"in the middle", 3, 5, at_1(2, 2), {}},
      {"enough frames", 3, 5, at_1(3, 3), ExitCode::kOk, "all frames"},
      {"enough frames, closed", 1, 5, closed(1), ExitCode::kOk, "all frames"},
      {"an output has enough", 0, 5, at_1(9, 9, 1.0), ExitCode::kOk, "all frames"},
      {"a stream counts its own", 3, 5, at_1(9, 9, 0.5), {}, "", true},
      {"time over", 0, 5, at_5(9, 9), ExitCode::kOk, "the time is over"},
      {"a tick before the end was missed", 0, 5, at_5(9, 9, 4.9), {}},
      {"time over, no frame", 0, 5, at_5(0, 0), ExitCode::kNoFrame, "no frame arrived in 5.0 s"},
      {"too few frames", 9, 5, at_5(40, 2), ExitCode::kOk,
       "with 2 of 9 frames: the picture did not change more often. Use --seconds for more time"},
      {"too few in a stream", 9, 5, at_5(4, 2), ExitCode::kOk, "before 9 frames", true},
      {"closed before the frames", 9, kForever, closed(2), ExitCode::kTargetClosed, "are kept"},
      {"closed before the time", 0, 5, closed(2), ExitCode::kTargetClosed, "are kept"},
      {"closed, no other end", 0, kForever, closed(2), ExitCode::kOk, "was closed"},
      {"closed, no frame", 0, kForever, closed(0), ExitCode::kNoFrame, "before any frame"},
      {"interrupted", 9, 5, interrupted(1), ExitCode::kOk, "interrupted"},
      {"interrupted, no frame", 0, 5, interrupted(0), ExitCode::kNoFrame, "before any frame"},
  };
  for (const EndCase& each : cases) {
    SCOPED_TRACE(each.what);
    Options options;
    options.frames = each.frames;
    options.seconds = each.seconds;
    if (each.has_stream) options.streams = {{StreamFormats().data(), "-"}};
    const std::optional<Outcome> end = RunEnd(options, each.state);
    ASSERT_EQ(end.has_value(), each.code.has_value());
    if (!end) continue;
    EXPECT_EQ(end->code, *each.code);
    EXPECT_EQ(end->is_error, *each.code != ExitCode::kOk);
    EXPECT_TRUE(Contains(end->text, each.text));
    EXPECT_FALSE(Contains(end->text, "--all")) << "which no run here could use";
  }
}

constexpr FrameSize kNone{0, 0};
constexpr FrameSize kSmall{8, 6};
constexpr FrameSize kLarge{16, 12};

// What the library reports at one poll. The size kNone means no frame.
struct Step {
  FrameSize size;
  float ratio;
  uint8_t colour;       // every byte of the frame
  bool closes = false;  // the target closes during this poll
};

// A library that reports what a test has written down, one step a poll. After the last step it goes
// on reporting that frame with the ratio 0, as the library does when no other frame arrives.
struct Script {
  std::vector<Step> steps;
  bool start_succeeds = true;
  std::atomic<bool>* interrupt_at_end = nullptr;

  size_t polls = 0;
  bool running = false;
  bool ratio_is_unread = false;
  int alive = 0;
  std::vector<uint8_t> bytes;
  Microsoft::WRL::ComPtr<ID3D11Device> device;
  Microsoft::WRL::ComPtr<ID3D11Texture2D> texture;  // handed out instead of bytes
  std::vector<std::string> switches;

  const Step& Current() const { return steps[std::min(polls, steps.size()) - 1]; }
};

Script script;

bool Start(void*) {
  if (!script.start_succeeds) {
    OnLogLine(WGC_LOG_ERROR, "no capture today, hr:80070057", 29);
    OnLogLine(WGC_LOG_WARNING, "no cursor either", 16);
  }
  return script.running = script.start_succeeds;
}

bool GetRecentFrame(void*, void** frame, void*, uint32_t* width, uint32_t* height, bool* cursor) {
  ++script.polls;
  const Step& step = script.Current();
  script.ratio_is_unread = script.polls <= script.steps.size();
  if (step.closes) script.running = false;
  if (script.interrupt_at_end != nullptr && script.polls == script.steps.size()) {
    *script.interrupt_at_end = true;
  }
  *width = step.size.width;
  *height = step.size.height;
  *cursor = false;
  if (step.size == kNone) return false;
  script.bytes.assign(size_t{step.size.width} * step.size.height * 4, step.colour);
  *frame = script.bytes.data();
  if (script.texture) *frame = Microsoft::WRL::ComPtr<ID3D11Texture2D>(script.texture).Detach();
  return true;
}

float GetUpdateRatio(void*) {
  return std::exchange(script.ratio_is_unread, false) ? script.Current().ratio : 0.0f;
}

bool NoteSwitch(const std::string& name, bool on) {
  script.switches.push_back(name + (on ? " on" : " off"));
  return true;
}

Library ScriptedLibrary() {
  Library library{};
  library.wgc_session_create = [](HWND) -> void* { return ++script.alive, &script; };
  library.wgc_session_create2 = [](HMONITOR) -> void* { return ++script.alive, &script; };
  library.wgc_session_start = Start;
  library.wgc_session_destroy = [](void*) { --script.alive; };
  library.wgc_get_recent_frame = GetRecentFrame;
  library.wgc_free_recent_frame = [](void*, void*) {};
  library.wgc_get_update_ratio = GetUpdateRatio;
  library.wgc_get_status = [](void*) { return script.running; };
  library.wgc_get_device = [](void*) { return script.device.Get(); };
  library.wgc_enable_cursor = [](void*, bool on) { return NoteSwitch("cursor", on); };
  library.wgc_show_border = [](void*, bool on) { return NoteSwitch("border", on); };
  library.wgc_set_dirty_rect = [](void*, bool on) { NoteSwitch("detect", on); };
  library.wgc_set_capture_to_texture = [](void*, bool on) { NoteSwitch("texture", on); };
  return library;
}

// Time passes only while the program sleeps or an output takes its time. As in reality, a sleep
// takes a little longer than it should.
struct FakeClock : Clock {
  double Now() override { return now; }
  void Sleep(double seconds) override { now += seconds + 1e-9; }
  double now = 100.0;
};

struct Given {
  FrameRecord record;
  bool has_pixels;
  uint8_t colour;
};

// An output that keeps what it is given.
struct Recorder : Output {
  explicit Recorder(std::vector<Given>& kept) : given(kept) {}
  bool NeedsPixels(const FrameRecord&) const override { return needs_pixels; }
  void Take(FrameRecord& record, const PixelView* pixels) override {
    given.push_back({record, pixels != nullptr, pixels != nullptr ? *pixels->pixels : uint8_t{0}});
    if (given.size() == special_frame) special();
  }
  double Completion() const override { return enough != 0 && given.size() >= enough ? 1.0 : 0.0; }
  void Finish(const RunResult&) override {}

  std::vector<Given>& given;
  bool needs_pixels = true;
  size_t enough = 0;
  size_t special_frame = 0;  // counted from 1
  std::function<void()> special;
};

class GrabberTest : public ComTest {
 protected:
  GrabberTest() {
    script = Script();
    options_.fps = 20.0;
    options_.seconds = 0.5;
  }

  Recorder& AddRecorder() {
    auto recorder = std::make_unique<Recorder>(given_);
    Recorder& added = *recorder;
    outputs_.push_back(std::move(recorder));
    return added;
  }

  // With PNG files as the output if the test has added none.
  Outcome Run(std::vector<Step> steps) {
    const OutputFolder folder(temporary_.path().string());
    const PngEncoder encoder;
    Grabber::Outputs png;
    png.push_back(std::make_unique<PngSeries>(options_.all, folder, encoder));
    script.steps = std::move(steps);
    const HMONITOR monitor = reinterpret_cast<HMONITOR>(1);
    CaptureSession session(library_, nullptr, monitor, SwitchesOf(options_));
    Progress progress(options_, nullptr, console_);
    Grabber grabber(session, options_, outputs_.empty() ? png : outputs_, progress, clock_);
    const Outcome outcome = grabber.Run(interrupted_);
    summary_ = grabber.summary();
    return outcome;
  }

  // The colour of a written frame of this size; -1 if there is no such file.
  int Written(const char* name, FrameSize size = kSmall) const {
    const Picture picture = DecodePng(ReadBytes(temporary_ / name));
    const bool has_size = picture.width == size.width && picture.height == size.height;
    return has_size ? static_cast<int>(picture.pixels[0] & 0xFF) : -1;
  }

  const Library library_ = ScriptedLibrary();
  Options options_;
  Console console_{"quill-grab"};
  FakeClock clock_;
  Grabber::Outputs outputs_;
  std::vector<Given> given_;
  TemporaryFolder temporary_;
  std::atomic<bool> interrupted_{false};
  Summary summary_;
};

TEST_F(GrabberTest, OnlyNewFramesAreWritten) {
  const Outcome outcome = Run({{kNone, 0, 0},
                               {kSmall, 1.0f, 10},
                               {kSmall, 0.0f, 10},
                               {kSmall, 0.25f, 20},
                               {kLarge, 0.0f, 30}});
  EXPECT_EQ(outcome.code, ExitCode::kOk);
  EXPECT_FALSE(outcome.is_error);
  EXPECT_EQ(summary_.written(), 3u);
  EXPECT_EQ(summary_.new_frames(), 3u);
  EXPECT_EQ(temporary_.CountFiles(), 3u);
  EXPECT_EQ(Written("frame-0001.png"), 10);
  EXPECT_EQ(Written("frame-0002.png"), 20);
  EXPECT_EQ(Written("frame-0003.png", kLarge), 30);
  EXPECT_EQ(script.alive, 0);
}

TEST_F(GrabberTest, RunEndsWithTheLastWantedFrameWhichMayBeARepeatedOneWithAll) {
  options_.frames = 2;
  for (const bool all : {false, true}) {
    options_.all = all;
    script = Script();
    EXPECT_EQ(Run({{kSmall, 1, 1}, {kSmall, 0, 1}, {kSmall, 1, 2}, {kSmall, 1, 3}}).code,
              ExitCode::kOk);
    EXPECT_EQ(summary_.written(), 2u);
    EXPECT_EQ(script.polls, all ? 2u : 3u);
    EXPECT_EQ(Written("frame-0002.png"), all ? 1 : 2);
  }
}

TEST_F(GrabberTest, FirstFrameIsNotDelayedByALowRate) {
  options_.fps = 0.1;
  options_.frames = 1;
  options_.seconds = 60.0;
  Run({{kNone, 0, 0}, {kNone, 0, 0}, {kSmall, 1, 1}});
  EXPECT_EQ(summary_.written(), 1u);
  EXPECT_NEAR(clock_.now, 100.1, 1e-6);  // two polls a twentieth of a second apart
}

// Between two polls, a quarter of a second apart, the library is called four times.
TEST_F(GrabberTest, LowRatePollHasTheLatestFrameAndTheGreatestRatioSinceThePollBefore) {
  AddRecorder().enough = 3;
  options_.fps = 4.0;
  options_.seconds = 60.0;
  Run({{kSmall, 1.0f, 1}, {kSmall, 0.5f, 2}, {kSmall, 0.25f, 3}});
  ASSERT_EQ(given_.size(), 3u);
  EXPECT_NEAR(given_[1].record.seconds, 0.25, 1e-6);
  EXPECT_EQ(given_[1].record.ratio, 0.5f);
  EXPECT_TRUE(given_[1].record.is_new);
  EXPECT_EQ(given_[1].record.missed, 0u);
  EXPECT_EQ(given_[1].colour, 3);
  EXPECT_FALSE(given_[2].record.is_new) << "the ratio of a frame between polls counts once";
  EXPECT_EQ(summary_.polls(), 3u);
}

TEST_F(GrabberTest, InterruptionEndsTheRunWithinAMoment) {
  options_.fps = 0.1;
  options_.seconds = kForever;
  script.interrupt_at_end = &interrupted_;
  const Outcome outcome = Run({{kSmall, 1, 1}, {kSmall, 1, 2}});
  EXPECT_EQ(outcome.code, ExitCode::kOk);
  EXPECT_EQ(outcome.text, "interrupted");
  EXPECT_EQ(temporary_.CountFiles(), 1u);
  EXPECT_LE(clock_.now, 100.1 + 1e-6);
}

TEST_F(GrabberTest, FramesBeforeOneThatCannotBeWrittenAreKept) {
  std::filesystem::create_directory(temporary_ / "frame-0003.png");
  const Outcome outcome = Run({{kSmall, 1, 1}, {kSmall, 1, 2}, {kSmall, 1, 3}});
  EXPECT_EQ(outcome.code, ExitCode::kOutputFailed);
  EXPECT_TRUE(outcome.is_error);
  EXPECT_EQ(summary_.frames(), 3u);
  EXPECT_EQ(summary_.written(), 2u);
  EXPECT_EQ(Written("frame-0001.png"), 1);
  EXPECT_EQ(Written("frame-0002.png"), 2);
  EXPECT_EQ(temporary_.CountFiles(), 3u);
}

TEST_F(GrabberTest, OutOfMemoryNamesTheFrameAndWhatToDo) {
  Recorder& recorder = AddRecorder();
  recorder.special_frame = 2;
  recorder.special = [] { throw std::bad_alloc(); };
  const Outcome outcome = Run({{kSmall, 1, 1}, {kLarge, 1, 2}});
  EXPECT_EQ(outcome.code, ExitCode::kCaptureFailed);
  EXPECT_TRUE(outcome.is_error);
  EXPECT_TRUE(Contains(outcome.text, "out of memory: the frame of 16 x 12"));
  EXPECT_TRUE(Contains(outcome.text, "capture a smaller window"));
  EXPECT_EQ(summary_.frames(), 2u);
}

TEST_F(GrabberTest, CaptureThatCannotStartReportsTheLoggedError) {
  script.start_succeeds = false;
  SetLogSink(nullptr, false);
  const ToolError error = ErrorOf([&] { Run({{kNone, 0, 0}}); });
  EXPECT_EQ(error.code(), ExitCode::kCaptureFailed);
  EXPECT_TRUE(Contains(error.what(), "start: no capture today, hr:80070057"));
  EXPECT_EQ(script.alive, 0);
}

TEST_F(GrabberTest, PixelsAreReadOnlyForAnOutputThatNeedsThem) {
  for (const bool needed : {false, true}) {
    script = Script();
    given_.clear();
    outputs_.clear();
    AddRecorder().needs_pixels = false;
    AddRecorder().needs_pixels = needed;
    options_.frames = 2;
    Run({{kSmall, 1, 7}, {kSmall, 1, 8}});
    ASSERT_EQ(given_.size(), 4u);
    for (const size_t second_frame : {2u, 3u}) {
      EXPECT_EQ(given_[second_frame].has_pixels, needed);
      EXPECT_EQ(given_[second_frame].colour, needed ? 8 : 0);
    }
  }
}

TEST_F(GrabberTest, EveryTickOfTheRunIsAFrameOrMissed) {
  struct {
    size_t slow_frame;  // whose output takes so long
    double seconds;
    uint64_t missed;
  } const cases[] = {{2, 0.27, 4},  // five ticks, and a bit
                     {1, 0.7, 7}};  // beyond the end: one more poll stands for the last tick
  for (const auto& [slow_frame, seconds, missed] : cases) {
    SCOPED_TRACE(seconds);
    script = Script();
    given_.clear();
    outputs_.clear();
    Recorder& recorder = AddRecorder();
    recorder.special_frame = slow_frame;
    recorder.special = [&, taken = seconds] { clock_.now += taken; };
    EXPECT_EQ(Run({{kNone, 0, 0}, {kSmall, 1, 1}}).code, ExitCode::kOk);
    ASSERT_GT(given_.size(), slow_frame);
    EXPECT_EQ(given_[slow_frame].record.missed, missed);
    EXPECT_EQ(summary_.missed(), missed);
    const double ticks =
        std::ceil((options_.seconds - given_[0].record.seconds) * options_.fps - 1e-6);
    EXPECT_EQ(static_cast<double>(given_.size() + missed), ticks);
  }
}

TEST_F(GrabberTest, PollWithoutFrameCountsAsMissedAfterTheFirstFrame) {
  AddRecorder();
  options_.frames = 2;
  Run({{kNone, 0, 0}, {kSmall, 1, 1}, {kNone, 0, 0}, {kNone, 0, 0}, {kSmall, 1, 2}});
  ASSERT_EQ(given_.size(), 2u);
  EXPECT_EQ(given_[0].record.missed, 0u);
  EXPECT_EQ(given_[1].record.missed, 2u);
}

TEST_F(GrabberTest, TargetThatClosesEndsTheRunWithoutWaitingForTheNextPoll) {
  options_.fps = 0.1;
  options_.seconds = kForever;
  const double begin = clock_.now;
  const Outcome outcome = Run({{kSmall, 1, 1}, {kNone, 0, 0, true}});
  EXPECT_EQ(outcome.code, ExitCode::kOk);
  EXPECT_TRUE(Contains(outcome.text, "was closed"));
  EXPECT_LT(clock_.now - begin, 1.0);
}

TEST(ClockTest, CountsInSeconds) {
  Clock clock;
  const double begin = clock.Now();
  clock.Sleep(0.02);
  const double seconds = clock.Now() - begin;
  EXPECT_GT(seconds, 0.01);
  EXPECT_LT(seconds, 1.0);
}

TEST_F(GrabberTest, OnlyTheSwitchesThatWereAskedForAreSet) {
  options_.frames = 1;
  Run({{kSmall, 1, 1}});
  EXPECT_TRUE(script.switches.empty());
  script = Script();
  options_.cursor = options_.border = options_.detect = true;
  Run({{kSmall, 1, 1}});
  EXPECT_EQ(script.switches, (std::vector<std::string>{"cursor on", "border on", "detect on"}));
}

// Each poll hands out a reference, also those between the ticks of a low rate.
TEST_F(GrabberTest, EveryTextureIsReadAndReleased) {
  for (const double fps : {20.0, 1.0}) {
    SCOPED_TRACE(fps);
    script = Script();
    ASSERT_TRUE(
        SUCCEEDED(D3D11CreateDevice(nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr, 0, nullptr, 0,
                                    D3D11_SDK_VERSION, &script.device, nullptr, nullptr)));
    const std::vector<uint32_t> pixels(kSmall.width * kSmall.height, 0x00112233);
    const D3D11_SUBRESOURCE_DATA data{pixels.data(), kSmall.width * 4, 0};
    const CD3D11_TEXTURE2D_DESC description(DXGI_FORMAT_B8G8R8A8_UNORM, kSmall.width, kSmall.height,
                                            1, 1, D3D11_BIND_RENDER_TARGET);
    ASSERT_TRUE(SUCCEEDED(script.device->CreateTexture2D(&description, &data, &script.texture)));
    options_.texture = true;
    options_.fps = fps;
    options_.seconds = kForever;
    interrupted_ = false;
    script.interrupt_at_end = &interrupted_;
    EXPECT_EQ(Run(std::vector<Step>(5, {kSmall, 0.0f, 0})).code, ExitCode::kOk);
    EXPECT_EQ(script.switches, std::vector<std::string>{"texture on"});
    EXPECT_EQ(summary_.frames(), fps == 20.0 ? 5u : 1u);
    EXPECT_EQ(DecodePng(ReadBytes(temporary_ / "frame-0001.png")).pixels,
              std::vector<uint32_t>(pixels.size(), 0xFF112233));
    Microsoft::WRL::ComPtr<ID3D11DeviceContext> context;
    script.device->GetImmediateContext(&context);
    context->Flush();
    EXPECT_EQ(script.texture.Detach()->Release(), 0u);
  }
}

}  // namespace
}  // namespace quill_apps
