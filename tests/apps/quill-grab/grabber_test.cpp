// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/session/grabber.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <thread>
#include <vector>

#include "apps/quill-grab/decode_png.h"
#include "apps/quill-grab/test_support.h"
#include "quill-grab/session/log_sink.h"
#include "quill-grab/output/png/png_series.h"

namespace quill_grab {
namespace {

// A session that reports what a test has written down, one step a poll. After the last step it goes
// on reporting that frame, with the ratio 0, as the library does when nothing new arrives.
struct Step {
  bool has_frame;
  FrameSize size;
  float ratio;
  uint8_t colour;       // all bytes of the frame
  bool closes = false;  // the target closes during this poll
};

struct Script {
  std::vector<Step> steps;
  bool start_succeeds = true;
  std::atomic<bool>* interrupt_at_end = nullptr;

  size_t polls = 0;
  bool running = false;
  bool ratio_is_fresh = false;
  int alive = 0;
  std::vector<uint8_t> bytes;
  Microsoft::WRL::ComPtr<ID3D11Device> device;
  Microsoft::WRL::ComPtr<ID3D11Texture2D> texture;  // handed out instead of bytes
  std::vector<std::string> switches;

  const Step& Current() const { return steps[std::min(polls, steps.size()) - 1]; }
};

Script script;

bool FakeSupported() {
  return true;
}
void FakeRegisterLogger(WgcLogCallback) {}
void* FakeCreate(HWND) {
  return ++script.alive, &script;
}
void* FakeCreateMonitor(HMONITOR) {
  return ++script.alive, &script;
}
bool FakeStart(void*) {
  if (!script.start_succeeds) {
    OnLogLine(WGC_LOG_ERROR, "no capture today, hr:80070057", 29);
    OnLogLine(WGC_LOG_WARNING, "no cursor either", 16);
  }
  return script.running = script.start_succeeds;
}
void FakeDestroy(void*) {
  --script.alive;
}
bool FakeGetRecentFrame(void*, void** frame, void*, uint32_t* width, uint32_t* height,
                        bool* cursor) {
  ++script.polls;
  const Step& step = script.Current();
  script.ratio_is_fresh = script.polls <= script.steps.size();
  if (step.closes) script.running = false;
  if (script.interrupt_at_end != nullptr && script.polls == script.steps.size()) {
    *script.interrupt_at_end = true;
  }
  *width = step.size.width;
  *height = step.size.height;
  *cursor = false;
  if (!step.has_frame) return false;
  if (script.texture) {
    *frame = Microsoft::WRL::ComPtr<ID3D11Texture2D>(script.texture).Detach();
    return true;
  }
  script.bytes.assign(size_t{step.size.width} * step.size.height * 4, step.colour);
  *frame = script.bytes.data();
  return true;
}
void FakeFree(void*, void*) {}
float FakeRatio(void*) {
  const float ratio = script.ratio_is_fresh ? script.Current().ratio : 0.0f;
  script.ratio_is_fresh = false;
  return ratio;
}
bool FakeStatus(void*) {
  return script.running;
}
ID3D11Device* FakeDevice(void*) {
  return script.device.Get();
}
bool FakeCursor(void*, bool) {
  return script.switches.push_back("cursor"), true;
}
bool FakeBorder(void*, bool) {
  return script.switches.push_back("border"), true;
}
void FakeDirtyRect(void*, bool) {
  script.switches.push_back("detect");
}
void FakeTexture(void*, bool) {
  script.switches.push_back("texture");
}

const Library kLibrary = {FakeSupported, FakeRegisterLogger, FakeCreate,         FakeCreateMonitor,
                          FakeStart,     FakeDestroy,        FakeGetRecentFrame, FakeFree,
                          FakeRatio,     FakeStatus,         FakeDevice,         FakeCursor,
                          FakeBorder,    FakeDirtyRect,      FakeTexture};

constexpr FrameSize kSmall{8, 6};
constexpr FrameSize kLarge{16, 12};

// Keeps what it is given. At the frame that stall_at names it blocks as a slow reader does.
class Recorder : public Output {
 public:
  struct Given {
    FrameRecord record;
    bool has_pixels;
    uint8_t colour;
  };

