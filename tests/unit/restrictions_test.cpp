// Restrictions on (co)variance components: from the lines of CVREST.DIR to flags and words.
#include "model/restrictions.h"

#include "model_builder.h"

using namespace kve;

namespace {

using Restrictions = ModelTest;

// Three traits with matrix 1, the first two with matrix 2.
void restrict_by(const std::string& lines) {
    derive_model({{"2 1 2", "2 1 2"}, {"2 1 2", "2 1 2"}, {"1 1", "1 1"}});
    std::ofstream("CVREST.DIR") << lines;
    apply_restrictions();
}

// The elements row by row: v restricted, c by its correlation, r by a ratio. Then what the matrix
// is in the ratio: restricted, in the numerator, in the denominator.
std::string flags_set() {
    std::string all;
    for (const RMatrix& r : state::RMAT) {
        for (int i = 1; i <= r.rank; ++i, all += ' ')
            for (int j = 1; j <= r.rank; ++j)
                all += r.l_cv_rest(i, j)              ? 'v'
                       : r.l_cor_rest(i, j)           ? 'c'
                       : i == j && r.l_vratio_elem(i) ? 'r'
                                                      : '.';
        all += r.l_vratio_mat_rest ? "R" : "";
        all += r.l_vratio_nom ? "N" : "";
        all += r.l_vratio_denon ? "D|" : "|";
    }
    return all;
}

// The lines stop the run. `words`, a regular expression, stand in front of the last ones.
void expect_stop(const std::string& lines, const std::string& words) {
    EXPECT_STOP(restrict_by(lines), words +
                                        "ERRORS - Processing of informations on restriction on "
                                        ".co.-variance components\nThe program terminates\n");
    EXPECT_TRUE(std::filesystem::exists("CVREST.DIR"));
}

}  // namespace

TEST_F(Restrictions, LinesSetFlags) {
    const std::pair<const char*, const char*> cases[] = {
        {"\n \t\r\n", "... ... ... |.. .. |... ... ... |"},
        {"VAR 2", "... ... ... |v. .v |... ... ... |"},
        {"  variance\t1 +1 3\r\n", "v.. ... ..v |.. .. |... ... ... |"},
        {"COV 3\ncov 1 1,2 3,3", ".v. v.. ..v |.. .. |.vv v.v vv. |"},
        {"Cor 1 3,2\nCOR 2\nVAR 1 2\nCOR 2", "... .vc .c. |.c c. |... ... ... |"},
        {"V_R 1 2 1 3 1 3", "r.. .r. ..r RN|.. .. |... ... ... ND|"},
        {"V_R 3 1 1 1 3 2\nVAR 3 1 3\nCOR 3", "... ... ... N|.. .. |vcc crc ccv RD|"},
    };
    for (const auto& [lines, expected] : cases) {
        listing_of([&, text = lines] { restrict_by(text); });
        EXPECT_EQ(flags_set(), expected) << lines;
        EXPECT_EQ(listing_of(apply_restrictions), "");  // the file is gone
    }
    EXPECT_STOP((std::filesystem::create_directory("CVREST.DIR"), apply_restrictions()),
                "ERROR - reading the file CVREST.DIR failed: Is a directory\nProgram terminates");
}

