#include "kve/tables/table_reader.h"

#include <csv.h>
#include <fmt/format.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <new>
#include <set>

#include "kve/files/record_file.h"
#include "kve/shared/failure.h"
#include "kve/tables/values.h"

namespace kve::companion {

namespace {

constexpr std::size_t kBlock = std::size_t{1} << 18;
constexpr std::size_t kLongestRecord = std::size_t{1} << 24;

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
    while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
    return text;
}

}  // namespace

std::string list_of(const std::vector<std::string>& names) {
    constexpr std::size_t kMost = 100;
    const std::size_t n = std::min(names.size(), kMost);
    return fmt::format(
        "{}{}", fmt::join(names.begin(), names.begin() + static_cast<std::ptrdiff_t>(n), ", "),
        n < names.size() ? fmt::format(" and {} more", names.size() - n) : "");
}

std::optional<char> sign_called(std::string_view name) {
    if (name == "tab") return '\t';
    if (name == "blanks") return kBlanks;
    return name.size() == 1 ? std::optional<char>(name.front()) : std::nullopt;
}

// The bytes of the file, and the two ways to cut them into fields: lines without quotes here, by
// looking for the delimiter; from the first quote on by libcsv, which knows what quotes mean.
// Blanks as delimiters are no matter of libcsv.
struct TableReader::Source {
    explicit Source(TableReader& reader_of_this);
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;
    ~Source();

    void begin(char quote_sign);
    void read_block();
    void cut_block();

    void cut_lines(std::string_view lines);
    void cut_at_delimiter(std::string_view text);
    void cut_at_blanks(std::string_view text);
    void end_row(int64_t first_line);
    void begin_parser();
    void parse(std::string_view bytes);
    void make_room(std::size_t bytes);
    static void take_field(void* text, std::size_t size, void* source);
    static void take_row(int line_end, void* source);
    [[noreturn]] void refuse(int64_t at_line, const std::string& words) const {
        throw Failure(kUnreadable, fmt::format("{}: line {}: {}", reader.file_, at_line, words));
    }

    TableReader& reader;
    gzFile input;
    Progress progress;
    std::vector<char> block = std::vector<char>(kBlock);
    std::size_t cut = 0, held = 0;  // bytes that are fields now; bytes in the block
    int64_t line = 1;               // of the next byte that is cut
    std::size_t row_begin = 0;      // field with which the row under way begins
    int64_t row_line = 1;
    char quote = kNoQuote, line_end = '\n';
    bool at_end = false, has_mark = false, has_windows_ends = false;
    bool is_parsing = false;
    csv_parser parser{};
    std::vector<char> texts;  // of the fields that the parser has found
    std::size_t n_texts = 0;
};

TableReader::Source::Source(TableReader& reader_of_this)
    : reader(reader_of_this),
      input(gzopen(reader.file_.c_str(), "rb")),
      progress(reader.file_, bytes_of_file(reader.file_)) {
    if (input == nullptr) throw Failure(kUnreadable, reader.file_ + ": " + std::strerror(errno));
    // Of a file that is not compressed, blocks larger than two buffers are read without copying.
    gzbuffer(input, kBlock / 4);
}

TableReader::Source::~Source() {
    if (is_parsing) csv_free(&parser);
    if (input != nullptr) gzclose(input);
}

void TableReader::Source::read_block() {
    std::memmove(block.data(), block.data() + cut, held - cut);
    held -= cut;
    cut = 0;
    if (held == block.size()) {
        if (held >= kLongestRecord) refuse(line, "no end of the line in 16 MB");
        block.resize(2 * held);
    }
    while (held < block.size() && !at_end) {
        const int n =
            gzread(input, block.data() + held, static_cast<unsigned>(block.size() - held));
        int error = Z_OK;
        const char* words = gzerror(input, &error);
        if (n < 0 || (error != Z_OK && error != Z_STREAM_END))
            throw Failure(kUnreadable,
                          fmt::format("{}: {}", reader.file_,
                                      error == Z_ERRNO       ? std::strerror(errno)
                                      : error == Z_BUF_ERROR ? "the compressed file is cut off"
                                                             : words));
        at_end = n == 0;
        held += static_cast<std::size_t>(n);
    }
    if (const z_off_t at = gzoffset(input); at >= 0) progress.move_to(static_cast<uintmax_t>(at));
}

