// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "native/platform/direct3d.h"

#include <sanitizer/asan_interface.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <utility>

#include "native/platform/object.h"
#include "native/platform/programs.h"
#include "native/platform/settings.h"
#include "native/platform/unused_methods.h"

namespace fake {

template <>
struct InterfaceOf<UnusedDeviceMethods> {
  using type = ID3D11Device;
};
template <>
struct InterfaceOf<UnusedContextMethods> {
  using type = ID3D11DeviceContext;
};
template <>
struct InterfaceOf<UnusedFactoryMethods> {
  using type = IDXGIFactory1;
};
template <>
struct InterfaceOf<UnusedAdapterMethods> {
  using type = IDXGIAdapter1;
};

// Memory and mappings.

void Memory::Free::operator()(uint8_t* block) const {
  std::free(block);
}

const uint8_t* Memory::Read(uint32_t row) const {
  return bytes_ ? bytes_.get() + static_cast<size_t>(row) * row_bytes_ : nullptr;
}

uint8_t* Memory::Write(uint32_t row) {
  // calloc takes the zeros from the system: a large texture costs what is written to it.
  if (!bytes_) bytes_.reset(static_cast<uint8_t*>(std::calloc(rows_, row_bytes_)));
  return bytes_.get() + static_cast<size_t>(row) * row_bytes_;
}

void Memory::Fill(uint8_t byte) {
  if (byte == 0) {
    bytes_ = nullptr;
  } else {
    std::memset(Write(0), byte, static_cast<size_t>(row_bytes_) * rows_);
  }
}

void Memory::CopyFrom(const Memory& other) {
  if (other.IsUntouched()) {
    bytes_ = nullptr;
  } else {
    std::memcpy(Write(0), other.Read(0), static_cast<size_t>(row_bytes_) * rows_);
  }
}

Mapping::Mapping(uint32_t row_bytes, uint32_t rows, uint32_t padding, uint32_t tail)
    : row_bytes_(row_bytes),
      rows_(rows),
      pitch_(row_bytes + padding),
      tail_(tail),
      block_(new uint8_t[static_cast<size_t>(pitch_) * (rows - 1) + row_bytes + tail]) {
  if (tail_ > 0) std::memset(Row(rows_ - 1) + row_bytes_, 0xFF, tail_);
  for (uint32_t row = 0; padding > 0 && row + 1 < rows_; ++row) {
    ASAN_POISON_MEMORY_REGION(Row(row) + row_bytes_, padding);
  }
}

Mapping::~Mapping() {
  ASAN_UNPOISON_MEMORY_REGION(block_.get(), static_cast<size_t>(pitch_) * (rows_ - 1));
}

D3D11_MAPPED_SUBRESOURCE Mapping::Describe() {
  // What a resource without depth reports for it: all its rows.
  return {block_.get(), pitch_ + tail_, pitch_ * rows_ + tail_};
}

namespace {

uint32_t BytesPerPixel(DXGI_FORMAT format) {
  switch (format) {
    case DXGI_FORMAT_B8G8R8A8_UNORM:
    case DXGI_FORMAT_R8G8B8A8_UNORM:
      return 4;
    case DXGI_FORMAT_R8_UINT:
      return 1;
    default:
      return 0;
  }
}

const char* UsageName(D3D11_USAGE usage) {
  switch (usage) {
    case D3D11_USAGE_DEFAULT:
      return "default";
    case D3D11_USAGE_IMMUTABLE:
      return "immutable";
    case D3D11_USAGE_DYNAMIC:
      return "dynamic";
    case D3D11_USAGE_STAGING:
      return "staging";
  }
  return "unknown";
}

// Direct3D's rules for textures and buffers, as far as the library can break them.
bool IsValid(const D3D11_TEXTURE2D_DESC& desc) {
  constexpr UINT kLargest = 16384;
  if (desc.Width == 0 || desc.Height == 0 || desc.Width > kLargest || desc.Height > kLargest) {
    return false;
  }
  if (BytesPerPixel(desc.Format) == 0 || desc.SampleDesc.Count == 0) return false;
  if (desc.Usage == D3D11_USAGE_STAGING) {
    return desc.BindFlags == 0 && desc.CPUAccessFlags != 0 && desc.MiscFlags == 0;
  }
  if (desc.Usage != D3D11_USAGE_DEFAULT || desc.CPUAccessFlags != 0) return false;
  constexpr UINT kForMips = D3D11_BIND_SHADER_RESOURCE | D3D11_BIND_RENDER_TARGET;
  return (desc.MiscFlags & D3D11_RESOURCE_MISC_GENERATE_MIPS) == 0 ||
         (desc.BindFlags & kForMips) == kForMips;
}

bool IsValid(const D3D11_BUFFER_DESC& desc) {
  if (desc.ByteWidth == 0) return false;
  if ((desc.BindFlags & D3D11_BIND_CONSTANT_BUFFER) != 0 && desc.ByteWidth % 16 != 0) return false;
  if ((desc.MiscFlags & D3D11_RESOURCE_MISC_BUFFER_STRUCTURED) != 0 &&
      (desc.StructureByteStride == 0 || desc.ByteWidth % desc.StructureByteStride != 0)) {
    return false;
  }
  switch (desc.Usage) {
    case D3D11_USAGE_STAGING:
      return desc.BindFlags == 0 && desc.CPUAccessFlags != 0;
    case D3D11_USAGE_DYNAMIC:
      return desc.CPUAccessFlags == D3D11_CPU_ACCESS_WRITE;
    default:
      return desc.CPUAccessFlags == 0;
  }
}

struct HasStorage {
  virtual ~HasStorage() = default;
  Storage storage;
  explicit HasStorage(Storage&& made) : storage(std::move(made)) {}
};

Storage* StorageOf(ID3D11Resource* resource) {
  auto* const holder = dynamic_cast<HasStorage*>(resource);
  return holder ? &holder->storage : nullptr;
}

class Device;

template <typename... Interfaces>
class DeviceChild : public Implements<Interfaces...> {
 public:
  void STDMETHODCALLTYPE GetDevice(ID3D11Device** device) override;
  HRESULT STDMETHODCALLTYPE GetPrivateData(REFGUID, UINT*, void*) override {
    return Unused("GetPrivateData");
  }
  HRESULT STDMETHODCALLTYPE SetPrivateData(REFGUID, UINT, const void*) override {
    return Unused("SetPrivateData");
  }
  HRESULT STDMETHODCALLTYPE SetPrivateDataInterface(REFGUID, const ::IUnknown*) override {
    return Unused("SetPrivateDataInterface");
  }

