// What is remarkable in a pedigree, and what is changed because of it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace kve::companion {

enum class Kind : int8_t {
    // Faults: KVE1 would leave a record out, stop, or take the wrong one.
    fields,
    no_identity,
    own_parent,
    one_as_both,
    differs,
    loop,
    born_after,
    // Such that it would live with.
    repeated,
    both_parts,
    wrong_sex,
    no_record,
    unread_birth,
    unread_sex,
    group_code,
    not_in_pedigree,
    no_birth,
    no_sex,
    count,
};
inline constexpr std::size_t kKinds = static_cast<std::size_t>(Kind::count);

struct KindWords {
    const char* name;   // in findings.tsv
    const char* words;  // behind a count
    bool fault;
};
const KindWords& words_of(Kind kind);

struct PedigreeFinding {
    Kind kind;
    int32_t line;
    int32_t animal;  // number in the herdbook, 0 none
    int32_t other;  // another animal, a line, or a text of `PedigreeFindings`, as the kind wants it
};

// A change that mends a finding: told as one, and written down when it is made.
struct Change {
    int32_t line;
    int32_t animal;
    std::string words;
};

struct PedigreeFindings {
    std::vector<PedigreeFinding> list;
    std::vector<std::string> texts;
    std::array<int64_t, kKinds> counts{};
    std::vector<Change> changes;

    void add(Kind kind, int32_t line, int32_t animal, int32_t other = 0) {
        list.push_back({kind, line, animal, other});
        ++counts[static_cast<std::size_t>(kind)];
    }
    void add(Kind kind, int32_t line, int32_t animal, std::string text) {
        texts.push_back(std::move(text));
        add(kind, line, animal, static_cast<int32_t>(texts.size()) - 1);
    }
    int64_t count(Kind kind) const { return counts[static_cast<std::size_t>(kind)]; }
    void sort_by_line();
    int64_t faults() const;
    int64_t warnings() const;
};

}  // namespace kve::companion
