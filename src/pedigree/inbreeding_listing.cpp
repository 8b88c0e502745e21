#include "pedigree/inbreeding_listing.h"

#include "base/field_line.h"
#include "base/state.h"
#include "base/text.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/units.h"
#include "store/big_tables.h"

namespace kve {

READS(AD);
READS(DIRECTIVES);
READS(IDL);
READS(LD);
WRITES(UNITS);

namespace {

constexpr int64_t kListed = 251;  // though the heading says 250

void put_animal(FieldLine& line, const AnimalRow& animal, double of_a, double of_l) {
    line.start();
    line.put(" ");
    line.put(animal.key, 11);
    line.put(animal.n_obs, 6);
    line.put(animal.level, 10);
    line.put(animal.sort, 8);
    line.put(animal.sire, 11);
    line.put(animal.dam, 11);
    line.put(animal.n_desc, 6);
    line.put(of_a, 14, 4);
    line.put(of_l, 11, 4);
}

void say_heading(int32_t k) {
    page_if(8);
    blank_lines(2);
    say_line("              Random factor %12d", k);
    say_line("              Max first 250 values in AD and LD,");
    say_line("              the diagonal elements in A and L for L'L=A");
    blank_lines();
    say_line("      Code   N-Obs  C-no     B-D      Sire   Dam/MGS N-desc       A-D      L-D");
}

}  // namespace

int64_t write_inbreeding(int32_t k, const Vec<int32_t>& rows) {
    const bool lists = DIRECTIVES.ITEST > 1;
    if (lists) say_heading(k);
    FieldLine line;
    for (int64_t j = 1; j <= rows.size(); ++j) {
        expect_ahead(rows, j, rows.size());
        put_animal(line, IDL(rows(j)), AD(j), LD(j));
        if (lists && j <= kListed) say_row("%.*s", KVE_SV(line.view()));
        UNITS.INBREED.print_line(line.view());
    }
    return rows.size();
}

}  // namespace kve
