#include "reports/log_tables.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/arrays.h"
#include "base/state.h"
#include "base/text.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "model/model_records.h"

namespace kve {

READS(KVEINT);
READS(MODEL);

namespace {

constexpr int32_t kCovariablesOfLine = 7;
constexpr int32_t kEffectsOfLine = 15;

// entry(first) to entry(last) one after the other, `most` on a line. The first line begins with
// `head`, the further ones with `head_below`.
template <class Entry>
void log_entries(std::string_view head, std::string_view head_below, int32_t most, int32_t first,
                 int32_t last, const Entry& entry) {
    std::string line(head);
    for (int32_t j = first; j <= last; ++j) {
        if (j > first && (j - first) % most == 0) {
            log_say("%s", line.c_str());
            line = head_below;
        }
        line += entry(j);
    }
    log_say("%s", line.c_str());
}

void log_repeated(std::string_view head, const char* text, int32_t n) {
    log_entries(head, {}, n, 1, n, [text](int32_t) { return text; });
}

std::string number(int32_t value, int width) {
    std::string text;
    append(text, " %*d", width - 1, value);
    return text;
}

std::string row_head(const Model& m, const char* bar) {
    return std::string(m.trait_name.padded()) + " " + bar;
}

// Absorbed effects

void write_absorbed_effects() {
    if (KVEINT.MAX_N_ABSORB == 0) return;
    const int32_t n = KVEINT.MAX_N_ABSORB;
    log_blank();
    log_say("  Effects to be absorbed         ");
    log_blank();
    log_repeated("          ", "     Effect       ", n);
    log_repeated("          ", "----------------  ", n);
    log_repeated("   Trait  ", "    Name I-Input  ", n);
    log_repeated("--------  ", "-------- -------  ", n);
    for (const Model& m : MODEL) {
        if (m.n_absorb == 0) continue;
        log_entries(row_head(m, " "), {}, n, 1, m.n_absorb, [&](int32_t j) {
            std::string entry(m.a_ef_name(j).padded());
            append(entry, " %7d  ", m.a_ef_inp(j));
            return entry;
        });
    }
}

// Covariables

// One row of the regressions first..last, which are no more than a line holds.
template <class Entry>
void log_covariables(std::string_view label, int32_t first, int32_t last, const Entry& entry) {
    log_entries(label, {}, kCovariablesOfLine, first, last, entry);
}

std::string nesting_name(const Model& m, int32_t l) {
    std::string name;
    if (m.reg_type(l) != kGeneralRegression) name = integer_name(m.reg_n_inp(l)).view();
    return name;
}

std::string name_entry(std::string_view name) {
    std::string entry;
    append(entry, " %8.*s", KVE_SV(name));
    return entry;
}

void write_trait_covariables(const Model& m) {
    const std::string margin(9, ' ');
    const bool nested = m.n_f_o_reg < m.n_reg;
    for (int32_t first = 1; first <= m.n_reg; first += kCovariablesOfLine) {
        const int32_t last = std::min(first + kCovariablesOfLine - 1, m.n_reg);
        log_covariables((first == 1 ? row_head(m, "") : margin) + "| F-input   |", first, last,
                        [&](int32_t l) { return number(m.reg_inp(l), 9); });
        log_covariables(margin + "|   Name    |", first, last,
                        [&](int32_t l) { return name_entry(m.reg_name(l).view()); });
        if (nested) {
            log_covariables(margin + "| Nesting   |", first, last,
                            [&](int32_t l) { return number(m.reg_n_ef_no(l), 9); });
            log_covariables(margin + "|   Name    |", first, last,
                            [&](int32_t l) { return name_entry(nesting_name(m, l)); });
        }
        log_covariables(margin + "| Type      |", first, last, [&](int32_t l) {
            return name_entry(m.reg_type(l) == kNestedInRandom ? "R" : "F");
        });
    }
}

void write_covariables() {
    if (KVEINT.N_REG_TOTAL == 0) return;
    log_blank();
    log_say("                  Covariables");
    log_say("F-Input number, effect no. for nesting (0 = no nesting)");
    log_say("and type of regression (F = Fixed , R = Random)");
    log_blank();
    log_say("                       Regression");
    log_say("                      -----------");
    const std::string margin(22, ' ');
    log_entries("Trait                 ", margin, kCovariablesOfLine, 1, KVEINT.MAX_N_REG,
                [](int32_t l) { return number(l, 9); });
    log_repeated("---------|-----------|", " --------",
                 std::min(KVEINT.MAX_N_REG, kCovariablesOfLine));
    for (const Model& m : MODEL) write_trait_covariables(m);
    log_blank();
    log_say("Total no of covariables  %12d", KVEINT.N_REG_TOTAL);
    log_say("No of fixed covariables  %12d", KVEINT.N_REG_TOTAL - KVEINT.N_RANDOM_COV);
    log_say("No of random covariables %12d", KVEINT.N_RANDOM_COV);
}

// Class effects

// Kept: only traits with regressions have a row in the tables of class and random effects.
template <class Numbers>
void log_effects_of_traits(const Numbers& numbers_of) {
    for (const Model& m : MODEL) {
        if (m.n_reg <= 0) continue;
        const Vec<int32_t>& numbers = numbers_of(m);
        log_entries(row_head(m, "|"), "         |", kEffectsOfLine, 1,
                    static_cast<int32_t>(numbers.size()),
                    [&](int32_t j) { return number(numbers(j), 5); });
    }
}

void write_class_effects() {
    log_blank();
    log_say("I-Input-no for Classification Variables");
    log_entries("  Trait  |", "         |", kEffectsOfLine, 1, KVEINT.MAX_N_EF,
                [](int32_t j) { return number(j, 5); });
    log_say("-------- |");
    log_effects_of_traits([](const Model& m) -> const Vec<int32_t>& { return m.ef_inp; });
}

void write_random_effects() {
    log_blank();
    log_say("Description of random effects accross traits");
    log_say("Numbering of Random Effects ((co)variance matrix number)");
    log_say("Trait    |");
    log_say("-------- |");
    log_effects_of_traits([](const Model& m) -> const Vec<int32_t>& { return m.r_ef_matno; });
}

}  // namespace

void write_log_tables() {
    write_absorbed_effects();
    write_covariables();
    write_class_effects();
    write_random_effects();
}

}  // namespace kve
