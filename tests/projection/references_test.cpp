// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include <type_traits>

#include "projection/test_objects.h"

namespace {

using References = ObjectsTest;

TEST_F(References, CopiesCountAndMovesAndAssignmentsToItselfDoNot) {
  com_ptr<Item> first = Make<Item>();
  EXPECT_EQ(first->references(), 1u);
  com_ptr<Item> second = first;
  EXPECT_EQ(first->references(), 2u);
  com_ptr<Item> third = std::move(second);
  EXPECT_EQ(first->references(), 2u);
  EXPECT_FALSE(second);
  EXPECT_TRUE(third);
  com_ptr<capture_abi::IGraphicsCaptureItem> base = third;
  EXPECT_EQ(first->references(), 3u);
  base = nullptr;
  third = first;
  EXPECT_EQ(first->references(), 2u);
  base = std::move(third);
  EXPECT_FALSE(third);
  EXPECT_EQ(first->references(), 2u);
  base = nullptr;
  com_ptr<Item>& same = first;
  first = same;
  first = std::move(same);
  ASSERT_TRUE(first);
  EXPECT_EQ(first->references(), 1u);
}

TEST_F(References, AssignmentAndPutReleaseThePreviousObject) {
  com_ptr<Item> kept = Make<Item>();
  com_ptr<Item> pointer = kept;
  pointer = Make<Item>();
  EXPECT_EQ(kept->references(), 1u);
  EXPECT_EQ(objects_alive, 2);
  pointer = nullptr;
  EXPECT_EQ(objects_alive, 1);
  pointer = Make<Item>();
  Item** place = pointer.put();
  EXPECT_EQ(objects_alive, 1);
  EXPECT_EQ(*place, nullptr);
  *place = new Item;
  EXPECT_EQ(pointer->references(), 1u);
  *pointer.put_void() = nullptr;
  EXPECT_EQ(objects_alive, 1);
}

TEST_F(References, AttachTakesOverDetachHandsOutAndCopiesAddAReference) {
  com_ptr<Item> pointer = Make<Item>();
  Item* const raw = pointer.detach();
  EXPECT_FALSE(pointer);
  EXPECT_EQ(raw->references(), 1u);
  pointer.attach(raw);
  EXPECT_EQ(raw->references(), 1u);
  EXPECT_EQ(pointer.get(), raw);

  com_ptr<Item> other;
  other.copy_from(raw);
  other.copy_from(raw);
  EXPECT_EQ(raw->references(), 2u);
  Item* copy = nullptr;
  other.copy_to(&copy);
  EXPECT_EQ(copy, raw);
  EXPECT_EQ(raw->references(), 3u);
  copy->Release();
}

// An item that holds another one.
struct OwningItem final : Item {
  com_ptr<Item> owned = Make<Item>();
};

TEST_F(References, CopyFromKeepsWhatOnlyTheReleasedObjectHeld) {
  auto* const owner = new OwningItem;
  com_ptr<Item> item{static_cast<Item*>(owner), winrt::take_ownership_from_abi};
  Item* const owned = owner->owned.get();
  item.copy_from(owned);
  EXPECT_EQ(item.get(), owned);
  EXPECT_EQ(item->references(), 1u);
  EXPECT_EQ(objects_alive, 1);
}

// An item that looks, when it goes, at the reference that held it.
struct LookingItem final : Item {
  ~LookingItem() override { *was_empty = !*reference; }
  com_ptr<Item> const* reference = nullptr;
  bool* was_empty = nullptr;
};

TEST_F(References, AReferenceIsEmptyBeforeItsObjectGoes) {
  com_ptr<Item> reference;
  bool was_empty = false;
  auto* const item = new LookingItem;
  item->reference = &reference;
  item->was_empty = &was_empty;
  reference.attach(item);
  reference = nullptr;
  EXPECT_TRUE(was_empty);
}

TEST_F(References, AsAsksTheObject) {
  com_ptr<Item> item = Make<Item>();
  auto const source = item.as<IWeakReferenceSource>();
  static_assert(std::is_same_v<decltype(source), com_ptr<IWeakReferenceSource> const>);
  EXPECT_EQ(source.get(), static_cast<IWeakReferenceSource*>(item.get()));
  EXPECT_EQ(item->references(), 2u);
  auto const projected = item.as<capture::GraphicsCaptureItem>();
  static_assert(std::is_same_v<decltype(projected), capture::GraphicsCaptureItem const>);
  EXPECT_EQ(item->references(), 3u);
  EXPECT_EQ(projected.Size(), (winrt::Windows::Graphics::SizeInt32{640, -480}));
}

TEST_F(References, AMissingInterfaceThrowsOrGivesAnEmptyReference) {
  com_ptr<Item> item = Make<Item>();
  EXPECT_THROW(item.as<IAgileObject>(), winrt::hresult_no_interface);
  EXPECT_FALSE(item.try_as<IAgileObject>());
  com_ptr<IAgileObject> agile;
  EXPECT_FALSE(item.try_as(agile));
  auto const projected = item.as<foundation::IInspectable>();
  EXPECT_THROW(projected.as<direct3d::IDirect3DDevice>(), winrt::hresult_no_interface);
  EXPECT_FALSE(projected.try_as<direct3d::IDirect3DDevice>());
  EXPECT_EQ(item->references(), 2u);
}

// An item that answers a query for what it lacks with its own address.
struct LeavingItem final : Item {
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** result) override {
    *result = static_cast<capture_abi::IGraphicsCaptureItem*>(this);
    return E_NOINTERFACE;
  }
};

