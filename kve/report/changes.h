// What differs between two runs, as plain lists.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kve/report/run_figures.h"

namespace kve::companion {

// Something that a run says of itself. Of two runs statements of one subject are compared.
struct Statement {
    std::string subject, value;
};
std::vector<Statement> model_statements(const RunFigures& figures);
std::vector<Statement> record_statements(const RunFigures& figures);
std::vector<Statement> pedigree_statements(const RunFigures& figures);

// An empty text where one of the two runs has no such statement.
struct Difference {
    std::string subject, before, after;
};
std::vector<Difference> compare(const std::vector<Statement>& before,
                                const std::vector<Statement>& after);

// The levels of one effect in both runs, by their identities, or by their names where both have
// such.
struct LevelChange {
    std::string label;
    int64_t n_before = 0, n_after = 0;
    int64_t n_gone = 0, n_new = 0;
    std::vector<std::string> gone = {}, added = {};  // the first of them, by name or identity
    int64_t observations_before = 0, observations_after = 0;

    bool is_change() const {
        return n_gone + n_new > 0 || observations_before != observations_after;
    }
};
std::vector<LevelChange> compare_levels(const RunFigures& before, const RunFigures& after);

struct ElementChange {
    std::string matrix, row, column;
    double before, after;

    bool is_change() const { return before != after; }
};
// Elements that both runs have, by the names of matrices and rows.
std::vector<ElementChange> compare_covariances(const RunFolder& before, const RunFolder& after);

// Fields of MODINF with other contents, but for the date.
std::vector<std::string> other_fields(const RunFolder& before, const RunFolder& after);

// Messages that only one of two runs has.
std::vector<Message> messages_without(const RunFigures& figures, const RunFigures& other);

}  // namespace kve::companion
