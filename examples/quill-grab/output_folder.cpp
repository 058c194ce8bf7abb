// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output_folder.h"

#include <windows.h>

#include <algorithm>

#include "quill-grab/error.h"
#include "quill-grab/text.h"

namespace quill_grab {

namespace {

[[noreturn]] void Fail(const std::filesystem::path& path, DWORD error) {
  const char* remedy = error == ERROR_DISK_FULL || error == ERROR_HANDLE_DISK_FULL
                           ? "free some space or choose another folder with --out"
                           : "choose another folder with --out";
  throw GrabError(ExitCode::kOutputFailed, "cannot write " + ToUtf8(path.wstring()) + ": " +
                                               DescribeError(error) + ": " + remedy);
}

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

// std::filesystem would do, but with GCC its errors are not the system's own.
DWORD MakeFolders(const std::filesystem::path& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  if (attributes != INVALID_FILE_ATTRIBUTES) {
    return attributes & FILE_ATTRIBUTE_DIRECTORY ? ERROR_SUCCESS : ERROR_DIRECTORY;
  }
  const std::filesystem::path parent = path.parent_path();
  if (!parent.empty() && parent != path) {
    if (const DWORD error = MakeFolders(parent); error != ERROR_SUCCESS) return error;
  }
  if (CreateDirectoryW(path.c_str(), nullptr)) return ERROR_SUCCESS;
  const DWORD error = GetLastError();
  // "sub\\" has the parent "sub", which is the folder itself.
  return error == ERROR_ALREADY_EXISTS ? DWORD{ERROR_SUCCESS} : error;
}

bool IsFrameFile(const std::filesystem::path& path) {
  return path.extension() == L".png" && path.stem().wstring().starts_with(L"frame-");
}

}  // namespace

OutputFolder::OutputFolder(const std::string& path) : folder_(ToWide(path)) {
  folder_.make_preferred();
  if (const DWORD error = MakeFolders(folder_); error != ERROR_SUCCESS) Fail(folder_, error);
  const std::filesystem::path trial = folder_ / L"quill-grab.part";
  const uint8_t byte = 0;
  const DWORD failure = WriteNewFile(trial, {&byte, 1});
  DeleteFileW(trial.c_str());
  if (failure != ERROR_SUCCESS) Fail(folder_, failure);
}

size_t OutputFolder::CountFrameFiles() const {
  size_t count = 0;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder_, error), end; !error && entry != end;
       entry.increment(error)) {
    count += IsFrameFile(entry->path()) ? 1 : 0;
  }
  return count;
}

void OutputFolder::Write(const std::string& name, std::span<const uint8_t> bytes) const {
  const std::filesystem::path path = folder_ / ToWide(name);
  std::filesystem::path part = path;
  part += L".part";
  DWORD error = WriteNewFile(part, bytes);
  if (error == ERROR_SUCCESS &&
      !MoveFileExW(part.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING)) {
    error = GetLastError();
  }
  if (error != ERROR_SUCCESS) {
    DeleteFileW(part.c_str());
    Fail(path, error);
  }
}

std::string FrameFileName(uint64_t number) {
  return Format("frame-%04llu.png", static_cast<unsigned long long>(number));
}

}  // namespace quill_grab
