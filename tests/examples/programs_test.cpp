// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The example programs as their users run them: on windows with known pixels, and with what cannot
// work.
#include <gtest/gtest.h>

#include <windows.h>

#include <wincodec.h>
#include <wrl/client.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "examples/program_run.h"
#include "support/pattern_window.h"

namespace {

using Microsoft::WRL::ComPtr;

constexpr int kWidth = 301;
constexpr int kHeight = 203;

// A DWORD or text in the registry, for the life of this object; what was there comes back.
class RegistryValue {
 public:
  RegistryValue(HKEY root, const wchar_t* key, const wchar_t* name, DWORD type, const void* data,
                DWORD bytes)
      : root_(root), key_(key), name_(name) {
    DWORD size = sizeof before_;
    existed_ = RegGetValueW(root, key, name, RRF_RT_ANY, &type_, before_, &size) == ERROR_SUCCESS;
    size_ = size;
    EXPECT_EQ(RegSetKeyValueW(root, key, name, type, data, bytes), ERROR_SUCCESS);
  }
  ~RegistryValue() {
    if (existed_) {
      RegSetKeyValueW(root_, key_, name_, type_, before_, size_);
    } else {
      RegDeleteKeyValueW(root_, key_, name_);
    }
  }
  RegistryValue(const RegistryValue&) = delete;
  RegistryValue& operator=(const RegistryValue&) = delete;

 private:
  HKEY root_;
  const wchar_t* key_;
  const wchar_t* name_;
  bool existed_;
  DWORD type_ = 0;
  DWORD size_ = 0;
  wchar_t before_[MAX_PATH];
};

class Programs : public testing::Test {
 protected:
  void SetUp() override {
    folder_ = std::filesystem::temp_directory_path() /
              ("quill-programs-" + std::to_string(GetCurrentProcessId()));
    std::filesystem::create_directory(folder_);
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  std::filesystem::path File(const char* name) const { return folder_ / name; }

  ProgramRun Start(const std::wstring& program, const std::wstring& arguments) const {
    return ProgramRun(program, arguments, folder_);
  }
  // A title and a file.
  ProgramRun Start(const std::wstring& program, const std::wstring& title,
                   const std::filesystem::path& file) const {
    return Start(program, L"\"" + title + L"\" \"" + file.wstring() + L"\"");
  }

 private:
  std::filesystem::path folder_;
};

// A failure: these lines on standard error, nothing else anywhere.
void ExpectFailure(const ProgramResult& result, const std::string& lines) {
  EXPECT_EQ(result.exit_code, 1u);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, lines);
}

// The picture of a file as the Windows Imaging Component reads it; empty when it cannot.
Picture LoadBitmapFile(const std::filesystem::path& file) {
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  ComPtr<IWICImagingFactory> factory;
  ComPtr<IWICBitmapDecoder> decoder;
  ComPtr<IWICBitmapFrameDecode> frame;
  ComPtr<IWICBitmapSource> pixels;
  UINT width = 0;
  UINT height = 0;
  Picture picture;
  if (SUCCEEDED(CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                                 IID_PPV_ARGS(&factory))) &&
      SUCCEEDED(factory->CreateDecoderFromFilename(file.c_str(), nullptr, GENERIC_READ,
                                                   WICDecodeMetadataCacheOnLoad, &decoder)) &&
      SUCCEEDED(decoder->GetFrame(0, &frame)) &&
      SUCCEEDED(WICConvertBitmapSource(GUID_WICPixelFormat32bppBGR, frame.Get(), &pixels)) &&
      SUCCEEDED(pixels->GetSize(&width, &height))) {
    picture = {static_cast<int>(width), static_cast<int>(height), {}};
    picture.pixels.resize(size_t{width} * height);
    EXPECT_EQ(pixels->CopyPixels(nullptr, width * 4, width * height * 4,
                                 reinterpret_cast<BYTE*>(picture.pixels.data())),
              S_OK);
  }
  return picture;
}

