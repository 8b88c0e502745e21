// What the first pass has counted: records, values out of range, statistics of the variables.
#pragma once

#include <cstdint>
#include <limits>

#include "base/arrays.h"
#include "base/state.h"

namespace kve {

// Sum, sum of squares and range of one variable. Squares are of the distance from the first value:
// those of the values themselves would lose the digits of a deviation that is small beside the
// average.
struct Statistics {
    double origin = 0.0;  // the first value
    double sum = 0.0;
    double ssq = 0.0;
    double min = std::numeric_limits<double>::max();
    double max = std::numeric_limits<double>::lowest();
};

// Records that are not like the others, and the first of them.
struct OddRecords {
    int64_t n = 0;
    int64_t first = 0;           // record number
    int64_t line_or_length = 0;  // of the first: the line on which it begins, or its bytes

    void count(int64_t record, int64_t of_first = 0) {
        if (++n > 1) return;
        first = record;
        line_or_length = of_first;
    }
};

// What was seen of one data file beside the values.
struct DataFileCounts {
    int64_t line_ends = 0;   // within the first record of a text file
    OddRecords other_lines;  // text records with another number of them
    OddRecords longer;       // binary records that hold more than their variables
    int64_t n_left = 0;      // records without a partner in the other file
};

struct IntakeCounts {
    int64_t NREC = 0;  // records read
    DataFileCounts file[2];
    Vec<int32_t, 0> NI_OOR;  // out of range, per integer column
    Vec<int32_t> NR_OOR;     // out of range, per real column
    Vec<int32_t> N_BIN_ERR;  // max(nt, NR): binary values outside 0..1, per trait
    Vec<int8_t, 0> LI_USED;  // the analysis uses the integer column
    Vec<int8_t> LR_USED;
    Vec<int32_t> NDEL;           // data points dropped, per trait
    Triangle<int32_t> NS;        // records with both traits usable
    Vec<Statistics> Y, W;        // dependent variable and weight, per trait
    Matrix<Statistics> X;        // trait x covariable
    Matrix<int32_t> CENS_COUNT;  // 4 x nt: codes -1, 0, 1, 2 of type 2 traits; empty without one
    bool L_INTERVAL = false;     // an interval-censored record has been seen
};

namespace state {

// Written by the first pass, with the record reader (values out of range) and the classifier
// (L_INTERVAL).
inline constinit IntakeCounts INTAKE;

}  // namespace state
}  // namespace kve
