// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// vulkan_shader_bench FOLDER [OPTION...]: the options are in comparison.h.
// Times the programs FOLDER/NAME.spv on the first Vulkan device, by the device's own clock.

#include <vulkan/vulkan_raii.hpp>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "comparison.h"

namespace shader_bench {
namespace {

std::string ReadWhole(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  if (!stream) {
    throw std::runtime_error("cannot read " + file.string());
  }
  return {std::istreambuf_iterator<char>(stream), {}};
}

struct Buffer {
  vk::raii::DeviceMemory memory = nullptr;
  vk::raii::Buffer handle = nullptr;
  void* data = nullptr;
};

struct Image {
  vk::raii::DeviceMemory memory = nullptr;
  vk::raii::Image handle = nullptr;
  vk::raii::ImageView view = nullptr;
};

// What the programs see, by binding number.
constexpr std::array<vk::DescriptorType, 4> kBindings = {
    vk::DescriptorType::eUniformBuffer, vk::DescriptorType::eSampledImage,
    vk::DescriptorType::eSampledImage, vk::DescriptorType::eStorageImage};

const vk::ImageSubresourceRange kWholeImage(vk::ImageAspectFlagBits::eColor, 0, 1, 0, 1);
const vk::ImageSubresourceLayers kFirstLayer(vk::ImageAspectFlagBits::eColor, 0, 0, 1);

class VulkanDevice : public Device {
 public:
  explicit VulkanDevice(const std::filesystem::path& folder) {
    CreateDevice();
    CreateLayout();
    for (const Program& program : kPrograms) {
      CreatePipeline(folder / (std::string(program.name) + ".spv"));
    }
    constants_ = MakeBuffer(sizeof(Constants), vk::BufferUsageFlagBits::eUniformBuffer);
  }

  std::string Name() const override {
    const vk::PhysicalDeviceProperties properties = physical_.getProperties();
    return "Vulkan, " + std::string(properties.deviceName.data());
  }

  void Load(const Size& size, const Pixels& before, const Pixels& after) override {
    size_ = size;
    before_ = MakeFrame(before);
    after_ = MakeFrame(after);
    measures_ = MakeImage({Columns(size), Rows(size)}, vk::Format::eR32Sint,
                          vk::ImageUsageFlagBits::eStorage | vk::ImageUsageFlagBits::eTransferSrc |
                              vk::ImageUsageFlagBits::eTransferDst);
    readback_ = MakeBuffer(size_t{Columns(size)} * Rows(size) * sizeof(uint32_t),
                           vk::BufferUsageFlagBits::eTransferDst);
    Submit([&](const vk::raii::CommandBuffer& commands) {
      Transition(commands, measures_, vk::ImageLayout::eUndefined, vk::ImageLayout::eGeneral);
    });
    WriteDescriptors();
  }

  // From the end of all earlier work to the end of the dispatch.
  double Run(size_t program, const Constants& constants) override {
    std::memcpy(constants_.data, constants.data(), sizeof(Constants));
    Submit([&](const vk::raii::CommandBuffer& commands) {
      commands.resetQueryPool(*timestamps_, 0, 2);
      commands.clearColorImage(*measures_.handle, vk::ImageLayout::eGeneral,
                               vk::ClearColorValue(std::array<int32_t, 4>{}), kWholeImage);
      WaitForAll(commands);
      commands.bindPipeline(vk::PipelineBindPoint::eCompute, *pipelines_.at(program));
      commands.bindDescriptorSets(vk::PipelineBindPoint::eCompute, *pipeline_layout_, 0,
                                  *descriptors_, nullptr);
      commands.writeTimestamp(vk::PipelineStageFlagBits::eBottomOfPipe, *timestamps_, 0);
      commands.dispatch(Groups(size_.width, kPrograms.at(program)),
                        Groups(size_.height, kPrograms.at(program)), 1);
      commands.writeTimestamp(vk::PipelineStageFlagBits::eBottomOfPipe, *timestamps_, 1);
    });
    const auto [result, ticks] = timestamps_.getResults<uint64_t>(
        0, 2, 2 * sizeof(uint64_t), sizeof(uint64_t),
        vk::QueryResultFlagBits::e64 | vk::QueryResultFlagBits::eWait);
    if (result != vk::Result::eSuccess) {
      throw std::runtime_error("no time stamps");
    }
    return static_cast<double>((ticks[1] - ticks[0]) & timestamp_mask_) * seconds_per_tick_;
  }