 protected:
  DeviceChild(Device* device, const char* kind)
      : Implements<Interfaces...>(kind), device_(device), device_kept_(device) {}

  // What is merely bound to the device's context must not keep the device alive.
  void OnUnreferenced() override { device_kept_ = Ref<Device>(); }

  void* Answer(REFIID id) override {
    if (id == __uuidof(ID3D11DeviceChild)) return static_cast<ID3D11DeviceChild*>(this);
    return Implements<Interfaces...>::Answer(id);
  }

  Device* const device_;

 private:
  Ref<Device> device_kept_;
};

class Texture final : public DeviceChild<ID3D11Texture2D>, public HasStorage {
 public:
  Texture(Device* device, const D3D11_TEXTURE2D_DESC& desc)
      : DeviceChild(device, "texture"),
        HasStorage({Memory(desc.Width * BytesPerPixel(desc.Format), desc.Height), desc.Format,
                    desc.Usage, desc.CPUAccessFlags, desc.Width, desc.Height, false, device,
                    nullptr}),
        desc(desc) {}

  void* Answer(REFIID id) override {
    if (id == __uuidof(ID3D11Resource)) return static_cast<ID3D11Resource*>(this);
    return DeviceChild::Answer(id);
  }
  void STDMETHODCALLTYPE GetType(D3D11_RESOURCE_DIMENSION* dimension) override {
    *dimension = D3D11_RESOURCE_DIMENSION_TEXTURE2D;
  }
  void STDMETHODCALLTYPE SetEvictionPriority(UINT) override { Unused("SetEvictionPriority"); }
  UINT STDMETHODCALLTYPE GetEvictionPriority() override { return 0; }
  void STDMETHODCALLTYPE GetDesc(D3D11_TEXTURE2D_DESC* result) override {
    const Call call(Name(), "GetDesc");
    *result = desc;
  }

  const D3D11_TEXTURE2D_DESC desc;
};

class Buffer final : public DeviceChild<ID3D11Buffer>, public HasStorage {
 public:
  Buffer(Device* device, const D3D11_BUFFER_DESC& desc)
      : DeviceChild(device, "buffer"),
        HasStorage({Memory(desc.ByteWidth, 1), DXGI_FORMAT_UNKNOWN, desc.Usage, desc.CPUAccessFlags,
                    desc.ByteWidth, 1, true, device, nullptr}),
        desc(desc) {}

