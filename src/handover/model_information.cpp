#include "handover/model_information.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "base/arrays.h"
#include "base/asserted.h"
#include "base/records.h"
#include "base/state.h"
#include "base/text.h"
#include "data/factors.h"
#include "data/intake.h"
#include "data/recoded_data.h"
#include "directives/catalogue.h"
#include "directives/directives.h"
#include "handover/model_information_fields.h"
#include "handover/old_solution_head.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "listing/units.h"
#include "model/model_records.h"
#include "store/big_tables.h"

namespace kve {

READS(DIMENSIONS);
READS(DIRECTIVES);
READS(FACTORS);
READS(INTAKE);
READS(KVEINT);
READS(MODEL);
READS(OLDSOL_H2);
READS(RECODED);
READS(RMAT);
READS(RSD);
READS(RUN_DATE);
WRITES(UNITS);

namespace {

constexpr RecordOutput& MODINF = UNITS.MODINF;

logical4 make_logical(bool value) { return logical4{value ? -1 : 0}; }

// A field as the file has it: a scalar, or the elements of an array that count.
template <class T>
const T& as_written(const Extents&, const T& item) {
    return item;
}
Text<12> as_written(const Extents&, Structure structure) {
    return Text<12>(structure_name(structure));
}
template <record_items::FieldArray A>
auto as_written(const Extents& shape, const A& array) {
    const int64_t n = shape.n[0] * shape.n[1] * shape.n[2];
    KVE_ASSERT(n <= array.size());
    return std::span(array.data(), static_cast<std::size_t>(n));
}

struct Writer {
    template <class... Parts>
    void record(const Parts&... parts) {
        MODINF.begin_record((count_bytes(parts) + ...));
        (put(parts), ...);
        MODINF.end_record();
    }

 private:
    template <class Part>
    std::size_t count_bytes(const Part& part) {
        std::size_t n = 0;
        for_each_field(part, [&](auto, const Extents& shape, const auto& item) {
            n += record_items::bytes_of(as_written(shape, item));
        });
        return n;
    }
    template <class T>
    std::size_t count_bytes(const Constant<T>&) {
        return sizeof(T);
    }
    template <class Part>
    void put(const Part& part) {
        for_each_field(part, [](auto, const Extents& shape, const auto& item) {
            record_items::put_item(MODINF, as_written(shape, item));
        });
    }
    template <class T>
    void put(const Constant<T>& constant) {
        record_items::put_item(MODINF, constant.value);
    }
};

// The pairs of traits whose residual covariance is zero: a column for every pair of traits, blank
// behind the declared ones, however many columns the parser made room for.
void collect_zero_residual_covariances(Matrix<int32_t>& NORCOV) {
    int64_t pairs = int64_t{KVEINT.nt} * (KVEINT.nt + 1) / 2;
    check_allocated(NORCOV.allocate(2, pairs), "KVEPFL", "NORCOV", 2 * pairs);
    std::copy_n(KVEINT.NORCOV.data(), std::min(NORCOV.size(), KVEINT.NORCOV.size()), NORCOV.data());
}

int32_t count_foreign_records() {
    int32_t records = 0;
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k)
        if (RMAT(k).structure == Structure::PED) records = FACTORS.NFINFO(k);
    return records;
}

int32_t find_most_members() {
    int32_t most = 0;
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k) most = std::max(most, RMAT(k).n_traits);
    return most;
}

static_assert(sizeof KVE1_VERSION == 2 && sizeof KVE1_RELEASE == 4,
              "1 and 3 characters in the file");

