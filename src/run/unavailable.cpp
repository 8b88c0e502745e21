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
    for (const VAR_STR_SPEC& spec : DIRECTIVES.var_str)
        if (spec.structure == Structure::PGMIX)
            refuse("variance structure " + spec.type.string() + " of random factor " +
                   std::to_string(spec.factor));
    if (!DIRECTIVES.finfo.name.blank()) refuse("the keyword FINFO");
}

}  // namespace kve
