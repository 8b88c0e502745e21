// What the directive file says, as the rest of the program reads it.
#pragma once

#include <cstdint>
#include <vector>

#include "base/arrays.h"
#include "base/state.h"
#include "base/text.h"

namespace kve {

enum DataFormat : int32_t { kNoFormat = 0, kAscii = 1, kBinaryFile = 2 };

// What an analysis program is asked for.
enum AnalysisTask : int32_t {
    kVarianceComponents = 1,  // KVEAI
    kSampling = 2,            // KVEGS
    kLiability = 8,           // Kept: no directive asks for it, the model section has rules for it
    kSolveByKve4 = 11,
    kSolveByKve5 = 12,
};

// Methods of kVarianceComponents.
inline constexpr int32_t kAverageInformation = 1;
inline constexpr int32_t kExpectationMaximization = 2;

// Tasks that solve with known (co)variances need $PRIOR and can start from old solutions.
constexpr bool solves_with_priors(int32_t task) { return task > 10; }

// (Co)variance structures of random factors: the identity, then those of the catalogue.
enum class Structure : int32_t {
    unknown = -1,
    I = 0,
    PED,
    GROUP,
    ABS_QTL,
    DOM,
    COR,
    PGMIX,
    GREL,
};

// Structures with the animals of a pedigree file.
constexpr bool has_pedigree(Structure structure) {
    return structure == Structure::PED || structure == Structure::PGMIX;
}

// One $VAR_STR line.
struct VAR_STR_SPEC {
    int32_t factor = 0;  // random factor number
    int32_t method = 0;  // inverse method, PED and PGMIX
    int32_t format = kNoFormat;
    int32_t integer_input = 0;  // GROUP: integer column; DOM, ABS_QTL: the number on the line
    bool ram = false;           // RAM given
    bool r = false;             // R given, method 6
    bool g_adjust = false;      // G-ADJUST given, PGMIX
    double r_value = 0.0;
    double weight = 0.0;  // PGMIX, after the third file name
    Structure structure = Structure::unknown;
    Text<10> type;  // its name, as on the line
    FileName file[3];
};

// One $CENS line. Columns of the data record: `censoring_code` of the integers,
// `upper_limit` of the reals (0 without INT_MAX).
struct CENS_NODE {
    int32_t trait = 0;
    int32_t censoring_code = 0;
    int32_t upper_limit = 0;
    bool has_upper_limit = false;
};

// One $GLMM line.
struct GLMM_NODE {
    int32_t trait = 0;
    int32_t offset_column = 0;  // 0 none
    float corr_fact = 0.5F;     // CF=
    Text<256> varf;
    Text<256> link;
    bool is_cut = false;  // a text was longer than its field
};

// One $CURE line: real columns of the sequence trait and its mixture trait, integer
// columns of subject and sequence number.
struct CURE_SPEC {
    int32_t trait_column = 0;
    int32_t mixture_column = 0;
    int32_t subject = 0;
    int32_t sequence = 0;
};
inline constexpr int kMostCureSpecs = 31;

// A section that is inline text, written to a file of ours, or a file of the user's.
struct SectionFile {
    FileName name;  // blank when the keyword is absent
    bool from_user = false;
};

// $TD_PTD
struct TrendRequest {
    bool asked = false;
    int32_t factor = 0;
    Text<4> model_type;
    int32_t option_1 = 0;
    int32_t option_2 = 0;
    bool pedigree_exists = false;  // the factor has the structure PED
};

struct Directives {
    // $ANALYSE
    int32_t ITASK = 0;
    int32_t IMETHOD = 0;
    bool method_changed = false;  // from AI to EM, since the model has no effects
    int32_t ISCALE = 0;
    int32_t ITEST = 0;  // test print level

    // $DATA, $VARIABLE
    int32_t data_format = kNoFormat;
    int32_t NI = 0;      // integer columns of a data record
    int32_t NR = 0;      // real columns
    float RMISS = 0.0F;  // a real at or below it is missing
    int32_t n_data_files = 0;
    int64_t n_large_variables = 0;  // of all $DATA lines with many of them
    FileName data_file[2];
    Vec<Name, 0> NAME_I;     // 0..NI, NAME_I(0) is "Mu"
    Vec<Name> NAME_R;        // 1..NR
    Vec<int8_t> IS_MIXTURE;  // 1..NR, not 0 for a mixture variable
    bool names_from_user = false;

    SectionFile model, prior, oldsol, finfo;
    SectionFile kve4, kve5, kveai, kvemgp, kvegs;
    FileName reduce_file;  // blank without $REDUCE
    FileName cvrest_file;  // blank without $VAR_REST

    // Every file that a keyword line names, also one that a later line replaces.
    std::vector<FileName> named_files;

    // The last physical line that was used, when a text line ended the reading; else 0.
    int64_t last_line_used = 0;

    std::vector<VAR_STR_SPEC> var_str;
    std::vector<CENS_NODE> cens;  // ascending by trait
    std::vector<GLMM_NODE> glmm;  // ascending by trait
    std::vector<CURE_SPEC> cure;

    int32_t residual_format = kNoFormat;  // $RESIDUALS; none: not asked for
    TrendRequest td_ptd;
    int32_t glmm_iterations = 0;  // $GLMM_PRED; 0 not given
    double glmm_criterion = 0.0;
    bool sol_cov_asked = false;  // $SOL_COV
    int32_t n_sol_cov = 0;       // -1: no numbers were given
    Vec<int32_t> sol_cov;        // equation numbers

    Text<1024> ST_DIR;  // the submission directory; set by stage `find_place`
};

namespace state {

inline constinit Directives DIRECTIVES;

}  // namespace state

// Name of an integer column (0..NI) or real column (1..NR); blank outside the table.
inline Name integer_name(int64_t column) {
    const Directives& d = state::DIRECTIVES;
    return column >= 0 && column < d.NAME_I.size() ? d.NAME_I(column) : Name();
}
inline Name real_name(int64_t column) {
    const Directives& d = state::DIRECTIVES;
    return column >= 1 && column <= d.NAME_R.size() ? d.NAME_R(column) : Name();
}

// Has $MIXTURE named the real column? False outside the table.
inline bool is_mixture_variable(int64_t column) {
    const Directives& d = state::DIRECTIVES;
    return column >= 1 && column <= d.IS_MIXTURE.size() && d.IS_MIXTURE(column) != 0;
}

}  // namespace kve
