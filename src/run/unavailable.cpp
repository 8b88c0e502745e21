#include "run/unavailable.h"

#include <string>

#include "run/directives.h"
#include "run/listing.h"
#include "run/stop.h"

namespace kve {

READS(DIRECTIVES);

namespace {

[[noreturn]] void refuse(const std::string& what) {
    blank();
    say("ERROR - This version of KVE1 can not handle %s", what.c_str());
    stop_run();
}

}  // namespace

void refuse_unavailable() {
    if (!DIRECTIVES.finfo.name.blank()) refuse("the keyword FINFO");
}

}  // namespace kve
