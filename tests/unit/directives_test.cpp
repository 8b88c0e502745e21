#include "directives/directives.h"

#include <cstdio>

#include "directives/directive_reader.h"
#include "model_builder.h"

using namespace kve;
using state::DIRECTIVES;
using DirectiveFile = ModelTest;

namespace {

// Directives with what is always required and `more` at their end.
void read(const std::string& analyse, const std::string& more) {
    std::FILE* file = std::tmpfile();
    std::fprintf(file,
                 "$ANALYSE %s\n$DATA ASCII (3,2,-9.5) /dev/null\n$MODEL /dev/null\n"
                 "$PRIOR /dev/null\n%s",
                 analyse.c_str(), more.c_str());
    std::rewind(file);
    ::dup2(::fileno(file), STDIN_FILENO);
    std::fclose(file);
    read_directives();
}

template <int N>
std::ostream& operator<<(std::ostream& out, const Text<N>& text) {
    return out << text.view();
}
std::ostream& operator<<(std::ostream& out, const FileName (&files)[3]) {
    return out << files[0] << ',' << files[1] << ',' << files[2];
}

// The fields of all records, one record a line.
std::string listed(const auto& records, auto... fields) {
    std::ostringstream all;
    for (const auto& record : records) {
        ((all << record.*fields << ' '), ...);
        all << '\n';
    }
    return all.str();
}

}  // namespace

TEST_F(DirectiveFile, GlmmFoldsCaseAndSpacingAndSortsByTrait) {
    read("11 8 0 0",
         "$GLMM 2 link = user(a=b,varf=no)\n   VARF   =  poisson  cf= 2.5d-1 /\n offset =3\n"
         "$GLMM 1 LINK=LOGIT VARF=BINOMIAL\n"
         "$GLMM 2 LINK=LOG\n");
    using Glmm = GLMM_NODE;
    EXPECT_EQ(listed(DIRECTIVES.glmm, &Glmm::trait, &Glmm::link, &Glmm::varf, &Glmm::corr_fact,
                     &Glmm::offset_column),
              "1 LOGIT BINOMIAL 0.5 0 \n2 USER(A=B,VARF=NO) POISSON 0.25 3 \n2 LOG  0.5 0 \n");
}

TEST_F(DirectiveFile, OptionsOfTheSamplingTask) {
    read("2 0 0 /",
         "$MIXTURE\n 2\n"
         "$CURE 1 2\n 3 4\n$CURE 5 /\n"
         "$CENS 3 CENS=2 INT_MAX = 1\n$CENS 1 xCENS =  7\n"
         "$TD_PTD 1 AM 4 5\n"
         "$SOL_COV 9\n"
         "$VAR_STR 1 PED 6 RAM R 0.5 ASCII /dev/null ignored\n"
         "-------- 2 PGMIX 1 BINARY a b /dev/c 0.25 G-ADJUST\n"
         "$VAR_STR 3 GROUP 0\n");
    using Cure = CURE_SPEC;
    EXPECT_EQ(listed(DIRECTIVES.cure, &Cure::trait_column, &Cure::mixture_column, &Cure::subject,
                     &Cure::sequence),
              "1 2 3 4 \n5 0 0 0 \n");
    using Cens = CENS_NODE;
    EXPECT_EQ(listed(DIRECTIVES.cens, &Cens::trait, &Cens::censoring_code, &Cens::has_upper_limit,
                     &Cens::upper_limit),
              "1 7 0 0 \n3 2 1 1 \n");
    using S = VAR_STR_SPEC;
    EXPECT_EQ(listed(DIRECTIVES.var_str, &S::factor, &S::type, &S::method, &S::ram, &S::r,
                     &S::r_value, &S::format, &S::file, &S::weight, &S::g_adjust),
              "1 PED 6 1 1 0.5 1 /dev/null,, 0 0 \n2 PGMIX 1 0 0 0 2 a,b,/dev/c 0.25 1 \n"
              "3 GROUP 0 0 0 0 0 ,, 0 0 \n");
    EXPECT_EQ(DIRECTIVES.td_ptd.model_type, "AM");
    EXPECT_EQ(DIRECTIVES.td_ptd.option_2, 5);
    EXPECT_EQ(DIRECTIVES.n_sol_cov, -1);
    EXPECT_TRUE(!is_mixture_variable(1) && is_mixture_variable(2));
}

TEST_F(DirectiveFile, NamesCountTheRangesInBrackets) {
    read("1 1 1 2", "$SOL_COV 2 +5 7\n$VARIABLE\nHERD AGE_OF_DAM /\n x[0:0]\n w[-1:0]tail\n");
    std::string names;
    for (const Name& name : DIRECTIVES.NAME_I) names += name.string() + " ";
    for (const Name& name : DIRECTIVES.NAME_R) names += name.string() + " ";
    EXPECT_EQ(names, "Mu HERD AGE_OF_D x0 w-1 w0 ");
    EXPECT_EQ(DIRECTIVES.RMISS, -9.5F);
    EXPECT_EQ(DIRECTIVES.sol_cov(2), 7);
}

TEST_F(DirectiveFile, TheSubmissionDirectoryStandsInFrontOfRelativeNamesOnce) {
    DIRECTIVES.ST_DIR = "/dev/";
    read("1 1 0 0", "$OLDSOL null\n$VAR_STR 1 COR ASCII null\n$VAR_STR 2 PGMIX 1 ASCII p q /r\n");
    EXPECT_EQ(DIRECTIVES.oldsol.name, "/dev//null");
    EXPECT_EQ(DIRECTIVES.model.name, "/dev/null");
    EXPECT_EQ(listed(DIRECTIVES.var_str, &VAR_STR_SPEC::file),
              "/dev//null,, \n/dev//p,/dev//q,/r \n");
}
