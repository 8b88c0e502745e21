// kve records: the recoded data as a table.
#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <span>

#include "kve/files/code_lists.h"
#include "kve/files/data_columns.h"
#include "kve/files/data_file.h"
#include "kve/files/run_folder.h"
#include "kve/shared/commands.h"
#include "kve/shared/failure.h"
#include "kve/shared/output.h"
#include "kve/shared/table_text.h"
#include "kve/tables/identities.h"
#include "kve/tables/values.h"

namespace kve::companion {

namespace {

struct Options : CommonOptions {
    bool original = false, tsv = false;
    std::vector<std::string> columns;
    std::string trait, ids;
    std::optional<int64_t> first;
    std::optional<float> missing;

    char separator() const { return tsv ? '\t' : ','; }
    bool shows_identities() const { return original || !ids.empty(); }
    bool is_missing(float value) const { return missing && value <= *missing; }
};

std::vector<DataColumn> choose_columns(const Options& options, std::vector<DataColumn> all) {
    if (options.columns.empty()) return all;
    std::vector<DataColumn> chosen;
    for (const std::string& name : options.columns) {
        const auto found = std::ranges::find(all, name, &DataColumn::name);
        if (found == all.end()) {
            std::string known;
            for (const DataColumn& column : all) known += " " + column.name;
            throw Failure(
                kUsage, fmt::format("{}: no column {}; there are:{}", options.folder, name, known));
        }
        chosen.push_back(*found);
    }
    return chosen;
}

bool has_list(const DataColumn& column) {
    return column.kind == DataColumn::level || column.kind == DataColumn::group;
}

// A column as it is shown.
struct Field {
    enum Kind { integer, level, identity, name, real, dependent };
    Kind kind;
    int32_t position;
    const DataColumn* column;
    const std::vector<int32_t>* identities;  // by level
};

constexpr std::size_t kFieldsAtOnce = 1000;  // for which room is asked

class Table {
 public:
    Table(const Options& options, const RunFolder& run)
        : options_(options),
          run_(run),
          lists_(lists_of(run)),
          trait_(options.trait.empty() ? 0 : find_trait(run, options.trait)),
          columns_(choose_columns(options, data_columns(run, lists_, trait_))),
          out_(options.output) {
        if (!options.ids.empty()) names_.emplace(ids_file(options.ids, options.folder));
        if (options.shows_identities()) find_identities();
        for (const DataColumn& column : columns_)
            fields_.push_back({kind_of(column), column.position, &column,
                               identities_.empty() ? nullptr : &identities_[column.list]});
    }

    void put_all() {
        put_header();
        DataFile data(run_);
        for (int64_t n = 0; (!options_.first || n < *options_.first) && data.next();)
            if (trait_ == 0 || is_used(data, trait_)) {
                put_record(data);
                ++n;
            }
        out_.finish();
    }

 private:
    void find_identities() {
        std::vector<bool> is_wanted(lists_.size());
        for (const DataColumn& column : columns_)
            if (has_list(column)) is_wanted[column.list] = true;
        if (std::ranges::count(is_wanted, true) > 0)
            identities_ = read_identities(run_, lists_, is_wanted);
    }

    Field::Kind kind_of(const DataColumn& column) const {
        if (column.kind == DataColumn::dependent) return Field::dependent;
        if (column.is_real()) return Field::real;
        if (!has_list(column)) return Field::integer;
        return names_ ? Field::name : options_.original ? Field::identity : Field::level;
    }

    bool is_used(const DataFile& data, int32_t trait) const {
        const Usable told = data.usable(trait);
        return told == Usable::yes ||
               (told == Usable::not_told &&
                !options_.is_missing(data.real(run_.trait(trait).trait_rci)));
    }

    void put_header() {
        for (std::size_t c = 0; c < columns_.size(); ++c) {
            if (c > 0) out_.put(options_.separator());
            out_.put(std::string_view(table_field(columns_[c].name, options_.separator())));
        }
        out_.put('\n');
    }

