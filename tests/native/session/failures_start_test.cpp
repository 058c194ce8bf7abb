// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Start with each of its calls made to fail.
#include <algorithm>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "native/failures.h"
#include "native/session_state.h"

namespace session_test {
namespace {

constexpr int kWidth = 64;
constexpr int kHeight = 48;

struct StartCase {
  const char* name;
  bool monitor;
  bool cursor;
  bool border;
  bool properties_present;

  friend std::ostream& operator<<(std::ostream& out, const StartCase& start) {
    return out << start.name;
  }
};

// What becomes of a start in which one call fails.
struct Outcome {
  // The line that ends it; without one it goes on.
  std::optional<LogLine> end;
  // Logged while the property of the cursor, or of the border, is asked for, which then counts as
  // absent.
  bool cursor_unknown = false;
  bool border_unknown = false;
  std::optional<LogLine> property_line;
  // What a start that goes on leaves undone.
  bool cursor_unset = false;
  bool border_unset = false;
  bool no_frames = false;
  bool no_closed = false;
  bool no_detection = false;
};

Outcome Ends(const LogLine& line) {
  Outcome outcome;
  outcome.end = line;
  return outcome;
}

Outcome GoesOn() {
  return {};
}

Outcome AskingFails(const Injection& injection, const std::optional<LogLine>& line) {
  Outcome outcome;
  // The border is asked for when the cursor has its answer.
  const bool cursor_asked = injection.IsAfter(
      "IsPropertyPresent(Windows.Graphics.Capture.GraphicsCaptureSession, "
      "IsCursorCaptureEnabled)");
  (cursor_asked ? outcome.border_unknown : outcome.cursor_unknown) = true;
  outcome.property_line = line;
  return outcome;
}

constexpr char kActivateItem[] =
    "RoGetActivationFactory(Windows.Graphics.Capture.GraphicsCaptureItem";
constexpr char kActivatePool[] =
    "RoGetActivationFactory(Windows.Graphics.Capture.Direct3D11CaptureFramePool";
std::string StringFor(const char* call) {
  return std::string("WindowsCreateStringReference for ") + call;
}

// A failure that the call reports, an exception included.
Outcome WhenItFails(const Injection& injection) {
  const Step& step = injection.step;
  const fake::Fault& fault = injection.fault;
  const std::string hr = Hex(fault.result);

  if (step.Is("CreateDXGIFactory1(")) {
    return Ends(Error("Failed to create dxgi factory1, hr:" + hr));
  }
  if (step.Is("EnumAdapters1(0)") || step.Is("GetDesc1(")) {
    return Ends(Error("Failed to find any adapter to create d3d11 device"));
  }
  if (step.Is("EnumAdapters1(1)")) return GoesOn();
  if (step.Is("D3D11CreateDevice(")) {
    return Ends(Error("Failed to create d3d11 device,hr:" + hr));
  }
  if (step.Is("CreateComputeShader(")) {
    Outcome outcome;
    // Of the three programs detection asks only for the last one; it is not made after a failure.
    // One that is made all the same is as good as any.
    outcome.no_detection = !(injection.IsAfterWork() && injection.IsNth(3, "CreateComputeShader("));
    return outcome;
  }
  if (step.Is("QueryInterface(IDXGIDevice)") && !IsException(fault)) {
    return Ends(Error("Failed to QueryInterface[IDXGIDevice]. hr:" + hr));
  }
  if (step.Is("CreateDirect3D11DeviceFromDXGIDevice(") && !IsException(fault)) {
    return Ends(Error("Failed to call CreateDirect3D11DeviceFromDXGIDevice, hr:" + hr));
  }
  for (const char* function : {"CreateForWindow", "CreateForMonitor"}) {
    if (step.function == function && !IsException(fault)) {
      return Ends(
          Error("Failed to call IGraphicsCaptureItemInterop::" + step.function + ", hr:" + hr));
    }
  }
  // Whether statics may be kept is a mere question.
  if (step.Is("QueryInterface(IAgileObject)")) return GoesOn();
  if (IsOfPropertyCheck(step)) {
    return AskingFails(injection, RaisedInPropertyCheck(fault));
  }
  return Ends(RaisedInStart(fault));
}

// A success that leaves nothing.
Outcome WhenItGivesNothing(const Injection& injection) {
  const Step& step = injection.step;
  const std::string no_object = Hex(E_POINTER);

  if (step.Is("CreateDXGIFactory1(")) {
    return Ends(Error("Failed to create dxgi factory1, hr:" + no_object));
  }
  if (step.Is("EnumAdapters1(0)")) {
    return Ends(Error("Failed to find any adapter to create d3d11 device"));
  }
  if (step.Is("D3D11CreateDevice(")) {
    return Ends(Error("Failed to create d3d11 device,hr:" + no_object));
  }
  if (step.Is("CreateComputeShader(")) {
    Outcome outcome;
    outcome.no_detection = true;
    return outcome;
  }
  if (step.Is("CreateDirect3D11DeviceFromDXGIDevice(")) {
    return Ends(Error("Failed to call CreateDirect3D11DeviceFromDXGIDevice, hr:" + no_object));
  }
  // No class has an empty name.
  if (step.Is(StringFor(kActivateItem)) || step.Is(StringFor(kActivatePool))) {
    return Ends(WinrtException(REGDB_E_CLASSNOTREG));
  }
  if (step.Is("CreateForWindow(") || step.Is("CreateForMonitor(")) {
    return Ends(Error("No window or monitor to capture"));
  }
  // A pool without pixels, which the platform refuses.
  if (step.Is("get_Size(")) return Ends(WinrtException(E_INVALIDARG));
  if (step.Is("Create(") || step.Is("CreateCaptureSession(")) {
    return Ends(WinrtException(E_POINTER));
  }
  if (IsOfPropertyCheck(step)) {
    return AskingFails(injection, IsClassString(injection)
                                      ? std::optional(WinrtException(REGDB_E_CLASSNOTREG))
                                      : std::nullopt);
  }

  Outcome outcome;
  outcome.cursor_unset = step.Is("put_IsCursorCaptureEnabled(");
  outcome.border_unset = step.Is("put_IsBorderRequired(");
  outcome.no_frames = step.Is("add_FrameArrived(") || step.Is("StartCapture(");
  outcome.no_closed = step.Is("add_Closed(");
  return outcome;
}

class StartScenario : public Scenario {
 public:
  explicit StartScenario(const StartCase& start) : start_(start) {
    fake::settings.item_width = kWidth;
    fake::settings.item_height = kHeight;
    fake::settings.cursor_property_present = start.properties_present;
    fake::settings.border_property_present = start.properties_present;
    if (start.monitor) {
      session_.emplace(kMonitor);
    } else {
      session_.emplace(kWindow);
    }
  }

