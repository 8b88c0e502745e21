// kve prep: from the tables that a user has to the files that KVE1 reads.
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>

#include "kve/prep/findings.h"
#include "kve/prep/guess.h"
#include "kve/prep/made_files.h"
#include "kve/prep/recipe.h"
#include "kve/prep/record_maker.h"
#include "kve/prep/relatives.h"
#include "kve/shared/commands.h"
#include "kve/shared/failure.h"
#include "kve/shared/output.h"
#include "kve/tables/codes.h"

namespace kve::companion {

namespace prep {

namespace {

struct Options {
    std::string table, output;
    std::string pedigree, typed;
    std::vector<std::string> matrices;
    std::string delimiter, quote, decimal;
    std::optional<bool> has_header;
    std::optional<std::vector<std::string>> missing;
    bool makes_template = false, is_binary = false, renumbers = false, is_strict = false;
};

char sign_of(const std::string& option, const std::string& name) {
    if (name.empty() && option == "--quote") return kNoQuote;
    const std::optional<char> sign = sign_called(name);
    if (!sign) throw Failure(kUsage, fmt::format("{}: \"{}\" is no sign", option, name));
    return *sign;
}

void apply(const Options& options, TableUse& use) {
    if (!options.delimiter.empty()) use.form.delimiter = sign_of("--delimiter", options.delimiter);
    if (options.quote != "\"") use.form.quote = sign_of("--quote", options.quote);
    if (!options.decimal.empty()) use.decimal_sign = sign_of("--decimal", options.decimal);
    if (options.has_header) use.form.has_header = options.has_header;
    if (options.missing) use.missing = *options.missing;
}

void apply(const Options& options, Recipe& recipe) {
    apply(options, recipe.data);
    if (!options.pedigree.empty()) {
        if (!recipe.pedigree) recipe.pedigree.emplace();
        recipe.pedigree->file = options.pedigree;
    }
    if (!options.typed.empty()) {
        if (!recipe.typed) recipe.typed.emplace();
        recipe.typed->file = options.typed;
    }
    for (const std::string& file : options.matrices) recipe.matrices.emplace_back().file = file;
    if (recipe.pedigree) apply(options, *recipe.pedigree);
    if (recipe.typed) apply(options, *recipe.typed);
    for (MatrixUse& use : recipe.matrices) apply(options, use);
    recipe.is_binary = recipe.is_binary || options.is_binary;
    recipe.renumbers = recipe.renumbers || options.renumbers;
}

bool is_recipe(const std::string& file) { return file.ends_with(".toml"); }

Recipe recipe_of_options(const Options& options) {
    Recipe recipe;
    if (is_recipe(options.table))
        recipe = read_recipe(options.table);
    else
        recipe.data.file = options.table;
    apply(options, recipe);
    return recipe;
}

void check(const Recipe& recipe) {
    for (const MatrixUse& use : recipe.matrices)
        if (use.type == "PGMIX" && (!recipe.pedigree || !recipe.typed))
            throw Failure(kUsage, fmt::format("{}: a matrix of type PGMIX needs a pedigree and "
                                              "typed animals",
                                              use.file));
}

// Everything between the tables and the files.
class Preparation {
 public:
    Preparation(Recipe& recipe, const PartFolder& part)
        : recipe_(recipe),
          part_(part),
          findings_(part.file(kRejected)),
          earlier_ids_(part.ids_of_pedigree()) {
        if (recipe.renumbers && !earlier_ids_.empty())
            throw Failure(kUsage,
                          fmt::format("{} has the codes of a pedigree of kve ped there: do not "
                                      "renumber, or take another folder",
                                      earlier_ids_));
    }

    void read();
    void write();
    void show(Output& out) const;
    const Findings& findings() const { return findings_; }
    bool has_records() const { return data_.n_kept > 0; }

 private:
    void read_data();
    void read_relatives();
    void make_codes();
    std::string name(const std::string& front) const {
        return front + (recipe_.is_binary ? ".bin" : ".txt");
    }
    void show_table(Output& out, const char* what, const TableCounts& counts,
                    int64_t left_out) const;
    void show_kinds(Output& out, int table, Consequence consequence) const;
    void show_columns(Output& out) const;
    void show_identities(Output& out) const;

