// Whole runs: where they take place, what they need and what they leave.
#include "run.h"

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

// One trait with the mean and the random effect of column HERD.
class Run : public testing::Test {
 protected:
    Run() { scratch.write("data", "10 1.5\n30 2.5\n20 4.5\n"); }

    static std::string directives(const std::string& more = "", const std::string& task = "1 1") {
        return "$ANALYSE " + task + " 0 0\n$DATA ASCII (1,1,-9.0) data\n" + more +
               "$MODEL\n1\n0\n1 0 1 1\n1 1\n0\n0\n$PRIOR\n1 1 1 1.0\n2 1 1 4.0\n";
    }

    void ends_well(const std::string& text) const {
        Outcome outcome = scratch.run(text);
        EXPECT_EQ(outcome.status, 0) << outcome.listing;
        EXPECT_TRUE(outcome.listing.ends_with("\n\n\n\n END OF KVE1V6  \n")) << outcome.listing;
    }

    // The listing ends with `words`, lines and blanks as they stand.
    void stops(const std::string& text, const std::string& words) const {
        Outcome outcome = scratch.run(text);
        EXPECT_EQ(outcome.status, 16);
        EXPECT_TRUE(outcome.listing.ends_with(words)) << words << "\n in " << outcome.listing;
    }

    Scratch scratch;
};

}  // namespace

TEST_F(Run, HeadAndPlacesStandInTheirColumns) {
    std::string listing = scratch.run(directives()).listing;
    EXPECT_EQ(listing.find("KVE1V6  "), 1U);
    EXPECT_EQ(listing.find("Multivariate Mixed Model Package"), 29U);
    EXPECT_EQ(listing.find('\n'), 76U + 19U);
    std::string place = scratch.folder().string();
    EXPECT_NE(listing.find("\n         Working directory:   " + place + "\n"), std::string::npos);
    EXPECT_EQ(listing.find("Submition"), std::string::npos);
    // The head, and the 42 lines that the banner counts.
    std::size_t host = listing.find("         Executed on host:    ");
    EXPECT_EQ(
        std::count(listing.begin(), listing.begin() + static_cast<std::ptrdiff_t>(host), '\n'), 43);
}

TEST_F(Run, SubmissionDirectoryIsThePrefixOfFileNames) {
    std::string name(90, 's');
    fs::create_directory(scratch.folder() / name);
    fs::rename(scratch.folder() / "data", scratch.folder() / name / "data");
    scratch.write("ST_DIR", "  " + name + " \r\nsecond line");
    ends_well(directives());
    EXPECT_NE(scratch.read("listing.out")
                  .find("\n         Submition directory: " + name + "....." + std::string(36, 's') +
                        "\n"),
              std::string::npos);

    fs::rename(scratch.folder() / name / "data", scratch.folder() / "data");
    scratch.write("ST_DIR", " ");  // a line without line end
    ends_well(directives());

    std::string words =
        "\n\nUnexpected EOF on file with name of submition directory\n\nProgram terminates\n";
    scratch.write("ST_DIR", "");
    stops(directives(), words);
    fs::remove(scratch.folder() / "ST_DIR");
    fs::create_directory(scratch.folder() / "ST_DIR");
    stops(directives(), words);
}

TEST_F(Run, SmallTablesChangeNothing) {
    ends_well(directives());
    std::string integers = scratch.read("RCDATA_I"), codes = scratch.read("CODE_TABLE");
    EXPECT_FALSE(scratch.has("PEDDATA"));
    EXPECT_FALSE(scratch.has("INBREED"));
    scratch.write("KVEDIM", "&kvedim MFL=1, MDL=1, MAXNRM=1 /");
    ends_well(directives());
    EXPECT_EQ(scratch.read("RCDATA_I"), integers);
    EXPECT_EQ(scratch.read("CODE_TABLE"), codes);
    scratch.write("data", "x");
    EXPECT_EQ(scratch.run(directives()).status, 16);
    EXPECT_TRUE(scratch.has("PEDDATA"));
}

TEST_F(Run, RefusesWhatItCanNotHandleYet) {
    scratch.write("ped", "1 0 0 1\n");
    std::string words = "\nERROR - This version of KVE1 can not handle ";
    for (std::string type : {"PED 1 ASCII", "ABS_QTL 1 ASCII", "DOM 1 ASCII", "COR ASCII",
                             "GREL ASCII", "PGMIX 1 ASCII ped ped"})
        stops(directives("$VAR_STR 1 " + type + " ped\n"),
              words + "variance structure " + type.substr(0, type.find(' ')) +
                  " of random factor 1\nProgram terminates\n");
    for (std::string keyword : {"GLMM", "FINFO", "OLDSOL"})
        stops(directives("$" + keyword + (keyword == "GLMM" ? " 1 VARF=A LINK=B\n" : " data\n"),
                         "11 1"),
              words + "the keyword " + keyword + "\nProgram terminates\n");
    ends_well(directives("$OLDSOL data\n"));  // has no use in this task
    stops(directives("$VAR_REST\n1\n"),
          words + "restrictions, which it finds in the file CVREST.DIR\nProgram terminates\n");
    stops(directives(), "CVREST.DIR\nProgram terminates\n");
}

