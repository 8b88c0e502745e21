#include "directives/section_files.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "base/input.h"
#include "base/output_file.h"
#include "base/state.h"
#include "base/text.h"
#include "directives/directive_faults.h"
#include "directives/directive_lines.h"
#include "directives/directives.h"
#include "directives/file_identities.h"
#include "directives/user_files.h"
#include "listing/listing.h"
#include "listing/model_file.h"
#include "listing/stop.h"
#include "listing/units.h"

namespace kve {

WRITES(DIRECTIVES);
WRITES(INLINE_TEXTS);
WRITES(BEFORE_STOP);
READS(cinp);
READS(LINE_NUMBER);
WRITES(DIRECTIVE_WORDS);

namespace {

void say_unwritable(const state::InlineText& section, int status) {
    say("ERROR - %s: cannot write %s: %s", keyword_as_written(section.keyword).c_str(),
        section.file.c_str(), words_of(status).c_str());
}

void tell_empty_reduce() {
    Fault fault;
    fault.line("ERROR - No reduce description specified");
    fault.line("        One description line per trait is expected");
    fault.tell();
}

void tell_input(const state::InlineText& section) {
    Fault fault;
    fault.line("ERROR - %s: the text below it goes to the file %s,",
               keyword_as_written(section.keyword).c_str(), section.file.c_str());
    fault.line("        which is an input of this run too, by name or by a link: rename the input");
    fault.tell();
}

// Appends the text lines from the one in `cinp` on until another line comes, which becomes `next`;
// the number of lines.
int64_t gather_text_lines(state::InlineText& section, Keyword& next) {
    int64_t lines = 0;
    for (; next == Keyword::text; next = read_directive_line()) {
        section.text.append(trimmed(cinp)).append("\n");
        section.line_numbers.push_back(LINE_NUMBER);
        ++lines;
    }
    return lines;
}

state::InlineText& section_for(Keyword keyword, std::string_view file) {
    for (state::InlineText& section : INLINE_TEXTS)
        if (section.file == file) return section;
    INLINE_TEXTS.push_back({keyword, std::string(file), {}, {}});
    return INLINE_TEXTS.back();
}

// The text of an earlier section or run must not survive, also when no line follows.
int64_t gather_section(Keyword keyword, std::string_view file, Keyword& next) {
    next = read_directive_line();
    state::InlineText& section = section_for(keyword, file);
    section.text.clear();
    section.line_numbers.clear();
    return gather_text_lines(section, next);
}

[[nodiscard]] int write_section(const state::InlineText& section) {
    TextOutput file;
    if (int status = file.open(section.file); status != 0) return status;
    const std::string_view lines = section.text;
    if (!lines.empty()) file.print_line(lines.substr(0, lines.size() - 1));
    return file.close();
}

// Any word of the directive file may be meant as the name of an input: at a stop nobody knows what
// each one would have been.
bool is_named_anywhere(const std::string& file) {
    std::string all = DIRECTIVE_WORDS;
    std::replace_if(all.begin(), all.end(), is_blank, ' ');
    for (std::string_view rest = left_adjusted(all); !rest.empty();) {
        const std::string word(cut_word(rest));
        if (is_same_file(input_path(word), file) ||
            is_same_file(input_path(DIRECTIVES.ST_DIR.string() + "/" + word), file))
            return true;
    }
    return false;
}

// Two names may be one file by a link.
bool replaces_earlier_text(const state::InlineText& section) {
    for (const state::InlineText& earlier : INLINE_TEXTS) {
        if (&earlier == &section) break;
        if (is_same_file(earlier.file, section.file)) return true;
    }
    return false;
}

// `all_known` tells whether all words of the directive file could be read.
bool may_be_input(const std::string& file, std::optional<bool>& all_known) {
    std::error_code ignored;
    if (std::filesystem::status(file, ignored).type() == std::filesystem::file_type::not_found)
        return false;
    if (!all_known) all_known = read_remaining_words();
    return !*all_known || is_input_file(file) || is_listing(file) || is_named_anywhere(file);
}

// A stop leaves what was gathered so far, but for a file that may be an input, and not beside the
// model of an earlier run.
void write_sections_at_stop() {
    std::optional<bool> all_known;
    if (INLINE_TEXTS.empty() || may_be_input("MODINF", all_known) || begin_model_file() != 0)
        return;
    for (const state::InlineText& section : INLINE_TEXTS) {
        if (replaces_earlier_text(section) || may_be_input(section.file, all_known)) continue;
        if (const int status = write_section(section); status != 0) say_unwritable(section, status);
    }
}

std::vector<std::string> text_files() {
    std::vector<std::string> names;
    names.reserve(INLINE_TEXTS.size());
    for (const state::InlineText& section : INLINE_TEXTS) names.push_back(section.file);
    return names;
}

const state::InlineText* text_of(const std::string& file) {
    for (const state::InlineText& section : INLINE_TEXTS)
        if (section.file == file) return &section;
    return nullptr;
}

void tell_shared_output(const SharedFile& shared) {
    Fault fault;
    if (shared.is_input) {
        fault.line("ERROR - the file %s is input and output of this run:", shared.output.c_str());
        fault.line("        by name or by a link it is %s: rename the input", shared.other.c_str());
    } else {
        fault.line("ERROR - the files %s and %s are one file by a link, and this run makes both:",
                   shared.other.c_str(), shared.output.c_str());
        fault.line("        remove the link");
    }
    fault.tell();
}

// The names of the files that this run must not make.
std::set<std::string> tell_shared_files() {
    std::set<std::string> shared_files;
    for (const SharedFile& shared : find_shared_files(text_files())) {
        shared_files.insert(shared.output);
        if (const state::InlineText* section = text_of(shared.output); section != nullptr)
            tell_input(*section);
        else
            tell_shared_output(shared);
    }
    return shared_files;
}

// Its sections are about to be replaced.
void empty_earlier_model() {
    if (const int status = begin_model_file(); status != 0) stop_not_opened("MODINF", status);
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
    if (gather_section(Keyword::REDUCE, "KVE1.reduce", next) == 0) tell_empty_reduce();
    return next;
}

Keyword read_file_or_text(Keyword keyword) {
    Section section = section_of(keyword);
    if (take_file_name(keyword, section.file)) return read_directive_line();
    section.file.name = section.inline_name;
    Keyword next;
    int64_t lines = gather_section(keyword, section.inline_name, next);
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
    DIRECTIVES.cvrest_file = "CVREST.DIR";
    state::InlineText& section = section_for(Keyword::VAR_REST, "CVREST.DIR");
    if (std::string_view first = keyword_text(Keyword::VAR_REST); !first.empty()) {
        section.text.append(first).append("\n");
        section.line_numbers.push_back(LINE_NUMBER);
    }
    Keyword next = read_directive_line();
    gather_text_lines(section, next);
    return next;
}

void begin_sections() {
    INLINE_TEXTS.clear();
    BEFORE_STOP = write_sections_at_stop;
}

void write_sections() {
    BEFORE_STOP = nullptr;
    const std::set<std::string> shared = tell_shared_files();
    if (!INLINE_TEXTS.empty() && !shared.contains("MODINF")) empty_earlier_model();
    for (const state::InlineText& section : INLINE_TEXTS) {
        if (shared.contains(section.file)) continue;
        if (const int status = write_section(section); status != 0) {
            say_unwritable(section, status);
            stop_run();
        }
    }
    for (state::InlineText& section : INLINE_TEXTS) section.text = {};
    DIRECTIVE_WORDS = {};
}

}  // namespace kve
