#include "imageFiles/tiff/StagedFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "common/fileBytes.h"
#include "common/filePath.h"

namespace imageFiles {
namespace {

/// More than any page of a camera's; a write beyond it comes from a fault.
constexpr std::uint64_t kLargestTail = std::uint64_t{256} << 20;

std::string systemMessage(const char* otherwise) {
  return errno != 0 ? std::generic_category().message(errno) : otherwise;
}

}  // namespace

bool StagedFile::open(const std::string& name, std::string& problem) {
  std::error_code status;
  path = pathText(std::filesystem::absolute(filePath(name), status));  // the working directory may change
  errno = 0;
  if (!std::filesystem::exists(filePath(path), status)) {
    std::ofstream made(filePath(path), std::ios::out | std::ios::binary);
    if (!made.is_open()) {
      problem = systemMessage("it cannot be created");
      return false;
    }
  }
  const auto size = regularFileSize(path);
  if (!size) {
    problem = "it is no regular file";
    return false;
  }
  file.open(filePath(path), std::ios::in | std::ios::out | std::ios::binary);
  if (!file.is_open()) {
    problem = systemMessage("it cannot be opened");
    return false;
  }
  base = *size;
  return true;
}

bool StagedFile::write(std::uint64_t offset, const std::uint8_t* bytes, std::size_t count) {
  file.clear();
  file.seekp(static_cast<std::streamoff>(offset));
  file.write(reinterpret_cast<const char*>(bytes), static_cast<std::streamsize>(count));
  file.flush();
  return file.good();
}

bool StagedFile::commit(std::string& problem) {
  // Another camera without a serial number has the same file; one of both must give way.
  if (regularFileSize(path) != base) {
    problem = "it was changed by somebody else";
    discard();
    return false;
  }
  errno = 0;
  bool written = write(base, tail.data(), tail.size());
  for (const Change& change : changes) {
    written = written && write(change.offset, change.bytes.data(), change.count);
  }
  if (written) {
    base += tail.size();
  } else {
    problem = systemMessage("it cannot be written");
    file.clear();
    std::error_code ignored;
    // A link is too small to be written by half, so either the chain is whole or nothing points here.
    std::filesystem::resize_file(filePath(path), base, ignored);
  }
  discard();
  return written;
}

void StagedFile::discard() {
  tail.clear();
  changes.clear();
}

std::size_t StagedFile::readAt(std::uint64_t offset, std::uint8_t* out, std::size_t count) {
  if (offset < base) {
    const auto inFile = static_cast<std::size_t>(std::min<std::uint64_t>(count, base - offset));
    file.clear();
    file.seekg(static_cast<std::streamoff>(offset));
    file.read(reinterpret_cast<char*>(out), static_cast<std::streamsize>(inFile));
    const auto done = static_cast<std::size_t>(std::max<std::streamsize>(0, file.gcount()));
    for (const Change& change : changes) {
      for (std::size_t i = 0; i < change.count; ++i) {
        if (change.offset + i >= offset && change.offset + i - offset < done) {
          out[change.offset + i - offset] = change.bytes[i];
        }
      }
    }
    return done;
  }
  const std::uint64_t start = offset - base;
  if (start >= tail.size()) return 0;
  const auto done = static_cast<std::size_t>(std::min<std::uint64_t>(count, tail.size() - start));
  std::memcpy(out, tail.data() + start, done);
  return done;
}

std::size_t StagedFile::writeAt(std::uint64_t offset, const std::uint8_t* bytes, std::size_t count) {
  if (offset < base) {
    Change change{offset, count, {}};
    if (count > change.bytes.size() || base - offset < count) return 0;  // libtiff changes links alone
    std::memcpy(change.bytes.data(), bytes, count);
    changes.push_back(change);
    return count;
  }
  const std::uint64_t end = offset - base + count;
  if (end > kLargestTail) return 0;
  if (end > tail.size()) tail.resize(static_cast<std::size_t>(end));
  std::memcpy(tail.data() + (offset - base), bytes, count);
  return count;
}

}  // namespace imageFiles
