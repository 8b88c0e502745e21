// Functions as text: what is compiled runs on a stack machine, what is not has words.
#include "model/function_string.h"

#include <algorithm>

#include "process.h"

using namespace kve;

namespace {

constexpr std::string_view kVariables[] = {"MU", "Y"};

int32_t operands_of(int8_t byte) {
    if (byte == kPushNumber || byte >= kFirstVariable) return 0;
    return byte >= kFirstOperator && byte < kFirstIntrinsic ? 2 : 1;
}

// Walks through the code of the stack machine without computing.
void check_code(const FunctionCode& f) {
    int32_t depth = 0, deepest = 0, numbers = 0;
    for (const int8_t byte : f.byte_code) {
        require(byte >= kPushNumber && byte < kFirstVariable + 2);
        const int32_t operands = operands_of(byte);
        require(depth >= operands);
        depth += 1 - operands;
        deepest = std::max(deepest, depth);
        numbers += byte == kPushNumber ? 1 : 0;
    }
    require(depth == 1 && deepest == f.stack_size && numbers == f.immediate_size);
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t count) {
    FunctionTable table;
    FunctionMessages messages;
    require(table.allocate(1) == 0);
    const int32_t errors =
        parse_function(table, 1, Text<256>(as_text(bytes, count)), kVariables, messages);
    if (errors == 0)
        check_code(table(1));
    else
        require(!messages[0].blank() && table(1).byte_code.size() == 0);
    return 0;
}