  Recorder(std::vector<Given>& given, bool needs_pixels) : given_(given), needs_(needs_pixels) {}

  bool NeedsPixels(const FrameRecord&) const override { return needs_; }
  void Take(FrameRecord& record, const PixelView* pixels) override {
    given_.push_back(
        {record, pixels != nullptr, pixels != nullptr ? pixels->pixels[0] : uint8_t{0}});
    if (given_.size() == stall_at) std::this_thread::sleep_for(stall);
  }
  double Share() const override {
    return enough == 0 ? 0.0 : static_cast<double>(given_.size()) / static_cast<double>(enough);
  }
  void Finish(const RunResult&) override {}

  size_t enough = 0;
  size_t stall_at = 0;
  std::chrono::milliseconds stall{0};

 private:
  std::vector<Given>& given_;
  bool needs_;
};

class GrabberTest : public ComTest {
 protected:
  void SetUp() override {
    ComTest::SetUp();
    script = Script();
    options_.fps = 240.0;
    options_.seconds = 0.3;
  }

  Outcome RunScript(std::vector<Step> steps) {
    const OutputFolder folder(temporary_.path().string());
    const PngEncoder encoder;
    Grabber::Outputs outputs;
    outputs.push_back(std::make_unique<PngSeries>(options_.all, folder, encoder));
    return RunScript(std::move(steps), outputs);
  }

  Outcome RunScript(std::vector<Step> steps, const Grabber::Outputs& outputs) {
    script.steps = std::move(steps);
    Grabber grabber(kLibrary, options_, outputs, console_);
    Target target;
    target.monitor = reinterpret_cast<HMONITOR>(1);
    grabber.Start(target);
    const Outcome outcome = grabber.Run(interrupted_);
    summary_ = grabber.summary();
    return outcome;
  }

  // The size and colour of a written frame; a size of 0 when it is not a whole PNG file.
  DecodedPng Written(const char* name) const {
    return DecodePng(ReadWholeFile((temporary_.path() / name).wstring().c_str()));
  }

