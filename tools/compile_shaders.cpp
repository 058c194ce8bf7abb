// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// compile_shaders [--check] COMPILER.dll HEADER FILE.hlsl...
// Compiles each program and writes the header that holds their bytecode; with --check compares the
// header with what would be written. The compiler comes by path, because only Microsoft's own
// output passes the validation of Windows' Direct3D, and under Wine that DLL is not the system's.

#include <windows.h>
#include <bcrypt.h>
#include <d3dcompiler.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr char kEntryPoint[] = "main";
constexpr UINT kFlags =
    D3DCOMPILE_ENABLE_STRICTNESS | D3DCOMPILE_OPTIMIZATION_LEVEL3 | D3DCOMPILE_WARNINGS_ARE_ERRORS;
constexpr char kFlagsText[] =
    "D3DCOMPILE_ENABLE_STRICTNESS, D3DCOMPILE_OPTIMIZATION_LEVEL3,\n"
    "//   D3DCOMPILE_WARNINGS_ARE_ERRORS";

struct Shader {
  std::filesystem::path file;
  std::string source;
  std::string bytecode;
};

std::string ReadWhole(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  if (!stream) {
    throw std::runtime_error("cannot read " + file.string());
  }
  return {std::istreambuf_iterator<char>(stream), {}};
}

std::string FormatByte(const char* format, unsigned char byte) {
  char text[8];
  std::snprintf(text, sizeof(text), format, byte);
  return text;
}

std::string Sha256(std::string data) {
  BCRYPT_ALG_HANDLE algorithm = nullptr;
  if (!BCRYPT_SUCCESS(
          BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0))) {
    throw std::runtime_error("no SHA-256 provider");
  }
  unsigned char hash[32];
  const NTSTATUS status = BCryptHash(algorithm, nullptr, 0, reinterpret_cast<PUCHAR>(data.data()),
                                     static_cast<ULONG>(data.size()), hash, sizeof(hash));
  BCryptCloseAlgorithmProvider(algorithm, 0);
  if (!BCRYPT_SUCCESS(status)) {
    throw std::runtime_error("BCryptHash failed");
  }
  std::string text;
  for (unsigned char byte : hash) {
    text += FormatByte("%02x", byte);
  }
  return text;
}

std::string FileVersion(const std::filesystem::path& file) {
  const std::wstring name = file.wstring();
  std::vector<unsigned char> block(GetFileVersionInfoSizeW(name.c_str(), nullptr));
  void* found = nullptr;
  UINT length = 0;
  if (block.empty() ||
      !GetFileVersionInfoW(name.c_str(), 0, static_cast<DWORD>(block.size()), block.data()) ||
      !VerQueryValueW(block.data(), L"\\", &found, &length)) {
    throw std::runtime_error("no version in " + file.string());
  }
  const auto* info = static_cast<const VS_FIXEDFILEINFO*>(found);
  char text[64];
  std::snprintf(text, sizeof(text), "%u.%u.%u.%u", HIWORD(info->dwFileVersionMS),
                LOWORD(info->dwFileVersionMS), HIWORD(info->dwFileVersionLS),
                LOWORD(info->dwFileVersionLS));
  return text;
}

