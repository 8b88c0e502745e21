// kve verify: do the files of a run belong together?
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <memory>
#include <set>
#include <span>
#include <utility>

#include "kve/files/code_lists.h"
#include "kve/files/matrix_file.h"
#include "kve/files/run_folder.h"
#include "kve/results/level_check.h"
#include "kve/results/run_findings.h"
#include "kve/shared/commands.h"
#include "kve/shared/failure.h"
#include "kve/shared/noun.h"
#include "kve/shared/output.h"

namespace kve::companion {

namespace {

namespace fs = std::filesystem;

// The files of random factors

void check_matrix(const RunFolder& run, const RunFile& file, RunFindings& findings) {
    MatrixFile from(run, file);
    MatrixSummary s(from.order());
    int64_t n_infinite = 0;
    for (Element e; from.next(e);) {
        s.add(e);
        n_infinite += std::isfinite(e.value) ? 0 : 1;
    }
    s.finish();
    const int64_t before = findings.n();
    const auto tell = [&](int64_t n, const char* noun, const char* words) {
        if (n > 0) findings.tell(file.name, fmt::format("{} {}", counted(n, noun), words));
    };
    tell(s.n_outside, "element", "outside the levels of its factor");
    tell(s.n_above, "element", "above the diagonal");
    tell(s.n_unordered, "element", "out of order");
    tell(n_infinite, "element", "without a finite value");
    const int64_t whole = from.order() * (from.order() + 1) / 2;
    if (run.factor(file.factor).structure == Structure::GREL && s.n_elements != whole)
        findings.tell(file.name, fmt::format("{}, and {} need {}", counted(s.n_elements, "element"),
                                             counted(from.order(), "level"), whole));
    if (!may_lack_levels(file) && findings.n() == before)  // which may be that element
        tell(s.n_without_diagonal(), "level", "without a diagonal element");
}

void check_parents(const RunFolder& run, const RunFile& file, RunFindings& findings) {
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
            fmt::format("{} outside the levels of factor {}; the listing warns of wrong parents",
                        counted(n_outside, "parent"), file.factor));
}

void check_old_solutions(const RunFolder& run, const RunFile& file, RunFindings& findings) {
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

void check_foreign_information(const RunFolder& run, const RunFile& file, RunFindings& findings) {
    RecordFile from(run.path(), file.name);
    for (std::array<int32_t, 5> record; from.next(record);)
        if (record[2] < 1 || record[2] > run.run().nt) from.refuse("is of no trait");
    if (from.n_read() > run.run().n_foreign_records)
        findings.tell(file.name, fmt::format("{} records, and MODINF tells {} at most",
                                             from.n_read(), run.run().n_foreign_records));
}

void check_factor_file(const RunFolder& run, const RunFile& file, RunFindings& findings) {
    switch (file.kind) {
        case FileKind::matrix:
            return check_matrix(run, file, findings);
        case FileKind::parents:
            return check_parents(run, file, findings);
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
void check_strangers(const RunFolder& run, RunFindings& findings) {
    std::set<std::string> known = {"KVE_LOG", "PEDDATA", "KVE1.dir", "KVE1.reduce", "PARIN"};
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
    RunFindings findings(out, run.path());
    const std::vector<CodeList> lists = lists_of(run);
    std::vector<LevelCounts> counts = check_codes(run, lists, findings);
    const bool has_codes = std::ranges::all_of(counts, &LevelCounts::is_sound);
    check_data(run, lists, std::move(counts), findings);
    for (const RunFile& file : run.promised_files())
        findings.try_check([&] {
            if (file.kind != FileKind::inbreeding)
                check_factor_file(run, file, findings);
            else if (has_codes)
                check_inbreeding(run, lists, findings);
            else
                static_cast<void>(bytes_of_file(run.path() / file.name));
        });
    check_strangers(run, findings);
    findings.finish();
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
