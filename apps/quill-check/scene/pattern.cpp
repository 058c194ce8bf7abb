// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-check/scene/pattern.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <optional>

namespace quill_apps {
namespace {

constexpr uint32_t kBlack = 0xFF000000;
constexpr uint32_t kWhite = 0xFFFFFFFF;
// The colours of marks. They stay the same when blue and red are swapped: then the marks are still
// found, and the blocks tell.
constexpr uint32_t kGreen = 0xFF00FF00;
constexpr uint32_t kMagenta = 0xFFFF00FF;

// Each mark: top left, top right, bottom left, bottom right block.
constexpr uint32_t kTopLeftMark[] = {kGreen, kMagenta, kMagenta, kBlack};
constexpr uint32_t kTopRightMark[] = {kMagenta, kGreen, kWhite, kBlack};
constexpr uint32_t kBottomLeftMark[] = {kMagenta, kWhite, kGreen, kBlack};
constexpr uint32_t kBottomRightMark[] = {kWhite, kGreen, kBlack, kMagenta};

// Between the marks. None is as green or as magenta as the marks, whatever a display does to it.
constexpr uint32_t kColours[] = {
    0xFF202020, 0xFFFF0000, 0xFF404040, 0xFF0000FF, 0xFF606060, 0xFFFFFF00, 0xFF808080, 0xFF00FFFF,
    0xFFA0A0A0, 0xFFFF8000, 0xFFC0C0C0, 0xFF0080FF, 0xFFE0E0E0, 0xFF602010, 0xFF104080, 0xFF8030F0};

constexpr size_t kGreyStep = 32;

constexpr uint32_t kCounterBits = 24;
constexpr uint32_t kChecksumBits = 8;

// Two counters that follow each other have different checksums.
uint32_t ChecksumOf(uint32_t counter) {
  constexpr uint32_t kMixing = 0x9E3779B1;
  return ((counter + 1) * kMixing) >> (32 - kChecksumBits);
}

// The blocks of a client area.
class Grid {
 public:
  explicit Grid(FrameSize size)
      : size_(size), columns_(size.width / kPatternBlock), rows_(size.height / kPatternBlock) {}

  uint32_t columns() const { return columns_; }
  uint32_t rows() const { return rows_; }

  uint32_t Left(uint32_t column) const { return column * kPatternBlock; }
  uint32_t Top(uint32_t row) const { return row * kPatternBlock; }
  uint32_t Right(uint32_t column) const {
    return column + 1 == columns_ ? size_.width : Left(column + 1);
  }
  uint32_t Bottom(uint32_t row) const { return row + 1 == rows_ ? size_.height : Top(row + 1); }

  // The position of a block that is no part of a mark among those, row by row.
  uint32_t Position(uint32_t column, uint32_t row) const {
    const uint32_t between_marks = columns_ - 4;
    if (row < 2) return row * between_marks + column - 2;
    if (row + 2 < rows_) return 2 * between_marks + (row - 2) * columns_ + column;
    return Count() - (rows_ - row) * between_marks + column - 2;
  }
  uint32_t Count() const { return columns_ * rows_ - 16; }

  bool IsInMark(uint32_t column, uint32_t row) const {
    return (column < 2 || column + 2 >= columns_) && (row < 2 || row + 2 >= rows_);
  }

  uint32_t Colour(uint32_t column, uint32_t row, uint32_t counter) const {
    if (IsInMark(column, row)) return MarkColour(column, row);
    const uint32_t position = Position(column, row);
    if (position < kCounterBits) {
      return (counter >> (kCounterBits - 1 - position)) & 1 ? kWhite : kBlack;
    }
    const uint32_t from_end = Count() - 1 - position;
    if (from_end < kChecksumBits) return (ChecksumOf(counter) >> from_end) & 1 ? kWhite : kBlack;
    // Odd factors: neighbours differ, and so do a block's colours under successive counters.
    return kColours[(column * 5 + row * 3 + counter * 7) % std::size(kColours)];
  }