  void* Answer(REFIID id) override {
    if (id == __uuidof(ID3D11Resource)) return static_cast<ID3D11Resource*>(this);
    return DeviceChild::Answer(id);
  }
  void STDMETHODCALLTYPE GetType(D3D11_RESOURCE_DIMENSION* dimension) override {
    *dimension = D3D11_RESOURCE_DIMENSION_BUFFER;
  }
  void STDMETHODCALLTYPE SetEvictionPriority(UINT) override { Unused("SetEvictionPriority"); }
  UINT STDMETHODCALLTYPE GetEvictionPriority() override { return 0; }
  void STDMETHODCALLTYPE GetDesc(D3D11_BUFFER_DESC* result) override {
    const Call call(Name(), "GetDesc");
    *result = desc;
  }

  const D3D11_BUFFER_DESC desc;
};

// A view keeps its resource.
template <typename Interface, typename Desc>
class View final : public DeviceChild<Interface> {
 public:
  View(Device* device, const char* kind, ID3D11Resource* resource, const Desc& desc)
      : DeviceChild<Interface>(device, kind),
        resource_(dynamic_cast<Object*>(resource)),
        storage(StorageOf(resource)),
        desc_(desc) {}

  void* Answer(REFIID id) override {
    if (id == __uuidof(ID3D11View)) return static_cast<ID3D11View*>(this);
    return DeviceChild<Interface>::Answer(id);
  }
  void STDMETHODCALLTYPE GetResource(ID3D11Resource**) override { Unused("GetResource"); }
  void STDMETHODCALLTYPE GetDesc(Desc* desc) override { *desc = desc_; }

 private:
  Ref<Object> resource_;

 public:
  Storage* const storage;

 private:
  const Desc desc_;
};

using ShaderResourceView = View<ID3D11ShaderResourceView, D3D11_SHADER_RESOURCE_VIEW_DESC>;
using AccessView = View<ID3D11UnorderedAccessView, D3D11_UNORDERED_ACCESS_VIEW_DESC>;
using RenderTargetView = View<ID3D11RenderTargetView, D3D11_RENDER_TARGET_VIEW_DESC>;

class ComputeShader final : public DeviceChild<ID3D11ComputeShader> {
 public:
  ComputeShader(Device* device, Program program)
      : DeviceChild(device, "shader"), program(program) {}
  const Program program;
};

const char* ProgramName(Program program) {
  switch (program) {
    case Program::kResetDiffRects:
      return "szResetDiffRectsCS";
    case Program::kFrameDiffRects:
      return "szFrameDiffRectsCS";
    case Program::kGetBitFlag:
      return "szGetBitFlagCS";
  }
  return "?";
}

template <typename To, typename From>
To* Known(From* object) {
  return dynamic_cast<To*>(object);
}

// "[name, null]"
template <typename T>
std::string ListOf(T* const* objects, UINT count) {
  std::string list = "[";
  for (UINT i = 0; i < count; ++i) list += (i > 0 ? ", " : "") + NameOf(objects[i]);
  return list + "]";
}

const char* MapName(D3D11_MAP type) {
  switch (type) {
    case D3D11_MAP_READ:
      return "READ";
    case D3D11_MAP_WRITE_DISCARD:
      return "WRITE_DISCARD";
    default:
      return "?";
  }
}

class Context final : public UnusedContextMethods {
 public:
  explicit Context(Device* device) : device_(device), name_(NewName("context")) {}

  const std::string& Name() const { return name_; }
  ULONG References() const { return references_.load(std::memory_order_relaxed); }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** result) override {
    *result = nullptr;
    return Unused("ID3D11DeviceContext::QueryInterface");
  }
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;
  void STDMETHODCALLTYPE GetDevice(ID3D11Device**) override { Unused("GetDevice"); }
  HRESULT STDMETHODCALLTYPE GetPrivateData(REFGUID, UINT*, void*) override {
    return Unused("GetPrivateData");
  }
  HRESULT STDMETHODCALLTYPE SetPrivateData(REFGUID, UINT, const void*) override {
    return Unused("SetPrivateData");
  }
  HRESULT STDMETHODCALLTYPE SetPrivateDataInterface(REFGUID, const ::IUnknown*) override {
    return Unused("SetPrivateDataInterface");
  }

  void STDMETHODCALLTYPE CopyResource(ID3D11Resource* to, ID3D11Resource* from) override {
    const OutsideLibrary outside;
    const Call call(name_, "CopyResource", NameOf(to), NameOf(from));
    Storage* const target = StorageOf(to);
    const Storage* const source = StorageOf(from);
    if (!target || !source || target == source || target->format != source->format ||
        target->width != source->width || target->height != source->height ||
        target->device != device_ || source->device != device_ || target->mapping ||
        source->mapping) {
      // The device drops such a copy without a word.
      Refuse("CopyResource(" + NameOf(to) + ", " + NameOf(from) + ")");
      return;
    }
    target->memory.CopyFrom(source->memory);
  }

