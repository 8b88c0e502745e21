// G of the typed animals beside A11, their relationships by the pedigree.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "directives/directives.h"
#include "kve/check/look.h"
#include "kve/check/pedigree_book.h"
#include "kve/check/relation_matrix.h"
#include "matrices/typed_relationships.h"

namespace kve::companion {

class GenomicComparison {
 public:
    // Makes A11 and fills G. All typed animals have numbers in the pedigree and diagonals in `g`,
    // whose elements are in the order of their places, each once.
    GenomicComparison(Look& look, const VAR_STR_SPEC& spec, PedigreeBook& pedigree,
                      const std::vector<int32_t>& typed, RelationMatrix& g);

    bool has_inbred() const { return has_inbred_; }  // among the typed animals and their ancestors
    void tell();

 private:
    struct Pair {
        int32_t i, j;  // i > j
        double a, g;   // g on the scale of A11
        double distance() const { return g - a; }
    };
    // Means over the close relatives of an animal.
    struct Relatives {
        int64_t n = 0;
        double a = 0, g = 0;
    };

    void make_a11(const std::vector<int32_t>& typed);
    void fill_g();
    void find_scale();
    double scaled(double g) const { return (g + alfa_) / beta_; }
    double correlate() const;
    double usual_distance() const;
    Place place_of(int32_t i, int32_t j);
    std::string pair_called(const Pair& pair) const;

    void tell_scale();
    // False when G and A11 have little to do with each other.
    bool tell_correlation();
    void tell_diagonals();
    Relatives relatives_of(int32_t animal, int32_t sample) const;
    bool are_lost(const Relatives& r, double far) const;
    bool fit(const Relatives& r) const;
    double usual_lack(const std::vector<Relatives>& all) const;
    void tell_lost();
    void tell_pairs();
    void tell_pair(const Pair& pair, bool& is_told);
    void tell_singular();
    bool is_definite(double weight) const;

    Look& look_;
    const VAR_STR_SPEC& spec_;
    PedigreeBook& pedigree_;
    RelationMatrix& elements_;
    ReducedPedigree reduced_;
    TypedMatrices both_;
    std::vector<int32_t> level_;  // in `elements_`, by typed animal from 1
    bool has_inbred_ = false;
    double mean_diagonal_a_ = 0, mean_diagonal_g_ = 0, mean_beside_a_ = 0, mean_beside_g_ = 0;
    double alfa_ = 0, beta_ = 1;  // as G-ADJUST has them
};

}  // namespace kve::companion