// Looks at the first bytes.
void TableReader::Source::begin(char quote_sign) {
    quote = quote_sign;
    read_block();
    const std::string_view all(block.data(), held);
    if (all.starts_with("\xFF\xFE") || all.starts_with("\xFE\xFF"))
        refuse(1, "is written in UTF-16; save it as UTF-8");
    has_mark = all.starts_with("\xEF\xBB\xBF");
    if (has_mark) cut = 3;
    const std::size_t end = all.find('\n');
    if (end == all.npos && all.find('\r') != all.npos) line_end = '\r';
    has_windows_ends = end != all.npos && end > 0 && all[end - 1] == '\r';
}

void TableReader::Source::cut_block() {
    const std::string_view all(block.data() + cut, held - cut);
    if (const std::size_t zero = all.find('\0'); zero != all.npos)
        refuse(line + std::count(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(zero),
                                 line_end),
               "holds a byte of zero, so it is no text in UTF-8");
    if (!is_parsing && reader.delimiter_ != kBlanks && quote != kNoQuote &&
        all.find(quote) != all.npos)
        begin_parser();
    if (is_parsing) {
        cut = held;
        return parse(all);
    }
    const std::size_t end = at_end ? all.size() : all.rfind(line_end) + 1;  // npos + 1 is 0
    cut += end;
    cut_lines(all.substr(0, end));
}

void TableReader::Source::cut_lines(std::string_view lines) {
    while (!lines.empty()) {
        const std::size_t end = std::min(lines.find(line_end), lines.size());
        std::string_view text = lines.substr(0, end);
        lines.remove_prefix(std::min(end + 1, lines.size()));
        if (text.ends_with('\r')) text.remove_suffix(1);
        if (reader.delimiter_ == kBlanks)
            cut_at_blanks(text);
        else if (text.find_first_not_of(reader.delimiter_ == '\t' ? " " : " \t") != text.npos)
            cut_at_delimiter(text);
        end_row(line++);
    }
}

void TableReader::Source::cut_at_delimiter(std::string_view text) {
    const char* begin = text.data();
    const char* const end = begin + text.size();
    for (const char* at = begin;; ++at)
        if (at == end || *at == reader.delimiter_) {
            reader.fields_.push_back(trimmed({begin, static_cast<std::size_t>(at - begin)}));
            if (at == end) return;
            begin = at + 1;
        }
}

void TableReader::Source::cut_at_blanks(std::string_view text) {
    for (;;) {
        text = trimmed(text);
        if (text.empty()) return;
        const bool is_quoted = quote != kNoQuote && text.front() == quote;
        if (is_quoted) text.remove_prefix(1);
        const std::size_t end =
            std::min(is_quoted ? text.find(quote) : text.find_first_of(" \t"), text.size());
        reader.fields_.push_back(text.substr(0, end));
        text.remove_prefix(std::min(end + (is_quoted ? 1 : 0), text.size()));
    }
}

void TableReader::Source::end_row(int64_t first_line) {
    if (reader.fields_.size() == row_begin) return;  // a blank line
    reader.rows_.push_back({row_begin, first_line});
    row_begin = reader.fields_.size();
}

void TableReader::Source::begin_parser() {
    if (csv_init(&parser, CSV_REPALL_NL) != 0) throw std::bad_alloc();
    is_parsing = true;
    csv_set_blk_size(&parser, kBlock);  // by which its room for a field grows
    csv_set_delim(&parser, static_cast<unsigned char>(reader.delimiter_));
    csv_set_quote(&parser, static_cast<unsigned char>(quote));
    // Of Windows ends the first half counts as a blank.
    csv_set_space_func(&parser,
                       [](unsigned char c) -> int { return c == ' ' || c == '\t' || c == '\r'; });
    csv_set_term_func(
        &parser,
        line_end == '\n' ? [](unsigned char c) -> int { return c == '\n'; }
                         : [](unsigned char c) -> int { return c == '\r'; });
}

