// The sections of a report on one run.
#pragma once

#include "kve/report/page.h"
#include "kve/report/run_figures.h"

namespace kve::companion {

Section message_section(const RunFigures& figures);
Section analysis_section(const RunFigures& figures);
Section trait_section(const RunFigures& figures);
Section covariable_section(const RunFigures& figures);
Section pair_section(const RunFigures& figures);
Section level_section(const RunFigures& figures);
Section covariance_section(const RunFigures& figures);
Section pedigree_section(const RunFigures& figures);
Section matrix_section(const RunFigures& figures);
Section file_section(const RunFigures& figures);

// What is known of the population of a pedigree.
struct Measure {
    std::string name;
    Cell value;  // nothing where it is unknown
    std::string unit;
};
std::vector<Measure> measures_of(const PedigreeFigures& pedigree);
Table measures_table(const PedigreeFigures& pedigree);
std::vector<Figure> population_figures(const RunFigures& figures, const PedigreeFigures& pedigree);

// The axis of a column of values, with its unit.
std::string axis_of_values(const RunFolder& run, const ValueColumn& values);
// One row for each row of a (co)variance matrix.
std::vector<std::string> names_of_rows(const RunFolder& run, const RMatrix& r);
std::string name_of_matrix(const RunFolder& run, int32_t k);  // NRAMAT + 1 is the residual

}  // namespace kve::companion
