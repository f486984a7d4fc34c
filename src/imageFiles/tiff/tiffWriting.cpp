#include <cstring>

#include "imageFiles/tiff/StagedFile.h"
#include "imageFiles/tiff/tiffPage.h"
#include "imageFiles/tiffFiles.h"
#include "ombrix/version.h"

namespace imageFiles {
namespace {

/// Directory, description and alignment of a page, generously.
constexpr std::uint64_t kBesidePixels = 4096;

}  // namespace

bool tiffSupported() { return true; }

bool writeTiffPage(TIFF* tiff, std::uint16_t width, std::uint16_t height, std::uint16_t bitsPerSample,
                   std::uint16_t samples, void* pixels, const std::string& description) {
  const auto set = [tiff](std::uint32_t tag, auto... values) { return TIFFSetField(tiff, tag, values...); };
  const bool described =
      set(TIFFTAG_IMAGEWIDTH, std::uint32_t{width}) && set(TIFFTAG_IMAGELENGTH, std::uint32_t{height}) &&
      set(TIFFTAG_BITSPERSAMPLE, bitsPerSample) && set(TIFFTAG_SAMPLESPERPIXEL, samples) &&
      set(TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT) && set(TIFFTAG_COMPRESSION, COMPRESSION_NONE) &&
      set(TIFFTAG_PHOTOMETRIC, samples == 1 ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB) &&
      set(TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT) && set(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) &&
      set(TIFFTAG_ROWSPERSTRIP, std::uint32_t{height}) && set(TIFFTAG_SOFTWARE, "ombrix " OMBRIX_VERSION) &&
      set(TIFFTAG_IMAGEDESCRIPTION, description.c_str());
  const tmsize_t bytes = tmsize_t{width} * height * samples * bitsPerSample / 8;
  return described && TIFFWriteEncodedStrip(tiff, 0, pixels, bytes) == bytes && TIFFWriteDirectory(tiff);
}

std::vector<std::uint8_t> encodeTiff(const Picture& picture, std::string& problem) {
  StagedFile memory;
  TiffHandle tiff;
  memory.reserve(picture.pixels.size() + kBesidePixels);
  std::vector<std::uint8_t> pixels = picture.pixels;
  const std::uint16_t samples = picture.colored() ? 3 : 1;
  const std::uint16_t bits = picture.colored() ? 8 : 16;
  if (!tiff.open(memory, "w") || !writeTiffPage(tiff.get(), picture.width, picture.height, bits, samples,
                                                pixels.data(), describe(picture.info))) {
    problem = tiff.takeMessage("it cannot be encoded");
    return {};
  }
  tiff.close();
  return memory.heldBack();
}

struct TiffPageWriter::File {
  std::uint16_t width = 0;
  std::uint16_t height = 0;
  std::uint64_t limitBytes = kLargestFile;
  StagedFile bytes;
  TiffHandle tiff;  // goes before what it writes to

  std::uint64_t pageBytes() const { return std::uint64_t{width} * height * 2 + kBesidePixels; }
};

TiffPageWriter::TiffPageWriter() = default;
TiffPageWriter::~TiffPageWriter() = default;

void TiffPageWriter::close() { file.reset(); }

bool TiffPageWriter::open(const std::string& path, std::uint16_t width, std::uint16_t height,
                          std::string& problem, std::uint64_t limitBytes) {
  close();
  auto opened = std::make_unique<File>();
  opened->width = width;
  opened->height = height;
  opened->limitBytes = limitBytes;
  if (!opened->bytes.open(path, problem)) return false;
  if (opened->bytes.size() > 0) {
    // libtiff follows the chain of pages without looking out for a circle when it appends.
    const auto earlier = TiffPageReader::openFile(path, width, height, problem);
    if (!earlier) return false;
    if (!earlier->damage().empty()) {
      problem = earlier->damage();
      return false;
    }
  }
  opened->bytes.reserve(opened->pageBytes());
  if (!opened->tiff.open(opened->bytes, opened->bytes.size() > 0 ? "a" : "w")) {
    problem = opened->tiff.takeMessage("it is no TIFF file");
    return false;
  }
  file = std::move(opened);
  return true;
}

bool TiffPageWriter::append(std::span<std::uint16_t> pixels, const PictureInfo& info, std::string& problem) {
  if (!file || pixels.size() != std::size_t{file->width} * file->height) {
    problem = "the page is not of the file's size";
    return false;
  }
  if (file->bytes.committedBytes() + file->pageBytes() > file->limitBytes) {
    problem = "the file is full";
    return false;
  }
  if (!writeTiffPage(file->tiff.get(), file->width, file->height, 16, 1, pixels.data(), describe(info))) {
    problem = file->tiff.takeMessage("the page cannot be encoded");
    file->bytes.discard();
    return false;
  }
  return file->bytes.commit(problem);
}

}  // namespace imageFiles
