// Words that findings share: columns by their names, numbers of things, the first ones of many.
#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>

#include "kve/shared/noun.h"

namespace kve::companion {

struct ColumnRef {
    bool is_real;
    int32_t column;

    auto operator<=>(const ColumnRef&) const = default;
};

// By its name; "integer column 3" when it has none.
std::string name_of(const ColumnRef& column);
inline std::string integer_called(int32_t column) { return name_of({false, column}); }
inline std::string real_called(int32_t column) { return name_of({true, column}); }

// Behind what stands in the list already.
void add_item(std::string& list, std::string_view item);

// What is told once, with a number and the first animals of many.
class FirstOnes {
 public:
    void take(int32_t id, int64_t line);
    int64_t count() const { return n_; }
    int64_t line() const { return line_; }  // of the first
    std::string words() const;

 private:
    int64_t n_ = 0;
    int64_t line_ = 0;
    std::string words_;
};

}  // namespace kve::companion