  HRESULT STDMETHODCALLTYPE Map(ID3D11Resource* resource, UINT subresource, D3D11_MAP type,
                                UINT flags, D3D11_MAPPED_SUBRESOURCE* mapped) override {
    const OutsideLibrary outside;
    Call call(name_, "Map", NameOf(resource), subresource, MapName(type), flags);
    if (call.Fails()) {
      // Nothing in it can be read, whatever the answer.
      if (call.Result() == S_OK) *mapped = {};
      return call.Result();
    }
    Storage* const storage = StorageOf(resource);
    if (!storage || subresource != 0 || flags != 0) return E_INVALIDARG;
    const bool reads = type == D3D11_MAP_READ;
    const UINT access = reads ? D3D11_CPU_ACCESS_READ : D3D11_CPU_ACCESS_WRITE;
    if ((storage->cpu_access & access) == 0) return E_INVALIDARG;
    if (!reads && type != D3D11_MAP_WRITE_DISCARD) return E_INVALIDARG;
    // Nobody maps twice; the device remembers that somebody else still reads.
    if (storage->mapping) return DXGI_ERROR_INVALID_CALL;

    const Memory& memory = storage->memory;
    storage->mapping = std::make_unique<Mapping>(memory.row_bytes(), memory.rows(),
                                                 storage->is_buffer ? 0 : settings.row_padding,
                                                 storage->is_buffer ? settings.buffer_padding : 0);
    storage->map_type = type;
    for (uint32_t row = 0; row < memory.rows(); ++row) {
      if (!reads) {
        // Discarded contents are anything.
        std::memset(storage->mapping->Row(row), 0xDD, memory.row_bytes());
      } else if (memory.IsUntouched()) {
        std::memset(storage->mapping->Row(row), 0, memory.row_bytes());
      } else {
        std::memcpy(storage->mapping->Row(row), memory.Read(row), memory.row_bytes());
      }
    }
    if (reads && !storage->is_buffer) ++texture_reads;
    *mapped = storage->mapping->Describe();
    return call.FailsAfterWork() ? call.Result() : S_OK;
  }

  void STDMETHODCALLTYPE Unmap(ID3D11Resource* resource, UINT subresource) override {
    const OutsideLibrary outside;
    const Call call(name_, "Unmap", NameOf(resource), subresource);
    Storage* const storage = StorageOf(resource);
    if (!storage || !storage->mapping || subresource != 0) return;
    if (storage->map_type == D3D11_MAP_WRITE_DISCARD) {
      for (uint32_t row = 0; row < storage->memory.rows(); ++row) {
        std::memcpy(storage->memory.Write(row), storage->mapping->Row(row),
                    storage->memory.row_bytes());
      }
    }
    storage->mapping = nullptr;
  }

  void STDMETHODCALLTYPE OMSetRenderTargets(UINT count, ID3D11RenderTargetView* const* targets,
                                            ID3D11DepthStencilView* depth) override {
    const OutsideLibrary outside;
    const Call call(name_, "OMSetRenderTargets", count, ListOf(targets, count), NameOf(depth));
    render_target_ = Ref<Object>(count > 0 ? Known<Object>(targets[0]) : nullptr);
  }

  void STDMETHODCALLTYPE CSSetShader(ID3D11ComputeShader* shader,
                                     ID3D11ClassInstance* const* instances, UINT count) override {
    const OutsideLibrary outside;
    const Call call(name_, "CSSetShader", NameOf(shader), instances ? "instances" : "null", count);
    shader_ = Ref<ComputeShader>(Known<ComputeShader>(shader));
  }

  void STDMETHODCALLTYPE CSSetConstantBuffers(UINT start, UINT count,
                                              ID3D11Buffer* const* buffers) override {
    const OutsideLibrary outside;
    const Call call(name_, "CSSetConstantBuffers", start, count, ListOf(buffers, count));
    Bind(constants_, start, count, buffers);
  }

  void STDMETHODCALLTYPE CSSetShaderResources(UINT start, UINT count,
                                              ID3D11ShaderResourceView* const* views) override {
    const OutsideLibrary outside;
    const Call call(name_, "CSSetShaderResources", start, count, ListOf(views, count));
    Bind(shader_resources_, start, count, views);
  }

  void STDMETHODCALLTYPE CSSetUnorderedAccessViews(UINT start, UINT count,
                                                   ID3D11UnorderedAccessView* const* views,
                                                   const UINT* initial_counts) override {
    const OutsideLibrary outside;
    const Call call(name_, "CSSetUnorderedAccessViews", start, count, ListOf(views, count),
                    initial_counts ? "counts" : "null");
    Bind(access_views_, start, count, views);
    // A resource is bound for writing in one place only.
    for (size_t slot = 0; slot < kSlots; ++slot) {
      const bool set = slot >= start && slot < start + count;
      for (UINT i = 0; !set && i < count; ++i) {
        auto* const view = Known<AccessView>(views[i]);
        if (view && access_views_[slot] && access_views_[slot]->storage == view->storage) {
          access_views_[slot] = {};
        }
      }
    }
  }

