// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/json/json_lines.h"

#include <algorithm>

#include "apps/quill-grab/test_support.h"
#include "apps/quill-grab/decode_png.h"

namespace quill_grab {
namespace {

FrameRecord Frame(double seconds, float ratio, bool is_new, uint64_t missed = 0) {
  return {seconds, {640, 480}, ratio, is_new, missed, ""};
}

TEST(JsonLineTest, HoldsTheFieldsInOrder) {
  EXPECT_EQ(JsonLine(Frame(1.25, 0.5f, true), 3),
            R"({"time":1.25,"width":640,"height":480,"ratio":0.5,"new":true,"missed":3})"
            "\n");
  EXPECT_EQ(JsonLine(Frame(12345.678901, 0.1f, false), 0),
            R"({"time":12345.678901,"width":640,"height":480,"ratio":0.1,"new":false,"missed":0})"
            "\n");
}

// As RFC 8259 has it: quotation mark, reverse solidus and control characters are escaped, and here
// everything beyond ASCII, in UTF-16.
TEST(JsonLineTest, EscapesTheFile) {
  FrameRecord record = Frame(0, 0, true);
  record.file = "C:\\new\\\"a\"\t\u00fc\U0001F600.png";
  const std::string line = JsonLine(record, 0);
  EXPECT_NE(line.find(",\"file\":\"C:\\\\new\\\\\\\"a\\\"\\t\\u00fc\\ud83d\\ude00.png\"}\n"),
            std::string::npos)
      << line;
}

class JsonLinesTest : public testing::Test {
 protected:
  std::string Written(bool all) {
    const std::filesystem::path path = temporary_.path() / "lines";
    {
      JsonLines lines(all, std::make_unique<ByteSink>(path.string(), "--json", console_, never_));
      for (FrameRecord record : {Frame(1, 1, true), Frame(2, 0, false, 2), Frame(3, 0, false),
                                 Frame(4, 0.5f, true, 1), Frame(5, 0.5f, true)}) {
        lines.Take(record, nullptr);
      }
    }
    const std::vector<uint8_t> bytes = ReadWholeFile(path.wstring().c_str());
    return {bytes.begin(), bytes.end()};
  }

  Console console_;
  const std::atomic<bool> never_{false};
  TemporaryFolder temporary_;
};

TEST_F(JsonLinesTest, ALineForEachNewFrameCountsWhatWasMissedSinceTheLast) {
  EXPECT_EQ(Written(false),
            R"({"time":1.0,"width":640,"height":480,"ratio":1.0,"new":true,"missed":0})"
            "\n"
            R"({"time":4.0,"width":640,"height":480,"ratio":0.5,"new":true,"missed":3})"
            "\n"
            R"({"time":5.0,"width":640,"height":480,"ratio":0.5,"new":true,"missed":0})"
            "\n");
}

TEST_F(JsonLinesTest, ALineForEachFrameWithAll) {
  const std::string lines = Written(true);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 5);
  EXPECT_NE(lines.find(R"("new":false,"missed":2)"), std::string::npos) << lines;
}

}  // namespace
}  // namespace quill_grab
