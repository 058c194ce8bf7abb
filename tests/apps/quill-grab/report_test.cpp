// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/report/report.h"

#include <chrono>
#include <ctime>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <sstream>

#include "apps/quill-grab/decode_png.h"
#include "apps/quill-grab/test_support.h"
#include "quill-grab/console/error.h"
#include "quill-grab/page/report_page.h"

namespace quill_grab {
namespace {

using Json = nlohmann::json;

std::string ReadText(const std::filesystem::path& path) {
  const std::vector<uint8_t> bytes = ReadWholeFile(path.wstring().c_str());
  return {bytes.begin(), bytes.end()};
}

// The page's data, as a script would read it: up to the first end of a script element.
Json DataOf(const std::string& page) {
  const std::string opening = "<script type=\"application/json\" id=\"data\">";
  const size_t begin = page.find(opening) + opening.size();
  return Json::parse(page.substr(begin, page.find("</script", begin) - begin));
}

std::vector<uint8_t> FromBase64(std::string_view text) {
  const std::string_view digits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::vector<uint8_t> bytes;
  uint32_t bits = 0;
  int count = 0;
  for (const char c : text.substr(0, text.find('='))) {
    bits = bits << 6 | static_cast<uint32_t>(digits.find(c));
    if ((count += 6) >= 8) bytes.push_back(static_cast<uint8_t>(bits >> (count -= 8)));
  }
  return bytes;
}

class ReportTest : public ComTest {
 protected:
  // A poll whose frame is of one grey.
  void Take(Report& report, double seconds, float ratio, uint8_t grey, uint64_t missed = 0,
            FrameSize size = {64, 40}) {
    FrameRecord record{seconds, size, ratio, ratio > 0.0f, missed, ""};
    const std::vector<uint8_t> bytes(size_t{size.width} * size.height * 4, grey);
    const PixelView view{bytes.data(), size.width, size.height, size_t{size.width} * 4};
    report.Take(record, report.NeedsPixels(record) ? &view : nullptr);
    summary_.AddFrame(record);
  }

  // The page's data after the end of the run.
  Json Finish(Report& report, double seconds, std::vector<LogLine> log = {}) {
    report.Finish({target_, "the time is over", seconds, 30.0, summary_, std::move(log)});
    return DataOf(ReadText(path_));
  }

