#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace simulation {

/// How a model sends its sensor temperature along with the picture.
enum class TemperatureFormat { Word320, Word640, ReferenceColumns };

/// What sets one camera model apart from the others. Detector figures are in counts and kelvin at 298.15 K.
struct CameraModel {
  std::string_view id;          ///< as scenarios spell it: "bramble6"
  std::string_view name;        ///< the device's friendly name: "Bramble 6"
  std::string_view partNumber;  ///< as the flash holds it
  std::uint16_t productId = 0;  ///< USB product under vendor 0x5c2b
  std::uint32_t width = 0;      ///< sensor, pixels
  std::uint32_t height = 0;
  std::uint32_t streamWidth = 0;  ///< pixels per line of the video stream, `height` lines
  double rateHz = 0.0;
  float baseCounts = 0.0f;      ///< level of a 298.15 K scene at a 298.15 K detector
  float responsivity = 0.0f;    ///< counts per equivalent kelvin
  float noiseK = 0.0f;          ///< noise-equivalent temperature difference
  float linearDrift = 0.0f;     ///< counts per kelvin of detector temperature
  float quadraticDrift = 0.0f;  ///< counts per square kelvin
  TemperatureFormat temperature = TemperatureFormat::Word640;
};

/// The three models, in the order of the product ids.
std::span<const CameraModel> cameraModels();

/// The model a scenario names; null when there is none of that name.
const CameraModel* findCameraModel(std::string_view id);

/// The 16-bit word that carries a temperature in the last pixel (320 and 640 wide models), or the 14-bit
/// level of the reference columns. Limited to what the format can hold.
std::uint16_t temperatureWord(TemperatureFormat format, double celsius);

}  // namespace simulation
