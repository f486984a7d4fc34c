// The same frame as one writes it with OpenCV, on the same samples. Two ways:
//   best   the fastest honest one: loops of one's own where OpenCV has no call, saturating 16-bit addition
//   and
//          subtraction for the flat field, convertTo for the mapping, a loop over a table of 65,536 colours.
//   usual  what examples show: a median for dead pixels, mixed-type addition, normalize, accumulateWeighted,
//          eight bits and applyColorMap with a palette of 256.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "bench/SyntheticCamera.h"
#include "bench/Timings.h"

namespace bench {

namespace {

constexpr double kAverageWeight = 0.7;
constexpr int kLevels = 65536;

struct Repair {
  int index;
  std::vector<int> neighbours;
};

std::vector<Repair> findNeighbours(const SyntheticCamera& camera) {
  std::vector<bool> bad(camera.pixelCount());
  const auto indexOf = [&camera](int x, int y) { return y * camera.width + x; };
  for (const auto& [x, y] : camera.defects) bad[static_cast<std::size_t>(indexOf(x, y))] = true;
  std::vector<Repair> repairs;
  for (const auto& [x, y] : camera.defects) {
    Repair repair{indexOf(x, y), {}};
    for (int v = std::max(y - 1, 0); v <= std::min(y + 1, camera.height - 1); ++v) {
      for (int u = std::max(x - 1, 0); u <= std::min(x + 1, camera.width - 1); ++u) {
        if (!bad[static_cast<std::size_t>(indexOf(u, v))]) repair.neighbours.push_back(indexOf(u, v));
      }
    }
    repairs.push_back(std::move(repair));
  }
  return repairs;
}

class OpenCvPipeline {
 public:
  explicit OpenCvPipeline(const SyntheticCamera& source)
      : camera(source),
        repairs(findNeighbours(source)),
        shift(source.height, source.width, CV_16S),
        raise(source.height, source.width, CV_16U),
        lower(source.height, source.width, CV_16U),
        badMask(source.height, source.width, CV_8U, cv::Scalar(0)),
        raw(source.height, source.width, CV_16U),
        colours(source.height, source.width, CV_8UC3) {
    calibrate();
    makePalettes();
  }

  void best(std::size_t frame, StageSeries& stages) {
    unpack(frame);
    stages.mark("unpack");
    repair(raw);
    stages.mark("defects 1");
    cv::add(raw, raise, raised);
    cv::subtract(raised, lower, corrected);
    stages.mark("flat field");
    repair(corrected);
    stages.mark("defects 2");
    measure(stages);
    const double scale = highest > lowest ? 65535.0 / (highest - lowest) : 1.0;
    corrected.convertTo(mapped, CV_16U, scale, -lowest * scale);
    stages.mark("gain");
    if (average.empty()) mapped.copyTo(average);
    cv::addWeighted(average, kAverageWeight, mapped, 1.0 - kAverageWeight, 0.0, average);
    stages.mark("temporal");
    colourise();
    stages.mark("colourise");
  }

  void usual(std::size_t frame, StageSeries& stages) {
    unpack(frame);
    stages.mark("unpack");
    cv::medianBlur(raw, smoothed, 3);
    smoothed.copyTo(raw, badMask);
    stages.mark("defects");
    cv::add(raw, shift, corrected, cv::noArray(), CV_16U);
    stages.mark("flat field");
    measure(stages);
    cv::normalize(corrected, mapped, 0, 65535, cv::NORM_MINMAX);
    stages.mark("gain");
    if (sums.empty()) mapped.convertTo(sums, CV_32F);
    cv::accumulateWeighted(mapped, sums, 1.0 - kAverageWeight);
    sums.convertTo(average, CV_16U);
    stages.mark("temporal");
    average.convertTo(grey, CV_8U, 1.0 / 257.0);
    cv::applyColorMap(grey, colours, smallPalette);
    stages.mark("colourise");
  }

 private:
  void calibrate() {
    for (std::size_t i = 0; i < camera.table.size(); ++i) {
      const int level = static_cast<int>(camera.table[i] / SyntheticCamera::kTableFrames);
      const int distance = static_cast<int>(camera.target) - level;
      shift.ptr<std::int16_t>()[i] = static_cast<std::int16_t>(distance);
      raise.ptr<std::uint16_t>()[i] = static_cast<std::uint16_t>(std::max(distance, 0));
      lower.ptr<std::uint16_t>()[i] = static_cast<std::uint16_t>(std::max(-distance, 0));
    }
    for (const auto& [x, y] : camera.defects) badMask.at<std::uint8_t>(y, x) = 255;
  }

