// Stages that work channel by channel. A level's source includes this file inside its own unnamed
// namespace, after Arithmetic.inl. Every function works on `pixels` values, whole vectors of them,
// in place.

struct alignas(64) BlockIndices {
  std::int32_t at[kBlockPixels];
};
struct alignas(64) BlockFloats {
  float at[kBlockPixels];
};

void FollowSamples(const CurveStage& curve, float* values, int pixels) {
  const float factor = curve.factor;
  const std::uint16_t* const samples = curve.values;
  BlockIndices index;
  for (int p = 0; p < pixels; p += kElements) {
    const Floats position = Load<Floats>(values + p) * factor;
    Store(index.at + p, Truncate(position));
  }
  for (int p = 0; p < pixels; p += kElements) {
    const auto [low, high] = ReadNeighbours(samples, index.at + p);
    const Floats fraction = Load<Floats>(values + p) * factor - ToFloats(Load<Ints>(index.at + p));
    Store(values + p, low + fraction * (high - low));
  }
}

void FollowStraight(const CurveStage& curve, float* values, int pixels) {
  const float factor = curve.factor, step = curve.step;
  for (int p = 0; p < pixels; p += kElements) {
    const Floats position = Load<Floats>(values + p) * factor;
    const Floats whole = ToFloats(Truncate(position));
    const Floats low = ToFloats(Truncate(whole * step + 0.5f));
    const Floats high = ToFloats(Truncate((whole + 1.0f) * step + 0.5f));
    Store(values + p, low + (position - whole) * (high - low));
  }
}

// ---- Powers -------------------------------------------------------------------------------------

// Which parabola serves t, from 0 to the table's highest and little more: the float's upper bits.
KXCMS_INLINE Words ParabolaBits(const ParabolaTable& table, Floats t) {
  return Words(Max(t, Splat(table.lowest))) >> (23 - kParabolaBits);
}

// In bytes from the first one.
KXCMS_INLINE Ints ParabolaOffset(const ParabolaTable& table, Floats t) {
  return (Ints(ParabolaBits(table, t)) - table.first) * static_cast<int>(sizeof(Parabola));
}

KXCMS_INLINE Floats FollowParabola(const ParabolaTable& table, const std::int32_t* offsets,
                                   Floats t) {
  const Floats rows[4] = {
      ReadRecords<0>(table.parabolas, offsets), ReadRecords<1>(table.parabolas, offsets),
      ReadRecords<2>(table.parabolas, offsets), ReadRecords<3>(table.parabolas, offsets)};
  const auto [c] = Transpose(rows);
  const Floats u = t - Floats(ParabolaBits(table, t) << (23 - kParabolaBits));
  return c[0] + u * (c[1] + u * c[2]);
}

void RaiseToPower(const CurveStage& curve, float* values, int pixels) {
  const ParabolaTable table = curve.power;
  const float factor = curve.factor;
  BlockIndices offset;
  for (int p = 0; p < pixels; p += kElements) {
    Store(offset.at + p, ParabolaOffset(table, Load<Floats>(values + p) * factor));
  }
  for (int p = 0; p < pixels; p += kElements) {
    const Floats t = Load<Floats>(values + p) * factor;
    Store(values + p, Lower(FollowParabola(table, offset.at + p, t), Splat(1)));
  }
}

void FollowBrokenPower(const CurveStage& stage, float* values, int pixels) {
  const CurveStage curve = stage;
  const auto magnitude = [&curve](Floats t) {
    return Min(Absolute(t), Splat(curve.power.highest));
  };
  BlockIndices offset;
  for (int p = 0; p < pixels; p += kElements) {
    const Floats t = Load<Floats>(values + p) * curve.factor + curve.base;
    Store(offset.at + p, ParabolaOffset(curve.power, magnitude(t)));
  }
  for (int p = 0; p < pixels; p += kElements) {
    const Floats x = Load<Floats>(values + p);
    const Floats t = x * curve.factor + curve.base;
    const Floats power = FollowParabola(curve.power, offset.at + p, magnitude(t));
    const Floats sign = Select(t < 0.0f, Splat(curve.negativeSign), Splat(1));
    const Floats upper = Max(power * sign * curve.scale + curve.shift, Splat(curve.floor));
    const Floats lower = x * curve.slope + curve.offset;
    const Floats y = Clip(Select(x < curve.split, lower, upper));
    Store(values + p, Select(x <= curve.zeroUpTo, Floats{}, y));
  }
}

// ---- Inverses -----------------------------------------------------------------------------------

