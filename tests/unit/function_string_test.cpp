// Functions written as text: what the code computes, what is refused and where.
#include "model/function_string.h"

#include "testing.h"

using namespace kve;

namespace {

const std::pair<const char*, double (*)(double)> kFunctions[] = {
    {"ABS", std::fabs},  {"EXP", std::exp},   {"LOG10", std::log10}, {"LOG", std::log},
    {"SQRT", std::sqrt}, {"SINH", std::sinh}, {"COSH", std::cosh},   {"TANH", std::tanh},
    {"SIN", std::sin},   {"cos", std::cos},   {"TAN", std::tan},     {"Asin", std::asin},
    {"ACOS", std::acos}, {"ATAN", std::atan}};
constexpr std::string_view kVariables[] = {"MU", "Y"};

double join(char kind, double a, double b) {
    if (kind == '^') return std::pow(a, b);
    return kind == '+' ? a + b : kind == '-' ? a - b : kind == '*' ? a * b : a / b;
}

using Formula = std::pair<std::string, double>;  // text, value
// The variables first.
const Formula kOperands[] = {{"MU", 0.3}, {"Y ", 1.7},    {"1", 1},
                             {".5", 0.5}, {"2E-1", 0.2F}, {"4.d+0", 4}};

std::minstd_rand dice;

// Level 0 to 4: sums of differences of products of quotients of signed powers. Level 5: an operand.
Formula random_formula(int depth, std::size_t level = 0) {
    if (level == 5) {
        if (depth == 0 || dice() % 3 == 0) return kOperands[dice() % std::size(kOperands)];
        const auto [inner, value] = random_formula(depth - 1);
        const auto& [name, function] = kFunctions[dice() % 14];
        if (dice() % 2 == 0) return {"( " + inner + ")", value};
        return {name + std::string(dice() % 2, ' ') + "(" + inner + ")", function(value)};
    }
    const char* const spellings[] = {" + ", "-", "*", "/", dice() % 2 == 0 ? "^" : " **"};
    const bool negative = level == 4 && dice() % 4 == 0;
    Formula all = random_formula(depth, level + 1);
    while (dice() % 4 == 0) {
        const bool minus = level == 4 && dice() % 4 == 0;
        const auto [text, value] = random_formula(depth, level + 1);
        all.first += spellings[level] + std::string(minus ? "-" : "") + text;
        all.second = join("+-*/^"[level], all.second, minus ? -value : value);
    }
    return negative ? Formula{"-" + all.first, -all.second} : all;
}

// The stack machine. Also checks what the entry says of itself.
double value_of(const FunctionCode& f) {
    std::vector<double> stack;
    int64_t deepest = 0, number = 0;
    for (int8_t byte : f.byte_code) {
        const double top = stack.empty() ? NAN : stack.back();
        if (byte > 1 && byte < 22) stack.pop_back();
        if (byte >= 3 && byte <= 7)
            stack.back() = join("+-*/^"[byte - 3], stack.back(), top);
        else
            stack.push_back(byte == 1    ? f.immediates(++number)
                            : byte == 2  ? -top
                            : byte >= 22 ? kOperands[byte - 22].second
                                         : kFunctions[byte - 8].second(top));
        deepest = std::max(deepest, static_cast<int64_t>(stack.size()));
    }
    EXPECT_TRUE(deepest == f.stack_size && number == f.immediate_size && stack.size() == 1);
    return stack.back();
}

FunctionTable table;
FunctionMessages lines;

int32_t parse(std::string_view text, int32_t number = 1) {
    EXPECT_EQ(table.allocate(1), 0);
    return parse_function(table, number, text, kVariables, lines);
}

// Then a slip of the pen, or a whole line of noise: compiled or refused, it must not go wrong.
TEST(FunctionString, CodeComputesTheFormula) {
    const std::string characters = "(()))+-*/^.1E, MUY";
    for (int n = 0; n < 10000; ++n) {
        auto [text, value] = random_formula(2);
        if (text.size() > 256) continue;
        ASSERT_EQ(parse(text), 0) << text << lines[0].view();
        const double found = value_of(table(1));
        ASSERT_TRUE(found == value || (std::isnan(found) && std::isnan(value))) << text;

        std::string noise(n % 10 == 0 ? 256 : 1, ' ');
        for (char& c : noise) c = characters[dice() % characters.size()];
        text.replace(noise.size() > 1 ? 0 : dice() % text.size(), noise.size(), noise);
        if (parse(text) == 0) value_of(table(1));
        ASSERT_EQ(table(1).byte_code_size > 0, lines[0].blank()) << text;
    }
    EXPECT_EQ(parse("-MU*2"), 0);
    EXPECT_EQ(table(1).byte_code(4), 2) << "the sign of the product comes last";
}

TEST(FunctionString, FirstErrorIsShownUnderItsPlace) {
    const struct {
        const char *words, *text, *place;
        int errors = 1;
    } cases[] = {{"Missing operand", "(MU-", "    ?", 2},
                 {"Multiple operators", "MU --- 2", "     ?"},
                 {"Missing function argument", "LOG10", "     ?"},
                 {"Missing opening parenthesis", "2**LOG MU", "       ?"},
                 {"Invalid number format: 1.2.3", "MU + 1.2.3", "     ?"},
                 {"Missing operator", "MU MU", "   ?"},
                 {"Invalid element: PROBIT(MU", "PROBIT(MU)", "?", 2},
                 {"Empty parentheses", "LOG( )+Y", "     ?"},
                 {"Mismatched parenthesis", "(MU))", "    ?"},
                 {"Missing )", "((MU)", "     ?"},
                 {"Invalid element: mu", "Y+mu*W+", "  ?", 3}};
    const std::string head = "*** Error in syntax of function string: ";
    for (const auto& c : cases) {
        EXPECT_EQ(parse(c.text), c.errors) << c.text;
        EXPECT_EQ(lines[0].string() + "|" + lines[1].string() + "|" + lines[2].string(),
                  head + c.words + "|" + c.text + "|" + c.place);
    }
    EXPECT_EQ(parse(std::string(255, '(') + "?"), 2);
    EXPECT_EQ(lines[1].c[lines[2].view().size() - 1], '?') << "a long text is shown in part";
    EXPECT_EQ(parse("MU", 2), 1);
    EXPECT_EQ(lines[0], "*** Parser error: Function number            2 out of range");
}

}  // namespace
