#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "ombrix/export.h"

/// A handle on one camera. Constructing it opens the camera and starts its frames; they flow until the
/// `OmbrixSDK` object is destroyed. Destroying or copying an `Ombrix` disconnects nothing.
///
/// Nothing here throws, and every member may be called from any thread while frames flow. A member that does
/// not know its handle logs "Device not found in connected devices list. Handle: N" and returns false, 0, an
/// empty text, or nothing.
///
/// About the frames: the first frame of a stream is all zero, and every fourth delivery repeats the picture
/// before it (with its own frame number). Opening any camera switches free-run on for the process; a camera
/// that `setFreeRun(false)` paired with its temperatures stays paired until `setFreeRun(true)`.
class OMBRIX_EXPORT Ombrix {
 public:
  /// Gain control: how corrected 14-bit levels become the 16-bit output image.
  enum mapping : int {
    mappingHistogramTable,     ///< levels as they are
    mappingLinear,             ///< linear between the smoothed minimum and maximum of the frame
    mappingManual,             ///< linear between the two given bounds
    mappingEqualized,          ///< histogram gain control
    mappingTemperatureWindow,  ///< by temperature per grey level
  };

  /// Which picture of a frame a snapshot shows.
  enum snapshotKind : int {
    snapshotThermal,  ///< the corrected 16-bit levels, as `getRawFrame` delivers them
    snapshotCooked,   ///< the 16-bit output after gain control and filters, which is coloured
    snapshotColor,    ///< the colour frame
  };

  /// What comes beside a frame.
  struct metadata {
    float sensorTemperature = 0.0f;         ///< of the focal-plane array (FPA), kelvin
    std::uint64_t serialNumber = 0;         ///< numeric serial number; 0 when it could not be read
    std::uint64_t framesSinceLastCall = 0;  ///< since this getter's last delivery; 1 = none missed
    std::uint64_t frameNumber = 0;          ///< running number of the delivered frame, from 1
    /// Caller-owned, 65,536 entries: receives the count of every 16-bit level. Null: no histogram is copied.
    std::uint32_t* histogramBuffer = nullptr;
  };

  /// Opens camera `handle` (0 .. OmbrixSDK::getDeviceCount() - 1) with the calibration files of directory
  /// `dataPath` (empty: "data"; one trailing "/" is dropped). Blocks until the camera streams or has failed;
  /// failures are logged and told by `getErrorText`. A handle that is already open logs an error; the new
  /// object still works as a second handle.
  Ombrix(const int& handle = 0, const std::string& dataPath = std::string());
  /// The copy refers to the same camera and starts with the original's last frame numbers.
  Ombrix(const Ombrix& other);
  /// As the copy constructor: from here on this object refers to the other's camera.
  Ombrix& operator=(const Ombrix& other);
  virtual ~Ombrix();

  /// Copies the newest thermal frame, width x height 16-bit levels, row by row, into `buffer` (2 bytes per
  /// pixel; null: not copied). Each frame is delivered once per getter: waits up to `timeout` milliseconds
  /// for the next one (negative: without limit, 0: not at all). `md` may be null. False: no frame in time
  /// (logged unless `timeout` is 0), or the SDK was destroyed meanwhile.
  bool getRawFrame(std::uint8_t* buffer, metadata* md, const int& timeout);
  /// The same for the colour frame: width x height pixels of three bytes, red, green, blue.
  bool getColorFrame(std::uint8_t* buffer, metadata* md, const int& timeout);

  /// Size of both frames in pixels.
  bool getImageSize(std::uint64_t& width, std::uint64_t& height);
  /// Part number as the camera's flash holds it; empty when it holds none.
  std::string getPartNumber();
  /// Serial number as text; the numeric one in decimal when the flash holds none.
  std::string getSerialNumber();
  /// The sensor's read-out settings as read at opening: integration time, GFID, GSK, image gain (16-bit
  /// register values; the last is 0 on cameras without that register).
  void getSensorSettings(unsigned short& integration, unsigned short& gfid, unsigned short& gsk,
                         unsigned short& gain);
  /// Nominal frame rate of the model, frames per second.
  float getDeviceFrameRate();
  /// Not supported: logs "Not implemented." and returns false.
  bool setDeviceFrameRate(const float& rate);
  /// Measured rate of processed frames per second (smoothed); 0 before the second frame. This is not the
  /// limit that `setProcessingFrameRate` sets.
  float getProcessingFrameRate();
  /// Limits how many frames per second are processed; below 1 (and NaN) means 1. No limit at first.
  void setProcessingFrameRate(const float& rate);
  /// Why the camera is not usable: the last connect, start, stop or release failure; "none" when all is well.
  std::string getErrorText();

  /// Free-run (the state after opening): every frame is delivered. Off: each delivery waits for a new sensor
  /// temperature or a software trigger. Process-wide: it switches all cameras, this one's pairing included.
  void setFreeRun(const bool& on);
  /// True while free-run is on; false for an unknown handle, too.
  bool getFreeRun();
  /// With free-run off: lets one frame through at once.
  void softwareTriggerRequest();