    void put_record(const DataFile& data) {
        const std::span<const Field> all = fields_;
        for (std::size_t first = 0; first < all.size(); first += kFieldsAtOnce)
            put_fields(data, all.subspan(first, std::min(kFieldsAtOnce, all.size() - first)));
        out_.put('\n');
    }

    void put_fields(const DataFile& data, std::span<const Field> fields) {
        constexpr std::size_t kRoom = kFieldsAtOnce * (kNumberBytes + 1);
        const char separator = options_.separator();
        char* at = out_.room(kRoom);
        for (const Field& field : fields) {
            if (&field != fields_.data()) *at++ = separator;
            if (field.kind != Field::name) {
                at = put_field(at, data, field);
                continue;
            }
            out_.take(at);
            put_name(data, field);
            at = out_.room(kRoom);
        }
        out_.take(at);
    }

    // Puts a number at `at`, or nothing, and tells where it ends.
    char* put_field(char* at, const DataFile& data, const Field& field) {
        if (field.kind >= Field::real) {
            const float value = data.real(field.position);
            const bool is_empty =
                options_.is_missing(value) ||
                (field.kind == Field::dependent && !is_used(data, field.column->trait));
            return is_empty ? at : texts_.put(at, value);
        }
        const int32_t value = data.integer(field.position);
        if (field.kind == Field::integer) return put_number(at, value);
        if (value == 0) return at;
        return put_number(at, field.kind == Field::level ? value : identity_of(data, field, value));
    }

    void put_name(const DataFile& data, const Field& field) {
        const int32_t level = data.integer(field.position);
        if (level == 0) return;
        const std::string& column = field.column->name;
        const std::string name =
            names_->name_of(column.substr(column.find(':') + 1), identity_of(data, field, level));
        out_.put(std::string_view(table_field(name, options_.separator())));
    }

    static int32_t identity_of(const DataFile& data, const Field& field, int32_t level) {
        const std::vector<int32_t>& identities = *field.identities;
        if (level < 1 || static_cast<std::size_t>(level) >= identities.size())
            data.refuse(
                fmt::format("{}: level {} is not in CODE_TABLE", field.column->name, level));
        return identities[static_cast<std::size_t>(level)];
    }

    const Options& options_;
    const RunFolder& run_;
    std::vector<CodeList> lists_;
    int32_t trait_;
    std::vector<DataColumn> columns_;
    std::vector<std::vector<int32_t>> identities_;  // by list and level
    std::vector<Field> fields_;
    std::optional<UserNames> names_;
    Output out_;
    RealTexts<float> texts_;
};

std::string refuse_count(const std::string& text) {
    return parse_integer(text).value_or(-1) >= 0 ? "" : text + " is no number of records";
}

int show_records(const Options& options) {
    const RunFolder run(options.folder);
    Table(options, run).put_all();
    return kGood;
}

}  // namespace

Command add_records(CLI::App& app) {
    auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("records", "the recoded data, CSV");
    add_common(*command, *options);
    command->add_flag("--original", options->original,
                      "identities of the data in place of level numbers");
    add_ids(*command, options->ids);
    command->add_option("--columns", options->columns, "these columns in this order")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->option_text("NAME,...");
    command
        ->add_option("--trait", options->trait,
                     "the columns of one trait, and the records in which it is used")
        ->type_name("TRAIT");
    command->add_option("--first", options->first, "so many records")
        ->check(refuse_count)
        ->option_text("N");
    command
        ->add_option("--missing", options->missing,
                     "the missing value code of $DATA: reals at or below it are empty")
        ->type_name("CODE");
    command->add_flag("--tsv", options->tsv, "tabs in place of commas");
    command->footer(
        "The header has the names of the directive file. Effects of the same name are told apart "
        "by "
        "trait (MILK:HERD) or random factor (2:COW). A level that the record does not have is "
        "empty, and so is a trait that the analysis cannot use in the record, as far as its fixed "
        "effects tell: give --missing for traits without them, and for covariables. Scaled traits "
        "are shown scaled.\n\nExample: the first records as the user knows them\n"
        "  kve records out/dairy --original --first 10");
    return [options] { return show_records(*options); };
}

}  // namespace kve::companion
