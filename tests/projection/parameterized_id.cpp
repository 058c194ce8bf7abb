// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "projection/parameterized_id.h"

#include <array>
#include <bit>
#include <cstdint>
#include <vector>

namespace {

using Digest = std::array<std::uint32_t, 5>;

// The message with its padding: a 1 bit, zeros, and its length in bits, in 64-byte blocks.
std::vector<std::uint8_t> Padded(std::vector<std::uint8_t> message) {
  std::uint64_t const bits = message.size() * 8;
  message.push_back(0x80);
  while (message.size() % 64 != 56) {
    message.push_back(0);
  }
  for (int shift = 56; shift >= 0; shift -= 8) {
    message.push_back(static_cast<std::uint8_t>(bits >> shift));
  }
  return message;
}

std::array<std::uint32_t, 80> Schedule(std::uint8_t const* block) {
  std::array<std::uint32_t, 80> words{};
  for (int i = 0; i < 16; ++i) {
    for (int k = 0; k < 4; ++k) {
      words[i] = (words[i] << 8) | block[4 * i + k];
    }
  }
  for (int i = 16; i < 80; ++i) {
    words[i] = std::rotl(words[i - 3] ^ words[i - 8] ^ words[i - 14] ^ words[i - 16], 1);
  }
  return words;
}

// FIPS 180-4, 6.1.2.
void AddBlock(Digest& digest, std::uint8_t const* block) {
  auto const words = Schedule(block);
  auto [a, b, c, d, e] = digest;
  for (int i = 0; i < 80; ++i) {
    std::uint32_t f = b ^ c ^ d;
    std::uint32_t k = i < 40 ? 0x6ED9EBA1 : 0xCA62C1D6;
    if (i < 20) {
      f = (b & c) | (~b & d);
      k = 0x5A827999;
    } else if (i >= 40 && i < 60) {
      f = (b & c) | (b & d) | (c & d);
      k = 0x8F1BBCDC;
    }
    std::uint32_t const next = std::rotl(a, 5) + f + e + k + words[i];
    e = d;
    d = c;
    c = std::rotl(b, 30);
    b = a;
    a = next;
  }
  Digest const sum{a, b, c, d, e};
  for (int i = 0; i < 5; ++i) {
    digest[i] += sum[i];
  }
}

Digest Sha1(std::vector<std::uint8_t> const& message) {
  Digest digest{0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};
  auto const padded = Padded(message);
  for (std::size_t at = 0; at < padded.size(); at += 64) {
    AddBlock(digest, padded.data() + at);
  }
  return digest;
}

}  // namespace

GUID ParameterizedId(std::string_view signature) {
  // The name space 11f47ad5-7b73-42c0-abae-878b1e16adee, in network byte order.
  std::vector<std::uint8_t> name{0x11, 0xf4, 0x7a, 0xd5, 0x7b, 0x73, 0x42, 0xc0,
                                 0xab, 0xae, 0x87, 0x8b, 0x1e, 0x16, 0xad, 0xee};
  name.insert(name.end(), signature.begin(), signature.end());
  Digest const digest = Sha1(name);
  GUID id{};
  id.Data1 = digest[0];
  id.Data2 = static_cast<std::uint16_t>(digest[1] >> 16);
  // Version 5.
  id.Data3 = static_cast<std::uint16_t>((digest[1] & 0x0fff) | 0x5000);
  for (int i = 0; i < 8; ++i) {
    id.Data4[i] = static_cast<std::uint8_t>(digest[2 + i / 4] >> (24 - 8 * (i % 4)));
  }
  id.Data4[0] = static_cast<std::uint8_t>((id.Data4[0] & 0x3f) | 0x80);
  return id;
}