TEST_F(Programs, MinimalSavesEveryPixelOfTheWindow) {
  const Picture shown = MakePattern(kWidth, kHeight);
  const PatternWindow window(shown);
  const ProgramResult result = Start(L"minimal", L"ill patt", File("frame.bmp")).Wait();
  EXPECT_EQ(result.exit_code, 0u);
  EXPECT_EQ(result.out, "301 x 203 pixels saved\n");
  EXPECT_EQ(result.err, "");

  EXPECT_EQ(std::filesystem::file_size(File("frame.bmp")), 54u + kWidth * kHeight * 4);
  const Picture saved = LoadBitmapFile(File("frame.bmp"));
  ASSERT_EQ(saved.width, kWidth);
  ASSERT_EQ(saved.height, kHeight);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      ASSERT_EQ(saved.at(x, y) & 0xFFFFFF, shown.at(x, y) & 0xFFFFFF) << x << ", " << y;
    }
  }
}

// BT.709's luma for video levels, of a colour 0xRRGGBB.
double LumaOf(uint32_t colour) {
  const double red = (colour >> 16 & 0xFF) / 255.0;
  const double green = (colour >> 8 & 0xFF) / 255.0;
  const double blue = (colour & 0xFF) / 255.0;
  return 16.0 + 219.0 * (0.2126 * red + 0.7152 * green + 0.0722 * blue);
}

TEST_F(Programs, TextureSavesTheLumaOfEveryPixel) {
  const Picture shown = MakePattern(kWidth, kHeight);
  const PatternWindow window(shown);
  const ProgramResult result = Start(L"texture", L"Quill pattern", File("luma.pgm")).Wait();
  EXPECT_EQ(result.exit_code, 0u);
  EXPECT_EQ(result.err, "");

  std::ifstream file(File("luma.pgm"), std::ios::binary);
  const std::string saved{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  const std::string header = "P5\n301 203\n255\n";
  ASSERT_TRUE(saved.starts_with(header));
  ASSERT_EQ(saved.size(), header.size() + kWidth * kHeight);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const size_t offset = header.size() + static_cast<size_t>(y) * kWidth + x;
      const int luma = static_cast<unsigned char>(saved[offset]);
      // Direct3D may round a colour to a byte 0.6 away.
      ASSERT_NEAR(luma, LumaOf(shown.at(x, y)), 0.601) << x << ", " << y;
    }
  }
}

// The line for a frame in which every pixel has changed: tiles of 32 x 32 that end before the
// picture's right and bottom edge are watched.
std::string WholeChange(const char* name) {
  const int watched = (kWidth - 1) / 32 * 32 * ((kHeight - 1) / 32 * 32);
  char line[80];
  std::snprintf(line, sizeof line, "%s: %d x %d, %.1f %% changed\n", name, kWidth, kHeight,
                100.0 * watched / (kWidth * kHeight));
  return line;
}

// The lines of a text that begin so.
std::vector<std::string> LinesOf(const std::string& text, const std::string& start) {
  std::vector<std::string> lines;
  for (size_t at = 0; at < text.size(); at = text.find('\n', at) + 1) {
    if (text.compare(at, start.size(), start) == 0) {
      lines.push_back(text.substr(at, text.find('\n', at) + 1 - at));
    }
  }
  return lines;
}

// "NAME: N polls, F frames with a change", N at least as large.
void ExpectCounts(const std::string& line, const char* name, unsigned polls, unsigned frames) {
  char found_name[20] = "";
  unsigned found_polls = 0;
  unsigned found_frames = 0;
  EXPECT_EQ(std::sscanf(line.c_str(), "%19[^:]: %u polls, %u frames with a change", found_name,
                        &found_polls, &found_frames),
            3)
      << line;
  EXPECT_STREQ(found_name, name);
  EXPECT_GE(found_polls, polls);
  EXPECT_EQ(found_frames, frames);
}

