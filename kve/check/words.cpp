#include "kve/check/words.h"

#include <fmt/format.h>

#include "base/text.h"
#include "directives/directives.h"
#include "kve/check/thresholds.h"

namespace kve::companion {

std::string name_of(const ColumnRef& column) {
    const Name name = column.is_real ? real_name(column.column) : integer_name(column.column);
    if (!name.blank()) return name.string();
    return fmt::format("{} column {}", column.is_real ? "real" : "integer", column.column);
}

void add_item(std::string& list, std::string_view item) {
    if (!list.empty()) list += ", ";
    list += item;
}

void FirstOnes::take(int32_t id, int64_t line) {
    if (n_ == 0) line_ = line;
    if (++n_ <= kAnimalsShown) add_item(words_, fmt::format("{} (line {})", id, line));
}

std::string FirstOnes::words() const { return words_ + (n_ > kAnimalsShown ? ", ..." : ""); }

}  // namespace kve::companion
