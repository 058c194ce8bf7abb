// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "contest.h"

#include <algorithm>

#include "wgc_library.h"

namespace bench {

Contest::Contest(Size size)
    : size_(size),
      first_(MakePicture(size)),
      second_(ChangeMiddle(first_, size)),
      session_(size),
      gpu_(session_.device()),
      bare_(gpu_, size) {}

void Contest::SetMode(Mode mode) {
  bare_receiver_.mode = mode;
  session_.SetMode(mode);
  gpu_.Upload(session_.pool().texture(0), first_);
  gpu_.Upload(session_.pool().texture(1), mode == Mode::kUnchanged ? first_ : second_);
  for (int i = 0; i < 4; ++i) {
    PrepareSession();
    RunSession();
    PrepareBare();
    RunBare();
  }
}

void Contest::PrepareSession() {
  session_index_ ^= 1;
  session_.pool().SetNext(session_index_,
                          {static_cast<INT32>(size_.width), static_cast<INT32>(size_.height)});
  pump_.Post(session_.pool());
}

void Contest::PrepareBare() {
  bare_index_ ^= 1;
  bare_receiver_.frame = session_.pool().texture(bare_index_);
  pump_.Post(bare_receiver_);
}

void Contest::RunSession() {
  session_.Poll();
  gpu_.Finish();
}

void Contest::RunBare() {
  FramePump::Drain();
  gpu_.Finish();
}

void Contest::Verify() {
  const Mode mode = bare_receiver_.mode;
  const float ratio = session_.TakeUpdateRatio();
  const Picture& expected = session_index_ == 0 || mode == Mode::kUnchanged ? first_ : second_;
  Check(session_index_ == bare_index_, "the frames are out of step");
  if (mode == Mode::kTexture) {
    Check(gpu_.Download(session_.texture()) == expected, "the session's texture is wrong");
    Check(gpu_.Download(bare_.output()) == expected, "the floor's texture is wrong");
    return;
  }
  Check(std::equal(expected.begin(), expected.end(), session_.pixels()),
        "the session's buffer is wrong");
  Check(bare_.buffer() == expected, "the floor's buffer is wrong");
  if (mode == Mode::kBuffer) return;
  Check((ratio > 0) == (mode == Mode::kChanged), "the session's detection is wrong");
  Check(bare_.has_changed() == (mode == Mode::kChanged), "the floor's detection is wrong");
}

}  // namespace bench
