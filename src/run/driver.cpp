#include "run/driver.h"

#include "run/listing.h"
#include "run/stop.h"

namespace kve {

void run() {
    start_listing();
    end_run();
}

}  // namespace kve