void UndoSamples(const CurveStage& curve, float* values, int pixels) {
  const float factor = curve.factor, base = curve.base;
  const Floats lowest = Splat(curve.lowest), highest = Splat(curve.highest);
  const std::uint16_t* const segments = curve.segments;
  const Line* const lines = curve.lines;
  // A value that is above a whole number, where the curve may be level, by no more than what
  // rounding brings, is taken for that number.
  constexpr float kRounding = 1.0f / 128;
  BlockIndices index;
  for (int p = 0; p < pixels; p += kElements) {
    const Floats y = Min(Max(Load<Floats>(values + p) * factor + base, lowest), highest);
    const Floats below = y - kRounding;
    const Ints whole = Truncate(Max(below, Floats{}));
    // A mask is -1 where it is set.
    Store(index.at + p, whole - Ints(below > ToFloats(whole)));
    Store(values + p, y);
  }
  for (int p = 0; p < pixels; ++p) index.at[p] = segments[index.at[p]];
  for (int p = 0; p < pixels; p += kElements) {
    const Floats y = Load<Floats>(values + p);
    Store(values + p, Clip(ReadLines(lines, index.at + p, y)));
  }
}

// The floats from 0 to 1 are numbered by their bits. How many fall short of y is found bit by bit.
void SearchInverse(const CurveStage& curve, float* values, int pixels) {
  constexpr std::int32_t kOne = 0x3F800000;
  const float direction = curve.direction, lowest = curve.lowest, highest = curve.highest;
  BlockIndices found;
  for (int p = 0; p < pixels; p += kElements) {
    const Floats y = Min(Max(Load<Floats>(values + p), Splat(lowest)), Splat(highest));
    Store(values + p, y * direction);
    Store(found.at + p, Ints{});
  }
  for (std::int32_t step = 1 << 29; step > 0; step /= 2) {
    const auto last = [&](int p) {
      const Ints number = Load<Ints>(found.at + p) + (step - 1);
      return number > kOne ? Ints{} + kOne : number;
    };
    BlockFloats reached;
    for (int p = 0; p < pixels; p += kElements) Store(reached.at + p, Floats(last(p)));
    FollowBrokenPower(curve, reached.at, pixels);
    for (int p = 0; p < pixels; p += kElements) {
      const Ints fallsShort = Load<Floats>(reached.at + p) * direction < Load<Floats>(values + p);
      Store(found.at + p, Load<Ints>(found.at + p) + (fallsShort & step));
    }
  }
  for (int p = 0; p < pixels; p += kElements) {
    const Ints number = Load<Ints>(found.at + p);
    Store(values + p, Floats(number > kOne ? Ints{} + kOne : number));
  }
}

void Follow(const CurveStage& curve, float* values, int pixels) {
  switch (curve.kind) {
    case CurveKind::kNone:
      return;
    case CurveKind::kSampled:
      return FollowSamples(curve, values, pixels);
    case CurveKind::kStraight:
      return FollowStraight(curve, values, pixels);
    case CurveKind::kPower:
      return RaiseToPower(curve, values, pixels);
    case CurveKind::kBrokenPower:
      return FollowBrokenPower(curve, values, pixels);
    case CurveKind::kInverseSampled:
      return UndoSamples(curve, values, pixels);
    case CurveKind::kInverseSearched:
      return SearchInverse(curve, values, pixels);
  }
}

// ---- Transfer functions of the built-in spaces --------------------------------------------------

KXCMS_INLINE Ints LineIndex(const LineTable& table, Floats key) {
  return Ints(Words(key) >> (23 - kLineBits)) - table.first;
}

// Clips what it takes: the processor waits for lines here, so that costs nothing.
void EncodeClipped(const LineTable& given, float* values, int pixels) {
  const LineTable table = given;
  BlockIndices index;
  for (int p = 0; p < pixels; p += kElements) {
    const Floats x = Lower(Max(Load<Floats>(values + p), Splat(table.lowest)), Splat(1));
    Store(index.at + p, LineIndex(table, x));
  }
  for (int p = 0; p < pixels; p += kElements) {
    const Floats x = Clip(Load<Floats>(values + p));
    Store(values + p, Lower(ReadLines(table.lines, index.at + p, x), Splat(1)));
  }
}

void EncodeOdd(const LineTable& given, float* values, int pixels) {
  const LineTable table = given;
  BlockIndices index;
  for (int p = 0; p < pixels; p += kElements) {
    const Floats x = Absolute(Load<Floats>(values + p));
    Store(index.at + p, LineIndex(table, Min(Max(x, Splat(table.lowest)), Splat(table.highest))));
  }
  for (int p = 0; p < pixels; p += kElements) {
    const Floats x = Load<Floats>(values + p);
    const Floats encoded = ReadLines(table.lines, index.at + p, Absolute(x));
    Store(values + p, Floats(Words(encoded) | (Words(x) & 0x80000000)));
  }
}
