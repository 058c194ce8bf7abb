// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/report/report.h"

#include <windows.h>

#include <wincrypt.h>

#include <chrono>
#include <ctime>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <sstream>

#include "apps/quill-grab/decode_png.h"
#include "apps/quill-grab/grab_error.h"
#include "apps/quill-grab/grab_test.h"
#include "quill-grab/page/report_page.h"

namespace quill_apps {
namespace {

using Json = nlohmann::json;

// The page's data, as a script would read it: up to the first end of a script element.
Json DataOf(const std::string& page) {
  const std::string opening = "<script type=\"application/json\" id=\"data\">";
  const size_t begin = page.find(opening) + opening.size();
  return Json::parse(page.substr(begin, page.find("</script", begin) - begin));
}

std::vector<uint8_t> FromBase64(const std::string& text) {
  DWORD size = static_cast<DWORD>(text.size());
  std::vector<uint8_t> bytes(size);
  EXPECT_TRUE(CryptStringToBinaryA(text.c_str(), size, CRYPT_STRING_BASE64, bytes.data(), &size,
                                   nullptr, nullptr));
  bytes.resize(size);
  return bytes;
}

class ReportTest : public ComTest {
 protected:
  // A poll whose frame is of one grey.
  void Take(double seconds, float ratio, uint8_t grey, uint64_t missed = 0,
            FrameSize size = {64, 40}) {
    FrameRecord record{seconds, size, ratio, ratio > 0.0f, missed, ""};
    const std::vector<uint8_t> bytes(size_t{size.width} * size.height * 4, grey);
    const PixelView view{bytes.data(), size.width, size.height, size_t{size.width} * 4};
    report_.Take(record, report_.NeedsPixels(record) ? &view : nullptr);
    summary_.AddFrame(record);
  }

  // The page's data after the end of the run.
  Json Finish(double seconds, std::vector<LogLine> log = {}) {
    report_.Finish({target_, "the time is over", seconds, 30.0, summary_, std::move(log)});
    return DataOf(ReadText(path_));
  }