  void Prepare() override {
    if (start_.cursor) {
      EXPECT_TRUE(wgc_enable_cursor(session_->handle(), true));
    }
    if (start_.border) {
      EXPECT_TRUE(wgc_show_border(session_->handle(), true));
    }
  }

  void Act() override { started_ = session_->Start(); }

  bool IsSpared(const Step& step, const fake::Fault& fault) override {
    if (fault.kind == fake::Fault::Kind::kNothing) {
      return PromisesAnObject(step) && !step.Is("QueryInterface(IAgileObject)");
    }
    // What comes before the set-up are plain functions of DXGI and Direct3D, which throw nothing.
    return IsException(fault) && (!IsInsideSetUp(step) || IsCalledWithoutExceptions(step));
  }

  void Check(const Injection* injection) override {
    Outcome outcome;
    if (injection) {
      outcome =
          injection->IsEmptySuccess() ? WhenItGivesNothing(*injection) : WhenItFails(*injection);
    }
    EXPECT_EQ(TakeLog(), LinesOf(outcome, injection));
    EXPECT_EQ(started_, !outcome.end);
    EXPECT_EQ(session_->Running(), !outcome.end);
    EXPECT_FALSE(IsExitRequested(session_->handle()));
    const Poll before = session_->GetFrame();
    EXPECT_FALSE(before.available);
    EXPECT_EQ(before.frame, kUntouched);
    EXPECT_EQ(before.width, 0u);
    EXPECT_EQ(before.height, 0u);
    EXPECT_EQ(before.cursor_enabled, start_.cursor);

    if (outcome.end) {
      if (injection->step.Is("D3D11CreateDevice(") && !injection->IsAfterWork()) {
        EXPECT_EQ(wgc_get_device(session_->handle()), nullptr);
      }
      TryAgain();
    } else {
      CheckRunning(*session_, outcome);
    }
    TakeLog();
    session_->Destroy();
    EXPECT_EQ(TakeLog(), (std::vector<LogLine>{Info("Try to exit wgc thread"), Info("Wgc exit.")}));

    Session other;
    EXPECT_TRUE(other.Start());
    CheckRunning(other, {});
  }

 private:
  static bool IsInsideSetUp(const Step& step) {
    for (const char* outside : {"CreateDXGIFactory1(", "EnumAdapters1(", "GetDesc1(",
                                "D3D11CreateDevice(", "CreateComputeShader("}) {
      if (step.Is(outside)) return false;
    }
    return true;
  }

  std::vector<LogLine> LinesOf(const Outcome& outcome, const Injection* injection) const {
    // Whether the start came so far. The properties are set right after their lines.
    const auto reached = [&](const char* beginning) {
      return !outcome.end || injection->IsAfter(beginning);
    };
    std::vector<LogLine> lines = {Info("WgcCaptureSession::Start")};
    if (outcome.cursor_unknown && outcome.property_line) lines = lines + *outcome.property_line;
    if (reached("IsPropertyPresent(Windows.Graphics.Capture.GraphicsCaptureSession, IsCursor")) {
      lines = lines + Info(!start_.properties_present || outcome.cursor_unknown
                               ? "IsCursorToggleSupported: no"
                           : start_.cursor ? "Wgc cursor Enable "
                                           : "Wgc cursor Disable ");
    }
    if (outcome.border_unknown && outcome.property_line) lines = lines + *outcome.property_line;
    if (reached("IsPropertyPresent(Windows.Graphics.Capture.GraphicsCaptureSession, IsBorder")) {
      lines = lines + Info(!start_.properties_present || outcome.border_unknown
                               ? "IsBorderRequiredSupported: no"
                           : start_.border ? "Wgc border Enable "
                                           : "Wgc border Disable ");
    }
    return lines + (outcome.end ? *outcome.end : Info("Wgc session started."));
  }

