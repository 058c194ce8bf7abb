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

namespace fake {

// A mapped subresource: see direct3d.h.
class Mapping {
 public:
  // padding: bytes between the rows. With `tail` as many bytes more, all ones, after the last row.
  Mapping(uint32_t row_bytes, uint32_t rows, uint32_t padding, uint32_t tail)
      : rows_(rows),
        pitch_(row_bytes + padding),
        tail_(tail),
        block_(new uint8_t[size_t{pitch_} * (rows - 1) + row_bytes + tail]) {
    std::memset(Row(rows - 1) + row_bytes, 0xFF, tail);
    for (uint32_t row = 0; row + 1 < rows; ++row) {
      ASAN_POISON_MEMORY_REGION(Row(row) + row_bytes, padding);
    }
  }
  ~Mapping() { ASAN_UNPOISON_MEMORY_REGION(block_.get(), size_t{pitch_} * (rows_ - 1)); }
  Mapping(const Mapping&) = delete;
  Mapping& operator=(const Mapping&) = delete;

  uint8_t* Row(uint32_t row) { return block_.get() + size_t{row} * pitch_; }
  // The depth pitch of a resource without depth covers all its rows.
  D3D11_MAPPED_SUBRESOURCE Describe() {
    return {block_.get(), pitch_ + tail_, pitch_ * rows_ + tail_};
  }

 private:
  const uint32_t rows_;
  const uint32_t pitch_;
  const uint32_t tail_;
  std::unique_ptr<uint8_t[]> block_;
};

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

// As a recording tells it; by the number of the usage.
constexpr const char* kUsageNames[] = {"default", "immutable", "dynamic", "staging"};

// Direct3D's rules for the textures of frames. tests/native/engine lists what the library asks for.
bool IsValid(const D3D11_TEXTURE2D_DESC& desc) {
  constexpr UINT kLargest = D3D11_REQ_TEXTURE2D_U_OR_V_DIMENSION;
  return desc.Width > 0 && desc.Height > 0 && desc.Width <= kLargest && desc.Height <= kLargest &&
         BytesPerPixel(desc.Format) != 0;
}

struct HasStorage {
  virtual ~HasStorage() = default;
  Storage storage;
  explicit HasStorage(Storage&& made) : storage(std::move(made)) {}
};

template <typename To, typename From>
To* Known(From* object) {
  return dynamic_cast<To*>(object);
}

Storage* StorageOf(ID3D11Resource* resource) {
  auto* const holder = Known<HasStorage>(resource);
  return holder ? &holder->storage : nullptr;
}

class Device;

template <typename Interface>
class DeviceChild : public Implements<Interface> {
 public:
  void STDMETHODCALLTYPE GetDevice(ID3D11Device** device) override;

 protected:
  DeviceChild(Device* device, const char* kind)
      : Implements<Interface>(kind), device_(device), device_kept_(device) {}

  // What is merely bound to the device's context must not keep the device alive.
  void OnUnreferenced() override { device_kept_ = Ref<Device>(); }
  void OnReferencedAgain() override { device_kept_ = Ref<Device>(device_); }

  void* Answer(REFIID id) override {
    void* result = Implements<Interface>::Answer(id);
    this->template Offer<ID3D11DeviceChild, Interface>(id, &result);
    return result;
  }

  Device* const device_;

 private:
  Ref<Device> device_kept_;
};

template <typename Interface, typename Desc>
class Resource final : public DeviceChild<Interface>, public HasStorage {
 public:
  Resource(Device* device, const char* kind, const Desc& desc, Storage&& storage)
      : DeviceChild<Interface>(device, kind), HasStorage(std::move(storage)), desc(desc) {}

  void* Answer(REFIID id) override {
    void* result = DeviceChild<Interface>::Answer(id);
    this->template Offer<ID3D11Resource, Interface>(id, &result);
    return result;
  }
  void STDMETHODCALLTYPE GetDesc(Desc* result) override {
    const Call call(this->Name(), "GetDesc");
    *result = desc;
  }

