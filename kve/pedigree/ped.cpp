// kve ped: a user's pedigree, looked through and made into the file that KVE1 reads.
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <memory>

#include "kve/pedigree/births.h"
#include "kve/pedigree/findings.h"
#include "kve/pedigree/groups.h"
#include "kve/pedigree/loops.h"
#include "kve/pedigree/parts.h"
#include "kve/pedigree/pedigree_files.h"
#include "kve/pedigree/places.h"
#include "kve/pedigree/population.h"
#include "kve/pedigree/read_pedigree.h"
#include "kve/shared/commands.h"
#include "kve/shared/failure.h"
#include "kve/shared/result_folder.h"
#include "kve/tables/pedigree_columns.h"
#include "kve/tables/table_reader.h"

namespace kve::companion {

namespace {

constexpr const char* kIds = "ids.tsv";
constexpr const char* kFindingTable = "findings.tsv";
constexpr const char* kChanges = "changes.tsv";
constexpr const char* kPedigree = "pedigree";
constexpr const char* kGroupTable = "groups.tsv";
constexpr const char* kClasses = "statistics.csv";
constexpr const char* kMeasures = "population.csv";
constexpr const char* kAncestors = "ancestors.csv";

struct Options {
    PedigreeForm form;
    std::string folder;
    std::string ids, prune, prune_column, sort = "birth", by = "birth", delimiter, quote = "\"";
    int32_t generations = -1;
    int64_t group_size = 0;
    int32_t group_years = 5;
    bool adds_parents = false, fix = false, strict = false, binary = false, renumber = false,
         statistics = false, header = false, no_header = false;
    PopulationOptions population;
};

// Everything that a run knows.
struct Work {
    const Options& options;
    PedigreeFindings findings{};
    PedigreeTable table{};
    Vec<int32_t> generation{};
    Placed placed{};
    Groups groups{};
    bool by_birth = false;  // the sort variable
};

// Numbers of the animals of a table; those that the pedigree lacks are told.
std::vector<int32_t> read_wanted(Work& work) {
    std::size_t column = 0;
    const std::unique_ptr<TableReader> opened =
        open_animals(work.options.prune, {}, work.options.prune_column, work.table.names, column);
    TableReader& table = *opened;
    const MissingSigns missing(usual_missing_signs());
    IdentityTable strangers;
    std::vector<int32_t> wanted;
    while (table.next()) {
        const std::string_view identity = table.field(column);
        if (is_nobody(identity) || missing(identity)) continue;
        const int32_t animal = work.table.names.find(identity);
        if (animal != 0 && work.table.book.line(animal) != 0)
            wanted.push_back(animal);
        else if (const int32_t known = strangers.size(); strangers.place_of(identity) > known)
            work.findings.add(
                Kind::not_in_pedigree, 0, animal,
                fmt::format("{} in {}, line {}", identity, table.file(), table.line()));
        if (animal != 0 && work.table.book.line(animal) == 0) wanted.push_back(animal);
    }
    return wanted;
}

// Loops first, since all that follows goes from parents to progeny.
void settle_all(Work& work) {
    Herdbook& book = work.table.book;
    work.generation = break_loops(book, work.table.names, work.findings);
    settle_parts(book, work.table.names, work.findings, work.options.fix);
    if (book.unit != BirthUnit::none)
        for (int32_t j = 1; j <= book.size(); ++j)
            if (book.line(j) != 0 && book.birth(j) == kNoBirth)
                work.findings.add(Kind::no_birth, book.line(j), j);
    const bool any_birth = std::any_of(book.birth.begin(), book.birth.end(),
                                       [](int32_t birth) { return birth != kNoBirth; });
    work.by_birth = any_birth && work.options.sort == "birth";
    if (work.by_birth) settle_births(book, work.generation, work.table.names, work.findings);
}

// A link that was taken away can only make generations fewer, never put one parent behind progeny.
void place_all(Work& work) {
    Herdbook& book = work.table.book;
    Vec<int32_t> sort;
    if (work.by_birth) {
        sort = estimate_births(book, work.generation);
    } else {
        make_table(sort, book.size());
        for (int32_t j = 1; j <= book.size(); ++j) sort(j) = work.generation(j) + 1;
    }
    const Vec<int32_t> order = order_animals(sort);
    Vec<bool> keep;
    if (!work.options.prune.empty())
        keep = find_ancestors(book, order, read_wanted(work), work.options.generations);
    work.placed =
        place_animals(book, order, sort, keep, work.by_birth ? book.unit : BirthUnit::none);
}

void group_unknown_parents(Work& work) {
    if (work.options.group_size == 0) return;
    const Placed& placed = work.placed;
    Vec<int32_t> class_of;
    make_table(class_of, placed.pedigree.size());
    const int32_t width = work.options.group_years;
    constexpr int32_t kPartsOfYear = 10000;  // of 20240229
    for (int32_t j = 1; j <= placed.pedigree.size(); ++j) {
        const bool days = work.by_birth && work.table.book.unit == BirthUnit::days;
        const int32_t year = days ? placed.sort(j) / kPartsOfYear : placed.sort(j);
        class_of(j) = year / width * width;
    }
    work.groups = make_groups(placed.pedigree, class_of, work.options.group_size);
}

// Why no pedigree is left, if any.
std::string fault_of(const Work& work) {
    const Options& options = work.options;
    if (work.findings.faults() > 0 && !options.fix)
        return "no pedigree is left: mend the faults above, or let --fix do it";
    if (work.findings.warnings() > 0 && options.strict)
        return "no pedigree is left: --strict, and see above";
    if (work.placed.pedigree.size() == 0) return "no pedigree is left: no animal is kept";
    return {};
}

void tell_kind(const Work& work, Kind kind) {
    const int64_t n = work.findings.count(kind);
    if (n == 0) return;
    const auto first = std::ranges::find(work.findings.list, kind, &PedigreeFinding::kind);
    std::string example = words_of(*first, work.findings, work.table.names);
    constexpr std::size_t kWidest = 60;
    if (example.size() > kWidest) example = example.substr(0, kWidest) + "...";
    const std::string animal =
        first->animal > 0 ? fmt::format(" {}", work.table.names.text(first->animal)) : "";
    fmt::print("  {:8} {} {:<46} {}{}{}{}\n", n, words_of(kind).fault ? '!' : ' ',
               words_of(kind).words, first->line > 0 ? fmt::format("line {}", first->line) : "",
               animal, example.empty() ? "" : ": ", example);
}

void tell_findings(const Work& work) {
    const Herdbook& book = work.table.book;
    const int64_t founders =
        std::count_if(book.parents.begin(), book.parents.end(),
                      [](const ParentPair& p) { return p.sire == 0 && p.dam == 0; });
    fmt::print("{}: {}\n", work.options.form.file, work.table.described);
    fmt::print("{} records, {} animals, {} founders, {} generations deep\n", work.table.records,
               book.size(), founders,
               *std::max_element(work.generation.begin(), work.generation.end()));
    for (std::size_t k = 0; k < kKinds; ++k) tell_kind(work, static_cast<Kind>(k));
    if (work.findings.faults() > 0)
        fmt::print("! are faults; each stands for the first of its kind\n");
}

void tell_population(const Population& population) {
    const Contributions& c = population.contributions;
    fmt::print(
        "inbreeding {:.4f}, in the last class {:.4f}; completeness {:.3f}; "
        "{:.2f} equivalent generations\n",
        population.all.inbreeding,
        population.classes.empty() ? 0.0 : population.classes.back().inbreeding,
        population.all.completeness, population.all.equivalent);
    if (c.reference > 0)
        fmt::print(
            "{} animals of {} to {}: {:.1f} effective founders, {:.1f} to {:.1f} effective "
            "ancestors, {:.1f} founder genomes\n",
            c.reference, population.reference_first, population.reference_last,
            c.effective_founders, c.effective_ancestors_low, c.effective_ancestors_high,
            c.founder_genomes);
}

Population write_statistics(const Work& work, ResultFolder& results) {
    PopulationOptions options = work.options.population;
    options.by_generation =
        work.options.by == "generation" || work.table.book.unit == BirthUnit::none;
    Population population =
        describe_population(work.placed.pedigree, work.table.book.unit, options);
    write_classes(results.begin(kClasses), population, options.by_generation);
    write_measures(results.begin(kMeasures), population);
    write_ancestors(results.begin(kAncestors), population, work.placed, work.table.book.unit,
                    work.table.names);
    return population;
}

void write_results(const Work& work, ResultFolder& results) {
    const Options& options = work.options;
    const std::string earlier = !options.ids.empty() ? options.ids
                                : std::filesystem::exists(results.path(kIds)) && !options.renumber
                                    ? results.path(kIds).string()
                                    : "";
    Codes codes = make_codes(work.table.names, options.renumber, earlier);
    if (!earlier.empty()) fmt::print("codes are those of {}, as far as it has them\n", earlier);
    const bool grouped = options.group_size > 0;
    const int64_t n = write_pedigree(results.begin(kPedigree), work.placed, work.table.book, codes,
                                     work.groups, options.adds_parents || grouped, options.binary);
    write_identities(results.begin(kIds), work.placed, work.table.names, std::move(codes));
    if (grouped) write_groups(results.begin(kGroupTable), work.groups);
    if (options.fix)
        write_changes(results.begin(kChanges), options.form.file, work.findings, work.table.names);
    if (options.statistics) tell_population(write_statistics(work, results));
    fmt::print("{} animals in {}; sort variable: {}\n", n, results.path(kPedigree).string(),
               work.by_birth ? "birth" : "generation");
    if (grouped) fmt::print("{} groups in {}\n", work.groups.list.size(), kGroupTable);
    fmt::print("$VAR_STR 1 PED {} {} {}\n", grouped ? 6 : 1, options.binary ? "BINARY" : "ASCII",
               results.path(kPedigree).string());
}

void refuse_input(const Options& options, const std::filesystem::path& result) {
    std::error_code ignored;
    for (const std::string& input : {options.form.file, options.prune, options.ids})
        if (!input.empty() && std::filesystem::equivalent(result, input, ignored))
            throw Failure(kUsage,
                          fmt::format("-o {}: it holds the input {}", options.folder, input));
}

// Where kve prep has made its files, the codes of its ids.tsv must stay.
void refuse_other_codes(const Options& options, ResultFolder& results) {
    std::error_code ignored;
    const std::filesystem::path ids = results.path(kIds);
    const bool has_others =
        options.renumber ||
        (!options.ids.empty() && !std::filesystem::equivalent(ids, options.ids, ignored));
    if (has_others && std::filesystem::exists(ids, ignored) &&
        std::filesystem::exists(results.path("run.kve"), ignored))
        throw Failure(kUsage,
                      fmt::format("-o {}: the files of kve prep there have the codes of its "
                                  "ids.tsv: leave out --renumber and --ids, or take another folder",
                                  options.folder));
}

// The results of an earlier run are replaced, and nothing else.
void clear_folder(const Options& options, ResultFolder& results) {
    constexpr std::array kNames{kPedigree, kFindingTable, kChanges,  kGroupTable,
                                kClasses,  kMeasures,     kAncestors};
    std::error_code ignored;
    const bool is_ours = std::filesystem::exists(results.path(kFindingTable), ignored);
    for (const char* name : kNames) {
        const std::filesystem::path path = results.path(name);
        if (!std::filesystem::exists(path, ignored)) continue;
        refuse_input(options, path);
        if (!is_ours)
            throw Failure(kUsage, fmt::format("{} is not of an earlier kve ped: -o wants another "
                                              "folder",
                                              path.string()));
    }
    refuse_other_codes(options, results);
    for (const char* name : kNames) results.remove(name);
}

void take_table_form(Options& options) {
    TableForm& form = options.form.table;
    if (options.header || options.no_header) form.has_header = options.header;
    if (!options.delimiter.empty()) form.delimiter = sign_called(options.delimiter);
    form.quote = options.quote.empty() ? kNoQuote : options.quote.front();
    if ((!options.delimiter.empty() && !form.delimiter) || options.quote.size() > 1)
        throw Failure(kUsage, "--delimiter and --quote want a sign, tab or blanks");
}

int look_through(Options& options) {
    take_table_form(options);
    Work work{.options = options};
    work.table = read_pedigree(options.form, work.findings);
    settle_all(work);
    place_all(work);
    group_unknown_parents(work);
    work.findings.sort_by_line();
    tell_findings(work);
    const std::string fault = fault_of(work);
    if (options.folder.empty()) return fault.empty() ? kGood : kFindings;
    ResultFolder results(options.folder);
    clear_folder(options, results);
    write_findings(results.begin(kFindingTable), options.form.file, work.findings,
                   work.table.names);
    if (fault.empty()) write_results(work, results);
    results.keep();
    fmt::print("left in {}: {}\n", options.folder, fmt::join(results.names(), ", "));
    if (fault.empty()) return kGood;
    fmt::print(stderr, "kve: {}\n", fault);
    return kFindings;
}

void add_reading(CLI::App& command, Options& o) {
    command.add_option("FILE", o.form.file, "the pedigree: a table, or a .ped with families")
        ->required();
    command
        .add_option("-o,--output", o.folder, "the folder for the results; without it only words")
        ->type_name("DIR");
    command.add_option("--id", o.form.id, "column of the identity, by name or number")
        ->type_name("COLUMN");
    command.add_option("--sire", o.form.sire, "column of the sire")->type_name("COLUMN");
    command.add_option("--dam", o.form.dam, "column of the dam")->type_name("COLUMN");
    command.add_option("--sex", o.form.sex, "column of the sex: M, male, 1 or F, female, 2")
        ->type_name("COLUMN");
    command.add_option("--birth", o.form.birth, "column of the birth")->type_name("COLUMN");
    command
        .add_option("--family", o.form.family,
                    "column that goes in front of all identities, FAMILY:ID")
        ->type_name("COLUMN");
    command.add_option("--dates", o.form.dates, "how births are written")
        ->check(CLI::IsMember({"ymd", "dmy", "mdy", "year", "number"}));
    command.add_option("--missing", o.form.missing, "a sign of what is unknown; may be repeated")
        ->type_name("SIGN")
        ->allow_extra_args(false);
    command.add_flag("--header", o.header, "the first line has the names of the columns");
    command.add_flag("--no-header", o.no_header, "the first line is a record")
        ->excludes("--header");
    command.add_option("--delimiter", o.delimiter, "a sign, tab or blanks");
    command.add_option("--quote", o.quote, "a sign, or \"\" for none");
}

void add_making(CLI::App& command, Options& o) {
    command.add_flag("--fix", o.fix, "mend faults by the rules; changes.tsv has each change");
    command.add_flag("--strict", o.strict, "warnings are faults, too");
    command.add_flag("--add-parents", o.adds_parents, "parents without a record get one");
    command.add_option("--sort", o.sort, "the sort variable")
        ->check(CLI::IsMember({"birth", "generation"}));
    auto* prune =
        command.add_option("--prune", o.prune, "only animals of this table and their ancestors");
    command.add_option("--prune-column", o.prune_column, "its column; the first one if not told")
        ->type_name("COLUMN")
        ->needs(prune);
    prune->type_name("FILE");
    command.add_option("--generations", o.generations, "only so many generations of ancestors")
        ->check(CLI::Range(0, 1000000))
        ->needs(prune);
    command
        .add_option("--groups", o.group_size,
                    "phantom parent groups of at least so many unknown parents")
        ->check(CLI::Range(int64_t{1}, int64_t{1} << 40))
        ->type_name("N");
    command
        .add_option("--group-years", o.group_years, "years of birth, or generations, of a class")
        ->check(CLI::Range(1, 1000));
    command.add_option("--ids", o.ids, "identities that have a code here keep it")
        ->type_name("FILE");
    command.add_flag("--renumber", o.renumber, "integers get new codes as well")->excludes("--ids");
    command.add_flag("--binary", o.binary, "the pedigree in framed records");
}

void add_statistics(CLI::App& command, Options& o) {
    command.add_flag("--stats", o.statistics, "statistics of the population");
    command.add_option("--by", o.by, "their classes")
        ->check(CLI::IsMember({"birth", "generation"}));
    command
        .add_option("--completeness", o.population.completeness_generations,
                    "generations of the index of completeness")
        ->check(CLI::Range(1, kMostCompleteness));
    command
        .add_option("--reference", o.population.reference,
                    "classes whose ancestors are looked for; the last generation if not told")
        ->type_name("FROM:TO");
    command.add_option("--ancestors", o.population.most_ancestors, "how many are looked for")
        ->check(CLI::Range(int64_t{1}, int64_t{1} << 31));
}

}  // namespace

Command add_ped(CLI::App& app) {
    auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand(
        "ped", "what is wrong with a pedigree, and the file of it that KVE1 reads");
    add_reading(*command, *options);
    add_making(*command, *options);
    add_statistics(*command, *options);
    command->footer("Example: kve ped animals.csv -o ped --fix --add-parents --stats");
    return [options] { return look_through(*options); };
}

}  // namespace kve::companion
