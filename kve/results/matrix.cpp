// kve matrix: a relationship matrix in forms that other programs read.
#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>

#include "kve/files/code_lists.h"
#include "kve/files/matrix_file.h"
#include "kve/files/run_folder.h"
#include "kve/results/block_text.h"
#include "kve/shared/commands.h"
#include "kve/shared/failure.h"
#include "kve/shared/noun.h"
#include "kve/shared/output.h"
#include "kve/shared/table_text.h"
#include "kve/tables/identities.h"

namespace kve::companion {

namespace {

struct Options : CommonOptions {
    std::string name;
    std::string format, ids;
    bool original = false, summary = false;

    bool shows_identities() const { return original || !ids.empty(); }
};

RunFile find_matrix(const RunFolder& run, const std::string& name) {
    std::string known;
    for (const RunFile& file : run.promised_files()) {
        if (file.kind != FileKind::matrix) continue;
        if (file.name == name) return file;
        known += " " + file.name;
    }
    throw Failure(kUsage, fmt::format("{}: the run has no matrix {}; it has:{}",
                                      run.path().string(), name, known.empty() ? " none" : known));
}

// What the levels of rows and columns are called.
class LevelNames {
 public:
    LevelNames(const RunFolder& run, const RunFile& file, const Options& options)
        : name_(run.factor_name(file.factor)) {
        if (!options.shows_identities()) return;
        if (!options.ids.empty()) names_.emplace(ids_file(options.ids, options.folder));
        name_.erase(std::min(name_.find('+'), name_.size()));
        const std::vector<CodeList> lists = lists_of(run);
        const std::size_t own = list_of_factor(run, lists, file.factor);
        std::vector<bool> is_wanted(lists.size());
        is_wanted[own] = true;
        identities_ = std::move(read_identities(run, lists, is_wanted)[own]);
    }

    bool are_texts() const { return names_.has_value(); }
    int32_t identity_of(int32_t level) const {
        return identities_.empty() ? level : identities_[static_cast<std::size_t>(level)];
    }
    std::string text_of(int32_t level) const {
        return table_field(names_->name_of(name_, identity_of(level)), ' ');
    }

 private:
    std::vector<int32_t> identities_;
    std::string name_;  // of the effect
    std::optional<UserNames> names_;
};

// Blocks of lines.
class ElementBlocks {
 public:
    ElementBlocks(const RunFolder& run, const RunFile& file, const MatrixFile& whole,
                  const LevelNames& names)
        : whole_(whole), names_(names), block_(run.path(), file.name) {}

    static int64_t n_blocks(const MatrixFile& whole) {
        return (static_cast<int64_t>(whole.n_elements()) + kAtOnce - 1) / kAtOnce;
    }

    bool put(int64_t block, BlockText& text) {
        const int64_t first = block * kAtOnce, all = static_cast<int64_t>(whole_.n_elements());
        const int64_t wanted = std::min(kAtOnce, all - first);
        const int64_t n = block_.read(
            {first, static_cast<uintmax_t>(first) * kElementBytes, wanted}, sizeof(Element));
        Element e{};
        for (int64_t k = 0; k < n; ++k) {
            std::memcpy(&e, block_.record(k), sizeof e);
            if (whole_.is_outside(e) || e.column > e.row) refuse_element(k, e);
            if (names_.are_texts())
                put_named(e, text);
            else
                put_element(e, text);
        }
        if (n < wanted) block_.refuse_unread(n, "the last one, and more must follow");
        if (first + n < all) return true;
        if (const char* fault = whole_.fault_at_end(e); fault != nullptr)
            block_.refuse(n - 1, fault);
        return true;
    }

 private:
    static constexpr int64_t kAtOnce = 8192;

    void put_element(const Element& e, BlockText& text) {
        char* at = text.room(3 * kNumberBytes + 3);
        at = put_row(at, e.row);
        *at++ = ' ';
        at = put_number(at, names_.identity_of(e.column));
        *at++ = ' ';
        at = texts_.put(at, e.value);
        *at++ = '\n';
        text.take(at);
    }
    // The elements of a row follow each other.
    char* put_row(char* at, int32_t row) {
        if (row != row_) {
            row_ = row;
            row_bytes_ = put_number(row_text_, names_.identity_of(row)) - row_text_;
        }
        std::memcpy(at, row_text_, kNumberBytes);
        return at + row_bytes_;
    }
    void put_named(const Element& e, BlockText& text) {
        for (const int32_t level : {e.row, e.column}) {
            text.put(std::string_view(names_.text_of(level)));
            text.put(' ');
        }
        text.take(texts_.put(text.room(kNumberBytes), e.value));
        text.put('\n');
    }
    [[noreturn]] void refuse_element(int64_t k, const Element& e) const {
        block_.refuse(k, fmt::format("row {}, column {} are not of the lower triangle of {} levels",
                                     e.row, e.column, whole_.order()));
    }

