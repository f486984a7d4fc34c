#include "ombrix/OmbrixSDK.h"

#include <algorithm>
#include <exception>
#include <string_view>

#include "acquisition/imageAcquisition.h"
#include "acquisition/transport/UVCConnection.h"
#include "common/format.h"
#include "core/Core.h"
#include "core/ThreadPool.h"
#include "core/deviceRegistry.h"
#include "core/logger.h"
#include "core/multithreading.h"
#include "core/runtimeFlags.h"
#include "core/settings.h"
#include "presentation/ColorPreset.h"
#include "sdk/guarded.h"

std::map<int, void*> OmbrixSDK::mConnectedDevices;
bool OmbrixSDK::mStatus = false;

namespace {

void startUp(OmbrixSDK::verbosityLevel verbosity, int processingUnits, const LogContext& context) {
  registry::clear();
  logger::init(static_cast<logger::verbosityLevel>(std::min<int>(verbosity, logger::verbosityInfo)), "", true,
               true);
  logger::info("Initializing...", context);
  settings::create(0, nullptr);
  if (verbosity >= OmbrixSDK::verbosityInfo) settings::inst()->parseParam("verbose");
  OmbrixSDK::mStatus = UVCConnection::init();
  imageAcquisition::init(&workerRunningFlag, &acquiringFlag);
  const int units = processingUnits < 1 ? static_cast<int>(ThreadPool::hardwareThreads()) : processingUnits;
  settings::inst()->parseParam(format("processingUnits={:d}", units));
  multithreading::createPools(static_cast<unsigned>(units));
  loadColorPresets();
  freeRunMode = false;
}

}  // namespace

OmbrixSDK::OmbrixSDK(const verbosityLevel& verbosity, const int& processingUnits) {
  try {
    startUp(verbosity, processingUnits, LOG_HERE);
  } catch (const std::exception& failure) {  // no memory, no thread
    mStatus = false;
    UVCConnection::shutdown();
    settings::release();  // without them no camera opens: there might be no pool to serve it
    logger::error(format("Start-up failed: {:s}", std::string_view(failure.what())), LOG_HERE);
  }
}

OmbrixSDK::OmbrixSDK(const OmbrixSDK&) {}

// Nothing is held, so there is nothing to assign.
OmbrixSDK& OmbrixSDK::operator=(const OmbrixSDK&) {
  return *this;
}  // NOLINT(bugprone-unhandled-self-assignment)

OmbrixSDK::~OmbrixSDK() {
  UVCConnection::shutdown();
  Core::cleanup();
  registry::clear();
}

int OmbrixSDK::getDeviceCount() { return mStatus ? UVCConnection::deviceCount() : 0; }

std::string OmbrixSDK::getDeviceName(const int& index) {
  return sdk::guarded(LOG_HERE, [&](const LogContext&) { return UVCConnection::deviceName(index); });
}

bool OmbrixSDK::isConnected(const int& handle) { return registry::contains(handle); }

void OmbrixSDK::parseCoreParameter(const std::string& parameter) {
  sdk::guarded(LOG_HERE, [&](const LogContext&) {
    settings* const record = settings::inst();
    if (record) record->parseParam(parameter.c_str());  // up to its first NUL
  });
}
