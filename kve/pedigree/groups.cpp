#include "kve/pedigree/groups.h"

#include <array>
#include <map>

namespace kve::companion {

namespace {

// Those of sires come first.
constexpr std::array kPathWords = {"sires of males", "sires of females", "sires of unknown sex",
                                   "dams of males",  "dams of females",  "dams of unknown sex"};
constexpr std::size_t kPaths = kPathWords.size(), kSirePaths = kPaths / 2;

std::size_t path_of(Sex progeny, bool sire) {
    const std::size_t of_sex = progeny == Sex::male ? 0 : progeny == Sex::female ? 1 : 2;
    return sire ? of_sex : kSirePaths + of_sex;
}

struct Path {
    std::map<int32_t, int64_t> counts{};  // unknown parents by class
    int64_t sum = 0;
    std::size_t joined = 0;  // the path that it is part of: its own number or another's
};
using Paths = std::array<Path, kPaths>;

std::size_t find_largest(const Paths& paths, std::size_t first, std::size_t behind) {
    std::size_t largest = first;
    for (std::size_t k = first; k < behind; ++k)
        if (paths[k].sum > paths[largest].sum) largest = k;
    return largest;
}

void join(Paths& paths, std::size_t from, std::size_t to) {
    if (from == to) return;
    for (const auto& [label, n] : paths[from].counts) paths[to].counts[label] += n;
    paths[to].sum += paths[from].sum;
    paths[from].counts.clear();
    paths[from].sum = 0;
    for (Path& path : paths)
        if (path.joined == from) path.joined = to;
}

void join_small_paths(Paths& paths, int64_t least) {
    for (const std::size_t first : {std::size_t{0}, kSirePaths})
        for (std::size_t k = first; k < first + kSirePaths; ++k)
            if (paths[k].sum > 0 && paths[k].sum < least)
                join(paths, k, find_largest(paths, first, first + kSirePaths));
    for (std::size_t k = 0; k < kPaths; ++k)
        if (paths[k].sum > 0 && paths[k].sum < least)
            join(paths, k, find_largest(paths, 0, kPaths));
}

std::string words_of(const Paths& paths, std::size_t path) {
    std::string words;
    for (std::size_t k = 0; k < kPaths; ++k)
        if (paths[k].joined == path) words.append(words.empty() ? "" : ", ").append(kPathWords[k]);
    return words;
}

void cut_into_groups(const Path& path, const std::string& words, int64_t least,
                     std::vector<Group>& groups) {
    const std::size_t first = groups.size();
    Group group{0, words, 0, 0, 0};
    for (const auto& [label, n] : path.counts) {
        if (group.parents == 0) group.first = label;
        group.last = label;
        group.parents += n;
        if (group.parents < least) continue;
        groups.push_back(group);
        group.parents = 0;
    }
    if (group.parents == 0) return;
    if (groups.size() == first) return groups.push_back(group);
    groups.back().last = group.last;
    groups.back().parents += group.parents;
}

Paths count_unknown_parents(const Pedigree& pedigree, const Vec<int32_t>& class_of) {
    Paths paths;
    for (std::size_t k = 0; k < kPaths; ++k) paths[k].joined = k;
    const auto count = [&](int32_t j, bool sire) {
        Path& path = paths[path_of(pedigree.sex(j), sire)];
        ++path.counts[class_of(j)];
        ++path.sum;
    };
    for (int32_t j = 1; j <= pedigree.size(); ++j) {
        if (pedigree.parents(j).sire == 0) count(j, true);
        if (pedigree.parents(j).dam == 0) count(j, false);
    }
    return paths;
}

}  // namespace

Groups make_groups(const Pedigree& pedigree, const Vec<int32_t>& class_of, int64_t least) {
    Paths paths = count_unknown_parents(pedigree, class_of);
    join_small_paths(paths, least);
    Groups groups;
    std::array<std::map<int32_t, int32_t>, kPaths> code_of;  // by class
    for (std::size_t k = 0; k < kPaths; ++k) {
        std::size_t at = groups.list.size();
        cut_into_groups(paths[k], words_of(paths, k), least, groups.list);
        for (const auto& [label, n] : paths[k].counts) {
            while (label > groups.list[at].last) ++at;
            groups.list[at].code = -static_cast<int32_t>(at) - 1;
            code_of[k][label] = groups.list[at].code;
        }
    }
    make_table(groups.sire, pedigree.size());
    make_table(groups.dam, pedigree.size());
    const auto code = [&](int32_t j, bool sire) {
        return code_of[paths[path_of(pedigree.sex(j), sire)].joined][class_of(j)];
    };
    for (int32_t j = 1; j <= pedigree.size(); ++j) {
        if (pedigree.parents(j).sire == 0) groups.sire(j) = code(j, true);
        if (pedigree.parents(j).dam == 0) groups.dam(j) = code(j, false);
    }
    return groups;
}

}  // namespace kve::companion
