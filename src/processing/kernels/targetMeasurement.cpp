#include "processing/kernels/targetMeasurement.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "processing/state/FrameStatistics.h"

namespace kernels {

namespace {

struct Place {
  std::int32_t x = 0;
  std::int32_t y = 0;
};

/// Where the pixel that the turned picture shows at `shown` lies in the image. Returns false for an angle
/// that is not known. Between pixels (one side odd, the other even) the left or upper one is taken.
bool unturn(Place shown, std::int32_t width, std::int32_t height, float degrees, Place& place) {
  const std::int32_t sum = (width + height - 2) >> 1;  // rounds down, also below 0, as the others do
  if (degrees == 0.0f) {
    place = shown;
  } else if (degrees == 90.0f) {
    place = {shown.y + ((width - height) >> 1), sum - shown.x};
  } else if (degrees == 180.0f) {
    place = {width - 1 - shown.x, height - 1 - shown.y};
  } else if (degrees == 270.0f) {
    place = {sum - shown.y, shown.x + ((height - width) >> 1)};
  } else {
    return false;
  }
  return true;
}

/// Temperature of an object with the emissivity that looks like a black body of this temperature.
float withEmissivity(float blackBodyK, float emissivity) {
  const double k = static_cast<double>(blackBodyK);
  return static_cast<float>(std::pow(k * k * k * k / static_cast<double>(emissivity), 0.25));
}

template <std::size_t n>
void enter(float value, float resetValue, std::array<float, n>& history) {
  if (history.front() == resetValue) {
    history.fill(value);
    return;
  }
  std::copy_backward(history.begin(), history.end() - 1, history.end());
  history.front() = value;
}

template <std::size_t n>
float average(const std::array<float, n>& history) {
  float sum = 0.0f;
  for (const float value : history) sum += value;
  return sum * 0.0625f;
}

}  // namespace

TargetLevels readTarget(ImageView<const std::uint16_t> image, float degrees) {
  constexpr auto kSize = static_cast<std::int32_t>(kTargetSize);
  const auto width = static_cast<std::int32_t>(image.width);
  const auto height = static_cast<std::int32_t>(image.height);
  TargetLevels levels{};
  auto level = levels.begin();
  for (std::int32_t row = 0; row < kSize; ++row) {
    for (std::int32_t column = 0; column < kSize; ++column, ++level) {
      Place place;
      const Place shown{width / 2 - 5 + column, height / 2 - 5 + row};
      if (!unturn(shown, width, height, degrees, place)) continue;
      *level = image.at(static_cast<std::uint32_t>(std::clamp(place.x, 0, width - 1)),
                        static_cast<std::uint32_t>(std::clamp(place.y, 0, height - 1)));
    }
  }
  return levels;
}

TargetReading measureTarget(const TargetLevels& levels, const Radiometry& radiometry) {
  constexpr float kPixels = static_cast<float>(std::tuple_size_v<TargetLevels>);
  TargetLevels temperatures;
  float sum = 0.0f;
  for (std::size_t i = 0; i < levels.size(); ++i) {
    temperatures[i] = radiometry.rangeSpanK * levels[i] / 65535.0f + radiometry.rangeMinK;
    sum += temperatures[i];
  }
  TargetReading reading;
  reading.temperature = withEmissivity(sum / kPixels, radiometry.emissivity);
  float squares = 0.0f;
  for (const float temperature : temperatures) {
    const float apart = withEmissivity(temperature, radiometry.emissivity) - reading.temperature;
    squares += apart * apart;
  }
  reading.noise = std::sqrt(squares / (kPixels - 1.0f));
  return reading;
}

void averageTarget(const TargetReading& reading, float rangeMinK, TargetMeasurement& target) {
  enter(reading.temperature, rangeMinK, target.temperatureHistory);
  enter(reading.noise, kNotInitialised, target.noiseHistory);
  target.targetTemperatureK = average(target.temperatureHistory);
  target.targetNoiseK = average(target.noiseHistory);
}

}  // namespace kernels