// No row is complete when this is called: the fields of the one under way move to the front.
void TableReader::Source::make_room(std::size_t bytes) {
    std::vector<char> larger;
    const std::size_t kept =
        reader.fields_.empty()
            ? 0
            : static_cast<std::size_t>(texts.data() + n_texts - reader.fields_.front().data());
    const bool is_too_small = kept + bytes > texts.size();
    if (is_too_small) larger.resize(2 * (kept + bytes));
    char* to = is_too_small ? larger.data() : texts.data();
    if (kept > 0) std::memmove(to, reader.fields_.front().data(), kept);
    for (std::string_view& field : reader.fields_) {
        field = {to, field.size()};
        to += field.size();
    }
    if (is_too_small) texts.swap(larger);
    n_texts = kept;
}

void TableReader::Source::parse(std::string_view bytes) {
    make_room(parser.entry_pos + bytes.size());
    const std::size_t n =
        csv_parse(&parser, bytes.data(), bytes.size(), take_field, take_row, this);
    if (n != bytes.size()) throw std::bad_alloc();
    if (parser.entry_pos > kLongestRecord)
        refuse(line, "no end of a field in 16 MB: a quote that is not closed?");
    if (!at_end) return;
    constexpr int kInField = 2;  // of pstate: a closing quote would have moved it on
    if (parser.quoted != 0 && parser.pstate == kInField)
        refuse(line, "a quote is opened and not closed");
    if (csv_fini(&parser, take_field, take_row, this) != 0) throw std::bad_alloc();
}

void TableReader::Source::take_field(void* text, std::size_t size, void* source) {
    auto& own = *static_cast<Source*>(source);
    if (own.reader.fields_.size() == own.row_begin) own.row_line = own.line;
    char* to = own.texts.data() + own.n_texts;
    if (size > 0) std::memcpy(to, text, size);
    own.n_texts += size;
    own.reader.fields_.emplace_back(to, size);
    own.line += std::count(to, to + size, own.line_end);
}

void TableReader::Source::take_row(int, void* source) {
    auto& own = *static_cast<Source*>(source);
    own.end_row(own.row_line);
    ++own.line;
}

TableReader::TableReader(const std::string& file, const TableForm& asked)
    : file_(file), source_(std::make_unique<Source>(*this)), row_(SIZE_MAX) {
    source_->begin(asked.quote);
    delimiter_ = asked.delimiter.value_or(',');
    if (!asked.delimiter) delimiter_ = find_delimiter();
    if (!fill()) throw Failure(kUnreadable, file_ + ": the table is empty");
    has_header_ = asked.has_header.value_or(false);
    if (!asked.has_header) has_header_ = looks_like_header();
    take_names(asked.names);
    if (!has_header_) row_ = SIZE_MAX;
}

TableReader::~TableReader() = default;

bool TableReader::fill() {
    fields_.erase(fields_.begin(),
                  fields_.begin() + static_cast<std::ptrdiff_t>(source_->row_begin));
    rows_.clear();
    source_->row_begin = 0;
    row_ = 0;
    while (rows_.empty()) {
        if (source_->at_end && source_->cut == source_->held) return false;
        if (!is_first_block_) source_->read_block();
        is_first_block_ = false;
        source_->cut_block();
    }
    rows_.push_back({source_->row_begin, source_->line});
    return true;
}

namespace {

// How many lines have the delimiter as often as the first one or, if those are more than half, as
// any other line; none where it is missing.
int64_t lines_alike(const std::vector<std::string_view>& lines, char delimiter, char quote) {
    std::vector<std::size_t> counts;
    for (const std::string_view line : lines) {
        bool is_quoted = false;
        counts.push_back(0);
        for (const char c : line) {
            if (c == quote) is_quoted = !is_quoted;
            if (c == delimiter && !is_quoted) ++counts.back();
        }
    }
    int64_t most = 0;
    for (const std::size_t n : counts)
        if (const int64_t alike = std::ranges::count(counts, n);
            n > 0 && alike > most && (n == counts.front() || 2 * alike > std::ssize(counts)))
            most = alike;
    return most;
}

}  // namespace

