#include <cmath>
#include <map>
#include <numbers>

#include "plainKernels.h"

namespace plain {

Levels turned(const Picture& in, double degrees) {
  // Sine and cosine to 31 bits and weights to 14: doubles hold all that follows without loss.
  const double radians = degrees * std::numbers::pi / 180.0;
  const double c = std::round(std::ldexp(std::cos(radians), 31)),
               s = std::round(std::ldexp(std::sin(radians), 31));
  Levels out;
  for (int y = 0; y < in.height; ++y) {
    for (int x = 0; x < in.width; ++x) {
      const double right = x - (in.width - 1) / 2.0, down = y - (in.height - 1) / 2.0;
      const auto within = [](double place, int length) { return std::clamp(place, 0.0, length - 1.0); };
      const double sx = within((in.width - 1) / 2.0 + std::ldexp(c * right + s * down, -31), in.width);
      const double sy = within((in.height - 1) / 2.0 + std::ldexp(c * down - s * right, -31), in.height);
      const int column = static_cast<int>(sx), row = static_cast<int>(sy);
      const double wx = std::floor((sx - column) * 16384.0) / 16384.0;
      const double wy = std::floor((sy - row) * 16384.0) / 16384.0;
      const auto mix = [&](int r) { return in.edge(column, r) * (1.0 - wx) + in.edge(column + 1, r) * wx; };
      out.push_back(static_cast<std::uint16_t>(mix(row) * (1.0 - wy) + mix(row + 1) * wy + 0.5));
    }
  }
  return out;
}

namespace {

double weightAt(int method, double d) {
  d = std::abs(d);
  const auto sinc = [](double x) {
    return x == 0.0 ? 1.0 : std::sin(std::numbers::pi * x) / (std::numbers::pi * x);
  };
  if (method == 1) return std::max(1.0 - d, 0.0);
  if (method == 3) return d < 3.0 ? sinc(d) * sinc(d / 3.0) : 0.0;
  if (d < 1.0) return 1.5 * d * d * d - 2.5 * d * d + 1.0;
  return d < 2.0 ? -0.5 * d * d * d + 2.5 * d * d - 4.0 * d + 2.0 : 0.0;
}

/// Weights by pixel, for output pixel `i` of an axis. Those beyond an edge fall to the edge.
std::map<int, double> weightsOf(int i, int length, double zoom, int method) {
  const double place = (i + 0.5 - length / 2.0) / zoom + length / 2.0 - 0.5;
  if (method == 0) return {{std::clamp(static_cast<int>(std::floor(place + 0.5)), 0, length - 1), 1.0}};
  const int half = method, first = static_cast<int>(std::floor(place)) - half + 1;  // 2, 4 or 6 pixels
  double sum = 0.0;
  for (int k = 0; k < 2 * half; ++k) sum += weightAt(method, first + k - place);
  std::map<int, double> weights;
  for (int k = 0; k < 2 * half; ++k) {
    weights[std::clamp(first + k, 0, length - 1)] += weightAt(method, first + k - place) / sum;
  }
  return weights;
}

template <typename ValueAt>
float weigh(const std::map<int, double>& weights, bool limit, ValueAt valueAt) {
  float sum = 0.0f, low = valueAt(weights.begin()->first), high = low;
  for (const auto& [pixel, weight] : weights) {
    const float value = valueAt(pixel);
    sum += static_cast<float>(weight) * value;
    low = std::min(low, value), high = std::max(high, value);
  }
  return limit ? std::clamp(sum, low, high) : sum;
}

}  // namespace

Levels interpolated(const Picture& in, float zoom, int method) {
  std::vector<std::map<int, double>> columns;
  for (int x = 0; x < in.width; ++x) columns.push_back(weightsOf(x, in.width, double{zoom}, method));
  Levels out;
  for (int y = 0; y < in.height; ++y) {
    const auto rows = weightsOf(y, in.height, double{zoom}, method);
    Floats line;
    for (int x = 0; x < in.width; ++x) {
      line.push_back(weigh(rows, method == 3, [&](int row) { return static_cast<float>(in.at(x, row)); }));
    }
    for (const auto& column : columns) {
      const float level =
          weigh(column, method == 3, [&](int x) { return line[static_cast<std::size_t>(x)]; });
      out.push_back(limited(std::clamp(level, 0.0f, 65535.0f) + 0.5f));
    }
  }
  return out;
}

Levels zoomedByBlocks(const Picture& in, long long factor) {
  // Half pixels: the centre of output pixel i lies at 2 i + 1 - length from the middle.
  const auto source = [factor](int i, int length) {
    return static_cast<int>((2 * i + 1 - length + length * factor) / (2 * factor));
  };
  Levels out;
  for (int y = 0; y < in.height; ++y) {
    for (int x = 0; x < in.width; ++x)
      out.push_back(static_cast<std::uint16_t>(in.at(source(x, in.width), source(y, in.height))));
  }
  return out;
}

Levels filtered(const Picture& in, float sigma) {
  const float threshold = 81.0f * (4.0f * sigma * sigma);
  Floats a(in.levels.size()), b(in.levels.size());
  const auto place = [&](int x, int y) {
    return static_cast<std::size_t>(std::clamp(y, 0, in.height - 1) * in.width +
                                    std::clamp(x, 0, in.width - 1));
  };
  for (int y = 0; y < in.height; ++y) {
    for (int x = 0; x < in.width; ++x) {
      float sum[3], spread[3];
      for (int k = 0; k < 3; ++k) {
        const int t = in.edge(x + k - 1, y - 1), m = in.edge(x + k - 1, y), o = in.edge(x + k - 1, y + 1);
        const float tm = static_cast<float>(t - m), mo = static_cast<float>(m - o),
                    to = static_cast<float>(t - o);
        sum[k] = static_cast<float>(t + m + o);
        spread[k] = tm * tm + mo * mo + to * to;
      }
      const float lm = sum[0] - sum[1], mr = sum[1] - sum[2], lr = sum[0] - sum[2];
      const float variance = 3.0f * (spread[0] + spread[1] + spread[2]) + (lm * lm + mr * mr + lr * lr);
      const float flat = threshold / (variance + threshold);
      a[place(x, y)] = 1.0f - flat;
      b[place(x, y)] = flat * (1.0f / 9.0f) * (sum[0] + sum[1] + sum[2]);
    }
  }
  Levels out;
  for (int y = 0; y < in.height; ++y) {
    for (int x = 0; x < in.width; ++x) {
      float slope = 0.0f, offset = 0.0f;
      for (int k = x - 1; k <= x + 1; ++k) {
        slope += a[place(k, y - 1)] + a[place(k, y)] + a[place(k, y + 1)];
        offset += b[place(k, y - 1)] + b[place(k, y)] + b[place(k, y + 1)];
      }
      const float level = (slope * static_cast<float>(in.at(x, y)) + offset) * (1.0f / 9.0f);
      out.push_back(limited(level + 0.5f));
    }
  }
  return out;
}

float noiseSigma(const Picture& in) {
  if (in.width < 3 || in.height < 3) return 0.0f;
  double sum = 0.0, pixels = 0.0;
  for (int y = 1; y < in.height - 1; y += 4) {
    for (int x = 1; x < in.width - 1; ++x, pixels += 1.0) {
      const auto across = [&](int r) { return in.at(x - 1, r) - 2 * in.at(x, r) + in.at(x + 1, r); };
      sum += std::abs(across(y - 1) - 2 * across(y) + across(y + 1));
    }
  }
  return static_cast<float>(sum / pixels * std::sqrt(std::numbers::pi / 2.0) / 6.0);
}

}  // namespace plain
