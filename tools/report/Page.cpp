#include "tools/report/Page.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/report/Guidelines.h"
#include "tools/report/Plot.h"
#include "tools/report/Text.h"

namespace kxcms::report {

namespace {

constexpr const char* kStyle = R"(
:root { color-scheme: light dark; }
body { font: 15px/1.45 sans-serif; max-width: 62rem; margin: 2rem auto; padding: 0 1rem;
  color: #222; background: #fff; }
h1 { font-size: 1.6rem; } h2 { font-size: 1.35rem; margin-top: 2.5rem; border-top: 2px solid #888;
  padding-top: .8rem; overflow-wrap: anywhere; } h3 { font-size: 1.1rem; margin: 1.6rem 0 .3rem; }
p { margin: .3rem 0 .6rem; max-width: 46rem; }
.how { color: #555; }
.plots { display: grid; grid-template-columns: repeat(auto-fill, minmax(min(100%, 24rem), 1fr));
  gap: .6rem; }
.plots svg { width: 100%; height: auto; max-width: 32rem; }
.scroll { overflow-x: auto; }
table { border-collapse: collapse; margin: .5rem 0; font-size: .9rem; }
th, td { border-bottom: 1px solid #ccc; padding: .2rem .7rem; text-align: right;
  vertical-align: top; font-variant-numeric: tabular-nums; }
th:first-child, td:first-child { text-align: left; padding-left: 0; }
th { font-weight: 600; }
.pictures { display: flex; flex-wrap: wrap; gap: 1rem; margin: .5rem 0; }
figure { margin: 0; } figcaption { font-size: .9rem; }
.pictures img { width: 16rem; height: auto; image-rendering: pixelated; }
.facts td, .facts th { text-align: left; overflow-wrap: anywhere; }
@media (prefers-color-scheme: dark) {
  body { color: #ddd; background: #181818; } .how { color: #aaa; }
  th, td { border-color: #444; }
  svg.plot { fill: #ddd; } svg.plot .axes { stroke: #ccc; } svg.plot .grid { stroke: #3a3a3a; }
}
@media print {
  body { color: #000; background: #fff; margin: 0; max-width: none; font-size: 10pt; }
  .how { color: #333; }
  section, figure, tr, .plots svg { break-inside: avoid; } h2 { break-before: page; }
  h3 { break-after: avoid; }
  svg.plot { fill: #333; } svg.plot .axes { stroke: #333; } svg.plot .grid { stroke: #ddd; }
}
)";

constexpr std::array<const char*, 3> kChannels = {"R", "G", "B"};
constexpr std::array<Pen, 3> kChannelPens = {pens::kRed, pens::kGreen, pens::kBlue};

// ---- Pieces of HTML -----------------------------------------------------------------------------

std::string Element(const std::string& tag, const std::string& content) {
  return "<" + tag + ">" + content + "</" + tag.substr(0, tag.find(' ')) + ">\n";
}

std::string Row(const char* cell, const std::vector<std::string>& cells) {
  std::string row = "<tr>";
  for (const std::string& content : cells) {
    row += std::string("<") + cell + ">" + content + "</" + cell + ">";
  }
  return row + "</tr>\n";
}

class Table {
 public:
  /// @param at  a list of the document, if the rows are its elements and have no `data` in them
  explicit Table(const std::vector<std::string>& heads, const char* name = "numbers",
                 const std::string& at = "")
      : begin_(std::string("<table class=\"") + name + (at.empty() ? "" : "\" data-at=\"" + at) +
               "\">\n"),
        rows_(Row("th", heads)) {}
  void Add(const std::vector<std::string>& cells) { rows_ += Row("td", cells); }
  std::string Html() const {
    return "<div class=\"scroll\">" + begin_ + rows_ + "</table></div>\n";
  }

 private:
  std::string begin_, rows_;
};

std::string Plots(const std::string& svgs) {
  return "<div class=\"plots\">\n" + svgs + "</div>\n";
}

// ---- Numbers of the document --------------------------------------------------------------------

// A place in the document, from which others are told.
class Place {
 public:
  Place(const Json& document, std::string pointer)
      : document_(document), pointer_(std::move(pointer)) {}

  Place operator/(const std::string& key) const { return {document_, pointer_ + "/" + key}; }
  Place operator/(std::size_t index) const { return *this / std::to_string(index); }
  const Json& value() const { return document_.at(Json::json_pointer(pointer_)); }
  const std::string& pointer() const { return pointer_; }

  /// The number here, `scale` times as large for people.
  std::string Shown(int decimals, double scale = 1) const {
    const Json& number = value();
    const std::string text =
        number.is_null() ? "\xE2\x80\x93" : Fixed(scale * number.get<double>(), decimals);
    return "<data value=\"" + number.dump() + "\" data-at=\"" + pointer_ +
           (scale == 1 ? "" : "\" data-scale=\"" + Fixed(scale, 0)) + "\">" + text + "</data>";
  }
  /// All numbers of a short list here.
  std::string ShownList(int decimals, const char* between = ", ") const {
    std::string text;
    for (std::size_t n = 0; n < value().size(); ++n) {
      text += (n == 0 ? "" : between) + (*this / n).Shown(decimals);
    }
    return value().empty() ? "\xE2\x80\x93" : text;
  }
  std::string Text() const { return "<bdi>" + Escaped(value().get<std::string>()) + "</bdi>"; }

 private:
  const Json& document_;
  std::string pointer_;
};

// ---- Axes ---------------------------------------------------------------------------------------

// The distance of ticks, 1, 2 or 5 times a power of ten, that divides a range into 5 parts or more.
double TickOf(double range) {
  constexpr double kFewest = 5;
  const double power = std::pow(10.0, std::floor(std::log10(range / kFewest)));
  for (const double step : {5.0, 2.0}) {
    if (range / (step * power) >= kFewest) return step * power;
  }
  return power;
}

// Around 0, wide enough for `largest`, and no narrower than `least`, nor wider than any colour.
Axis Around0(const std::string& label, double largest, double least) {
  constexpr double kWidest = 200;
  const double wanted = std::isfinite(largest) ? std::clamp(1.05 * largest, least, kWidest) : least;
  const double tick = TickOf(2 * wanted);
  const double end = tick * std::ceil(wanted / tick);
  return {label, -end, end, tick};
}

const Axis kDeviceAxis = {"device value R = G = B (0 to 255)", 0, 255, 51};
const Axis kLightnessAxis = {"L*", 0, 100, 20};

// ---- Sections -----------------------------------------------------------------------------------

std::string FactsOf(const ProfileNumbers& numbers, const Place& at) {
  const std::string model =
      numbers.tag == "matrix" ? "matrix and tone curves" : "tag " + numbers.tag;
  const std::string fallback = numbers.isFallback ? ", for want of the tag of this intent" : "";
  Table table({"Profile", ""}, "facts");
  const auto add = [&table](const char* what, const std::string& text) { table.Add({what, text}); };
  add("Description", (at / "description").Text());
  add("Version, class, connection space",
      Escaped(numbers.version) + ", " + Escaped(numbers.deviceClass) + ", " + Escaped(numbers.pcs));
  add("Size in bytes", (at / "sizeBytes").Shown(0));
  add("Media white XYZ", (at / "mediaWhite").ShownList(4));
  add("Intent of this report",
      std::string(NameOf(numbers.intent)) + ": " + Escaped(model + fallback));
  add("Destination", Escaped(numbers.destination));
  return table.Html();
}

std::string CurvesSection(const char* title, const char* name,
                          const std::optional<CurveGroup>& group, const Place& at) {
  if (!group) return "";
  Plot plot(name, title, {"input (0 to 1)", 0, 1, 0.2}, {"output (0 to 1)", 0, 1, 0.2});
  Table table({"Channel", "Form", "Entries", "At 0", "At 1", "Monotonic", "Largest step", "at"});
  for (std::size_t n = 0; n < 3; ++n) {
    const CurveNumbers& curve = group->curves[n];
    std::vector<Point> points;
    for (std::size_t i = 0; i < curve.samples.size(); ++i) {
      points.push_back({static_cast<double>(i) / static_cast<double>(curve.samples.size() - 1),
                        curve.samples[i]});
    }
    plot.Line(points, kChannelPens[n], kChannels[n]);
    const Place here = at / "curves" / n;
    table.Add({kChannels[n], Escaped(curve.form),
               curve.entries == 0 ? "formula" : (here / "entries").Shown(0),
               (here / "first").Shown(4), (here / "last").Shown(4),
               curve.turnsAt ? "no: turns at " + (here / "turnsAt").Shown(4) : "yes",
               (here / "largestStep").Shown(5), (here / "largestStepAt").Shown(4)});
  }
  // The element has a name of its own where it is not called so already.
  const bool isCalledSo = group->name == "input curves" || group->name == "output curves";
  const std::string element = isCalledSo ? "" : ": " + Escaped(group->name);
  return "<section>\n" + Element("h3", std::string(title) + element) +
         Element("p class=\"how\"",
                 "How to read it: a smooth line that only rises keeps every level apart; a level "
                 "stretch merges levels, a jump tears them apart. The largest step is between "
                 "neighbouring entries, of a formula between 256 places.") +
         Plots(plot.Svg()) + table.Html() + "</section>\n";
}

std::string NeutralSection(const ProfileNumbers& numbers, const Place& at) {
  const NeutralAxis& axis = numbers.neutral;
  std::array<std::vector<Point>, 3> lines;
  for (std::size_t n = 0; n < axis.lab.size(); ++n) {
    for (std::size_t i = 0; i < 3; ++i) {
      lines[i].push_back({static_cast<double>(n), axis.lab[n][i]});
    }
  }
  Plot lightness("neutral-lightness", "L* of device greys", kDeviceAxis, kLightnessAxis);
  lightness.Line(lines[0], pens::kPlain, "L*");
  Plot tint("neutral-tint", "a* and b* of device greys", kDeviceAxis,
            Around0("a*, b*", axis.largestChroma, 1));
  tint.Line(lines[1], pens::kRed, "a*");
  tint.Line(lines[2], pens::kBlue, "b*");
  Table table({"", "L*", "a*", "b*"});
  for (const char* end : {"white", "black"}) {
    const Place here = at / end;
    table.Add({std::string("Device ") + end, (here / 0).Shown(2), (here / 1).Shown(2),
               (here / 2).Shown(2)});
  }
  return "<section>\n" + Element("h3", "Neutral axis") +
         Element("p class=\"how\"",
                 "How to read it: L* should rise without a bend or a step back; a* and b* tell how "
                 "far equal device values are from neutral.") +
         Plots(lightness.Svg() + tint.Svg()) + table.Html() +
         Element("p", "Largest C* " + (at / "largestChroma").Shown(2) + " at device value " +
                          (at / "largestChromaAt").Shown(0) + ". Steps at which L* falls: " +
                          (at / "lightnessReversals").Shown(0) + ".") +
         "</section>\n";
}

std::string ToneSection(const ProfileNumbers& numbers, const Place& at, const Place& levels) {
  const auto points = [&numbers](const ToneError& tone) {
    std::vector<Point> line;
    for (std::size_t n = 0; n < tone.error.size(); ++n) {
      line.push_back({numbers.neutral.lab[n][0], tone.error[n]});
    }
    return line;
  };
  const bool hasFixed = numbers.fixed.refusal.empty();
  const double largest =
      std::max(numbers.precise.tone.largest, hasFixed ? numbers.fixed.tone.largest : 0);
  // Wide enough to tell the lines from 0, and for the tightest of the bands.
  Plot plot("tone", "Error of lightness after conversion to 8 bits",
            {"L* of the profile", 0, 100, 20},
            Around0("L* of the result less L* of the profile", largest, 2));
  for (const Level& level : Levels()) {
    const bool isFadgi = std::string_view(level.guideline) == Levels().front().guideline;
    if (isFadgi) plot.Band(-level.tone, level.tone, "#2a9442", 0.1);
  }
  plot.Line(points(numbers.precise.tone), pens::kViolet, "PRECISE");
  if (hasFixed) plot.Line(points(numbers.fixed.tone), pens::kOrange, "FIXED");

  std::vector<std::string> heads = {"Worst error of L* near"};
  for (std::size_t n = 0; n < kToneLevels.size(); ++n) heads.push_back((levels / n).Shown(0));
  heads.push_back("anywhere");
  Table table(heads);
  const auto add = [&table](const char* name, const Place& tone) {
    std::vector<std::string> cells = {name};
    for (std::size_t n = 0; n < kToneLevels.size(); ++n) {
      cells.push_back((tone / "worst" / n).Shown(3));
    }
    cells.push_back((tone / "largest").Shown(3));
    table.Add(cells);
  };
  add("PRECISE", at / "precise" / "tone");
  if (hasFixed) add("FIXED", at / "fixed" / "tone");
  return "<section>\n" + Element("h3", "Tone error of the conversion") +
         Element(
             "p class=\"how\"",
             "How to read it: the 256 device greys, converted to the destination with 8 bits; a "
             "line at 0 keeps every lightness, and the green bands, narrowest and darkest "
             "first, are what FADGI allows for four to one stars. What the destination cannot "
             "show lighter or darker is among the errors.") +
         Plots(plot.Svg()) + table.Html() + "</section>\n";
}

// The largest C* of all cuts.
double ReachOf(const Gamut& gamut) {
  double reach = *std::max_element(gamut.largestChroma.begin(), gamut.largestChroma.end());
  for (const std::vector<Segment>& cut : gamut.atLightness) {
    for (const auto& [from, to] : cut) reach = std::max(reach, std::hypot(from.x, from.y));
  }
  return reach;
}

std::string GamutSection(const ProfileNumbers& numbers, const Place& at, const Json& document) {
  const Place root(document, "");
  std::string cuts, hues;
  Table lightnessTable({"At L*", "Area of the profile", "Area of the destination"});
  Table hueTable({"At hue angle (degrees)", "Largest C* of the profile", "of the destination"});
  const double reach = std::max(ReachOf(numbers.gamut), ReachOf(numbers.destinationGamut));
  const Axis a = Around0("a*", reach, 20), b = Around0("b*", reach, 20);
  const Axis chroma = {"C*", 0, a.high, a.tick};
  for (std::size_t n = 0; n < kCutLightness.size(); ++n) {
    const std::string place = "L* " + Fixed(kCutLightness[n], 0);
    Plot plot("gamut-lightness", "Gamut at " + place, a, b, Shape::kSquare);
    plot.Lines(numbers.destinationGamut.atLightness[n], pens::kDestination, "destination");
    plot.Lines(numbers.gamut.atLightness[n], pens::kViolet, "profile at " + place);
    cuts += plot.Svg();
    lightnessTable.Add({(root / "cutLightness" / n).Shown(0), (at / "gamut" / "areas" / n).Shown(0),
                        (at / "destinationGamut" / "areas" / n).Shown(0)});
  }
  for (std::size_t n = 0; n < kCutHueDeg.size(); ++n) {
    const std::string place = Fixed(kCutHueDeg[n], 0) + "\xC2\xB0";
    Plot plot("gamut-hue", "Gamut at hue angle " + place, chroma, kLightnessAxis);
    plot.Lines(numbers.destinationGamut.atHue[n], pens::kDestination, "destination");
    plot.Lines(numbers.gamut.atHue[n], pens::kViolet, "profile at " + place);
    hues += plot.Svg();
    hueTable.Add({(root / "cutHueDeg" / n).Shown(0), (at / "gamut" / "largestChroma" / n).Shown(1),
                  (at / "destinationGamut" / "largestChroma" / n).Shown(1)});
  }
  return "<section>\n" + Element("h3", "Gamut") +
         Element(
             "p class=\"how\"",
             "How to read it: where the violet line, the surface of the device's cube of values "
             "in Lab with the relative intent, leaves the dashed one, colours of the device "
             "are cut off in the destination.") +
         Element("p", "Volume in cubic units of Lab: profile " +
                          (at / "gamut" / "volume").Shown(0) + ", destination " +
                          (at / "destinationGamut" / "volume").Shown(0) +
                          ". Of the profile's gamut the destination can show " +
                          (at / "shareInside").Shown(1, 100) + " %.") +
         Plots(cuts) + lightnessTable.Html() + Plots(hues) + hueTable.Html() + "</section>\n";
}

// The share of colours below a difference, over its logarithm.
std::vector<Point> CumulativeShare(const std::array<double, 101>& shares) {
  constexpr double kNearZero = 1e-9;
  std::vector<Point> line;
  for (std::size_t percent = 0; percent <= 100; ++percent) {
    line.push_back(
        {std::log10(std::max(shares[percent], kNearZero)), static_cast<double>(percent)});
  }
  return line;
}

std::vector<Point> CumulativeShare(const Distribution& distribution) {
  return CumulativeShare(distribution.shares);
}

std::string GridSection(const ProfileNumbers& numbers, const Place& at) {
  if (!numbers.grid) return "";
  Plot plot("grid", "Distance of neighbouring nodes along each axis",
            {"power of ten of the distance in Lab (0: 1, 1: 10)", -3, 2, 1},
            {"share of neighbours with at most that, in %", 0, 100, 20});
  for (std::size_t n = 0; n < 3; ++n) {
    plot.Line(CumulativeShare(numbers.grid->spacingShares[n]), kChannelPens[n],
              std::string("along ") + kChannels[n]);
  }
  Table table({"Grid", "", "at node (R, G, B)"});
  table.Add({"Points", (at / "points").ShownList(0, " \xC3\x97 "), ""});
  table.Add({"Bits of a value", (at / "bits").Shown(0), ""});
  table.Add({"Mean distance of neighbours", (at / "meanSpacing").Shown(3), ""});
  table.Add({"Largest distance of neighbours", (at / "largestSpacing").Shown(3),
             (at / "largestSpacingAt").ShownList(0)});
  table.Add({"Largest second difference", (at / "largestSecondDifference").Shown(3),
             (at / "largestSecondDifferenceAt").ShownList(0)});
  table.Add({"Cells", (at / "cells").Shown(0), ""});
  table.Add({"Folded cells", (at / "folds").Shown(0),
             numbers.grid->firstFoldAt ? "first " + (at / "firstFoldAt").ShownList(0) : ""});
  return "<section>\n" + Element("h3", "Colour grid") +
         Element(
             "p class=\"how\"",
             "How to read it: a line that rises steeply belongs to an axis whose nodes lie equally "
             "far apart in Lab, by Euclidean distance; a large second difference is a sharp bend, "
             "and a folded cell turns colours the other way round than most, so that more device "
             "value becomes less colour.") +
         Plots(plot.Svg()) + table.Html() + "</section>\n";
}

const Axis kDifferenceAxis = {"power of ten of CIEDE2000 (0: 1, -1: 0.1, -2: 0.01)", -5, 2, 1};
const Axis kShareAxis = {"share of colours with at most that, in %", 0, 100, 20};

std::vector<std::string> DifferenceHeads(const char* first) {
  return {first, "mean", "90 %", "95 %", "99 %", "largest", "at device values"};
}

std::vector<std::string> DifferenceCells(const std::string& name, const Place& at, int decimals) {
  std::vector<std::string> cells = {name};
  for (const char* key : {"mean", "share90", "share95", "share99", "largest"}) {
    cells.push_back((at / key).Shown(decimals));
  }
  cells.push_back((at / "largestAt").ShownList(0));
  return cells;
}

std::string AccuracySection(const ProfileNumbers& numbers, const Place& at) {
  const bool hasFixed = numbers.fixed.refusal.empty();
  Plot plot("accuracy", "Difference of the conversion from the exact one", kDifferenceAxis,
            kShareAxis);
  Table table(DifferenceHeads("CIEDE2000 from exact"));
  plot.Line(CumulativeShare(numbers.precise.at16), {pens::kViolet.color, "5 3"}, "PRECISE 16");
  plot.Line(CumulativeShare(numbers.precise.at8), pens::kViolet, "PRECISE 8");
  table.Add(DifferenceCells("PRECISE, 16 bits", at / "precise" / "bits16", 5));
  table.Add(DifferenceCells("PRECISE, 8 bits", at / "precise" / "bits8", 5));
  std::string refusal;
  if (hasFixed) {
    plot.Line(CumulativeShare(numbers.fixed.at16), {pens::kOrange.color, "5 3"}, "FIXED 16");
    plot.Line(CumulativeShare(numbers.fixed.at8), pens::kOrange, "FIXED 8");
    table.Add(DifferenceCells("FIXED, 16 bits", at / "fixed" / "bits16", 5));
    table.Add(DifferenceCells("FIXED, 8 bits", at / "fixed" / "bits8", 5));
  } else {
    refusal = Element("p", "FIXED does not convert this: " + (at / "fixed" / "refused").Text());
  }
  return "<section>\n" + Element("h3", "Accuracy of the conversion") +
         Element("p class=\"how\"",
                 "How to read it: the farther left a line rises, the nearer the results are to the "
                 "evaluation of the same profile in double precision, which is what exact means "
                 "here; with 8 bits most of the difference is rounding.") +
         Element("p", "Over " + (at / "colors").Shown(0) +
                          " colours at equal distances of device "
                          "values, converted to the destination.") +
         Plots(plot.Svg()) + table.Html() + refusal + "</section>\n";
}

std::string GuidelineSection(const ProfileNumbers& numbers, const Place& at, const Json& document) {
  const bool hasFixed = numbers.fixed.refusal.empty();
  std::vector<std::string> heads = {"Guideline", "Level",   "Tone (L*)", "Mean",
                                    "90 %",      "Largest", "PRECISE"};
  if (hasFixed) heads.emplace_back("FIXED");
  Table table(heads);
  const auto allowed = [&at](const char* pipeline, std::size_t n) -> std::string {
    const Json& level = (at / pipeline / "allowedBy" / n).value();
    const bool tone = level.at("tone"), color = level.at("color");
    return tone && color ? "yes" : tone ? "not colour" : color ? "not tone" : "no";
  };
  for (std::size_t n = 0; n < Levels().size(); ++n) {
    const Level& level = Levels()[n];
    const Place here = Place(document, "/guidelines") / n;
    const std::string sign = level.below ? "&lt; " : "&#x2264; ";
    const auto limit = [&](const char* key, bool is) {
      return is ? sign + (here / key).Shown(1) : std::string();
    };
    std::vector<std::string> cells = {level.guideline,
                                      level.name,
                                      limit("tone", true),
                                      limit("mean", true),
                                      limit("share90", level.share90.has_value()),
                                      limit("largest", level.largest.has_value()),
                                      allowed("precise", n)};
    if (hasFixed) cells.push_back(allowed("fixed", n));
    table.Add(cells);
  }
  return "<section>\n" + Element("h3", "What the conversion leaves of the guidelines' tolerances") +
         Element("p class=\"how\"",
                 "How to read it: the bands of three guidelines, as a published comparison of the "
                 "three gives them, and whether the conversion to 8 bits alone, in tone and "
                 "colour, keeps within them. They are meant for a whole capture: a profile without "
                 "its chart cannot tell how a scanner measures up to them.") +
         table.Html() + "</section>\n";
}

std::string RoundTripSection(const ProfileNumbers& numbers, const Place& at) {
  if (!numbers.roundTrip) return "";
  const RoundTrip& trip = *numbers.roundTrip;
  Plot plot("round-trip", "Difference after the way to the connection space and back",
            kDifferenceAxis, kShareAxis);
  plot.Line(CumulativeShare(trip.color), pens::kViolet, "round trip");
  Table table(DifferenceHeads("CIEDE2000"));
  table.Add(DifferenceCells(Escaped(trip.forward + ", " + trip.back), at / "difference", 3));
  return "<section>\n" + Element("h3", "Round trip") +
         Element("p class=\"how\"",
                 "How to read it: colours of the device went to Lab, back to the device and to Lab "
                 "again, with the relative intent; the farther left the line rises, the better the "
                 "profile's two directions agree.") +
         Plots(plot.Svg()) + table.Html() + "</section>\n";
}

std::string IntentSection(const ProfileNumbers& numbers, const Place& at) {
  constexpr std::array<Pen, 6> kPens = {pens::kRed,    pens::kGreen,  pens::kBlue,
                                        pens::kViolet, pens::kOrange, pens::kPlain};
  Plot plot("intents", "Difference between what the intents make of the same device values",
            kDifferenceAxis, kShareAxis);
  Table table({"Intents", "mean", "largest"});
  for (std::size_t n = 0; n < numbers.intents.size(); ++n) {
    const IntentPair& pair = numbers.intents[n];
    // Two letters name a line, for there are six of them.
    const std::string letters = {NameOf(pair.first)[0], '-', NameOf(pair.second)[0]};
    plot.Line(CumulativeShare(pair.color), kPens[n % kPens.size()], letters);
    table.Add({std::string(NameOf(pair.first)) + ", " + NameOf(pair.second),
               (at / n / "mean").Shown(3), (at / n / "largest").Shown(3)});
  }
  return "<section>\n" + Element("h3", "Intents beside one another") +
         Element(
             "p class=\"how\"",
             "How to read it: the difference, in CIEDE2000, of what two intents, named by their "
             "first letters, make of the same device values in Lab; a line that is not seen is "
             "at 0, as it is where both use the same tag.") +
         Plots(plot.Svg()) + table.Html() + "</section>\n";
}

// ---- Another profile ----------------------------------------------------------------------------

std::string ComparedSection(const std::optional<ComparedNumbers>& compared, const Place& at) {
  if (!compared) return "";
  Plot plot("compared", "Difference between the two profiles", kDifferenceAxis, kShareAxis);
  plot.Line(CumulativeShare(compared->color), pens::kViolet, "the two profiles");
  Table table(DifferenceHeads("CIEDE2000"));
  table.Add(DifferenceCells((at / "name").Text(), at / "difference", 3));
  Table colors({"There", "L*", "a*", "b*"});
  for (const auto& [name, key] :
       {std::pair("this profile", "labOfFirst"), std::pair("the other", "labOfSecond")}) {
    const Place here = at / key;
    colors.Add({name, (here / 0).Shown(2), (here / 1).Shown(2), (here / 2).Shown(2)});
  }
  return "<section>\n" + Element("h3", "Beside " + (at / "name").Text()) +
         Element(
             "p class=\"how\"",
             "How to read it: what the two profiles make of the same device values in Lab, with "
             "the intent of this report; the farther left the line rises, the more alike they "
             "are.") +
         Element("p", "Over " + (at / "colors").Shown(0) +
                          " colours at equal distances of device values.") +
         Plots(plot.Svg()) + table.Html() + colors.Html() + "</section>\n";
}

// ---- Charts -------------------------------------------------------------------------------------

// Of patches, in the tables of a page: each takes some 130 bytes.
constexpr std::size_t kMostRows = 4000;

// One patch a row, in short: a page has to hold thousands of them.
std::string PatchTable(const ChartNumbers& chart, const Place& at, std::size_t rows) {
  const auto list = [](const Triple& values, double scale) {
    std::string text;
    for (const double value : values) text += (text.empty() ? "" : ", ") + Fixed(scale * value, 1);
    return text;
  };
  Table table(
      {"Patch", "R, G, B in %", "measured L*, a*, b*", "L*, a*, b* of the profile", "CIEDE2000"},
      "patches", at.pointer());
  for (std::size_t n = 0; n < rows; ++n) {
    const PatchNumbers& numbers = chart.patches[n];
    table.Add({"<bdi>" + Escaped(numbers.patch.name) + "</bdi>", list(numbers.patch.device, 100),
               list(numbers.patch.lab, 1), list(numbers.lab, 1), Fixed(numbers.difference, 2)});
  }
  const std::string left =
      rows == chart.patches.size()
          ? ""
          : Element("p", "These are the " + std::to_string(rows) +
                             " patches with the largest differences, as many as the page has room "
                             "for; the JSON document has all.");
  return table.Html() + left;
}

// @param rows  that its table of patches may have
std::string ChartSection(const ChartNumbers& chart, const Place& at, std::size_t rows) {
  const std::size_t count = chart.patches.size();
  const double largest = std::clamp(chart.color.largest, 1.0, 200.0);
  const double tick = TickOf(largest);
  Plot sorted("chart", "CIEDE2000 of the patches, sorted",
              {"patches, the largest difference first, in %", 0, 100, 20},
              {"CIEDE2000", 0, tick * std::ceil(largest / tick), tick});
  // Each patch is a step; of very many only some are drawn, for they are narrower than the line.
  constexpr std::size_t kMostSteps = 2000;
  const std::size_t together = (count + kMostSteps - 1) / kMostSteps;
  std::vector<Point> line;
  for (std::size_t n = 0; n < count; n += together) {
    const double first = 100 * static_cast<double>(n) / static_cast<double>(count);
    const double next =
        100 * static_cast<double>(std::min(n + together, count)) / static_cast<double>(count);
    line.push_back({first, chart.patches[n].difference});
    line.push_back({next, chart.patches[n].difference});
  }
  sorted.Line(line, pens::kViolet, "patches");

  Plot accuracy("chart-accuracy", "Difference of the conversion from the exact one, over the chart",
                kDifferenceAxis, kShareAxis);
  Table pipelines({"CIEDE2000 from exact, 16 bits", "mean", "90 %", "95 %", "99 %", "largest"});
  const auto cells = [](const std::string& name, const Place& of, int decimals) {
    std::vector<std::string> row = {name};
    for (const char* key : {"mean", "share90", "share95", "share99", "largest"}) {
      row.push_back((of / key).Shown(decimals));
    }
    return row;
  };
  accuracy.Line(CumulativeShare(chart.precise), pens::kViolet, "PRECISE");
  pipelines.Add(cells("PRECISE", at / "precise", 5));
  if (chart.fixed) {
    accuracy.Line(CumulativeShare(*chart.fixed), pens::kOrange, "FIXED");
    pipelines.Add(cells("FIXED", at / "fixed", 5));
  }

  Table summary({"CIEDE2000 from the measured colours", "mean", "90 %", "95 %", "99 %", "largest"});
  summary.Add(cells((at / "name").Text(), at / "difference", 3));
  Table stars({"FADGI", "", "Stars"});
  stars.Add(
      {"Colour: mean and 90 % of CIEDE2000",
       (at / "difference" / "mean").Shown(2) + ", " + (at / "difference" / "share90").Shown(2),
       (at / "colorStars").Shown(0)});
  stars.Add({"Tone: largest difference of L* of the greys", (at / "tone").Shown(2),
             (at / "toneStars").Shown(0)});
  stars.Add({"Both", "", (at / "stars").Shown(0)});
  return "<section>\n" + Element("h3", "Chart " + (at / "name").Text()) +
         Element("p class=\"how\"",
                 "How to read it: how far the profile, with the absolute intent, is from the "
                 "measured colours of the patches; a few patches that stick out at the left were "
                 "captured or measured badly, a high line says that the profile does not describe "
                 "this device.") +
         Element("p", (at / "count").Shown(0) + " patches, " + (at / "greys").Shown(0) +
                          " of them greys, with a measured C* below three.") +
         Plots(sorted.Svg() + accuracy.Svg()) + summary.Html() + pipelines.Html() +
         Element("p class=\"how\"",
                 "Stars are those of the guideline's tolerances of tone and colour alone, as a "
                 "published comparison gives them; it asks for more than these.") +
         stars.Html() + PatchTable(chart, at / "patches", std::min(count, rows)) + "</section>\n";
}

// ---- Images -------------------------------------------------------------------------------------

Plot HistogramPlot(const ImageNumbers& image, bool isAfter) {
  // One pixel in so many: a share of 0.001 % is the least that is drawn.
  constexpr double kLeastPower = -5;
  Plot plot(isAfter ? "histogram-after" : "histogram-before",
            isAfter ? "Histogram after the conversion" : "Histogram before the conversion",
            {"level (0 to 255)", 0, 255, 51},
            {"power of ten of the share of pixels (0: all)", kLeastPower, 0, 1});
  const double pixels = static_cast<double>(image.width) * image.height;
  for (std::size_t c = 0; c < 3; ++c) {
    const ChannelNumbers& channel = image.channels[c];
    std::vector<Point> line;
    for (std::size_t level = 0; level < 256; ++level) {
      const std::uint64_t count = isAfter ? channel.after[level] : channel.before[level];
      const double share = static_cast<double>(count) / pixels;
      line.push_back({static_cast<double>(level),
                      share > 0 ? std::max(std::log10(share), kLeastPower) : kLeastPower});
    }
    plot.Line(line, kChannelPens[c], kChannels[c]);
  }
  return plot;
}

std::string ColorName(const std::array<std::uint8_t, 3>& rgb) {
  constexpr const char* kDigits = "0123456789abcdef";
  std::string name = "#";
  for (const unsigned value : rgb) {
    name += kDigits[value >> 4];
    name += kDigits[value & 15];
  }
  return name;
}

// Each swatch before above the same one after.
std::string Swatches(const ImageNumbers& image) {
  constexpr int kSide = 44, kGap = 8, kColumns = 6;
  const auto count = static_cast<int>(image.swatches.size());
  const int width = kColumns * (kSide + kGap), height = (count / kColumns) * (kSide + kGap);
  std::string svg =
      "<svg xmlns=\"http://www.w3.org/2000/svg\" role=\"img\" class=\"swatches\" "
      "viewBox=\"0 0 " +
      std::to_string(width) + " " + std::to_string(height) + "\" width=\"" + std::to_string(width) +
      "\" height=\"" + std::to_string(height) + "\">\n<title>Swatches before and after</title>\n";
  for (int n = 0; n < count; ++n) {
    const SwatchNumbers& swatch = image.swatches[static_cast<std::size_t>(n)];
    const std::string x = std::to_string(n % kColumns * (kSide + kGap));
    const int y = n / kColumns * (kSide + kGap);
    const auto half = [&](int top, const std::array<std::uint8_t, 3>& color) {
      svg += "<rect x=\"" + x + "\" y=\"" + std::to_string(top) + "\" width=\"" +
             std::to_string(kSide) + "\" height=\"" + std::to_string(kSide / 2) + "\" fill=\"" +
             ColorName(color) + "\"/>\n";
    };
    half(y, swatch.shownBefore);
    half(y + kSide / 2, swatch.shownAfter);
  }
  return svg + "</svg>\n";
}

std::string Picture(const Thumbnail& thumbnail, const char* caption) {
  return "<figure><img src=\"" + DataUri(thumbnail) + "\" alt=\"" + caption + "\"/><figcaption>" +
         caption + "</figcaption></figure>\n";
}

std::string ImageSection(const ImageNumbers& image, const Place& at) {
  Table table({"Channel", "levels used before", "after", "clipped at the low end, %",
               "at the high end, %"});
  for (std::size_t c = 0; c < 3; ++c) {
    const Place here = at / "channels" / c;
    table.Add({kChannels[c], (here / "levelsBefore").Shown(0), (here / "levelsAfter").Shown(0),
               (here / "clippedLow").Shown(3, 100), (here / "clippedHigh").Shown(3, 100)});
  }
  Table swatches({"Swatch at X, Y", "before", "after"});
  for (std::size_t n = 0; n < image.swatches.size(); ++n) {
    const Place here = at / "swatches" / n;
    swatches.Add({(here / "at").ShownList(0), (here / "before").ShownList(0),
                  (here / "after").ShownList(0)});
  }
  return "<section>\n" + Element("h3", "Image " + (at / "name").Text()) +
         Element("p class=\"how\"",
                 "How to read it: pixels are taken for device values of this profile and converted "
                 "precisely; gaps in a histogram are levels that got lost, a peak at its ends and "
                 "red in the map are colours that the destination does not have.") +
         (image.pages == 1
              ? ""
              : Element("p", "This is the first of " + (at / "pages").Shown(0) +
                                 " pages in the file; nothing is told of the others.")) +
         Element("p", (at / "width").Shown(0) + " &#xD7; " + (at / "height").Shown(0) +
                          " pixels of " + (at / "bits").Shown(0) +
                          " bits a sample; outside of the "
                          "destination's gamut are " +
                          (at / "outOfGamut").Shown(2, 100) + " %.") +
         "<div class=\"pictures\">\n" + Picture(image.before, "before: the numbers as they are") +
         Picture(image.after, "after, as sRGB shows it") +
         Picture(image.gamutMap, "outside of the gamut: red") + "</div>\n" +
         Plots(HistogramPlot(image, false).Svg() + HistogramPlot(image, true).Svg()) +
         table.Html() +
         Element("p", "Swatches, before above and after below, from left to right and down:") +
         Swatches(image) + swatches.Html() + "</section>\n";
}

// ---- The page -----------------------------------------------------------------------------------

std::string ProfilePart(const ProfileReport& report, const Place& at, const Json& document,
                        std::size_t rows) {
  const ProfileNumbers& numbers = report.numbers;
  std::string charts, images;
  for (std::size_t n = 0; n < report.charts.size(); ++n) {
    charts += ChartSection(report.charts[n], at / "charts" / n, rows);
  }
  for (std::size_t n = 0; n < report.images.size(); ++n) {
    images += ImageSection(report.images[n], at / "images" / n);
  }
  return "<article>\n" + Element("h2", (at / "name").Text()) + FactsOf(numbers, at) +
         CurvesSection("Input curves", "input-curves", numbers.input, at / "inputCurves") +
         CurvesSection("Output curves", "output-curves", numbers.output, at / "outputCurves") +
         NeutralSection(numbers, at / "neutral") +
         ToneSection(numbers, at, Place(document, "/toneLevels")) +
         GamutSection(numbers, at, document) + GridSection(numbers, at / "grid") +
         AccuracySection(numbers, at) + GuidelineSection(numbers, at, document) +
         RoundTripSection(numbers, at / "roundTrip") + IntentSection(numbers, at / "intents") +
         ComparedSection(report.compared, at / "compared") + charts + images + "</article>\n";
}

}  // namespace

std::string Page(std::span<const ProfileReport> profiles, const Json& document) {
  std::string page =
      "<!DOCTYPE html>\n<html xmlns=\"http://www.w3.org/1999/xhtml\" lang=\"en\">\n<head>\n"
      "<meta charset=\"utf-8\"/>\n<meta name=\"viewport\" content=\"width=device-width\"/>\n"
      "<title>Profile report</title>\n<style>" +
      std::string(kStyle) + "</style>\n</head>\n<body>\n<h1>Profile report</h1>\n" +
      Element("p", "Made by kxcms " + Escaped(document.at("kxcms").get<std::string>()) +
                       ". Lab is relative to D50; PRECISE and FIXED are the two pipelines of the "
                       "library; exact is the evaluation in double precision.");
  std::size_t charts = 0;
  for (const ProfileReport& report : profiles) charts += report.charts.size();
  const std::size_t rows = kMostRows / std::max<std::size_t>(charts, 1);
  for (std::size_t n = 0; n < profiles.size(); ++n) {
    page += ProfilePart(profiles[n], Place(document, "/profiles") / n, document, rows);
  }
  return page + "</body>\n</html>\n";
}

}  // namespace kxcms::report