  void STDMETHODCALLTYPE Dispatch(UINT x, UINT y, UINT z) override {
    const Call call(name_, "Dispatch", x, y, z);
    if (!shader_) {
      Refuse("Dispatch without a program");
      return;
    }
    Bindings bindings;
    if (constants_[0]) bindings.constants = &constants_[0]->storage;
    for (size_t i = 0; i < kSlots; ++i) {
      if (shader_resources_[i]) bindings.shader_resources[i] = shader_resources_[i]->storage;
      if (access_views_[i]) bindings.access_views[i] = access_views_[i]->storage;
    }
    for (UINT i = 0; i < z; ++i) Run(shader_->program, bindings, x, y);
  }

  void STDMETHODCALLTYPE ClearUnorderedAccessViewUint(ID3D11UnorderedAccessView* view,
                                                      const UINT* values) override {
    const OutsideLibrary outside;
    const std::string name = NameOf(view);
    const Call call(name_, "ClearUnorderedAccessViewUint", name, values[0]);
    auto* const known = Known<AccessView>(view);
    if (!known || known->storage->device != device_ || known->storage->mapping ||
        known->storage->format != DXGI_FORMAT_R8_UINT) {
      Refuse("ClearUnorderedAccessViewUint(" + name + ")");
      return;
    }
    known->storage->memory.Fill(static_cast<uint8_t>(values[0]));
  }

  void STDMETHODCALLTYPE ClearState() override {
    const Call call(name_, "ClearState");
    Unbind();
  }

  void STDMETHODCALLTYPE Flush() override { const Call call(name_, "Flush"); }

  void Unbind() {
    render_target_ = {};
    shader_ = {};
    for (auto& buffer : constants_) buffer = {};
    for (auto& view : shader_resources_) view = {};
    for (auto& view : access_views_) view = {};
  }

 private:
  static constexpr size_t kSlots = 2;

  template <typename T, typename Interface>
  static void Bind(Ref<T> (&slots)[kSlots], UINT start, UINT count, Interface* const* objects) {
    for (UINT i = 0; i < count && start + i < kSlots; ++i) {
      slots[start + i] = Ref<T>(Known<T>(objects[i]));
    }
  }

  Device* const device_;
  const std::string name_;
  std::atomic<ULONG> references_ = 0;
  Ref<Object> render_target_;
  Ref<ComputeShader> shader_;
  Ref<Buffer> constants_[kSlots];
  Ref<ShaderResourceView> shader_resources_[kSlots];
  Ref<AccessView> access_views_[kSlots];
};

class Device final : public Implements<UnusedDeviceMethods, IDXGIDevice> {
 public:
  Device() : Implements("device"), context_(this) {}
  ~Device() override { context_.Unbind(); }

  void* Answer(REFIID id) override {
    if (id == __uuidof(IDXGIObject)) return static_cast<IDXGIObject*>(this);
    return Implements::Answer(id);
  }

  // Both interfaces declare these.
  HRESULT STDMETHODCALLTYPE GetPrivateData(REFGUID, UINT*, void*) override {
    return Unused("GetPrivateData");
  }
  HRESULT STDMETHODCALLTYPE SetPrivateData(REFGUID, UINT, const void*) override {
    return Unused("SetPrivateData");
  }
  HRESULT STDMETHODCALLTYPE SetPrivateDataInterface(REFGUID, const ::IUnknown*) override {
    return Unused("SetPrivateDataInterface");
  }
  HRESULT STDMETHODCALLTYPE GetParent(REFIID, void**) override { return Unused("GetParent"); }
  HRESULT STDMETHODCALLTYPE GetAdapter(IDXGIAdapter**) override { return Unused("GetAdapter"); }
  HRESULT STDMETHODCALLTYPE CreateSurface(const DXGI_SURFACE_DESC*, UINT, DXGI_USAGE,
                                          const DXGI_SHARED_RESOURCE*, IDXGISurface**) override {
    return Unused("CreateSurface");
  }
  HRESULT STDMETHODCALLTYPE QueryResourceResidency(::IUnknown* const*, DXGI_RESIDENCY*,
                                                   UINT) override {
    return Unused("QueryResourceResidency");
  }
  HRESULT STDMETHODCALLTYPE SetGPUThreadPriority(INT) override {
    return Unused("SetGPUThreadPriority");
  }
  HRESULT STDMETHODCALLTYPE GetGPUThreadPriority(INT*) override {
    return Unused("GetGPUThreadPriority");
  }