  /// Closes the shutter, on models that have one. Returns when the command is sent: the next frames may still
  /// show the scene.
  void closeShutter();
  /// Opens the shutter, on models that have one.
  void openShutter();

  /// Manual flat field: applies the table that a shutter run made, or that was loaded from
  /// "DATAPATH/ffc/MODEL_SERIAL.ffc". Without a table the switch has no effect.
  void setFFC(const bool& on);
  /// The switch of the manual flat field; off while a run is in progress.
  bool getFFC();
  /// Makes the table of the manual flat field from the next `frameCount` frames: the camera has to look at
  /// something uniform, such as its closed shutter, all the while. The switch of `setFFC` goes off now and on
  /// at the end; the table is kept in two files under "DATAPATH/ffc". Only the low 16 bits of the count are
  /// used; when they are 0, nothing starts (logged). A run in progress starts its count anew.
  /// wait: returns when the run is over. It also returns, with the run ended and the earlier correction back
  /// in force, when no frame is processed for max(5 s, 10 frame periods), when the camera fails or is
  /// unplugged, and when the SDK is destroyed.
  void runFFC(const bool& wait, const int& frameCount);

  /// Repairs the pixels of the camera's defective-pixel list.
  void setDefectivePixelsCorrection(const bool& on);
  /// The switch of the repair. On after opening when there is a list, and on models whose last pixel carries
  /// the sensor temperature.
  bool getDefectivePixelsCorrection();
  /// The switch, as above; replaces `pixels` by the list: (column, row) pairs in the order of the file, row
  /// by row. With an unknown handle `pixels` is untouched.
  bool getDefectivePixelsCorrection(std::vector<std::pair<int, int>>& pixels);
  /// Shutterless flat field: tables or polynomials that follow the sensor temperature. Goes off by itself
  /// when there are no tables for the temperature (logged); switched on again it looks for them, at most
  /// every 5 s.
  void setShutterlessCorrection(const bool& on);
  /// The switch of the shutterless flat field. On after opening when the camera has tables or polynomials.
  bool getShutterlessCorrection();
  /// Corrects temperatures far from the calibration's references; works on top of the shutterless correction.
  void setRadiometricCorrection(const bool& on);
  /// The switch of the radiometric correction. On after opening when the camera has tables of both references
  /// or polynomials, and a thermographic table.
  bool getRadiometricCorrection();
  /// Removal of column and row stripes.
  void setColumnDestriping(const bool& on);
  /// The switch of the stripe removal.
  bool getColumnDestriping();
  /// Temporal filter of the colour frames: weight of the past, 0 (off) to 1; other values are ignored. 0.6 at
  /// first.
  void setTemporalFiltering(const float& weight);
  /// Weight of the past in the temporal filter, 0 to 1.
  float getTemporalFiltering();

  /// Gain control and its bounds (levels 0 to 65535). Each bound is stored only when it lies in that range.
  /// In the modes `mappingEqualized` and `mappingTemperatureWindow` a `low` above 0 and up to 1 is also the
  /// share of equalisation.
  void setMappingMode(const mapping& mode, const float& low, const float& high);
  /// The gain control in force; `mappingHistogramTable` for an unknown handle.
  mapping getMappingMode();

  /// Selects a colour preset. An index below 0 selects the last and one beyond the last the first; the index
  /// selected is written back.
  void setColorPreset(int& index);
  /// Index of the colour preset in force, from 0.
  int getColorPreset();

  /// Dumps every frame of this camera, a page each, to its TIFF file below "data/pictures" of the working
  /// directory, or ends that. On: also sets the parameter "tiffFrameDump", without which no camera dumps; the
  /// flags of other cameras stay as they are. While a camera dumps, each frame waits for its page and no
  /// colour frames are published. A page that cannot be written ends the dump (one error line); frames go on.
  void setFrameDump(const bool& on);
  /// Writes a picture of the camera's next frame to `path`, replacing the file: ".tiff" or ".tif", or ".png"
  /// (16 bits per level, or 8-bit colours). Blocks until it is written, 5 s at most; frames are not delayed.
  /// False, with one error line, when that fails. Colour frames pause while the camera dumps.
  bool takeSnapshot(const std::string& path, const snapshotKind& kind = snapshotThermal);

  /// Sensor (FPA) temperature, degrees Celsius. Before the first reading, a tenth of a second after the
  /// start, -273.15, or 0 on a Marlow 3.
  float getSensorTemperature();
  /// Temperature of pixel (x, y), column and row from 0, of the newest thermal frame, degrees Celsius. Means
  /// something while the shutterless correction is on. emissivity: of the surface, above 0; 1 is a black
  /// body. -273.15 outside the image and for an emissivity that is none.
  float getPixelTemperature(const int& x, const int& y, const float& emissivity);

 private:
  std::uint64_t lastColorFrameNumber = 0;
  std::int32_t handle = 0;
  std::uint64_t lastRawFrameNumber = 0;
  std::string dataPath;
};
