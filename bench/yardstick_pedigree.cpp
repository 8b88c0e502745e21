// The least that a program must do to get from a pedigree in text to the elements of the inverse
// relationship matrix. KVE1 is measured against it. It checks nothing: every parent needs a record
// of its own and must be born before its progeny.
//
//     yardstick_pedigree PEDIGREE 1|2 OUTPUT
//
// Method 1 accounts for inbreeding, method 2 does not.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "pedigree_in_order.h"

namespace {

// The numbers 1..n grouped by key: those of key k are list[start[k]] to list[start[k + 1] - 1].
struct Groups {
    std::vector<std::int32_t> start, list;

    template <class Key, class Entry>
    Groups(std::size_t n, Key key, Entry entry) : start(n + 3), list(n) {
        for (std::size_t i = 1; i <= n; ++i) ++start[at(key(i)) + 2];
        for (std::size_t k = 2; k < start.size(); ++k) start[k] += start[k - 1];
        for (std::size_t i = 1; i <= n; ++i) list[at(start[at(key(i)) + 1]++)] = entry(i);
    }
};

// Relationships of one sire with his ancestors and his mates.
struct Node {
    double share;
    std::int32_t sire, dam;
    std::int32_t family = 0;  // the sire for whom `share` was computed
};

// Visits the ancestors of an animal and the animal itself, each after its parents, but for those
// who belong to the family already. Leaves them in the family.
template <class Leave>
void visit(std::vector<Node>& nodes, std::int32_t animal, std::int32_t family, Leave leave) {
    static std::vector<std::int32_t> stack;
    auto is_new = [&](std::int32_t a) { return a != 0 && nodes[at(a)].family != family; };
    if (!is_new(animal)) return;
    stack.push_back(animal);
    while (!stack.empty()) {
        std::int32_t a = stack.back();
        const Node& node = nodes[at(a)];
        std::size_t height = stack.size();
        if (is_new(node.sire)) stack.push_back(node.sire);
        if (is_new(node.dam)) stack.push_back(node.dam);
        if (stack.size() > height) continue;
        stack.pop_back();
        if (node.family == family) continue;
        leave(nodes[at(a)], a);
        nodes[at(a)].family = family;
    }
}

// Nodes are made for animals with progeny only, so that more of them stay in the cache.
struct ParentNodes {
    std::vector<std::int32_t> place;     // of an animal's node; 0 without progeny
    std::vector<std::int32_t> level{0};  // the animal of a node
    std::vector<Node> nodes = std::vector<Node>(1);
};

ParentNodes make_nodes(const std::vector<Parents>& parents) {
    ParentNodes made;
    std::vector<std::int32_t>& place = made.place;
    place.resize(parents.size());
    for (Parents p : parents) place[at(p.sire)] = place[at(p.dam)] = 1;
    place[0] = 0;
    for (std::size_t i = 1; i < parents.size(); ++i) {
        if (place[i] == 0) continue;
        place[i] = static_cast<std::int32_t>(made.nodes.size());
        made.nodes.push_back({0, place[at(parents[i].sire)], place[at(parents[i].dam)], 0});
        made.level.push_back(static_cast<std::int32_t>(i));
    }
    return made;
}

// The diagonal of A, 1 + A(sire, dam) / 2, a sire with all his mates at a time, the oldest sire
// first. With A = T D T', A(sire, x) is the sum over their common ancestors a of
// T(sire, a) D(a) T(x, a). The weights T(sire, a) D(a) are formed once for the family, up the
// sire's line; summing down the line of a mate then takes halves from both parents.
std::vector<double> inbred_diagonal(const std::vector<Parents>& parents) {
    const std::size_t n = parents.size() - 1;
    ParentNodes made = make_nodes(parents);
    const std::vector<std::int32_t>&place = made.place, &level = made.level;
    std::vector<Node>& nodes = made.nodes;
    Groups families(
        n, [&](std::size_t i) { return place[at(parents[i].sire)]; },
        [](std::size_t i) { return static_cast<std::int32_t>(i); });
    auto mate = [&](std::int32_t k) { return place[at(parents[at(families.list[at(k)])].dam)]; };

    std::vector<double> diagonal(n + 1, 1.0);
    diagonal[0] = 0;
    auto half_of_parents = [&](const Node& node) {
        return 0.5 * (nodes[at(node.sire)].share + nodes[at(node.dam)].share);
    };
    std::vector<std::int32_t> line;
    for (std::int32_t sire = 1; at(sire) < nodes.size(); ++sire) {
        const std::int32_t first = families.start[at(sire)], end = families.start[at(sire) + 1];
        if (first == end) continue;
        line.clear();
        visit(nodes, sire, sire, [&](Node& node, std::int32_t a) {
            node.share = 0;
            line.push_back(a);
        });
        nodes[at(sire)].share = 1;
        for (std::size_t k = line.size(); k-- > 0;) {
            Node& node = nodes[at(line[k])];
            double passed = node.share;
            nodes[at(node.sire)].share += 0.5 * passed;
            nodes[at(node.dam)].share += 0.5 * passed;
            node.share = passed * (1 - 0.25 * (diagonal[at(level[at(node.sire)])] +
                                               diagonal[at(level[at(node.dam)])]));
        }
        nodes[0].share = 0;
        for (std::int32_t a : line) nodes[at(a)].share += half_of_parents(nodes[at(a)]);
        for (std::int32_t k = first; k < end; ++k) {
            if (at(k) + kAhead < n) {
                __builtin_prefetch(&nodes[at(mate(k + 12))]);
                const Node& soon = nodes[at(mate(k + 6))];
                __builtin_prefetch(&nodes[at(soon.sire)]);
                __builtin_prefetch(&nodes[at(soon.dam)]);
            }
            visit(nodes, mate(k), sire,
                  [&](Node& node, std::int32_t) { node.share = half_of_parents(node); });
            diagonal[at(families.list[at(k)])] = 1 + 0.5 * nodes[at(mate(k))].share;
        }
    }
    return diagonal;
}

// 1 / D of an animal, from its parents alone.
double v(Parents p, const std::vector<double>& diagonal) {
    return 1 / (1 - 0.25 * (diagonal[at(p.sire)] + diagonal[at(p.dam)]));
}

std::vector<double> inverse_diagonal(const std::vector<Parents>& parents,
                                     const std::vector<double>& diagonal) {
    std::vector<double> own(parents.size());
    for (std::size_t i = 1; i < parents.size(); ++i) {
        double value = v(parents[i], diagonal);
        own[i] += value;
        own[at(parents[i].sire)] += 0.25 * value;
        own[at(parents[i].dam)] += 0.25 * value;
    }
    return own;
}

// Each pair of parents under the younger of the two.
Groups group_mates(const std::vector<Parents>& parents) {
    auto younger = [&](std::size_t i) {
        return parents[i].sire == 0 || parents[i].dam == 0
                   ? 0
                   : std::max(parents[i].sire, parents[i].dam);
    };
    return {parents.size() - 1, younger,
            [&](std::size_t i) { return std::min(parents[i].sire, parents[i].dam); }};
}

// The mates of an animal that are still to be written, in ascending order.
struct Mates {
    const std::int32_t *next, *end;
};

// Writes the elements of a row with its mates up to a column; returns what the column itself has
// from progeny.
double write_mates(ElementFile& file, std::int32_t row, std::int32_t last, Mates& mates,
                   const std::vector<double>& diagonal) {
    while (mates.next < mates.end && *mates.next <= last) {
        const std::int32_t column = *mates.next;
        double sum = 0, quarter = 0.25 * v({column, row}, diagonal);
        for (; mates.next < mates.end && *mates.next == column; ++mates.next) sum += quarter;
        if (column == last) return sum;
        file.write(column, row, sum);
    }
    return 0;
}

// An animal with v = 1 / D adds v to its own diagonal, -v/2 between it and its parents, v/4 to its
// parents' diagonals and between its parents. A row thus holds the animal's parents, its mates that
// are older, and itself.
bool write_inverse(const char* path, const std::vector<Parents>& parents,
                   const std::vector<double>& diagonal) {
    const std::vector<double> own = inverse_diagonal(parents, diagonal);
    Groups groups = group_mates(parents);
    ElementFile file(path);
    for (std::int32_t row = 1; at(row) < parents.size(); ++row) {
        auto* first = groups.list.data() + groups.start[at(row)];
        auto* end = groups.list.data() + groups.start[at(row) + 1];
        std::sort(first, end);
        Mates mates{first, end};
        auto [sire, dam] = parents[at(row)];
        const double half = -0.5 * v({sire, dam}, diagonal);
        for (std::int32_t parent : {std::min(sire, dam), std::max(sire, dam), row}) {
            const double value = (parent == row ? own[at(row)] : half) +
                                 write_mates(file, row, parent, mates, diagonal);
            if (parent != 0) file.write(parent, row, value);
        }
    }
    return file.close();
}

}  // namespace

int main(int count, char** words) {
    if (count != 4) return 1;
    std::vector<Parents> parents;
    {
        std::vector<Animal> animals = read_pedigree(words[1]);
        sort_by_birth(animals);
        parents = link(animals);
    }
    std::vector<double> diagonal;
    if (*words[2] == '1') {
        diagonal = inbred_diagonal(parents);
    } else {
        diagonal.assign(parents.size(), 1.0);
        diagonal[0] = 0;
    }
    return write_inverse(words[3], parents, diagonal) ? 0 : 1;
}
