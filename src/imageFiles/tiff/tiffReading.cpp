#include <algorithm>
#include <cstring>
#include <fstream>

#include "common/fileBytes.h"
#include "common/filePath.h"
#include "common/format.h"
#include "imageFiles/tiff/TiffHandle.h"
#include "imageFiles/tiffFiles.h"

namespace imageFiles {
namespace {

class BytesStream : public TiffStream {
 public:
  explicit BytesStream(std::span<const std::uint8_t> wholeFile) : bytes(wholeFile) {}
  std::size_t readAt(std::uint64_t offset, std::uint8_t* out, std::size_t count) override {
    if (offset >= bytes.size()) return 0;
    const auto part = bytes.subspan(static_cast<std::size_t>(offset));
    const std::size_t done = std::min(count, part.size());
    std::memcpy(out, part.data(), done);
    return done;
  }
  std::uint64_t size() const override { return bytes.size(); }

 private:
  std::span<const std::uint8_t> bytes;
};

class FileStream : public TiffStream {
 public:
  FileStream(const std::string& path, std::uint64_t size)
      : file(filePath(path), std::ios::in | std::ios::binary), sizeBytes(size) {}
  bool isOpen() const { return file.is_open(); }
  std::size_t readAt(std::uint64_t offset, std::uint8_t* out, std::size_t count) override {
    if (offset >= sizeBytes) return 0;
    file.clear();
    file.seekg(static_cast<std::streamoff>(offset));
    file.read(reinterpret_cast<char*>(out), static_cast<std::streamsize>(count));
    return static_cast<std::size_t>(std::max<std::streamsize>(0, file.gcount()));
  }
  std::uint64_t size() const override { return sizeBytes; }

 private:
  std::ifstream file;
  std::uint64_t sizeBytes;
};

template <typename T>
T fieldOf(TIFF* tiff, std::uint32_t tag, T otherwise) {
  T value = otherwise;
  return TIFFGetFieldDefaulted(tiff, tag, &value) == 1 ? value : otherwise;
}

struct PageShape {
  std::uint16_t width, height;
  std::uint64_t fileBytes;

