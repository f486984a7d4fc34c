#include "pictures/overlayScenes.h"

#include "acquisition/imageAcquisition.h"
#include "core/settings.h"
#include "presentation/ColorPreset.h"
#include "presentation/colorize.h"
#include "presentation/overlays/overlayFonts.h"
#include "processing/process.h"

namespace {

const std::vector<const char*> kAll = {"displayTarget",    "displayHistogram",         "displayColorBar",
                                       "displayImageSize", "displaySensorTemperature", "displayMinMax",
                                       "displayFrameRate", "displaySensorSerial"};

std::vector<const char*> allAnd(const char* parameter) {
  std::vector<const char*> parameters = kAll;
  parameters.push_back(parameter);
  return parameters;
}

/// 24 degC and more in blocks of a sixteenth of the picture, rising to the right and downwards; a cold and a
/// hot pixel group off the centre.
void paintLevels(image<unsigned short>& raw) {
  const unsigned width = raw.width, height = raw.height;
  for (unsigned y = 0; y < height; ++y) {
    for (unsigned x = 0; x < width; ++x) {
      raw.data[y * width + x] =
          static_cast<unsigned short>(16000 + 200 * (x * 16 / width) + 100 * (y * 16 / height));
    }
  }
  raw.data[height / 5 * width + width * 3 / 4] = 14000;
  raw.data[height * 2 / 3 * width + width / 5] = 26000;
}

/// What the stages would otherwise blend in, their own tests look at.
void quieten(processData<unsigned short>& data) {
  data.output.temporalFiltering = 0.0f;
  data.output.spatialFiltering = false;
  data.destriping.columnDestripingPasses = data.destriping.rowDestripingPasses = 0;
  data.mapping.mappingMode = 2;
  data.mapping.mappingLow = 14000;
  data.mapping.mappingHigh = 22000;
}

/// A contrast table bent like a root.
void bendContrast(MappingState& mapping) {
  for (std::size_t level = 0; level < kLevels; ++level) {
    const float share = static_cast<float>(level) / 65535.0f;
    mapping.contrastTable[level] = share * (2.0f - share);
  }
}

void setUp(const OverlayScene& scene, imageAcquisition& camera) {
  USBDeviceDesc found;
  found.vid = 0x5c2b;
  found.pid = 0x96ea;
  camera.setUSBDevice(found, 0, 3);
  auto& data = camera.processing;
  data.allocate(scene.width, scene.height);
  quieten(data);
  data.output.rotationDegrees = scene.degrees;
  data.output.secondZoomFactor = scene.zoom;
  data.output.secondInterpolation = 0;
  data.radiometry.emissivity = scene.emissivity;
  data.palette.select(scene.preset);
  camera.device.serialNumber = 466001359;
  camera.device.sensorTemperatureK = 304.4f;
  camera.delivered.number = 1;
  camera.delivered.fromFilledSlot = true;
  paintLevels(data.rawImage);
}

/// What only a camera with its files would bring.
void dress(const OverlayScene& scene, imageAcquisition& camera) REQUIRES(frameMutex) {
  auto& data = camera.processing;
  data.flatField.shutterlessCorrection = data.flatField.twoTableFFC = scene.radiometric;
  data.flatField.ffcMode = 1;
  data.mapping.mappingMode = scene.mappingMode;
  bendContrast(data.mapping);
  data.calibration.ffcCalibrating = scene.calibrating;
  camera.publicationRate = 59.94f;
}

}  // namespace

std::span<const OverlayScene> overlayScenes() {
  static const std::vector<OverlayScene> scenes = {
      {.name = "320x240", .width = 320, .height = 240, .parameters = kAll, .preset = 4, .mappingMode = 3},
      {.name = "320x240_90", .width = 320, .height = 240, .parameters = kAll, .degrees = 90.0f, .preset = 2},
      {.name = "320x240_zoom",
       .width = 320,
       .height = 240,
       .parameters = {"displayTarget", "displayImageSize", "displayMinMax", "displayColorBar"},
       .preset = 5,
       .zoom = 2.0f,
       .emissivity = 0.9f},
      // Seven stripes leave two rows unpainted; the inverted palette differs from the panel's.
      {.name = "320x240_levels",
       .width = 320,
       .height = 240,
       .parameters = {"displayHistogram", "displayColorBar", "processingUnits=7", "displaySensorSerial"},
       .preset = 1,
       .radiometric = false},
      {.name = "640x480", .width = 640, .height = 480, .parameters = kAll, .preset = 3, .mappingMode = 4},
      {.name = "640x480_180",
       .width = 640,
       .height = 480,
       .parameters = allAnd("font=Calibri_32_AA"),
       .degrees = 180.0f,
       .preset = 0,
       .calibrating = true},
      {.name = "1280x1024", .width = 1280, .height = 1024, .parameters = kAll, .preset = 5},
      {.name = "1280x1024_270",
       .width = 1280,
       .height = 1024,
       .parameters = kAll,
       .degrees = 270.0f,
       .preset = 6},
      {.name = "80x60", .width = 80, .height = 60, .parameters = allAnd("font=Calibri_16_AA"), .preset = 4},
      {.name = "80x60_90", .width = 80, .height = 60, .parameters = kAll, .degrees = 90.0f, .preset = 4},
      {.name = "24x10", .width = 24, .height = 10, .parameters = kAll, .preset = 4},
  };
  return scenes;
}

std::vector<rgb_24b> paintScene(const OverlayScene& scene) {
  settings::create(0, nullptr);
  settings::inst()->parseParam("processingUnits=1");
  for (const char* parameter : scene.parameters) settings::inst()->parseParam(parameter);
  if (colorPresetCount() == 0) loadColorPresets();
  freeOverlayFonts();
  loadOverlayFonts(OMBRIX_SOURCE_DIR "/data");
  imageAcquisition camera("data", false);
  setUp(scene, camera);
  {
    FairLock lock(frameMutex);
    process(&camera);
    dress(scene, camera);
    colorize(&camera, scene.width, scene.height);
  }
  const image<rgb_24b>& picture = camera.processing.colorImage;
  freeOverlayFonts();
  settings::release();
  return {picture.data, picture.data + picture.pixelCount()};
}