 private:
  uint32_t MarkColour(uint32_t column, uint32_t row) const {
    const bool is_right = column >= 2;
    const bool is_bottom = row >= 2;
    const uint32_t* const mark = is_bottom ? (is_right ? kBottomRightMark : kBottomLeftMark)
                                           : (is_right ? kTopRightMark : kTopLeftMark);
    const uint32_t x = is_right ? column + 2 - columns_ : column;
    const uint32_t y = is_bottom ? row + 2 - rows_ : row;
    return mark[y * 2 + x];
  }

  FrameSize size_;
  uint32_t columns_;
  uint32_t rows_;
};

// Pixels of a frame; those outside are like nothing that is looked for.
class Frame {
 public:
  explicit Frame(const PixelView& view) : view_(view) {}

  int32_t width() const { return static_cast<int32_t>(view_.width); }
  int32_t height() const { return static_cast<int32_t>(view_.height); }

  const uint8_t* Row(int32_t y) const { return view_.pixels + y * view_.row_pitch; }

  uint32_t At(int32_t x, int32_t y) const {
    constexpr uint32_t kOutside = 0x808080;
    if (x < 0 || y < 0 || x >= width() || y >= height()) return kOutside;
    uint32_t pixel;
    std::memcpy(&pixel, Row(y) + x * kPixelBytes, kPixelBytes);
    return pixel;
  }

  // In the same quarter of each channel, which leaves a display some freedom.
  bool IsLike(int32_t x, int32_t y, uint32_t colour) const {
    constexpr uint32_t kQuarters = 0xC0C0C0;
    return ((At(x, y) ^ colour) & kQuarters) == 0;
  }

 private:
  const PixelView& view_;
};

// An edge between two colours, between the last pixel of one and the first of the other.
struct Edge {
  int32_t last;
  int32_t first;
  double position() const { return (last + 1 + first) / 2.0; }
  bool IsSharp() const { return first == last + 1; }
};

// A way through the frame, to the right or down.
class Path {
 public:
  Path(const Frame& frame, bool is_row, int32_t across)
      : frame_(frame), is_row_(is_row), across_(across) {}

  int32_t end() const { return is_row_ ? frame_.width() : frame_.height(); }
  bool IsLike(int32_t at, uint32_t colour) const {
    return is_row_ ? frame_.IsLike(at, across_, colour) : frame_.IsLike(across_, at, colour);
  }

  // The first position from `from` on whose colour is another.
  int32_t EndOf(uint32_t colour, int32_t from) const {
    while (from < end() && IsLike(from, colour)) ++from;
    return from;
  }

  // The end of the colour at `from`, if the other colour follows. Scaling blurs edges.
  std::optional<Edge> EdgeTo(uint32_t other, uint32_t colour, int32_t from) const {
    constexpr int32_t kLargestBlur = 3;
    const int32_t end_of_colour = EndOf(colour, from);
    for (int32_t at = end_of_colour; at <= end_of_colour + kLargestBlur; ++at) {
      if (IsLike(at, other)) return Edge{end_of_colour - 1, at};
    }
    return std::nullopt;
  }

  // The first edge from magenta to green from `from` on.
  std::optional<Edge> FindMagentaToGreen(int32_t from) const {
    for (int32_t at = from; at < end(); ++at) {
      if (!IsLike(at, kMagenta)) continue;
      const std::optional<Edge> edge = EdgeTo(kGreen, kMagenta, at);
      if (edge) return edge;
      at = EndOf(kMagenta, at);
    }
    return std::nullopt;
  }

 private:
  const Frame& frame_;
  bool is_row_;
  int32_t across_;
};

int32_t Rounded(double value) {
  return static_cast<int32_t>(std::lround(value));
}

// One direction of the client area: the edges within the marks at both ends, and what follows from
// their distance.
struct Axis {
  Edge start;  // one block after the client area's begin
  Edge end;    // one block before the begin of its last block's end
  double scale;

