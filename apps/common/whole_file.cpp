// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "common/whole_file.h"

#include <windows.h>

#include <algorithm>

#include "common/error.h"
#include "common/text.h"

namespace quill_apps {

namespace {

// ERROR_SUCCESS or the reason of the failure.
DWORD WriteAll(HANDLE file, std::span<const uint8_t> bytes) {
  constexpr size_t kChunk = size_t{1} << 20;
  while (!bytes.empty()) {
    const DWORD wanted = static_cast<DWORD>(std::min(bytes.size(), kChunk));
    DWORD written = 0;
    if (!WriteFile(file, bytes.data(), wanted, &written, nullptr)) return GetLastError();
    // A volume that fills up may take part of a write and still report success.
    if (written != wanted) return ERROR_DISK_FULL;
    bytes = bytes.subspan(written);
  }
  return ERROR_SUCCESS;
}

DWORD WriteNewFile(const std::filesystem::path& path, std::span<const uint8_t> bytes) {
  const HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return GetLastError();
  DWORD error = WriteAll(file, bytes);
  if (!CloseHandle(file) && error == ERROR_SUCCESS) error = GetLastError();
  return error;
}

std::filesystem::path PartOf(std::filesystem::path path) {
  path += L".part";
  return path;
}

bool IsFolder(const std::filesystem::path& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

}  // namespace

void FailToWrite(const std::string& name, unsigned long error, const std::string& remedy) {
  const char* cure = "";
  if (error == ERROR_DISK_FULL || error == ERROR_HANDLE_DISK_FULL) cure = "free some space or ";
  if (error == ERROR_PATH_NOT_FOUND) cure = "make its folder first or ";
  throw ToolError(ExitCode::kOutputFailed,
                  "cannot write " + name + ": " + DescribeError(error) + ": " + cure + remedy);
}

void WriteWholeFile(const std::filesystem::path& path, std::span<const uint8_t> bytes,
                    const std::string& remedy) {
  const std::filesystem::path part = PartOf(path);
  DWORD error = WriteNewFile(part, bytes);
  if (error == ERROR_SUCCESS &&
      !MoveFileExW(part.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING)) {
    error = GetLastError();
  }
  if (error != ERROR_SUCCESS) {
    DeleteFileW(part.c_str());
    FailToWrite(ToUtf8(path.wstring()), error, remedy);
  }
}

void CheckWritable(const std::filesystem::path& path, const std::string& remedy) {
  const std::filesystem::path part = PartOf(path);
  const uint8_t byte = 0;
  DWORD error = WriteNewFile(part, {&byte, 1});
  DeleteFileW(part.c_str());
  if (error == ERROR_SUCCESS && IsFolder(path)) error = ERROR_ACCESS_DENIED;
  if (error != ERROR_SUCCESS) FailToWrite(ToUtf8(path.wstring()), error, remedy);
}

}  // namespace quill_apps
