// Stands in for the folder `tiff` in a build without libtiff.

#include "imageFiles/tiffFiles.h"

namespace imageFiles {

struct TiffPageWriter::File {};
struct TiffPageReader::File {
  std::string damage;
};

namespace {
constexpr const char* kNoTiff = "this build has no TIFF support";
}

bool tiffSupported() { return false; }

std::vector<std::uint8_t> encodeTiff(const Picture&, std::string& problem) {
  problem = kNoTiff;
  return {};
}

TiffPageWriter::TiffPageWriter() = default;
TiffPageWriter::~TiffPageWriter() = default;

bool TiffPageWriter::open(const std::string&, std::uint16_t, std::uint16_t, std::string& problem,
                          std::uint64_t) {
  problem = kNoTiff;
  return false;
}

bool TiffPageWriter::append(std::span<std::uint16_t>, const PictureInfo&, std::string& problem) {
  problem = kNoTiff;
  return false;
}

void TiffPageWriter::close() {}

TiffPageReader::TiffPageReader(std::unique_ptr<File> opened) : file(std::move(opened)) {}
TiffPageReader::~TiffPageReader() = default;

std::unique_ptr<TiffPageReader> TiffPageReader::openFile(const std::string&, std::uint16_t, std::uint16_t,
                                                         std::string& problem) {
  problem = kNoTiff;
  return nullptr;
}

std::unique_ptr<TiffPageReader> TiffPageReader::openBytes(std::span<const std::uint8_t>, std::uint16_t,
                                                          std::uint16_t, std::string& problem) {
  problem = kNoTiff;
  return nullptr;
}

std::size_t TiffPageReader::pageCount() const { return 0; }
const std::string& TiffPageReader::damage() const { return file->damage; }

bool TiffPageReader::readPage(std::size_t, image<unsigned short>&, PictureInfo&, std::string& problem) {
  problem = kNoTiff;
  return false;
}

}  // namespace imageFiles