// The sign that stands equally often in the lines. A comma may be a decimal sign beside the other
// ones, so those are preferred.
char TableReader::find_delimiter() const {
    constexpr std::size_t kLines = 100;
    std::string_view all(source_->block.data() + source_->cut, source_->held - source_->cut);
    std::vector<std::string_view> lines;
    while (!all.empty() && lines.size() < kLines) {
        const std::size_t end = std::min(all.find(source_->line_end), all.size());
        if (const std::string_view line = all.substr(0, end); !trimmed(line).empty())
            lines.push_back(line);
        if (end == all.size() && !source_->at_end && lines.size() > 1) lines.pop_back();  // cut off
        all.remove_prefix(std::min(end + 1, all.size()));
    }
    char best = kBlanks;
    int64_t most = lines.size() > 1 ? 1 : 0;
    for (const char delimiter : {'\t', ';', '|', ','})
        if (const int64_t n = lines_alike(lines, delimiter, source_->quote); n > most) {
            best = delimiter;
            most = n;
        }
    return best;
}

namespace {

bool is_number_or_date(std::string_view text) {
    return parse_real(text) || parse_real(text, ',') || find_date_order({text});
}

}  // namespace

// No number, date or sign of a missing value in the first row, and further down numbers, or else
// nothing of the first row. A column of row numbers may have no name.
bool TableReader::looks_like_header() const {
    static const MissingSigns missing(usual_missing_signs());
    const std::size_t n_rows = std::min<std::size_t>(rows_.size() - 1, 100);
    std::set<std::string_view> met;
    for (std::size_t c = 0; c < rows_[1].first; ++c)
        if (!fields_[c].empty()) {
            if (missing(fields_[c]) || is_number_or_date(fields_[c])) return false;
            met.insert(fields_[c]);
        }
    bool repeats = false;
    for (std::size_t at = rows_[1].first; at < rows_[n_rows].first; ++at) {
        if (is_number_or_date(fields_[at])) return true;
        repeats = repeats || met.contains(fields_[at]);
    }
    return !repeats;
}

void TableReader::take_names(const std::vector<std::string>& asked) {
    const std::size_t n = rows_[1].first;
    if (!asked.empty() && asked.size() != n)
        refuse(fmt::format("{} fields, and {} names are given", n, asked.size()));
    std::set<std::string> met;
    std::map<std::string, int> next;  // number behind a name that others have, too
    for (std::size_t c = 0; c < n; ++c) {
        std::string name = !asked.empty() ? asked[c] : has_header_ ? std::string(fields_[c]) : "";
        if (name.empty()) name = fmt::format("V{}", c + 1);
        const std::string first = name;
        int& k = next.try_emplace(first, 2).first->second;
        while (!met.insert(name).second) name = fmt::format("{}.{}", first, k++);
        names_.push_back(name);
    }
    for (std::size_t c = 0; c < n; ++c) places_.emplace(names_[c], c);
}

std::string TableReader::described() const {
    std::string words = delimiter_ == kBlanks ? "blanks"
                        : delimiter_ == ','   ? "commas"
                        : delimiter_ == ';'   ? "semicolons"
                        : delimiter_ == '\t'  ? "tabs"
                                              : fmt::format("\"{}\"", delimiter_);
    words += has_header_ ? ", header" : ", no header";
    if (source_->is_parsing) words += ", quotes";
    if (source_->has_mark) words += ", byte order mark";
    if (source_->has_windows_ends) words += ", Windows line ends";
    if (gzdirect(source_->input) == 0) words += ", gzip";
    return words;
}

std::optional<std::size_t> TableReader::find(std::string_view name) const {
    const auto found = places_.find(name);
    return found == places_.end() ? std::optional<std::size_t>() : found->second;
}

std::size_t TableReader::column(std::string_view name) const {
    if (const std::optional<std::size_t> found = find(name)) return *found;
    throw Failure(kUsage,
                  fmt::format("{}: no column {}; there are: {}", file_, name, list_of(names_)));
}

void TableReader::refuse(const std::string& words) const { source_->refuse(line(), words); }

}  // namespace kve::companion
