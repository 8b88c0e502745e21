#include "listing/units.h"

#include <cstdarg>
#include <cstdio>

#include "base/asserted.h"
#include "base/state.h"

namespace kve {

WRITES(UNITS);

namespace {

constexpr std::size_t kLongestFactorFileName = 12;

// The first one for which the deed failed. MODINF comes by itself.
template <class Deed>
FailedOutput for_all_outputs(const Deed& deed) {
    FailedOutput failed;
    const auto take = [&](auto& unit) {
        const int status = deed(unit);
        if (status != 0 && failed.status == 0) failed = {unit.path(), status};
    };
    for (RecordOutput* unit :
         {&UNITS.RCDATA_I, &UNITS.RCDATA_R, &UNITS.CODE_TABLE, &UNITS.oldsol, &UNITS.RC_F_INFO})
        take(*unit);
    for (TextOutput* unit : {&UNITS.PEDDATA, &UNITS.INBREED, &UNITS.KVE_LOG}) take(*unit);
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

FailedOutput flush_units() {
    return for_all_outputs([](auto& unit) { return unit.is_open() ? unit.flush() : 0; });
}

FailedOutput close_units() {
    // The disk works on all of them at a time. What fails is told by the close.
    static_cast<void>(for_all_outputs([](auto& unit) { return unit.start_closing(); }));
    return for_all_outputs([](auto& unit) { return unit.close(); });
}

}  // namespace kve
