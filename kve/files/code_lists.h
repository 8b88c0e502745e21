// The lists of CODE_TABLE: which identity of the data became which level.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "kve/files/record_file.h"
#include "kve/files/run_folder.h"
#include "store/big_tables.h"

namespace kve::companion {

struct CodeList {
    enum Kind { fixed, random, animals, groups };
    Kind kind;
    int32_t trait = 0, effect = 0;  // fixed
    int32_t factor = 0;             // random and animals
    int32_t owner = 0;              // animals: the factor whose pedigree they come from
    int64_t n_levels = 0;
    std::string label;  // tells it from the others: MILK:HERD, 2, residual
    std::string name;   // the user's
};

// All lists in the order of the file.
std::vector<CodeList> lists_of(const RunFolder& run);

// Where the levels of a factor stand: the number of its list, counted from 0.
std::size_t list_of_factor(const RunFolder& run, const std::vector<CodeList>& lists, int32_t k);

// One level of any list.
struct Code {
    int32_t next, identity, n_obs, level;
    int32_t sort, sire, dam, progeny;  // animals
};

// Reads the lists in their order.
class CodeFile {
 public:
    explicit CodeFile(const RunFolder& run) : file_(run.path(), "CODE_TABLE") {}

    Code read(const CodeList& list);
    void skip(const CodeList& list) {
        for (int64_t n = 0; n < list.n_levels; ++n) static_cast<void>(read(list));
    }
    // The file must end here.
    void expect_end();
    [[noreturn]] void refuse(const std::string& words) const { file_.refuse(words); }

 private:
    RecordFile file_;
};

// Where each list stands, and behind them all where the file ends.
std::vector<RecordBlock::Part> places_of(const std::vector<CodeList>& lists);

// Levels of a list, many at a time.
class CodeBlock {
 public:
    explicit CodeBlock(const RunFolder& run) : block_(run.path(), "CODE_TABLE") {}

    // Tells how many of the `n` from `first` on, counted from 0, are there as they should be.
    int64_t read(const CodeList& list, const RecordBlock::Part& place, int64_t first, int64_t n);
    Code code(const CodeList& list, int64_t k) const;
    [[noreturn]] void refuse_unread(int64_t k) const;
    // The file must end here.
    void expect_end(const RecordBlock::Part& place);

 private:
    RecordBlock block_;
};

// Identities by level, from 1 on, of the lists that are asked for; no more than the file has.
std::vector<std::vector<int32_t>> read_identities(const RunFolder& run,
                                                  const std::vector<CodeList>& lists,
                                                  const std::vector<bool>& is_wanted);

}  // namespace kve::companion