  Options options_;
  Console console_;
  TemporaryFolder temporary_;
  std::atomic<bool> interrupted_{false};
  Summary summary_;
};

TEST(IsNewFrameTest, GoesByTheRatioTheFirstFrameAndTheSize) {
  EXPECT_TRUE(IsNewFrame(0.01f, kSmall, kSmall));
  EXPECT_FALSE(IsNewFrame(0.0f, kSmall, kSmall));
  EXPECT_TRUE(IsNewFrame(0.0f, kSmall, std::nullopt));
  EXPECT_TRUE(IsNewFrame(0.0f, kSmall, kLarge));
}

TEST_F(GrabberTest, WritesNewFramesOnly) {
  const Outcome outcome = RunScript({{false, {0, 0}, 0, 0},
                                     {true, kSmall, 1.0f, 10},
                                     {true, kSmall, 0.0f, 10},
                                     {true, kSmall, 0.25f, 20},
                                     {true, kLarge, 0.0f, 30}});
  EXPECT_EQ(outcome.code, ExitCode::kOk);
  EXPECT_FALSE(outcome.is_error);
  EXPECT_EQ(summary_.written(), 3u);
  EXPECT_EQ(summary_.new_frames(), 3u);
  EXPECT_EQ(temporary_.CountFiles(), 3u);
  EXPECT_EQ(Written("frame-0001.png").bgra[0], 10);
  EXPECT_EQ(Written("frame-0002.png").bgra[0], 20);
  EXPECT_EQ(Written("frame-0003.png").bgra[0], 30);
  EXPECT_EQ(Written("frame-0003.png").width, kLarge.width);
  EXPECT_EQ(Written("frame-0003.png").height, kLarge.height);
  EXPECT_EQ(script.alive, 0);
}

TEST_F(GrabberTest, WritesRepeatsWhenAskedForAll) {
  options_.all = true;
  options_.frames = 5;
  const Outcome outcome = RunScript({{true, kSmall, 1.0f, 10}});
  EXPECT_EQ(outcome.code, ExitCode::kOk);
  EXPECT_EQ(summary_.written(), 5u);
  EXPECT_EQ(summary_.new_frames(), 1u);
  EXPECT_EQ(script.polls, 5u);
  EXPECT_EQ(temporary_.CountFiles(), 5u);
}

TEST_F(GrabberTest, EndsWithTheLastWantedFrame) {
  options_.frames = 2;
  const Outcome outcome =
      RunScript({{true, kSmall, 1, 1}, {true, kSmall, 1, 2}, {true, kSmall, 1, 3}});
  EXPECT_EQ(outcome.code, ExitCode::kOk);
  EXPECT_EQ(summary_.written(), 2u);
  EXPECT_EQ(script.polls, 2u);
}

TEST_F(GrabberTest, EndsInTimeWhenFramesAreMissing) {
  options_.frames = 50;
  const Outcome outcome = RunScript({{true, kSmall, 1, 1}});
  EXPECT_EQ(outcome.code, ExitCode::kOk);
  EXPECT_NE(outcome.text.find("1 of 50 frames"), std::string::npos) << outcome.text;
}

TEST_F(GrabberTest, ReportsThatNoFrameArrived) {
  const Outcome outcome = RunScript({{false, {0, 0}, 0, 0}});
  EXPECT_EQ(outcome.code, ExitCode::kNoFrame);
  EXPECT_TRUE(outcome.is_error);
  EXPECT_EQ(temporary_.CountFiles(), 0u);
}

// A rate of one frame in ten seconds must not delay the first one.
TEST_F(GrabberTest, FindsTheFirstFrameAtOnceWhateverTheRate) {
  options_.fps = 0.1;
  options_.frames = 1;
  options_.seconds = 5.0;
  RunScript({{false, {0, 0}, 0, 0}, {false, {0, 0}, 0, 0}, {true, kSmall, 1, 1}});
  EXPECT_EQ(summary_.written(), 1u);
}

// Two polls, a quarter of a second apart, and what the library is given to see between them: the
// second poll has the last picture and the greatest ratio.
TEST_F(GrabberTest, LetsFramesInBetweenSlowPolls) {
  std::vector<Recorder::Given> given;
  Grabber::Outputs outputs;
  outputs.push_back(std::make_unique<Recorder>(given, true));
  options_.fps = 4.0;
  options_.frames = 2;
  options_.seconds = 5.0;
  RunScript({{true, kSmall, 1.0f, 1}, {true, kSmall, 0.5f, 2}, {true, kSmall, 0.25f, 3}}, outputs);
  ASSERT_EQ(given.size(), 2u);
  EXPECT_GE(given[1].record.seconds, 0.24);
  EXPECT_EQ(given[1].record.ratio, 0.5f);
  EXPECT_TRUE(given[1].record.is_new);
  EXPECT_EQ(given[1].record.missed, 0u);
  EXPECT_EQ(given[1].colour, 3);
  EXPECT_EQ(summary_.polls(), 2u);
}

TEST_F(GrabberTest, AFrameBetweenSlowPollsCountsOnce) {
  std::vector<Recorder::Given> given;
  auto recorder = std::make_unique<Recorder>(given, false);
  recorder->enough = 3;
  Grabber::Outputs outputs;
  outputs.push_back(std::move(recorder));
  options_.fps = 8.0;
  options_.seconds = 5.0;
  RunScript({{true, kSmall, 1.0f, 1}, {true, kSmall, 0.5f, 2}}, outputs);
  ASSERT_EQ(given.size(), 3u);
  EXPECT_TRUE(given[1].record.is_new);
  EXPECT_FALSE(given[2].record.is_new);
}

TEST_F(GrabberTest, KeepsTheFramesOfATargetThatCloses) {
  options_.seconds = 30.0;
  const Outcome outcome =
      RunScript({{true, kSmall, 1, 1}, {true, kSmall, 1, 2}, {true, kSmall, 0, 2, true}});
  EXPECT_EQ(outcome.code, ExitCode::kTargetClosed);
  EXPECT_TRUE(outcome.is_error);
  EXPECT_EQ(script.polls, 3u);
  EXPECT_EQ(Written("frame-0001.png").width, kSmall.width);
  EXPECT_EQ(Written("frame-0002.png").width, kSmall.width);
  EXPECT_EQ(temporary_.CountFiles(), 2u);
}

TEST_F(GrabberTest, AFinishedRunIsDoneEvenIfTheTargetCloses) {
  options_.frames = 1;
  EXPECT_EQ(RunScript({{true, kSmall, 1, 1, true}}).code, ExitCode::kOk);
}

TEST_F(GrabberTest, EndsCleanlyWhenInterrupted) {
  options_.seconds = 30.0;
  script.interrupt_at_end = &interrupted_;
  const std::vector<Step> steps = {{true, kSmall, 1, 1}, {true, kSmall, 1, 2}};
  const Outcome outcome = RunScript(steps);
  EXPECT_EQ(outcome.code, ExitCode::kOk);
  EXPECT_EQ(outcome.text, "interrupted");
  EXPECT_EQ(temporary_.CountFiles(), 2u);
}

TEST_F(GrabberTest, ReportsAnInterruptionBeforeAnyFrame) {
  options_.seconds = 30.0;
  script.interrupt_at_end = &interrupted_;
  const Outcome outcome = RunScript({{false, {0, 0}, 0, 0}});
  EXPECT_EQ(outcome.code, ExitCode::kNoFrame);
  EXPECT_TRUE(outcome.is_error);
  EXPECT_EQ(outcome.text, "interrupted before any frame arrived");
}

// The third file's name is taken by a folder, so that it cannot be written.
TEST_F(GrabberTest, KeepsWrittenFramesWhenOneCannotBeWritten) {
  options_.seconds = 30.0;
  std::filesystem::create_directory(temporary_.path() / "frame-0003.png");
  const Outcome outcome =
      RunScript({{true, kSmall, 1, 1}, {true, kSmall, 1, 2}, {true, kSmall, 1, 3}});
  EXPECT_EQ(outcome.code, ExitCode::kOutputFailed);
  EXPECT_TRUE(outcome.is_error);
  EXPECT_EQ(summary_.frames(), 3u);
  EXPECT_EQ(summary_.written(), 2u);
  EXPECT_EQ(Written("frame-0001.png").bgra[0], 1);
  EXPECT_EQ(Written("frame-0002.png").bgra[0], 2);
  EXPECT_EQ(temporary_.CountFiles(), 3u);
}

TEST_F(GrabberTest, GivesTheLoggedErrorWhenCaptureCannotStart) {
  script.start_succeeds = false;
  SetLogSink(nullptr, false);
  try {
    RunScript({{false, {0, 0}, 0, 0}});
    ADD_FAILURE() << "started";
  } catch (const GrabError& error) {
    EXPECT_EQ(error.code(), ExitCode::kCaptureFailed);
    EXPECT_NE(std::string(error.what()).find("start: no capture today, hr:80070057:"),
              std::string::npos)
        << error.what();
  }
  EXPECT_EQ(script.alive, 0);
}

class GrabberTextureTest : public GrabberTest {
 protected:
  void SetUp() override {
    GrabberTest::SetUp();
    ASSERT_TRUE(
        SUCCEEDED(D3D11CreateDevice(nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr, 0, nullptr, 0,
                                    D3D11_SDK_VERSION, &script.device, nullptr, nullptr)));
    const std::vector<uint32_t> pixels(kSmall.width * kSmall.height, 0x00112233);
    const D3D11_SUBRESOURCE_DATA data{pixels.data(), kSmall.width * 4, 0};
    const CD3D11_TEXTURE2D_DESC description(DXGI_FORMAT_B8G8R8A8_UNORM, kSmall.width, kSmall.height,
                                            1, 1, D3D11_BIND_RENDER_TARGET);
    ASSERT_TRUE(SUCCEEDED(script.device->CreateTexture2D(&description, &data, &script.texture)));
    options_.texture = true;
    options_.seconds = 30.0;
    script.interrupt_at_end = &interrupted_;
  }

