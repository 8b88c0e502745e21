// What a check has found, gathered in any order and printed by file and line.
#pragma once

#include <cstdint>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace kve::companion {

enum class Severity { error, warning, note };

// Where it stands; 0 when the line or the column is not known. Columns count from 1.
struct Place {
    std::string file;
    int64_t line = 0;
    int64_t column = 0;
};

struct Finding {
    std::string code;  // a heading of docs/findings.md
    Severity severity = Severity::error;
    Place place;
    std::string message;
    std::string hint;
};

class Findings {
 public:
    static constexpr int64_t kShownOfCode = 20;
    // Those of a data file come in its order: the first ones are the ones to be shown.
    static constexpr int64_t kKeptOfCode = 1000;

    void add(Finding finding);
    void error(const char* code, const Place& place, std::string message, std::string hint = {});
    void warn(const char* code, const Place& place, std::string message, std::string hint = {});
    void note(const char* code, const Place& place, std::string message, std::string hint = {});

    // Ahead of the words of one of many: true when so many of the code are kept that this one is
    // counted alone.
    bool counts_only(const char* code, Severity severity);
    // Further ones, which are counted and not shown.
    void count_more(const char* code, Severity severity, int64_t n);

    // Of one code, those that are not kept included.
    int64_t count(const std::string& code) const;
    int64_t count(Severity severity) const;
    bool has_error_at(const std::string& file, int64_t line) const;
    bool has_error_in(const std::string& file) const;
    bool has(const std::string& code) const { return count(code) > 0; }

    // file:line:column: error: words [code], at most 20 of a code. What is said of many lines of a
    // file is said once, and so is a hint that they share.
    std::string as_text() const;
    // All that are kept.
    nlohmann::json as_json() const;

    // To another process and back, with what is not shown. What is known already is not added.
    nlohmann::json pack() const;
    void unpack(const nlohmann::json& packed);

 private:
    std::vector<const Finding*> sorted() const;           // by file, line and column
    Severity severity_of(const std::string& code) const;  // of the first one

    std::vector<Finding> kept_;
    std::map<std::string, int64_t> n_of_code_;
    std::map<Severity, int64_t> n_of_severity_;
};

std::string_view name_of(Severity severity);

}  // namespace kve::companion