  std::vector<uint32_t> Result() override {
    Submit([&](const vk::raii::CommandBuffer& commands) {
      WaitForAll(commands);
      commands.copyImageToBuffer(
          *measures_.handle, vk::ImageLayout::eGeneral, *readback_.handle,
          vk::BufferImageCopy(0, 0, 0, kFirstLayer, {}, {Columns(size_), Rows(size_), 1}));
    });
    const auto* first = static_cast<const uint32_t*>(readback_.data);
    return {first, first + size_t{Columns(size_)} * Rows(size_)};
  }

 private:
  void CreateDevice() {
    const vk::ApplicationInfo application({}, 0, {}, 0, VK_API_VERSION_1_0);
    instance_ = vk::raii::Instance(context_, vk::InstanceCreateInfo({}, &application));
    vk::raii::PhysicalDevices devices(instance_);
    if (devices.empty()) {
      throw std::runtime_error("no Vulkan device");
    }
    physical_ = std::move(devices.front());
    const std::vector<vk::QueueFamilyProperties> families = physical_.getQueueFamilyProperties();
    const auto found = std::find_if(families.begin(), families.end(), [](const auto& family) {
      return family.queueFlags & vk::QueueFlagBits::eCompute && family.timestampValidBits != 0;
    });
    if (found == families.end()) {
      throw std::runtime_error("no queue for compute programs with time stamps");
    }
    timestamp_mask_ = ~uint64_t{0} >> (64 - found->timestampValidBits);
    seconds_per_tick_ = 1e-9 * physical_.getProperties().limits.timestampPeriod;

    const auto family = static_cast<uint32_t>(found - families.begin());
    const float priority = 1;
    const vk::DeviceQueueCreateInfo queue({}, family, 1, &priority);
    device_ = vk::raii::Device(physical_, vk::DeviceCreateInfo({}, queue));
    queue_ = vk::raii::Queue(device_, family, 0);
    timestamps_ =
        vk::raii::QueryPool(device_, vk::QueryPoolCreateInfo({}, vk::QueryType::eTimestamp, 2));
    command_pool_ = vk::raii::CommandPool(
        device_, vk::CommandPoolCreateInfo(vk::CommandPoolCreateFlagBits::eTransient, family));
  }

  void CreateLayout() {
    std::vector<vk::DescriptorSetLayoutBinding> bindings;
    std::vector<vk::DescriptorPoolSize> sizes;
    for (const vk::DescriptorType type : kBindings) {
      bindings.emplace_back(static_cast<uint32_t>(bindings.size()), type, 1,
                            vk::ShaderStageFlagBits::eCompute);
      sizes.emplace_back(type, 1);
    }
    set_layout_ =
        vk::raii::DescriptorSetLayout(device_, vk::DescriptorSetLayoutCreateInfo({}, bindings));
    pipeline_layout_ =
        vk::raii::PipelineLayout(device_, vk::PipelineLayoutCreateInfo({}, *set_layout_));
    descriptor_pool_ = vk::raii::DescriptorPool(
        device_, vk::DescriptorPoolCreateInfo(vk::DescriptorPoolCreateFlagBits::eFreeDescriptorSet,
                                              1, sizes));
    vk::raii::DescriptorSets sets(device_,
                                  vk::DescriptorSetAllocateInfo(*descriptor_pool_, *set_layout_));
    descriptors_ = std::move(sets.front());
  }

