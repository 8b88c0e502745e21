// What the recoded data hold: values of traits and covariables, one by one and in pairs.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "kve/files/data_columns.h"
#include "kve/files/run_folder.h"
#include "kve/report/bins.h"
#include "kve/report/moments.h"

namespace kve::companion {

// A column of reals. Values count in the records in which one of its traits is usable.
struct ValueColumn {
    DataColumn column;
    std::vector<int32_t> traits;
    bool is_told = true;  // the files, or the missing value code, tell which traits are usable
    Moments moments = {};
    int64_t n_without = 0;  // records
    Bins bins = {};
};

struct CrossBins {
    Bins x, y;
    std::vector<int64_t> counts;  // y by y

    int64_t at(std::size_t i, std::size_t j) const { return counts[j * x.counts.size() + i]; }
};

struct TraitPair {
    std::size_t x, y;  // among the traits, counted from 0
    PairMoments moments = {};
    std::optional<CrossBins> cells = {};  // of those with most records
};

struct RecordFigures {
    int64_t n_records = 0;
    std::vector<ValueColumn> traits, others;
    std::vector<TraitPair> pairs;
};

// Reads the records once, for everything but bins. Reals at or below `missing` are missing.
RecordFigures survey_records(const RunFolder& run, std::optional<float> missing);

// Chooses bins. With the figures of another run columns of one name get the same bins.
void choose_bins(RecordFigures& figures, RecordFigures* other = nullptr);

// Reads the records once more, and fills the bins that have been chosen.
void fill_bins(const RunFolder& run, std::optional<float> missing, RecordFigures& figures);

}  // namespace kve::companion