TEST_F(Programs, TwoWindowsTellTheirChangesApartAndEndTogether) {
  PatternWindow left(MakePattern(kWidth, kHeight, 1), 40, 30);
  PatternWindow right(MakePattern(kWidth, kHeight, 2), 500, 30);
  SetWindowTextW(left.handle(), L"Quill left");
  SetWindowTextW(right.handle(), L"Quill right");
  ProgramRun run = Start(L"two_windows", L"\"Quill left\" \"Quill right\" 100");
  const std::string first_new = "first: 301 x 203, 100.0 % changed\n";
  const std::string second_new = "second: 301 x 203, 100.0 % changed\n";
  ASSERT_TRUE(run.Prints(first_new));
  ASSERT_TRUE(run.Prints(second_new));
  right.Show(MakePattern(kWidth, kHeight, 3));
  ASSERT_TRUE(run.Prints(WholeChange("second")));
  left.Show(MakePattern(kWidth, kHeight, 4));
  ASSERT_TRUE(run.Prints(WholeChange("first")));
  right.Destroy();

  const ProgramResult result = run.Wait();
  EXPECT_EQ(result.exit_code, 0u);
  EXPECT_EQ(result.err, "");
  const std::vector<std::string> first = LinesOf(result.out, "first: ");
  const std::vector<std::string> second = LinesOf(result.out, "second: ");
  ASSERT_EQ(first.size(), 3u) << result.out;
  ASSERT_EQ(second.size(), 3u) << result.out;
  EXPECT_EQ(first[0], first_new);
  EXPECT_EQ(first[1], WholeChange("first"));
  EXPECT_EQ(second[0], second_new);
  EXPECT_EQ(second[1], WholeChange("second"));
  ExpectCounts(first[2], "first", 2, 2);
  ExpectCounts(second[2], "second", 2, 2);
}

TEST_F(Programs, TwoWindowsEndWithTheirTime) {
  const PatternWindow window(MakePattern(kWidth, kHeight));
  const ULONGLONG start = GetTickCount64();
  const ProgramResult result =
      Start(L"two_windows", L"\"Quill pattern\" \"Quill pattern\" 2.5").Wait();
  EXPECT_GE(GetTickCount64() - start, 2500u);
  EXPECT_EQ(result.exit_code, 0u);
  EXPECT_EQ(result.err, "");
  // Two sessions may share a window.
  ASSERT_EQ(LinesOf(result.out, "first: ").size(), 2u) << result.out;
  ASSERT_EQ(LinesOf(result.out, "second: ").size(), 2u) << result.out;
  ExpectCounts(LinesOf(result.out, "first: ")[1], "first", 1, 1);
  ExpectCounts(LinesOf(result.out, "second: ")[1], "second", 1, 1);
}

TEST_F(Programs, ShowTheirUsage) {
  const std::string minimal = "minimal: usage: minimal TITLE FILE.bmp\n";
  const std::string texture = "texture: usage: texture TITLE FILE.pgm\n";
  const std::string two_windows = "two_windows: usage: two_windows TITLE TITLE SECONDS\n";
  ExpectFailure(Start(L"minimal", L"").Wait(), minimal);
  ExpectFailure(Start(L"minimal", L"one two three").Wait(), minimal);
  ExpectFailure(Start(L"texture", L"one").Wait(), texture);
  ExpectFailure(Start(L"two_windows", L"one two").Wait(), two_windows);
  ExpectFailure(Start(L"two_windows", L"one two soon").Wait(), two_windows);
  ExpectFailure(Start(L"two_windows", L"one two -1").Wait(), two_windows);
}

TEST_F(Programs, SayThatThereIsNoSuchWindow) {
  const PatternWindow window(MakePattern(kWidth, kHeight));
  ExpectFailure(Start(L"minimal", L"no such title", File("frame.bmp")).Wait(),
                "minimal: no visible window has that text in its title\n");
  ExpectFailure(Start(L"texture", L"no such title", File("luma.pgm")).Wait(),
                "texture: no window has that title\n");
  ExpectFailure(Start(L"two_windows", L"\"no such title\" \"Quill pattern\" 1").Wait(),
                "two_windows: no window has the first title\n");
  ExpectFailure(Start(L"two_windows", L"\"Quill pattern\" \"no such title\" 1").Wait(),
                "two_windows: no window has the second title\n");
  EXPECT_FALSE(std::filesystem::exists(File("frame.bmp")));
  EXPECT_FALSE(std::filesystem::exists(File("luma.pgm")));
}

