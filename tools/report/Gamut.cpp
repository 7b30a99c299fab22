#include "tools/report/Gamut.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>

namespace kxcms::report {

namespace {

using exact::Triple;

Triple Minus(const Triple& a, const Triple& b) {
  return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}

double Determinant(const Triple& a, const Triple& b, const Triple& c) {
  return a[0] * (b[1] * c[2] - b[2] * c[1]) - a[1] * (b[0] * c[2] - b[2] * c[0]) +
         a[2] * (b[0] * c[1] - b[1] * c[0]);
}

// Where a triangle crosses the plane on which `height` is 0, from the edge that goes up to the one
// that goes down, so that the pieces of a cut all run the same way round.
std::optional<std::array<Triple, 2>> Cross(const Triangle& triangle,
                                           const std::array<double, 3>& height) {
  std::optional<Triple> up, down;
  for (std::size_t n = 0; n < 3; ++n) {
    const std::size_t next = (n + 1) % 3;
    const bool isAbove = height[n] >= 0, isNextAbove = height[next] >= 0;
    if (isAbove == isNextAbove) continue;
    const double t = height[n] / (height[n] - height[next]);
    Triple point;
    for (std::size_t i = 0; i < 3; ++i) {
      point[i] = triangle[n][i] + t * (triangle[next][i] - triangle[n][i]);
    }
    (isNextAbove ? up : down) = point;
  }
  if (!up || !down) return std::nullopt;
  return std::array<Triple, 2>{*up, *down};
}

}  // namespace

std::vector<Triangle> DeviceSurface(const ToLab& toLab, std::size_t steps) {
  std::vector<Triangle> surface;
  surface.reserve(12 * steps * steps);
  std::vector<Triple> nodes((steps + 1) * (steps + 1));
  for (std::size_t axis = 0; axis < 3; ++axis) {
    for (const bool isFar : {false, true}) {
      const auto node = [&](std::size_t u, std::size_t v) -> Triple& {
        return nodes[u * (steps + 1) + v];
      };
      for (std::size_t u = 0; u <= steps; ++u) {
        for (std::size_t v = 0; v <= steps; ++v) {
          Triple device;
          device[axis] = isFar ? 1 : 0;
          device[(axis + 1) % 3] = static_cast<double>(u) / static_cast<double>(steps);
          device[(axis + 2) % 3] = static_cast<double>(v) / static_cast<double>(steps);
          node(u, v) = toLab(device);
        }
      }
      const auto add = [&](const Triple& a, const Triple& b, const Triple& c) {
        surface.push_back(isFar ? Triangle{a, b, c} : Triangle{a, c, b});
      };
      for (std::size_t u = 0; u < steps; ++u) {
        for (std::size_t v = 0; v < steps; ++v) {
          add(node(u, v), node(u + 1, v), node(u + 1, v + 1));
          add(node(u, v), node(u + 1, v + 1), node(u, v + 1));
        }
      }
    }
  }
  return surface;
}

double EnclosedVolume(const std::vector<Triangle>& surface) {
  // Tetrahedra between the triangles and a point in the middle, which keeps the numbers small.
  const Triple middle = {50, 0, 0};
  double sum = 0;
  for (const auto& [a, b, c] : surface) {
    sum += Determinant(Minus(a, middle), Minus(b, middle), Minus(c, middle));
  }
  return std::abs(sum) / 6;
}

std::vector<Segment> CutAtLightness(const std::vector<Triangle>& surface, double lightness) {
  std::vector<Segment> cut;
  for (const Triangle& triangle : surface) {
    const auto found = Cross(triangle, {triangle[0][0] - lightness, triangle[1][0] - lightness,
                                        triangle[2][0] - lightness});
    if (!found) continue;
    const auto& [from, to] = *found;
    cut.push_back({Point{from[1], from[2]}, Point{to[1], to[2]}});
  }
  return cut;
}

std::vector<Segment> CutAtHue(const std::vector<Triangle>& surface, double hueDeg) {
  const double hue = hueDeg * std::numbers::pi / 180;
  const double cosine = std::cos(hue), sine = std::sin(hue);
  const auto across = [&](const Triple& lab) { return cosine * lab[2] - sine * lab[1]; };
  const auto along = [&](const Triple& lab) { return cosine * lab[1] + sine * lab[2]; };
  std::vector<Segment> cut;
  for (const Triangle& triangle : surface) {
    const auto found =
        Cross(triangle, {across(triangle[0]), across(triangle[1]), across(triangle[2])});
    if (!found) continue;
    Point from = {along((*found)[0]), (*found)[0][0]};
    Point to = {along((*found)[1]), (*found)[1][0]};
    if (from.x < 0 && to.x < 0) continue;
    // The other half of the plane belongs to the opposite hue.
    if (from.x < 0 || to.x < 0) {
      const double t = from.x / (from.x - to.x);
      (from.x < 0 ? from : to) = {0, from.y + t * (to.y - from.y)};
    }
    cut.push_back({from, to});
  }
  return cut;
}

double EnclosedArea(const std::vector<Segment>& cut) {
  double sum = 0;
  for (const auto& [from, to] : cut) sum += from.x * to.y - from.y * to.x;
  return std::abs(sum) / 2;
}

double ShareInside(const ToLab& toLab, const std::function<bool(const Triple&)>& isInside,
                   std::size_t steps) {
  const std::size_t side = steps + 1;
  const auto fraction = [steps](double n) { return n / static_cast<double>(steps); };
  std::vector<Triple> nodes;
  nodes.reserve(side * side * side);
  for (std::size_t r = 0; r < side; ++r) {
    for (std::size_t g = 0; g < side; ++g) {
      for (std::size_t b = 0; b < side; ++b) {
        nodes.push_back(toLab({fraction(static_cast<double>(r)), fraction(static_cast<double>(g)),
                               fraction(static_cast<double>(b))}));
      }
    }
  }
  double inside = 0, all = 0;
  for (std::size_t r = 0; r < steps; ++r) {
    for (std::size_t g = 0; g < steps; ++g) {
      for (std::size_t b = 0; b < steps; ++b) {
        // The parallelepiped of the three edges at the lowest corner is near enough.
        const std::size_t at = (r * side + g) * side + b;
        const double volume = std::abs(Determinant(Minus(nodes[at + side * side], nodes[at]),
                                                   Minus(nodes[at + side], nodes[at]),
                                                   Minus(nodes[at + 1], nodes[at])));
        all += volume;
        if (isInside({fraction(static_cast<double>(r) + 0.5),
                      fraction(static_cast<double>(g) + 0.5),
                      fraction(static_cast<double>(b) + 0.5)})) {
          inside += volume;
        }
      }
    }
  }
  return all > 0 ? inside / all : 0;
}

namespace {

constexpr std::size_t kSquares = 64;  // along a side

// The square that a coordinate lies in; what lies outside goes to the ones at the edge.
std::size_t SquareOf(double value, double low, double cell) {
  const double square = std::floor((value - low) / cell);
  if (!(square > 0)) return 0;
  return std::min(static_cast<std::size_t>(square), kSquares - 1);
}

// Twice the area of a triangle in the a*, b* plane, positive if it runs from a* to b*.
double AreaOf(const Triple& a, const Triple& b, const Triple& c) {
  return (b[1] - a[1]) * (c[2] - a[2]) - (b[2] - a[2]) * (c[1] - a[1]);
}

}  // namespace

Solid::Solid(const std::vector<Triangle>& surface)
    : surface_(surface), squares_(kSquares * kSquares) {
  double highA = 0, highB = 0;
  for (const Triangle& triangle : surface_) {
    for (const Triple& corner : triangle) {
      lowA_ = std::min(lowA_, corner[1]);
      highA = std::max(highA, corner[1]);
      lowB_ = std::min(lowB_, corner[2]);
      highB = std::max(highB, corner[2]);
    }
  }
  constexpr double kLeast = 1e-6;
  cell_ = std::max({highA - lowA_, highB - lowB_, kLeast}) / static_cast<double>(kSquares);
  for (std::uint32_t n = 0; n < surface_.size(); ++n) {
    const auto& [a, b, c] = surface_[n];
    const auto [lowA, upA] = std::minmax({a[1], b[1], c[1]});
    const auto [lowB, upB] = std::minmax({a[2], b[2], c[2]});
    for (std::size_t u = SquareOf(lowA, lowA_, cell_); u <= SquareOf(upA, lowA_, cell_); ++u) {
      for (std::size_t v = SquareOf(lowB, lowB_, cell_); v <= SquareOf(upB, lowB_, cell_); ++v) {
        squares_[u * kSquares + v].push_back(n);
      }
    }
  }
}

bool Solid::Contains(const Triple& lab) const {
  // Upwards along L*: surface that turns its outside up counts one way, its inside the other. A
  // step to the side, far below any colour's precision, avoids the edges between triangles, where
  // colours of a regular grid like to lie.
  constexpr double kAside = 1e-7;
  const Triple point = {lab[0], lab[1] + kAside, lab[2] + 0.7 * kAside};
  const std::size_t square =
      SquareOf(point[1], lowA_, cell_) * kSquares + SquareOf(point[2], lowB_, cell_);
  int winding = 0;
  for (const std::uint32_t n : squares_[square]) {
    const auto& [a, b, c] = surface_[n];
    const double wa = AreaOf(point, b, c), wb = AreaOf(a, point, c), wc = AreaOf(a, b, point);
    const bool isWithin = (wa >= 0 && wb >= 0 && wc >= 0) || (wa <= 0 && wb <= 0 && wc <= 0);
    const double sum = wa + wb + wc;
    if (!isWithin || sum == 0) continue;
    if ((wa * a[0] + wb * b[0] + wc * c[0]) / sum > point[0]) winding += sum > 0 ? 1 : -1;
  }
  return winding != 0;
}

}  // namespace kxcms::report
