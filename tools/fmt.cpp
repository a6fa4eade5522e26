// The formatting library's own code, compiled here once. In the header alone, each file that prints would compile it
// again, three times as slowly; the shared library that systems have would be one more that the command needs.

#include <fmt/format-inl.h>

FMT_BEGIN_NAMESPACE
namespace detail {

// What the header says is elsewhere.
template FMT_API auto thousands_sep_impl<char>(locale_ref) -> thousands_sep_result<char>;
template FMT_API auto decimal_point_impl(locale_ref) -> char;

}  // namespace detail
FMT_END_NAMESPACE
