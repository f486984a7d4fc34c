// TIFF files that are replayed as a camera's frames: every page of them, and the description on each.
#include <cstring>
#include <new>
#include <numeric>

#include "imageFiles/tiff/TiffHandle.h"
#include "imageFiles/tiffFiles.h"
#include "memoryFile.h"

namespace {

/// Takes nothing, as on a full disk or out of memory.
struct FullStream : imageFiles::TiffStream {
  std::size_t readAt(std::uint64_t, std::uint8_t*, std::size_t) override { return 0; }
  std::size_t writeAt(std::uint64_t at, const std::uint8_t* bytes, std::size_t count) override {
    if (writes++ == 0) throw std::bad_alloc();
    return TiffStream::writeAt(at, bytes, count);
  }
  std::uint64_t size() const override { return 0; }
  int writes = 0;
};

/// Of a file with these bytes, and of one of our own with a page that was read.
void checkFiles(const fuzzing::Bytes& bytes, std::size_t pages, const image<unsigned short>& picture,
                imageFiles::PictureInfo info) {
  using imageFiles::TiffPageReader;
  std::string problem;
  const auto file =
      TiffPageReader::openFile(fuzzing::MemoryFile::of(bytes), picture.width, picture.height, problem);
  image<unsigned short> again(picture.width, picture.height);
  fuzzing::require(file && file->pageCount() == pages && file->readPage(0, again, info, problem));
  const auto isSame = [&] {
    return std::equal(picture.data, picture.data + picture.pixelCount(), again.data);
  };
  fuzzing::require(isSame());
  fuzzing::require(!TiffPageReader::openFile("/proc/self/fd/none", picture.width, picture.height, problem));

  // A file that changes while it is open: replay says so or goes on, on what it finds there.
  const std::size_t place = std::accumulate(bytes.begin(), bytes.end(), std::size_t{0}) / 16 % bytes.size();
  fuzzing::Bytes changed = bytes;
  changed[place] ^= 0xFF;
  for (const auto now : {std::span(changed), std::span(changed).first(place), std::span(changed).first(0)}) {
    fuzzing::MemoryFile::of(now);
    problem.clear();
    fuzzing::require(file->readPage(0, again, info, problem) || !problem.empty());
  }
  FullStream full;
  imageFiles::TiffHandle handle;
  fuzzing::require(!handle.open(full, "w") && !handle.open(full, "w"));

  info.content = imageFiles::Content::cooked;
  imageFiles::Picture copy{info, picture.width, picture.height, {}};
  copy.pixels.resize(picture.sizeBytes);
  std::memcpy(copy.pixels.data(), picture.data, picture.sizeBytes);
  const auto encoded = imageFiles::encodeTiff(copy, problem);
  const auto reader = TiffPageReader::openBytes(encoded, picture.width, picture.height, problem);
  again.clear();
  fuzzing::require(reader && reader->damage().empty() && reader->readPage(0, again, info, problem) &&
                   isSame());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::Provider provider(data, size);
  const auto width = provider.ConsumeIntegralInRange<std::uint16_t>(1, 8);
  const auto height = provider.ConsumeIntegralInRange<std::uint16_t>(1, 8);
  const auto bytes = fuzzing::rest(provider);
  imageFiles::readDescription(fuzzing::textOf(bytes));
  std::string problem;
  const auto reader = imageFiles::TiffPageReader::openBytes(bytes, width, height, problem);
  fuzzing::require(reader ? reader->pageCount() > 0 : !problem.empty());
  if (!reader) return 0;
  image<unsigned short> picture(width, height);
  imageFiles::PictureInfo info;
  // Backwards: replay goes round.
  for (std::size_t page = reader->pageCount(); page-- > 0;) {
    problem.clear();
    const bool read = reader->readPage(page, picture, info, problem);
    fuzzing::require(read || !problem.empty());
    if (read && page == 0 && fuzzing::isOneIn(16, bytes))
      checkFiles(bytes, reader->pageCount(), picture, info);
  }
  fuzzing::require(!reader->readPage(reader->pageCount(), picture, info, problem));
  return 0;
}
