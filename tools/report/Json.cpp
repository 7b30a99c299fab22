#include "tools/report/Json.h"

#include <cmath>
#include <cstddef>
#include <optional>

#include "tools/report/Guidelines.h"
#include "tools/report/Text.h"

namespace kxcms::report {

namespace {

// Less than the sixth decimal depends on the maths library of the machine.
constexpr int kDecimals = 6;

Json Number(double value) {
  return std::isfinite(value) ? Json(Rounded(value, kDecimals)) : Json(nullptr);
}

Json Number(const std::optional<double>& value) {
  return value ? Number(*value) : Json(nullptr);
}

template <typename T, std::size_t N>
Json Numbers(const std::array<T, N>& values) {
  Json list = Json::array();
  for (const T& value : values) list.push_back(Number(value));
  return list;
}

Json JsonOf(const CurveNumbers& curve) {
  return {{"form", curve.form},
          {"entries", curve.entries},
          {"first", Number(curve.first)},
          {"last", Number(curve.last)},
          {"monotonic", !curve.turnsAt.has_value()},
          {"turnsAt", Number(curve.turnsAt)},
          {"largestStep", Number(curve.largestStep)},
          {"largestStepAt", Number(curve.largestStepAt)},
          {"samples", Numbers(curve.samples)}};
}

Json JsonOf(const std::optional<CurveGroup>& group) {
  if (!group) return nullptr;
  Json curves = Json::array();
  for (const CurveNumbers& curve : group->curves) curves.push_back(JsonOf(curve));
  return {{"name", group->name}, {"curves", curves}};
}

Json JsonOf(const NeutralAxis& axis) {
  Json lab = Json::array();
  for (const Triple& color : axis.lab) lab.push_back(Numbers(color));
  return {{"white", Numbers(axis.white)},
          {"black", Numbers(axis.black)},
          {"largestChroma", Number(axis.largestChroma)},
          {"largestChromaAt", axis.largestChromaAt},
          {"lightnessReversals", axis.lightnessReversals},
          {"lab", lab}};
}

Json JsonOf(const Gamut& gamut) {
  return {{"volume", Number(gamut.volume)},
          {"areas", Numbers(gamut.areas)},
          {"largestChroma", Numbers(gamut.largestChroma)}};
}

Json JsonOf(const std::optional<GridNumbers>& grid) {
  if (!grid) return nullptr;
  Json fold = nullptr;
  if (grid->firstFoldAt) fold = *grid->firstFoldAt;
  return {{"points", grid->points},
          {"bits", grid->bits},
          {"spacingShares",
           {Numbers(grid->spacingShares[0]), Numbers(grid->spacingShares[1]),
            Numbers(grid->spacingShares[2])}},
          {"meanSpacing", Number(grid->meanSpacing)},
          {"largestSpacing", Number(grid->largestSpacing)},
          {"largestSpacingAt", grid->largestSpacingAt},
          {"largestSecondDifference", Number(grid->largestSecondDifference)},
          {"largestSecondDifferenceAt", grid->largestSecondDifferenceAt},
          {"cells", grid->cells},
          {"folds", grid->folds},
          {"firstFoldAt", fold}};
}

Json JsonOf(const Distribution& distribution, const std::array<std::uint8_t, 3>& worst) {
  return {{"mean", Number(distribution.mean)},       {"share90", Number(distribution.share90)},
          {"share95", Number(distribution.share95)}, {"share99", Number(distribution.share99)},
          {"largest", Number(distribution.largest)}, {"largestAt", worst},
          {"shares", Numbers(distribution.shares)}};
}

Json Allowed(const PipelineNumbers& numbers) {
  Json levels = Json::array();
  const Distribution& color = numbers.at8;
  for (const Level& level : Levels()) {
    levels.push_back({{"tone", AllowsTone(level, numbers.tone.largest)},
                      {"color", AllowsColor(level, color.mean, color.share90, color.largest)}});
  }
  return levels;
}

Json JsonOf(const PipelineNumbers& numbers) {
  if (!numbers.refusal.empty()) return {{"refused", Clean(numbers.refusal)}};
  return {{"bits8", JsonOf(numbers.at8, numbers.worst8)},
          {"bits16", JsonOf(numbers.at16, numbers.worst16)},
          {"tone",
           {{"largest", Number(numbers.tone.largest)},
            {"worst", Numbers(numbers.tone.worst)},
            {"error", Numbers(numbers.tone.error)}}},
          {"allowedBy", Allowed(numbers)}};
}

Json JsonOf(const std::optional<RoundTrip>& trip) {
  if (!trip) return nullptr;
  return {{"forward", trip->forward},
          {"back", trip->back},
          {"difference", JsonOf(trip->color, trip->worst)}};
}

Json JsonOf(const Distribution& distribution) {
  return {{"mean", Number(distribution.mean)},       {"share90", Number(distribution.share90)},
          {"share95", Number(distribution.share95)}, {"share99", Number(distribution.share99)},
          {"largest", Number(distribution.largest)}, {"shares", Numbers(distribution.shares)}};
}

Json JsonOf(const ComparedNumbers& numbers) {
  return {{"name", Clean(numbers.name)},
          {"colors", numbers.colors},
          {"difference", JsonOf(numbers.color, numbers.worst)},
          {"labOfFirst", Numbers(numbers.first)},
          {"labOfSecond", Numbers(numbers.second)}};
}

Json JsonOf(const ChartNumbers& chart) {
  Json patches = Json::array();
  for (const PatchNumbers& patch : chart.patches) {
    patches.push_back({{"name", patch.patch.name},
                       {"device", Numbers(patch.patch.device)},
                       {"measured", Numbers(patch.patch.lab)},
                       {"lab", Numbers(patch.lab)},
                       {"difference", Number(patch.difference)}});
  }
  return {{"name", Clean(chart.name)},
          {"count", chart.patches.size()},
          {"difference", JsonOf(chart.color)},
          {"greys", chart.greys},
          {"tone", Number(chart.tone)},
          {"colorStars", chart.colorStars},
          {"toneStars", chart.toneStars ? Json(*chart.toneStars) : Json(nullptr)},
          {"stars", chart.stars},
          {"precise", JsonOf(chart.precise)},
          {"fixed", chart.fixed ? JsonOf(*chart.fixed) : Json(nullptr)},
          {"patches", patches}};
}

Json JsonOf(const ImageNumbers& image) {
  const double pixels = static_cast<double>(image.width) * image.height;
  const auto share = [pixels](std::uint64_t count) {
    return Number(static_cast<double>(count) / pixels);
  };
  Json channels = Json::array(), swatches = Json::array();
  for (const ChannelNumbers& channel : image.channels) {
    channels.push_back({{"levelsBefore", channel.levelsBefore},
                        {"levelsAfter", channel.levelsAfter},
                        {"clippedLow", share(channel.clippedLow)},
                        {"clippedHigh", share(channel.clippedHigh)},
                        {"before", channel.before},
                        {"after", channel.after}});
  }
  for (const SwatchNumbers& swatch : image.swatches) {
    swatches.push_back(
        {{"at", {swatch.x, swatch.y}}, {"before", swatch.before}, {"after", swatch.after}});
  }
  return {{"name", Clean(image.name)},
          {"pages", image.pages},
          {"width", image.width},
          {"height", image.height},
          {"bits", image.bits},
          {"channels", channels},
          {"outOfGamut", share(image.outOfGamut)},
          {"swatches", swatches}};
}

Json GuidelinesJson() {
  Json levels = Json::array();
  for (const Level& level : Levels()) {
    levels.push_back({{"guideline", level.guideline},
                      {"level", level.name},
                      {"tone", level.tone},
                      {"mean", level.mean},
                      {"share90", Number(level.share90)},
                      {"largest", Number(level.largest)},
                      {"below", level.below}});
  }
  return levels;
}

}  // namespace

Json JsonOf(const ProfileReport& report) {
  const ProfileNumbers& numbers = report.numbers;
  Json charts = Json::array(), images = Json::array();
  for (const ChartNumbers& chart : report.charts) charts.push_back(JsonOf(chart));
  for (const ImageNumbers& image : report.images) images.push_back(JsonOf(image));
  Json intents = Json::array();
  for (const IntentPair& pair : numbers.intents) {
    intents.push_back({{"first", NameOf(pair.first)},
                       {"second", NameOf(pair.second)},
                       {"mean", Number(pair.color.mean)},
                       {"largest", Number(pair.color.largest)},
                       {"shares", Numbers(pair.color.shares)}});
  }
  return {{"name", Clean(numbers.name)},
          {"description", Clean(numbers.description)},
          {"version", numbers.version},
          {"class", numbers.deviceClass},
          {"pcs", numbers.pcs},
          {"sizeBytes", numbers.sizeBytes},
          {"mediaWhite", Numbers(numbers.mediaWhite)},
          {"intent", NameOf(numbers.intent)},
          {"destination", Clean(numbers.destination)},
          {"tag", numbers.tag},
          {"isFallback", numbers.isFallback},
          {"inputCurves", JsonOf(numbers.input)},
          {"outputCurves", JsonOf(numbers.output)},
          {"neutral", JsonOf(numbers.neutral)},
          {"gamut", JsonOf(numbers.gamut)},
          {"destinationGamut", JsonOf(numbers.destinationGamut)},
          {"shareInside", Number(numbers.shareInside)},
          {"grid", JsonOf(numbers.grid)},
          {"colors", numbers.colors},
          {"precise", JsonOf(numbers.precise)},
          {"fixed", JsonOf(numbers.fixed)},
          {"roundTrip", JsonOf(numbers.roundTrip)},
          {"intents", intents},
          {"compared", report.compared ? JsonOf(*report.compared) : Json(nullptr)},
          {"charts", charts},
          {"images", images}};
}

Json Document(std::span<const ProfileReport> profiles, const char* version) {
  Json list = Json::array();
  for (const ProfileReport& report : profiles) list.push_back(JsonOf(report));
  return {
      {"kxcms", version},        {"toneLevels", kToneLevels},      {"cutLightness", kCutLightness},
      {"cutHueDeg", kCutHueDeg}, {"guidelines", GuidelinesJson()}, {"profiles", list}};
}

}  // namespace kxcms::report
