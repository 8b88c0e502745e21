// Tables as people have them: separated by commas, semicolons, tabs or blanks, with or without a
// header, with quotes, a byte order mark, Windows line ends, compressed by gzip. A record at a
// time; memory is that of some hundred kilobytes of the file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace kve::companion {

inline constexpr char kBlanks = ' ';  // as a delimiter: any number of blanks and tabs
inline constexpr char kNoQuote = '\0';

// What users call a sign: "tab", "blanks", or itself.
std::optional<char> sign_called(std::string_view name);

// With commas, and not more of them than a message has room for.
std::string list_of(const std::vector<std::string>& names);

// How a table is written. What is left open is found out from its first lines.
struct TableForm {
    std::optional<char> delimiter;
    std::optional<bool> has_header;
    char quote = '"';
    std::vector<std::string> names;  // of the columns, in place of those of the header
};

// A record is a line, or several where a quoted field holds line ends. Blank lines are skipped.
// Blanks around a field do not count unless they are quoted.
class TableReader {
 public:
    // Failure when the file cannot be opened or its first record cannot be read.
    explicit TableReader(const std::string& file, const TableForm& asked = {});
    TableReader(const TableReader&) = delete;
    TableReader& operator=(const TableReader&) = delete;
    ~TableReader();

    const std::string& file() const { return file_; }
    // What the table was taken for: "semicolons, header, gzip".
    std::string described() const;
    char delimiter() const { return delimiter_; }
    bool has_header() const { return has_header_; }

    // Of the columns, which count from 0: those of the header or V1, V2 and so on.
    const std::vector<std::string>& names() const { return names_; }
    std::optional<std::size_t> find(std::string_view name) const;
    // Failure tells which names there are.
    std::size_t column(std::string_view name) const;

    // Goes to the next record. Failure where the file cannot be read on.
    bool next() {
        if (++row_ + 1 < rows_.size()) return true;
        return fill();
    }
    // How many the record has, which may not be as many as there are columns.
    std::size_t n_fields() const { return rows_[row_ + 1].first - rows_[row_].first; }
    bool has_all_fields() const { return n_fields() == names_.size(); }
    // Valid until next(). Empty when the record is too short.
    std::string_view field(std::size_t column) const {
        const std::size_t at = rows_[row_].first + column;
        return at < rows_[row_ + 1].first ? fields_[at] : std::string_view();
    }
    // The same of a record so many further on, as far as the table has been cut already: for those
    // who want to have at hand what they will need for it.
    std::string_view field_ahead(std::size_t records, std::size_t column) const {
        const std::size_t row = row_ + records;
        if (row + 1 >= rows_.size()) return {};
        const std::size_t at = rows_[row].first + column;
        return at < rows_[row + 1].first ? fields_[at] : std::string_view();
    }
    // The line on which the record begins, from 1.
    int64_t line() const { return rows_[row_].line; }

    [[noreturn]] void refuse(const std::string& words) const;  // of this record

 private:
    struct Source;
    struct Row {
        std::size_t first;  // of its fields; the fields end where those of the next row begin
        int64_t line;
    };

    bool fill();
    char find_delimiter() const;
    bool looks_like_header() const;
    void take_names(const std::vector<std::string>& asked);

    std::string file_;
    std::unique_ptr<Source> source_;
    char delimiter_ = ',';
    bool has_header_ = false;
    std::vector<std::string> names_;
    std::unordered_map<std::string_view, std::size_t> places_;  // of the names
    std::vector<std::string_view> fields_;
    std::vector<Row> rows_;  // and one more, the end of the last
    std::size_t row_ = 0;
    bool is_first_block_ = true;
};

}  // namespace kve::companion
