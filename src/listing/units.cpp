#include "listing/units.h"

#include <cstdarg>
#include <cstdio>

#include "base/asserted.h"
#include "base/state.h"

namespace kve {

WRITES(UNITS);

namespace {

constexpr std::size_t kLongestFactorFileName = 12;

// The name of one for which the deed failed, empty when all is well. MODINF comes by itself.
template <class Deed>
std::string for_all_outputs(const Deed& deed) {
    std::string failed;
    for (TextOutput* unit : {&UNITS.PEDDATA, &UNITS.INBREED})
        if (deed(*unit) != 0) failed = unit->path();
    for (RecordOutput* unit :
         {&UNITS.RCDATA_I, &UNITS.RCDATA_R, &UNITS.CODE_TABLE, &UNITS.oldsol, &UNITS.RC_F_INFO})
        if (deed(*unit) != 0) failed = unit->path();
    return failed;
}

}  // namespace

void TextOutput::print(const char* format, ...) {
    char line[256];
    std::va_list items;
    va_start(items, format);
    const int n = std::vsnprintf(line, sizeof line, format, items);
    va_end(items);
    KVE_ASSERT(n >= 0 && n < static_cast<int>(sizeof line));
    print_line({line, static_cast<std::size_t>(n)});
}

void TextOutput::print_line(std::string_view line) {
    if (!is_open()) return;
    lines_.put(line.data(), line.size());
    lines_.put("\n", 1);
}

std::string factor_file_name(std::string_view prefix, int32_t k) {
    return (std::string(prefix) + std::to_string(k)).substr(0, kLongestFactorFileName);
}

std::string flush_units() {
    return for_all_outputs([](auto& unit) { return unit.is_open() ? unit.flush() : 0; });
}

std::string close_units() {
    return for_all_outputs([](auto& unit) { return unit.close(); });
}

}  // namespace kve