  // Nothing of the failed start is in the way of the next.
  void TryAgain() {
    ContinueOnNewThread();
    EXPECT_TRUE(session_->Start());
    EXPECT_EQ(TakeLog(), LinesOf({}, nullptr));
    CheckRunning(*session_, {});
  }

  void CheckRunning(Session& session, const Outcome& outcome) {
    EXPECT_TRUE(session.Running());
    EXPECT_FALSE(IsExitRequested(session.handle()));
    const bool owned = &session == &*session_;
    const auto* const capture = fake::LastSession();
    ASSERT_NE(capture, nullptr);
    const bool properties = start_.properties_present;
    // The platform captures the cursor and draws the border unless it is told otherwise.
    EXPECT_EQ(capture->cursor_captured, !properties || outcome.cursor_unknown ||
                                            outcome.cursor_unset || (owned && start_.cursor));
    EXPECT_EQ(capture->border_drawn, !properties || outcome.border_unknown ||
                                         outcome.border_unset || (owned && start_.border));

    session.DirtyRect(true);
    const auto first = Pattern(kWidth, kHeight, 1);
    auto second = first;
    second.At(3, 5) ^= 0xFF;
    for (const reference::Image* picture :
         std::initializer_list<const reference::Image*>{&first, &second}) {
      fake::LastPool()->Deliver(*picture);
      const Poll poll = session.GetFrame();
      EXPECT_EQ(poll.available, !outcome.no_frames);
      if (!poll.available) return;
      EXPECT_EQ(fake::LastPool()->HandlerResult(), S_OK);
      EXPECT_EQ(Pixels(poll).pixels, picture->pixels);
      const bool detected = picture == &second && !outcome.no_detection;
      const auto changed = reference::DiffOf(first, second).area;
      EXPECT_EQ(session.Ratio(), detected ? reference::Ratio(changed, kWidth, kHeight) : 1.0f);
    }

    TakeLog();
    EXPECT_EQ(fake::LastItem()->HasHandler(), !outcome.no_closed);
    fake::LastItem()->RaiseClosed();
    EXPECT_EQ(session.Running(), outcome.no_closed);
    EXPECT_EQ(IsExitRequested(session.handle()), !outcome.no_closed);
    EXPECT_EQ(TakeLog(), outcome.no_closed ? std::vector<LogLine>()
                                           : std::vector<LogLine>{Info("Wgc on_closed")});
  }

  const StartCase start_;
  std::optional<Session> session_;
  bool started_ = false;
};

class StartFailures : public SessionTest, public testing::WithParamInterface<StartCase> {
 protected:
  static auto Make() {
    return [start = GetParam()] { return std::make_unique<StartScenario>(start); };
  }
};

TEST_P(StartFailures, OfEachCall) {
  EXPECT_GT(Sweep(Make(), AllFaults()), 0u);
}

// The platform's objects may be other programs' too; the set-up stops whatever they throw.
TEST_P(StartFailures, ExceptionsOfEachCall) {
  EXPECT_GT(Sweep(Make(), Exceptions()), 0u);
}

TEST_P(StartFailures, OfEachAllocation) {
  // An event handler each for frames and for the item.
  const auto failed = SweepNew(Make(), [](Scenario& scenario, const auto* recording) {
    if (!recording) return scenario.Check(nullptr);
    const fake::Fault fault{fake::Fault::Kind::kResult, E_OUTOFMEMORY};
    const auto called = [&](const char* name) {
      return std::any_of(recording->begin(), recording->end(), [&](const std::string& line) {
        return line.find(name) != std::string::npos;
      });
    };
    // As if the registration that needs the handler had failed.
    const std::vector<Step> steps = {
        {1, "IsPropertyPresent",
         "IsPropertyPresent(Windows.Graphics.Capture.GraphicsCaptureSession, "
         "IsCursorCaptureEnabled)",
         ""},
        {2, "IsPropertyPresent",
         "IsPropertyPresent(Windows.Graphics.Capture.GraphicsCaptureSession, IsBorderRequired)",
         ""},
        {3, "add_", called("StartCapture") ? "add_Closed(" : "add_FrameArrived(", ""}};
    const Injection injection{steps.back(), fault, steps};
    scenario.Check(&injection);
  });
  EXPECT_EQ(failed, 2u);
}

INSTANTIATE_TEST_SUITE_P(
    , StartFailures,
    testing::Values(StartCase{"Window", false, false, false, true},
                    StartCase{"MonitorWithCursorAndBorder", true, true, true, true},
                    StartCase{"WindowWithoutProperties", false, false, false, false}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace session_test