  void CreatePipeline(const std::filesystem::path& file) {
    const std::string bytes = ReadWhole(file);
    std::vector<uint32_t> words(bytes.size() / sizeof(uint32_t));
    std::memcpy(words.data(), bytes.data(), words.size() * sizeof(uint32_t));
    const vk::raii::ShaderModule module(device_, vk::ShaderModuleCreateInfo({}, words));
    const vk::PipelineShaderStageCreateInfo stage({}, vk::ShaderStageFlagBits::eCompute, *module,
                                                  "main");
    pipelines_.emplace_back(device_, nullptr,
                            vk::ComputePipelineCreateInfo({}, stage, *pipeline_layout_));
  }

  vk::raii::DeviceMemory Allocate(const vk::MemoryRequirements& needs,
                                  vk::MemoryPropertyFlags properties) {
    const vk::PhysicalDeviceMemoryProperties memory = physical_.getMemoryProperties();
    for (uint32_t i = 0; i < memory.memoryTypeCount; ++i) {
      if ((needs.memoryTypeBits >> i & 1) != 0 &&
          (memory.memoryTypes[i].propertyFlags & properties) == properties) {
        return {device_, vk::MemoryAllocateInfo(needs.size, i)};
      }
    }
    throw std::runtime_error("no memory of the kind that is needed");
  }

  // In memory that the CPU sees.
  Buffer MakeBuffer(size_t size, vk::BufferUsageFlags usage) {
    Buffer buffer;
    buffer.handle = vk::raii::Buffer(device_, vk::BufferCreateInfo({}, size, usage));
    buffer.memory = Allocate(
        buffer.handle.getMemoryRequirements(),
        vk::MemoryPropertyFlagBits::eHostVisible | vk::MemoryPropertyFlagBits::eHostCoherent);
    buffer.handle.bindMemory(*buffer.memory, 0);
    buffer.data = buffer.memory.mapMemory(0, VK_WHOLE_SIZE);
    return buffer;
  }

  Image MakeImage(const Size& size, vk::Format format, vk::ImageUsageFlags usage) {
    Image image;
    image.handle = vk::raii::Image(
        device_,
        vk::ImageCreateInfo({}, vk::ImageType::e2D, format, {size.width, size.height, 1}, 1, 1,
                            vk::SampleCountFlagBits::e1, vk::ImageTiling::eOptimal, usage));
    image.memory =
        Allocate(image.handle.getMemoryRequirements(), vk::MemoryPropertyFlagBits::eDeviceLocal);
    image.handle.bindMemory(*image.memory, 0);
    image.view = vk::raii::ImageView(
        device_, vk::ImageViewCreateInfo({}, *image.handle, vk::ImageViewType::e2D, format, {},
                                         kWholeImage));
    return image;
  }

  Image MakeFrame(const Pixels& pixels) {
    const Buffer staging =
        MakeBuffer(pixels.size() * sizeof(uint32_t), vk::BufferUsageFlagBits::eTransferSrc);
    std::memcpy(staging.data, pixels.data(), pixels.size() * sizeof(uint32_t));
    Image frame =
        MakeImage(size_, vk::Format::eB8G8R8A8Unorm,
                  vk::ImageUsageFlagBits::eSampled | vk::ImageUsageFlagBits::eTransferDst);
    Submit([&](const vk::raii::CommandBuffer& commands) {
      Transition(commands, frame, vk::ImageLayout::eUndefined,
                 vk::ImageLayout::eTransferDstOptimal);
      commands.copyBufferToImage(
          *staging.handle, *frame.handle, vk::ImageLayout::eTransferDstOptimal,
          vk::BufferImageCopy(0, 0, 0, kFirstLayer, {}, {size_.width, size_.height, 1}));
      Transition(commands, frame, vk::ImageLayout::eTransferDstOptimal,
                 vk::ImageLayout::eShaderReadOnlyOptimal);
    });
    return frame;
  }