RunInformation<Borrowed> collect_run(const Matrix<int32_t>& NORCOV) {
    const Directives& d = DIRECTIVES;
    const ModelCounts& c = KVEINT;
    const TrendRequest& trend = d.td_ptd;
    return {
        .version = KVE1_VERSION,
        .release = KVE1_RELEASE,
        .RUN_DATE = RUN_DATE.padded(),
        .kve4 = d.kve4.name,
        .kve5 = d.kve5.name,
        .kveai = d.kveai.name,
        .kvemgp = d.kvemgp.name,
        .kvegs = d.kvegs.name,
        .data_format = d.data_format,
        .NI = d.NI,
        .NR = d.NR,
        .ITASK = d.ITASK,
        .IMETHOD = d.IMETHOD,
        .ISCALE = d.ISCALE,
        .ITEST = d.ITEST,
        .NREC = INTAKE.NREC,
        .n_records = RECODED.n_records,
        .total_observations = c.nt == 1 ? INTAKE.NS(1, 1) : 0,
        .MAXZHZ = DIMENSIONS.MAXZHZ.now,
        .IFSPWSP = DIMENSIONS.IFSPWSP.now,
        .nt = c.nt,
        .NGaussTraits = c.NGaussTraits,
        .NRightCensTraits = c.NRightCensTraits,
        .NCatTraits = c.NCatTraits,
        .NBinTraits = c.NBinTraits,
        .N_CONT_TRAITS = c.N_CONT_TRAITS,
        .N_THRESH_TRAITS = c.N_THRESH_TRAITS,
        .N_WGT_TRAITS = c.N_WGT_TRAITS,
        .TraitIdWithWeight = c.TraitIdWithWeight,
        .MAX_N_ABSORB = c.MAX_N_ABSORB,
        .NABGR = RECODED.NABGR,
        .MN_ABGR = RECODED.MN_ABGR,
        .n_subjects = RECODED.n_subjects,
        .largest_sequence = RECODED.largest_sequence,
        .OLDSOL_H2 = OLDSOL_H2,
        .residual_format = d.residual_format,
        .factor = trend.factor,
        .n_sol_cov = d.n_sol_cov,
        .NRAMAT = c.NRAMAT,
        .N_RAMAT_NOT_ABS = c.N_RAMAT_NOT_ABS,
        .any_covariable = make_logical(c.N_REG_TOTAL > 0),
        .N_REG_TOTAL = c.N_REG_TOTAL,
        // A regression nested in no effect of its trait is general, though no count of the trait
        // has it.
        .n_fixed_covariables = c.N_REG_TOTAL - c.N_RANDOM_COV,
        .n_random_covariables = c.N_RANDOM_COV,
        .MAX_N_REG = c.MAX_N_REG,
        .N_REG_COLS = c.N_REG_COLS,
        .MAX_N_FIXED = c.MAX_N_FIXED,
        .n_fixed_positions = RECODED.n_fixed_positions,
        .NLEV = FACTORS.NLEV,
        .NRALEV = FACTORS.NRALEV,
        .grp_nlev = residual_of(RMAT).grp_nlev,
        .N_ZERO_RCOV = c.N_ZERO_RCOV,
        .NORCOV = NORCOV,
        .n_foreign_records = count_foreign_records(),
        .L_INTERVAL = make_logical(INTAKE.L_INTERVAL),
        .most_members = find_most_members(),
        .NBEGREG = FACTORS.NBEGREG,
        .NBEGF = FACTORS.NBEGF,
        .NBEGRA = FACTORS.NBEGRA,
        .NBEGRAT = FACTORS.NBEGRAT,
        .RSD = RSD,
        .SPRE = c.SPRE,
        .glmm_iterations = d.glmm_iterations,
        .glmm_criterion = d.glmm_criterion,
        .NIOUT = RECODED.NIOUT,
        .NFOUT = RECODED.NFOUT,
        .MFL = DIMENSIONS.MFL.now,
        .MDL = DIMENSIONS.MDL.now,
        .MAXNRM = DIMENSIONS.MAXNRM.now,
        .model_type = trend.model_type,
        .option_1 = trend.option_1,
        .option_2 = trend.option_2,
        .pedigree_exists = make_logical(trend.pedigree_exists),
        .sol_cov = d.sol_cov,
    };
}

}  // namespace

void KVEPFL() {
    Matrix<int32_t> NORCOV;
    collect_zero_residual_covariances(NORCOV);
    const RunInformation<Borrowed> run = collect_run(NORCOV);
    MODINF.hold_first_length();
    Writer file;
    describe_head(file, run);
    for (const Model& m : MODEL) describe_trait(file, m);
    for (int32_t k = 1; k <= KVEINT.NRAMAT + 1; ++k)
        describe_matrix(file, RMAT(k), k <= KVEINT.NRAMAT);
    describe_tail(file, run, residual_of(RMAT));
    check_written(MODINF.close(), "MODINF");
}

}  // namespace kve
