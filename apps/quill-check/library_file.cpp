// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-check/library_file.h"

#include <windows.h>

#include <bcrypt.h>

#include <fstream>
#include <iterator>
#include <vector>

#include "common/library.h"
#include "common/text.h"

namespace quill_apps {

namespace {

std::vector<char> ReadFileBytes(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string Sha256(std::vector<char>& bytes) {
  UCHAR hash[32];
  BCRYPT_ALG_HANDLE algorithm;
  if (BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0) < 0) return "";
  const NTSTATUS status = BCryptHash(algorithm, nullptr, 0, reinterpret_cast<PUCHAR>(bytes.data()),
                                     static_cast<ULONG>(bytes.size()), hash, sizeof hash);
  BCryptCloseAlgorithmProvider(algorithm, 0);
  std::string text;
  for (const UCHAR byte : hash) text += Format("%02x", byte);
  return status < 0 ? "" : text;
}

}  // namespace

std::filesystem::path LibraryPath() {
  return ProgramPath().replace_filename(L"libquill-wgc.dll");
}

std::string FileVersion(const std::filesystem::path& path) {
  DWORD ignored;
  std::vector<char> data(GetFileVersionInfoSizeW(path.c_str(), &ignored));
  VS_FIXEDFILEINFO* info = nullptr;
  UINT length = 0;
  if (data.empty() ||
      !GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(data.size()), data.data()) ||
      !VerQueryValueW(data.data(), L"\\", reinterpret_cast<void**>(&info), &length)) {
    return "";
  }
  return Format("%u.%u.%u", HIWORD(info->dwFileVersionMS), LOWORD(info->dwFileVersionMS),
                HIWORD(info->dwFileVersionLS));
}

nlohmann::ordered_json DescribeLibraryFile() {
  const std::filesystem::path path = LibraryPath();
  std::vector<char> bytes = ReadFileBytes(path);
  return {{"file", ToUtf8(path.filename().wstring())},
          {"version", FileVersion(path)},
          {"bytes", bytes.size()},
          {"sha256", Sha256(bytes)}};
}

}  // namespace quill_apps
