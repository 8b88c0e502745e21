#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <string_view>

#include "run/directive_lines.h"
#include "run/directive_reader.h"

using namespace kve;

READS(DIRECTIVES);
READS(cinp);

namespace {

void put_on_standard_input(std::string_view text) {
    std::FILE* file = std::tmpfile();
    ASSERT_NE(file, nullptr);
    std::fwrite(text.data(), 1, text.size(), file);
    std::fflush(file);
    ::lseek(::fileno(file), 0, SEEK_SET);
    ::dup2(::fileno(file), 0);
    std::fclose(file);
    open_directives();
}

Keyword first_line(std::string_view text) {
    put_on_standard_input(text);
    return read_directive_line();
}

// Directives with what is always required, in an own folder, and `more` at their end.
void read(std::string_view analyse, std::string_view more) {
    std::string folder = testing::TempDir();
    ASSERT_EQ(::chdir(folder.c_str()), 0);
    std::string text = "$ANALYSE ";
    text += analyse;
    text += "\n$DATA ASCII (3,2,-9.5) /dev/null\n$MODEL /dev/null\n$PRIOR /dev/null\n";
    text += more;
    put_on_standard_input(text);
    read_directives();
}

}  // namespace

TEST(DirectiveLine, JoinsTwoLinesByOneBlankAndOverwritesTheSecondByTheThird) {
    EXPECT_EQ(first_line("abc  /\ndef\n"), Keyword::text);
    EXPECT_EQ(cinp, "abc def");
    // The third piece begins in column 4 + 2, whatever stands there and behind.
    first_line("abcdefgh /\nijkl/\nmn\n");
    EXPECT_EQ(cinp, "abcdemn");
    // Behind a gap it begins farther right than the text is long.
    first_line("a /\nbcdefghij /\nk");
    EXPECT_EQ(cinp, "a bcdefghik");
    first_line("/\nx y /\nz\n");
    EXPECT_EQ(cinp, " x yz");
}

TEST(DirectiveLine, CommentsAndEmptyLinesLeaveAChainPending) {
    EXPECT_EQ(first_line("\n   \n\t \n# no /\n  a /\n#x\n\n b\n"), Keyword::text);
    EXPECT_EQ(cinp, "a b");
}

TEST(DirectiveLine, TabsBecomeBlanksAndALeadingOneMakesALineText) {
    EXPECT_EQ(first_line("  $DATA\tx\ty\t\n"), Keyword::DATA);
    EXPECT_EQ(cinp, "$DATA x y");
    EXPECT_EQ(keyword_text(Keyword::DATA), "x y");
    EXPECT_EQ(first_line("\t$DATA\n"), Keyword::text);
    EXPECT_EQ(cinp, " $DATA");
    EXPECT_EQ(first_line(" \t# x\n"), Keyword::text);
}

TEST(DirectiveLine, AKeywordLineHasNoContinuationAndDropsAPendingOne) {
    EXPECT_EQ(first_line("$MODEL a/\nb\n"), Keyword::MODEL);
    EXPECT_EQ(cinp, "$MODEL a/");
    EXPECT_EQ(first_line("a long piece /\n$DATA x\n"), Keyword::DATA);
    EXPECT_EQ(cinp, "$DATA x");
    EXPECT_EQ(first_line("a /\n"), Keyword::end_of_file);
    EXPECT_EQ(cinp, "");
    put_on_standard_input("$REDUCE\n$VAR_STR\n");
    EXPECT_EQ(read_directive_line(Keyword::REDUCE), Keyword::text);
    EXPECT_EQ(read_directive_line(Keyword::REDUCE), Keyword::VAR_STR);
}

TEST(DirectiveLine, CutsPhysicalAndLogicalLines) {
    std::string longest(2000, 'x');
    EXPECT_EQ(first_line(longest + "yz/\nlast"), Keyword::text);
    EXPECT_EQ(cinp, longest);
    // A carriage return behind the last column is not seen.
    first_line(longest + "\r\n");
    EXPECT_EQ(cinp, longest);
    std::string piece = longest.substr(1) + "/\n";
    first_line(piece + piece + piece + "end\n");
    EXPECT_EQ(cinp, longest.substr(1) + " end");
}

TEST(Directives, GlmmFoldsCaseAndSpacingAndSortsByTrait) {
    read("11 8 0 0",
         "$GLMM 2 link = user(a=b,varf=no)\n   VARF   =  poisson  cf= 2.5d-1 /\n offset =3\n"
         "$GLMM 1 LINK=LOGIT VARF=BINOMIAL\n"
         "$GLMM 2 LINK=LOG\n");
    ASSERT_EQ(DIRECTIVES.glmm.size(), 3U);
    EXPECT_EQ(DIRECTIVES.glmm[0].trait, 1);
    EXPECT_EQ(DIRECTIVES.glmm[0].corr_fact, 0.5F);
    EXPECT_EQ(DIRECTIVES.glmm[0].offset_column, 0);
    const GLMM_NODE& node = DIRECTIVES.glmm[1];
    EXPECT_EQ(node.link, "USER(A=B,VARF=NO)");
    EXPECT_EQ(node.varf, "POISSON");
    EXPECT_EQ(node.corr_fact, 0.25F);
    EXPECT_EQ(node.offset_column, 3);
    EXPECT_EQ(DIRECTIVES.glmm[2].link, "LOG");
    EXPECT_TRUE(DIRECTIVES.glmm[2].varf.blank());
}