  std::uint32_t rowsPerStrip(TIFF* tiff) const {
    return std::min<std::uint32_t>(fieldOf<std::uint32_t>(tiff, TIFFTAG_ROWSPERSTRIP, 0), height);
  }
  tmsize_t stripBytes(std::uint32_t strip, std::uint32_t rows) const {
    const std::uint32_t first = strip * rows;
    return tmsize_t{std::min<std::uint32_t>(rows, height - first)} * width * 2;
  }
  /// Why the page that libtiff stands on cannot be read as ours; null when it can.
  const char* fault(TIFF* tiff) const;
};

const char* PageShape::fault(TIFF* tiff) const {
  if (fieldOf<std::uint32_t>(tiff, TIFFTAG_IMAGEWIDTH, 0) != width ||
      fieldOf<std::uint32_t>(tiff, TIFFTAG_IMAGELENGTH, 0) != height) {
    return "a page has another size";
  }
  const struct {
    std::uint32_t tag;
    std::uint16_t wanted;
    const char* fault;
  } fields[] = {
      {TIFFTAG_BITSPERSAMPLE, 16, "a page does not have 16 bits per sample"},
      {TIFFTAG_SAMPLESPERPIXEL, 1, "a page has several samples per pixel"},
      {TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT, "a page does not hold unsigned numbers"},
      {TIFFTAG_COMPRESSION, COMPRESSION_NONE, "a page is compressed"},
      {TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK, "a page is no picture in grey from black"},
      {TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT, "a page is turned"},
  };
  for (const auto& field : fields) {
    // 0 stands for a field that is not there and has no default.
    if (fieldOf<std::uint16_t>(tiff, field.tag, 0) != field.wanted) return field.fault;
  }
  if (TIFFIsTiled(tiff) != 0) return "a page consists of tiles";
  const std::uint32_t rows = rowsPerStrip(tiff);
  if (rows == 0) return "a page has strips without rows";
  const std::uint32_t strips = (height + rows - 1) / rows;
  if (TIFFNumberOfStrips(tiff) != strips) return "a page has a wrong number of strips";
  for (std::uint32_t strip = 0; strip < strips; ++strip) {
    const auto bytes = static_cast<std::uint64_t>(stripBytes(strip, rows));
    const std::uint64_t offset = TIFFGetStrileOffset(tiff, strip);
    if (TIFFGetStrileByteCount(tiff, strip) < bytes || bytes > fileBytes || offset > fileBytes - bytes) {
      return "a page is cut off";
    }
  }
  return nullptr;
}

}  // namespace

struct TiffPageReader::File {
  PageShape shape{};
  std::string damage;
  std::vector<std::uint64_t> pages;  ///< where their directories stand
  std::unique_ptr<TiffStream> stream;
  TiffHandle tiff;  // goes before what it reads from
};

TiffPageReader::TiffPageReader(std::unique_ptr<File> opened) : file(std::move(opened)) {}
TiffPageReader::~TiffPageReader() = default;

std::size_t TiffPageReader::pageCount() const { return file->pages.size(); }
const std::string& TiffPageReader::damage() const { return file->damage; }

std::unique_ptr<TiffPageReader> TiffPageReader::open(std::unique_ptr<File> opened, std::string& problem) {
  TiffHandle& tiff = opened->tiff;
  // m: without mapping the file; c: strips as they are, not cut into smaller ones.
  if (!tiff.open(*opened->stream, "rmc")) {
    problem = tiff.takeMessage("it is no TIFF file");
    return nullptr;
  }
  std::string& damage = opened->damage;
  do {
    const char* const fault = opened->shape.fault(tiff.get());
    if (fault == nullptr) {
      opened->pages.push_back(TIFFCurrentDirOffset(tiff.get()));
    } else if (damage.empty()) {
      damage = fault;
    }
    if (TIFFLastDirectory(tiff.get()) != 0) break;
    if (TIFFReadDirectory(tiff.get()) != 0) continue;
    if (damage.empty()) damage = tiff.takeMessage("the chain of pages is broken");
    break;
  } while (true);
  if (opened->pages.empty()) {
    problem = damage;
    return nullptr;
  }
  return std::unique_ptr<TiffPageReader>(new TiffPageReader(std::move(opened)));
}

std::unique_ptr<TiffPageReader> TiffPageReader::openFile(const std::string& path, std::uint16_t width,
                                                         std::uint16_t height, std::string& problem) {
  const auto size = regularFileSize(path);
  auto stream = size ? std::make_unique<FileStream>(path, *size) : nullptr;
  if (!stream || !stream->isOpen()) {
    problem = "it cannot be opened";
    return nullptr;
  }
  auto opened = std::make_unique<File>();
  opened->shape = {width, height, *size};
  opened->stream = std::move(stream);
  return open(std::move(opened), problem);
}

std::unique_ptr<TiffPageReader> TiffPageReader::openBytes(std::span<const std::uint8_t> bytes,
                                                          std::uint16_t width, std::uint16_t height,
                                                          std::string& problem) {
  auto opened = std::make_unique<File>();
  opened->shape = {width, height, bytes.size()};
  opened->stream = std::make_unique<BytesStream>(bytes);
  return open(std::move(opened), problem);
}

bool TiffPageReader::readPage(std::size_t page, image<unsigned short>& out, PictureInfo& info,
                              std::string& problem) {
  TIFF* const tiff = file->tiff.get();
  const PageShape& shape = file->shape;
  if (page >= file->pages.size() || out.width != shape.width || out.height != shape.height) {
    problem = "there is no such page";
    return false;
  }
  if (TIFFSetSubDirectory(tiff, file->pages[page]) == 0) {
    problem = file->tiff.takeMessage("a page cannot be read");
    return false;
  }
  // The file may have changed since it was opened.
  if (const char* const fault = shape.fault(tiff)) {
    problem = fault;
    return false;
  }
  const std::uint32_t rows = shape.rowsPerStrip(tiff);
  std::uint8_t* to = reinterpret_cast<std::uint8_t*>(out.data);
  for (std::uint32_t strip = 0; strip * rows < shape.height; ++strip) {
    const tmsize_t bytes = shape.stripBytes(strip, rows);
    if (TIFFReadEncodedStrip(tiff, strip, to, bytes) != bytes) {
      problem = file->tiff.takeMessage("a page cannot be read");
      return false;
    }
    to += bytes;
  }
  char* text = nullptr;
  info = {};
  if (TIFFGetField(tiff, TIFFTAG_IMAGEDESCRIPTION, &text) == 1 && text != nullptr) {
    if (const auto read = readDescription(text)) info = *read;
  }
  return true;
}

}  // namespace imageFiles
