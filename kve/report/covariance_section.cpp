#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "kve/report/sections.h"

namespace kve::companion {

namespace {

constexpr int32_t kMostRows = 60;    // of a heat map
constexpr int32_t kMostGroups = 40;  // of residual variances

double correlation(const Matrix<double>& c, int32_t i, int32_t j) {
    return c(i, j) / std::sqrt(c(i, i) * c(j, j));
}

// Covariances differ by powers of ten: colours by the logarithm, between the smallest and the
// largest that is not 0.
std::vector<std::vector<double>> colours_of(const std::vector<std::vector<double>>& values) {
    double least = std::numeric_limits<double>::infinity(), most = 0.0;
    const auto take = [&](double v) {
        if (!std::isfinite(v) || v == 0.0) return;
        least = std::min(least, std::abs(v));
        most = std::max(most, std::abs(v));
    };
    for (const std::vector<double>& row : values) std::ranges::for_each(row, take);
    const double range = std::log(most / least);
    const auto colour = [&](double v) {
        constexpr double kPalest = 0.15;
        if (v == 0.0) return v;
        const double part = range > 0.0 ? std::log(std::abs(v) / least) / range : 1.0;
        return std::copysign(kPalest + (1.0 - kPalest) * part, v);
    };
    std::vector<std::vector<double>> colours = values;
    for (std::vector<double>& row : colours) std::ranges::transform(row, row.begin(), colour);
    return colours;
}

HeatMap map_of(const std::vector<std::string>& names) {
    const std::size_t n = std::min(names.size(), static_cast<std::size_t>(kMostRows));
    HeatMap map{.names = {names.begin(), names.begin() + static_cast<std::ptrdiff_t>(n)},
                .values = std::vector<std::vector<double>>(n, std::vector<double>(n)),
                .low = "",
                .high = ""};
    return map;
}

template <class Value>
void fill_map(HeatMap& map, Value value) {
    const auto n = static_cast<int32_t>(map.names.size());
    for (int32_t i = 1; i <= n; ++i)
        for (int32_t j = 1; j <= n; ++j)
            map.values[static_cast<std::size_t>(i) - 1][static_cast<std::size_t>(j) - 1] =
                value(i, j);
}

std::string words_on_size(const std::vector<std::string>& names) {
    if (names.size() <= static_cast<std::size_t>(kMostRows)) return {};
    return fmt::format("The first {} of {} rows.", kMostRows, names.size());
}

// The lower triangle, element by element.
Table elements_table(const HeatMap& map, const RMatrix& r) {
    Table table{.columns = {{"Row"}, {"Column"}, {"(Co)variance"}, {"Correlation", 4}}};
    const auto n = static_cast<int32_t>(map.names.size());
    for (int32_t i = 1; i <= n; ++i)
        for (int32_t j = 1; j <= i; ++j)
            table.rows.push_back({map.names[static_cast<std::size_t>(i) - 1],
                                  map.names[static_cast<std::size_t>(j) - 1], r.cov_mat(i, j),
                                  correlation(r.cov_mat, i, j)});
    return table;
}

void add_maps(Section& section, const RunFolder& run, const RMatrix& r, const std::string& name) {
    const std::vector<std::string> names = names_of_rows(run, r);
    if (names.empty()) return;
    Figure covariances{.title = "(Co)variances of " + name, .words = words_on_size(names)};
    HeatMap map = map_of(names);
    fill_map(map, [&](int32_t i, int32_t j) { return r.cov_mat(i, j); });
    map.colours = colours_of(map.values);
    map.low = "negative";
    map.high = "positive, on a logarithmic scale";
    map.digits = -1;
    covariances.table = elements_table(map, r);
    covariances.picture = map;
    section.figures.push_back(std::move(covariances));
    if (names.size() < 2) return;
    Figure correlations{.title = "Correlations of " + name, .words = words_on_size(names)};
    fill_map(map, [&](int32_t i, int32_t j) { return correlation(r.cov_mat, i, j); });
    map.colours = map.values;
    map.low = "−1";
    map.high = "1";
    map.digits = 3;
    correlations.table = elements_table(map, r);
    correlations.picture = std::move(map);
    section.figures.push_back(std::move(correlations));
}

// Variances of each trait by matrix. Those of regressions depend on the covariable, and are no
// part of a sum.
struct Shares {
    std::vector<std::vector<double>> variances;  // by matrix and trait
    bool has_regressions = false;
};

Shares shares_of(const RunFolder& run) {
    const auto nt = static_cast<std::size_t>(run.run().nt);
    Shares shares{.variances = {run.matrices().size(), std::vector<double>(nt)}};
    for (std::size_t k = 0; k < run.factors().size(); ++k) {
        const RMatrix& r = run.factors()[k];
        for (int32_t c = 1; c <= r.n_cont; ++c) {
            if (r.cont_rr_eff(c)) {
                shares.has_regressions = true;
                continue;
            }
            const int32_t row = r.cont_rc(c);
            if (row < 1 || row > r.rank) continue;
            const double variance = r.cov_mat(row, row) * r.cont_coeff(c) * r.cont_coeff(c);
            shares.variances[k][static_cast<std::size_t>(r.cont_t_no(c)) - 1] += variance;
        }
    }
    const RMatrix& r = run.residual();
    for (int32_t i = 1; i <= std::min(run.run().nt, r.rank); ++i)
        shares.variances.back()[static_cast<std::size_t>(i) - 1] = r.cov_mat(i, i);
    return shares;
}

Figure shares_figure(const RunFolder& run) {
    const Shares shares = shares_of(run);
    Figure figure{.title = "Shares of the variance of each trait",
                  .words =
                      "The variances of the random effects and the residual in per cent of "
                      "their sum; covariances between effects are left out."};
    if (shares.has_regressions)
        figure.words += " So are random regressions, whose variance depends on the covariable.";
    Chart chart{.kind = Chart::shares, .x = {"share of the variance, %"}, .y = {"trait"}};
    figure.table.columns = {{"Trait"}};
    for (std::size_t k = 0; k < shares.variances.size(); ++k) {
        chart.series.push_back({name_of_matrix(run, static_cast<int32_t>(k) + 1), {}});
        figure.table.columns.push_back({chart.series.back().name});
        figure.table.columns.push_back({"share, %", 1});
    }
    for (int32_t i = 1; i <= run.run().nt; ++i) {
        const std::size_t t = static_cast<std::size_t>(i) - 1;
        chart.labels.push_back(run.trait(i).trait_name.string());
        figure.table.rows.push_back({chart.labels.back()});
        double sum = 0.0;
        for (const std::vector<double>& matrix : shares.variances) sum += matrix[t];
        for (std::size_t k = 0; k < shares.variances.size(); ++k) {
            const double share = 100.0 * shares.variances[k][t] / sum;
            chart.series[k].values.push_back(share);
            figure.table.rows.back().push_back(shares.variances[k][t]);
            figure.table.rows.back().push_back(share);
        }
    }
    figure.picture = std::move(chart);
    return figure;
}

// Residual variances by group.
Table groups_table(const RunFolder& run) {
    const RMatrix& r = run.residual();
    Table table{.columns = {{r.grp_name.string()}, {"Records"}},
                .caption = "Residual variances by group"};
    for (int32_t i = 1; i <= run.run().nt; ++i)
        table.columns.push_back({run.trait(i).trait_name.string()});
    for (int32_t g = 1; g <= std::min(r.grp_nlev, kMostGroups); ++g) {
        table.rows.push_back({std::to_string(r.grp_code(g)), int64_t{r.niegr(g)}});
        for (int32_t i = 1; i <= std::min(run.run().nt, r.rank); ++i)
            table.rows.back().push_back(r.h_cov_mat(i, i, g));
    }
    if (r.grp_nlev > kMostGroups) table.caption += fmt::format(", the first {}", kMostGroups);
    return table;
}

}  // namespace

std::string name_of_matrix(const RunFolder& run, int32_t k) {
    if (k > run.run().NRAMAT) return "residual";
    return fmt::format("{} (factor {})", run.factor_name(k), k);
}

std::vector<std::string> names_of_rows(const RunFolder& run, const RMatrix& r) {
    std::vector<std::string> names(static_cast<std::size_t>(std::max(r.rank, 0)));
    if (&r == &run.residual()) {
        for (int32_t i = 1; i <= std::min(run.run().nt, r.rank); ++i)
            names[static_cast<std::size_t>(i) - 1] = run.trait(i).trait_name.string();
        return names;
    }
    for (int32_t c = 1; c <= r.n_cont; ++c) {
        if (r.cont_rc(c) < 1 || r.cont_rc(c) > r.rank) continue;
        std::string& name = names[static_cast<std::size_t>(r.cont_rc(c)) - 1];
        if (!name.empty()) name += " + ";
        name += fmt::format("{} {}", r.cont_t_name(c).view(), r.cont_id_name(c).view());
        if (r.cont_rr_eff(c)) name += fmt::format("({})", r.cont_rr_name(c).view());
    }
    for (std::size_t i = 0; i < names.size(); ++i)
        if (names[i].empty()) names[i] = fmt::format("row {}", i + 1);
    return names;
}

Section covariance_section(const RunFigures& figures) {
    const RunFolder& run = figures.run;
    Section section{.id = "covariances", .title = "Starting values of (co)variances"};
    if (run.run().ISCALE == 1)
        section.words.push_back("After scaling by the residual standard deviations.");
    section.figures.push_back(shares_figure(run));
    section.figures.back().is_wide = true;
    for (int32_t k = 1; k <= run.run().NRAMAT + 1; ++k)
        add_maps(section, run, run.matrices()[static_cast<std::size_t>(k) - 1],
                 name_of_matrix(run, k));
    if (run.has_groups()) section.tables.push_back(groups_table(run));
    return section;
}

}  // namespace kve::companion
