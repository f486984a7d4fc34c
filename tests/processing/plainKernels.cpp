#include "plainKernels.h"

#include <cmath>
#include <numeric>

namespace plain {

std::uint16_t limited(long long level) { return static_cast<std::uint16_t>(std::clamp(level, 0LL, 65535LL)); }
std::uint16_t limited(float level) {
  if (!(level > 0.0f)) return 0;
  return level >= 65535.0f ? std::uint16_t{65535} : static_cast<std::uint16_t>(level);
}

Levels offset(const Levels& raw, const Counts& low, const Counts& high, float weight, std::uint32_t target,
              std::uint32_t frames) {
  Levels out;
  for (std::size_t i = 0; i < raw.size(); ++i) {
    const float sum = (1.0f - weight) * static_cast<float>(low[i]) + weight * static_cast<float>(high[i]);
    // Whole numbers below 2^32: only the very last float is beyond.
    const long long whole = std::min(static_cast<long long>(sum), 4294967295LL);
    out.push_back(limited(raw[i] - whole / frames + target));
  }
  return out;
}

Levels twoReferences(const Levels& raw, const Counts (&tables)[4], std::uint32_t frames, float weight,
                     float rangeMinK, float rangeSpanK) {
  const float n = static_cast<float>(frames), s = 65535.0f / rangeSpanK;
  Levels out;
  for (std::size_t i = 0; i < raw.size(); ++i) {
    const auto sum = [&](int table) { return static_cast<float>(tables[table][i]); };
    const float a = weight * sum(1) + (1.0f - weight) * sum(0);
    const float b = weight * sum(3) + (1.0f - weight) * sum(2);
    const float g = 25.0f / ((b - a) / n);
    out.push_back(limited((static_cast<float>(raw[i]) - (a / n - (298.15f - rangeMinK) / g)) * s * g));
  }
  return out;
}

Levels gainAndOffset(const Levels& raw, const Floats& gain, const Floats& offset, float rangeMinK,
                     float rangeSpanK) {
  Levels out;
  for (std::size_t i = 0; i < raw.size(); ++i) {
    const float kelvin = (static_cast<float>(raw[i]) - offset[i]) * gain[i];
    out.push_back(std::isfinite(gain[i]) ? limited((kelvin - rangeMinK) * (65535.0f / rangeSpanK))
                                         : std::uint16_t{0});
  }
  return out;
}

std::uint16_t mean(const Levels& levels) {
  float sum = 0.0f;
  for (const std::uint16_t level : levels) sum += static_cast<float>(level);
  return static_cast<std::uint16_t>(sum / static_cast<float>(levels.size()));
}

Counts counted(const Levels& levels) {
  Counts counts(kAllLevels);
  for (const std::uint16_t level : levels) ++counts[level];
  return counts;
}

Counts withoutGaps(Counts counts) {
  for (std::size_t i = 1; i < counts.size(); ++i) {
    if (counts[i] == 0) counts[i] = counts[i - 1];
  }
  return counts;
}

Levels through(const Levels& table, Levels levels) {
  for (std::uint16_t& level : levels) level = table[level];
  return levels;
}

Levels shifted(Levels levels, int offset) {
  for (std::uint16_t& level : levels) level = limited(static_cast<long long>(level) + offset);
  return levels;
}

Levels mapped(Levels levels, int low, int high) {
  if (high < low) return levels;
  const float scale = 65535.0f / static_cast<float>(high - low);
  for (std::uint16_t& level : levels) {
    const float r = static_cast<float>(std::max(level - low, 0)) * scale;
    // The upper bound is full scale even where the product falls short of it.
    level = high == low || level >= high ? std::uint16_t{65535} : limited(r);
  }
  return levels;
}

Levels gainTable(const Counts& histogram, int low, int high, float weight, int steepest) {
  const double steep = std::max(steepest, 1), w = weight > 0.0f ? std::min(double{weight}, 1.0) : 0.0;
  const auto pixels = std::accumulate(histogram.begin(), histogram.end(), std::uint64_t{0});

  const int span = std::max(high - low, 0);
  const double slope = span == 0 ? 0.0 : std::min(65535.0 / span, steep);
  const double lowest = std::max(65535.0 - slope * span, 0.0) / 2.0;

  const auto count = [&](int level) { return histogram[static_cast<std::size_t>(level)]; };
  std::vector<double> equalised;
  // All but 1/512 of the pixels at either end, in at most 1024 bins.
  int first = -1, last = 65536;
  for (std::uint64_t passed = 0; passed <= pixels / 512;) passed += count(++first);
  for (std::uint64_t passed = 0; passed <= pixels / 512;) passed += count(--last);
  const int size = (last - first) / 1024 + 1, bins = (last - first) / size + 1;
  std::vector<std::uint64_t> counts(static_cast<std::size_t>(bins));
  std::vector<double> width(counts.size()), rise(counts.size());
  std::uint64_t inside = 0;
  for (int level = first; level <= last; ++level) {
    const auto bin = static_cast<std::size_t>((level - first) / size);
    counts[bin] += count(level), inside += count(level);
    width[bin] += 1.0;
  }
  const auto empty = static_cast<std::uint64_t>(std::count(counts.begin(), counts.end(), 0u));
  const std::uint64_t plateau = std::max<std::uint64_t>(3 * inside / (counts.size() - empty), 1);
  std::uint64_t clipped = 0;
  for (auto& part : counts) clipped += part = std::min(part, plateau);
  for (std::size_t b = 0; b < rise.size(); ++b)
    rise[b] = 65535.0 * static_cast<double>(counts[b]) / static_cast<double>(clipped);
  // What the limit takes is given to those that have not reached it, by their levels, in four rounds.
  double left = 0.0;
  for (int round = 0; round <= 4; ++round) {
    double room = 0.0;
    left = 65535.0;
    for (std::size_t b = 0; b < rise.size(); ++b) {
      if (rise[b] < steep * width[b]) room += width[b];
      rise[b] = std::min(rise[b], steep * width[b]);
      left -= rise[b];
    }
    for (std::size_t b = 0; b < rise.size() && round < 4 && room > 0.0; ++b) {
      if (rise[b] < steep * width[b]) rise[b] += left / room * width[b];
    }
  }
  left = std::max(left, 0.0);
  // Half of the rest to each tail, and what one has no use for to the other.
  const int begin = std::min(low, first), end = std::max(high, last) + 1;
  const double lowRoom = steep * (first - begin), highRoom = steep * (end - 1 - last);
  const double lowTail = std::min(lowRoom, std::max(left / 2.0, left - highRoom));
  const double highTail = std::min(highRoom, left - lowTail);
  double base = (left - lowTail - highTail) / 2.0;
  const auto append = [&](int levels, double total) {
    for (int i = 0; i < levels; ++i) equalised.push_back(base + total * (i + 0.5) / levels);
    base += total;
  };
  append(begin, 0.0);
  append(first - begin, lowTail);
  for (std::size_t b = 0; b < rise.size(); ++b) append(static_cast<int>(width[b]), rise[b]);
  append(end - 1 - last, highTail);
  equalised.resize(kAllLevels, base);

  Levels table;
  for (int level = 0; level < 65536; ++level) {
    const double linear = lowest + slope * std::clamp(level - low, 0, span);
    const double mixed = linear * (1.0 - w) + equalised[static_cast<std::size_t>(level)] * w;
    table.push_back(static_cast<std::uint16_t>(mixed + 1e-6));
  }
  return table;
}

Floats contrast(const Counts& counts, std::size_t pixels, float clipFraction) {
  const auto limit = static_cast<std::uint32_t>(static_cast<float>(pixels) * clipFraction);
  std::uint32_t total = 0;
  for (const std::uint32_t count : counts) total += std::min(count, limit);
  Floats table;
  for (std::size_t i = 0; i < counts.size(); ++i) {
    const float share = static_cast<float>(std::min(counts[i], limit)) / static_cast<float>(total);
    table.push_back(total == 0 ? static_cast<float>(i) / 65535.0f : i == 0 ? share : share + table[i - 1]);
  }
  return table;
}

std::vector<std::pair<int, int>> repairDefects(Picture& picture, std::vector<std::pair<int, int>> list,
                                               bool blank) {
  std::vector<std::pair<int, int>> used;
  const auto inside = [&](int x, int y) {
    return x >= 0 && y >= 0 && x < picture.width && y < picture.height;
  };
  for (; !list.empty(); list.erase(list.begin())) {
    const auto [x, y] = list.front();
    if (!inside(x, y)) continue;
    std::uint32_t sum = 0, count = 0;
    for (int dy = -1; dy <= 1; ++dy) {
      for (int dx = -1; dx <= 1; ++dx) {
        const std::pair<int, int> neighbour{x + dx, y + dy};
        if ((dx == 0 && dy == 0) || !inside(x + dx, y + dy)) continue;
        if (std::find(list.begin(), list.end(), neighbour) != list.end()) continue;
        used.push_back(neighbour);
        const int level = picture.at(x + dx, y + dy);
        if (level == 0 || level == 16383) continue;
        sum += static_cast<std::uint32_t>(level);
        ++count;
      }
    }
    if (count == 0) continue;
    const float mean = static_cast<float>(sum) / static_cast<float>(count);
    picture.levels[static_cast<std::size_t>(y * picture.width + x)] =
        blank ? std::uint16_t{0} : limited(mean);
  }
  return used;
}

Floats target(const Picture& picture, int degrees) {
  const double cx = (picture.width - 1) / 2.0, cy = (picture.height - 1) / 2.0;
  Floats levels;
  for (int j = 0; j < 9; ++j) {
    for (int i = 0; i < 9; ++i) {
      const double right = picture.width / 2 - 5 + i - cx, down = picture.height / 2 - 5 + j - cy;
      double x = cx + right, y = cy + down;
      if (degrees == 90) x = cx + down, y = cy - right;
      if (degrees == 180) x = cx - right, y = cy - down;
      if (degrees == 270) x = cx - down, y = cy + right;
      levels.push_back(
          static_cast<float>(picture.edge(static_cast<int>(std::floor(x)), static_cast<int>(std::floor(y)))));
    }
  }
  return levels;
}

Floats measuredTarget(const Floats& levels, float rangeMinK, float rangeSpanK, float emissivity) {
  const auto seen = [&](float kelvin) {
    return static_cast<float>(std::pow(std::pow(double{kelvin}, 4) / double{emissivity}, 0.25));
  };
  Floats temperatures;
  float sum = 0.0f, squares = 0.0f;
  for (const float level : levels) temperatures.push_back(rangeSpanK * level / 65535.0f + rangeMinK);
  for (const float t : temperatures) sum += t;
  const float mean = seen(sum / 81.0f);
  for (const float t : temperatures) squares += (seen(t) - mean) * (seen(t) - mean);
  return {mean, std::sqrt(squares / 80.0f)};
}

}  // namespace plain
