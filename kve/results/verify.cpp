// kve verify: do the files of a run belong together?
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <set>
#include <span>

#include "kve/files/code_lists.h"
#include "kve/files/data_file.h"
#include "kve/files/matrix_file.h"
#include "kve/files/run_folder.h"
#include "kve/shared/commands.h"
#include "kve/shared/failure.h"
#include "kve/shared/output.h"

namespace kve::companion {

namespace {

namespace fs = std::filesystem;

class Findings {
 public:
    explicit Findings(Output& out) : out_(out) {}

    void tell(const std::string& file, const std::string& words) {
        ++n_;
        out_.put(fmt::format("{}: {}\n", file, words));
    }
    int64_t n() const { return n_; }

 private:
    Output& out_;
    int64_t n_ = 0;
};

// A check of one file. What cannot be read is a finding here.
template <class Check>
void check_file(Findings& findings, Check check) {
    try {
        check();
    } catch (const Failure& failure) {
        const std::string words = failure.what();
        const std::size_t colon = std::min(words.find(": "), words.size());
        findings.tell(fs::path(words.substr(0, colon)).filename(),
                      words.substr(std::min(colon + 2, words.size())));
    }
}

// The observations of one list by level: what CODE_TABLE tells, and what the data hold. A record of
// which the files do not tell whether its trait is usable may count or not.
struct LevelCounts {
    std::vector<int32_t> told;
    std::vector<int32_t> sure, possible;
};

// CODE_TABLE

class CodeCheck {
 public:
    CodeCheck(const RunFolder& run, const std::vector<CodeList>& lists, Findings& findings)
        : lists_(lists), findings_(findings), file_(run) {}

    // Empty counts for lists that cannot be trusted.
    void check(std::vector<LevelCounts>& counts) {
        for (std::size_t l = 0; l < lists_.size(); ++l) {
            counts[l].told.assign(1, 0);
            check_list(lists_[l], counts[l].told);
        }
        file_.expect_end();
    }

 private:
    void check_list(const CodeList& list, std::vector<int32_t>& told) {
        std::vector<int32_t> levels;  // grows with what the file really has
        int32_t before = 0;
        for (int64_t n = 1; n <= list.n_levels; ++n) {
            const Code code = file_.read(list);
            levels.push_back(code.level);
            told.push_back(code.n_obs);
            if ((code.next == 0) != (n == list.n_levels))
                tell(list, n, "the list does not end where MODINF tells");
            if (list.kind == CodeList::animals) continue;
            if (code.level != n) tell(list, n, fmt::format("has level {}", code.level));
            if (n > 1 && code.identity <= before) tell(list, n, "its identity does not ascend");
            before = code.identity;
        }
        if (list.kind == CodeList::animals) order_by_level(list, levels, told);
    }

    void order_by_level(const CodeList& list, const std::vector<int32_t>& levels,
                        std::vector<int32_t>& told) {
        std::vector<int32_t> ordered(told.size(), -1);
        for (std::size_t n = 0; n < levels.size(); ++n) {
            const auto level = static_cast<std::size_t>(levels[n]);
            if (levels[n] < 1 || level >= ordered.size())
                tell(list, static_cast<int64_t>(n) + 1, fmt::format("has level {}", levels[n]));
            else if (ordered[level] >= 0)
                tell(list, static_cast<int64_t>(n) + 1,
                     fmt::format("has level {}, and so has another", levels[n]));
            else
                ordered[level] = told[n + 1];
        }
        told = std::move(ordered);
    }

    void tell(const CodeList& list, int64_t n, const std::string& words) {
        findings_.tell("CODE_TABLE", fmt::format("factor {} ({}), entry {}: {}", list.label,
                                                 list.name, n, words));
    }

    const std::vector<CodeList>& lists_;
    Findings& findings_;
    CodeFile file_;
};

// RCDATA_I and RCDATA_R

class DataCheck {
 public:
    DataCheck(const RunFolder& run, const std::vector<CodeList>& lists,
              std::vector<LevelCounts>& counts, Findings& findings)
        : run_(run), lists_(lists), counts_(counts), findings_(findings), data_(run) {
        for (LevelCounts& c : counts_) {
            c.sure.assign(c.told.size(), 0);
            c.possible.assign(c.told.size(), 0);
        }
        plan_positions();
    }

    void check() {
        while (data_.next()) {
            ++n_;
            find_usable();
            for (const Position& p : positions_) check_position(p);
            if (data_.integer(run_.run().NIOUT) != 0)
                findings_.tell("RCDATA_I", fmt::format("record {}: its last word is not 0", n_));
        }
        for (std::size_t l = 0; l < lists_.size(); ++l) compare(lists_[l], counts_[l]);
    }

 private:
    struct Position {
        int32_t position;
        std::size_t list;
        std::vector<int32_t> traits;  // of which one must be usable for the record to count
        bool counts = true;
    };