TEST_F(Run, TextPedigreesHaveFourColumns) {
    auto listing = [this](const std::string& first_line) {
        scratch.write("ped", first_line);
        return folded(scratch
                          .run(directives("$VAR_STR 1 PED 1 ASCII ped\n"
                                          "$VAR_STR 2 PED 1 BINARY ped\n"))
                          .listing);
    };
    const std::string words = "for random factor 1 do not contain 4 columns";
    for (const char* line : {"", "1 0 0\n", "1,0,0,1\n", "1 0 0 \t\r\n7", "1\t0 0\n1\n"}) {
        EXPECT_NE(listing(line).find(words), std::string::npos) << line;
        EXPECT_TRUE(listing(line).ends_with("Sort_Var KVE1 terminates")) << line;
    }
    for (const char* line : {"1 0 0 1", "  1\t0\t0\t1\r\n", "1, 0, 0, 1 more\n", "\t1 0 0\n"})
        EXPECT_EQ(listing(line).find(words), std::string::npos) << line;
    fs::remove(scratch.folder() / "ped");
    fs::create_directory(scratch.folder() / "ped");
    stops(directives("$VAR_STR 1 PED 1 ASCII ped\n"),
          "random factor           1 cannot be opened: ped\nProgram terminates\n");
}

TEST_F(Run, StopsAtAFileThatCannotBeOpened) {
    for (const char* file : {"MODINF", "CODE_TABLE", "RCDATA_I", "RCDATA_R", "PEDDATA", "INBREED",
                             "oldsol", "KVE_LOG"}) {
        fs::remove(scratch.folder() / file);
        fs::create_directory(scratch.folder() / file);
        stops(directives("$OLDSOL data\n"), std::string("\nERROR OPENING FILES\n        File: ") +
                                                file + "\nProgram terminates\n");
        fs::remove(scratch.folder() / file);
    }
    fs::remove(scratch.folder() / "data");
    fs::create_directory(scratch.folder() / "data");
    stops(directives(), "ERROR OPENING FILES\n        File: data\nProgram terminates\n");
}

TEST_F(Run, AnInputIsNotEmptiedAsAnOutput) {
    scratch.write("oldsol", "solutions");
    stops(directives("$OLDSOL ./oldsol\n"),
          "\nERROR OPENING FILES\n        File: oldsol is input and output of this run\n"
          "Program terminates\n");
    EXPECT_EQ(scratch.read("oldsol"), "solutions");
    fs::create_symlink("data", scratch.folder() / "KVE_LOG");
    stops(directives(), "File: KVE_LOG is input and output of this run\nProgram terminates\n");
    EXPECT_FALSE(scratch.read("data").empty());
}

TEST_F(Run, DevicesAndPipesAreNoInput) {
    std::string pipe = (scratch.folder() / "pipe").string();
    ASSERT_EQ(std::system(("mkfifo '" + pipe + "'").c_str()), 0);
    for (const std::string& name : {pipe, std::string("/dev/zero")})
        stops("$ANALYSE 1 1 0 0\n$DATA ASCII (1,1,-9.0) data\n$MODEL " + name + "\n",
              "ERROR OPENING FILES\n        File: " + name + "\nProgram terminates\n");
}

TEST_F(Run, FullDiskIsToldOnceAheadOfTheLastLine) {
    for (const char* file : {"RCDATA_I", "RCDATA_R", "MODINF", "CODE_TABLE", "KVE_LOG"}) {
        fs::remove(scratch.folder() / file);
        fs::create_symlink("/dev/full", scratch.folder() / file);
        std::string words = std::string("ERROR - writing the file ") + file + " failed\n";
        stops(directives(), words + "Program terminates\n");
        EXPECT_EQ(scratch.run(directives()).times(words), 1);
        fs::remove(scratch.folder() / file);
    }
    EXPECT_EQ(scratch.run(directives(), ">/dev/full").status, 16);
}

// The first file that a run opens must not take the place of the listing.
TEST_F(Run, ClosedListingReachesNoFile) {
    std::string faults = "$ANALYSE 1 1 0 0\n$VAR_REST\n1 1\n";
    for (int k = 0; k < 200; ++k) faults += "$DATA WRONG\n";
    EXPECT_EQ(scratch.run(faults, ">&-").status, 16);
    EXPECT_EQ(scratch.read("CVREST.DIR"), "1 1\n");
}
