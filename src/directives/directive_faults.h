// How the faults of a directive file are told. Most are remembered, so that one run shows as many
// of them as possible. The words of a fault stand in the source that finds it; here are those that
// several sources find.
#pragma once

#include "directives/catalogue.h"
#include "listing/listing.h"

namespace kve {

namespace state {

// A fault was told that refuses the run once the file is read.
inline constinit bool DIRECTIVE_ERROR_FLAG = false;

}  // namespace state

// The message of one fault: a blank line, then its lines, indented. It ends in one of the last
// three.
class Fault {
 public:
    Fault() { block_.blank(); }

    [[gnu::format(printf, 2, 3)]] void line(const char* format, ...);
    void blank() { block_.blank(); }

    void tell();  // sets DIRECTIVE_ERROR_FLAG
    void warn() { block_.print(); }
    [[noreturn]] void stop(const char* last_line = "         Program terminates");

 private:
    Block block_;
};

// A fault of one line.
[[gnu::format(printf, 1, 2)]] void tell_fault(const char* format, ...);

// What the line says is correct, but beyond what this program holds: one line, not indented.
[[gnu::format(printf, 1, 2)]] void tell_limit(const char* format, ...);

void tell_incomplete_line(Keyword keyword);
void tell_mixture_task();

}  // namespace kve