    void plan_positions() {
        for (std::size_t l = 0; l < lists_.size(); ++l)
            if (lists_[l].kind == CodeList::fixed)
                positions_.push_back(
                    {run_.trait(lists_[l].trait).f_ef_rci(lists_[l].effect), l, {lists_[l].trait}});
        for (int32_t k = 1; k <= run_.run().NRAMAT; ++k) {
            const RMatrix& r = run_.factor(k);
            const std::size_t list = list_of_factor(run_, lists_, k);
            const bool counts = r.structure != Structure::ABS_QTL && r.structure != Structure::DOM;
            for (const int32_t position : r.r_id_rci)
                if (position > 0)
                    positions_.push_back(
                        {position, list, {r.trait_no.begin(), r.trait_no.end()}, counts});
        }
        if (!run_.has_groups()) return;
        std::vector<int32_t> all;
        for (int32_t i = 1; i <= run_.run().nt; ++i) all.push_back(i);
        positions_.push_back({run_.residual().grp_rci, lists_.size() - 1, std::move(all)});
    }

    // Two faults of a record keep a trait out of the counts and not out of the files.
    bool is_out_of_counts(const Model& m) const {
        if (m.l_cens && m.cens_inp > 0 &&
            (data_.integer(m.cens_rci) < -1 || data_.integer(m.cens_rci) > 2))
            return true;
        for (int32_t c = 2; c <= m.n_absorb; ++c)
            if (data_.integer(c) < 1) return true;
        return false;
    }

    void find_usable() {
        usable_.clear();
        for (int32_t i = 1; i <= run_.run().nt; ++i)
            usable_.push_back(is_out_of_counts(run_.trait(i)) ? Usable::no : data_.usable(i));
    }

    void check_position(const Position& p) {
        const int32_t level = data_.integer(p.position);
        LevelCounts& c = counts_[p.list];
        if (level == 0) return;
        if (level < 1 || static_cast<std::size_t>(level) >= c.told.size())
            return findings_.tell(
                "RCDATA_I",
                fmt::format("record {}, position {}: level {} of factor {} ({}) is not "
                            "in CODE_TABLE",
                            n_, p.position, level, lists_[p.list].label, lists_[p.list].name));
        if (!p.counts) return;
        bool sure = false, possible = false;
        for (const int32_t i : p.traits) {
            const Usable usable = usable_[static_cast<std::size_t>(i) - 1];
            sure = sure || usable == Usable::yes;
            possible = possible || usable != Usable::no;
        }
        c.sure[static_cast<std::size_t>(level)] += sure ? 1 : 0;
        c.possible[static_cast<std::size_t>(level)] += possible ? 1 : 0;
    }

    void compare(const CodeList& list, const LevelCounts& c) {
        // The animals of a factor of type DOM are those of the pedigree factor, told once more.
        if (list.kind == CodeList::animals && list.owner != list.factor) return;
        for (std::size_t level = 1; level < c.told.size(); ++level)
            if (c.told[level] < c.sure[level] || c.told[level] > c.possible[level])
                findings_.tell(
                    "CODE_TABLE",
                    fmt::format("factor {} ({}), level {}: {} observations, and RCDATA_I "
                                "has {}",
                                list.label, list.name, level, c.told[level], c.possible[level]));
    }

