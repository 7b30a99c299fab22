#include "exact/Conversion.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <stdexcept>
#include <string>

#include "exact/Colorimetry.h"
#include "profile/Models.h"

namespace kxcms::exact {

namespace {

bool IsMissing(const Model& model) {
  return model.table == nullptr && model.matrixTrc == nullptr;
}

// ---- Elements with their names ------------------------------------------------------------------

const char* NameOf(const LookupTable& table, std::size_t n) {
  const Element& element = table.elements[n];
  if (std::holds_alternative<ColorGrid>(element)) return "CLUT";
  if (std::holds_alternative<MatrixElement>(element)) return "matrix";
  const auto isGrid = [](const Element& other) { return std::holds_alternative<ColorGrid>(other); };
  const auto begin = table.elements.begin(), end = table.elements.end();
  const auto here = begin + static_cast<std::ptrdiff_t>(n);
  const bool isBeforeGrid = std::any_of(here, end, isGrid);
  const bool isAfterGrid = std::any_of(begin, here, isGrid);
  switch (table.type) {
    case MakeSignature("mAB "):
      if (isBeforeGrid) return "A curves";
      return here + 1 == end ? "B curves" : "M curves";
    case MakeSignature("mBA "):
      if (isAfterGrid) return "A curves";
      return here == begin ? "B curves" : "M curves";
    default:
      return isBeforeGrid ? "input curves" : "output curves";
  }
}

/// @param stages  receives what comes out of each element; null: nobody asks
/// @param first   the element that receives the values
Triple EvaluateTable(const LookupTable& table, Triple values, std::vector<Stage>* stages,
                     std::size_t first = 0) {
  for (std::size_t n = first; n < table.elements.size(); ++n) {
    values = Evaluate(table.elements[n], values);
    if (stages != nullptr) stages->push_back({NameOf(table, n), values});
  }
  return values;
}

struct PcsColor {
  Triple lab;
  Xyz xyz;
};

// ICC.1:2010 F.3.
Triple Linear(const MatrixTrc& model, const Triple& device) {
  return {Evaluate(model.curves[0], device[0]), Evaluate(model.curves[1], device[1]),
          Evaluate(model.curves[2], device[2])};
}

// The curves that a lookup tag begins with; null if it begins with another element.
const CurveSet* FirstCurves(const LookupTable& table) {
  return table.elements.empty() ? nullptr : std::get_if<CurveSet>(&table.elements.front());
}

// What the connection space gets, in the encoding of a lookup tag, of what has passed the first
// curves.
Triple EncodedPcs(const LookupTable& table, const Triple& alone) {
  return EvaluateTable(table, alone, nullptr, FirstCurves(table) == nullptr ? 0 : 1);
}

Xyz ToXyz(const Model& model, const Triple& alone) {
  if (model.table != nullptr) return DecodeXyz(model.table->pcs, EncodedPcs(*model.table, alone));
  return Product(model.matrixTrc->matrix, alone);
}

PcsColor ToPcs(const Model& model, const Triple& device, std::vector<Stage>* stages) {
  if (model.table != nullptr) {
    const Triple encoded = EvaluateTable(*model.table, device, stages);
    const Xyz xyz = DecodeXyz(model.table->pcs, encoded);
    if (model.table->pcs == PcsEncoding::kXyz) return {LabFromXyz(xyz), xyz};
    return {DecodeLab(model.table->pcs, encoded), xyz};
  }
  const Triple linear = Linear(*model.matrixTrc, device);
  const Xyz xyz = Product(model.matrixTrc->matrix, linear);
  if (stages != nullptr) {
    stages->push_back({"curves", linear});
    stages->push_back({"matrix", xyz});
  }
  return {LabFromXyz(xyz), xyz};
}

PcsColor ToPcs(const Model& model, const Triple& device) {
  return ToPcs(model, device, nullptr);
}

// ---- Black points -------------------------------------------------------------------------------

Model RelativeModelToPcs(const DeviceProfile& profile) {
  const Model model = ModelFor(profile, RenderingIntent::kRelative);
  if (IsMissing(model)) {
    throw std::invalid_argument("the black point is unknown: the profile does not lead to the PCS");
  }
  return model;
}

double BlackLightness(const Model& toPcs) {
  return std::clamp(ToPcs(toPcs, {0, 0, 0}).lab[0], 0.0, 50.0);
}

Xyz Grey(double L) {
  return XyzFromLab({L, 0, 0});
}

// ISO 18619: where the parabola through the shadow points, by least squares, leaves 0.
double FootOfParabola(const std::vector<double>& x, const std::vector<double>& y) {
  // The normal equations of y = a x^2 + b x + c.
  Matrix3 normal{};
  Triple right{};
  for (std::size_t n = 0; n < x.size(); ++n) {
    const Triple powers = {x[n] * x[n], x[n], 1};
    for (std::size_t row = 0; row < 3; ++row) {
      for (std::size_t column = 0; column < 3; ++column) {
        normal[3 * row + column] += powers[row] * powers[column];
      }
      right[row] += powers[row] * y[n];
    }
  }
  const auto [a, b, c] = Product(Inverse(normal), right);
  if (std::abs(a) < 1e-10) return -c / b;
  const double discriminant = b * b - 4 * a * c;
  return discriminant <= 0 ? 0 : (-b + std::sqrt(discriminant)) / (2 * a);
}

}  // namespace

Xyz SourceBlackPoint(const DeviceProfile& profile) {
  return Grey(BlackLightness(RelativeModelToPcs(profile)));
}

Xyz DestinationBlackPoint(const DeviceProfile& profile) {
  const Model toPcs = RelativeModelToPcs(profile);
  const Model toDevice = DestinationModelFor(profile, RenderingIntent::kRelative);
  const double initial = BlackLightness(toPcs);
  if (toDevice.table == nullptr) return Grey(initial);

  // Greys through the device and back.
  constexpr std::size_t kGreys = 256;
  std::array<double, kGreys> in, out;
  for (std::size_t n = 0; n < kGreys; ++n) {
    in[n] = 100.0 * static_cast<double>(n) / (kGreys - 1);
    const Triple encoded = EncodeXyz(toDevice.table->pcs, Grey(in[n]));
    out[n] = ToPcs(toPcs, EvaluateTable(*toDevice.table, encoded, nullptr)).lab[0];
  }
  // Rising, if need be by lowering what comes before.
  for (std::size_t n = kGreys - 1; n > 0; --n) out[n - 1] = std::min(out[n - 1], out[n]);
  const double lowest = out.front(), highest = out.back();
  if (lowest >= highest) return Grey(0);

  // Where all greys but the darkest come back nearly as they were, the device does not compress
  // lightness, and its black is what it says it is.
  bool isStraight = true;
  for (std::size_t n = 0; n < kGreys; ++n) {
    const bool isShadow = out[n] <= lowest + 0.2 * (highest - lowest);
    if (!isShadow && std::abs(in[n] - out[n]) >= 4) isStraight = false;
  }
  if (isStraight) return Grey(initial);

  // Otherwise the curve is level at the device's black and then turns upward. A parabola through
  // the points between 10 and 50 % of the range meets the axis about where it turns.
  std::vector<double> shadowIn, shadowOut;
  for (std::size_t n = 0; n < kGreys; ++n) {
    const double y = (out[n] - lowest) / (highest - lowest);
    if (y < 0.1 || y >= 0.5) continue;
    shadowIn.push_back(in[n]);
    shadowOut.push_back(y);
  }
  if (shadowIn.size() < 3) return Grey(0);
  return Grey(std::clamp(FootOfParabola(shadowIn, shadowOut), 0.0, 50.0));
}

// ---- Conversion ---------------------------------------------------------------------------------

namespace {

constexpr const char* kCurveTags[] = {"rTRC", "gTRC", "bTRC"};

// A matrix-based model that leads to the device.
Matrix3 Undo(const MatrixTrc& model) {
  for (std::size_t n = 0; n < 3; ++n) {
    const Invertibility invertibility = CanInvert(model.curves[n]);
    if (invertibility == Invertibility::kInvertible) continue;
    throw std::invalid_argument(
        std::string("the curve ") + kCurveTags[n] + " of the destination " +
        (invertibility == Invertibility::kConstant ? "is constant" : "rises and falls") +
        ", so it cannot be undone");
  }
  const Matrix3 inverse = Inverse(model.matrix);
  for (const double value : inverse) {
    if (!std::isfinite(value)) {
      throw std::invalid_argument(
          "the colorants rXYZ, gXYZ, bXYZ of the destination lie in a plane, "
          "so they cannot be undone");
    }
  }
  return inverse;
}

// To the nearest integer, halves up.
template <typename Integer>
std::array<Integer, 3> Round(const Triple& values, const Triple& scale, double highest) {
  std::array<Integer, 3> rounded;
  for (std::size_t n = 0; n < 3; ++n) {
    const double level = std::clamp(values[n] * scale[n], 0.0, highest);
    rounded[n] = static_cast<Integer>(std::floor(level + 0.5));
  }
  return rounded;
}

void RoundDevice(Trace& trace) {
  trace.result16 = Round<std::uint16_t>(trace.result, {65535, 65535, 65535}, 65535);
  trace.result8 = Round<std::uint8_t>(trace.result, {255, 255, 255}, 255);
}

LinearStages ClipLinear(const Triple& linear) {
  const Triple clipped = Clip(linear);
  return {
      linear, clipped, {linear[0] - clipped[0], linear[1] - clipped[1], linear[2] - clipped[2]}};
}

}  // namespace

Conversion::Conversion(const DeviceProfile& source, const Destination& destination,
                       const Options& options)
    : destination_(destination),
      options_(options),
      sourceModel_(ModelFor(source, options.intent)),
      sourceWhite_(source.mediaWhite),
      destinationWhite_(kPcsWhite) {
  if (IsMissing(sourceModel_)) {
    throw std::invalid_argument("the source profile does not lead to the PCS");
  }
  const bool compensates = options.blackPointCompensation;
  if (compensates) {
    if (options.intent != RenderingIntent::kRelative) {
      throw std::invalid_argument(
          "black point compensation belongs to the relative colorimetric intent");
    }
    sourceBlack_ = SourceBlackPoint(source);
  }
  if (const auto* space = std::get_if<const RgbSpace*>(&destination)) {
    pcsToLinear_ = Inverse(RgbToPcs(**space));
  } else if (const auto* profile = std::get_if<const DeviceProfile*>(&destination)) {
    destinationModel_ = DestinationModelFor(**profile, options.intent);
    if (IsMissing(destinationModel_)) {
      throw std::invalid_argument("the destination profile does not lead from the PCS");
    }
    if (destinationModel_.matrixTrc != nullptr) {
      pcsToLinear_ = Undo(*destinationModel_.matrixTrc);
      for (const Curve& curve : destinationModel_.matrixTrc->curves) undone_.emplace_back(curve);
    }
    destinationWhite_ = (*profile)->mediaWhite;
    if (compensates) destinationBlack_ = DestinationBlackPoint(**profile);
  }
}

Trace Conversion::Evaluate(const Triple& device) const {
  Trace trace;
  trace.device = Clip(device);
  const PcsColor pcs = ToPcs(sourceModel_, trace.device, &trace.sourceStages);
  trace.pcsLab = pcs.lab;
  trace.pcsXyz = pcs.xyz;

  trace.lab = pcs.lab;
  trace.xyz = pcs.xyz;
  if (IsRendered()) {
    trace.xyz = Rendered(pcs.xyz);
    trace.lab = LabFromXyz(trace.xyz);
  }

  if (const auto* space = std::get_if<const RgbSpace*>(&destination_)) {
    ToSpace(**space, trace);
  } else if (std::holds_alternative<const DeviceProfile*>(destination_)) {
    ToProfile(trace);
  } else if (std::get<Measure>(destination_) == Measure::kLab) {
    trace.result = trace.lab;
    trace.result16 =
        Round<std::uint16_t>(EncodeLab(PcsEncoding::kLab, trace.lab), {65535, 65535, 65535}, 65535);
  } else {
    trace.result = trace.xyz;
    trace.result16 = Round<std::uint16_t>(trace.xyz, {32768, 32768, 32768}, 65535);
  }
  return trace;
}

bool Conversion::IsRendered() const {
  return options_.intent == RenderingIntent::kAbsolute || options_.blackPointCompensation;
}

Xyz Conversion::Rendered(const Xyz& xyz) const {
  return options_.intent == RenderingIntent::kAbsolute
             ? ToOtherMedium(xyz, sourceWhite_, destinationWhite_)
             : CompensateBlackPoint(xyz, sourceBlack_, destinationBlack_);
}

Triple Conversion::Encoded(const RgbSpace& space, const Triple& linear) {
  Triple encoded;
  for (std::size_t n = 0; n < 3; ++n) encoded[n] = EncodeTransfer(space.transfer, linear[n]);
  return encoded;
}

Triple Conversion::Encoded(const Triple& linear) const {
  return {undone_[0].At(linear[0]), undone_[1].At(linear[1]), undone_[2].At(linear[2])};
}

Triple Conversion::Alone(const Triple& device) const {
  const Triple clipped = Clip(device);
  if (sourceModel_.table == nullptr) return Linear(*sourceModel_.matrixTrc, clipped);
  const CurveSet* const curves = FirstCurves(*sourceModel_.table);
  return curves == nullptr ? clipped : exact::Evaluate(*curves, clipped);
}

Triple Conversion::ResultOf(const Triple& alone) const {
  const auto* const measure = std::get_if<Measure>(&destination_);
  if (measure != nullptr && *measure == Measure::kLab && sourceModel_.table != nullptr &&
      sourceModel_.table->pcs != PcsEncoding::kXyz && !IsRendered()) {
    return DecodeLab(sourceModel_.table->pcs, EncodedPcs(*sourceModel_.table, alone));
  }
  Xyz xyz = ToXyz(sourceModel_, alone);
  if (IsRendered()) xyz = Rendered(xyz);
  if (measure != nullptr) return *measure == Measure::kLab ? LabFromXyz(xyz) : xyz;
  if (destinationModel_.table != nullptr) {
    const LookupTable& table = *destinationModel_.table;
    return Clip(EvaluateTable(table, EncodeXyz(table.pcs, xyz), nullptr));
  }
  const Triple linear = Product(pcsToLinear_, xyz);
  if (destinationModel_.matrixTrc != nullptr) {
    return Encoded(Clip(linear));
  }
  return Encoded(*std::get<const RgbSpace*>(destination_),
                 options_.unclipped ? linear : Clip(linear));
}

void Conversion::ToSpace(const RgbSpace& space, Trace& trace) const {
  trace.linear = ClipLinear(Product(pcsToLinear_, trace.xyz));
  const Triple& linear = options_.unclipped ? trace.linear->linear : trace.linear->clipped;
  trace.result = Encoded(space, linear);
  RoundDevice(trace);
}

void Conversion::ToProfile(Trace& trace) const {
  if (destinationModel_.table != nullptr) {
    const LookupTable& table = *destinationModel_.table;
    trace.pcsEncoded = EncodeXyz(table.pcs, trace.xyz);
    trace.result = Clip(EvaluateTable(table, *trace.pcsEncoded, &trace.destinationStages));
  } else {
    trace.linear = ClipLinear(Product(pcsToLinear_, trace.xyz));
    trace.result = Encoded(trace.linear->clipped);
  }
  RoundDevice(trace);
}

}  // namespace kxcms::exact