  const Desc desc;
};

using Texture = Resource<ID3D11Texture2D, D3D11_TEXTURE2D_DESC>;
using Buffer = Resource<ID3D11Buffer, D3D11_BUFFER_DESC>;

Texture* MakeTexture(Device* device, const D3D11_TEXTURE2D_DESC& desc) {
  return new Texture(device, "texture", desc,
                     {Memory(desc.Width * BytesPerPixel(desc.Format), desc.Height), desc.Format,
                      desc.CPUAccessFlags, desc.Width, desc.Height, false, device, nullptr});
}

Buffer* MakeBuffer(Device* device, const D3D11_BUFFER_DESC& desc) {
  return new Buffer(device, "buffer", desc,
                    {Memory(desc.ByteWidth, 1), DXGI_FORMAT_UNKNOWN, desc.CPUAccessFlags,
                     desc.ByteWidth, 1, true, device, nullptr});
}

// A view keeps its resource.
template <typename Interface>
class View final : public DeviceChild<Interface> {
 public:
  View(Device* device, const char* kind, ID3D11Resource* resource)
      : DeviceChild<Interface>(device, kind),
        storage(StorageOf(resource)),
        resource_(Known<Object>(resource)) {}

  Storage* const storage;

 private:
  const Ref<Object> resource_;
};

using ShaderResourceView = View<ID3D11ShaderResourceView>;
using AccessView = View<ID3D11UnorderedAccessView>;
using RenderTargetView = View<ID3D11RenderTargetView>;

class ComputeShader final : public DeviceChild<ID3D11ComputeShader> {
 public:
  ComputeShader(Device* device, Program program)
      : DeviceChild(device, "shader"), program(program) {}
  const Program program;
};

// By the number of the program.
constexpr const char* kProgramNames[] = {"szResetDiffRectsCS", "szFrameDiffRectsCS",
                                         "szGetBitFlagCS"};

// Reads as "[name, null]".
template <typename T>
auto ListOf(T* const* objects, UINT count) {
  return [=] {
    std::string list = "[";
    for (UINT i = 0; i < count; ++i) list += (i > 0 ? ", " : "") + NameOf(objects[i]);
    return list + "]";
  };
}

// Device and context live and die together.
class Context final : public DeviceChild<ID3D11DeviceContext> {
 public:
  explicit Context(Device* device) : DeviceChild(device, "context") {}

