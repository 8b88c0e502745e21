// Inverse relationship matrices that users give: elements, levels, whether it can be an inverse.
#include <fmt/format.h>

#include <cmath>
#include <cstdlib>
#include <vector>

#include "directives/catalogue.h"
#include "kve/check/definite.h"
#include "kve/check/matrix_look.h"
#include "kve/check/relation_matrix.h"
#include "kve/check/thresholds.h"
#include "kve/check/words.h"

namespace kve::companion {

namespace {

struct Inverse {
    Look& look;
    const VAR_STR_SPEC& spec;
    RelationMatrix matrix;

    bool adds_repeated() const { return spec.structure != Structure::GREL; }
    bool belongs_to_pedigree() const {
        return spec.structure == Structure::DOM || spec.structure == Structure::ABS_QTL;
    }
};

// ---- Levels

void look_for_zero_identities(Inverse& at) {
    for (const LevelElement& e : at.matrix.elements)
        for (const int32_t level : {e.row, e.column})
            if (at.matrix.id[static_cast<std::size_t>(level)] <= 0) {
                at.look.findings.warn(
                    "matrix-identity", at.matrix.place(e.record),
                    fmt::format("the identity {} is no level of the data",
                                at.matrix.id[static_cast<std::size_t>(level)]),
                    "The determinant, 0 0 and a value, stands in the first record alone");
                break;
            }
}

// Of a factor with a pedigree: KVE1 leaves the elements of others out, and stops at the 51st.
void look_for_strangers(Inverse& at, PedigreeBook& pedigree) {
    FirstOnes strangers;
    for (const LevelElement& e : at.matrix.elements)
        for (const int32_t level : {e.row, e.column})
            if (const int32_t id = at.matrix.id[static_cast<std::size_t>(level)];
                id > 0 && pedigree.number_of(id) == 0) {
                strangers.take(id, e.record);
                break;
            }
    if (strangers.count() == 0) return;
    at.look.findings.add(
        {"matrix-identity",
         strangers.count() > kMostStrangers ? Severity::error : Severity::warning,
         at.matrix.place(strangers.line()),
         fmt::format("{} not in the pedigree of factor {}; KVE1 leaves the elements out{}: {}",
                     counted(strangers.count(), "element is of an animal that is",
                             "elements are of animals that are"),
                     at.spec.integer_input,
                     strangers.count() > kMostStrangers ? ", and stops at the 51st" : "",
                     strangers.words()),
         ""});
}

void look_for_diagonals(Inverse& at, FactorLevels* levels) {
    std::vector<bool> has_diagonal(at.matrix.id.size());
    for (const LevelElement& e : at.matrix.elements)
        if (e.is_diagonal()) has_diagonal[static_cast<std::size_t>(e.row)] = true;
    const auto tell = [&at](const Place& place, int32_t id, const char* which) {
        at.look.findings.error(
            "matrix-diagonal", place,
            fmt::format("{} {} has no diagonal element in {}", which, id, at.matrix.file));
    };
    for (const LevelElement& e : at.matrix.elements)
        for (const int32_t level : {e.row, e.column})
            if (!has_diagonal[static_cast<std::size_t>(level)]) {
                tell(at.matrix.place(e.record), at.matrix.id[static_cast<std::size_t>(level)],
                     "the level");
                has_diagonal[static_cast<std::size_t>(level)] = true;  // once
            }
    if (levels == nullptr) return;
    FirstOnes missing;
    for (std::size_t k = 0; k < levels->id.size(); ++k)
        if (at.matrix.find(levels->id[k]) < 0) missing.take(levels->id[k], levels->line[k]);
    if (missing.count() == 0) return;
    at.look.findings.error(
        "matrix-diagonal", at.matrix.place(0),
        fmt::format("{} of {} levels of the data have no diagonal element, and KVE1 would stop: {}",
                    missing.count(), levels->id.size(), missing.words()),
        "The lines are those of the data");
}

// ---- Elements given twice

struct Repeated {
    int64_t n = 0, n_differ = 0, n_beside = 0;
    const LevelElement* first = nullptr;  // in the file; the one that it repeats stands before it
};

Repeated find_repeated(const std::vector<LevelElement>& sorted) {
    Repeated found;
    for (std::size_t k = 1; k < sorted.size(); ++k) {
        const LevelElement& element = sorted[k];
        if (!element.is_place_of(sorted[k - 1])) continue;
        ++found.n;
        found.n_beside += element.is_diagonal() ? 0 : 1;
        found.n_differ += element.value != sorted[k - 1].value ? 1 : 0;
        if (found.first == nullptr || element.record < found.first->record) found.first = &element;
    }
    return found;
}

// Drops all but the last of each place.
void look_for_repeated(Inverse& at) {
    sort_elements(at.matrix);
    const auto [n, n_differ, n_beside, first] = find_repeated(at.matrix.elements);
    if (n == 0) return;
    const LevelElement& before = *(first - 1);
    const auto id = [&](int32_t level) { return at.matrix.id[static_cast<std::size_t>(level)]; };
    const std::string words = fmt::format(
        "{} elements stand in the file more than once, {} of them with another value; the first is "
        "that of {} and {}, {:g} and in line {} {:g}",
        n, n_differ, id(first->row), id(first->column), first->value, before.record, before.value);
    if (at.adds_repeated())
        at.look.findings.error("matrix-twice", at.matrix.place(first->record),
                               words + "; KVE1 adds them up",
                               n_beside == n && n > 1 ? "Give one triangle alone" : "");
    else if (n_differ > 0)
        at.look.findings.warn("matrix-twice", at.matrix.place(first->record),
                              words + "; KVE1 takes the last one");
    keep_last_of_each_place(at.matrix);
}

// ---- Whether it is an inverse

// Relationships are rarely below 0, and the elements of their inverse rarely above it.
bool looks_like_relationships(const Inverse& at) {
    int64_t n_beside = 0;
    for (const LevelElement& e : at.matrix.elements) {
        if (e.is_diagonal() && (e.value < kLeastRelationship || e.value > kMostRelationship))
            return false;
        if (e.is_diagonal() || e.value == 0.0) continue;
        if (e.value < 0.0 || e.value > kMostRelationship) return false;
        ++n_beside;
    }
    return n_beside > 0;
}

std::string determinant_mistake(double given, double right) {
    const auto is = [given](double value) {
        return std::abs(given - value) < kDeterminantError * (std::abs(value) + 0.1);
    };
    if (is(-right)) return "it seems to be that of the inverse: change its sign";
    if (is(std::exp(right))) return "it seems to be the determinant itself: give its logarithm";
    if (is(right / std::log(10.0))) return "it seems to be a logarithm to base 10";
    return "";
}

void look_at_determinant(Inverse& at, double of_file) {
    const double right = -of_file;  // of the relationships, of which the file has the inverse
    if (!at.matrix.log_determinant)
        return at.look.findings.note(
            "determinant", at.matrix.place(1),
            "there is no record of the log determinant, which then counts as 0",
            fmt::format("0 0 {:.6f} in front of the elements gives it", right));
    const double given = *at.matrix.log_determinant;
    if (std::abs(given - right) <= kDeterminantError * (std::abs(right) + 1.0)) return;
    at.look.findings.warn(
        "determinant", at.matrix.place(1),
        fmt::format("the log determinant is given as {:g}, that of the relationships is {:g}",
                    given, right),
        determinant_mistake(given, right));
}

void look_at_definiteness(Inverse& at) {
    const bool is_misread = looks_like_relationships(at);
    if (is_misread)
        at.look.findings.warn("not-an-inverse", at.matrix.place(0),
                              "no element is below 0 and the diagonal is that of relationships: "
                              "this looks like the matrix itself and not like its inverse",
                              "Give the inverse");
    const Definiteness found = find_definiteness(at.matrix.n(), at.matrix.elements);
    if (found.answer == Definiteness::Answer::definite) {
        if (!is_misread) look_at_determinant(at, found.log_determinant);
        return;
    }
    if (found.answer == Definiteness::Answer::too_large)
        return at.look.findings.note(
            "matrix-size", at.matrix.place(0),
            fmt::format("{} levels and {} elements are too many to look whether the matrix is "
                        "positive definite",
                        at.matrix.n(), at.matrix.elements.size()));
    at.look.findings.error(
        "not-an-inverse", at.matrix.place(0),
        fmt::format("the matrix is not positive definite, so it is no inverse of relationships; "
                    "it fails at level {}",
                    at.matrix.id[static_cast<std::size_t>(found.level)]),
        "Perhaps an element has a wrong sign or value, or elements are missing");
}

}  // namespace

void look_at_inverse(Look& look, const VAR_STR_SPEC& spec, FactorLevels* levels,
                     PedigreeBook* pedigree) {
    Inverse at{.look = look,
               .spec = spec,
               .matrix = read_relation_matrix(look, spec.file[0].string(),
                                              static_cast<DataFormat>(spec.format), true)};
    look_for_zero_identities(at);
    if (at.belongs_to_pedigree() && pedigree != nullptr && pedigree->is_whole)
        look_for_strangers(at, *pedigree);
    look_for_repeated(at);
    if (!at.matrix.is_whole) return;
    look_for_diagonals(at, levels);
    if (at.matrix.n() == 0)
        look.findings.error("matrix-record", at.matrix.place(0),
                            "there is no element in the file; KVE1 would stop");
    // A fault that has been told would show again.
    else if (look.findings.count("matrix-diagonal") == 0 &&
             look.findings.count("matrix-value") == 0)
        look_at_definiteness(at);
}

}  // namespace kve::companion
