// Functions that the user writes as text, such as 2*(Y*LOG(Y/MU)-(Y-MU)): checked and compiled to
// the byte code of a small stack machine. Nothing here prints or stops the run: the caller gets the
// number of errors and the lines that tell the first of them.
//
// Operands are numbers, the names of variables (as they stand), bracketed expressions and
// ABS EXP LOG10 LOG SQRT SINH COSH TANH SIN COS TAN ASIN ACOS ATAN, in any case, of a bracketed
// one. Operators are + - * / and ^, also written **. All are left associative, ^ too, and a sign
// stands for its whole product: -A*B is -(A*B). A sign may follow an operator or a bracket.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "base/arrays.h"
#include "base/text.h"

namespace kve {

// One byte of code. The variables follow each other from kPushVariable on, so that there may be at
// most 106 of them.
enum FunctionByte : int8_t {
    kPushNumber = 1,      // the next of the immediates
    kNegate = 2,          // the top of the stack
    kFirstOperator = 3,   // + - * / ^ on the top two, the right operand on top
    kFirstIntrinsic = 8,  // in the order above, on the top
    kFirstVariable = 22,
};

// A compiled function. Empty after an error.
struct FunctionCode {
    Vec<int8_t> byte_code;
    int32_t byte_code_size = 0;
    Vec<float> immediates;  // the numbers, in order of use
    int32_t immediate_size = 0;
    Vec<float> stack;        // for the evaluation
    int32_t stack_size = 0;  // the largest depth
    int32_t stack_pointer = 0;
};

using FunctionTable = Vec<FunctionCode>;  // by function number, allocated by the caller
inline constexpr int kMessageWidth = 120;
using FunctionMessages = std::array<Text<kMessageWidth>, 4>;

// Compiles a text into entry `number` of the table and returns the number of errors. With errors
// the messages tell the first one, the function's text below it, and below that a "?" under the
// place; a text that is too long for its line is shown from where the place can be seen. Lines that
// are not needed are blank. A number outside the table and a failed allocation count as an error.
[[nodiscard]] int32_t parse_function(FunctionTable& functions, int32_t number,
                                     const Text<256>& text,
                                     std::span<const std::string_view> variables,
                                     FunctionMessages& messages);

}  // namespace kve