  void STDMETHODCALLTYPE CopyResource(ID3D11Resource* to, ID3D11Resource* from) override {
    const Call call(Name(), "CopyResource", to, from);
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
    const bool reads = type == D3D11_MAP_READ;
    const bool discards = type == D3D11_MAP_WRITE_DISCARD;
    const char* const kind = reads ? "READ" : discards ? "WRITE_DISCARD" : "?";
    Call call(Name(), "Map", resource, subresource, kind, flags);
    if (call.Fails()) {
      // Nothing in it can be read, whatever the answer.
      if (call.Result() == S_OK) *mapped = {};
      return call.Result();
    }
    Storage* const storage = StorageOf(resource);
    const UINT access = reads ? D3D11_CPU_ACCESS_READ : discards ? D3D11_CPU_ACCESS_WRITE : 0;
    if (!storage || subresource != 0 || flags != 0 || (storage->cpu_access & access) == 0) {
      return E_INVALIDARG;
    }
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
      } else {
        std::memcpy(storage->mapping->Row(row), memory.Read(row), memory.row_bytes());
      }
    }
    if (reads && !storage->is_buffer) ++texture_reads;
    *mapped = storage->mapping->Describe();
    return call.Done();
  }

  void STDMETHODCALLTYPE Unmap(ID3D11Resource* resource, UINT subresource) override {
    const Call call(Name(), "Unmap", resource, subresource);
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
    const Call call(Name(), "OMSetRenderTargets", count, ListOf(targets, count), depth);
    render_target_ = Ref<Object>(count > 0 ? Known<Object>(targets[0]) : nullptr);
  }

  void STDMETHODCALLTYPE CSSetShader(ID3D11ComputeShader* shader,
                                     ID3D11ClassInstance* const* instances, UINT count) override {
    const Call call(Name(), "CSSetShader", shader, instances ? "instances" : "null", count);
    shader_ = Ref<ComputeShader>(Known<ComputeShader>(shader));
  }

  void STDMETHODCALLTYPE CSSetConstantBuffers(UINT start, UINT count,
                                              ID3D11Buffer* const* buffers) override {
    const Call call(Name(), "CSSetConstantBuffers", start, count, ListOf(buffers, count));
    Bind(constants_, start, count, buffers);
  }

  void STDMETHODCALLTYPE CSSetShaderResources(UINT start, UINT count,
                                              ID3D11ShaderResourceView* const* views) override {
    const Call call(Name(), "CSSetShaderResources", start, count, ListOf(views, count));
    Bind(shader_resources_, start, count, views);
  }

  void STDMETHODCALLTYPE CSSetUnorderedAccessViews(UINT start, UINT count,
                                                   ID3D11UnorderedAccessView* const* views,
                                                   const UINT* initial_counts) override {
    const Call call(Name(), "CSSetUnorderedAccessViews", start, count, ListOf(views, count),
                    initial_counts ? "counts" : "null");
    Bind(access_views_, start, count, views);
  }

  void STDMETHODCALLTYPE Dispatch(UINT x, UINT y, UINT z) override {
    const Call call(Name(), "Dispatch", x, y, z);
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
    const Call call(Name(), "ClearUnorderedAccessViewUint", view, values[0]);
    auto* const known = Known<AccessView>(view);
    if (!known || known->storage->device != device_ || known->storage->mapping ||
        known->storage->format != DXGI_FORMAT_R8_UINT) {
      Refuse("ClearUnorderedAccessViewUint(" + NameOf(view) + ")");
      return;
    }
    known->storage->memory.Fill(static_cast<uint8_t>(values[0]));
  }

  void STDMETHODCALLTYPE ClearState() override {
    const Call call(Name(), "ClearState");
    Unbind();
  }

  void STDMETHODCALLTYPE Flush() override { const Call call(Name(), "Flush"); }

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

  Ref<Object> render_target_;
  Ref<ComputeShader> shader_;
  Ref<Buffer> constants_[kSlots];
  Ref<ShaderResourceView> shader_resources_[kSlots];
  Ref<AccessView> access_views_[kSlots];
};

class Device final : public Implements<ID3D11Device, IDXGIDevice> {
 public:
  Device() : Implements("device") {
    auto* const context = new Context(this);
    context_ = Ref<Context>(context);
    context->Release();
  }
  ~Device() override { context_->Unbind(); }

  void* Answer(REFIID id) override {
    void* result = Implements::Answer(id);
    Offer<IDXGIObject, IDXGIDevice>(id, &result);
    return result;
  }

  HRESULT STDMETHODCALLTYPE CreateTexture2D(const D3D11_TEXTURE2D_DESC* desc,
                                            const D3D11_SUBRESOURCE_DATA* data,
                                            ID3D11Texture2D** texture) override {
    const auto description = [=] { return Text(*desc); };
    Call call(Name(), "CreateTexture2D", description, data ? "data" : "null");
    if (call.Fails(texture)) return call.Result();
    if (!IsValid(*desc)) return E_INVALIDARG;
    auto* const made = MakeTexture(this, *desc);
    if (settings.new_texture_byte != 0 && desc->Usage == D3D11_USAGE_DEFAULT) {
      made->storage.memory.Fill(settings.new_texture_byte);
    }
    return call.Made(made, texture);
  }

  HRESULT STDMETHODCALLTYPE CreateBuffer(const D3D11_BUFFER_DESC* desc,
                                         const D3D11_SUBRESOURCE_DATA* data,
                                         ID3D11Buffer** buffer) override {
    Call call(
        Name(), "CreateBuffer", [=] { return Text(*desc); }, [=] { return DataText(*desc, data); });
    if (call.Fails(buffer)) return call.Result();
    auto* const made = MakeBuffer(this, *desc);
    if (data) std::memcpy(made->storage.memory.Write(0), data->pSysMem, desc->ByteWidth);
    return call.Made(made, buffer);
  }