pD3DCompile LoadCompiler(const std::filesystem::path& dll) {
  const HMODULE module =
      LoadLibraryExW(dll.wstring().c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  const FARPROC compile = module ? GetProcAddress(module, "D3DCompile") : nullptr;
  if (!compile) {
    throw std::runtime_error("no D3DCompile in " + dll.string());
  }
  return reinterpret_cast<pD3DCompile>(reinterpret_cast<void*>(compile));
}

// The bytes of a blob, which is released.
std::string Take(ID3DBlob* blob) {
  std::string bytes;
  if (blob) {
    bytes.assign(static_cast<const char*>(blob->GetBufferPointer()), blob->GetBufferSize());
    blob->Release();
  }
  return bytes;
}

// The end of a file's name tells the kind of its program: FrameDiffRectsCS.hlsl is a compute
// program.
std::string ProfileOf(const Shader& shader) {
  const std::string name = shader.file.stem().string();
  if (name.ends_with("CS")) return "cs_5_0";
  if (name.ends_with("VS")) return "vs_4_0";
  if (name.ends_with("PS")) return "ps_4_0";
  throw std::runtime_error(shader.file.string() + ": its name ends with none of CS, VS and PS");
}

// The profiles of all, each once, in the order of the shaders.
std::string ProfilesOf(const std::vector<Shader>& shaders) {
  std::string profiles;
  for (const Shader& shader : shaders) {
    const std::string profile = ProfileOf(shader);
    if (profiles.find(profile) != std::string::npos) continue;
    profiles += (profiles.empty() ? "" : ", ") + profile;
  }
  return profiles;
}

std::string Compile(pD3DCompile compile, const Shader& shader) {
  ID3DBlob* code = nullptr;
  ID3DBlob* messages = nullptr;
  const HRESULT hr = compile(shader.source.data(), shader.source.size(),
                             shader.file.filename().string().c_str(), nullptr, nullptr, kEntryPoint,
                             ProfileOf(shader).c_str(), kFlags, 0, &code, &messages);
  std::string bytecode = Take(code);
  const std::string text = Take(messages);
  if (FAILED(hr)) {
    // The text ends with a NUL of its own.
    throw std::runtime_error(shader.file.string() + " does not compile:\n" +
                             text.substr(0, text.find('\0')));
  }
  return bytecode;
}

std::string ArrayText(const Shader& shader) {
  constexpr size_t kBytesPerLine = 16;
  std::string text = "\ninline constexpr unsigned char sz" + shader.file.stem().string() + "[] = {";
  for (size_t i = 0; i < shader.bytecode.size(); ++i) {
    text += i % kBytesPerLine == 0 ? "\n    " : " ";
    text += FormatByte("0x%02x,", static_cast<unsigned char>(shader.bytecode[i]));
  }
  return text + "\n};\n";
}

std::string HeaderText(const std::filesystem::path& dll, const std::vector<Shader>& shaders) {
  std::string text =
      "// Copyright (c) 2026 the libquill-wgc authors\n"
      "// SPDX-License-Identifier: MIT\n"
      "\n"
      "// Bytecode of the HLSL programs beside this header, written by tools/compile_shaders.\n"
      "//\n"
      "// Compiler: " +
      dll.filename().string() + " " + FileVersion(dll) + "\n// Profile: " + ProfilesOf(shaders) +
      "\n// Entry point: " + kEntryPoint + "\n// Flags: " + kFlagsText +
      "\n// SHA-256 of the sources:\n";
  for (const Shader& shader : shaders) {
    text += "//   " + Sha256(shader.source) + "  " + shader.file.filename().string() + "\n";
  }
  text += "\n#pragma once\n\n// clang-format off\n";
  for (const Shader& shader : shaders) {
    text += ArrayText(shader);
  }
  return text;
}

int CompareHeader(const std::filesystem::path& header, const std::string& text) {
  if (ReadWhole(header) == text) {
    return 0;
  }
  std::fprintf(stderr, "%s is not what its HLSL files compile to\n", header.string().c_str());
  return 1;
}

int WriteHeader(const std::filesystem::path& header, const std::string& text) {
  std::ofstream stream(header, std::ios::binary);
  stream << text << std::flush;
  if (!stream) {
    throw std::runtime_error("cannot write " + header.string());
  }
  return 0;
}

int Run(std::vector<std::string> arguments) {
  const bool check = !arguments.empty() && arguments[0] == "--check";
  if (check) {
    arguments.erase(arguments.begin());
  }
  if (arguments.size() < 3) {
    std::fprintf(stderr, "compile_shaders [--check] COMPILER.dll HEADER FILE.hlsl...\n");
    return 2;
  }
  const std::filesystem::path dll = std::filesystem::absolute(arguments[0]);
  const std::filesystem::path header = arguments[1];
  const pD3DCompile compile = LoadCompiler(dll);
  std::vector<Shader> shaders;
  for (size_t i = 2; i < arguments.size(); ++i) {
    Shader shader{arguments[i], ReadWhole(arguments[i]), {}};
    shader.bytecode = Compile(compile, shader);
    shaders.push_back(std::move(shader));
  }
  const std::string text = HeaderText(dll, shaders);
  return check ? CompareHeader(header, text) : WriteHeader(header, text);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run({argv + 1, argv + argc});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "compile_shaders: %s\n", error.what());
    return 1;
  }
}