TEST_F(Restrictions, FaultsAreToldLineByLineAndStop) {
    const std::string unread = " Illegal argument for .co.-variance matrix number\n";
    const std::string factor = " Illegal argument for random factor no.\n";
    const std::string range = " The number must be between 1 and +3\n The value specified: +";
    const std::string matrix = " Illegal specification of .co.-variance matrix number\n" + range;
    const std::string below = "in the denumerator of a ratio\n";
    const struct {
        std::string line;
        int times;
        std::string fault;
    } cases[] = {
        {"VAT 1", 1, "Wrong option specified on .VAR_REST line\n\n"},
        {"VAR", 1, "variances\n" + unread},
        {"VAR 4 1", 1, "variances\n" + matrix + "4\n"},
        {"VAR 2 3 x 1,2 0 2", 4, "variances\n Illegal argument for variance no.\n"},
        {"VAR" + std::string(198, '1'), 1, "A .VAR_REST line is longer than 200 characters\n"},
        {"COV 1,1", 1, "co-variances\n" + unread},
        {"COV 0", 1, "co-variances\n" + matrix + "0\n"},
        {"COV 1 2,4 1, ,2 1,2,3 1 3,1", 5, "\n Reading co-variance number .i,j. to restrict\n"},
        {"COR 99999999999", 1, "correlations\n" + factor},
        {"COR 9", 1, "correlations\n" + matrix + "9\n"},
        {"COR 1 4,1 1", 2, "correlations\n Illegal argument for co-variance no.\n"},
        {"COR 1 2,2", 1, ".* row: +2 col: +2        Row and Column  most be different\n"},
        {"V_R", 1, "matrix number to restrict as part of a ratio\n" + factor},
        {"V_R 4", 1, "specification of .co.-variance matrix to restrict\n" + range + "4\n"},
        {"V_R 1", 1, "reading number of co-variances matrices in the numerator of a ratio\n"},
        {"V_R 1 4", 1, "specification of number of .co.-variance matrices in the numerator\n"},
        {"V_R 1 1", 1, "reading .co.-variance matrix number to be used as numerator\n"},
        {"V_R 1 1 4 1 1", 1, "specification of .co.-variance matrix number\n"},
        {"V_R 1 1 1", 1, "reading number of .co.-variance matrix " + below},
        {"V_R 1 1 1 0", 1, "number of .co.-variance matrix " + below},
        {"V_R 1 1 1 2 x y", 2, "reading identification for denumerator .co.-variance matrix no.\n"},
        {"V_R 1 1 1 1 -1", 1, "Illegal identification for denumerator .co.-variance matrix no.\n"},
        {"V_R 2 1 2 1 1 3 a", 2, "elements to restrict\n Expected input: row/col no.\n"}};
    for (const auto& [line, times, fault] : cases)
        expect_stop(line, "CVREST.DIR\n(ERROR - [^\n]*" + fault + "){" + std::to_string(times) +
                              "}.VAR_REST " + line.substr(0, 200) + "\n");
    const std::string both = "matrix no. +1\n For some elements, restriction as components and ";
    expect_stop("VAR 0\nVAR 1 1\nV_R 1 1 1 1 3 1\nCOV 1\nCOR 1 1,2",
                both + "correlations is specified\nERROR.*" + both + "ratio is specified\n");
}

TEST_F(Restrictions, ReportShowsFlagsAndRatios) {
    const std::string listing = listing_of([] { restrict_by("VAR 1 2\nCOR 2\nV_R 3 2 3 1 1 1"); });
    EXPECT_EQ(listing.substr(listing.find("\n\n\nRestr")),
              "\n\n\nRestrictions on (co)variance components\n"
              "---------------------------------------\nMatrix no.            1\n"
              "         1    2    3\n    1    0\n    2    0    1\n    3    0    0    0\n\n"
              "Restrictions on correlations\n----------------------------\n"
              "Matrix no.            2\n         1    2\n    1    0\n    2    1    0\n\n"
              "Restrictions on variance ratios\n-------------------------------\n"
              " Restricted matrix no.:            3\n Nominator            :            1+3\n"
              " Denumerator          :            1\n");
    const std::string size = "equal size\n .* restrict .+2. has dim= +2\n Co-variance matrix +";
    expect_stop("V_R 1 1 1 1 3\nV_R 2 1 1 1 3",
                "ratios\n-+\nERROR - Co-variance matricx to restrict is not included in the ratio\n"
                "ERROR.*" +
                    size + "1 has dim= +3\nERROR.*" + size + "3 has dim= +3\n");
    // Of six smaller matrices five are told.
    EXPECT_STOP(
        {
            derive_model({{"8 1 1 1 1 1 1 1 1", "8 1 1 2 3 4 5 6 7"}});
            std::ofstream("CVREST.DIR") << "V_R 1 7 1 2 3 4 5 6 7 1 1";
            apply_restrictions();
        },
        "matrix +6 has dim= +1\nERRORS");
}