TEST_F(Programs, SayThatTheFileCannotBeWritten) {
  const PatternWindow window(MakePattern(kWidth, kHeight));
  ProgramRun minimal = Start(L"minimal", L"Quill pattern", File("none") / "frame.bmp");
  ProgramRun texture = Start(L"texture", L"Quill pattern", File("none") / "luma.pgm");
  ExpectFailure(minimal.Wait(), "minimal: the file could not be written\n");
  ExpectFailure(texture.Wait(), "texture: the file could not be written\n");
}

TEST_F(Programs, SayThatAMinimisedWindowGivesNoFrame) {
  PatternWindow window(MakePattern(kWidth, kHeight));
  window.Minimize();
  ProgramRun minimal = Start(L"minimal", L"Quill pattern", File("frame.bmp"));
  ProgramRun texture = Start(L"texture", L"Quill pattern", File("luma.pgm"));
  ExpectFailure(minimal.Wait(),
                "minimal: no frame came in 5 seconds: restore the window if it is minimised\n");
  ExpectFailure(texture.Wait(), "texture: no frame came: the window is minimised or was closed\n");
}

// The programs' three starts, on one window.
class ProgramsStart : public Programs {
 protected:
  std::vector<ProgramResult> Results() const {
    const PatternWindow window(MakePattern(kWidth, kHeight));
    ProgramRun minimal = Start(L"minimal", L"Quill pattern", File("frame.bmp"));
    ProgramRun texture = Start(L"texture", L"Quill pattern", File("luma.pgm"));
    ProgramRun two_windows = Start(L"two_windows", L"\"Quill pattern\" \"Quill pattern\" 20");
    return {minimal.Wait(), texture.Wait(), two_windows.Wait()};
  }
};

bool RunsUnderWine() {
  return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

TEST_F(ProgramsStart, NamesTheWindowsThatIsNeeded) {
  if (!RunsUnderWine()) GTEST_SKIP() << "needs a platform whose version can be chosen";
  const DWORD contract = 7;
  const RegistryValue old(HKEY_CURRENT_USER, L"Software\\libquill-wgc\\Capture",
                          L"UniversalApiContract", REG_DWORD, &contract, sizeof contract);
  const std::vector<ProgramResult> results = Results();
  ExpectFailure(results[0], "minimal: capture needs Windows 10 version 1903\n");
  ExpectFailure(results[1], "texture: capture needs Windows 10 version 1903\n");
  ExpectFailure(results[2], "two_windows: capture needs Windows 10 version 1903\n");
}

// The reason is the library's: the class of capture items cannot be had.
TEST_F(ProgramsStart, GivesTheLibrarysReasonForAFailedStart) {
  if (!RunsUnderWine()) GTEST_SKIP() << "needs a platform that can be damaged";
  constexpr wchar_t kMissing[] = L"C:\\windows\\system32\\no-such.dll";
  const RegistryValue damaged(HKEY_LOCAL_MACHINE,
                              L"Software\\Microsoft\\WindowsRuntime\\ActivatableClassId\\"
                              L"Windows.Graphics.Capture.GraphicsCaptureItem",
                              L"DllPath", REG_SZ, kMissing, sizeof kMissing);
  const std::string reason =
      "Winrt exception:" + std::to_string(HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND)) + "\n";
  const std::vector<ProgramResult> results = Results();
  ExpectFailure(results[0], "minimal: capture could not start: " + reason);
  ExpectFailure(results[1], "texture: capture could not start: " + reason);
  // Two captures, two reasons, in either order.
  EXPECT_EQ(results[2].exit_code, 1u);
  EXPECT_EQ(results[2].out, "");
  const std::string first = "two_windows: the first capture could not start: " + reason;
  const std::string second = "two_windows: the second capture could not start: " + reason;
  EXPECT_TRUE(results[2].err == first + second || results[2].err == second + first)
      << results[2].err;
}

}  // namespace
