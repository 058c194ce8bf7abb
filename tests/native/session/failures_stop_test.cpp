// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The end of a session with each of its calls made to fail.
#include <memory>
#include <string>
#include <vector>

#include "native/failures.h"

namespace session_test {
namespace {

const LogLine kBegins = Info("Try to exit wgc thread");
const LogLine kEnds = Info("Wgc exit.");

// The system's text for a code; the platform of these tests knows two.
std::string SystemText(HRESULT result) {
  if (result == E_ACCESSDENIED) return "Access denied.";
  if (result == E_INVALIDARG) return "Invalid parameter.";
  return "";
}

LogLine Caught(const fake::Fault& fault) {
  if (IsException(fault)) return Error("Exception catched: " + Hex(E_FAIL));
  // Not a Windows Runtime error but the language's.
  if (fault.result == E_OUTOFMEMORY) return Error("Exception catched: " + Hex(E_OUTOFMEMORY));
  return Error("Exception catced " + SystemText(fault.result));
}

// A session that captures and holds a frame. The test keeps what a platform may keep, too.
class StopScenario : public Scenario {
 public:
  StopScenario() {
    EXPECT_TRUE(session_.Start());
    session_.DirtyRect(true);
    EXPECT_TRUE(fake::LastPool()->Deliver(Pattern(64, 48)));
    EXPECT_TRUE(session_.GetFrame().available);
    item_ = fake::LastItem();
    pool_ = fake::LastPool();
    capture_ = fake::LastSession();
    item_->AddRef();
    pool_->AddRef();
    capture_->AddRef();
  }

  ~StopScenario() override {
    session_.Destroy();
    capture_->Release();
    pool_->Release();
    item_->Release();
  }

  void Act() override { session_.Destroy(); }

  bool IsSpared(const Step& step, const fake::Fault& fault) override {
    if (fault.kind == fake::Fault::Kind::kNothing) return step.Is("QueryInterface(IClosable)");
    return IsException(fault) && IsCalledWithoutExceptions(step);
  }

  void Check(const Injection* injection) override {
    const bool asks_pool = injection && IsClosingOf("pool", *injection);
    const bool asks_capture = injection && IsClosingOf("session", *injection);
    const bool fails = (asks_pool || asks_capture) && !injection->IsEmptySuccess();
    const bool undone =
        injection && !(injection->IsAfterWork() && !injection->step.Is("QueryInterface("));

    EXPECT_EQ(TakeLog(), fails ? (std::vector<LogLine>{kBegins, Caught(injection->fault), kEnds})
                               : (std::vector<LogLine>{kBegins, kEnds}));
    EXPECT_EQ(pool_->IsClosed(), !(asks_pool && undone));
    // What comes after a failure is left out.
    EXPECT_EQ(capture_->IsClosed(), !(asks_capture && undone) && !(asks_pool && fails));
    // A source that refuses to let its handler go has nobody to tell.
    const bool frames_kept = injection && undone && IsRevocationOf("pool", 1, *injection);
    const bool closed_kept = injection && undone && IsRevocationOf("item", 2, *injection);
    EXPECT_EQ(pool_->HasHandler(), frames_kept);
    EXPECT_EQ(item_->HasHandler(), closed_kept);
    EXPECT_EQ(fake::HeapBytes(), 0);
  }

 private:
  static bool IsClosingOf(std::string_view receiver, const Injection& injection) {
    return injection.step.receiver.starts_with(receiver) &&
           (injection.step.Is("QueryInterface(IClosable)") || injection.step.Is("Close("));
  }

  // nth: which of the two weak references leads to the source.
  static bool IsRevocationOf(std::string_view receiver, uint64_t nth, const Injection& injection) {
    return injection.IsNth(nth, "Resolve(") ||
           (injection.step.receiver.starts_with(receiver) && !IsClosingOf(receiver, injection));
  }

  Session session_;
  fake::CaptureItem* item_;
  fake::FramePool* pool_;
  fake::CaptureSession* capture_;
};

// A session whose pool cannot be closed, for a reason that has a text.
class RefusedStopScenario : public Scenario {
 public:
  explicit RefusedStopScenario(HRESULT reason) : reason_(reason) { EXPECT_TRUE(session_.Start()); }

  fake::FaultPlan AlwaysFailing() override {
    return fake::EveryCallOf("Close", {fake::Fault::Kind::kResult, reason_});
  }

  void Act() override { session_.Destroy(); }

  // Only what becomes of the text is of interest.
  bool IsSpared(const Step& step, const fake::Fault&) override {
    return step.function != "WindowsCreateString";
  }

  void Check(const Injection* injection) override {
    // The line stays when the text cannot be had.
    const LogLine line = Error("Exception catced " + (injection ? "" : SystemText(reason_)));
    EXPECT_EQ(TakeLog(), (std::vector<LogLine>{kBegins, line, kEnds}));
  }

  void CheckWithoutText() {
    EXPECT_EQ(TakeLog(), (std::vector<LogLine>{kBegins, Error("Exception catced "), kEnds}));
  }

 private:
  const HRESULT reason_;
  Session session_;
};

class StopFailures : public SessionTest {};

TEST_F(StopFailures, OfEachCall) {
  EXPECT_GT(Sweep([] { return std::make_unique<StopScenario>(); }, AllFaults()), 0u);
}

TEST_F(StopFailures, ExceptionsOfEachCall) {
  EXPECT_GT(Sweep([] { return std::make_unique<StopScenario>(); }, Exceptions()), 0u);
}

TEST_F(StopFailures, OfTheTextOfAFailure) {
  EXPECT_GT(
      Sweep([] { return std::make_unique<RefusedStopScenario>(E_ACCESSDENIED); }, AllFaults()), 0u);
}

TEST_F(StopFailures, OfEachAllocation) {
  const auto make = [] { return std::make_unique<RefusedStopScenario>(E_INVALIDARG); };
  const auto failed = SweepNew(make, [](Scenario& scenario, const auto* recording) {
    if (!recording) return scenario.Check(nullptr);
    static_cast<RefusedStopScenario&>(scenario).CheckWithoutText();
  });
  // The narrow text; there is nothing else to make.
  EXPECT_EQ(failed, 1u);
}

}  // namespace
}  // namespace session_test
