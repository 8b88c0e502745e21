// What was wrong in the tables: each with its place in rejected.tsv, and counted.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kve/shared/output.h"

namespace kve::companion::prep {

enum class Consequence { record_rejected, value_missing, only_told };

class Findings {
 public:
    // One for each table, column and reason.
    struct Kind {
        Consequence consequence;
        int table;
        std::string column, reason;
        int64_t n = 0;
        std::string first;  // line and text of the first
    };

    explicit Findings(const std::string& rejected_file);

    // What is added from now on is of this table; its number. One file may be several tables.
    int begin_table() { return ++table_; }

    void add(Consequence consequence, const std::string& file, int64_t line,
             const std::string& column, std::string_view text, const std::string& reason);
    void finish() { out_.finish(); }

    const std::vector<Kind>& kinds() const { return kinds_; }
    int64_t count(Consequence consequence, int table) const;
    int64_t n_all() const { return n_all_; }

 private:
    Output out_;
    std::vector<Kind> kinds_;
    int64_t n_all_ = 0;
    int table_ = 0;
};

}  // namespace kve::companion::prep
