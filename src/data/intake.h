// What the two data passes know of the data: the current record, the counters of the first pass,
// the layout of the recoded record.
#pragma once

#include <cstdint>
#include <limits>

#include "base/arrays.h"
#include "base/state.h"

namespace kve {

// The data record under the reader.
struct DataRecord {
    Vec<int32_t, 0> IINP;    // 0..NI, IINP(0) is the constant 1, IINP(NI+1) always 0
    Vec<float> FINP;         // 1..NR, FINP(NR+1) always RMISS
    Vec<int64_t, 0> l_IINP;  // 0..NI, as read from text
    Vec<double> L_FINP;      // 1..NR, as read from text
    Vec<int8_t> L_FINP_MIS;  // 1..NR+1, not 0 when the value is present
};

// Sum, sum of squares and range of one variable; the summary turns sum and ssq into average and
// standard deviation. Squares are of the distance from the first value: those of the values
// themselves would lose the digits of a deviation that is small beside the average.
struct Statistics {
    double origin = 0.0;  // the first value
    double sum = 0.0;
    double ssq = 0.0;
    double min = std::numeric_limits<double>::max();
    double max = std::numeric_limits<double>::lowest();
};

struct IntakeCounts {
    int64_t NREC = 0;        // records read
    Vec<int32_t, 0> NI_OOR;  // out of range, per integer column
    Vec<int32_t> NR_OOR;     // out of range, per real column
    Vec<int32_t> N_BIN_ERR;  // max(nt, NR): binary values outside 0..1, per trait
    Vec<int8_t, 0> LI_USED;  // the analysis uses the integer column
    Vec<int8_t> LR_USED;
    Vec<int32_t> NDEL;              // data points dropped, per trait
    Triangle<int32_t> NS;           // records with both traits usable
    Vec<Statistics> Y, W;           // dependent variable and weight, per trait
    Matrix<Statistics> X;           // trait x covariable
    Matrix<int32_t> CENS_COUNT;     // 4 x nt: codes -1, 0, 1, 2 of type 2 traits; empty without one
    bool L_INTERVAL = false;        // an interval-censored record has been seen
    int32_t n_zero_ids = 0;         // data points deleted, and faults found in pedigrees: both are
    int32_t n_pedigree_errors = 0;  // told in the summary and nothing raises them before it
};

// Layout and outcome of the recoded data.
struct RecodedData {
    int32_t NIOUT = 0;              // words of a record of RCDATA_I
    int32_t NFOUT = 0;              // words of a record of RCDATA_R
    int32_t n_records = 0;          // records written
    int32_t n_fixed_positions = 0;  // F: fixed class effects of all traits
    int32_t n_subjects = 0;         // 0 without a sequential binary trait
    int32_t largest_sequence = 0;
    Vec<int32_t> NABGR;    // absorption groups per absorbed column
    Vec<int32_t> MN_ABGR;  // largest group per absorbed column
};

namespace state {

// Allocated by the first pass; filled by the record reader and the classifier.
inline constinit DataRecord RECORD;
// Written by the first pass.
inline constinit IntakeCounts INTAKE;
// Written by the priors (positions) and the recoding pass.
inline constinit RecodedData RECODED;
// Residual standard deviations, nt, before scaling. Written by the priors.
inline constinit Vec<double> RSD;
// Second number in the head of the user's old solutions, 0 when none were read. Written by the old
// solutions.
inline constinit int32_t OLDSOL_H2 = 0;

}  // namespace state
}  // namespace kve