  TemporaryFolder folder_;
  std::filesystem::path path_ = folder_.path() / "out.html";
  std::string target_ = "window 0x1";
  Summary summary_;
};

TEST_F(ReportTest, HoldsTheFiguresOfTheRun) {
  Report report(path_.string());
  summary_.AddPollWithoutFrame();
  Take(report, 0.5, 1.0f, 0);
  Take(report, 1.0, 0.0f, 0, 2);
  Take(report, 1.5, 0.25f, 9);
  Take(report, 2.0, 0.25f, 9, 1, {100, 50});
  const Json data = Finish(report, 2.0);
  EXPECT_EQ(data["target"], "window 0x1");
  EXPECT_EQ(data["end"], "the time is over");
  const Json& figures = data["figures"];
  EXPECT_EQ(figures["seconds"], 2.0);
  EXPECT_EQ(figures["askedFps"], 30.0);
  EXPECT_EQ(figures["achievedFps"], 2.0);  // four intervals in two seconds
  EXPECT_EQ(figures["polls"], 5);
  EXPECT_EQ(figures["frames"], 4);
  EXPECT_EQ(figures["newFrames"], 3);
  EXPECT_EQ(figures["pollsWithoutFrame"], 1);
  EXPECT_EQ(figures["droppedPolls"], 3);
  EXPECT_EQ(figures["ratioMin"], 0.0);
  EXPECT_EQ(figures["ratioMean"], 0.375);
  EXPECT_EQ(figures["ratioMax"], 1.0);
  EXPECT_EQ(figures["ratioZero"], 1);
  EXPECT_EQ(figures["sizes"], Json::parse(R"([{"width": 64, "height": 40, "polls": 3},
                                              {"width": 100, "height": 50, "polls": 1}])"));
  EXPECT_EQ(figures["sizeCount"], 2);
  EXPECT_EQ(data["ratios"]["points"],
            Json::parse("[[0.5, 1.0, 1.0, 1], [1.0, 0.0, 0.0, 1], [1.5, 0.25, 0.25, 1], "
                        "[2.0, 0.25, 0.25, 1]]"));
  EXPECT_EQ(data["rates"]["binSeconds"], 1.0);
  EXPECT_EQ(data["rates"]["bins"], Json::parse("[[1, 1, 2], [2, 1, 1], [1, 1, 0]]"));
  EXPECT_EQ(data["sizeSpans"]["count"], 2);
  EXPECT_EQ(data["sizeSpans"]["first"][1],
            Json::parse(R"({"width": 100, "height": 50, "from": 2.0, "to": 2.0, "polls": 1,
                            "newFrames": 1})"));
}

TEST_F(ReportTest, SumsUpPollsThatLieCloseTogether) {
  Report report(path_.string());
  Take(report, 0.001, 0.5f, 0);
  Take(report, 0.005, 1.0f, 1);
  Take(report, 0.009, 0.0f, 1);
  EXPECT_EQ(Finish(report, 0.009)["ratios"]["points"], Json::parse("[[0.005, 1.0, 0.5, 3]]"));
}

TEST_F(ReportTest, ShowsWhereAndWhenItChanged) {
  Report report(path_.string());
  Take(report, 0.0, 1.0f, 0);
  Take(report, 0.1, 0.5f, 50);
  Take(report, 2.0, 0.25f, 60);
  Take(report, 3.5, 1.0f, 70, 0, {8, 8});
  const Json data = Finish(report, 10.0);
  EXPECT_EQ(data["heat"]["width"], 64);
  EXPECT_EQ(data["heat"]["columns"], 2);
  EXPECT_EQ(data["heat"]["rows"], 2);
  EXPECT_EQ(data["heat"]["frames"], 3);
  EXPECT_EQ(data["heat"]["compared"], 2);
  EXPECT_EQ(data["heat"]["changes"], Json::parse("[2, 2, 2, 2]"));
  EXPECT_EQ(data["heat"]["others"], Json::parse(R"([{"width": 8, "height": 8, "frames": 1}])"));
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
  const DecodedPng png = DecodePng(FromBase64(std::string_view(uri).substr(prefix.size())));
  ASSERT_EQ(png.width, 64u);
  EXPECT_EQ(png.height, 40u);
  EXPECT_EQ(png.bgra[0], 60);
}

TEST_F(ReportTest, NamesTheVersions) {
  const HMODULE library = LoadLibraryW(L"libquill-wgc.dll");
  ASSERT_NE(library, nullptr);
  Report report(path_.string());
  Json data = Finish(report, 1.0);
  EXPECT_EQ(data["version"], QUILL_GRAB_TEST_VERSION);
  EXPECT_EQ(data["libraryVersion"], QUILL_GRAB_TEST_VERSION);  // one version for both
  FreeLibrary(library);
  data = Finish(report, 1.0);
  EXPECT_TRUE(data["libraryVersion"].is_null());
}

TEST_F(ReportTest, TellsWhenTheRunBegan) {
  Report report(path_.string());
  const auto now = std::chrono::system_clock::now();
  const std::string started = Finish(report, 5000.0)["started"];
  std::tm time{};
  std::istringstream(started) >> std::get_time(&time, "%Y-%m-%dT%H:%M:%SZ");
  const auto expected = std::chrono::system_clock::to_time_t(now - std::chrono::seconds(5000));
  EXPECT_NEAR(static_cast<double>(_mkgmtime(&time)), static_cast<double>(expected), 2.0) << started;
}

TEST_F(ReportTest, NeedsThePixelsOfNewFramesOnly) {
  const Report report(path_.string());
  EXPECT_TRUE(report.NeedsPixels({0.0, {8, 8}, 0.5f, true, 0, ""}));
  EXPECT_FALSE(report.NeedsPixels({0.0, {8, 8}, 0.0f, false, 0, ""}));
}

TEST_F(ReportTest, KeepsTextsFromBecomingMarkup) {
  target_ = "</title><script>1</script>&";
  const std::string nasty = "</script><!--<script> \"\\\n {{data}} {{script}}";
  Report report(path_.string());
  Take(report, 0.0, 1.0f, 0);
  const Json data = Finish(report, 1.0, {{0.5, 2, nasty}, {0.75, 3, "\xFF Gr\xC3\xBC"}});
  EXPECT_EQ(data["target"], target_);
  const Json& lines = data["log"]["lines"];
  EXPECT_EQ(lines[0], (Json{{"seconds", 0.5}, {"level", "warning"}, {"text", nasty}}));
  EXPECT_EQ(lines[1]["level"], "error");
  EXPECT_EQ(lines[1]["text"], "\xEF\xBF\xBD Gr\xC3\xBC");  // U+FFFD for what is no UTF-8
  const std::string page = ReadText(path_);
  EXPECT_NE(
      page.find("<title>Capture of &lt;/title&gt;&lt;script&gt;1&lt;/script&gt;&amp;</title>"),
      std::string::npos);
  EXPECT_EQ(page.find("<script>1"), std::string::npos);
  EXPECT_EQ(page.find("<!--<script>"), std::string::npos);
}

TEST_F(ReportTest, WritesAPageForARunWithoutFrames) {
  Report report(path_.string());
  summary_.AddPollWithoutFrame();
  const Json data = Finish(report, 0.0);
  EXPECT_EQ(data["figures"]["pollsWithoutFrame"], 1);
  EXPECT_EQ(data["figures"]["achievedFps"], 0.0);
  EXPECT_TRUE(data["heat"].is_null());
  EXPECT_TRUE(data["pictures"].empty());
}

TEST_F(ReportTest, StaysSmallOverDays) {
  Report report(path_.string());
  constexpr int kPolls = 3 * 86400;
  for (int i = 0; i < kPolls; ++i) {
    FrameRecord record{i * 1.0, {8, 8}, 1.0f, true, 1, ""};
    report.Take(record, nullptr);
    summary_.AddFrame(record);
  }
  const Json data = Finish(report, kPolls - 1.0);
  EXPECT_EQ(data["figures"]["polls"], kPolls);
  EXPECT_LT(std::filesystem::file_size(path_), 500'000u);
}

TEST_F(ReportTest, ReplacesAnEarlierPageOnlyWhenDone) {
  Report(path_.string()).Finish({"first", "", 0.0, 1.0, summary_, {}});
  const std::string before = ReadText(path_);
  Report report(path_.string());
  Take(report, 0.0, 1.0f, 0);
  EXPECT_EQ(ReadText(path_), before);
  EXPECT_EQ(Finish(report, 1.0)["target"], "window 0x1");
  EXPECT_EQ(folder_.CountFiles(), 1u);
}

TEST_F(ReportTest, RefusesAPathThatCannotBeWritten) {
  for (const std::filesystem::path& path :
       {folder_.path() / "missing" / "out.html", folder_.path()}) {
    try {
      const Report report(path.string());
      ADD_FAILURE() << "no error for " << path;
    } catch (const GrabError& error) {
      EXPECT_EQ(error.code(), ExitCode::kOutputFailed);
      EXPECT_NE(std::string(error.what()).find("--report"), std::string::npos) << error.what();
    }
  }
  EXPECT_EQ(folder_.CountFiles(), 0u);
}

TEST(ReportPageTest, FillsTheTemplateOnce) {
  const std::string page = ReportPage({"{{data}}", "{{script}} & plain", "{\"a\": \"{{title}}\"}"});
  EXPECT_NE(page.find("<title>{{data}}</title>"), std::string::npos);
  EXPECT_NE(page.find("<pre>{{script}} &amp; plain</pre>"), std::string::npos);
  EXPECT_EQ(DataOf(page)["a"], "{{title}}");
  EXPECT_NE(page.find("Chart.js v3"), std::string::npos);
}

}  // namespace
}  // namespace quill_grab
