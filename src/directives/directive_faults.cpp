#include "directives/directive_faults.h"

#include <cstdarg>
#include <string>

#include "base/state.h"
#include "base/text.h"
#include "listing/stop.h"

namespace kve {

WRITES(DIRECTIVE_ERROR_FLAG);

namespace {

[[gnu::format(printf, 1, 0)]] std::string formatted(const char* format, std::va_list items) {
    std::string text;
    append_list(text, format, items);
    return text;
}

}  // namespace

void Fault::line(const char* format, ...) {
    std::va_list items;
    va_start(items, format);
    block_.line("         %s", formatted(format, items).c_str());
    va_end(items);
}

void Fault::tell() {
    block_.print();
    DIRECTIVE_ERROR_FLAG = true;
}

void Fault::stop(const char* last_line) {
    block_.print();
    stop_run(last_line);
}

void tell_fault(const char* format, ...) {
    Fault fault;
    std::va_list items;
    va_start(items, format);
    fault.line("%s", formatted(format, items).c_str());
    va_end(items);
    fault.tell();
}

void tell_limit(const char* format, ...) {
    Block block;
    std::va_list items;
    va_start(items, format);
    block.blank();
    block.line("%s", formatted(format, items).c_str());
    va_end(items);
    block.print();
    DIRECTIVE_ERROR_FLAG = true;
}

void tell_incomplete_line(Keyword keyword) {
    tell_fault("ERROR - Specification on keyword line %.*s is misspelled or incomplete",
               KVE_SV(keyword_name(keyword)));
}

void tell_mixture_task() {
    tell_fault("ERROR - Mixture models only implemented for KVEGS (task =  2)");
}

}  // namespace kve
