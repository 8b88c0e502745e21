#include "directives/section_files.h"

#include <string>

#include "directives/directive_faults.h"
#include "directives/directive_lines.h"
#include "directives/user_files.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "listing/units.h"

namespace kve {

WRITES(DIRECTIVES);
WRITES(UNITS);
READS(cinp);

namespace {

[[noreturn]] void stop_unwritable(Keyword keyword, std::string_view file) {
    say("ERROR - %s: cannot write %.*s", keyword_as_written(keyword).c_str(), KVE_SV(file));
    stop_run();
}

void tell_empty_reduce() {
    Fault fault;
    fault.line("ERROR - No reduce description specified");
    fault.line("        One description line per trait is expected");
    fault.tell();
}

// Copies text lines from the one in `cinp` on until another line comes, which becomes `next`; the
// number of lines copied.
int64_t copy_text_lines(TextOutput& file, Keyword& next) {
    int64_t lines = 0;
    for (; next == Keyword::text; next = read_directive_line()) {
        file.print_line(trimmed(cinp));
        ++lines;
    }
    return lines;
}

// Makes the file anew, also when no line follows: the text of an earlier run must not survive.
int64_t write_section(Keyword keyword, std::string_view name, Keyword& next) {
    TextOutput& file = UNITS.section;
    next = read_directive_line();
    if (file.open(std::string(name)) != 0) stop_unwritable(keyword, name);
    int64_t lines = copy_text_lines(file, next);
    if (file.close() != 0) stop_unwritable(keyword, name);
    return lines;
}

struct Section {
    SectionFile& file;
    std::string_view inline_name;
};

Section section_of(Keyword keyword) {
    switch (keyword) {
        case Keyword::PRIOR:
            return {DIRECTIVES.prior, "PARIN"};
        case Keyword::OLDSOL:
            return {DIRECTIVES.oldsol, ""};
        case Keyword::FINFO:
            return {DIRECTIVES.finfo, ""};
        case Keyword::KVE4:
            return {DIRECTIVES.kve4, "KVE4.dir"};
        case Keyword::KVE5:
            return {DIRECTIVES.kve5, "KVE5.dir"};
        case Keyword::KVEAI:
            return {DIRECTIVES.kveai, "KVEAI.dir"};
        case Keyword::KVEMGP:
            return {DIRECTIVES.kvemgp, "KVEMGP.dir"};
        case Keyword::KVEGS:
            return {DIRECTIVES.kvegs, "KVEGS.dir"};
        default:
            return {DIRECTIVES.model, "KVE1.dir"};
    }
}

// Takes the file name of the keyword line. False when there is none.
bool take_file_name(Keyword keyword, SectionFile& file) {
    file = SectionFile{};
    file.name = keyword_text(keyword);
    if (file.name.blank()) return false;
    file.from_user = true;
    find_user_file(keyword, file.name);
    return true;
}

}  // namespace

Keyword read_reduce_section() {
    DIRECTIVES.reduce_file = "KVE1.reduce";
    Keyword next;
    if (write_section(Keyword::REDUCE, "KVE1.reduce", next) == 0) tell_empty_reduce();
    return next;
}

Keyword read_file_or_text(Keyword keyword) {
    Section section = section_of(keyword);
    if (take_file_name(keyword, section.file)) return read_directive_line();
    section.file.name = section.inline_name;
    Keyword next;
    int64_t lines = write_section(keyword, section.inline_name, next);
    if (keyword == Keyword::MODEL && lines == 0)
        tell_fault("ERROR - No model description or file name with model description specifiec");
    return next;
}

Keyword read_file_name(Keyword keyword) {
    if (!take_file_name(keyword, section_of(keyword).file))
        tell_fault("ERROR - %.*s keyword specified, but no file name given",
                   KVE_SV(keyword_name(keyword)));
    return read_directive_line();
}

Keyword read_restrictions() {
    if (DIRECTIVES.ITASK != kVarianceComponents) {
        // No file is made: the next run in this folder would read it.
        tell_fault(
            "ERROR - Restriction on co-variance components only implemented for KVEAI (task = 1)");
        return skip_text_lines();
    }
    TextOutput& file = UNITS.restrictions;
    if (!file.is_open() && file.open("CVREST.DIR") != 0)
        stop_unwritable(Keyword::VAR_REST, "CVREST.DIR");
    DIRECTIVES.cvrest_file = "CVREST.DIR";
    if (std::string_view text = keyword_text(Keyword::VAR_REST); !text.empty())
        file.print_line(text);
    Keyword next = read_directive_line();
    copy_text_lines(file, next);
    return next;
}

void close_restrictions() {
    if (UNITS.restrictions.is_open() && UNITS.restrictions.close() != 0)
        stop_unwritable(Keyword::VAR_REST, "CVREST.DIR");
}

}  // namespace kve
