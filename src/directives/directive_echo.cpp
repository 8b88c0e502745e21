#include "directives/directive_echo.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/state.h"
#include "base/text.h"
#include "directives/directive_faults.h"
#include "directives/directive_lines.h"
#include "directives/directives.h"
#include "listing/listing.h"

namespace kve {

READS(DIRECTIVES);
READS(cinp);

namespace {

constexpr int kCommentLines = 10;
constexpr std::size_t kCommentColumns = 80;
constexpr int kCommentPageLimit = 58;
constexpr int64_t kNamesInRow = 8;
constexpr int64_t kNamesListed = 80;  // of more only the first and the last are shown
constexpr int64_t kNamesShown = 24;

const std::string kBoxBottom(82, '_');

// ---- Comments

void print_box_row(std::string_view text) {
    say_line("         | %-80.*s |", KVE_SV(text.substr(0, kCommentColumns)));
}

void print_box_top() {
    page_above(kCommentPageLimit);
    blank_lines();
    say_line("         User comments");
    blank_lines();
    say_line("         _%s_", kBoxBottom.c_str());
    print_box_row("");
}

void print_box_bottom() {
    print_box_row("");
    say_line("         |%s|", kBoxBottom.c_str());
}

void warn_long_comment() {
    Fault fault;
    fault.line("WARNING - at least one line with user comments is longer than 80 characters.");
    fault.line("           Only the first 80 characters printed");
    fault.warn();
}

void warn_many_comments() {
    Fault fault;
    fault.line("WARNING - more then 10 lines with user comments. Only the first 10 lines printed");
    fault.warn();
}

// ---- Analysis

void echo_analysis() {
    int32_t task = DIRECTIVES.ITASK, method = DIRECTIVES.IMETHOD, test = DIRECTIVES.ITEST;
    if (!task_is_legal(task) || !method_is_legal(task, method)) return;
    Block block;
    block.blank(2);
    block.line("         Type of analyse              : %12d (%.*s)", task,
               KVE_SV(task_label(task)));
    block.line("         Method for computation       : %12d (%.*s)", method,
               KVE_SV(method_label(task, method)));
    if (DIRECTIVES.ISCALE != 0)
        block.line("         Scaling to residual SD = 1 during computations");
    if (test == 1) block.line("         Moderate amount of test information");
    if (test == 2) block.line("         Extensive amount of test information");
    block.blank();
    block.print();
}

// ---- Files

struct FileRow {
    std::string label;
    std::string value;
};

std::vector<FileRow> data_rows() {
    std::string first = DIRECTIVES.data_file[0].string();
    std::string second = DIRECTIVES.data_file[1].string();
    std::vector<FileRow> rows{{"DATA", first}};
    // Kept: the second name is shown in the width of the first.
    second.resize(first.size(), ' ');
    if (DIRECTIVES.n_data_files == 2) rows.push_back({"    ", second});
    return rows;
}

std::string structure_label(const char* text, int32_t factor) {
    std::string label;
    append(label, "%-25s%4d", text, factor);
    return label;
}

void add_structure_rows(std::vector<FileRow>& rows) {
    for (const VAR_STR_SPEC& spec : DIRECTIVES.var_str) {
        if (spec.structure == Structure::unknown || spec.structure == Structure::GROUP) continue;
        rows.push_back(
            {structure_label("VAR. STRUC. random factor", spec.factor), spec.file[0].string()});
        if (spec.structure == Structure::PGMIX)
            rows.push_back({structure_label("", spec.factor), spec.file[1].string()});
    }
}

void add_user_file(std::vector<FileRow>& rows, const char* label, const SectionFile& file) {
    if (file.from_user) rows.push_back({label, file.name.string()});
}

void echo_files() {
    std::vector<FileRow> rows = data_rows();
    add_user_file(rows, "MODEL", DIRECTIVES.model);
    add_structure_rows(rows);
    add_user_file(rows, "PRIOR (CO)VARIANCES", DIRECTIVES.prior);
    add_user_file(rows, "OLDSOL", DIRECTIVES.oldsol);
    add_user_file(rows, "FINFO", DIRECTIVES.finfo);
    add_user_file(rows, "OPTIONAL INPUT KVE4", DIRECTIVES.kve4);
    add_user_file(rows, "OPTIONAL INPUT KVE5", DIRECTIVES.kve5);
    add_user_file(rows, "OPTIONAL INPUT KVEAI", DIRECTIVES.kveai);
    add_user_file(rows, "OPTIONAL INPUT KVEMGP", DIRECTIVES.kvemgp);
    Block block;
    block.blank(2);
    block.line("         User specified files");
    block.blank();
    for (const FileRow& row : rows)
        block.line("         %-30s: %s", row.label.c_str(), row.value.c_str());
    block.print();
}

// ---- Names

std::vector<std::string> name_rows(const Name* names, int64_t count) {
    std::vector<std::string> rows;
    for (int64_t i = 0; i < count; ++i) {
        if (i % kNamesInRow == 0)
            rows.emplace_back();
        else
            rows.back() += ' ';
        rows.back() += names[i].padded();
    }
    return rows;
}

void add_rows(Block& block, const std::vector<std::string>& rows) {
    for (const std::string& row : rows) block.line("                      %s", row.c_str());
}

void add_names(Block& block, const char* heading, const char* kind, const Name* names,
               int64_t count) {
    if (count > kNamesListed) {
        block.line("         Name of the first 24 %s variables", kind);
        block.blank();
        add_rows(block, name_rows(names, kNamesShown));
        block.blank();
        block.line("         Name of the last 24 %s variables", kind);
        block.blank();
        add_rows(block, name_rows(names + count - kNamesShown, kNamesShown));
        return;
    }
    std::vector<std::string> rows = name_rows(names, count);
    if (rows.empty()) rows.emplace_back();
    block.line("         %s  %s", heading, rows.front().c_str());
    rows.erase(rows.begin());
    add_rows(block, rows);
}

// The tables of names and not NI and NR say what there is: a faulty $DATA line leaves none.
void echo_names() {
    int64_t integers = std::max<int64_t>(DIRECTIVES.NAME_I.size() - 1, 0);
    int64_t reals = DIRECTIVES.NAME_R.size();
    const Name* integer_names = integers > 0 ? &DIRECTIVES.NAME_I(1) : nullptr;
    Block block;
    block.blank(2);
    block.line("         Variable names (%s)",
               DIRECTIVES.names_from_user ? "user specified" : "default");
    block.blank();
    add_names(block, "INTEGERS : ", "integer", integer_names, integers);
    block.blank();
    add_names(block, "REALS    : ", "real", DIRECTIVES.NAME_R.data(), reals);
    block.blank();
    block.print();
}

}  // namespace

Keyword read_comments() {
    int64_t lines = 0;
    bool longer = false;
    print_box_top();
    Keyword next;
    while ((next = read_directive_line()) == Keyword::text) {
        if (++lines > kCommentLines) continue;
        longer = longer || cinp.size() > kCommentColumns;
        print_box_row(cinp);
    }
    print_box_bottom();
    if (longer) warn_long_comment();
    if (lines > kCommentLines) warn_many_comments();
    return next;
}

void echo_directives() {
    echo_analysis();
    echo_files();
    echo_names();
}

}  // namespace kve