    Recipe& recipe_;
    const PartFolder& part_;
    Findings findings_;
    IdentityTable identities_;
    std::unique_ptr<PedigreeTable> pedigree_;
    std::unique_ptr<TableReader> table_;
    std::unique_ptr<RecordMaker> maker_;
    TableCounts data_, typed_counts_;
    int64_t n_left_out_ = 0;
    std::vector<int32_t> typed_;
    std::string earlier_ids_;
    Codes codes_;
    std::vector<TableCounts> matrices_;
    DataCounts made_;
};

void Preparation::read() {
    if (recipe_.pedigree) {
        complete_pedigree(*recipe_.pedigree);
        pedigree_ = std::make_unique<PedigreeTable>(*recipe_.pedigree, identities_, findings_);
    }
    complete_dates(recipe_);
    read_data();
    read_relatives();
    findings_.finish();
}

void Preparation::read_data() {
    table_ = std::make_unique<TableReader>(recipe_.data.file, recipe_.data.form);
    maker_ =
        std::make_unique<RecordMaker>(recipe_, *table_, pedigree_.get(), identities_, findings_);
    const Layout layout = layout_of(maker_->fields());
    if (layout.reals.empty())
        throw Failure(kUsage,
                      recipe_.data.file + ": no real column is written, so there is no trait");
    data_.file = table_->file();
    data_.table = findings_.begin_table();
    Output out(part_.temporary("records"));
    while (table_->next()) {
        ++data_.n_read;
        const RecordMaker::Outcome outcome = maker_->make();
        if (outcome == RecordMaker::Outcome::kept) {
            ++data_.n_kept;
            if (maker_->is_full()) maker_->put_out(out);
        } else {
            ++(outcome == RecordMaker::Outcome::rejected ? data_.n_rejected : n_left_out_);
        }
    }
    maker_->put_out(out);
    data_.described = table_->described();
    if (recipe_.data.decimal_sign != '.')
        data_.described += fmt::format(", \"{}\" in decimals", recipe_.data.decimal_sign);
    out.finish();
}

void Preparation::read_relatives() {
    if (recipe_.typed) typed_ = read_typed(*recipe_.typed, identities_, findings_, typed_counts_);
    for (std::size_t k = 0; k < recipe_.matrices.size(); ++k) {
        const MatrixUse& use = recipe_.matrices[k];
        ClassNames* classes = nullptr;
        if (!use.of.empty()) {
            const auto found = std::ranges::find(maker_->fields(), use.of, &Field::name);
            if (found == maker_->fields().end() || !found->classes || found->is_interaction())
                throw Failure(kUsage, fmt::format("{}: of = \"{}\" is no class of the data",
                                                  use.file, use.of));
            classes = found->classes.get();
        }
        matrices_.push_back(read_matrix(use, identities_, classes, findings_,
                                        part_.temporary(fmt::format("matrix{}", k + 1))));
    }
}

void Preparation::make_codes() {
    for (Field& field : maker_->fields())
        if (field.classes && field.part <= 1) field.classes->number();
    codes_ = companion::make_codes(identities_, recipe_.renumbers, earlier_ids_);
}

void Preparation::write() {
    make_codes();
    const std::vector<Field>& fields = maker_->fields();
    FileNames names{name("data"), name("pedigree"), name("typed"), {}};
    made_ = write_data(recipe_, fields, codes_.of, pedigree_.get(), part_.temporary("records"),
                       part_.file(names.data));
    if (pedigree_)
        write_pedigree(*pedigree_, codes_.of, recipe_.is_binary, part_.file(names.pedigree));
    if (recipe_.typed) write_typed(typed_, codes_.of, recipe_.is_binary, part_.file(names.typed));
    for (std::size_t k = 0; k < recipe_.matrices.size(); ++k) {
        names.matrices.push_back(name(fmt::format("matrix{}", k + 1)));
        const std::string& of = recipe_.matrices[k].of;
        const auto found = std::ranges::find(fields, of, &Field::name);
        write_matrix(of.empty() ? codes_.of : found->classes->codes(), recipe_.is_binary,
                     part_.temporary(fmt::format("matrix{}", k + 1)),
                     part_.file(names.matrices.back()));
    }
    write_ids(part_.file(kIds), identities_, codes_);
    write_classes(fields, part_.file("classes.tsv"));
    write_directives(recipe_, layout_of(fields), names, part_.file(kDirectives));
}

void Preparation::show_kinds(Output& out, int table, Consequence consequence) const {
    for (const Findings::Kind& kind : findings_.kinds())
        if (kind.table == table && kind.consequence == consequence)
            out.put(
                fmt::format("    {:<56}{:>12}  first: {}\n",
                            kind.column.empty() ? kind.reason : kind.column + ": " + kind.reason,
                            kind.n, kind.first));
}

void Preparation::show_table(Output& out, const char* what, const TableCounts& counts,
                             int64_t left_out) const {
    const auto line = [&](const char* words, int64_t n) {
        out.put(fmt::format("  {:<58}{:>12}\n", words, n));
    };
    out.put(fmt::format("{} {}: {}\n", what, counts.file, counts.described));
    line("records read", counts.n_read);
    line("kept", counts.n_kept);
    if (&counts == &data_) {
        line("left out", left_out);
        for (std::size_t k = 0; k < recipe_.keep.size(); ++k)
            out.put(fmt::format("    {:<56}{:>12}\n", "not " + recipe_.keep[k].words,
                                maker_->left_out_by()[k]));
    }
    line("rejected", counts.n_rejected);
    show_kinds(out, counts.table, Consequence::record_rejected);
    line("values made missing", findings_.count(Consequence::value_missing, counts.table));
    show_kinds(out, counts.table, Consequence::value_missing);
    if (const int64_t n = findings_.count(Consequence::only_told, counts.table); n > 0) {
        line("told", n);
        show_kinds(out, counts.table, Consequence::only_told);
    }
}

void Preparation::show_columns(Output& out) const {
    out.put("columns\n");
    const auto line = [&](const std::string& number, const Field& field) {
        std::string words = field.about;
        if (field.classes)
            words += fmt::format(", {} levels{}", field.classes->size(),
                                 field.classes->keeps_integers() ? "" : ", numbered");
        if (field.n_missing_by_sign > 0)
            words += fmt::format(", {} missing in the table", field.n_missing_by_sign);
        const std::string& name = field.is_written ? field.variable : field.name;
        out.put(fmt::format("  {:<12}{:<10}{}\n", number, name, words));
    };
    const Layout layout = layout_of(maker_->fields());
    for (const Place& place : layout.integers)
        line(fmt::format("integer {}", place.number), *place.field);
    for (const Place& place : layout.reals)
        line(fmt::format("real {}", place.number), *place.field);
    for (const Field& field : maker_->fields())
        if (!field.is_written) line("-", field);
    if (const std::vector<std::string> unused = maker_->unused_columns(); !unused.empty())
        out.put(fmt::format("  not in the recipe: {}\n", list_of(unused)));
}

void Preparation::show_identities(Output& out) const {
    int64_t n_same = 0;
    for (int32_t place = 1; place <= identities_.size(); ++place)
        n_same +=
            integer_identity(identities_.text(place)) == codes_.of[static_cast<std::size_t>(place)];
    out.put(fmt::format("identities\n  {:<58}{:>12}\n  {:<58}{:>12}\n", "keep their integer",
                        n_same, "are numbered", identities_.size() - n_same));
    if (!earlier_ids_.empty())
        out.put(fmt::format("  {:<58}{:>12}\n", "have the codes of the pedigree of kve ped there",
                            std::ranges::count(codes_.is_earlier, true)));
    if (!pedigree_) return;
    out.put(fmt::format("  {:<58}{:>12}\n", "in the data, not in the pedigree",
                        made_.n_identities_without_record));
    if (recipe_.pedigree->born.empty() && recipe_.pedigree->sort.empty())
        out.put("  sort variable of the pedigree: generations\n");
    else if (const int64_t n = pedigree_->n_without_sort(); n > 0)
        out.put(fmt::format("  {:<58}{:>12}\n", "animals without a date or sort variable", n));
}

void Preparation::show(Output& out) const {
    show_table(out, "data", data_, n_left_out_);
    if (pedigree_) show_table(out, "pedigree", pedigree_->counts(), 0);
    if (recipe_.typed) show_table(out, "typed animals", typed_counts_, 0);
    for (const TableCounts& counts : matrices_) show_table(out, "matrix", counts, 0);
    if (codes_.of.empty()) return;
    show_columns(out);
    show_identities(out);
}

int make_template(const Options& options) {
    const Recipe recipe = recipe_of_options(options);
    const std::string folder =
        options.output.empty() ? ""
                               : std::filesystem::absolute(options.output).parent_path().string();
    const std::string text = write_template(recipe, folder);
    Output out(options.output);
    out.put(std::string_view(text));
    out.finish();
    return kGood;
}

std::vector<std::string> inputs_of(const Recipe& recipe, const Options& options) {
    std::vector<std::string> inputs = {options.table, recipe.data.file};
    if (recipe.pedigree) inputs.push_back(recipe.pedigree->file);
    if (recipe.typed) inputs.push_back(recipe.typed->file);
    for (const MatrixUse& use : recipe.matrices) inputs.push_back(use.file);
    return inputs;
}

// The guesses are used at once, and left as a recipe. One that is newer than the run that it would
// be of has been made or changed by the user.
Recipe use_guesses(const Recipe& recipe, const Options& options, const PartFolder& part) {
    const std::string text = write_template(recipe, options.output);
    const std::string file = (std::filesystem::path(options.output) / kRecipe).string();
    std::error_code none;
    const auto made = std::filesystem::last_write_time(file, none);
    if (!none && made > std::filesystem::last_write_time(part.place(kRejected), none))
        throw Failure(kUsage, fmt::format("{}: has been changed: use it as the recipe, or remove "
                                          "it",
                                          file));
    Output used(part.file(kRecipe));
    used.put(std::string_view(text));
    used.finish();
    return parse_recipe(text, file);
}

// Why there are no files but the list of what was rejected.
std::string fault_of(const Preparation& preparation, const Options& options) {
    if (!preparation.has_records())
        return fmt::format("no record of {} is kept; no file has been made", options.table);
    if (options.is_strict && preparation.findings().n_all() > 0)
        return fmt::format(
            "--strict: {} findings, which {}/rejected.tsv lists; no other file has been made",
            preparation.findings().n_all(), options.output);
    return {};
}

void tell_what_is_next(const Recipe& recipe, const std::string& folder) {
    Output out("");
    out.put(fmt::format("left in {}: {} and the files that it names{}\n", folder, kDirectives,
                        recipe.model.empty() ? "; its model is to be filled in" : ""));
    out.finish();
}

int run_prep(const Options& options) {
    if (options.makes_template) return make_template(options);
    if (options.output.empty()) throw Failure(kUsage, "-o DIR is needed: where the files go");
    Recipe recipe = recipe_of_options(options);
    check(recipe);
    PartFolder part(options.output);
    part.claim(recipe.matrices.size(), inputs_of(recipe, options));
    if (!is_recipe(options.table)) recipe = use_guesses(recipe, options, part);
    Preparation preparation(recipe, part);
    preparation.read();
    const std::string fault = fault_of(preparation, options);
    if (fault.empty()) preparation.write();
    Output out("");
    preparation.show(out);
    out.finish();
    if (fault.empty()) {
        part.move_to_places(kDirectives);
        tell_what_is_next(recipe, options.output);
        return kGood;
    }
    part.move_only(kRejected, kDirectives);
    fmt::print(stderr, "kve: {}\n", fault);
    return kFindings;
}

}  // namespace

}  // namespace prep

Command add_prep(CLI::App& app) {
    auto options = std::make_shared<prep::Options>();
    CLI::App* command =
        app.add_subcommand("prep", "the files that KVE1 reads, of the tables of users");
    command->add_option("TABLE", options->table, "a recipe, NAME.toml, or the table of the data")
        ->required();
    command
        ->add_option("-o,--output", options->output,
                     "the folder for the files; with --template the recipe")
        ->type_name("DIR");
    command->add_flag("--template", options->makes_template,
                      "writes a recipe for these tables, with the reason for each guess");
    command->add_option("--pedigree", options->pedigree, "the table of the pedigree")
        ->type_name("FILE");
    command->add_option("--typed", options->typed, "the table of the typed animals")
        ->type_name("FILE");
    command
        ->add_option("--matrix", options->matrices,
                     "a table of the elements of a matrix; may be repeated")
        ->type_name("FILE");
    command->add_option("--delimiter", options->delimiter, "a sign, tab or blanks");
    options->quote = "\"";
    command->add_option("--quote", options->quote, "a sign, or \"\" for none");
    command->add_option("--decimal", options->decimal, "the decimal sign");
    command->add_option("--header", options->has_header, "whether the first line has names")
        ->type_name("yes|no")
        ->transform(CLI::CheckedTransformer(
            std::map<std::string, std::string>{{"yes", "true"}, {"no", "false"}}));
    command->add_option("--missing", options->missing, "the signs of missing values")
        ->delimiter(',')
        ->type_name("SIGN,...");
    command->add_flag("--binary", options->is_binary, "binary files, which KVE1 reads faster");
    command->add_flag("--renumber", options->renumbers,
                      "all identities get new integers, those that fit too");
    command->add_flag("--strict", options->is_strict,
                      "makes no files, and ends with status 1, when anything is wrong");
    command->footer(
        "Leaves data, pedigree, typed animals and matrices in KVE1's forms, the codes of "
        "identities (ids.tsv) and of classes (classes.tsv), what was rejected (rejected.tsv) and a "
        "directive file (run.kve).\n\nExample: a recipe to be looked at, and then used\n"
        "  kve prep --template records.csv --pedigree pedigree.csv -o recipe.toml\n"
        "  kve prep recipe.toml -o analysis");
    return [options] { return prep::run_prep(*options); };
}

}  // namespace kve::companion
