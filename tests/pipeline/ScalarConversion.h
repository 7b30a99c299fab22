#ifndef KXCMS_TESTS_PIPELINE_SCALARCONVERSION_H
#define KXCMS_TESTS_PIPELINE_SCALARCONVERSION_H

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "pipeline/precise/PixelRun.h"
#include "tests/pipeline/ScalarStages.h"

// A conversion pixel by pixel, from memory to memory.

namespace scalar_stages {

/// The number of an IEEE 754 binary16, by its definition.
inline double HalfNumber(std::uint16_t half) {
  const int exponent = half >> 10 & 31, fraction = half & 1023;
  const double sign = half & 0x8000 ? -1 : 1;
  if (exponent == 31) {
    return fraction == 0 ? sign * HUGE_VAL : std::numeric_limits<double>::quiet_NaN();
  }
  return sign *
         (exponent == 0 ? std::ldexp(fraction, -24) : std::ldexp(1024 + fraction, exponent - 25));
}

/// The binary16 next to a number; of two, the even one. Numbers from 65520 on are infinite.
inline std::uint16_t NearestHalf(double x) {
  const auto sign = static_cast<std::uint16_t>(std::signbit(x) ? 0x8000 : 0);
  if (std::isnan(x)) return static_cast<std::uint16_t>(sign | 0x7E00);
  const double magnitude = std::abs(x);
  if (magnitude >= 65520) return static_cast<std::uint16_t>(sign | 0x7C00);
  // Finite halves are numbered in order.
  std::uint16_t low = 0, high = 0x7BFF;
  while (low < high) {
    const auto middle = static_cast<std::uint16_t>((low + high + 1) / 2);
    if (HalfNumber(middle) <= magnitude) {
      low = middle;
    } else {
      high = static_cast<std::uint16_t>(middle - 1);
    }
  }
  if (low == 0x7BFF) return static_cast<std::uint16_t>(sign | low);
  const auto next = static_cast<std::uint16_t>(low + 1);
  const double below = magnitude - HalfNumber(low), above = HalfNumber(next) - magnitude;
  const bool isLow = below < above || (below == above && low % 2 == 0);
  return static_cast<std::uint16_t>(sign | (isLow ? low : next));
}

/// A sample as a value in [0, 1].
inline float ReadSample(SampleType type, const unsigned char* from) {
  std::uint16_t word;
  float number;
  switch (type) {
    case SampleType::kUInt8:
      return static_cast<float>(*from) * (1.0f / 255);
    case SampleType::kUInt16:
      std::memcpy(&word, from, sizeof word);
      return static_cast<float>(word) * (1.0f / 65535);
    case SampleType::kHalf:
      std::memcpy(&word, from, sizeof word);
      return Clip(static_cast<float>(HalfNumber(word)));
    case SampleType::kFloat:
      break;
  }
  std::memcpy(&number, from, sizeof number);
  return Clip(number);
}

inline void WriteSample(SampleType type, float value, unsigned char* to) {
  std::uint16_t word;
  switch (type) {
    case SampleType::kUInt8:
      *to = static_cast<unsigned char>(value * 255 + 0.5f);
      return;
    case SampleType::kUInt16:
      word = static_cast<std::uint16_t>(value * 65535 + 0.5f);
      std::memcpy(to, &word, sizeof word);
      return;
    case SampleType::kHalf:
      word = NearestHalf(value);
      std::memcpy(to, &word, sizeof word);
      return;
    case SampleType::kFloat:
      std::memcpy(to, &value, sizeof value);
      return;
  }
}

inline void ConvertPixel(const Program& program, const SourceRun& source,
                         const DestinationRun& destination, AlphaResult alphaResult,
                         std::ptrdiff_t at) {
  const auto from = [&](int c) { return source.samples[c] + at * source.pixelStride; };
  const auto to = [&](int c) { return destination.samples[c] + at * destination.pixelStride; };
  const bool hasAlpha = source.samples[3] != nullptr,
             givesAlpha = destination.samples[3] != nullptr;
  const bool keepsAlpha = hasAlpha && givesAlpha && alphaResult == AlphaResult::kKept;
  const float alpha = hasAlpha ? ReadSample(source.type, from(3)) : 1;

  Pixel pixel;
  for (int c = 0; c < 3; ++c) pixel[static_cast<std::size_t>(c)] = ReadSample(source.type, from(c));
  float factor = alpha;
  if (hasAlpha && source.isAssociated) {
    factor = alpha > 0 ? alpha : 1;
    for (float& value : pixel) value = Clip(value / factor);
  }
  const bool isInteger =
      destination.type == SampleType::kUInt8 || destination.type == SampleType::kUInt16;
  pixel = Run(isInteger ? program.forIntegers : program.forFloats, pixel);
  if (keepsAlpha && destination.isAssociated) {
    for (float& value : pixel) value = value * factor;
  }
  for (int c = 0; c < 3; ++c) {
    WriteSample(destination.type, pixel[static_cast<std::size_t>(c)], to(c));
  }
  if (!givesAlpha) return;
  if (keepsAlpha && source.type == destination.type) {
    std::memmove(to(3), from(3), static_cast<std::size_t>(SizeOf(source.type)));
  } else {
    WriteSample(destination.type, keepsAlpha ? alpha : 1, to(3));
  }
}

/// What the kernels' `convert` has to do.
inline void Convert(const Program& program, const SourceRun& source,
                    const DestinationRun& destination, AlphaResult alpha, std::int64_t count) {
  for (std::ptrdiff_t at = 0; at < count; ++at) {
    ConvertPixel(program, source, destination, alpha, at);
  }
}

}  // namespace scalar_stages

#endif
