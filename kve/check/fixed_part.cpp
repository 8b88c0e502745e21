#include "kve/check/fixed_part.h"

#include <Eigen/OrderingMethods>
#include <Eigen/SparseCholesky>
#include <algorithm>
#include <unordered_map>
#include <utility>

#include "base/state.h"
#include "data/raw_record.h"

namespace kve::companion {

READS(RECORD);

// ---- Combinations

FixedCells::FixedCells(TraitPattern traits, std::vector<int32_t> effects,
                       std::vector<int32_t> covariables)
    : traits_(traits),
      effects_(std::move(effects)),
      covariables_(std::move(covariables)),
      key_(effects_.size()),
      table_(64),
      varies_(covariables_.size()) {}

bool FixedCells::is_cell(int64_t cell) const {
    return std::equal(key_.begin(), key_.end(),
                      keys_.begin() + cell * static_cast<int64_t>(key_.size()));
}

namespace {

std::size_t mixed(const int32_t* key, std::size_t n) {
    constexpr uint64_t kMixer = 0x9E3779B97F4A7C15;  // the golden ratio, as a fraction of 2**64
    uint64_t all = 0;
    for (std::size_t k = 0; k < n; ++k)
        all = (all ^ (all >> 29) ^ static_cast<uint32_t>(key[k])) * kMixer;
    return all ^ (all >> 32);
}

}  // namespace

void FixedCells::lengthen_table() {
    table_.assign(2 * table_.size(), 0);
    for (int64_t cell = 0; cell < n_; ++cell) {
        std::size_t at = mixed(&keys_[static_cast<std::size_t>(cell) * key_.size()], key_.size());
        while (table_[at &= table_.size() - 1] != 0) ++at;
        table_[at] = static_cast<uint32_t>(cell + 1);
    }
}

int64_t FixedCells::find_or_enter() {
    if (2 * static_cast<std::size_t>(n_) >= table_.size()) lengthen_table();
    std::size_t at = mixed(key_.data(), key_.size());
    for (; table_[at &= table_.size() - 1] != 0; ++at)
        if (is_cell(table_[at] - 1)) return table_[at] - 1;
    table_[at] = static_cast<uint32_t>(n_ + 1);
    keys_.insert(keys_.end(), key_.begin(), key_.end());
    for (const int32_t column : covariables_) values_.push_back(RECORD.FINP(column));
    return n_++;
}

void FixedCells::take_record() {
    if (is_too_many()) return;
    for (std::size_t k = 0; k < key_.size(); ++k) key_[k] = RECORD.IINP(effects_[k]);
    const int64_t n_before = n_;
    if (last_ < 0 || !is_cell(last_)) last_ = find_or_enter();
    if (n_ > n_before) return;
    ++n_repeated_;
    for (std::size_t k = 0; k < covariables_.size(); ++k)
        if (!varies_[k] && RECORD.FINP(covariables_[k]) != value(last_, k)) varies_[k] = true;
}

bool is_nested(const FixedCells& cells, std::size_t inner, std::size_t outer) {
    std::unordered_map<int32_t, int32_t> outer_of;
    for (int64_t cell = 0; cell < cells.count(); ++cell) {
        const int32_t level = cells.level(cell, outer);
        if (outer_of.emplace(cells.level(cell, inner), level).first->second != level) return false;
    }
    return true;
}

// ---- Rank

namespace {

using Sparse = Eigen::SparseMatrix<double>;

// Columns of the design: levels by their first appearance, effect after effect.
struct Design {
    std::vector<Eigen::Triplet<double>> entries;
    int64_t n_columns = 0;
    int64_t n_of_largest = 0;
};

void add_effect(Design& design, const FixedCells& cells, std::size_t effect) {
    std::unordered_map<int32_t, int64_t> columns;
    for (int64_t cell = 0; cell < cells.count(); ++cell) {
        const auto next = design.n_columns + static_cast<int64_t>(columns.size());
        const int64_t column = columns.emplace(cells.level(cell, effect), next).first->second;
        design.entries.emplace_back(static_cast<int>(cell), static_cast<int>(column), 1.0);
    }
    const auto n = static_cast<int64_t>(columns.size());
    design.n_columns += n;
    design.n_of_largest = std::max(design.n_of_largest, n);
}

// Measured from its mean, so that large values beside a small spread do not blur the rank.
void add_covariable(Design& design, const FixedCells& cells, std::size_t covariable) {
    double mean = 0;
    for (int64_t cell = 0; cell < cells.count(); ++cell)
        mean +=
            static_cast<double>(cells.value(cell, covariable)) / static_cast<double>(cells.count());
    for (int64_t cell = 0; cell < cells.count(); ++cell)
        design.entries.emplace_back(static_cast<int>(cell), static_cast<int>(design.n_columns),
                                    static_cast<double>(cells.value(cell, covariable)) - mean);
    ++design.n_columns;
}

// The crossproducts with a diagonal of 1 and a little more: what depends on the columns ahead of it
// leaves a pivot of about that little.
constexpr double kRidge = 1e-11, kLeastPivot = 1e-8;

Sparse scaled_crossproducts(const Design& design, int64_t n_rows) {
    Sparse x(static_cast<int>(n_rows), static_cast<int>(design.n_columns));
    x.setFromTriplets(design.entries.begin(), design.entries.end());
    for (int column = 0; column < x.cols(); ++column) {
        const double norm = x.col(column).norm();
        if (norm > 0) x.col(column) /= norm;
    }
    Sparse products = x.transpose() * x;
    Sparse ridge(products.rows(), products.cols());
    ridge.setIdentity();
    return products + kRidge * ridge;
}

}  // namespace

std::optional<Rank> rank_of(const FixedCells& cells, const std::vector<std::size_t>& effects,
                            const std::vector<std::size_t>& covariables) {
    Design design;
    for (const std::size_t effect : effects) add_effect(design, cells, effect);
    for (const std::size_t covariable : covariables) add_covariable(design, cells, covariable);
    if (design.n_columns - design.n_of_largest > kMostOtherLevels) return {};
    const Eigen::SimplicialLDLT<Sparse> factor(scaled_crossproducts(design, cells.count()));
    const Eigen::VectorXd pivots = factor.vectorD();
    Rank rank{design.n_columns, 0};
    for (const double pivot : pivots) rank.rank += pivot > kLeastPivot ? 1 : 0;
    return rank;
}

}  // namespace kve::companion