  HRESULT STDMETHODCALLTYPE CreateRenderTargetView(ID3D11Resource* resource,
                                                   const D3D11_RENDER_TARGET_VIEW_DESC* desc,
                                                   ID3D11RenderTargetView** view) override {
    return MakeView("CreateRenderTargetView", "rtv", resource, *desc,
                    {{"mip", desc->Texture2D.MipSlice}}, view);
  }

  HRESULT STDMETHODCALLTYPE CreateShaderResourceView(ID3D11Resource* resource,
                                                     const D3D11_SHADER_RESOURCE_VIEW_DESC* desc,
                                                     ID3D11ShaderResourceView** view) override {
    return MakeView("CreateShaderResourceView", "srv", resource, *desc,
                    {{"mip", desc->Texture2D.MostDetailedMip}, {"mips", desc->Texture2D.MipLevels}},
                    view);
  }

  HRESULT STDMETHODCALLTYPE CreateUnorderedAccessView(ID3D11Resource* resource,
                                                      const D3D11_UNORDERED_ACCESS_VIEW_DESC* desc,
                                                      ID3D11UnorderedAccessView** view) override {
    const auto make = [&](const Fields& fields) {
      return MakeView("CreateUnorderedAccessView", "uav", resource, *desc, fields, view);
    };
    if (desc->ViewDimension != D3D11_UAV_DIMENSION_BUFFER) {
      return make({{"mip", desc->Texture2D.MipSlice}});
    }
    return make({{"first", desc->Buffer.FirstElement},
                 {"elements", desc->Buffer.NumElements},
                 {"flags", desc->Buffer.Flags}});
  }

  HRESULT STDMETHODCALLTYPE CreateComputeShader(const void* bytecode, SIZE_T size,
                                                ID3D11ClassLinkage* linkage,
                                                ID3D11ComputeShader** shader) override {
    const auto program = ProgramOf(bytecode, size);
    Call call(Name(), "CreateComputeShader",
              program ? kProgramNames[static_cast<int>(*program)] : "?",
              linkage ? "linkage" : "null");
    if (call.Fails(shader)) return call.Result();
    if (!program) return E_INVALIDARG;
    return call.Made(new ComputeShader(this, *program), shader);
  }

  void STDMETHODCALLTYPE GetImmediateContext(ID3D11DeviceContext** context) override {
    const Call call(Name(), "GetImmediateContext");
    *context = AddContextReference();
  }

  Context* AddContextReference() {
    context_->AddRef();
    return context_.get();
  }

 private:
  using Fields = std::initializer_list<std::pair<const char*, UINT>>;

  template <typename Interface, typename Desc>
  HRESULT MakeView(const char* function, const char* kind, ID3D11Resource* resource,
                   const Desc& desc, const Fields& fields, Interface** view) {
    Call call(Name(), function, resource, [&] {
      std::string text = "format " + std::to_string(desc.Format) + " dimension " +
                         std::to_string(desc.ViewDimension);
      for (const auto& [name, value] : fields) {
        text += std::string(" ") + name + " " + std::to_string(value);
      }
      return text;
    });
    if (call.Fails(view)) return call.Result();
    return call.Made(new View<Interface>(this, kind, resource), view);
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

  Ref<Context> context_;
};

template <typename Interface>
void DeviceChild<Interface>::GetDevice(ID3D11Device** device) {
  const Call call(this->Name(), "GetDevice");
  *device = device_;
  device_->AddRef();
}

// Adapters.

class Adapter final : public Implements<IDXGIAdapter1> {
 public:
  explicit Adapter(const AdapterSettings& adapter) : Implements("adapter"), adapter_(adapter) {}

  HRESULT STDMETHODCALLTYPE GetDesc1(DXGI_ADAPTER_DESC1* desc) override {
    Call call(Name(), "GetDesc1");
    if (call.Fails(desc)) return call.Result();
    desc->VendorId = adapter_.vendor_id;
    desc->Flags = adapter_.flags;
    return call.FailsAfterWork() ? call.Result() : adapter_.get_desc_result;
  }

