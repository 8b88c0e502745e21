#pragma once

namespace kve {

// One whole run: from the directive file on standard input to the last line of the listing.
[[noreturn]] void run();

}  // namespace kve
