#include "kve/pedigree/contributions.h"

#include <algorithm>
#include <utility>

namespace kve::companion {

namespace {

constexpr double kNothing = 1e-9;  // shares below are rounding

// How often a gene of the reference population comes by each animal: from the youngest on each
// hands half of its own to its parents.
Vec<double, 0> pass_genes_up(const Pedigree& pedigree, const Vec<bool>& reference) {
    Vec<double, 0> genes;
    make_table(genes, pedigree.size() + 1);
    for (int32_t j = pedigree.size(); j >= 1; --j) {
        if (reference(j)) genes(j) += 1.0;
        for (const int32_t parent : {pedigree.parents(j).sire, pedigree.parents(j).dam})
            genes(parent) += 0.5 * genes(j);
    }
    return genes;
}

void count_founders(const Pedigree& pedigree, const Vec<double, 0>& genes, Contributions& found) {
    double squares = 0.0;
    const double all = static_cast<double>(found.reference);
    for (int32_t j = 1; j <= pedigree.size(); ++j) {
        const auto [sire, dam] = pedigree.parents(j);
        if (genes(j) == 0.0 || (sire != 0 && dam != 0)) continue;
        const double share = (sire == 0 && dam == 0 ? genes(j) : 0.5 * genes(j)) / all;
        ++found.founders;
        squares += share * share;
    }
    found.effective_founders = 1.0 / squares;
}

// A = T D T' and the shares are T' times those of the reference population, so that the mean
// relationship is a sum of squares.
double mean_relationship(const Vec<double, 0>& genes, const Vec<double>& sampling, double all) {
    double sum = 0.0;
    for (int64_t j = 1; j <= sampling.size(); ++j)
        sum += genes(j) / all * (genes(j) / all) * sampling(j);
    return sum;
}

// An ancestor, or an animal of the reference population, with progeny among them.
struct Node {
    ParentPair parents;  // nodes
    int32_t place;
    bool chosen;
    double own;        // genes that it hands up for itself and its progeny without progeny
    double genes;      // that come by it, now that nothing passes beyond the chosen
    double explained;  // share of its own genes that comes from the chosen
};
// An animal of the reference population without progeny there.
struct Leaf {
    ParentPair parents;
    int32_t place;
    bool chosen;
};

struct Lines {
    Vec<Node, 0> nodes;  // parents first; 0 is the unknown parent
    Vec<Leaf> leaves;
};

int32_t number_nodes(const Pedigree& pedigree, const Vec<double, 0>& genes,
                     Vec<int32_t, 0>& node_of) {
    for (int32_t j = 1; j <= pedigree.size(); ++j)
        if (genes(j) > 0.0)
            node_of(pedigree.parents(j).sire) = node_of(pedigree.parents(j).dam) = 1;
    node_of(0) = 0;
    int32_t last = 0;
    for (int32_t& node : node_of)
        if (node != 0) node = ++last;
    return last;
}

Lines make_lines(const Pedigree& pedigree, const Vec<double, 0>& genes,
                 const Vec<bool>& reference) {
    Vec<int32_t, 0> node_of;
    make_table(node_of, pedigree.size() + 1);
    Lines lines;
    make_table(lines.nodes, int64_t{number_nodes(pedigree, genes, node_of)} + 1);
    int64_t n_leaves = 0;
    for (int32_t j = 1; j <= pedigree.size(); ++j)
        if (genes(j) > 0.0 && node_of(j) == 0) ++n_leaves;
    make_table(lines.leaves, n_leaves);
    n_leaves = 0;
    for (int32_t j = 1; j <= pedigree.size(); ++j) {
        if (genes(j) == 0.0) continue;
        const ParentPair parents{node_of(pedigree.parents(j).sire),
                                 node_of(pedigree.parents(j).dam)};
        if (node_of(j) != 0) {
            Node& node = lines.nodes(node_of(j));
            node.parents = parents;
            node.place = j;
            if (reference(j)) node.own += 1.0;
            continue;
        }
        lines.leaves(++n_leaves) = {parents, j, false};
        for (const int32_t parent : {parents.sire, parents.dam}) lines.nodes(parent).own += 0.5;
    }
    return lines;
}

double explained_of(const Lines& lines, ParentPair parents) {
    return 0.5 * (lines.nodes(parents.sire).explained + lines.nodes(parents.dam).explained);
}

// Sets the genes from the youngest node on, the explained shares from the oldest, and returns the
// node with most that is not explained, 0 for none.
int32_t find_best_node(Lines& lines, double& best) {
    Vec<Node, 0>& nodes = lines.nodes;
    for (Node& node : nodes) node.genes = node.own;
    for (int64_t k = nodes.size() - 1; k >= 1; --k)
        if (!nodes(k).chosen)
            for (const int32_t parent : {nodes(k).parents.sire, nodes(k).parents.dam})
                nodes(parent).genes += 0.5 * nodes(k).genes;
    int32_t found = 0;
    for (int32_t k = 1; k < nodes.size(); ++k) {
        Node& node = nodes(k);
        if (node.chosen) continue;
        node.explained = explained_of(lines, node.parents);
        const double left = node.genes * (1.0 - node.explained);
        if (left > best) {
            best = left;
            found = k;
        }
    }
    return found;
}

// A leaf with more than `best`, or with as much and older than `node`.
int32_t find_best_leaf(const Lines& lines, int32_t node, double& best) {
    int32_t found = 0, oldest = lines.nodes(node).place;
    for (int32_t k = 1; k <= lines.leaves.size(); ++k) {
        const Leaf& leaf = lines.leaves(k);
        const double left = leaf.chosen ? 0.0 : 1.0 - explained_of(lines, leaf.parents);
        if (left > best || (left == best && leaf.place < oldest)) {
            best = left;
            oldest = leaf.place;
            found = k;
        }
    }
    return found;
}

// What an animal has of its ancestors counts no more for them.
int32_t choose_leaf(Lines& lines, Leaf& leaf) {
    leaf.chosen = true;
    for (const int32_t parent : {leaf.parents.sire, leaf.parents.dam})
        lines.nodes(parent).own -= 0.5;
    return leaf.place;
}

int32_t choose_node(Node& node) {
    node.chosen = true;
    node.explained = 1.0;
    return node.place;
}

void choose_ancestors(Lines& lines, const Vec<double, 0>& genes, int64_t most,
                      Contributions& found) {
    const double all = static_cast<double>(found.reference);
    while (static_cast<int64_t>(found.ancestors.size()) < most) {
        double left = kNothing;
        const int32_t node = find_best_node(lines, left);
        // A leaf holds the genes of one animal.
        const int32_t leaf = left <= 1.0 ? find_best_leaf(lines, node, left) : 0;
        if (node == 0 && leaf == 0) return;
        const int32_t place =
            leaf != 0 ? choose_leaf(lines, lines.leaves(leaf)) : choose_node(lines.nodes(node));
        found.ancestors.push_back({place, genes(place) / all, left / all});
        found.explained += left / all;
    }
}

// What is not explained can lie with ancestors that have as much each as the last one chosen, or
// evenly with all other founders.
void bound_effective_ancestors(Contributions& found) {
    double squares = 0.0;
    for (const Ancestor& a : found.ancestors) squares += a.marginal * a.marginal;
    const double rest = std::max(1.0 - found.explained, 0.0);
    const int64_t others =
        std::max<int64_t>(found.founders - static_cast<int64_t>(found.ancestors.size()), 1);
    const double last = found.ancestors.empty() ? 1.0 : found.ancestors.back().marginal;
    if (rest < kNothing) {
        found.effective_ancestors_low = found.effective_ancestors_high = 1.0 / squares;
        return;
    }
    found.effective_ancestors_low = 1.0 / (squares + last * rest);
    found.effective_ancestors_high = 1.0 / (squares + rest * rest / static_cast<double>(others));
}

}  // namespace

Contributions find_contributions(const Pedigree& pedigree, const Vec<bool>& reference,
                                 const Vec<double>& sampling, int64_t most) {
    Contributions found;
    found.reference = std::count(reference.begin(), reference.end(), true);
    if (found.reference == 0) return found;
    const double all = static_cast<double>(found.reference);
    const Vec<double, 0> genes = pass_genes_up(pedigree, reference);
    count_founders(pedigree, genes, found);
    found.founder_genomes = 1.0 / mean_relationship(genes, sampling, all);
    Lines lines = make_lines(pedigree, genes, reference);
    choose_ancestors(lines, genes, most, found);
    bound_effective_ancestors(found);
    return found;
}

}  // namespace kve::companion