TEST(Directives, OptionsOfTheSamplingTask) {
    read("2 0 0 /",
         "$MIXTURE\n 2\n"
         "$CURE 1 2\n 3 4\n$CURE 5 /\n"
         "$CENS 3 CENS=2 INT_MAX = 1\n$CENS 1 xCENS =  7\n"
         "$TD_PTD 1 AM 4 5\n"
         "$SOL_COV 9\n"
         "$VAR_STR 1 PED 6 RAM R 0.5 ASCII /dev/null ignored\n"
         "-------- 2 PGMIX 1 BINARY a b /dev/c 0.25 G-ADJUST\n"
         "$VAR_STR 3 GROUP 0\n");
    EXPECT_EQ(DIRECTIVES.IS_MIXTURE(1), 0);
    EXPECT_NE(DIRECTIVES.IS_MIXTURE(2), 0);
    ASSERT_EQ(DIRECTIVES.cure.size(), 2U);
    EXPECT_EQ(DIRECTIVES.cure[0].sequence, 4);
    EXPECT_EQ(DIRECTIVES.cure[1].trait_column, 5);
    EXPECT_EQ(DIRECTIVES.cure[1].mixture_column, 0);
    ASSERT_EQ(DIRECTIVES.cens.size(), 2U);
    EXPECT_EQ(DIRECTIVES.cens[0].censoring_code, 7);
    EXPECT_FALSE(DIRECTIVES.cens[0].has_upper_limit);
    EXPECT_EQ(DIRECTIVES.cens[1].trait, 3);
    EXPECT_EQ(DIRECTIVES.cens[1].upper_limit, 1);
    EXPECT_EQ(DIRECTIVES.td_ptd.model_type, "AM");
    EXPECT_EQ(DIRECTIVES.td_ptd.option_2, 5);
    EXPECT_EQ(DIRECTIVES.n_sol_cov, -1);
    ASSERT_EQ(DIRECTIVES.var_str.size(), 3U);
    const VAR_STR_SPEC& ped = DIRECTIVES.var_str[0];
    EXPECT_TRUE(ped.ram && ped.r);
    EXPECT_EQ(ped.r_value, 0.5);
    EXPECT_EQ(ped.file[0], "/dev/null");
    const VAR_STR_SPEC& pgmix = DIRECTIVES.var_str[1];
    EXPECT_EQ(pgmix.format, kBinaryFile);
    EXPECT_EQ(pgmix.file[2], "/dev/c");
    EXPECT_EQ(pgmix.weight, 0.25);
    EXPECT_TRUE(pgmix.g_adjust);
    EXPECT_EQ(DIRECTIVES.var_str[2].structure, Structure::GROUP);
}

TEST(Directives, NamesCountTheRangesInBrackets) {
    read("1 1 1 2", "$SOL_COV 2 +5 7\n$VARIABLE\nHERD AGE_OF_DAM /\n x[0:0]\n w[-1:0]tail\n");
    EXPECT_EQ(DIRECTIVES.NAME_I(0), "Mu");
    EXPECT_EQ(DIRECTIVES.NAME_I(2), "AGE_OF_D");
    EXPECT_EQ(DIRECTIVES.NAME_I(3), "x0");
    EXPECT_EQ(DIRECTIVES.NAME_R(1), "w-1");
    EXPECT_EQ(DIRECTIVES.NAME_R(2), "w0");
    EXPECT_EQ(DIRECTIVES.RMISS, -9.5F);
    EXPECT_EQ(DIRECTIVES.sol_cov(2), 7);
}

TEST(Directives, TheSubmissionDirectoryStandsInFrontOfRelativeNamesOnce) {
    state::DIRECTIVES.ST_DIR = "/dev/";
    read("1 1 0 0", "$OLDSOL null\n$VAR_STR 1 COR ASCII null\n$VAR_STR 2 PGMIX 1 ASCII p q /r\n");
    EXPECT_EQ(DIRECTIVES.oldsol.name, "/dev//null");
    EXPECT_EQ(DIRECTIVES.model.name, "/dev/null");
    EXPECT_EQ(DIRECTIVES.var_str[0].file[0], "/dev//null");
    EXPECT_EQ(DIRECTIVES.var_str[1].file[1], "/dev//q");
    EXPECT_EQ(DIRECTIVES.var_str[1].file[2], "/r");
}
