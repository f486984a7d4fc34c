#include "imageFiles/FrameDumpWriter.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <span>
#include <string_view>
#include <system_error>

#include "common/filePath.h"
#include "common/format.h"
#include "core/logger.h"
#include "platform/system.h"

namespace imageFiles {

DumpName dumpName(const std::string& cameraName, std::uint64_t serialNumber) {
  DumpName name{"none"};
  // All pages of a camera share one file: its name holds nothing that changes from frame to frame. The
  // braces are part of the name, and so is a temperature of 0.00: as text, since a locale may print a comma.
  std::snprintf(name.data(), name.size(), "data/pictures/%s_{:d}_grab_%06lld_%sK_{:d}.tiff",
                cameraName.c_str(), static_cast<long long>(serialNumber), "0.00");
  platform::permitFileName(name.data());
  return name;
}

image<unsigned short>& FrameDumpWriter::page(std::uint16_t width, std::uint16_t height) {
  waitForTask();
  if (pagePixels.width != width || pagePixels.height != height) {
    close();
    pagePixels.allocate(width, height);
  }
  return pagePixels;
}

void FrameDumpWriter::start(WorkerPool* pool, const DumpName& fileName, const PictureInfo& info) {
  name = fileName;
  pageInfo = info;
  written = false;
  task = multithreading::startWorkerThread(
      pool, [this] { return writeTiffThreadProc(); }, "writeTiff");
}

bool FrameDumpWriter::finish(WorkerPool* pool) {
  if (!task.valid()) return true;
  if (pool) pool->runPending();
  waitForTask();
  return written;
}

void FrameDumpWriter::close() {
  waitForTask();
  file.close();
}

void FrameDumpWriter::waitForTask() {
  if (task.valid()) multithreading::waitThread(task);
}

bool FrameDumpWriter::appendPage(std::string& problem) {
  if (!file.isOpen()) {
    std::error_code ignored;  // what cannot be made cannot be opened either
    std::filesystem::create_directories(filePath(name.data()).parent_path(), ignored);
    if (!file.open(name.data(), pagePixels.width, pagePixels.height, problem)) return false;
  }
  return file.append(std::span(pagePixels.data, pagePixels.pixelCount()), pageInfo, problem);
}

int FrameDumpWriter::writeTiffThreadProc() {
  std::string problem;
  try {
    written = appendPage(problem);
  } catch (const std::exception& failure) {  // no memory
    problem = failure.what();
  }
  if (!written) {
    file.close();
    logger::error(
        format("Frame dump stopped: '{:s}': {:s}", std::string_view(name.data()), std::string_view(problem)),
        LOG_HERE);
  }
  return multithreading::kTaskDone;
}

}  // namespace imageFiles
