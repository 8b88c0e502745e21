// kve levels: CODE_TABLE as a table.
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <memory>
#include <optional>
#include <utility>

#include "kve/files/code_lists.h"
#include "kve/files/run_folder.h"
#include "kve/shared/commands.h"
#include "kve/shared/failure.h"
#include "kve/shared/number_text.h"
#include "kve/shared/output.h"
#include "kve/shared/table_text.h"
#include "kve/tables/identities.h"

namespace kve::companion {

namespace {

struct Options : CommonOptions {
    std::string factor, ids;
};

// A missing sort variable is a number too: that of an animal without a record, of a group.
constexpr int32_t kNoSort = -999999998;

// The inbreeding coefficients of a pedigree factor, in the order of its list.
class Inbreeding {
 public:
    Inbreeding(const RunFolder& run, int32_t owner) : path_(run.path() / "INBREED"), file_(path_) {
        if (!file_) throw Failure(kUnreadable, path_.string() + ": cannot be opened");
        for (int32_t k = 1; k < owner; ++k)
            if (has_file(run.factor(k)))
                for (int32_t n = run.run().NRALEV(k); n > 0 && std::getline(file_, line_); --n)
                    ++n_lines_;
    }

    static bool has_file(const RMatrix& r) { return has_pedigree(r.structure) && r.method == 1; }

    // Puts the next coefficient, which must be that of this level, and tells where it ends.
    char* put_next(char* at, int32_t level) {
        constexpr std::size_t kLevel = 18, kLevelWidth = 10, kDiagonal = 64, kDiagonalWidth = 14;
        std::getline(file_, line_);
        ++n_lines_;
        double diagonal = 0.0;
        int64_t number = 0;
        if (!read_field(kLevel, kLevelWidth, number) ||
            !read_field(kDiagonal, kDiagonalWidth, diagonal))
            refuse("not a line of an animal");
        if (number != level) refuse(fmt::format("level {}, and CODE_TABLE has {}", number, level));
        return texts_.put(at, diagonal - 1.0);
    }

 private:
    [[noreturn]] void refuse(const std::string& words) const {
        throw Failure(kUnreadable, fmt::format("{}: line {}: {}", path_.string(), n_lines_, words));
    }

    template <class Number>
    bool read_field(std::size_t from, std::size_t width, Number& value) const {
        if (line_.size() < from + width) return false;
        const char *at = line_.data() + from, *end = at + width;
        at = std::find_if(at, end, [](char c) { return c != ' '; });
        const auto [last, error] = std::from_chars(at, end, value);
        return error == std::errc() && last == end;
    }

    std::filesystem::path path_;
    std::ifstream file_;
    std::string line_;
    int64_t n_lines_ = 0;
    KeptTexts<double> texts_{[](char* at, double coefficient) {
        return fmt::format_to_n(at, kNumberBytes, "{:.4f}", coefficient).out;
    }};
};

// An identity as the user knows it.
class Shown {
 public:
    Shown(Output& out, const std::optional<UserNames>& names, std::string column)
        : out_(out), names_(names), column_(std::move(column)) {}
    void put(int32_t identity) {
        if (!names_) return out_.put(identity);
        out_.put(std::string_view(table_field(names_->name_of(column_, identity), ',')));
    }

 private:
    Output& out_;
    const std::optional<UserNames>& names_;
    std::string column_;
};

void put_animal(Output& out, Shown& shown, const Code& code, Inbreeding* inbreeding) {
    out.put(',');
    if (code.sire != 0) shown.put(code.sire);
    out.put(',');
    if (code.dam != 0) shown.put(code.dam);
    out.put(',');
    if (code.sort > kNoSort) out.put(code.sort);
    out.put(',');
    out.put(code.progeny);
    out.put(',');
    if (inbreeding != nullptr) out.take(inbreeding->put_next(out.room(kNumberBytes), code.level));
}

void put_list(Output& out, const RunFolder& run, CodeFile& file, const CodeList& list,
              bool has_animals, const std::optional<UserNames>& names) {
    std::optional<Inbreeding> inbreeding;
    if (list.kind == CodeList::animals && Inbreeding::has_file(run.factor(list.owner)))
        inbreeding.emplace(run, list.owner);
    const std::string front =
        table_field(list.label, ',') + "," + table_field(list.name, ',') + ",";
    Shown shown(out, names, list.name.substr(0, list.name.find('+')));
    for (int64_t n = 0; n < list.n_levels; ++n) {
        const Code code = file.read(list);
        out.put(front);
        shown.put(code.identity);
        out.put(',');
        out.put(code.level);
        out.put(',');
        out.put(code.n_obs);
        if (list.kind == CodeList::animals)
            put_animal(out, shown, code, inbreeding ? &*inbreeding : nullptr);
        else if (has_animals)
            out.put(",,,,,");
        out.put('\n');
    }
}

int show_levels(const Options& options) {
    const RunFolder run(options.folder);
    const std::vector<CodeList> lists = lists_of(run);
    const auto is_wanted = [&](const CodeList& list) {
        return options.factor.empty() || options.factor == list.label ||
               options.factor == list.name;
    };
    if (!options.factor.empty() && std::ranges::none_of(lists, is_wanted)) {
        std::string known;
        for (const CodeList& list : lists) known += fmt::format(" {} ({})", list.label, list.name);
        throw Failure(kUsage, fmt::format("{}: no factor {}; there are:{}", options.folder,
                                          options.factor, known));
    }
    const bool has_animals = std::ranges::any_of(lists, [&](const CodeList& list) {
        return is_wanted(list) && list.kind == CodeList::animals;
    });
    std::optional<UserNames> names;
    if (!options.ids.empty()) names.emplace(ids_file(options.ids, options.folder));
    CodeFile file(run);
    Output out(options.output);
    out.put("factor,name,identity,level,observations");
    if (has_animals) out.put(",sire,dam,sort,progeny,inbreeding");
    out.put('\n');
    for (const CodeList& list : lists)
        if (is_wanted(list))
            put_list(out, run, file, list, has_animals, names);
        else
            file.skip(list);
    file.expect_end();
    out.finish();
    return kGood;
}

}  // namespace

Command add_levels(CLI::App& app) {
    auto options = std::make_shared<Options>();
    CLI::App* command =
        app.add_subcommand("levels", "identities of the data and their levels, CSV");
    add_common(*command, *options);
    command
        ->add_option("--factor", options->factor,
                     "one factor: the number of a random one, TRAIT:EFFECT of a fixed one, "
                     "\"residual\" for its groups, or a name, for all of that name")
        ->type_name("FACTOR");
    add_ids(*command, options->ids);
    command->footer(
        "Columns: factor (as for --factor), name, identity in the data, level, observations; of "
        "animals also sire and dam, empty where unknown, sort variable, progeny, and inbreeding "
        "where the run has found it.\n\nExample: the animals of the first random factor\n"
        "  kve levels out/dairy --factor 1 >animals.csv");
    return [options] { return show_levels(*options); };
}

}  // namespace kve::companion