 private:
  const AdapterSettings adapter_;
};

class Factory final : public Implements<IDXGIFactory1> {
 public:
  Factory() : Implements("factory") {}

  HRESULT STDMETHODCALLTYPE EnumAdapters1(UINT index, IDXGIAdapter1** adapter) override {
    Call call(Name(), "EnumAdapters1", index);
    if (call.Fails(adapter)) return call.Result();
    if (index >= settings.adapters.size()) return DXGI_ERROR_NOT_FOUND;
    return call.Made(new Adapter(settings.adapters[index]), adapter);
  }
};

}  // namespace

std::string Text(const D3D11_TEXTURE2D_DESC& desc) {
  std::ostringstream text;
  text << desc.Width << 'x' << desc.Height << " mips " << desc.MipLevels << " layers "
       << desc.ArraySize << " format " << desc.Format << " samples " << desc.SampleDesc.Count << '/'
       << desc.SampleDesc.Quality << ' ' << kUsageNames[desc.Usage] << std::hex << " bind 0x"
       << desc.BindFlags << " cpu 0x" << desc.CPUAccessFlags << " misc 0x" << desc.MiscFlags;
  return text.str();
}

std::string Text(const D3D11_BUFFER_DESC& desc) {
  std::ostringstream text;
  text << desc.ByteWidth << " bytes " << kUsageNames[desc.Usage] << std::hex << " bind 0x"
       << desc.BindFlags << " cpu 0x" << desc.CPUAccessFlags << " misc 0x" << desc.MiscFlags
       << std::dec << " stride " << desc.StructureByteStride;
  return text.str();
}

ID3D11Texture2D* NewTexture(ID3D11Device* device, const D3D11_TEXTURE2D_DESC& desc) {
  auto* const known = dynamic_cast<Device*>(device);
  return known && IsValid(desc) ? MakeTexture(known, desc) : nullptr;
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
  std::memcpy(image.pixels.data(), storage.memory.Read(0), image.pixels.size() * sizeof(uint32_t));
  return image;
}

D3D11_TEXTURE2D_DESC DescOf(ID3D11Texture2D* texture) {
  return dynamic_cast<Texture*>(texture)->desc;
}

std::vector<uint32_t> WordsOf(ID3D11Buffer* buffer) {
  const Memory& memory = StorageOf(buffer)->memory;
  std::vector<uint32_t> words(memory.row_bytes() / sizeof(uint32_t));
  std::memcpy(words.data(), memory.Read(0), words.size() * sizeof(uint32_t));
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
  fake::Call call("", "CreateDXGIFactory1", id);
  if (call.Fails(factory)) return call.Result();
  auto* const made = new fake::Factory;
  *factory = made->Answer(id);
  call.Made(made->Name());
  return call.Done();
}

extern "C" HRESULT WINAPI D3D11CreateDevice(IDXGIAdapter* adapter, D3D_DRIVER_TYPE type,
                                            HMODULE software, UINT flags,
                                            const D3D_FEATURE_LEVEL* levels, UINT level_count,
                                            UINT sdk_version, ID3D11Device** device,
                                            D3D_FEATURE_LEVEL* level,
                                            ID3D11DeviceContext** context) {
  const auto level_list = [=] {
    std::ostringstream list;
    list << std::hex << '[';
    for (UINT i = 0; i < level_count; ++i) list << (i > 0 ? " 0x" : "0x") << levels[i];
    return list.str() + ']';
  };
  fake::Call call("", "D3D11CreateDevice", adapter, type, software ? "software" : "null", flags,
                  level_list, level_count, sdk_version);
  *context = nullptr;
  if (call.Fails(device)) return call.Result();
  auto* const made = new fake::Device;
  *device = made;
  *level = static_cast<D3D_FEATURE_LEVEL>(fake::settings.feature_level);
  *context = made->AddContextReference();
  call.Made(made->Name() + ", " + fake::NameOf(*context));
  return call.Done();
}