  void WriteDescriptors() {
    const vk::DescriptorBufferInfo constants(*constants_.handle, 0, VK_WHOLE_SIZE);
    const std::array<vk::DescriptorImageInfo, 3> images = {{
        {nullptr, *after_.view, vk::ImageLayout::eShaderReadOnlyOptimal},
        {nullptr, *before_.view, vk::ImageLayout::eShaderReadOnlyOptimal},
        {nullptr, *measures_.view, vk::ImageLayout::eGeneral},
    }};
    std::vector<vk::WriteDescriptorSet> writes = {
        {*descriptors_, 0, 0, kBindings[0], nullptr, constants}};
    for (uint32_t i = 0; i < images.size(); ++i) {
      writes.emplace_back(*descriptors_, i + 1, 0, kBindings.at(i + 1), images.at(i));
    }
    device_.updateDescriptorSets(writes, nullptr);
  }

  static void Transition(const vk::raii::CommandBuffer& commands, const Image& image,
                         vk::ImageLayout from, vk::ImageLayout to) {
    const vk::ImageMemoryBarrier barrier(
        vk::AccessFlagBits::eMemoryWrite,
        vk::AccessFlagBits::eMemoryRead | vk::AccessFlagBits::eMemoryWrite, from, to,
        VK_QUEUE_FAMILY_IGNORED, VK_QUEUE_FAMILY_IGNORED, *image.handle, kWholeImage);
    commands.pipelineBarrier(vk::PipelineStageFlagBits::eAllCommands,
                             vk::PipelineStageFlagBits::eAllCommands, {}, nullptr, nullptr,
                             barrier);
  }

  static void WaitForAll(const vk::raii::CommandBuffer& commands) {
    const vk::MemoryBarrier barrier(
        vk::AccessFlagBits::eMemoryWrite,
        vk::AccessFlagBits::eMemoryRead | vk::AccessFlagBits::eMemoryWrite);
    commands.pipelineBarrier(vk::PipelineStageFlagBits::eAllCommands,
                             vk::PipelineStageFlagBits::eAllCommands, {}, barrier, nullptr,
                             nullptr);
  }

  // Runs what `record` records, to its end.
  template <typename Record>
  void Submit(const Record& record) {
    vk::raii::CommandBuffers buffers(
        device_,
        vk::CommandBufferAllocateInfo(*command_pool_, vk::CommandBufferLevel::ePrimary, 1));
    const vk::raii::CommandBuffer& commands = buffers.front();
    commands.begin(vk::CommandBufferBeginInfo(vk::CommandBufferUsageFlagBits::eOneTimeSubmit));
    record(commands);
    commands.end();
    const vk::CommandBuffer submitted = *commands;
    queue_.submit(vk::SubmitInfo(nullptr, nullptr, submitted));
    queue_.waitIdle();
  }

  vk::raii::Context context_;
  vk::raii::Instance instance_ = nullptr;
  vk::raii::PhysicalDevice physical_ = nullptr;
  vk::raii::Device device_ = nullptr;
  vk::raii::Queue queue_ = nullptr;
  vk::raii::QueryPool timestamps_ = nullptr;
  uint64_t timestamp_mask_ = 0;
  double seconds_per_tick_ = 0;
  vk::raii::CommandPool command_pool_ = nullptr;
  vk::raii::DescriptorSetLayout set_layout_ = nullptr;
  vk::raii::PipelineLayout pipeline_layout_ = nullptr;
  vk::raii::DescriptorPool descriptor_pool_ = nullptr;
  vk::raii::DescriptorSet descriptors_ = nullptr;
  std::vector<vk::raii::Pipeline> pipelines_;
  Buffer constants_;
  Size size_ = {};
  Image before_;
  Image after_;
  Image measures_;
  Buffer readback_;
};

}  // namespace
}  // namespace shader_bench

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "vulkan_shader_bench FOLDER [OPTION...]\n");
    return 2;
  }
  try {
    shader_bench::VulkanDevice device(argv[1]);
    shader_bench::Compare(device, {argv + 2, argv + argc});
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "vulkan_shader_bench: %s\n", error.what());
    return 1;
  }
}
