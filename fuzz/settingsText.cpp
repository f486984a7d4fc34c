// Parameters as applications and files pass them, one a line; the first eight lines count.
#include "core/settings.h"
#include "memoryFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::Provider provider(data, size);
  const auto bytes = fuzzing::rest(provider);
  static settings record(0, nullptr);
  if (fuzzing::isOneIn(16, bytes)) {
    settings::create(0, nullptr);
    settings::create(0, nullptr);
    fuzzing::require(settings::inst() != nullptr && settings::inst()->proxy.get().empty());
    settings::inst()->parseParam(std::string(fuzzing::textOf(bytes)));
    settings::release();
    fuzzing::require(settings::inst() == nullptr && settings::current().proxy.get().empty());
  }
  std::string_view text = fuzzing::textOf(bytes);
  for (int lines = 0; lines < 8 && !text.empty(); ++lines) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string line(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    const bool taken = record.parseParam(line);
    fuzzing::require(!taken || !line.empty());
    if (line.starts_with("proxy=") && line.size() > 6) {
      fuzzing::require(taken && record.proxy.get() == line.substr(6));
    }
  }
  return 0;
}
