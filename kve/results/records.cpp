// kve records: the recoded data as a table.
#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <optional>
#include <span>

#include "kve/files/code_lists.h"
#include "kve/files/data_columns.h"
#include "kve/files/data_file.h"
#include "kve/files/run_folder.h"
#include "kve/results/block_text.h"
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
    const TraitLevels* levels;               // of a trait
};

constexpr std::size_t kFieldsAtOnce = 1000;  // for which room is asked

class Table {
 public:
    Table(const Options& options, const RunFolder& run)
        : options_(options),
          run_(run),
          lists_(lists_of(run)),
          trait_(options.trait.empty() ? 0 : find_trait(run, options.trait)),
          columns_(choose_columns(options, data_columns(run, lists_, trait_))) {
        if (!options.ids.empty()) names_.emplace(ids_file(options.ids, options.folder));
        if (options.shows_identities()) find_identities();
    }

    void put_all(Output& out);

    const Options& options() const { return options_; }
    const RunFolder& run() const { return run_; }
    int32_t trait() const { return trait_; }
    std::vector<Field> fields(const DataFile& data) const {
        std::vector<Field> fields;
        for (const DataColumn& column : columns_)
            fields.push_back(
                {kind_of(column), column.position, &column,
                 identities_.empty() ? nullptr : &identities_[column.list],
                 column.kind == DataColumn::dependent ? &data.levels_of(column.trait) : nullptr});
        return fields;
    }
    std::string name_of(const Field& field, int32_t identity) const {
        const std::string& column = field.column->name;
        return table_field(names_->name_of(column.substr(column.find(':') + 1), identity),
                           options_.separator());
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

    void put_header(Output& out) const {
        for (std::size_t c = 0; c < columns_.size(); ++c) {
            if (c > 0) out.put(options_.separator());
            out.put(std::string_view(table_field(columns_[c].name, options_.separator())));
        }
        out.put('\n');
    }

    const Options& options_;
    const RunFolder& run_;
    std::vector<CodeList> lists_;
    int32_t trait_;
    std::vector<DataColumn> columns_;
    std::vector<std::vector<int32_t>> identities_;  // by list and level
    std::optional<UserNames> names_;
};

// Blocks of lines.
class TableBlocks {
 public:
    TableBlocks(const Table& table, const DataFile& data)
        : table_(table),
          fields_(table.fields(data)),
          levels_of_trait_(table.trait() == 0 ? nullptr : &data.levels_of(table.trait())),
          separator_(table.options().separator()),
          missing_(table.options().missing.value_or(std::numeric_limits<float>::quiet_NaN())),
          n_left_(table.options().first.value_or(INT64_MAX)),
          data_(table.run()) {}

    int64_t n_blocks() const { return data_.n_blocks(); }

    bool put(int64_t block, BlockText& text) {
        const int64_t n = data_.read(block);
        for (int64_t k = 0; k < n && n_left_ > 0; ++k) put_record(k, text);
        if (n_left_ == 0) return false;
        if (n < data_.n_wanted()) data_.refuse_unread(n);
        if (block + 1 == data_.n_blocks()) data_.expect_end();
        return true;
    }

 private:
    void put_record(int64_t k, BlockText& text) {
        const DataRecord record = data_.record(k);
        if (levels_of_trait_ != nullptr && !is_used(record)) return;
        --n_left_;
        const std::span<const Field> all = fields_;
        for (std::size_t first = 0; first < all.size(); first += kFieldsAtOnce)
            put_fields(k, record, all.subspan(first, std::min(kFieldsAtOnce, all.size() - first)),
                       text);
        if (all.empty()) text.put(separator_);
        text.replace_last('\n');
    }

    bool is_used(const DataRecord& record) const {
        const Usable told = levels_of_trait_->usable(record);
        const int32_t position = table_.run().trait(table_.trait()).trait_rci;
        return told == Usable::yes ||
               (told == Usable::not_told && !(record.real(position) <= missing_));
    }

    // With a separator after each. What bytes that are put might change is held in registers.
    void put_fields(int64_t k, const DataRecord record, std::span<const Field> fields,
                    BlockText& text) {
        constexpr std::size_t kRoom = kFieldsAtOnce * (kNumberBytes + 1);
        const char separator = separator_;
        const float missing = missing_;
        char* at = text.room(kRoom);
        for (const Field& field : fields) {
            if (field.kind >= Field::real) {
                at = put_real(at, record, field, missing);
            } else if (const int32_t value = record.integer(field.position);
                       field.kind == Field::integer) {
                at = put_number(at, value);
            } else if (value != 0) {
                at = put_level(at, k, field, value, text);
            }
            *at++ = separator;
        }
        text.take(at);
    }

    char* put_real(char* at, const DataRecord record, const Field& field, float missing) {
        const float value = record.real(field.position);
        if (value <= missing) return at;
        if (field.levels != nullptr && field.levels->usable(record) == Usable::no) return at;
        return texts_.put(at, value);
    }

    char* put_level(char* at, int64_t k, const Field& field, int32_t level, BlockText& text) const {
        if (field.kind == Field::level) return put_number(at, level);
        const std::vector<int32_t>& identities = *field.identities;
        if (level < 1 || static_cast<std::size_t>(level) >= identities.size())
            data_.refuse(
                k, fmt::format("{}: level {} is not in CODE_TABLE", field.column->name, level));
        const int32_t identity = identities[static_cast<std::size_t>(level)];
        if (field.kind == Field::identity) return put_number(at, identity);
        text.take(at);
        text.put(std::string_view(table_.name_of(field, identity)));
        return text.room(kFieldsAtOnce * (kNumberBytes + 1));
    }

    const Table& table_;
    std::vector<Field> fields_;
    const TraitLevels* levels_of_trait_;  // of --trait
    char separator_;
    float missing_;   // not a number: none
    int64_t n_left_;  // records to be shown
    DataBlock data_;
    RealTexts<float> texts_;
};

// The first records are counted one after the other.
void Table::put_all(Output& out) {
    put_header(out);
    const DataFile data(run_);
    if (options_.first == 0) return out.finish();
    DataBlock blocks(run_);
    if (blocks.n_blocks() == 0) blocks.expect_end();
    put_blocks(out,
               {.n_blocks = blocks.n_blocks(),
                .source = "RCDATA_I",
                .source_bytes = bytes_of_file(run_.path() / "RCDATA_I"),
                .is_in_order = options_.first.has_value()},
               [&] {
                   return [made = std::make_shared<TableBlocks>(*this, data)](
                              int64_t block, BlockText& text) { return made->put(block, text); };
               });
    out.finish();
}

std::string refuse_count(const std::string& text) {
    return parse_integer(text).value_or(-1) >= 0 ? "" : text + " is no number of records";
}

int show_records(const Options& options) {
    const RunFolder run(options.folder);
    Table table(options, run);
    Output out(options.output);
    table.put_all(out);
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
