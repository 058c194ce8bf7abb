// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/report/report.h"

#include <windows.h>

#include <winver.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <nlohmann/json.hpp>

#include "common/error.h"
#include "common/page/page.h"
#include "common/png_encoder.h"
#include "common/text.h"
#include "common/version.h"
#include "common/whole_file.h"
#include "quill-grab/page/report_page.h"

namespace quill_apps {

namespace {

using Json = nlohmann::ordered_json;

constexpr char kReportRemedy[] = "choose another file with --report";
constexpr double kRatioBinSeconds = 1.0 / 64;  // separates up to 64 polls a second at first
constexpr size_t kRatioBins = 2048;
constexpr double kRateBinSeconds = 1.0;
constexpr size_t kRateBins = 512;
constexpr size_t kListedSizes = 100;
constexpr size_t kPlainChanges = 20;  // lines for browsers that run no scripts

// Four decimals: a tenth of a millisecond, a hundredth of a per cent.
double Round(double value) {
  return std::round(value * 10000.0) / 10000.0;
}

// Of libquill-wgc.dll, from its version resource; null when it is not loaded. Reading the loaded
// resource avoids importing version.dll.
Json LibraryVersion() {
  const HMODULE library = GetModuleHandleW(L"libquill-wgc.dll");
  if (library == nullptr) return nullptr;
  const HRSRC found = FindResourceW(library, MAKEINTRESOURCEW(VS_VERSION_INFO), RT_VERSION);
  if (found == nullptr) return nullptr;
  // VS_VERSIONINFO: three words, the key "VS_VERSION_INFO" and padding, then the fixed part.
  constexpr size_t kFixedOffset = 40;
  VS_FIXEDFILEINFO info{};
  if (SizeofResource(library, found) < kFixedOffset + sizeof(info)) return nullptr;
  const void* resource = LockResource(LoadResource(library, found));
  std::memcpy(&info, static_cast<const char*>(resource) + kFixedOffset, sizeof(info));
  return Format("%u.%u.%u", HIWORD(info.dwFileVersionMS), LOWORD(info.dwFileVersionMS),
                HIWORD(info.dwFileVersionLS));
}

// The given number of seconds ago, in UTC: "2026-03-01T12:30:05Z".
std::string UtcSecondsAgo(double seconds) {
  FILETIME now;
  GetSystemTimeAsFileTime(&now);
  ULARGE_INTEGER ticks{{now.dwLowDateTime, now.dwHighDateTime}};
  ticks.QuadPart -= static_cast<uint64_t>(seconds * 1e7);
  const FILETIME then{ticks.LowPart, ticks.HighPart};
  SYSTEMTIME time{};
  FileTimeToSystemTime(&then, &time);
  return Format("%04u-%02u-%02uT%02u:%02u:%02uZ", time.wYear, time.wMonth, time.wDay, time.wHour,
                time.wMinute, time.wSecond);
}

Json SizeJson(const FrameSize& size) {
  return {{"width", size.width}, {"height", size.height}};
}

Json FiguresJson(const RunResult& result) {
  const Summary& summary = result.summary;
  // There is one interval less than there are polls.
  const double achieved = summary.polls() > 1 && result.seconds > 0
                              ? static_cast<double>(summary.polls() - 1) / result.seconds
                              : 0.0;
  Json sizes = Json::array();
  for (const auto& [size, polls] : summary.sizes()) {
    if (sizes.size() == kListedSizes) break;
    Json entry = SizeJson(size);
    entry["polls"] = polls;
    sizes.push_back(std::move(entry));
  }
  return {
      {"seconds", Round(result.seconds)},
      {"askedFps", result.fps},
      {"achievedFps", Round(achieved)},
      {"polls", summary.polls()},
      {"frames", summary.frames()},
      {"newFrames", summary.new_frames()},
      {"pollsWithoutFrame", summary.polls() - summary.frames()},
      {"missedPolls", summary.missed()},
      {"ratioMin", Round(summary.min_ratio())},
      {"ratioMean", Round(summary.mean_ratio())},
      {"ratioMax", Round(summary.max_ratio())},
      {"ratioZero", summary.zero_ratios()},
      {"sizes", std::move(sizes)},
      {"sizeCount", summary.sizes().size()},
  };
}

Json RatiosJson(const BinnedSeries& series) {
  Json points = Json::array();
  for (const SeriesBin& bin : series.bins()) {
    if (bin.polls == 0) continue;
    points.push_back({Round(bin.max_seconds), Round(bin.max_ratio),
                      Round(bin.ratio_sum / static_cast<double>(bin.polls)), bin.polls});
  }
  return {{"binSeconds", series.bin_seconds()}, {"points", std::move(points)}};
}

Json RatesJson(const BinnedSeries& series) {
  Json bins = Json::array();
  for (const SeriesBin& bin : series.bins())
    bins.push_back({bin.polls, bin.new_frames, bin.missed});
  return {{"binSeconds", series.bin_seconds()}, {"bins", std::move(bins)}};
}

Json SpansJson(const SizeHistory& history) {
  Json spans = Json::array();
  for (const SizeSpan& span : history.spans()) {
    Json entry = SizeJson(span.size);
    entry["from"] = Round(span.from);
    entry["to"] = Round(span.to);
    entry["polls"] = span.polls;
    entry["newFrames"] = span.new_frames;
    spans.push_back(std::move(entry));
  }
  return {{"count", history.span_count()}, {"first", std::move(spans)}};
}

Json GapsJson(const GapList& gaps) {
  Json longest = Json::array();
  for (const Gap& gap : gaps.longest()) longest.push_back({Round(gap.from), Round(gap.to)});
  return {{"minSeconds", GapList::kMinSeconds},
          {"count", gaps.count()},
          {"seconds", Round(gaps.total_seconds())},
          {"longest", std::move(longest)}};
}

Json PicturesJson(const ThumbnailPicker& picker) {
  const PngEncoder encoder;
  Json pictures = Json::array();
  for (const Thumbnail& thumbnail : picker.Picked()) {
    Json entry = SizeJson(thumbnail.frame);
    entry["seconds"] = Round(thumbnail.seconds);
    entry["ratio"] = Round(thumbnail.ratio);
    entry["png"] = PngDataUri(encoder.Encode(thumbnail.view()));
    pictures.push_back(std::move(entry));
  }
  return pictures;
}

Json HeatJson(const TileHeat& heat) {
  const std::vector<HeatMap> maps = heat.Maps();
  if (maps.empty()) return nullptr;
  Json shown = SizeJson(maps.front().size);
  shown["tile"] = kTileSize;
  shown["columns"] = maps.front().columns;
  shown["rows"] = maps.front().rows;
  shown["frames"] = maps.front().frames;
  shown["compared"] = maps.front().compared;
  shown["changes"] = maps.front().changes;
  Json others = Json::array();
  for (size_t i = 1; i < maps.size(); ++i) {
    Json entry = SizeJson(maps[i].size);
    entry["frames"] = maps[i].frames;
    others.push_back(std::move(entry));
  }
  shown["others"] = std::move(others);
  shown["discardedSizes"] = heat.discarded_maps();
  return shown;
}

Json LogJson(const std::vector<LogLine>& lines) {
  Json log = Json::array();
  for (const LogLine& line : lines) {
    log.push_back({{"seconds", Round(line.seconds)},
                   {"level", LogLevelName(line.level)},
                   {"text", line.text}});
  }
  return {{"kept", kKeptLogLines}, {"lines", std::move(log)}};
}

}  // namespace

Report::Report(const std::string& path)
    : path_(ToWide(path)),
      ratios_(kRatioBinSeconds, kRatioBins),
      rates_(kRateBinSeconds, kRateBins) {
  if (!HasReportPage()) {
    throw ToolError(
        ExitCode::kUnsupported,
        "--report is not in this quill-grab, which was built without Chart.js: leave it out, "
        "or install Chart.js (Debian: libjs-chart.js) and build again");
  }
  path_.make_preferred();
  CheckWritable(path_, kReportRemedy);
}

void Report::Take(FrameRecord& record, const PixelView* pixels) {
  ratios_.Add(record);
  rates_.Add(record);
  sizes_.Add(record);
  if (!record.is_new) return;
  gaps_.Mark(record.seconds);
  if (pixels == nullptr) return;
  thumbnails_.Offer(record.seconds, record.ratio, *pixels);
  heat_.Add(*pixels);
}

void Report::Finish(const RunResult& result) {
  gaps_.Mark(result.seconds);
  const std::string page =
      ReportPage({"Capture of " + result.target, SummaryText(result, kPlainChanges), Data(result)});
  WriteWholeFile(path_, {reinterpret_cast<const uint8_t*>(page.data()), page.size()},
                 kReportRemedy);
}

std::string Report::Data(const RunResult& result) const {
  const Json data = {
      {"version", Version()},
      {"libraryVersion", LibraryVersion()},
      {"target", result.target},
      {"end", result.end},
      {"started", UtcSecondsAgo(result.seconds)},
      {"figures", FiguresJson(result)},
      {"ratios", RatiosJson(ratios_)},
      {"rates", RatesJson(rates_)},
      {"sizeSpans", SpansJson(sizes_)},
      {"gaps", GapsJson(gaps_)},
      {"pictures", PicturesJson(thumbnails_)},
      {"heat", HeatJson(heat_)},
      {"log", LogJson(result.log)},
  };
  // A log text that the library has cut may end in the middle of a character.
  return data.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace quill_apps
