// kve levels: CODE_TABLE as a table.
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <memory>
#include <optional>
#include <utility>

#include "kve/files/code_lists.h"
#include "kve/files/run_folder.h"
#include "kve/results/block_text.h"
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

// The inbreeding coefficients of a pedigree factor, in the order of its list. The file is one of
// lines that are as long as the first.
class Inbreeding {
 public:
    Inbreeding(const RunFolder& run, int32_t owner) : path_((run.path() / "INBREED").string()) {
        file_.reset(std::fopen(path_.c_str(), "re"));
        if (!file_) throw Failure(kUnreadable, path_ + ": cannot be opened");
        for (int32_t k = 1; k < owner; ++k)
            if (has_file(run.factor(k))) n_before_ += run.run().NRALEV(k);
        for (int c = 0; c != EOF && c != '\n'; ++line_bytes_) c = std::fgetc(file_.get());
        file_bytes_ = bytes_of_file(path_);
    }

    static bool has_file(const RMatrix& r) { return has_pedigree(r.structure) && r.method == 1; }

    // Lines of a block of the list.
    void read(int64_t first, int64_t n) {
        first_ = n_before_ + first;
        const auto begin = static_cast<uintmax_t>(first_) * line_bytes_;
        lines_.resize(std::min(static_cast<uintmax_t>(n) * line_bytes_,
                               file_bytes_ - std::min(file_bytes_, begin)));
        const int error = std::fseek(file_.get(), static_cast<long>(begin), SEEK_SET);
        lines_.resize(error != 0 ? 0 : std::fread(lines_.data(), 1, lines_.size(), file_.get()));
    }

    // Puts the coefficient of a line, which must be that of this level, and tells where it ends.
    char* put(char* at, int64_t k, std::string_view level) {
        constexpr std::size_t kLevel = 18, kLevelWidth = 10, kDiagonal = 64, kDiagonalWidth = 14;
        const std::string_view line = line_of(k);
        if (line.size() < kDiagonal + kDiagonalWidth) refuse(k, "not a line of an animal");
        const std::string_view diagonal = line.substr(kDiagonal, kDiagonalWidth);
        if (!is_field_of(line.substr(kLevel, kLevelWidth), level))
            refuse_level(k, line.substr(kLevel, kLevelWidth), level);
        constexpr std::string_view kOne = "        1.";
        const std::string_view decimals = diagonal.substr(kOne.size());
        if (diagonal.starts_with(kOne) && std::ranges::all_of(decimals, is_digit)) {
            *at++ = '0';
            *at++ = '.';
            return at + decimals.copy(at, decimals.size());
        }
        double value = 0.0;
        if (!read_field(diagonal, value)) refuse(k, "not a line of an animal");
        return fmt::format_to_n(at, kNumberBytes, "{:.4f}", value - 1.0).out;
    }

 private:
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    static bool is_digit(char c) { return c >= '0' && c <= '9'; }
    static bool is_field_of(std::string_view field, std::string_view text) {
        constexpr std::string_view kBlanks = "          ";
        return field.ends_with(text) &&
               kBlanks.starts_with(field.substr(0, field.size() - text.size()));
    }
    std::string_view line_of(int64_t k) const {
        const std::size_t begin = static_cast<std::size_t>(k) * line_bytes_;
        if (begin >= lines_.size()) return {};
        const std::string_view rest = std::string_view(lines_).substr(begin, line_bytes_);
        const std::size_t end = rest.find('\n');
        return end + 1 == line_bytes_ || rest.size() + 1 == line_bytes_ ? rest.substr(0, end)
                                                                        : std::string_view();
    }
    [[noreturn]] void refuse(int64_t k, const std::string& words) const {
        throw Failure(kUnreadable, fmt::format("{}: line {}: {}", path_, first_ + k + 1, words));
    }
    [[noreturn]] void refuse_level(int64_t k, std::string_view field,
                                   std::string_view level) const {
        int64_t number = 0;
        if (!read_field(field, number)) refuse(k, "not a line of an animal");
        refuse(k, fmt::format("level {}, and CODE_TABLE has {}", number, level));
    }

    template <class Number>
    static bool read_field(std::string_view field, Number& value) {
        field.remove_prefix(std::min(field.find_first_not_of(' '), field.size()));
        const char* end = field.data() + field.size();
        const auto [last, error] = std::from_chars(field.data(), end, value);
        return error == std::errc() && last == end;
    }

    std::string path_;
    std::unique_ptr<std::FILE, Close> file_;
    uintmax_t file_bytes_ = 0;
    std::size_t line_bytes_ = 0;
    int64_t n_before_ = 0;  // lines of other pedigrees
    int64_t first_ = 0;     // line of the block, from 0 on
    std::string lines_;
};

constexpr int64_t kLevelsAtOnce = 4096;

int64_t count_blocks(const CodeList& list) {
    return (list.n_levels + kLevelsAtOnce - 1) / kLevelsAtOnce;
}

