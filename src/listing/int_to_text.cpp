#include "listing/int_to_text.h"

#include <algorithm>
#include <charconv>
#include <system_error>

#include "listing/listing.h"
#include "listing/stop.h"

namespace kve {

int32_t int_to_text(int64_t value, char* text, int32_t length) {
    auto [end, code] = std::to_chars(text, text + std::max(length, 0), value);
    if (code != std::errc()) {
        say("ERROR - Converting integer value to text");
        say("        Value to convert: %12lld", static_cast<long long>(value));
        say("        Length of character variable to hold the result is:%12d", length);
        blank();
        stop_run();
    }
    std::fill(end, text + length, ' ');
    return static_cast<int32_t>(end - text);
}

}  // namespace kve