    const MatrixFile& whole_;
    const LevelNames& names_;
    RecordBlock block_;
    RealTexts<double> texts_;
    int32_t row_ = 0;
    char row_text_[kNumberBytes]{};
    std::ptrdiff_t row_bytes_ = 0;
};

int show_summary(const Options& options, const RunFolder& run, const RunFile& file) {
    MatrixFile from(run, file);
    MatrixSummary s(from.order());
    for (Element e; from.next(e);) s.add(e);
    s.finish();
    Output out(options.output);
    out.put(fmt::format("matrix                  {} of random factor {}, {}\n", file.name,
                        file.factor, run.factor_name(file.factor)));
    out.put(fmt::format("order                   {}\n", from.order()));
    out.put(fmt::format("elements                {}\n", s.n_elements));
    out.put(fmt::format("longest row             {} in row {}\n", counted(s.longest, "element"),
                        s.longest_row));
    if (s.n_diagonals > 0)
        out.put(fmt::format("diagonal                {} to {}\n", s.smallest, s.largest));
    out.put(fmt::format("rows without diagonal   {}\n", s.n_without_diagonal()));
    out.put(fmt::format("outside the levels      {}\n", s.n_outside));
    if (s.n_above > 0) out.put(fmt::format("above the diagonal      {}\n", s.n_above));
    if (s.n_unordered > 0) out.put(fmt::format("out of order            {}\n", s.n_unordered));
    out.finish();
    return kGood;
}

int show_matrix(const Options& options) {
    const RunFolder run(options.folder);
    const RunFile file = find_matrix(run, options.name);
    if (options.summary) return show_summary(options, run, file);
    const bool is_mtx =
        options.format == "mtx" || (options.format.empty() && !options.shows_identities());
    if (is_mtx && options.shows_identities())
        throw Failure(kUsage, std::string(options.original ? "--original" : "--ids") +
                                  " goes with --format text: rows of a Matrix Market file are "
                                  "numbered from 1");
    const MatrixFile whole(run, file);
    const LevelNames names(run, file, options);
    Output out(options.output);
    if (is_mtx)
        out.put(
            fmt::format("%%MatrixMarket matrix coordinate real symmetric\n"
                        "% {} of random factor {}, {}: rows are levels of CODE_TABLE\n"
                        "{} {} {}\n",
                        file.name, file.factor, run.factor_name(file.factor), whole.order(),
                        whole.order(), whole.n_elements()));
    if (whole.n_elements() == 0) whole.require_end({0, 0, 0.0});
    put_blocks(out,
               {.n_blocks = ElementBlocks::n_blocks(whole),
                .source = file.name,
                .source_bytes = whole.n_elements() * kElementBytes},
               [&] {
                   return [made = std::make_shared<ElementBlocks>(run, file, whole, names)](
                              int64_t block, BlockText& text) { return made->put(block, text); };
               });
    out.finish();
    return kGood;
}

}  // namespace

Command add_matrix(CLI::App& app) {
    auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("matrix", "a relationship matrix or its inverse");
    add_common(*command, *options);
    command->add_option("NAME", options->name, "AINV1, AINV_RAM1, PGMIX1, COR1, DOM1, IBD1, GINV1")
        ->required();
    command
        ->add_option("--format", options->format,
                     "mtx: Matrix Market, symmetric, the lower triangle; text: row, column and "
                     "value without a header")
        ->check(CLI::IsMember({"mtx", "text"}));
    command->add_flag("--original", options->original,
                      "identities in place of level numbers, as text");
    add_ids(*command, options->ids);
    command->add_flag("--summary", options->summary,
                      "what the matrix is like, and not its elements");
    command->footer(
        "Values have all their digits.\n\nExample: the inverse relationships of animals, "
        "for scipy.io.mmread or Matrix::readMM\n"
        "  kve matrix out/dairy AINV1 -o ainv.mtx");
    return [options] { return show_matrix(*options); };
}

}  // namespace kve::companion
