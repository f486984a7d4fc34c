#include "common/format.h"

#include <fmt/format-inl.h>

// The pieces that {fmt}'s own compiled library would provide.
FMT_BEGIN_NAMESPACE
namespace detail {
template FMT_API auto thousands_sep_impl(locale_ref) -> thousands_sep_result<char>;
template FMT_API auto decimal_point_impl(locale_ref) -> char;
template FMT_API void buffer<char>::append(const char*, const char*);
}  // namespace detail
FMT_END_NAMESPACE

std::string formatArguments(fmt::string_view pattern, fmt::format_args arguments) {
  return fmt::vformat(pattern, arguments);
}