  TemporaryFolder folder_;
  const std::filesystem::path path_ = folder_ / "out.html";
  Report report_{path_.string()};
  std::string target_ = "window 0x1";
  Summary summary_;
};

// Four intervals in two seconds; the mean ratio is 1.5 / 4.
TEST_F(ReportTest, PageHoldsTheFiguresOfTheRun) {
  summary_.AddPollWithoutFrame();
  Take(0.5, 1.0f, 0);
  Take(1.0, 0.0f, 0, 2);
  Take(1.5, 0.25f, 9);
  Take(2.0, 0.25f, 9, 1, {100, 50});
  const Json data = Finish(2.0);
  EXPECT_EQ(data["target"], "window 0x1");
  EXPECT_EQ(data["end"], "the time is over");
  EXPECT_EQ(data["figures"], Json::parse(R"({
      "seconds": 2.0, "askedFps": 30.0, "achievedFps": 2.0, "polls": 5, "frames": 4, "newFrames": 3,
      "pollsWithoutFrame": 1, "missedPolls": 3, "ratioMin": 0.0, "ratioMean": 0.375,
      "ratioMax": 1.0, "ratioZero": 1, "sizeCount": 2, "sizes": [
        {"width": 64, "height": 40, "polls": 3}, {"width": 100, "height": 50, "polls": 1}]})"));
  EXPECT_EQ(data["ratios"]["points"],
            Json::parse("[[0.5, 1.0, 1.0, 1], [1.0, 0.0, 0.0, 1], [1.5, 0.25, 0.25, 1], "
                        "[2.0, 0.25, 0.25, 1]]"));
  EXPECT_EQ(data["rates"],
            Json::parse(R"({"binSeconds": 1.0, "bins": [[1, 1, 2], [2, 1, 1], [1, 1, 0]]})"));
  EXPECT_EQ(data["sizeSpans"]["count"], 2);
  EXPECT_EQ(data["sizeSpans"]["first"][1],
            Json::parse(R"({"width": 100, "height": 50, "from": 2.0, "to": 2.0, "polls": 1,
                            "newFrames": 1})"));
}

TEST_F(ReportTest, PollsThatLieCloseTogetherAreOnePoint) {
  Take(0.001, 0.5f, 0);
  Take(0.005, 1.0f, 1);
  Take(0.009, 0.0f, 1);
  EXPECT_EQ(Finish(0.009)["ratios"]["points"], Json::parse("[[0.005, 1.0, 0.5, 3]]"));
}

TEST_F(ReportTest, PageShowsWhereAndWhenThePictureChanged) {
  Take(0.0, 1.0f, 0);
  Take(0.1, 0.5f, 50);
  Take(2.0, 0.25f, 60);
  Take(3.5, 1.0f, 70, 0, {8, 8});
  const Json data = Finish(10.0);
  EXPECT_EQ(data["heat"], Json::parse(R"({
      "width": 64, "height": 40, "tile": 32, "columns": 2, "rows": 2, "frames": 3, "compared": 2,
      "changes": [2, 2, 2, 2], "others": [{"width": 8, "height": 8, "frames": 1}],
      "discardedSizes": 0})"));
  EXPECT_EQ(data["gaps"]["longest"], Json::parse("[[0.1, 2.0], [2.0, 3.5], [3.5, 10.0]]"));
  EXPECT_EQ(data["gaps"]["seconds"], 9.9);
  // 0.0 and 0.1 share a span of time, of which the larger ratio stays.
  ASSERT_EQ(data["pictures"].size(), 3u);
  const Json& picture = data["pictures"][1];
  EXPECT_EQ(picture["seconds"], 2.0);
  EXPECT_EQ(picture["ratio"], 0.25);
  const std::string prefix = "data:image/png;base64,";
  const std::string uri = picture["png"];
  ASSERT_EQ(uri.substr(0, prefix.size()), prefix);
  const Picture png = DecodePng(FromBase64(uri.substr(prefix.size())));
  EXPECT_TRUE(png == Picture(64, 40, 0xFF3C3C3C));
}

TEST_F(ReportTest, VersionsOfProgramAndLibraryAreNamed) {
  const HMODULE library = LoadLibraryW(L"libquill-wgc.dll");
  ASSERT_NE(library, nullptr);
  Json data = Finish(1.0);
  EXPECT_EQ(data["version"], QUILL_GRAB_TEST_VERSION);
  EXPECT_EQ(data["libraryVersion"], QUILL_GRAB_TEST_VERSION);  // one version for both
  FreeLibrary(library);
  data = Finish(1.0);
  EXPECT_TRUE(data["libraryVersion"].is_null());
}

TEST_F(ReportTest, StartOfTheRunIsGivenInUtc) {
  const auto now = std::chrono::system_clock::now();
  const std::string started = Finish(5000.0)["started"];
  std::tm time{};
  std::istringstream(started) >> std::get_time(&time, "%Y-%m-%dT%H:%M:%SZ");
  const auto expected = std::chrono::system_clock::to_time_t(now - std::chrono::seconds(5000));
  EXPECT_NEAR(static_cast<double>(_mkgmtime(&time)), static_cast<double>(expected), 2.0) << started;
}

TEST_F(ReportTest, PixelsAreNeededOfNewFramesOnly) {
  EXPECT_TRUE(report_.NeedsPixels({0.0, {8, 8}, 0.5f, true, 0, ""}));
  EXPECT_FALSE(report_.NeedsPixels({0.0, {8, 8}, 0.0f, false, 0, ""}));
}

TEST_F(ReportTest, TextsDoNotBecomeMarkup) {
  target_ = "</title><script>1</script>&";
  const std::string nasty = "</script><!--<script> \"\\\n {{data}} {{script}}";
  Take(0.0, 1.0f, 0);
  const Json data = Finish(1.0, {{0.5, 2, nasty}, {0.75, 3, "\xFF Gr\xC3\xBC"}});
  EXPECT_EQ(data["target"], target_);
  const Json& lines = data["log"]["lines"];
  EXPECT_EQ(lines[0], (Json{{"seconds", 0.5}, {"level", "warning"}, {"text", nasty}}));
  EXPECT_EQ(lines[1]["level"], "error");
  EXPECT_EQ(lines[1]["text"], "\xEF\xBF\xBD Gr\xC3\xBC");  // U+FFFD for what is no UTF-8
  const std::string page = ReadText(path_);
  EXPECT_TRUE(Contains(
      page, "<title>Capture of &lt;/title&gt;&lt;script&gt;1&lt;/script&gt;&amp;</title>"));
  EXPECT_FALSE(Contains(page, "<script>1"));
  EXPECT_FALSE(Contains(page, "<!--<script>"));
}

TEST_F(ReportTest, PageStaysSmallOverDays) {
  constexpr int kPolls = 3 * 86400;
  for (int i = 0; i < kPolls; ++i) {
    FrameRecord record{i * 1.0, {8, 8}, 1.0f, true, 1, ""};
    report_.Take(record, nullptr);
    summary_.AddFrame(record);
  }
  EXPECT_EQ(Finish(kPolls - 1.0)["figures"]["polls"], kPolls);
  EXPECT_LT(std::filesystem::file_size(path_), 500'000u);
}

TEST_F(ReportTest, RunWithoutFramesHasAPage) {
  summary_.AddPollWithoutFrame();
  const Json data = Finish(0.0);
  EXPECT_EQ(data["figures"]["pollsWithoutFrame"], 1);
  EXPECT_EQ(data["figures"]["achievedFps"], 0.0);
  EXPECT_TRUE(data["heat"].is_null());
  EXPECT_TRUE(data["pictures"].empty());
}

TEST_F(ReportTest, EarlierPageIsReplacedOnlyAtTheEndOfTheRun) {
  std::ofstream(path_) << "earlier";
  const Report again(path_.string());
  Take(0.0, 1.0f, 0);
  EXPECT_EQ(ReadText(path_), "earlier");
  EXPECT_EQ(Finish(1.0)["target"], "window 0x1");
  EXPECT_EQ(folder_.CountFiles(), 1u);
}

TEST_F(ReportTest, PathThatCannotBeWrittenIsRefused) {
  for (const std::filesystem::path& path : {folder_ / "missing" / "out.html", folder_.path()}) {
    const ToolError error = ErrorOf([&] { const Report report(path.string()); });
    EXPECT_EQ(error.code(), ExitCode::kOutputFailed);
    EXPECT_TRUE(Contains(error.what(), "--report"));
  }
  EXPECT_EQ(folder_.CountFiles(), 0u);
}

TEST(ReportPageTest, MarkersInTheContentAreNotFilledIn) {
  const std::string page = ReportPage({"{{data}}", "{{script}} & plain", "{\"a\": \"{{title}}\"}"});
  EXPECT_TRUE(Contains(page, "<title>{{data}}</title>"));
  EXPECT_TRUE(Contains(page, "<pre>{{script}} &amp; plain</pre>"));
  EXPECT_EQ(DataOf(page)["a"], "{{title}}");
  EXPECT_TRUE(Contains(page, "Chart.js v3"));
}

}  // namespace
}  // namespace quill_apps
