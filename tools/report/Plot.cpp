#include "tools/report/Plot.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

#include "tools/report/Text.h"

namespace kxcms::report {

namespace {

// In units of the drawing. The lower end of the axes depends on the shape.
constexpr double kWidth = 460, kLeft = 52, kRight = 448, kTop = 28;
constexpr double kBottomWide = 286, kBottomSquare = kTop + kRight - kLeft, kBelowAxes = 44;
// Nothing is drawn farther away than this, in units of the drawing.
constexpr double kFarthest = 5000;

std::string Attribute(const char* name, const std::string& value) {
  return std::string(" ") + name + "=\"" + value + "\"";
}

std::string Text(double x, double y, const char* more, const std::string& text) {
  return "<text" + Attribute("x", Fixed(x, 1)) + Attribute("y", Fixed(y, 1)) + more + ">" +
         Escaped(text) + "</text>\n";
}

std::string Stroke(const Pen& pen) {
  std::string stroke =
      Attribute("stroke", pen.color) + Attribute("stroke-width", Fixed(pen.width, 1));
  if (*pen.dashes != '\0') stroke += Attribute("stroke-dasharray", pen.dashes);
  return stroke;
}

// Characters of the legend are counted, not measured: no font is known here.
double WidthOf(std::string_view text) {
  constexpr double kCharacter = 6.4;
  const auto isCharacter = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; };
  return kCharacter * static_cast<double>(std::count_if(text.begin(), text.end(), isCharacter));
}

// The beginning of a line in a path.
std::string MoveTo(double x, double y) {
  return std::string(1, 'M') + Fixed(x, 1) + ' ' + Fixed(y, 1);
}

// Ticks are as precise as their distance.
int DecimalsOf(double tick) {
  int decimals = 0;
  for (double unit = tick; decimals < 6 && std::abs(unit - std::round(unit)) > 1e-6; unit *= 10) {
    ++decimals;
  }
  return decimals;
}

}  // namespace

Plot::Plot(std::string name, std::string title, Axis x, Axis y, Shape shape)
    : name_(std::move(name)),
      title_(std::move(title)),
      x_(std::move(x)),
      y_(std::move(y)),
      bottom_(shape == Shape::kSquare ? kBottomSquare : kBottomWide) {}

double Plot::X(double value) const {
  return kLeft + (kRight - kLeft) * (value - x_.low) / (x_.high - x_.low);
}

double Plot::Y(double value) const {
  return bottom_ - (bottom_ - kTop) * (value - y_.low) / (y_.high - y_.low);
}

// Within the inner element, whose origin is the upper left corner of the axes.
std::string Plot::Place(const Point& point) const {
  return Fixed(std::clamp(X(point.x) - kLeft, -kFarthest, kFarthest), 1) + " " +
         Fixed(std::clamp(Y(point.y) - kTop, -kFarthest, kFarthest), 1);
}

void Plot::Band(double low, double high, const char* color, double opacity) {
  const double top = std::clamp(Y(high), kTop, bottom_) - kTop;
  const double bottom = std::clamp(Y(low), kTop, bottom_) - kTop;
  bands_ += "<rect x=\"0\"" + Attribute("y", Fixed(top, 1)) +
            Attribute("width", Fixed(kRight - kLeft, 1)) +
            Attribute("height", Fixed(bottom - top, 1)) + Attribute("fill", color) +
            Attribute("fill-opacity", Fixed(opacity, 2)) + "/>\n";
}

void Plot::Draw(const std::string& path, const Pen& pen, std::string_view name) {
  if (!path.empty()) {
    lines_ += "<path" + Attribute("d", path) + " fill=\"none\" stroke-linejoin=\"round\"" +
              Stroke(pen) + "/>\n";
  }
  if (name.empty()) return;
  constexpr double kSample = 18, kGap = 5, kBetween = 14;
  const double x = kLeft + legendWidth_;
  legend_ += "<line" + Attribute("x1", Fixed(x, 1)) + Attribute("x2", Fixed(x + kSample, 1)) +
             Attribute("y1", Fixed(kTop - 14, 1)) + Attribute("y2", Fixed(kTop - 14, 1)) +
             Stroke(pen) + "/>\n" + Text(x + kSample + kGap, kTop - 10, "", std::string(name));
  legendWidth_ += kSample + kGap + WidthOf(name) + kBetween;
}

void Plot::Line(const std::vector<Point>& points, const Pen& pen, std::string_view name) {
  std::string path;
  bool isOpen = false;
  for (const Point& point : points) {
    const bool isPoint = std::isfinite(point.x) && std::isfinite(point.y);
    if (isPoint) path.append(isOpen ? "L" : "M").append(Place(point));
    isOpen = isPoint;
  }
  Draw(path, pen, name);
}

