#pragma once

#include <nlohmann/json.hpp>

namespace bench {

/// How the cameras are set while they are measured.
enum class Setup {
  Linear,  ///< one flat-field table, linear gain control, temporal filter; no destriping, no spatial filter
  Default  ///< as they come
};

// Each adds its figures under their names; what is not a number of its own carries its unit in the name.
// seconds: how long streams are watched.

/// Processor time of one live camera, in percent of a core, and hand-over times from the sample to the
/// application that took its colour frame.
void measureLive(nlohmann::json& figures, double seconds, Setup setup);
/// The most 640 x 480 cameras at 60 Hz of which no frame is missed. Meant to be pinned to one core.
void measureCameras(nlohmann::json& figures, double seconds, Setup setup);
/// Two empty tasks through the library's pool, and through a plain one.
void measurePool(nlohmann::json& figures, double seconds);
/// Resident memory that a further 640 x 480 camera takes.
void measureMemory(nlohmann::json& figures, double seconds);
/// From no SDK to the first colour frame that shows the scene. Once per process.
void measureStart(nlohmann::json& figures);

}  // namespace bench
