#pragma once

namespace kve {

// Prints the package's name in block letters, the version and the notice. Reads and writes nothing
// but the listing.
void print_banner();

}  // namespace kve