  // Drops the test's reference, which should be the last.
  static ULONG OtherReferences() {
    Microsoft::WRL::ComPtr<ID3D11DeviceContext> context;
    script.device->GetImmediateContext(&context);
    context->Flush();
    return script.texture.Detach()->Release();
  }
};

// Five polls of which one is written: each hands out a reference.
TEST_F(GrabberTextureTest, GivesEveryReferenceBack) {
  const std::vector<Step> steps(5, {true, kSmall, 0.0f, 0});
  EXPECT_EQ(RunScript(steps).code, ExitCode::kOk);
  EXPECT_EQ(summary_.frames(), 5u);
  EXPECT_EQ(summary_.written(), 1u);
  const DecodedPng written = Written("frame-0001.png");
  ASSERT_EQ(written.width, kSmall.width);
  EXPECT_EQ(written.bgra[0], 0x33);
  EXPECT_EQ(written.bgra[1], 0x22);
  EXPECT_EQ(written.bgra[2], 0x11);
  EXPECT_EQ(OtherReferences(), 0u);
}

TEST_F(GrabberTextureTest, GivesReferencesBetweenSlowPollsBack) {
  options_.fps = 1.0;
  const std::vector<Step> steps(5, {true, kSmall, 0.0f, 0});
  EXPECT_EQ(RunScript(steps).code, ExitCode::kOk);
  EXPECT_EQ(summary_.frames(), 1u);
  EXPECT_EQ(OtherReferences(), 0u);
}

TEST_F(GrabberTest, ReadsPixelsOnlyWhenAnOutputWantsThem) {
  for (const bool wanted : {false, true}) {
    script = Script();
    std::vector<Recorder::Given> first;
    std::vector<Recorder::Given> second;
    Grabber::Outputs outputs;
    outputs.push_back(std::make_unique<Recorder>(first, false));
    outputs.push_back(std::make_unique<Recorder>(second, wanted));
    options_.frames = 2;
    RunScript({{true, kSmall, 1, 7}, {true, kSmall, 1, 8}}, outputs);
    ASSERT_EQ(first.size(), 2u);
    ASSERT_EQ(second.size(), 2u);
    EXPECT_EQ(first[1].has_pixels, wanted);
    EXPECT_EQ(second[1].has_pixels, wanted);
    EXPECT_EQ(second[1].colour, wanted ? 8 : 0);
  }
}

TEST_F(GrabberTest, EndsWhenAnOutputHasEnough) {
  std::vector<Recorder::Given> given;
  auto recorder = std::make_unique<Recorder>(given, false);
  recorder->enough = 4;
  Grabber::Outputs outputs;
  outputs.push_back(std::move(recorder));
  options_.seconds = 30.0;
  EXPECT_EQ(RunScript({{true, kSmall, 1, 1}}, outputs).code, ExitCode::kOk);
  EXPECT_EQ(given.size(), 4u);
}

// A stream counts frames of its own, which are not those that are new.
TEST_F(GrabberTest, TheFramesOfAStreamAreCountedInTheStream) {
  std::vector<Recorder::Given> given;
  auto recorder = std::make_unique<Recorder>(given, false);
  recorder->enough = 4;
  Grabber::Outputs outputs;
  outputs.push_back(std::move(recorder));
  options_.raw = "-";
  options_.frames = 2;
  options_.seconds = 30.0;
  const std::vector<Step> steps(4, {true, kSmall, 1.0f, 1});
  EXPECT_EQ(RunScript(steps, outputs).code, ExitCode::kOk);
  EXPECT_EQ(given.size(), 4u);
}

// How many beats there are from a time on to another.
double BeatsOf(double from, double to, double fps) {
  return std::ceil((to - from) * fps);
}

// 20 polls a second for 0.6 s, and the second frame blocks for 0.27 s: five beats or more. However
// late single polls are, all beats of the run are accounted for.
TEST_F(GrabberTest, AccountsForEveryBeatOfTheRun) {
  std::vector<Recorder::Given> given;
  auto recorder = std::make_unique<Recorder>(given, false);
  recorder->stall_at = 2;
  recorder->stall = std::chrono::milliseconds(270);
  Grabber::Outputs outputs;
  outputs.push_back(std::move(recorder));
  options_.fps = 20.0;
  options_.seconds = 0.6;
  RunScript({{true, kSmall, 1, 1}}, outputs);
  ASSERT_GE(given.size(), 3u);
  EXPECT_GE(given[2].record.missed, 4u);
  uint64_t beats = 0;
  for (const Recorder::Given& each : given) beats += 1 + each.record.missed;
  EXPECT_EQ(static_cast<double>(beats), BeatsOf(given[0].record.seconds, 0.6, 20.0));
  EXPECT_EQ(summary_.missed(), beats - given.size());
}

// The block goes on beyond the end of the run.
TEST_F(GrabberTest, MakesUpForTheBeatsThatABlockTookFromTheEnd) {
  std::vector<Recorder::Given> given;
  auto recorder = std::make_unique<Recorder>(given, false);
  recorder->stall_at = 1;
  recorder->stall = std::chrono::milliseconds(700);
  Grabber::Outputs outputs;
  outputs.push_back(std::move(recorder));
  options_.fps = 20.0;
  options_.seconds = 0.5;
  const Outcome outcome = RunScript({{true, kSmall, 1, 1}}, outputs);
  EXPECT_EQ(outcome.code, ExitCode::kOk);
  ASSERT_EQ(given.size(), 2u);
  EXPECT_EQ(static_cast<double>(given[1].record.missed),
            BeatsOf(given[0].record.seconds, 0.5, 20.0) - 2.0);
}

TEST_F(GrabberTest, CountsAPollWithoutFrameAsMissed) {
  std::vector<Recorder::Given> given;
  Grabber::Outputs outputs;
  outputs.push_back(std::make_unique<Recorder>(given, false));
  options_.frames = 2;
  RunScript({{false, {0, 0}, 0, 0},
             {true, kSmall, 1, 1},
             {false, {0, 0}, 0, 0},
             {false, {0, 0}, 0, 0},
             {true, kSmall, 1, 2}},
            outputs);
  ASSERT_EQ(given.size(), 2u);
  EXPECT_EQ(given[0].record.missed, 0u);
  EXPECT_GE(given[1].record.missed, 2u);
}

TEST_F(GrabberTest, AClosingTargetIsTheEndOfARunWithoutAnother) {
  options_.seconds = std::numeric_limits<double>::infinity();
  const Outcome outcome = RunScript({{true, kSmall, 1, 1}, {true, kSmall, 0, 1, true}});
  EXPECT_EQ(outcome.code, ExitCode::kOk);
  EXPECT_EQ(outcome.text, "the target was closed");
  script = Script();
  EXPECT_EQ(RunScript({{false, {0, 0}, 0, 0, true}}).code, ExitCode::kNoFrame);
}

TEST_F(GrabberTest, SetsTheSwitchesThatWereAskedForAndNoOthers) {
  options_.frames = 1;
  RunScript({{true, kSmall, 1, 1}});
  EXPECT_TRUE(script.switches.empty());
  script = Script();
  options_.cursor = options_.border = options_.detect = true;
  RunScript({{true, kSmall, 1, 1}});
  EXPECT_EQ(script.switches, (std::vector<std::string>{"cursor", "border", "detect"}));
}

}  // namespace
}  // namespace quill_grab
