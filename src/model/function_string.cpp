#include "model/function_string.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <ranges>
#include <string>
#include <vector>

#include "base/freeform.h"

namespace kve {

namespace {

// In the order of their codes, and of increasing binding.
constexpr std::string_view kOperators = "+-*/^";

// A name matches where the text starts with it, so a longer one stands ahead of its own beginning.
constexpr std::string_view kIntrinsics[] = {"ABS",  "EXP", "LOG10", "LOG", "SQRT", "SINH", "COSH",
                                            "TANH", "SIN", "COS",   "TAN", "ASIN", "ACOS", "ATAN"};
static_assert(kFirstIntrinsic + std::size(kIntrinsics) == kFirstVariable);
constexpr std::size_t kNoIntrinsic = std::size(kIntrinsics);

constexpr std::size_t kShownAfter = 20;  // of a long text, from the place of the error on

// A function without its blanks and with "^" for "**". Positions count from 0.
struct Source {
    std::string_view given;  // as the user wrote it
    std::span<const std::string_view> variables;
    std::string text;
    std::vector<std::size_t> place;  // of each character, in `given`
    std::vector<bool> joins;         // an operator with two operands; known when checked

    bool ends_at(std::size_t at) const { return at >= text.size(); }
    bool has(std::size_t at, std::string_view characters) const {
        return !ends_at(at) && characters.find(text[at]) != characters.npos;
    }
    // Does the character belong to the name or number that the one before it belongs to?
    bool goes_on(std::size_t at) const { return !ends_at(at) && place[at] == place[at - 1] + 1; }
};

Source without_blanks(std::string_view given, std::span<const std::string_view> variables) {
    Source source{given, variables, {}, {}, {}};
    for (std::size_t k = 0; k < given.size(); ++k) {
        if (is_blank(given[k])) continue;
        const bool power = given.substr(k, 2) == "**";
        source.text += power ? '^' : given[k];
        source.place.push_back(k);
        if (power) ++k;
    }
    source.joins.resize(source.text.size());
    return source;
}

char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

bool starts_name(const Source& source, std::size_t at, std::string_view name) {
    for (std::size_t k = 0; k < name.size(); ++k) {
        if (source.ends_at(at + k) || upper(source.text[at + k]) != name[k]) return false;
        if (k > 0 && !source.goes_on(at + k)) return false;
    }
    return true;
}

// The intrinsic that starts at a character, counted from 0; kNoIntrinsic without one.
std::size_t intrinsic_at(const Source& source, std::size_t at) {
    std::size_t k = 0;
    while (k < kNoIntrinsic && !starts_name(source, at, kIntrinsics[k])) ++k;
    return k;
}

// ---- The check

struct Walk {
    Source& source;
    FunctionMessages& messages;
    std::size_t at = 0;
    int32_t depth = 0;  // of brackets
    int32_t errors = 0;
};

// The messages have room for one error.
void note_error(Walk& walk, std::string_view words, std::string_view element = {}) {
    if (++walk.errors > 1) return;
    const Source& source = walk.source;
    const std::size_t place = source.ends_at(walk.at) ? source.given.size() : source.place[walk.at];
    const std::size_t first = place < kMessageWidth ? 0 : place + kShownAfter - kMessageWidth;
    walk.messages[0] =
        std::string("*** Error in syntax of function string: ").append(words).append(element);
    walk.messages[1] = source.given.substr(first);
    walk.messages[2] = std::string(place - first, ' ') + '?';
}

std::size_t end_of_name(const Source& source, std::size_t at) {
    if (source.has(at, "+-*/^)")) return at;
    do ++at;
    while (source.goes_on(at) && !source.has(at, "+-*/^)"));
    return at;
}

// Digits with at most one point, then perhaps an exponent.
std::size_t end_of_number(const Source& source, const std::size_t begin, bool& good) {
    std::size_t at = begin;
    auto follows = [&](std::string_view characters) {
        return (at == begin || source.goes_on(at)) && source.has(at, characters);
    };
    auto step_over_digits = [&] {
        const std::size_t from = at;
        while (follows("0123456789")) ++at;
        return at > from;
    };
    good = step_over_digits();
    if (follows(".")) {
        ++at;
        good |= step_over_digits();
    }
    if (follows("eEdD")) {
        ++at;
        if (follows("+-")) ++at;
        good &= step_over_digits();
    }
    if (follows(".")) good = false;
    return at;
}

void walk_element(Walk& walk) {
    const Source& source = walk.source;
    const std::string_view text = source.text;
    std::size_t end = end_of_name(source, walk.at);
    if (source.has(walk.at, "0123456789.")) {
        bool good;
        const std::size_t number = end_of_number(source, walk.at, good);
        end = good ? number : std::max(end, number);
        if (!good) note_error(walk, "Invalid number format: ", text.substr(walk.at, end - walk.at));
    } else {
        const std::string_view name = text.substr(walk.at, end - walk.at);
        if (std::ranges::find(source.variables, name) == source.variables.end())
            note_error(walk, "Invalid element: ", name);
    }
    walk.at = end;
}

// Steps over the name of an intrinsic. False when no argument can follow.
bool walk_intrinsic(Walk& walk) {
    const std::size_t k = intrinsic_at(walk.source, walk.at);
    if (k == kNoIntrinsic) return true;
    walk.at += kIntrinsics[k].size();
    if (walk.source.ends_at(walk.at)) {
        note_error(walk, "Missing function argument");
        return false;
    }
    if (walk.source.has(walk.at, "(")) return true;
    note_error(walk, "Missing opening parenthesis");
    return !walk.source.has(walk.at, "+-*/^)");
}

// Steps over an operand and all that opens ahead of it.
void walk_operand(Walk& walk) {
    const Source& source = walk.source;
    for (;; ++walk.at) {
        if (source.has(walk.at, "+-")) ++walk.at;
        if (source.ends_at(walk.at)) return note_error(walk, "Missing operand");
        if (source.has(walk.at, kOperators)) {
            note_error(walk, "Multiple operators");
            continue;
        }
        if (source.has(walk.at, ")") && walk.at > 0 && source.has(walk.at - 1, "("))
            return note_error(walk, "Empty parentheses");
        if (!walk_intrinsic(walk)) return;
        if (!source.has(walk.at, "(")) return walk_element(walk);
        ++walk.depth;
    }
}

// Returns the number of errors, and marks the operators that join two operands. All that follows
// an error is checked as if the fault had been mended.
int32_t check_syntax(Source& source, FunctionMessages& messages) {
    Walk walk{source, messages};
    for (;;) {
        walk_operand(walk);
        for (; source.has(walk.at, ")"); ++walk.at)
            if (--walk.depth < 0) {
                note_error(walk, "Mismatched parenthesis");
                walk.depth = 0;
            }
        if (source.ends_at(walk.at)) break;
        if (source.has(walk.at, kOperators))
            source.joins[walk.at++] = true;
        else
            note_error(walk, "Missing operator");
    }
    if (walk.depth > 0) note_error(walk, "Missing )");
    return walk.errors;
}

// ---- The compiler. Only for a text without errors; a part of it stands from `begin` to `end`, the
// latter not included.

struct Compiler {
    const Source& source;
    FunctionCode& code;
    bool stores;  // false while it only counts
};

void emit(Compiler& compiler, std::size_t byte) {
    FunctionCode& code = compiler.code;
    ++code.byte_code_size;
    if (compiler.stores) code.byte_code(code.byte_code_size) = static_cast<int8_t>(byte);
}

void emit_operand(Compiler& compiler, std::string_view operand) {
    FunctionCode& code = compiler.code;
    const auto variables = compiler.source.variables;
    const auto variable = std::ranges::find(variables, operand);
    if (variable != variables.end()) {
        emit(compiler, kFirstVariable + static_cast<std::size_t>(variable - variables.begin()));
    } else {
        emit(compiler, kPushNumber);
        ++code.immediate_size;
        if (compiler.stores)
            static_cast<void>(parse_number(operand, code.immediates(code.immediate_size)));
    }
    code.stack_size = std::max(code.stack_size, ++code.stack_pointer);
}

// Is the part one pair of brackets around the rest of it?
bool is_bracketed(const Source& source, std::size_t begin, std::size_t end) {
    if (begin >= end || source.text[begin] != '(') return false;
    int32_t depth = 0;
    for (std::size_t at = begin; at < end; ++at) {
        depth += source.has(at, "(") ? 1 : source.has(at, ")") ? -1 : 0;
        if (depth == 0) return at + 1 == end;
    }
    return false;
}

// The last operator of a kind that joins outside all brackets; `begin` without one.
std::size_t find_operator(const Source& source, std::size_t begin, std::size_t end, char kind) {
    int32_t depth = 0;
    for (std::size_t at = end - 1; at > begin; --at) {
        depth += source.has(at, ")") ? 1 : source.has(at, "(") ? -1 : 0;
        if (depth == 0 && source.joins[at] && source.text[at] == kind) return at;
    }
    return begin;
}

// Each call has a shorter part, so the depth of calls is at most the length of the text.
// NOLINTNEXTLINE(misc-no-recursion): so it ends, and a text has a line at most.
void compile(Compiler& compiler, std::size_t begin, std::size_t end) {
    const Source& source = compiler.source;
    if (source.text[begin] == '+') ++begin;
    if (is_bracketed(source, begin, end)) return compile(compiler, begin + 1, end - 1);

    const std::size_t intrinsic = intrinsic_at(source, begin);
    if (intrinsic != kNoIntrinsic &&
        is_bracketed(source, begin + kIntrinsics[intrinsic].size(), end)) {
        compile(compiler, begin + kIntrinsics[intrinsic].size(), end);
        return emit(compiler, kFirstIntrinsic + intrinsic);
    }
    for (std::size_t k = 0; k < kOperators.size(); ++k) {
        // Sums are split ahead of a sign, all else after it.
        if (kOperators[k] == '*' && source.text[begin] == '-') {
            compile(compiler, begin + 1, end);
            return emit(compiler, kNegate);
        }
        const std::size_t at = find_operator(source, begin, end, kOperators[k]);
        if (at == begin) continue;
        compile(compiler, begin, at);
        compile(compiler, at + 1, end);
        emit(compiler, kFirstOperator + k);
        --compiler.code.stack_pointer;
        return;
    }
    emit_operand(compiler, std::string_view(source.text).substr(begin, end - begin));
}

// Counts, allocates, stores. Returns the status of the allocation.
int compile_function(const Source& source, FunctionCode& code) {
    Compiler compiler{source, code, false};
    compile(compiler, 0, source.text.size());
    if (code.byte_code.allocate(code.byte_code_size) != 0 ||
        code.immediates.allocate(code.immediate_size) != 0 ||
        code.stack.allocate(code.stack_size) != 0)
        return kNoMemory;
    code.byte_code_size = code.immediate_size = code.stack_size = code.stack_pointer = 0;
    compiler.stores = true;
    compile(compiler, 0, source.text.size());
    return 0;
}

}  // namespace

int32_t parse_function(FunctionTable& functions, int32_t number, const Text<256>& text,
                       std::span<const std::string_view> variables, FunctionMessages& messages) {
    messages.fill({});
    if (number < 1 || number > functions.size()) {
        std::string line;
        append(line, "*** Parser error: Function number %12d out of range", number);
        messages[0] = line;
        return 1;
    }
    functions(number) = FunctionCode();
    Source source = without_blanks(text.view(), variables);
    const int32_t errors = check_syntax(source, messages);
    if (errors > 0 || compile_function(source, functions(number)) == 0) return errors;
    functions(number) = FunctionCode();
    messages[0] = "*** Parser error: Memmory allocation for byte code failed";
    return 1;
}

}  // namespace kve
