// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The committed bytecode, read without a device: what Windows' Direct3D validates before it takes a
// program, and how the programs are dispatched.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#include "diff/FrameDiffRectsCS.h"
#include "device/shaders/dxbc.h"

namespace shader_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Named {
  const char* name;
  Bytes bytes;
};
void PrintTo(const Named& program, std::ostream* out) {
  *out << program.name;
}

const Named kFrameDiff = {"FrameDiffRectsCS", szFrameDiffRectsCS};
const Named kReset = {"ResetDiffRectsCS", szResetDiffRectsCS};
const Named kGetBitFlag = {"GetBitFlagCS", szGetBitFlagCS};

uint32_t WordAt(Bytes bytes, size_t offset) {
  return bytes[offset] | bytes[offset + 1] << 8 | bytes[offset + 2] << 16 |
         static_cast<uint32_t>(bytes[offset + 3]) << 24;
}

class EachProgram : public testing::TestWithParam<Named> {};
INSTANTIATE_TEST_SUITE_P(Bytecode, EachProgram, testing::Values(kFrameDiff, kReset, kGetBitFlag),
                         [](const auto& info) { return info.param.name; });

TEST_P(EachProgram, IsOneWholeContainer) {
  const Bytes bytes = GetParam().bytes;
  EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 4), "DXBC");
  EXPECT_EQ(WordAt(bytes, 20), 1u) << "container version";
  EXPECT_EQ(WordAt(bytes, 24), bytes.size());
}

TEST_P(EachProgram, CarriesTheChecksumOfItsContent) {
  EXPECT_EQ(RecordedChecksum(GetParam().bytes), ComputedChecksum(GetParam().bytes));
}

TEST_P(EachProgram, IsAComputeProgramOfShaderModel5) {
  constexpr uint32_t kCompute = 5;
  EXPECT_EQ(DecodeProgram(GetParam().bytes).version, kCompute << 16 | 0x50);
}

TEST_P(EachProgram, UsesNoSamplerSharedMemoryBarrierOrAtomicOperation) {
  std::vector<uint32_t> forbidden;
  const Program program = DecodeProgram(GetParam().bytes);
  for (const Instruction& instruction : program.instructions) {
    const uint32_t opcode = instruction.opcode;
    if (opcode == kDclSampler || opcode == kDclSharedMemoryRaw ||
        opcode == kDclSharedMemoryStructured || opcode == kSync ||
        (opcode >= kFirstAtomic && opcode <= kLastAtomic)) {
      forbidden.push_back(opcode);
    }
  }
  EXPECT_THAT(program.instructions, testing::Not(IsEmpty()));
  EXPECT_THAT(forbidden, IsEmpty());
}

TEST(ThreadGroup, HasTheSizeThatTheEngineDispatches) {
  for (const auto& [program, width, height] :
       {std::tuple{kFrameDiff, 16u, 16u}, {kReset, 16u, 1u}, {kGetBitFlag, 16u, 16u}}) {
    std::vector<std::vector<uint32_t>> sizes;
    for (const Instruction& instruction : DecodeProgram(program.bytes).instructions) {
      if (instruction.opcode == kDclThreadGroup) sizes.push_back(instruction.operands);
    }
    EXPECT_THAT(sizes, ElementsAre(ElementsAre(width, height, 1))) << program.name;
  }
}

}  // namespace
}  // namespace shader_test
