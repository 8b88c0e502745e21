#include "directives/directive_structures.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string_view>

#include "base/state.h"
#include "base/text.h"
#include "directives/directive_data.h"
#include "directives/directive_faults.h"
#include "directives/directive_lines.h"
#include "directives/directives.h"
#include "directives/user_files.h"

namespace kve {

WRITES(DIRECTIVES);
READS(cinp);

namespace {

constexpr Keyword k = Keyword::VAR_STR;
constexpr std::size_t kKeywordColumns = 9;  // "$VAR_STR " or, on a text line, whatever stands there

template <class Number>
Number must_read_here(std::string_view expected, std::string_view text) {
    // $REDUCE directly after such a line counts as one more.
    bool reduce = cinp.starts_with("$REDUCE");
    return must_read<Number>(k, expected, text,
                             reduce ? "        $REDUCE must not follow $VAR_STR directly" : "");
}

// ---- Faults

Fault fault_of_factor(int32_t factor) {
    Fault fault;
    fault.line("ERROR - On $VAR_STR keyword line for random factor : %12d", factor);
    return fault;
}

Fault fault_of_structure(const VAR_STR_SPEC& spec) {
    Fault fault = fault_of_factor(spec.factor);
    fault.line("        Type of variance structure specified       : %.*s",
               KVE_SV(spec.type.view()));
    return fault;
}

void tell_unknown_structure(const VAR_STR_SPEC& spec) {
    Fault fault = fault_of_factor(spec.factor);
    fault.line("        Specified variance structure type          : %.*s",
               KVE_SV(spec.type.view()));
    fault.line("        Legal type of variance structure are:");
    for (int32_t number = 1; number <= kStructures; ++number)
        fault.line("          %.*s", KVE_SV(structure_name(static_cast<Structure>(number))));
    fault.tell();
}

void tell_wrong_method(const VAR_STR_SPEC& spec) {
    Fault fault = fault_of_structure(spec);
    fault.line("        Method specified                           : %12d", spec.method);
    fault.line("        Legal methods are:");
    for (int32_t method = 1; method <= kMostMethods; ++method) {
        std::string_view label = structure_method_label(spec.structure, method);
        if (!label.empty()) fault.line("        %12d: %.*s", method, KVE_SV(label));
    }
    fault.tell();
}

void tell_pgmix_method(const VAR_STR_SPEC& spec) {
    Fault fault = fault_of_structure(spec);
    fault.line("        Method specified                           : %12d", spec.method);
    fault.line("        Legal methods for variance structure PGMIX is 1");
    fault.tell();
}

[[noreturn]] void stop_ram_task(const VAR_STR_SPEC& spec) {
    Fault fault;
    fault.line("ERROR - Method specified for computation of A**(-) for random factor%12d is:%12d",
               spec.factor, spec.method);
    fault.line("        This is for setting up an additional A**(-1) for a Reduced Animal Model");
    fault.line("        This feature is only implemented in KVEGS (task = 2)");
    fault.line("        The task specified are%.*s", KVE_SV(task_label(DIRECTIVES.ITASK)));
    fault.stop();
}

void tell_group_column(const VAR_STR_SPEC& spec) {
    Fault fault = fault_of_structure(spec);
    fault.line("        Interger input no.                         : %12d", spec.integer_input);
    fault.line("        Legal integer input no.                    ; 1 -%12d", DIRECTIVES.NI);
    fault.tell();
}

void tell_group_task() {
    Fault fault;
    fault.line("ERROR - Variance structure GROUP is only legal for");
    fault.line("        Itask = 2 (KVEGS)");
    fault.tell();
}

void tell_missing_pgmix_file() {
    Fault fault;
    fault.line("ERROR - Reading file name for the file with typed animals");
    fault.line("        Variance structure is specified as PGMIX");
    fault.line("        This requiers 2 files");
    fault.line("        A file with the fulle pedigree");
    fault.line("        A file with ID's for typed animals");
    fault.tell();
}

void tell_pgmix_option(const VAR_STR_SPEC& spec, std::string_view option) {
    Fault fault = fault_of_structure(spec);
    fault.line("        Looking for option G-ADJUST, but found     : %.*s", KVE_SV(option));
    fault.tell();
}

void tell_repeated_factor(int32_t factor, int64_t times) {
    Fault fault;
    fault.line("ERROR - Variance structure for random factor : %12d", factor);
    fault.line("        specified %12lld times", static_cast<long long>(times));
    fault.tell();
}

// ---- One line

void read_method(VAR_STR_SPEC& spec, std::string_view& rest) {
    spec.method = must_read_here<int32_t>("an inverse method", cut_word(rest));
    if (spec.method < 1 || spec.method > kMostMethods) tell_wrong_method(spec);
    if (spec.structure == Structure::PGMIX && spec.method >= 2 && spec.method <= 6)
        tell_pgmix_method(spec);
}

// RAM: a second inverse for a reduced animal model is wanted.
void read_ram(VAR_STR_SPEC& spec, std::string_view& rest) {
    bool allowed = spec.method == 2 || spec.method == 4 || spec.method == 6;
    if (!allowed || !rest.starts_with("RAM")) return;
    if (DIRECTIVES.ITASK != kSampling) stop_ram_task(spec);
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
    if (spec.integer_input < 0 || spec.integer_input > DIRECTIVES.NI) tell_group_column(spec);
    if (DIRECTIVES.ITASK != kSampling && DIRECTIVES.ITASK != kSolveByKve4) tell_group_task();
}

// The files of typed animals and of genotypes, and how the two matrices are blended.
void read_pgmix_rest(VAR_STR_SPEC& spec, std::string_view rest) {
    for (int file : {1, 2}) {
        if (rest.empty()) return tell_missing_pgmix_file();
        spec.file[file] = cut_word(rest);
    }
    if (rest.empty()) return;
    spec.weight = must_read_here<double>("a weight", cut_word(rest));
    spec.g_adjust = rest == "G-ADJUST";
    if (!rest.empty() && !spec.g_adjust) tell_pgmix_option(spec, rest);
}

void read_files(VAR_STR_SPEC& spec, std::string_view rest) {
    spec.format = format_of(cut_word(rest));
    if (spec.format == kNoFormat || rest.empty()) return tell_incomplete_line(k);
    spec.file[0] = cut_word(rest);
    if (spec.structure != Structure::PGMIX) return;
    read_pgmix_rest(spec, rest);
    for (FileName& name : spec.file) take_user_file(name);
}

void read_structure_line(std::string_view rest) {
    // The record stands with whatever is read before a fault, so that later faults show as well.
    VAR_STR_SPEC& spec = DIRECTIVES.var_str.emplace_back();
    spec.factor = must_read_here<int32_t>("a random factor number", cut_word(rest));
    if (spec.factor < 1)
        tell_fault("ERROR - Random efffect no. on the VAR_STR keyword line must be > 0");
    spec.type = cut_word(rest);
    spec.structure = structure_of(spec.type.view());
    if (spec.structure == Structure::unknown) return tell_unknown_structure(spec);
    if (spec.structure == Structure::GROUP) return read_group(spec, rest);
    if (has_pedigree(spec.structure)) read_method(spec, rest);
    if (spec.structure == Structure::PED) {
        read_ram(spec, rest);
        if (!read_r(spec, rest)) return tell_incomplete_line(k);
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

// Each file is looked for once, at the end of the group of lines that names it.
void find_structure_files(std::size_t first) {
    for (std::size_t i = first; i < DIRECTIVES.var_str.size(); ++i) {
        VAR_STR_SPEC& spec = DIRECTIVES.var_str[i];
        if (has_a_file_to_find(spec.structure)) find_user_file(k, spec.file[0]);
    }
}

}  // namespace

Keyword read_structures() {
    const std::size_t first = DIRECTIVES.var_str.size();
    Keyword next;
    do {
        std::string_view line = cinp;
        read_structure_line(left_adjusted(line.substr(std::min(kKeywordColumns, line.size()))));
        // Kept: the number excluded here is that of $REDUCE, whose line counts as one more $VAR_STR
        // line; a $VAR_STR line begins a group of its own.
        next = read_directive_line(Keyword::REDUCE);
    } while (next == Keyword::text);
    find_structure_files(first);
    return next;
}

void check_repeated_factors() {
    std::map<int32_t, int64_t> records_of;
    for (const VAR_STR_SPEC& spec : DIRECTIVES.var_str)
        if (spec.factor >= 1) ++records_of[spec.factor];
    for (auto [factor, count] : records_of)
        if (count > 1) tell_repeated_factor(factor, count);
}

}  // namespace kve
