#include "acquisition/backends/simulated/cameraModel.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "common/numerics.h"

namespace simulation {
namespace {

constexpr std::array<CameraModel, 3> kModels{{
    {"marlow3", "Marlow 3", "MRL3-320-60", 0x96ea, 320, 240, 320, 60.0, 4800.0f, 40.0f, 0.060f, 40.0f, 0.08f,
     TemperatureFormat::Word320},
    {"bramble6", "Bramble 6", "BRB6-640-60", 0x96eb, 640, 480, 640, 60.0, 5000.0f, 50.0f, 0.050f, 45.0f,
     0.10f, TemperatureFormat::Word640},
    // Four columns on either side of the picture: two of reference level, two of junk.
    {"hollis12", "Hollis 12", "HLS12-1280-30", 0x96ec, 1280, 1024, 1288, 30.0, 4900.0f, 45.0f, 0.050f, 45.0f,
     0.08f, TemperatureFormat::ReferenceColumns},
}};

}  // namespace

std::span<const CameraModel> cameraModels() { return kModels; }

const CameraModel* findCameraModel(std::string_view id) {
  const auto found =
      std::find_if(kModels.begin(), kModels.end(), [&](const auto& model) { return model.id == id; });
  return found == kModels.end() ? nullptr : &*found;
}

std::uint16_t temperatureWord(TemperatureFormat format, double celsius) {
  switch (format) {
    case TemperatureFormat::Word320:
      return truncateToU16(std::round((359.397 - celsius) / 0.02778));
    case TemperatureFormat::Word640:
      return truncateToU16(std::round((415.48 - celsius) / (3.7 / 65535.0 * 188.65)));
    case TemperatureFormat::ReferenceColumns:
      break;
  }
  const double level = ((684.67 - (celsius + 273.15)) / 187.775 - 0.5) * 8192.0;
  return std::min<std::uint16_t>(truncateToU16(std::round(level)), 16383);
}

}  // namespace simulation