  Axis(Edge start_edge, Edge end_edge, uint32_t blocks)
      : start(start_edge),
        end(end_edge),
        scale((end.position() - start.position()) / ((blocks - 2) * kPatternBlock)) {}

  bool IsScaled() const { return scale != 1.0 || !start.IsSharp() || !end.IsSharp(); }
  // Where a distance from the client area's begin lies in the frame.
  double At(double distance) const { return start.position() + (distance - kPatternBlock) * scale; }
};

// Where the client area lies.
struct Place {
  Axis horizontal;
  Axis vertical;
};

bool HasMark(const Frame& frame, const Grid& grid, const Place& place, uint32_t first_column,
             uint32_t first_row) {
  for (uint32_t row = first_row; row < first_row + 2; ++row) {
    for (uint32_t column = first_column; column < first_column + 2; ++column) {
      const double x = place.horizontal.At((grid.Left(column) + grid.Right(column)) / 2.0);
      const double y = place.vertical.At((grid.Top(row) + grid.Bottom(row)) / 2.0);
      if (!frame.IsLike(Rounded(x), Rounded(y), grid.Colour(column, row, 0))) return false;
    }
  }
  return true;
}

// The bottom right mark has no edge that was measured: without scaling it must be where the others
// say, to the pixel.
bool HasSharpBottomRightMark(const Frame& frame, const Grid& grid, const Place& place) {
  const int32_t x = place.horizontal.end.first;
  const int32_t y = place.vertical.end.first;
  const int32_t inside_x = x + static_cast<int32_t>(kPatternBlock / 2);
  const int32_t inside_y = y + static_cast<int32_t>(kPatternBlock / 2);
  const uint32_t column = grid.columns() - 2;
  const uint32_t row = grid.rows() - 2;
  return frame.IsLike(x - 1, inside_y, grid.Colour(column, row + 1, 0)) &&
         frame.IsLike(x, inside_y, grid.Colour(column + 1, row + 1, 0)) &&
         frame.IsLike(inside_x, y - 1, grid.Colour(column + 1, row, 0)) &&
         frame.IsLike(inside_x, y, grid.Colour(column + 1, row + 1, 0));
}

// The client area whose top left block is in the green at a point, which may begin left of the
// block, if all four marks are there.
std::optional<Place> PlaceAt(const Frame& frame, const Grid& grid, int32_t x, int32_t y) {
  const Path along(frame, true, y);
  const std::optional<Edge> right = along.EdgeTo(kMagenta, kGreen, x);
  if (!right) return std::nullopt;
  const Path down(frame, false, std::max(x, right->last - 2));
  const std::optional<Edge> bottom = down.EdgeTo(kMagenta, kGreen, y);
  if (!bottom) return std::nullopt;
  // The magenta blocks beside the green one are as wide and as high as it.
  const int32_t width = along.EndOf(kMagenta, right->first) - right->first;
  const int32_t height = down.EndOf(kMagenta, bottom->first) - bottom->first;
  const Path middle_of_row(frame, true, bottom->last - height / 2);
  const Path middle_of_column(frame, false, right->last - width / 2);
  const std::optional<Edge> end_of_row = middle_of_row.FindMagentaToGreen(right->first + width);
  if (!end_of_row) return std::nullopt;
  const std::optional<Edge> end_of_column =
      middle_of_column.FindMagentaToGreen(bottom->first + height);
  if (!end_of_column) return std::nullopt;

  const Place place{Axis(*right, *end_of_row, grid.columns()),
                    Axis(*bottom, *end_of_column, grid.rows())};
  const uint32_t last_column = grid.columns() - 2;
  const uint32_t last_row = grid.rows() - 2;
  if (!HasMark(frame, grid, place, 0, 0) || !HasMark(frame, grid, place, last_column, 0) ||
      !HasMark(frame, grid, place, 0, last_row) ||
      !HasMark(frame, grid, place, last_column, last_row)) {
    return std::nullopt;
  }
  const bool is_scaled = place.horizontal.IsScaled() || place.vertical.IsScaled();
  if (!is_scaled && !HasSharpBottomRightMark(frame, grid, place)) return std::nullopt;
  return place;
}

// Looks at every fourth pixel of every fourth row: the top left block is larger at each scale down
// to a third.
std::optional<Place> FindPlace(const Frame& frame, const Grid& grid) {
  constexpr int32_t kStep = 4;
  for (int32_t y = 0; y < frame.height(); y += kStep) {
    for (int32_t x = 0; x < frame.width(); x += kStep) {
      if (!frame.IsLike(x, y, kGreen)) continue;
      const std::optional<Place> place = PlaceAt(frame, grid, x, y);
      if (place) return place;
      // Go on after the green.
      x = Path(frame, true, y).EndOf(kGreen, x) / kStep * kStep;
    }
  }
  return std::nullopt;
}

bool IsWhiteBlock(const Frame& frame, const Grid& grid, const Place& place, uint32_t column,
                  uint32_t row) {
  const double x = place.horizontal.At((grid.Left(column) + grid.Right(column)) / 2.0);
  const double y = place.vertical.At((grid.Top(row) + grid.Bottom(row)) / 2.0);
  constexpr uint32_t kHalfGreen = 0x8000;
  return (frame.At(Rounded(x), Rounded(y)) & kHalfGreen) != 0;
}

void ReadCounter(const Frame& frame, const Grid& grid, const Place& place,
                 PatternReading& reading) {
  uint32_t counter = 0;
  uint32_t checksum = 0;
  for (uint32_t row = 0; row < grid.rows(); ++row) {
    for (uint32_t column = 0; column < grid.columns(); ++column) {
      if (grid.IsInMark(column, row)) continue;
      const uint32_t position = grid.Position(column, row);
      if (position < kCounterBits) {
        counter = counter * 2 + IsWhiteBlock(frame, grid, place, column, row);
      } else if (position >= grid.Count() - kChecksumBits) {
        checksum = checksum * 2 + IsWhiteBlock(frame, grid, place, column, row);
      }
    }
  }
  reading.counter = counter;
  reading.torn = checksum != ChecksumOf(counter);
}

uint8_t Channel(uint32_t pixel, int channel) {
  return static_cast<uint8_t>(pixel >> (8 * channel));
}

bool IsGrey(uint32_t colour) {
  return Channel(colour, 0) == Channel(colour, 1) && Channel(colour, 1) == Channel(colour, 2);
}

int Distance(uint32_t a, uint32_t b, int channel) {
  return std::abs(Channel(a, channel) - Channel(b, channel));
}

int LargestDistance(uint32_t a, uint32_t b) {
  return std::max({Distance(a, b, 0), Distance(a, b, 1), Distance(a, b, 2)});
}

// Compares pixels of the frame with one colour.
class Comparison {
 public:
  Comparison(const Frame& frame, PatternReading& reading) : frame_(frame), reading_(reading) {}

