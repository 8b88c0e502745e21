#include "directives/directive_structures.h"

#include <algorithm>
#include <map>

#include "directives/directive_data.h"
#include "directives/directive_errors.h"
#include "directives/directive_lines.h"
#include "directives/user_files.h"

namespace kve {

WRITES(DIRECTIVES);
READS(cinp);

namespace {

constexpr Keyword k = Keyword::VAR_STR;
constexpr std::size_t kKeywordColumns = 9;  // "$VAR_STR " or, on a text line, whatever stands there

template <class Number>
Number must_read_here(std::string_view expected, std::string_view text) {
    // $REDUCE directly behind such a line counts as one more.
    bool reduce = cinp.starts_with("$REDUCE");
    return must_read<Number>(k, expected, text,
                             reduce ? "        $REDUCE must not follow $VAR_STR directly" : "");
}

void tell_incomplete() { directive_error(DirectiveError::incomplete_line, k); }

void read_method(VAR_STR_SPEC& spec, std::string_view& rest) {
    spec.method = must_read_here<int32_t>("an inverse method", cut_word(rest));
    if (spec.method < 1 || spec.method > kMostMethods)
        directive_error(DirectiveError::wrong_structure_method, k, spec.type.view(), spec.factor,
                        spec.method);
    if (spec.structure == Structure::PGMIX && spec.method >= 2 && spec.method <= 6)
        directive_error(DirectiveError::pgmix_method, k, {}, spec.factor, spec.method);
}

// RAM: a second inverse for a reduced animal model is wanted.
void read_ram(VAR_STR_SPEC& spec, std::string_view& rest) {
    bool allowed = spec.method == 2 || spec.method == 4 || spec.method == 6;
    if (!allowed || !rest.starts_with("RAM")) return;
    if (DIRECTIVES.ITASK != kSampling)
        directive_error(DirectiveError::ram_task, k, {}, spec.factor, spec.method,
                        DIRECTIVES.ITASK);
    spec.ram = true;
    cut_word(rest);
}

// R value: phantom parent groups are random. False when the value is missing.
bool read_r(VAR_STR_SPEC& spec, std::string_view& rest) {
    if (spec.method != 6 || !(rest.starts_with('R') || rest.starts_with('r'))) return true;
    spec.r = true;
    cut_word(rest);
    if (rest.empty()) return false;
    spec.r_value = must_read_here<double>("the value behind R", cut_word(rest));
    return true;
}

// Column 0 is one group for all records.
void read_group(VAR_STR_SPEC& spec, std::string_view rest) {
    spec.integer_input = must_read_here<int32_t>("an integer column", cut_word(rest));
    if (spec.integer_input < 0 || spec.integer_input > DIRECTIVES.NI)
        directive_error(DirectiveError::group_column, k, spec.type.view(), spec.factor,
                        spec.integer_input, DIRECTIVES.NI);
    if (DIRECTIVES.ITASK != kSampling && DIRECTIVES.ITASK != kSolveByKve4)
        directive_error(DirectiveError::group_task, k);
}

// The files of typed animals and of genotypes, and how the two matrices are blended.
void read_pgmix_rest(VAR_STR_SPEC& spec, std::string_view rest) {
    for (int file : {1, 2}) {
        if (rest.empty()) return directive_error(DirectiveError::pgmix_files, k);
        spec.file[file] = cut_word(rest);
    }
    if (rest.empty()) return;
    spec.weight = must_read_here<double>("a weight", cut_word(rest));
    spec.g_adjust = rest == "G-ADJUST";
    if (!rest.empty() && !spec.g_adjust)
        directive_error(DirectiveError::pgmix_option, k, rest, spec.factor);
}

void read_files(VAR_STR_SPEC& spec, std::string_view rest) {
    spec.format = format_of(cut_word(rest));
    if (spec.format == kNoFormat || rest.empty()) return tell_incomplete();
    spec.file[0] = cut_word(rest);
    if (spec.structure != Structure::PGMIX) return;
    read_pgmix_rest(spec, rest);
    for (FileName& name : spec.file) add_submission_directory(name);
}

void read_structure_line(std::string_view rest) {
    // The record stands with whatever is read before a fault, so that later faults show as well.
    VAR_STR_SPEC& spec = DIRECTIVES.var_str.emplace_back();
    spec.factor = must_read_here<int32_t>("a random factor number", cut_word(rest));
    if (spec.factor < 1) directive_error(DirectiveError::factor_below_1, k);
    spec.type = cut_word(rest);
    spec.structure = structure_of(spec.type.view());
    if (spec.structure == Structure::unknown)
        return directive_error(DirectiveError::unknown_structure, k, spec.type.view(), spec.factor);
    if (spec.structure == Structure::GROUP) return read_group(spec, rest);
    if (has_pedigree(spec.structure)) read_method(spec, rest);
    if (spec.structure == Structure::PED) {
        read_ram(spec, rest);
        if (!read_r(spec, rest)) return tell_incomplete();
    }
    if (spec.structure == Structure::DOM || spec.structure == Structure::ABS_QTL)
        spec.integer_input = must_read_here<int32_t>("a number", cut_word(rest));
    read_files(spec, rest);
}

bool has_a_file_to_find(Structure structure) {
    return structure == Structure::PED || structure == Structure::ABS_QTL ||
           structure == Structure::DOM || structure == Structure::COR ||
           structure == Structure::GREL;
}

// Kept: the files of earlier groups are looked for again, and told again when missing.
void find_structure_files() {
    for (VAR_STR_SPEC& spec : DIRECTIVES.var_str) {
        if (!has_a_file_to_find(spec.structure)) continue;
        if (spec.has_prefix) {
            require_file(k, spec.file[0]);
        } else {
            spec.has_prefix = true;
            find_user_file(k, spec.file[0]);
        }
    }
}

}  // namespace

Keyword read_structures() {
    Keyword next;
    do {
        std::string_view line = cinp;
        read_structure_line(left_adjusted(line.substr(std::min(kKeywordColumns, line.size()))));
        // Kept: the number excluded here is that of $REDUCE, whose line counts as one more $VAR_STR
        // line; a $VAR_STR line begins a group of its own.
        next = read_directive_line(Keyword::REDUCE);
    } while (next == Keyword::text);
    find_structure_files();
    return next;
}

void check_repeated_factors() {
    std::map<int32_t, int64_t> records_of;
    for (const VAR_STR_SPEC& spec : DIRECTIVES.var_str)
        if (spec.factor >= 1) ++records_of[spec.factor];
    for (auto [factor, count] : records_of)
        if (count > 1) directive_error(DirectiveError::repeated_factor, k, {}, factor, count);
}

}  // namespace kve
