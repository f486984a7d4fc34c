#include <array>
#include <cmath>
#include <cstdlib>

#include "plainKernels.h"

namespace plain {

namespace {

constexpr int kSegments = 8;

struct Range {
  int first, end;
};
Range segmentOf(int segment, int length) {
  return {segment * length / kSegments, (segment + 1) * length / kSegments};
}

std::uint16_t gate(float levels, float least, float most) { return limited(std::clamp(levels, least, most)); }

/// The rows a row is compared with.
std::array<int, 4> around(int y, int height) {
  const int last = height - 1;
  if (y == 0) return {1, 2, 1, 2};
  if (y == last) return {last - 1, last - 2, last - 1, last - 2};
  if (y == 1 || y == last - 1) return {y - 1, y - 1, y + 1, y + 1};
  return {y - 2, y - 1, y + 1, y + 2};
}

float sumInPairs(const float* values, int count) {
  return count == 1 ? *values : sumInPairs(values, count / 2) + sumInPairs(values + count / 2, count / 2);
}

/// The profile less its mean over 17 columns; at the sides, less the line through the outermost 17.
Floats withoutTrend(const Floats& profile) {
  const int width = static_cast<int>(profile.size());
  Floats out(profile.size());
  for (int x = 0; x < width && width >= 17; ++x) {
    const float* const window = profile.data() + std::clamp(x - 8, 0, width - 17);
    const float place = static_cast<float>(profile.data() + x - window);
    float trend = (1.0f / 17.0f) * (sumInPairs(window, 16) + window[16]);
    if (place != 8.0f) {
      float sum = 0.0f, moment = 0.0f;
      for (int i = 0; i < 17; ++i) sum += window[i], moment += static_cast<float>(i - 8) * window[i];
      trend = sum / 17.0f + moment / 408.0f * (place - 8.0f);  // 2 * (1 + 4 + 9 + ... + 64)
    }
    out[static_cast<std::size_t>(x)] = profile[static_cast<std::size_t>(x)] - trend;
  }
  return out;
}

float median(Levels magnitudes) {
  if (magnitudes.empty()) return 0.0f;
  std::sort(magnitudes.begin(), magnitudes.end());
  const std::uint16_t middle = magnitudes[magnitudes.size() / 2];
  const auto [first, last] = std::equal_range(magnitudes.begin(), magnitudes.end(), middle);
  const float below = static_cast<float>(first - magnitudes.begin());
  const float share =
      (0.5f * static_cast<float>(magnitudes.size()) - below) / static_cast<float>(last - first);
  return middle == 0 ? 0.5f * share : static_cast<float>(middle) - 0.5f + share;
}

}  // namespace

Levels columnGates(const Picture& in) {
  Levels steps;
  const int rows = std::min(in.height, 32);
  for (int i = 0; i < rows; ++i) {
    const int y = i * in.height / rows;
    for (int x = 1; x < in.width; ++x)
      steps.push_back(static_cast<std::uint16_t>(std::abs(in.at(x, y) - in.at(x - 1, y))));
  }
  const float step = 4.0f * 1.4826f * median(steps);
  return {gate(step, 0.0f, 1023.0f), gate(0.75f * step, 0.0f, 1023.0f)};
}

Levels rowGates(const Picture& in) {
  if (in.height < 5) return {1, 1};
  Levels quarters;
  const int rows = std::min(in.height, 32);
  for (int i = 0; i < rows; ++i) {
    const int y = i * in.height / rows;
    for (int x = 0; x < in.width; ++x) {
      int difference = 4 * in.at(x, y);
      for (const int row : around(y, in.height)) difference -= in.at(x, row);
      quarters.push_back(limited(static_cast<long long>(std::abs(difference))));
    }
  }
  const float step = 0.25f * 4.0f * 1.4826f * median(quarters);
  return {gate(step, 1.0f, 8190.0f), gate(0.4f * step, 1.0f, 8190.0f)};
}

Votes columnVotes(const Picture& in, int step, int reach) {
  Votes votes;
  for (int s = 0; s < kSegments; ++s) {
    const Range rows = segmentOf(s, in.height);
    for (int x = 0; x < in.width; ++x) {
      int sum = 0, voters = 0;
      for (int y = rows.first; y < rows.end && x > 0 && in.width >= 17; ++y) {
        const int before = in.edge(x - 4, y), left = in.at(x - 1, y), here = in.at(x, y),
                  after = in.edge(x + 3, y);
        const bool level = std::abs(after - before) <= reach && std::abs(here - before) <= reach &&
                           std::abs(after - left) <= reach;
        if (std::abs(here - left) <= step && level) sum += here - left, ++voters;
      }
      votes.sums.push_back(sum);
      votes.voters.push_back(voters);
    }
  }
  return votes;
}

Floats columnOffsets(const Votes& votes, const Picture& in) {
  Floats offsets;
  for (int s = 0; s < kSegments; ++s) {
    const Range rows = segmentOf(s, in.height);
    Floats profile;
    float level = 0.0f;
    for (int x = 0; x < in.width; ++x) {
      const auto i = static_cast<std::size_t>(s * in.width + x);
      const bool enough = votes.voters[i] > 0 && 8 * votes.voters[i] >= rows.end - rows.first;
      if (enough) level += static_cast<float>(votes.sums[i]) / static_cast<float>(votes.voters[i]);
      profile.push_back(level);
    }
    const Floats stripes = withoutTrend(profile);
    offsets.insert(offsets.end(), stripes.begin(), stripes.end());
  }
  return offsets;
}

Floats rowOffsets(const Picture& in, int offset, int reach) {
  Floats offsets;
  for (int s = 0; s < kSegments; ++s) {
    const Range columns = segmentOf(s, in.width);
    for (int y = 0; y < in.height; ++y) {
      int sum = 0, voters = 0;
      for (int x = columns.first; x < columns.end && in.height >= 5; ++x) {
        const auto rows = around(y, in.height);
        const int a = in.at(x, rows[0]), b = in.at(x, rows[1]), c = in.at(x, rows[2]), d = in.at(x, rows[3]);
        const int before = (a + b + 1) / 2, after = (c + d + 1) / 2;
        if (std::abs(in.at(x, y) - (before + after + 1) / 2) > offset) continue;
        if (std::abs(before - after) > reach) continue;
        sum += 4 * in.at(x, y) - a - b - c - d;
        ++voters;
      }
      const bool enough = voters > 0 && 2 * voters >= columns.end - columns.first;
      offsets.push_back(enough ? static_cast<float>(sum) / (4.0f * static_cast<float>(voters)) : 0.0f);
    }
  }
  return offsets;
}

Floats agreed(const Floats& offsets, std::size_t stripes, float removed, float limit) {
  Floats out;
  for (std::size_t i = 0; i < stripes; ++i) {
    std::array<float, kSegments> said;
    for (std::size_t s = 0; s < kSegments; ++s) said[s] = offsets[s * stripes + i];
    std::sort(said.begin(), said.end());
    const float low = said[2], high = said[5];
    float offset = 0.5f * (said[3] + said[4]) - removed;
    offset = std::min(offset, std::max(low - removed, 0.0f) + 1.0f);
    offset = std::max(offset, std::min(high - removed, 0.0f) - 1.0f);
    out.push_back(low == 0.0f && high == 0.0f ? 0.0f : std::clamp(offset, -limit, limit));
  }
  return out;
}

Levels withoutStripes(const Picture& in, const Floats& offsets, bool columns) {
  Levels out;
  for (int i = 0; i < in.width * in.height; ++i) {
    const float offset = offsets[static_cast<std::size_t>(columns ? i % in.width : i / in.width)];
    const float size = std::isnan(offset) ? 0.0f : std::min(std::abs(offset), 65535.0f);
    const int whole = static_cast<int>(size + 0.5f);
    const long long level = in.levels[static_cast<std::size_t>(i)];
    out.push_back(limited(offset < 0.0f ? level + whole : level - whole));
  }
  return out;
}

}  // namespace plain
