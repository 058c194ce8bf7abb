// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-check/check.h"

#include <algorithm>
#include <array>
#include <utility>

#include "common/page/page.h"
#include "common/png_encoder.h"

namespace quill_apps {

const char* VerdictName(Verdict verdict) {
  constexpr std::array kNames = {"SKIP", "INFO", "PASS", "WARN", "FAIL"};
  return kNames.at(static_cast<size_t>(verdict));
}

void Finding::Add(Verdict verdict, std::string text) {
  notes_.push_back({verdict, std::move(text)});
  if (on_note_) on_note_(notes_.back());
}

void Finding::AddAllButPasses(const Finding& other) {
  for (const Note& note : other.notes_) {
    if (note.verdict != Verdict::kPass) Add(note.verdict, note.text);
  }
  figures_.update(other.figures_);
}

Verdict Finding::verdict() const {
  Verdict gravest = Verdict::kSkip;
  for (const Note& note : notes_) gravest = std::max(gravest, note.verdict);
  return gravest;
}

void Finding::Picture(std::string name, const PixelView& view) {
  pictures_.push_back({std::move(name), PngDataUri(PngEncoder().Encode(view))});
}

bool IsWine() {
  return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

}  // namespace quill_apps
