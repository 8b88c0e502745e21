// The file KVEDIM.
#include "directives/dimensions.h"

#include "process.h"
#include "store/big_tables.h"

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t count) {
    empty_scratch_folder();
    write_file("KVEDIM", as_text(bytes, count));
    send_listing_to("listing.out");
    run_fresh([] {
        kve::read_dimensions();
        const auto& d = kve::state::DIMENSIONS;
        for (const auto& dimension : {d.MFL, d.MDL, d.MAXNRM}) require(dimension.now >= 1);
    });
    return 0;
}
