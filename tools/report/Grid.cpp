#include "tools/report/Grid.h"

#include <cmath>
#include <variant>
#include <vector>

#include "exact/Colorimetry.h"
#include "exact/Elements.h"
#include "tools/report/DifferenceHistogram.h"

namespace kxcms::report {

namespace {

using exact::Triple;

// Single precision is plenty, and a grid may have many nodes.
using Node = std::array<float, 3>;

double Length(const Triple& v) {
  return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
}

Triple Minus(const Node& a, const Node& b) {
  return {double{a[0]} - double{b[0]}, double{a[1]} - double{b[1]}, double{a[2]} - double{b[2]}};
}

class Nodes {
 public:
  Nodes(const LookupTable& table, std::size_t at) {
    const auto& grid = std::get<ColorGrid>(table.elements[at]);
    points_ = grid.points;
    const std::size_t count = grid.values.size() / 3;
    nodes_.resize(count);
    for (std::size_t n = 0; n < count; ++n) {
      Triple values;
      for (std::size_t i = 0; i < 3; ++i) {
        values[i] = static_cast<double>(grid.values[3 * n + i]) / grid.maximum;
      }
      for (std::size_t next = at + 1; next < table.elements.size(); ++next) {
        values = exact::Evaluate(table.elements[next], values);
      }
      const Triple lab = table.pcs == PcsEncoding::kXyz
                             ? exact::LabFromXyz(exact::DecodeXyz(table.pcs, values))
                             : exact::DecodeLab(table.pcs, values);
      for (std::size_t i = 0; i < 3; ++i) nodes_[n][i] = static_cast<float>(lab[i]);
    }
  }

  const Node& at(const std::array<int, 3>& place) const {
    return nodes_[(static_cast<std::size_t>(place[0]) * static_cast<std::size_t>(points_[1]) +
                   static_cast<std::size_t>(place[1])) *
                      static_cast<std::size_t>(points_[2]) +
                  static_cast<std::size_t>(place[2])];
  }

 private:
  std::array<int, 3> points_;
  std::vector<Node> nodes_;
};

std::array<int, 3> Moved(std::array<int, 3> place, std::size_t axis, int by) {
  place[axis] += by;
  return place;
}

// 1, -1, or 0 for a cell that is flat: an area of grid that maps to one colour is no fold.
int TurnOf(const Nodes& nodes, const std::array<int, 3>& place) {
  std::array<Triple, 3> edge;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    edge[axis] = Minus(nodes.at(Moved(place, axis, 1)), nodes.at(place));
  }
  const auto& [a, b, c] = edge;
  const double determinant = a[0] * (b[1] * c[2] - b[2] * c[1]) -
                             a[1] * (b[0] * c[2] - b[2] * c[0]) +
                             a[2] * (b[0] * c[1] - b[1] * c[0]);
  constexpr double kFlat = 1e-4;  // cubic units of Lab; the nodes are rounded to about 1/256 each
  return determinant > kFlat ? 1 : determinant < -kFlat ? -1 : 0;
}

template <typename Visit>
void ForEach(const std::array<int, 3>& counts, const Visit& visit) {
  for (int x = 0; x < counts[0]; ++x) {
    for (int y = 0; y < counts[1]; ++y) {
      for (int z = 0; z < counts[2]; ++z) visit(std::array<int, 3>{x, y, z});
    }
  }
}

}  // namespace

std::optional<GridNumbers> MeasureGrid(const LookupTable& table) {
  std::size_t index = 0;
  while (index < table.elements.size() &&
         !std::holds_alternative<ColorGrid>(table.elements[index])) {
    ++index;
  }
  if (index == table.elements.size()) return std::nullopt;
  const auto& grid = std::get<ColorGrid>(table.elements[index]);
  const Nodes nodes(table, index);

  GridNumbers numbers{};
  numbers.points = grid.points;
  numbers.bits = grid.maximum == 255 ? 8 : 16;
  double spacings = 0;
  std::size_t spacingCount = 0;
  std::array<DifferenceHistogram, 3> ofAxes;
  ForEach(grid.points, [&](const std::array<int, 3>& place) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
      if (place[axis] + 1 >= grid.points[axis]) continue;
      const Triple step = Minus(nodes.at(Moved(place, axis, 1)), nodes.at(place));
      const double spacing = Length(step);
      spacings += spacing;
      ++spacingCount;
      ofAxes[axis].Add(spacing, 0);
      if (spacing > numbers.largestSpacing) {
        numbers.largestSpacing = spacing;
        numbers.largestSpacingAt = place;
      }
      if (place[axis] == 0) continue;
      const Triple back = Minus(nodes.at(place), nodes.at(Moved(place, axis, -1)));
      const double second = Length({step[0] - back[0], step[1] - back[1], step[2] - back[2]});
      if (second > numbers.largestSecondDifference) {
        numbers.largestSecondDifference = second;
        numbers.largestSecondDifferenceAt = place;
      }
    }
  });
  for (std::size_t axis = 0; axis < 3; ++axis) {
    for (std::size_t percent = 0; percent <= 100; ++percent) {
      numbers.spacingShares[axis][percent] = ofAxes[axis].Share(static_cast<double>(percent));
    }
  }
  numbers.meanSpacing = spacings / static_cast<double>(spacingCount);

  const std::array<int, 3> cells = {grid.points[0] - 1, grid.points[1] - 1, grid.points[2] - 1};
  std::array<std::size_t, 2> turns{};
  std::array<std::optional<std::array<int, 3>>, 2> first;
  ForEach(cells, [&](const std::array<int, 3>& place) {
    ++numbers.cells;
    const int turn = TurnOf(nodes, place);
    if (turn == 0) return;
    const std::size_t side = turn > 0 ? 1 : 0;
    ++turns[side];
    if (!first[side]) first[side] = place;
  });
  const std::size_t fewer = turns[0] < turns[1] ? 0 : 1;
  numbers.folds = turns[fewer];
  numbers.firstFoldAt = first[fewer];
  return numbers;
}

}  // namespace kxcms::report
