#pragma once

#include <fstream>
#include <string>
#include <vector>

#include "imageFiles/tiff/TiffHandle.h"

namespace imageFiles {

/// A file to which pages are appended all or nothing. What libtiff writes is held back until `commit`, which
/// first appends the new bytes and only then changes the earlier ones: these are the link to the new page.
/// Without a path it is a file in memory.
class StagedFile : public TiffStream {
 public:
  /// Opens the file, makes it when there is none. Anything but a regular file is refused.
  bool open(const std::string& path, std::string& problem);
  /// Makes room, so that pages of that size allocate nothing.
  void reserve(std::size_t pageBytes) { tail.reserve(pageBytes); }

  /// Writes what was held back, unless the file was changed, replaced by one of another size or removed in
  /// the meantime. On failure the file is as it was before, as far as the system permits.
  bool commit(std::string& problem);
  void discard();
  /// Bytes that are in the file.
  std::uint64_t committedBytes() const { return base; }
  /// Bytes that are held back.
  const std::vector<std::uint8_t>& heldBack() const { return tail; }

  std::size_t readAt(std::uint64_t offset, std::uint8_t* out, std::size_t count) override;
  std::size_t writeAt(std::uint64_t offset, const std::uint8_t* bytes, std::size_t count) override;
  std::uint64_t size() const override { return base + tail.size(); }

 private:
  struct Change {
    std::uint64_t offset = 0;
    std::size_t count = 0;
    std::array<std::uint8_t, 8> bytes{};  ///< a link is 4 or 8 bytes long
  };

  bool write(std::uint64_t offset, const std::uint8_t* bytes, std::size_t count);

  std::string path;
  std::fstream file;
  std::uint64_t base = 0;
  std::vector<std::uint8_t> tail;  ///< what follows the first `base` bytes
  std::vector<Change> changes;     ///< within them
};

}  // namespace imageFiles
