// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The committed bytecode, read without a device: what Windows' Direct3D validates before it takes a
// program, and what the programs promise about their resources.

#include <windows.h>
#include <d3dcommon.h>

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
using testing::UnorderedElementsAre;

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

// name, type, return type, dimension, stride, components, slot, number of slots
using ResourceFields =
    std::tuple<std::string, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t>;

std::vector<ResourceFields> FieldsOfResources(const Named& program) {
  std::vector<ResourceFields> fields;
  for (const Resource& r : Resources(program.bytes)) {
    fields.emplace_back(r.name, r.type, r.return_type, r.dimension, r.stride, r.components, r.slot,
                        r.slot_count);
  }
  return fields;
}

ResourceFields FloatTexture(const char* name, uint32_t slot) {
  return {name, D3D_SIT_TEXTURE, D3D_RETURN_TYPE_FLOAT, D3D_SRV_DIMENSION_TEXTURE2D, 0, 4, slot, 1};
}

ResourceFields WritableIntTexture(const char* name, uint32_t slot) {
  return {name, D3D_SIT_UAV_RWTYPED, D3D_RETURN_TYPE_SINT, D3D_SRV_DIMENSION_TEXTURE2D, 0, 1, slot,
          1};
}

ResourceFields WritableWords(const char* name, uint32_t slot) {
  return {
      name, D3D_SIT_UAV_RWSTRUCTURED, D3D_RETURN_TYPE_MIXED, D3D_SRV_DIMENSION_BUFFER, 4, 1, slot,
      1};
}

ResourceFields Constants(const char* name, uint32_t slot) {
  return {name, D3D_SIT_CBUFFER, 0, D3D_SRV_DIMENSION_UNKNOWN, 0, 1, slot, 1};
}

TEST(Resources, HaveTheSlotsAndTypesThatTheEngineBinds) {
  EXPECT_THAT(
      FieldsOfResources(kFrameDiff),
      UnorderedElementsAre(FloatTexture("rgb_new", 0), FloatTexture("rgb_old", 1),
                           WritableIntTexture("light_diff", 0), Constants("DiffTexInfo", 0)));
  EXPECT_THAT(FieldsOfResources(kReset), ElementsAre(WritableWords("diffBuff", 0)));
  EXPECT_THAT(FieldsOfResources(kGetBitFlag),
              UnorderedElementsAre(WritableIntTexture("diffTex", 0), WritableWords("diffBuff", 1),
                                   Constants("DiffTexInfo", 0)));
}

// name, offset, size, whether the program reads it, class, type, the type's name
using VariableFields =
    std::tuple<std::string, uint32_t, uint32_t, bool, uint32_t, uint32_t, std::string>;

std::vector<VariableFields> ConstantsOf(const Named& program) {
  std::vector<VariableFields> fields;
  for (const ConstantBuffer& buffer : BufferLayouts(program.bytes)) {
    if (buffer.name != "DiffTexInfo") {
      continue;
    }
    EXPECT_EQ(buffer.size, 16u);
    EXPECT_EQ(buffer.type, static_cast<uint32_t>(D3D_CT_CBUFFER));
    for (const Variable& v : buffer.variables) {
      fields.emplace_back(v.name, v.offset, v.size, v.used, v.variable_class, v.type, v.type_name);
    }
  }
  return fields;
}

VariableFields Dword(const char* name, uint32_t offset, bool used) {
  return {name, offset, 4, used, D3D_SVC_SCALAR, D3D_SVT_UINT, "dword"};
}

TEST(DiffTexInfo, HasTheLayoutThatTheEngineFills) {
  EXPECT_THAT(ConstantsOf(kFrameDiff),
              ElementsAre(Dword("width", 0, true), Dword("height", 4, true),
                          Dword("rectW", 8, true), Dword("rectH", 12, true)));
  EXPECT_THAT(ConstantsOf(kGetBitFlag),
              ElementsAre(Dword("buffWidth", 0, true), Dword("buffHeight", 4, true),
                          Dword("texWidth", 8, true), Dword("texStep", 12, false)));
}

// A structured buffer's element is recorded as a layout of one unnamed variable.
TEST(StructuredBuffer, ElementsAreUnsignedWords) {
  for (const Named& program : {kReset, kGetBitFlag}) {
    SCOPED_TRACE(program.name);
    size_t found = 0;
    for (const ConstantBuffer& buffer : BufferLayouts(program.bytes)) {
      if (buffer.name != "diffBuff") {
        continue;
      }
      ++found;
      EXPECT_EQ(buffer.type, static_cast<uint32_t>(D3D_CT_RESOURCE_BIND_INFO));
      ASSERT_EQ(buffer.variables.size(), 1u);
      EXPECT_EQ(buffer.variables[0].size, 4u);
      EXPECT_EQ(buffer.variables[0].type, static_cast<uint32_t>(D3D_SVT_UINT));
    }
    EXPECT_EQ(found, 1u);
  }
}

}  // namespace
}  // namespace shader_test