// What is shown, and where it stands.
struct ShownLists {
    const RunFolder& run;
    std::vector<CodeList> lists;
    std::vector<bool> is_wanted{};  // by list
    bool has_animals = false;
    std::optional<UserNames> names{};
    std::vector<RecordBlock::Part> places = places_of(lists);  // and that of the end
    int64_t n_blocks = 0;
};

// Blocks of lines. Lists that are not wanted are read too, so that a fault is found.
class LevelBlocks {
 public:
    explicit LevelBlocks(const ShownLists& shown) : shown_(shown), block_(shown.run) {}

    bool put(int64_t block, BlockText& text) {
        std::size_t l = 0;
        int64_t of_list = block;
        while (of_list >= count_blocks(shown_.lists[l])) of_list -= count_blocks(shown_.lists[l++]);
        if (l != list_) open_list(l);
        const CodeList& list = shown_.lists[l];
        const int64_t first = of_list * kLevelsAtOnce;
        const int64_t wanted = std::min(kLevelsAtOnce, list.n_levels - first);
        const int64_t n = block_.read(list, shown_.places[l], first, wanted);
        if (shown_.is_wanted[l]) {
            if (inbreeding_) inbreeding_->read(first, n);
            for (int64_t k = 0; k < n; ++k) put_level(list, k, text);
        }
        if (n < wanted) block_.refuse_unread(n);
        if (block + 1 == shown_.n_blocks) block_.expect_end(shown_.places.back());
        return true;
    }

 private:
    void open_list(std::size_t l) {
        const CodeList& list = shown_.lists[l];
        list_ = l;
        inbreeding_.reset();
        if (shown_.is_wanted[l] && list.kind == CodeList::animals &&
            Inbreeding::has_file(shown_.run.factor(list.owner)))
            inbreeding_.emplace(shown_.run, list.owner);
        front_ = table_field(list.label, ',') + "," + table_field(list.name, ',') + ",";
        column_ = list.name.substr(0, list.name.find('+'));
    }

    void put_level(const CodeList& list, int64_t k, BlockText& text) {
        const Code code = block_.code(list, k);
        text.put(std::string_view(front_));
        char* at = put_identity(text.room(kRoom), code.identity, text);
        *at++ = ',';
        char* const level = at;
        at = put_number(at, code.level);
        level_.assign(level, at);
        *at++ = ',';
        at = put_number(at, code.n_obs);
        if (list.kind == CodeList::animals) {
            at = put_animal(at, code, text);
            if (inbreeding_) at = inbreeding_->put(at, k, level_);
        } else if (shown_.has_animals) {
            at = std::fill_n(at, kColumnsOfAnimals, ',');
        }
        *at++ = '\n';
        text.take(at);
    }

    char* put_animal(char* at, const Code& code, BlockText& text) const {
        for (const int32_t parent : {code.sire, code.dam}) {
            *at++ = ',';
            if (parent != 0) at = put_identity(at, parent, text);
        }
        *at++ = ',';
        if (code.sort > kNoSort) at = put_number(at, code.sort);
        *at++ = ',';
        at = put_number(at, code.progeny);
        *at++ = ',';
        return at;
    }

    // As the user knows it. There is room behind it again.
    char* put_identity(char* at, int32_t identity, BlockText& text) const {
        if (!shown_.names) return put_number(at, identity);
        text.take(at);
        text.put(std::string_view(table_field(shown_.names->name_of(column_, identity), ',')));
        return text.room(kRoom);
    }

    static constexpr int kColumnsOfAnimals = 5;
    static constexpr std::size_t kRoom = 10 * kNumberBytes;  // for what follows an identity

    const ShownLists& shown_;
    CodeBlock block_;
    std::size_t list_ = SIZE_MAX;
    std::optional<Inbreeding> inbreeding_;
    std::string front_, column_;
    std::string level_;  // as it was put last
};

void put_levels(const ShownLists& shown, const std::string& output) {
    CodeBlock codes(shown.run);
    Output out(output);
    out.put("factor,name,identity,level,observations");
    if (shown.has_animals) out.put(",sire,dam,sort,progeny,inbreeding");
    out.put('\n');
    if (shown.n_blocks == 0) codes.expect_end(shown.places.back());
    put_blocks(out,
               {.n_blocks = shown.n_blocks,
                .source = "CODE_TABLE",
                .source_bytes = bytes_of_file(shown.run.path() / "CODE_TABLE")},
               [&] {
                   return [made = std::make_shared<LevelBlocks>(shown)](
                              int64_t block, BlockText& text) { return made->put(block, text); };
               });
    out.finish();
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
    ShownLists shown{run, lists};
    for (const CodeList& list : lists) {
        shown.is_wanted.push_back(is_wanted(list));
        shown.has_animals |= is_wanted(list) && list.kind == CodeList::animals;
        shown.n_blocks += count_blocks(list);
    }
    if (!options.ids.empty()) shown.names.emplace(ids_file(options.ids, options.folder));
    put_levels(shown, options.output);
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
