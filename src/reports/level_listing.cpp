#include "reports/level_listing.h"

#include <string_view>

#include "base/state.h"
#include "base/text.h"
#include "data/factors.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "model/model_records.h"
#include "store/big_tables.h"

namespace kve {

READS(FACTORS);
READS(IDL);
READS(IFL);
READS(KVEINT);
READS(MODEL);
READS(RMAT);

namespace {

// The codes end under "Code" in the heading.
void list_levels(int32_t head, std::string_view heading) {
    constexpr int end_of_code = 13;
    blank_lines();
    say_line("%60.*s", KVE_SV(heading));
    const int width = 60 - static_cast<int>(heading.size()) + end_of_code;
    int32_t n = 0;
    for (int32_t row = head; row != 0 && n < kMostLevelsListed; row = IFL(row).next, ++n) {
        const LevelRow& level = IFL(row);
        say_row("%*d %8d %9d", width, level.key, level.n_obs, level.level);
    }
}

// After the sentinel, which stands for the unknown parent.
void list_animals(int32_t sentinel) {
    say_line("%60s", "     Animal list in birth-date order (MAX. first 100)");
    blank_lines();
    say_line("%60s%s", "         Code    N-obs    A-C-NO        ",
             "S-var         R-var1         R-var2  N-Desc");
    int32_t n = 0;
    for (int32_t row = IDL(sentinel).next; row != 0 && n < kMostLevelsListed;
         row = IDL(row).next, ++n) {
        const AnimalRow& a = IDL(row);
        say_row("%33d %8d %9d %12d %14d %14d %7d", a.key, a.n_obs, a.level, a.sort, a.sire, a.dam,
                a.n_desc);
    }
}

}  // namespace

void list_fixed_levels() {
    for (int32_t i = 1; i <= KVEINT.nt; ++i)
        for (int32_t j = 1; j <= MODEL(i).n_fixed; ++j) {
            page_if(5);
            blank_lines();
            say_line("%60s%.*s effect: %.*s",
                     "Max. first 100 levels for: ", KVE_SV(MODEL(i).trait_name.view()),
                     KVE_SV(MODEL(i).f_ef_name(j).view()));
            list_levels(FACTORS.HEAD_EF(i, j), "         Code    N-obs    F-C-No   ");
        }
}

void list_random_levels() {
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k) {
        if (RMAT(k).structure != Structure::I) continue;
        page_if(5);
        blank_lines();
        say_line("%60s%12d", "     Max first 100 levels for random effect ", k);
        list_levels(FACTORS.ITOPRS(k), "         Code    N-obs    R-C-No     ");
    }
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k) {
        if (RMAT(k).structure != Structure::PED) continue;
        page_if(6);
        blank_lines();
        say_line("%60s%12d", "     Random effect ", k);
        list_animals(FACTORS.ITOPAS(k));
    }
}

}  // namespace kve
