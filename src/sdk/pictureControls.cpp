// The members of Ombrix that write frames to files.

#include "acquisition/imageAcquisition.h"
#include "core/deviceRegistry.h"
#include "core/logger.h"
#include "core/settings.h"
#include "ombrix/Ombrix.h"
#include "sdk/guarded.h"

void Ombrix::setFrameDump(const bool& on) {
  sdk::guarded(LOG_HERE, [&](const LogContext& here) {
    const registry::DeviceUser camera(handle, here);
    if (!camera) return;
    settings* const record = settings::inst();
    if (camera->switchFrameDump(on) && on && record) record->tiffFrameDump = true;
  });
}

bool Ombrix::takeSnapshot(const std::string& path, const snapshotKind& kind) {
  return sdk::guarded(LOG_HERE, [&](const LogContext& here) {
    const registry::DeviceUser camera(handle, here);
    if (!camera) return false;
    const auto content = kind == snapshotColor    ? imageFiles::Content::color
                         : kind == snapshotCooked ? imageFiles::Content::cooked
                                                  : imageFiles::Content::thermal;
    return camera->takeSnapshot(path, content);
  });
}
