// Stage print_banner: the package's name in block letters, the version and the notice.
//
// Reads nothing, writes the listing alone. Nothing stops it.
#pragma once

namespace kve {

void print_banner();

}  // namespace kve