void Plot::Lines(const std::vector<Segment>& segments, const Pen& pen, std::string_view name) {
  // Pieces by where they begin, in the rounded numbers of the drawing.
  std::multimap<std::string, std::string> pieces;
  std::vector<std::string> begins;
  for (const auto& [from, to] : segments) {
    if (!std::isfinite(from.x + from.y + to.x + to.y)) continue;
    std::string begin = Place(from), end = Place(to);
    if (begin == end) continue;
    begins.push_back(begin);
    pieces.emplace(std::move(begin), std::move(end));
  }
  std::string path;
  for (const std::string& begin : begins) {
    auto piece = pieces.find(begin);
    if (piece == pieces.end()) continue;
    path.append("M").append(begin);
    for (; piece != pieces.end();) {
      const std::string end = piece->second;
      path.append("L").append(end);
      pieces.erase(piece);
      piece = pieces.find(end);
    }
  }
  Draw(path, pen, name);
}

std::string Plot::Svg() const {
  const double height = bottom_ + kBelowAxes;
  const auto ends = [](const Axis& axis, double low, double high) {
    const int decimals = DecimalsOf(axis.tick);
    return Fixed(axis.low, decimals) + " " + Fixed(axis.high, decimals) + " " + Fixed(low, 1) +
           " " + Fixed(high, 1);
  };
  std::string svg = "<svg xmlns=\"http://www.w3.org/2000/svg\" role=\"img\"" +
                    Attribute("class", "plot " + name_) +
                    Attribute("viewBox", "0 0 " + Fixed(kWidth, 0) + " " + Fixed(height, 0)) +
                    Attribute("width", Fixed(kWidth, 0)) + Attribute("height", Fixed(height, 0)) +
                    Attribute("data-x", ends(x_, kLeft, kRight)) +
                    Attribute("data-y", ends(y_, bottom_, kTop)) +
                    " font-family=\"sans-serif\" font-size=\"11\" fill=\"#333333\">\n<title>" +
                    Escaped(title_) + "</title>\n";
  // The grid, with its numbers.
  std::string grid, numbers;
  const auto ticks = [](const Axis& axis, const auto& draw) {
    const auto first = static_cast<long>(std::ceil(axis.low / axis.tick - 1e-9));
    const auto last = static_cast<long>(std::floor(axis.high / axis.tick + 1e-9));
    for (long n = first; n <= last; ++n) draw(static_cast<double>(n) * axis.tick);
  };
  ticks(x_, [&](double value) {
    grid += MoveTo(X(value), kTop) + 'V' + Fixed(bottom_, 1);
    numbers +=
        Text(X(value), bottom_ + 18, " text-anchor=\"middle\"", Fixed(value, DecimalsOf(x_.tick)));
  });
  ticks(y_, [&](double value) {
    grid += MoveTo(kLeft, Y(value)) + 'H' + Fixed(kRight, 1);
    numbers +=
        Text(kLeft - 6, Y(value) + 4, " text-anchor=\"end\"", Fixed(value, DecimalsOf(y_.tick)));
  });
  svg += "<path class=\"grid\" fill=\"none\" stroke=\"#dddddd\" stroke-width=\"0.7\"" +
         Attribute("d", grid) + "/>\n";
  // An inner element cuts off what leaves it, without a name that another plot could have too.
  svg += "<svg" + Attribute("x", Fixed(kLeft, 0)) + Attribute("y", Fixed(kTop, 0)) +
         Attribute("width", Fixed(kRight - kLeft, 0)) +
         Attribute("height", Fixed(bottom_ - kTop, 0)) + " overflow=\"hidden\">\n" + bands_ +
         lines_ + "</svg>\n";
  svg += "<path class=\"axes\" fill=\"none\" stroke=\"#333333\" stroke-width=\"1\"" +
         Attribute("d", MoveTo(kLeft, kTop) + 'V' + Fixed(bottom_, 1) + 'H' + Fixed(kRight, 1)) +
         "/>\n" + numbers;
  svg += Text((kLeft + kRight) / 2, height - 10, " text-anchor=\"middle\"", x_.label);
  const double middle = (kTop + bottom_) / 2;
  svg += Text(
      0, 0,
      (" text-anchor=\"middle\" transform=\"translate(14 " + Fixed(middle, 1) + ") rotate(-90)\"")
          .c_str(),
      y_.label);
  return svg + legend_ + "</svg>\n";
}

}  // namespace kxcms::report
