// Fills the tables that a model section leaves behind, for tests of what comes after it.
#pragma once

#include <functional>
#include <regex>

#include "data/factors.h"
#include "data/intake.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/units.h"
#include "model/model_records.h"
#include "store/big_tables.h"
#include "testing.h"

// The lines of one trait in a model section: "n" and its effects, its random effects with their
// matrices, its regressions; and its line of $REDUCE.
struct Submodel {
    std::string effects = "0", random = "0", regressions = "0";
    std::string reduce = {};
};

// 9 integer columns Mu (0), I1 to I9 and 9 real columns R1 to R9.
void name_columns();
// MODEL, KVEINT and the names of the columns, by the parser of the model section. Trait i stands in
// real column i.
void build_model(const std::vector<Submodel>& traits);
// The same with its covariance structure.
void derive_model(const std::vector<Submodel>& traits);

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
// A blank for each run of blanks and line ends.
std::string folded(const std::string& text);

template <class Array>
std::vector<int> numbers_of(const Array& array) {
    return {array.begin(), array.end()};
}
using Numbers = std::vector<int>;
