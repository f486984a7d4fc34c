#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "common/image.h"
#include "imageFiles/picture.h"

/// TIFF files, through libtiff. In a build without it every function here fails and says so. Nothing logs:
/// a failure leaves its reason in `problem`, libtiff's own message among them.
namespace imageFiles {

/// False in a build without libtiff.
bool tiffSupported();

/// A TIFF file of one page: 16-bit grey levels, or 8-bit red, green, blue; uncompressed. Empty on failure.
std::vector<std::uint8_t> encodeTiff(const Picture& picture, std::string& problem);

/// Appends pages of 16-bit levels to a file. A page is linked into the file only after all of it has been
/// written, so what breaks off a write costs that page alone; a failed page leaves the file as it was.
/// For one thread at a time.
class TiffPageWriter {
 public:
  /// Classic TIFF counts its bytes with 32 bits.
  static constexpr std::uint64_t kLargestFile = 0xFFFFFFFF;

  TiffPageWriter();
  ~TiffPageWriter();
  TiffPageWriter(const TiffPageWriter&) = delete;
  TiffPageWriter& operator=(const TiffPageWriter&) = delete;

  /// Opens `path` for pages of width x height: a new or empty file, or one that holds whole pages of this
  /// size and nothing else. limitBytes: what the file may grow to.
  bool open(const std::string& path, std::uint16_t width, std::uint16_t height, std::string& problem,
            std::uint64_t limitBytes = kLargestFile);
  bool isOpen() const { return file != nullptr; }
  /// pixels: of the size opened for; their byte order may be changed by the call.
  bool append(std::span<std::uint16_t> pixels, const PictureInfo& info, std::string& problem);
  void close();

 private:
  struct File;
  std::unique_ptr<File> file;
};

/// Reads the pages of one size from a file that anybody may have made. Pages of another size or kind
/// (anything but uncompressed 16-bit grey in strips, first row on top) are passed over; a broken chain of
/// pages ends the list. For one thread at a time.
class TiffPageReader {
 public:
  /// Null when there is no page to read.
  static std::unique_ptr<TiffPageReader> openFile(const std::string& path, std::uint16_t width,
                                                  std::uint16_t height, std::string& problem);
  /// bytes: a whole file, which has to outlive the reader.
  static std::unique_ptr<TiffPageReader> openBytes(std::span<const std::uint8_t> bytes, std::uint16_t width,
                                                   std::uint16_t height, std::string& problem);
  ~TiffPageReader();
  TiffPageReader(const TiffPageReader&) = delete;
  TiffPageReader& operator=(const TiffPageReader&) = delete;

  std::size_t pageCount() const;
  /// Why pages were passed over or the list ended early; empty when the whole file was good.
  const std::string& damage() const;
  /// Reads page 0 .. pageCount() - 1. out: an image of the size opened for; undefined content on failure.
  /// info: as its description says; zeros and thermal when it has none of ours.
  bool readPage(std::size_t page, image<unsigned short>& out, PictureInfo& info, std::string& problem);

 private:
  struct File;
  explicit TiffPageReader(std::unique_ptr<File> opened);
  static std::unique_ptr<TiffPageReader> open(std::unique_ptr<File> opened, std::string& problem);
  std::unique_ptr<File> file;
};

}  // namespace imageFiles