TEST_F(References, WhatAFailedQueryLeavesIsNotTaken) {
  auto const item = Make<LeavingItem>();
  EXPECT_THROW(item.as<IAgileObject>(), winrt::hresult_no_interface);
  EXPECT_FALSE(item.try_as<IAgileObject>());
  EXPECT_EQ(item->references(), 1u);
}

TEST_F(References, AnEmptyReferenceConvertsToAnEmptyOne) {
  com_ptr<Item> const pointer;
  EXPECT_FALSE(pointer.as<IAgileObject>());
  EXPECT_FALSE(pointer.as<foundation::IClosable>());
  foundation::IInspectable const reference;
  EXPECT_FALSE(reference.as<IAgileObject>());
  EXPECT_FALSE(reference.try_as<capture::GraphicsCaptureItem>());
}

TEST_F(References, PointersCompareByAddressAndSwapIt) {
  com_ptr<Item> one = Make<Item>(), other = Make<Item>();
  EXPECT_TRUE(one == com_ptr<Item>(one));
  EXPECT_TRUE(one != other);
  EXPECT_TRUE(one != nullptr);
  EXPECT_TRUE(com_ptr<Item>() == nullptr);
  Item *const first = one.get(), *const second = other.get();
  swap(one, other);
  EXPECT_EQ(one.get(), second);
  EXPECT_EQ(other.get(), first);
}

TEST_F(References, ProjectedReferencesCount) {
  com_ptr<Item> const item = Make<Item>();
  capture::GraphicsCaptureItem reference{nullptr};
  EXPECT_FALSE(reference);
  winrt::copy_from_abi(reference, item.get());
  EXPECT_EQ(item->references(), 2u);
  capture::GraphicsCaptureItem copy = reference;
  foundation::IInspectable inspectable = reference;
  EXPECT_EQ(item->references(), 4u);
  inspectable = std::move(copy);
  EXPECT_FALSE(copy);
  EXPECT_EQ(item->references(), 3u);
  inspectable = nullptr;
  reference = nullptr;
  EXPECT_EQ(item->references(), 1u);
}

TEST_F(References, AbiFunctionsMoveReferencesInAndOut) {
  com_ptr<Item> const item = Make<Item>();
  auto reference = item.as<capture::GraphicsCaptureItem>();
  EXPECT_EQ(winrt::get_abi(reference), item.get());

  void* raw = nullptr;
  winrt::copy_to_abi(reference, raw);
  EXPECT_EQ(item->references(), 3u);
  EXPECT_EQ(winrt::detach_abi(reference), raw);
  EXPECT_FALSE(reference);
  EXPECT_EQ(item->references(), 3u);
  winrt::attach_abi(reference, raw);
  item->Release();
  EXPECT_EQ(item->references(), 2u);

  void** const place = winrt::put_abi(reference);
  EXPECT_EQ(*place, nullptr);
  EXPECT_EQ(item->references(), 1u);
}

TEST_F(References, ProjectedReferencesAreEqualWhenTheObjectIs) {
  com_ptr<Item> const item = Make<Item>();
  com_ptr<Item> const other = Make<Item>();
  auto const reference = item.as<foundation::IUnknown>();
  // The same object through an interface at another address.
  foundation::IUnknown second;
  winrt::copy_from_abi(second, static_cast<IWeakReferenceSource*>(item.get()));
  EXPECT_NE(winrt::get_abi(reference), winrt::get_abi(second));
  EXPECT_TRUE(reference == second);
  EXPECT_FALSE(reference == other.as<foundation::IUnknown>());
  EXPECT_FALSE(reference == nullptr);
  EXPECT_TRUE(foundation::IUnknown() == nullptr);
}

// As in the SDK's projection, where forgetting to pass nullptr must not compile either.
static_assert(!std::is_default_constructible_v<capture::GraphicsCaptureItem>);
static_assert(!std::is_default_constructible_v<capture::Direct3D11CaptureFramePool>);
static_assert(!std::is_default_constructible_v<capture::GraphicsCaptureSession>);
static_assert(std::is_default_constructible_v<direct3d::IDirect3DDevice>);
static_assert(sizeof(capture::GraphicsCaptureItem) == sizeof(void*));

}  // namespace