  void makePalettes() {
    cv::Mat ramp(256, 1, CV_8U), painted;
    for (int i = 0; i < 256; ++i) ramp.at<std::uint8_t>(i) = static_cast<std::uint8_t>(i);
    cv::applyColorMap(ramp, painted, cv::COLORMAP_INFERNO);
    for (int i = 0; i < kLevels; ++i) {
      const int curved = cv::saturate_cast<int>(std::pow(i / 65535.0, 0.85) * 65535.0);
      palette.push_back(painted.at<cv::Vec3b>(curved >> 8));
    }
    smallPalette.create(256, 1, CV_8UC3);
    for (int i = 0; i < 256; ++i) smallPalette.at<cv::Vec3b>(i) = palette[static_cast<std::size_t>(i) * 257];
  }

  void unpack(std::size_t frame) {
    const std::uint8_t* const bytes = camera.frames[frame % camera.frames.size()].data();
    auto* const levels = raw.ptr<std::uint16_t>();
    const std::size_t count = raw.total();
    for (std::size_t i = 0; i < count; ++i)
      levels[i] = static_cast<std::uint16_t>((bytes[2 * i] << 6) | (bytes[2 * i + 1] >> 2));
  }

  void repair(cv::Mat& image) const {
    auto* const levels = image.ptr<std::uint16_t>();
    for (const Repair& pixel : repairs) {
      unsigned sum = 0;
      for (const int neighbour : pixel.neighbours) sum += levels[neighbour];
      const auto count = static_cast<unsigned>(pixel.neighbours.size());
      if (count != 0) levels[pixel.index] = static_cast<std::uint16_t>(sum / count);
    }
  }

  void measure(StageSeries& stages) {
    cv::Point lowestAt, highestAt;
    cv::minMaxLoc(corrected, &lowest, &highest, &lowestAt, &highestAt);
    benchmark::DoNotOptimize(cv::mean(corrected)[0]);
    stages.mark("extremes and mean");
    const float range[] = {0.0f, static_cast<float>(kLevels)};
    const float* ranges = range;
    const int channel = 0;
    cv::calcHist(&corrected, 1, &channel, cv::noArray(), histogram, 1, &kLevels, &ranges);
    stages.mark("histogram");
  }

  void colourise() {
    const auto paintRows = [this](const cv::Range& rows) {
      for (int y = rows.start; y < rows.end; ++y) {
        const auto* const levels = average.ptr<std::uint16_t>(y);
        auto* const out = colours.ptr<cv::Vec3b>(y);
        for (int x = 0; x < average.cols; ++x) out[x] = palette[levels[x]];
      }
    };
    cv::parallel_for_(cv::Range(0, average.rows), paintRows);
  }

  const SyntheticCamera& camera;
  std::vector<Repair> repairs;
  cv::Mat shift, raise, lower, badMask;
  std::vector<cv::Vec3b> palette;
  cv::Mat smallPalette;
  cv::Mat raw, raised, corrected, smoothed, mapped, average, sums, histogram, grey, colours;
  double lowest = 0.0, highest = 0.0;
};

using Way = void (OpenCvPipeline::*)(std::size_t frame, StageSeries& stages);

void runPipeline(benchmark::State& state, Way way, const FrameSize& size, int threads) {
  const SyntheticCamera& camera =
      syntheticCamera(static_cast<std::uint16_t>(size.width), static_cast<std::uint16_t>(size.height));
  cv::setNumThreads(threads);
  OpenCvPipeline pipeline(camera);
  StageSeries stages(threads);
  for (std::size_t frame = 0; frame < camera.frames.size(); ++frame) {
    stages.begin();
    (pipeline.*way)(frame, stages);
  }
  stages.forget();
  std::size_t frame = 0;
  measure(
      state, camera.pixelCount(), threads, [&stages] { stages.begin(); },
      [&] { (pipeline.*way)(frame++, stages); });
  stages.report(state, camera.pixelCount());
}

}  // namespace

void registerOpenCv() {
  for (const int threads : {1, 2}) {
    for (const FrameSize& size : kFrameSizes) {
      const std::string variant = std::string(size.name) + "/units:" + std::to_string(threads);
      const auto addWay = [&](const std::string& name, Way way) {
        add(name + variant, size,
            [&size, threads, way](benchmark::State& state) { runPipeline(state, way, size, threads); });
      };
      addWay("opencv/best/", &OpenCvPipeline::best);
      addWay("opencv/usual/", &OpenCvPipeline::usual);
    }
  }
}

}  // namespace bench
