#ifndef KXCMS_TOOLS_REPORT_PLOT_H
#define KXCMS_TOOLS_REPORT_PLOT_H

#include <string>
#include <string_view>
#include <vector>

#include "tools/report/Gamut.h"

namespace kxcms::report {

/// An axis: its name with the unit, its ends, and the distance of its ticks.
struct Axis {
  std::string label;
  double low, high, tick;
};

/// How a line looks. Colours are for a light page and are readable on a dark one.
struct Pen {
  const char* color;
  const char* dashes = "";  ///< as in stroke-dasharray; empty: a continuous line
  double width = 1.6;
};

namespace pens {
constexpr Pen kRed = {"#d43a3a"};
constexpr Pen kGreen = {"#2a9442"};
constexpr Pen kBlue = {"#4474e0"};
constexpr Pen kPlain = {"#808080"};
constexpr Pen kDestination = {"#808080", "5 3"};
constexpr Pen kViolet = {"#a04cc0"};
constexpr Pen kOrange = {"#d07800"};
}  // namespace pens

enum class Shape { kWide, kSquare };

/// A plot as an SVG element that needs nothing outside itself. What leaves the axes is cut off.
/// `data-x` and `data-y` tell the ends of each axis and their places: low, high, and both in units
/// of the drawing.
class Plot {
 public:
  /// @param name   of the plot: its class
  /// @param title  what it shows, for those who cannot see it
  Plot(std::string name, std::string title, Axis x, Axis y, Shape shape = Shape::kWide);

  /// A band across the plot between two heights, behind the lines.
  void Band(double low, double high, const char* color, double opacity);
  /// Points that are not finite interrupt a line. A name puts it into the legend.
  void Line(const std::vector<Point>& points, const Pen& pen, std::string_view name = "");
  /// Pieces of a cut: those that meet are drawn in one go.
  void Lines(const std::vector<Segment>& segments, const Pen& pen, std::string_view name = "");

  std::string Svg() const;

 private:
  double X(double value) const;
  double Y(double value) const;
  void Draw(const std::string& path, const Pen& pen, std::string_view name);
  std::string Place(const Point& point) const;

  std::string name_, title_;
  Axis x_, y_;
  double bottom_;  ///< of the axes
  std::string bands_, lines_, legend_;
  double legendWidth_ = 0;
};

}  // namespace kxcms::report

#endif
