// Fills the tables that a model section leaves behind, for tests of what comes after it.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "model/records.h"

struct Regression {
    int column;
    int effect;  // number in the submodel, 0 general
    int level = 0;
};

// One trait: integer columns of its effects, the last of them random with these matrix numbers.
struct Submodel {
    std::vector<int> effects;
    std::vector<int> matrices;
    std::vector<Regression> regressions = {};
    std::vector<int> merged = {};        // random effects that merge with the one before
    std::vector<int> no_intercept = {};  // effects
    std::vector<int> reduce = {};        // of the random effects
};

// 9 integer columns Mu (0), I1 to I9 and 9 real columns R1 to R9.
void name_columns();
// MODEL, KVEINT and the names of the columns. Trait i stands in real column i.
void build_model(const std::vector<Submodel>& traits);

// Expects values of fields as the dump of the model's records shows them, each entry fields of one
// record: "RMAT(2): rank 1; cont_rc 1 2".
void expect_fields(const std::vector<std::string>& expected, const std::string& about = "");

// Works in an empty folder of its own, with an open KVE_LOG.
class ModelTest : public testing::Test {
 protected:
    ModelTest();
    ~ModelTest() override;

 private:
    std::filesystem::path folder_, before_;
};

// What a call prints on the listing.
std::string listing_of(const std::function<void()>& call);
std::string content_of(const char* file);

template <class Array>
std::vector<int> numbers_of(const Array& array) {
    return {array.begin(), array.end()};
}
using Numbers = std::vector<int>;