    const RunFolder& run_;
    const std::vector<CodeList>& lists_;
    std::vector<LevelCounts>& counts_;
    Findings& findings_;
    DataFile data_;
    std::vector<Position> positions_;
    std::vector<Usable> usable_;  // by trait
    int64_t n_ = 0;
};

// The files of random factors

void check_matrix(const RunFolder& run, const RunFile& file, Findings& findings) {
    MatrixFile from(run, file);
    MatrixSummary s(from.order());
    for (Element e; from.next(e);) s.add(e);
    s.finish();
    const auto tell = [&](int64_t n, const char* words) {
        if (n > 0) findings.tell(file.name, fmt::format("{} {}", n, words));
    };
    tell(s.n_outside, "elements outside the levels of its factor");
    tell(s.n_above, "elements above the diagonal");
    tell(s.n_unordered, "elements out of order");
    const bool whole = run.factor(file.factor).structure == Structure::GREL;
    if (whole && s.n_elements != from.order() * (from.order() + 1) / 2)
        findings.tell(file.name, fmt::format("{} elements, and {} levels need {}", s.n_elements,
                                             from.order(), from.order() * (from.order() + 1) / 2));
    if (!may_lack_levels(file)) tell(s.n_without_diagonal(), "levels without a diagonal element");
}

void check_parents(const RunFolder& run, const RunFile& file, Findings& findings) {
    constexpr int64_t kLongest = 100000;  // pairs of a record
    const int64_t n = run.run().NRALEV(file.factor), pairs = std::min(n, kLongest);
    RecordFile from(run.path(), file.name);
    const int64_t records = n == 0 ? 0 : (n + pairs - 1) / pairs;
    if (from.bytes() != static_cast<uintmax_t>(records * (8 * pairs + 8)))
        return findings.tell(file.name, fmt::format("{} bytes, and {} levels need {}", from.bytes(),
                                                    n, records * (8 * pairs + 8)));
    std::vector<int32_t> parents(static_cast<std::size_t>(2 * pairs));
    int64_t n_outside = 0;
    while (from.next(std::as_writable_bytes(std::span(parents))))
        n_outside +=
            std::ranges::count_if(parents, [&](int64_t level) { return level < -n || level > n; });
    if (n_outside > 0)
        findings.tell(
            file.name,
            fmt::format("{} parents outside the levels of factor {}; the listing warns of "
                        "wrong parents",
                        n_outside, file.factor));
}

void check_inbreeding(const RunFolder& run, const RunFile& file, Findings& findings) {
    int64_t expected = 0, found = 0;
    for (int32_t k = 1; k <= run.run().NRAMAT; ++k)
        if (has_pedigree(run.factor(k).structure) && run.factor(k).method == 1)
            expected += run.run().NRALEV(k);
    std::ifstream from(run.path() / file.name);
    if (!from) return findings.tell(file.name, "cannot be opened");
    for (std::string line; std::getline(from, line);) ++found;
    if (found != expected)
        findings.tell(file.name,
                      fmt::format("{} lines, and the pedigrees have {} animals", found, expected));
}

void check_old_solutions(const RunFolder& run, const RunFile& file, Findings& findings) {
    RecordInput head;
    std::array<int32_t, 4> numbers{};
    if (head.open((run.path() / file.name).string()) != 0 ||
        head.read_record(std::as_writable_bytes(std::span(numbers))) != RecordInput::Record::ok)
        return findings.tell(file.name, "cannot be read");
    const int64_t length = 4 * int64_t{numbers[2]} + 8 * int64_t{numbers[3]};
    if (numbers[1] != run.run().OLDSOL_H2 || head.record_bytes() != length)
        return findings.tell(file.name, "its first record is not that of this run");
    const uintmax_t bytes = bytes_of_file(run.path() / file.name);
    if (bytes % static_cast<uintmax_t>(length + 8) != 0)
        findings.tell(file.name, "ends within a record");
}

void check_foreign_information(const RunFolder& run, const RunFile& file, Findings& findings) {
    RecordFile from(run.path(), file.name);
    for (std::array<int32_t, 5> record; from.next(record);)
        if (record[2] < 1 || record[2] > run.run().nt) from.refuse("is of no trait");
    if (from.n_read() > run.run().n_foreign_records)
        findings.tell(file.name, fmt::format("{} records, and MODINF tells {} at most",
                                             from.n_read(), run.run().n_foreign_records));
}

void check_factor_file(const RunFolder& run, const RunFile& file, Findings& findings) {
    switch (file.kind) {
        case FileKind::matrix:
            return check_matrix(run, file, findings);
        case FileKind::parents:
            return check_parents(run, file, findings);
        case FileKind::inbreeding:
            return check_inbreeding(run, file, findings);
        case FileKind::old_solutions:
            return check_old_solutions(run, file, findings);
        case FileKind::foreign_information:
            return check_foreign_information(run, file, findings);
        case FileKind::section:
            if (!fs::exists(run.path() / file.name)) findings.tell(file.name, "missing");
            return;
        default:
            return;  // looked at together
    }
}

// Files that this MODINF does not promise. Of some nothing there tells.
void check_strangers(const RunFolder& run, Findings& findings) {
    std::set<std::string> known = {"KVE_LOG",     "PEDDATA", "KVE1.dir",
                                   "KVE1.reduce", "PARIN",   "CVREST.DIR"};
    for (const RunFile& file : run.promised_files()) known.insert(file.name);
    std::set<std::string> strangers;
    for (const fs::directory_entry& entry : fs::directory_iterator(run.path())) {
        const std::string name = entry.path().filename().string();
        std::error_code ignored;
        if (is_name_of_run_file(name) && known.count(name) == 0 &&
            fs::file_size(entry.path(), ignored) > 0)
            strangers.insert(name);
    }
    for (const std::string& name : strangers)
        findings.tell(name, "MODINF does not promise it: a file of another run");
}

int verify(const CommonOptions& options) {
    const RunFolder run(options.folder);
    Output out(options.output);
    Findings findings(out);
    const std::vector<CodeList> lists = lists_of(run);
    std::vector<LevelCounts> counts(lists.size());
    check_file(findings, [&] {
        CodeCheck(run, lists, findings).check(counts);
        check_file(findings, [&] { DataCheck(run, lists, counts, findings).check(); });
    });
    for (const RunFile& file : run.promised_files())
        check_file(findings, [&] { check_factor_file(run, file, findings); });
    check_strangers(run, findings);
    out.finish();
    return findings.n() > 0 ? kFindings : kGood;
}

}  // namespace

Command add_verify(CLI::App& app) {
    auto options = std::make_shared<CommonOptions>();
    CLI::App* command =
        app.add_subcommand("verify", "whether the files of the run belong together");
    add_common(*command, *options);
    command->footer(
        "A line for each thing that is wrong, none when all is well: files that are "
        "missing, cut or of another run, levels that are not in CODE_TABLE, counts that "
        "do not agree. The exit status is 1 when there are any.\n\nExample:\n"
        "  kve verify out/dairy && kve records out/dairy -o data.csv");
    return [options] { return verify(*options); };
}

}  // namespace kve::companion