  HRESULT STDMETHODCALLTYPE CreateTexture2D(const D3D11_TEXTURE2D_DESC* desc,
                                            const D3D11_SUBRESOURCE_DATA* data,
                                            ID3D11Texture2D** texture) override {
    const OutsideLibrary outside;
    Call call(Name(), "CreateTexture2D", Text(*desc), data ? "data" : "null");
    *texture = nullptr;
    if (call.Fails()) return call.Result();
    if (!IsValid(*desc)) return E_INVALIDARG;
    auto* const made = new Texture(this, *desc);
    if (desc->Usage == D3D11_USAGE_DEFAULT) made->storage.memory.Fill(settings.new_texture_byte);
    return Made(call, made, texture);
  }

  HRESULT STDMETHODCALLTYPE CreateBuffer(const D3D11_BUFFER_DESC* desc,
                                         const D3D11_SUBRESOURCE_DATA* data,
                                         ID3D11Buffer** buffer) override {
    const OutsideLibrary outside;
    Call call(Name(), "CreateBuffer", Text(*desc), DataText(*desc, data));
    *buffer = nullptr;
    if (call.Fails()) return call.Result();
    if (!IsValid(*desc)) return E_INVALIDARG;
    auto* const made = new Buffer(this, *desc);
    if (data) std::memcpy(made->storage.memory.Write(0), data->pSysMem, desc->ByteWidth);
    return Made(call, made, buffer);
  }

  HRESULT STDMETHODCALLTYPE CreateRenderTargetView(ID3D11Resource* resource,
                                                   const D3D11_RENDER_TARGET_VIEW_DESC* desc,
                                                   ID3D11RenderTargetView** view) override {
    const OutsideLibrary outside;
    Call call(Name(), "CreateRenderTargetView", NameOf(resource),
              "format " + std::to_string(desc->Format) + " dimension " +
                  std::to_string(desc->ViewDimension) + " mip " +
                  std::to_string(desc->Texture2D.MipSlice));
    *view = nullptr;
    if (call.Fails()) return call.Result();
    if (!IsViewable(resource, D3D11_BIND_RENDER_TARGET)) return E_INVALIDARG;
    return Made(call, new RenderTargetView(this, "rtv", resource, *desc), view);
  }

  HRESULT STDMETHODCALLTYPE CreateShaderResourceView(ID3D11Resource* resource,
                                                     const D3D11_SHADER_RESOURCE_VIEW_DESC* desc,
                                                     ID3D11ShaderResourceView** view) override {
    const OutsideLibrary outside;
    Call call(Name(), "CreateShaderResourceView", NameOf(resource),
              "format " + std::to_string(desc->Format) + " dimension " +
                  std::to_string(desc->ViewDimension) + " mip " +
                  std::to_string(desc->Texture2D.MostDetailedMip) + " mips " +
                  std::to_string(desc->Texture2D.MipLevels));
    *view = nullptr;
    if (call.Fails()) return call.Result();
    if (!IsViewable(resource, D3D11_BIND_SHADER_RESOURCE)) return E_INVALIDARG;
    return Made(call, new ShaderResourceView(this, "srv", resource, *desc), view);
  }

  HRESULT STDMETHODCALLTYPE CreateUnorderedAccessView(ID3D11Resource* resource,
                                                      const D3D11_UNORDERED_ACCESS_VIEW_DESC* desc,
                                                      ID3D11UnorderedAccessView** view) override {
    const bool buffer = desc->ViewDimension == D3D11_UAV_DIMENSION_BUFFER;
    const OutsideLibrary outside;
    Call call(Name(), "CreateUnorderedAccessView", NameOf(resource),
              "format " + std::to_string(desc->Format) + " dimension " +
                  std::to_string(desc->ViewDimension) +
                  (buffer ? " first " + std::to_string(desc->Buffer.FirstElement) + " elements " +
                                std::to_string(desc->Buffer.NumElements) + " flags " +
                                std::to_string(desc->Buffer.Flags)
                          : " mip " + std::to_string(desc->Texture2D.MipSlice)));
    *view = nullptr;
    if (call.Fails()) return call.Result();
    if (!IsViewable(resource, D3D11_BIND_UNORDERED_ACCESS)) return E_INVALIDARG;
    return Made(call, new AccessView(this, "uav", resource, *desc), view);
  }

