#include "covariances/covariance_listing.h"

#include <algorithm>
#include <cmath>

#include "base/arrays.h"
#include "base/state.h"
#include "covariances/covariance_triangle.h"
#include "listing/stop.h"
#include "listing/triangle_listing.h"
#include "listing/units.h"
#include "model/model_records.h"

namespace kve {

READS(KVEINT);
READS(MODEL);
READS(RMAT);

namespace {

constexpr char kParameterFile[] = "Latest_parm";

// Lines of a block beside its triangle: empty lines and title.
constexpr int kLinesOfTitle = 5;

void print_triangle(const RMatrix& r, int32_t group, TriangleOf mode, Sheet& sheet) {
    Triangle<double> work = packed_covariances(r, group, "KVEGR");
    if (mode == TriangleOf::correlations) to_correlations(work);
    KVEPRM(0, r.rank, work, mode, sheet);
}

void begin_block(int32_t order, Sheet& sheet) {
    sheet.page_for(triangle_lines(order) + kLinesOfTitle);
    sheet.empty(2);
}

void print_random_matrices(TriangleOf mode, Sheet& sheet) {
    for (int32_t m = 1; m <= KVEINT.NRAMAT; ++m) {
        begin_block(RMAT(m).rank, sheet);
        if (mode == TriangleOf::covariances)
            sheet.line("  Covariance matrix for random effect no: %12d", m);
        else
            sheet.line("  Correlation matrix for random effect no: %12d", m);
        print_triangle(RMAT(m), kCommonMatrix, mode, sheet);
    }
}

// One matrix: of the only group, or common to all groups.
void print_residual_matrix(TriangleOf mode, Sheet& sheet) {
    const RMatrix& r = residual_of(RMAT);
    const bool covariances = mode == TriangleOf::covariances;
    begin_block(r.rank, sheet);
    if (r.grp_nlev <= 1) {
        sheet.line("%s", covariances ? "  Residual co-variance matrix   "
                                     : "  Residual correlation matrix   ");
    } else {
        sheet.line("%s", covariances ? "  Heterogeneous Residual co-variance matrix   "
                                     : "  Heterogeneous Residual correlation matrix");
        sheet.line("  No. of groups%12d", r.grp_nlev);
        sheet.line("  Same prior used for all groups");
    }
    print_triangle(r, kCommonMatrix, mode, sheet);
}

void print_group_matrices(TriangleOf mode, Sheet& sheet) {
    const RMatrix& r = residual_of(RMAT);
    for (int32_t g = 1; g <= r.grp_nlev; ++g) {
        begin_block(r.rank, sheet);
        if (mode == TriangleOf::covariances)
            sheet.line(" Heterogeneous Residual co-variance matrix - group %12d", g);
        else  // Kept: "crrelation" stands so in this title alone.
            sheet.line(" Heterogeneous Residual crrelation matrix - group %12d", g);
        print_triangle(r, g, mode, sheet);
    }
}

void print_matrices(TriangleOf mode, Sheet& sheet) {
    print_random_matrices(mode, sheet);
    if (residual_of(RMAT).grp_nlev > 1 && residual_of(RMAT).l_grp_prior)
        print_group_matrices(mode, sheet);
    else
        print_residual_matrix(mode, sheet);
}

// --- Phenotypic matrix: only where the sum of one random and the residual matrix is one.

bool has_nested_regression(const Model& m) {
    return std::any_of(m.reg_type.begin(), m.reg_type.end(),
                       [](int32_t type) { return type != kGeneralRegression; });
}

bool phenotype_is_simple() {
    return KVEINT.NRAMAT == 1 && RMAT(1).rank == KVEINT.nt && residual_of(RMAT).grp_nlev <= 1 &&
           RMAT(1).rank == residual_of(RMAT).rank &&
           std::none_of(MODEL.begin(), MODEL.end(), has_nested_regression);
}

bool rows_are_the_traits(const RMatrix& r) {
    for (int32_t i = 1; i <= r.rank; ++i)
        if (r.rank_tn(i) != i) return false;
    return true;
}

void print_intra_class(const Triangle<double>& P, Sheet& sheet) {
    sheet.page_for(KVEINT.nt + kLinesOfTitle);
    sheet.empty(2);
    sheet.line("         Intra Class");
    sheet.line("  Trait  Correlation    SD-R1       SD-Total");
    sheet.empty();
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        const double G = RMAT(1).cov_mat(i, i);
        sheet.line("%5d%s%s%s", i, number_column(G / P(i, i), 11, 5).c_str(),
                   number_column(std::sqrt(G), 14, 6).c_str(),
                   number_column(std::sqrt(P(i, i)), 14, 6).c_str());
    }
}

void print_phenotypic_section(Sheet& sheet) {
    const int32_t nt = KVEINT.nt;
    if (nt > 1 && !rows_are_the_traits(RMAT(1))) {
        sheet.page_for(4);
        sheet.empty();
        sheet.line("COMPUTATION OF PHENOTYPIC CO-VARIANCE MATRIX TRIED");
        sheet.line("CHECK MODEL AND RESULTS CAREFULLY!");
        sheet.empty();
    }
    Triangle<double> P = packed_covariances(RMAT(1), kCommonMatrix, "KVEGR");
    for (int32_t i = 1; i <= nt; ++i)
        for (int32_t j = 1; j <= i; ++j) P(i, j) += residual_of(RMAT).cov_mat(i, j);
    Triangle<double> correlations;
    check_allocated(correlations.allocate(nt), "KVEGR", "A", P.size());
    std::copy_n(P.data(), P.size(), correlations.data());
    to_correlations(correlations);

    begin_block(nt, sheet);
    sheet.line("  Phenotypic co-variance matrix           ");
    KVEPRM(0, nt, P, TriangleOf::covariances, sheet);
    begin_block(nt, sheet);
    sheet.line("  Phenotypic correlation matrix      ");
    KVEPRM(0, nt, correlations, TriangleOf::correlations, sheet);
    print_intra_class(P, sheet);
}

}  // namespace

void KVEGR(int32_t unit) {
    TextOutput file;
    Sheet sheet;
    if (unit != kListingUnit) {
        check_written(file.open(kParameterFile), kParameterFile);
        sheet.file = &file;
    }
    print_matrices(TriangleOf::covariances, sheet);
    print_matrices(TriangleOf::correlations, sheet);
    if (phenotype_is_simple()) print_phenotypic_section(sheet);
    if (sheet.file != nullptr) check_written(file.close(), kParameterFile);
}

}  // namespace kve
