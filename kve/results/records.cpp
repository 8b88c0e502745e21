// kve records: the recoded data as a table.
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <memory>
#include <optional>
#include <utility>

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
        if (!options.shows_identities()) return;
        std::vector<bool> is_wanted(lists_.size());
        for (const DataColumn& column : columns_)
            if (has_list(column)) is_wanted[column.list] = true;
        if (std::ranges::count(is_wanted, true) > 0)
            identities_ = read_identities(run, lists_, is_wanted);
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
    static bool has_list(const DataColumn& column) {
        return column.kind == DataColumn::level || column.kind == DataColumn::group;
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
        bool is_first = true;
        for (const DataColumn& column : columns_) {
            char* at = out_.room(kNumberBytes + 1);
            if (!std::exchange(is_first, false)) *at++ = options_.separator();
            if (names_ && has_list(column)) {
                out_.take(at);
                put_name(data, column);
            } else {
                out_.take(column.is_real() ? put_real(at, data, column)
                                           : put_integer(at, data, column));
            }
        }
        out_.put('\n');
    }

    // Both put a number at `at`, or nothing, and tell where it ends.
    char* put_real(char* at, const DataFile& data, const DataColumn& column) {
        const float value = data.real(column.position);
        if (options_.is_missing(value)) return at;
        if (column.kind == DataColumn::dependent && !is_used(data, column.trait)) return at;
        return texts_.put(at, value);
    }

    char* put_integer(char* at, const DataFile& data, const DataColumn& column) const {
        int32_t value = data.integer(column.position);
        if (has_list(column)) {
            if (value == 0) return at;
            if (options_.shows_identities()) value = identity_of(data, column, value);
        }
        return std::to_chars(at, at + kNumberBytes, value).ptr;
    }

    void put_name(const DataFile& data, const DataColumn& column) {
        const int32_t level = data.integer(column.position);
        if (level == 0) return;
        const std::string name = names_->name_of(column.name.substr(column.name.find(':') + 1),
                                                 identity_of(data, column, level));
        out_.put(std::string_view(table_field(name, options_.separator())));
    }

    int32_t identity_of(const DataFile& data, const DataColumn& column, int32_t level) const {
        const std::vector<int32_t>& identities = identities_[column.list];
        if (level < 1 || static_cast<std::size_t>(level) >= identities.size())
            data.refuse(fmt::format("{}: level {} is not in CODE_TABLE", column.name, level));
        return identities[static_cast<std::size_t>(level)];
    }

    const Options& options_;
    const RunFolder& run_;
    std::vector<CodeList> lists_;
    int32_t trait_;
    std::vector<DataColumn> columns_;
    std::vector<std::vector<int32_t>> identities_;  // by list and level
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
    command->add_option("--trait", options->trait,
                        "the columns of one trait, and the records in which it is used");
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