  void CompareBlock(const RECT& inside, uint32_t column, uint32_t row, uint32_t expected) {
    if (IsFlat(inside, expected)) return;
    uint32_t seen = expected;
    for (int32_t y = inside.top; y < inside.bottom; ++y) {
      for (int32_t x = inside.left; x < inside.right; ++x) {
        const uint32_t pixel = frame_.At(x, y);
        const uint8_t alpha = Channel(pixel, 3);
        reading_.smallest_alpha = std::min(reading_.smallest_alpha, alpha);
        reading_.largest_alpha = std::max(reading_.largest_alpha, alpha);
        for (int channel = 0; channel < 3; ++channel) {
          reading_.deviation[channel] =
              std::max(reading_.deviation[channel],
                       static_cast<uint8_t>(Distance(pixel, expected, channel)));
        }
        if (LargestDistance(pixel, expected) > LargestDistance(seen, expected)) seen = pixel;
      }
    }
    if (LargestDistance(seen, expected) == 0) return;
    if (IsGrey(expected) && expected != kBlack && expected != kWhite) {
      reading_.greys[Channel(expected, 1) / kGreyStep - 1] = Channel(seen, 1);
    }
    if (reading_.deviating_blocks++ == 0) reading_.first = {column, row, expected, seen};
  }