  HRESULT STDMETHODCALLTYPE CreateComputeShader(const void* bytecode, SIZE_T size,
                                                ID3D11ClassLinkage* linkage,
                                                ID3D11ComputeShader** shader) override {
    const auto program = ProgramOf(bytecode, size);
    Call call(Name(), "CreateComputeShader", program ? ProgramName(*program) : "?",
              linkage ? "linkage" : "null");
    *shader = nullptr;
    if (call.Fails()) return call.Result();
    if (!program) return E_INVALIDARG;
    return Made(call, new ComputeShader(this, *program), shader);
  }

  void STDMETHODCALLTYPE GetImmediateContext(ID3D11DeviceContext** context) override {
    const Call call(Name(), "GetImmediateContext");
    *context = &context_;
    context_.AddRef();
  }

  Context& context() { return context_; }

 private:
  template <typename T, typename Interface>
  HRESULT Made(Call& call, T* object, Interface** result) {
    *result = object;
    call.Made(object->Name());
    return call.FailsAfterWork() ? call.Result() : S_OK;
  }

  static std::string DataText(const D3D11_BUFFER_DESC& desc, const D3D11_SUBRESOURCE_DATA* data) {
    if (!data) return "null";
    std::string text = "{";
    const auto* const words = static_cast<const uint32_t*>(data->pSysMem);
    for (UINT i = 0; i < desc.ByteWidth / sizeof(uint32_t); ++i) {
      text += (i > 0 ? ", " : "") + std::to_string(words[i]);
    }
    return text + "}";
  }

  static bool IsViewable(ID3D11Resource* resource, UINT bind_flag) {
    if (const auto* const texture = Known<Texture>(resource)) {
      return (texture->desc.BindFlags & bind_flag) != 0;
    }
    if (const auto* const buffer = Known<Buffer>(resource)) {
      return (buffer->desc.BindFlags & bind_flag) != 0;
    }
    return false;
  }

  Context context_;
};

ULONG Context::AddRef() {
  const bool recorded = IsRecordingReferences();
  const OutsideLibrary outside;
  if (recorded) Note(name_ + ".AddRef()");
  const ULONG before = references_.fetch_add(1, std::memory_order_relaxed);
  // Device and context live and die together.
  if (before == 0) device_->Retain();
  return before + 1;
}

ULONG Context::Release() {
  const bool recorded = IsRecordingReferences();
  const OutsideLibrary outside;
  if (recorded) Note(name_ + ".Release()");
  const ULONG before = references_.fetch_sub(1, std::memory_order_acq_rel);
  if (before == 1) device_->Drop();
  return before - 1;
}

template <typename... Interfaces>
void DeviceChild<Interfaces...>::GetDevice(ID3D11Device** device) {
  const Call call(this->Name(), "GetDevice");
  *device = device_;
  device_->AddRef();
}

// Adapters.

class Adapter final : public Implements<UnusedAdapterMethods> {
 public:
  explicit Adapter(const AdapterSettings& adapter) : Implements("adapter"), adapter_(adapter) {}

  HRESULT STDMETHODCALLTYPE GetDesc1(DXGI_ADAPTER_DESC1* desc) override {
    Call call(Name(), "GetDesc1");
    *desc = {};
    if (call.Fails()) return call.Result();
    desc->VendorId = adapter_.vendor_id;
    desc->Flags = adapter_.flags;
    return call.FailsAfterWork() ? call.Result() : adapter_.get_desc_result;
  }

 private:
  const AdapterSettings adapter_;
};

class Factory final : public Implements<UnusedFactoryMethods> {
 public:
  Factory() : Implements("factory") {}

  HRESULT STDMETHODCALLTYPE EnumAdapters1(UINT index, IDXGIAdapter1** adapter) override {
    Call call(Name(), "EnumAdapters1", index);
    *adapter = nullptr;
    if (call.Fails()) return call.Result();
    if (index >= settings.adapters.size()) return DXGI_ERROR_NOT_FOUND;
    auto* const made = new Adapter(settings.adapters[index]);
    *adapter = made;
    call.Made(made->Name());
    return call.FailsAfterWork() ? call.Result() : S_OK;
  }
};

}  // namespace

std::string Text(const D3D11_TEXTURE2D_DESC& desc) {
  std::ostringstream text;
  text << desc.Width << 'x' << desc.Height << " mips " << desc.MipLevels << " layers "
       << desc.ArraySize << " format " << desc.Format << " samples " << desc.SampleDesc.Count << '/'
       << desc.SampleDesc.Quality << ' ' << UsageName(desc.Usage) << std::hex << " bind 0x"
       << desc.BindFlags << " cpu 0x" << desc.CPUAccessFlags << " misc 0x" << desc.MiscFlags;
  return text.str();
}