 private:
  // The quick way through blocks that are as they should be. Notes their alpha.
  bool IsFlat(const RECT& inside, uint32_t expected) {
    if (inside.right <= inside.left) return true;
    uint32_t different = 0;
    for (int32_t y = inside.top; y < inside.bottom; ++y) {
      const uint8_t* const row = frame_.Row(y);
      for (int32_t x = inside.left; x < inside.right; ++x) {
        uint32_t pixel;
        std::memcpy(&pixel, row + x * kPixelBytes, kPixelBytes);
        different |= pixel ^ expected;
      }
    }
    if (different != 0) return false;
    if (inside.bottom > inside.top) reading_.largest_alpha = Channel(expected, 3);
    return true;
  }

  const Frame& frame_;
  PatternReading& reading_;
};

void CompareColours(const Frame& frame, const Grid& grid, PatternReading& reading) {
  constexpr LONG kMargin = 2;
  reading.smallest_alpha = UINT8_MAX;
  reading.largest_alpha = 0;
  for (size_t i = 0; i < std::size(reading.greys); ++i) {
    reading.greys[i] = static_cast<uint8_t>((i + 1) * kGreyStep);
  }
  Comparison comparison(frame, reading);
  for (uint32_t row = 0; row < grid.rows(); ++row) {
    for (uint32_t column = 0; column < grid.columns(); ++column) {
      const LONG left = reading.area.left;
      const LONG top = reading.area.top;
      RECT inside{left + static_cast<LONG>(grid.Left(column)) + kMargin,
                  top + static_cast<LONG>(grid.Top(row)) + kMargin,
                  left + static_cast<LONG>(grid.Right(column)) - kMargin,
                  top + static_cast<LONG>(grid.Bottom(row)) - kMargin};
      inside.left = std::max<LONG>(inside.left, 0);
      inside.top = std::max<LONG>(inside.top, 0);
      inside.right = std::min<LONG>(inside.right, frame.width());
      inside.bottom = std::min<LONG>(inside.bottom, frame.height());
      comparison.CompareBlock(inside, column, row, grid.Colour(column, row, reading.counter));
    }
  }
}

}  // namespace

void DrawPattern(uint8_t* pixels, FrameSize size, size_t row_pitch, uint32_t counter) {
  const Grid grid(size);
  for (uint32_t row = 0; row < grid.rows(); ++row) {
    uint8_t* const first_line = pixels + grid.Top(row) * row_pitch;
    for (uint32_t column = 0; column < grid.columns(); ++column) {
      const uint32_t colour = grid.Colour(column, row, counter);
      for (uint32_t x = grid.Left(column); x < grid.Right(column); ++x) {
        std::memcpy(first_line + x * kPixelBytes, &colour, kPixelBytes);
      }
    }
    for (uint32_t y = grid.Top(row) + 1; y < grid.Bottom(row); ++y) {
      std::memcpy(pixels + y * row_pitch, first_line, size.width * kPixelBytes);
    }
  }
}

uint8_t PatternReading::LargestDeviation() const {
  return std::max({deviation[0], deviation[1], deviation[2]});
}

PatternReading ReadPattern(const PixelView& frame, FrameSize client) {
  PatternReading reading;
  const Frame pixels(frame);
  const Grid grid(client);
  const std::optional<Place> place = FindPlace(pixels, grid);
  if (!place) return reading;
  reading.found = true;
  reading.area = {Rounded(place->horizontal.At(0)), Rounded(place->vertical.At(0)),
                  Rounded(place->horizontal.At(client.width)),
                  Rounded(place->vertical.At(client.height))};
  reading.scaled = place->horizontal.IsScaled() || place->vertical.IsScaled();
  ReadCounter(pixels, grid, *place, reading);
  if (reading.IsCompared()) CompareColours(pixels, grid, reading);
  return reading;
}

}  // namespace quill_apps