std::string Text(const D3D11_BUFFER_DESC& desc) {
  std::ostringstream text;
  text << desc.ByteWidth << " bytes " << UsageName(desc.Usage) << std::hex << " bind 0x"
       << desc.BindFlags << " cpu 0x" << desc.CPUAccessFlags << " misc 0x" << desc.MiscFlags
       << std::dec << " stride " << desc.StructureByteStride;
  return text.str();
}

D3D11_TEXTURE2D_DESC FrameDesc(uint32_t width, uint32_t height, DXGI_FORMAT format,
                               D3D11_USAGE usage) {
  D3D11_TEXTURE2D_DESC desc{};
  desc.Width = width;
  desc.Height = height;
  desc.MipLevels = 1;
  desc.ArraySize = 1;
  desc.Format = format;
  desc.SampleDesc.Count = 1;
  desc.Usage = usage;
  if (usage == D3D11_USAGE_STAGING) {
    desc.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
  } else {
    desc.BindFlags = D3D11_BIND_SHADER_RESOURCE | D3D11_BIND_RENDER_TARGET;
  }
  return desc;
}

ID3D11Texture2D* NewTexture(ID3D11Device* device, const D3D11_TEXTURE2D_DESC& desc) {
  auto* const known = dynamic_cast<Device*>(device);
  return known && IsValid(desc) ? new Texture(known, desc) : nullptr;
}

void Draw(ID3D11Texture2D* texture, const reference::Image& picture) {
  Storage& storage = *StorageOf(texture);
  const uint32_t rows = std::min(picture.height, storage.height);
  const size_t bytes = std::min(picture.width, storage.width) * sizeof(uint32_t);
  for (uint32_t row = 0; row < rows; ++row) {
    std::memcpy(storage.memory.Write(row),
                picture.pixels.data() + static_cast<size_t>(row) * picture.width, bytes);
  }
}

reference::Image PixelsOf(ID3D11Texture2D* texture) {
  const Storage& storage = *StorageOf(texture);
  reference::Image image(storage.width, storage.height);
  if (!storage.memory.IsUntouched()) {
    std::memcpy(image.pixels.data(), storage.memory.Read(0),
                image.pixels.size() * sizeof(uint32_t));
  }
  return image;
}

D3D11_TEXTURE2D_DESC DescOf(ID3D11Texture2D* texture) {
  return dynamic_cast<Texture*>(texture)->desc;
}

std::vector<uint32_t> WordsOf(ID3D11Buffer* buffer) {
  const Memory& memory = StorageOf(buffer)->memory;
  std::vector<uint32_t> words(memory.row_bytes() / sizeof(uint32_t));
  if (!memory.IsUntouched()) std::memcpy(words.data(), memory.Read(0), words.size() * 4);
  return words;
}

bool IsMapped(ID3D11Resource* resource) {
  return StorageOf(resource)->mapping != nullptr;
}

ID3D11Device* NewDevice() {
  return new Device;
}

}  // namespace fake

extern "C" HRESULT WINAPI CreateDXGIFactory1(REFIID id, void** factory) {
  const fake::OutsideLibrary outside;
  fake::Call call("", "CreateDXGIFactory1", fake::InterfaceName(id));
  *factory = nullptr;
  if (call.Fails()) return call.Result();
  auto* const made = new fake::Factory;
  *factory = made->Answer(id);
  call.Made(made->Name());
  return call.FailsAfterWork() ? call.Result() : S_OK;
}

extern "C" HRESULT WINAPI D3D11CreateDevice(IDXGIAdapter* adapter, D3D_DRIVER_TYPE type,
                                            HMODULE software, UINT flags,
                                            const D3D_FEATURE_LEVEL* levels, UINT level_count,
                                            UINT sdk_version, ID3D11Device** device,
                                            D3D_FEATURE_LEVEL* level,
                                            ID3D11DeviceContext** context) {
  const fake::OutsideLibrary outside;
  std::ostringstream level_list;
  level_list << std::hex;
  for (UINT i = 0; i < level_count; ++i) level_list << (i > 0 ? " 0x" : "0x") << levels[i];
  fake::Call call("", "D3D11CreateDevice", fake::NameOf(adapter), type,
                  software ? "software" : "null", flags, "[" + level_list.str() + "]", level_count,
                  sdk_version);
  *device = nullptr;
  *context = nullptr;
  if (call.Fails()) return call.Result();
  auto* const made = new fake::Device;
  *device = made;
  *level = static_cast<D3D_FEATURE_LEVEL>(fake::settings.feature_level);
  *context = &made->context();
  (*context)->AddRef();
  call.Made(made->Name() + ", " + made->context().Name());
  return call.FailsAfterWork() ? call.Result() : S_OK;
}
