// Whole runs: where they take place, what they need and what they leave.
#include "run.h"

#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

const char* const kFolder = "/";

// One trait with the mean and the random effect of column HERD.
class Run : public testing::Test {
 protected:
    Run() { scratch.write("data", "10 1.5\n30 2.5\n20 4.5\n"); }

    static std::string directives(const std::string& more = "", const std::string& task = "1 1") {
        return "$ANALYSE " + task + " 0 0\n$DATA ASCII (1,1,-9.0) data\n" + more +
               "$MODEL\n1\n0\n1 0 1 1\n1 1\n0\n0\n$PRIOR\n1 1 1 1.0\n2 1 1 4.0\n";
    }

    // The listing ends with `words`, lines and blanks as they stand.
    Outcome ends(const std::string& text, const std::string& words, int status) const {
        Outcome outcome = scratch.run(text);
        EXPECT_EQ(outcome.status, status);
        EXPECT_TRUE(outcome.listing.ends_with(words)) << words << "\n in " << outcome.listing;
        return outcome;
    }
    Outcome ends_well(const std::string& text) const {
        return ends(text, "\n\n\n\n END OF KVE1V6  \n", 0);
    }
    Outcome stops(const std::string& text, const std::string& words) const {
        return ends(text, words + "\nProgram terminates\n", 16);
    }

    // `name` is a link to `target` for this run only.
    void stops_with(const std::string& name, const char* target, const std::string& text,
                    const std::string& words) const {
        fs::path path = scratch.folder() / name;
        fs::remove(path);
        fs::create_symlink(target, path);
        EXPECT_EQ(stops(text, words).times(words), 1);
        fs::remove(path);
    }

    Scratch scratch;
};

}  // namespace

// In a folder of its own; one input has the name of an output there.
TEST_F(Run, InputsAreFoundInTheirOwnFolder) {
    scratch.write("ped", "10 0 0 1\n20 10 0 2\n30 10 20 3\n");
    scratch.write("model", "1\n0\n1 0 1 1\n1 1\n0\n0\n");
    scratch.write("prior", "1 1 1 1.0\n2 1 1 4.0\n");
    scratch.write("KVEDIM", "&kvedim MFL=5 /");
    const std::string directives =
        "$ANALYSE 11 9 0 0\n$DATA ASCII (1,1,-9.0) data\n$VAR_STR 1 PED 1 ASCII ped\n"
        "$MODEL model\n$PRIOR prior\n";
    const Outcome here = scratch.run(directives);
    fs::rename(scratch.folder() / "ped", scratch.folder() / "AINV1");
    const Scratch fresh;
    ::setenv("KVE_INPUTS", scratch.folder().c_str(), 1);
    const Outcome there =
        fresh.run(std::string(directives).replace(directives.find("ped\n"), 3, "AINV1"));
    ::unsetenv("KVE_INPUTS");
    EXPECT_EQ(there.status, 0) << there.listing;
    for (const char* file : {"CODE_TABLE", "RCDATA_R", "INBREED"})
        EXPECT_EQ(fresh.read(file), scratch.read(file)) << file;
    const std::string title = "MODEL STATISTICS";
    EXPECT_EQ(there.words.substr(there.words.find(title)),
              here.words.substr(here.words.find(title)));
    EXPECT_FALSE(fresh.has("data"));
}

TEST_F(Run, HeadAndPlacesStandInTheirColumns) {
    Outcome outcome = scratch.run(directives());
    EXPECT_EQ(outcome.listing.find("KVE1V6                      Multivariate Mixed Model"), 1U);
    EXPECT_TRUE(
        outcome.prints("\n         Working directory:   " + scratch.folder().string() + "\n"));
    EXPECT_FALSE(outcome.prints("Submition"));
    // The head, and the 42 lines that the banner counts.
    EXPECT_TRUE(lines_of(outcome.listing).at(43).starts_with("         Executed on host:    "));
}

TEST_F(Run, SubmissionDirectoryIsThePrefixOfFileNames) {
    const std::string name(90, 's');
    fs::create_directory(scratch.folder() / name);
    fs::rename(scratch.folder() / "data", scratch.folder() / name / "data");
    scratch.write("ST_DIR", "  " + name + " \r\nsecond line");
    EXPECT_TRUE(ends_well(directives())
                    .prints("\n         Submition directory: " + name + "....." +
                            std::string(36, 's') + "\n"));

    fs::rename(scratch.folder() / name / "data", scratch.folder() / "data");
    scratch.write("ST_DIR", " ");  // a line without line end
    ends_well(directives());
    const char* words = "\n\nUnexpected EOF on file with name of submition directory\n";
    scratch.write("ST_DIR", "");
    stops(directives(), words);
    stops_with("ST_DIR", kFolder, directives(), words);
}

TEST_F(Run, TextPedigreesHaveFourColumns) {
    const std::string text =
        directives("$VAR_STR 1 PED 1 ASCII ped\n$VAR_STR 2 PED 1 BINARY ped\n");
    const char* words = "for random factor 1 do not contain 4 columns";
    for (const char* line : {"", "1 0 0\n", "1,0,0,1\n", "1 0 0 \t\r\n7", "1\t0 0\n1\n"}) {
        scratch.write("ped", line);
        Outcome outcome = scratch.run(text);
        EXPECT_TRUE(outcome.says(words)) << line;
        EXPECT_TRUE(outcome.words.ends_with("Sort_Var KVE1 terminates")) << line;
    }
    for (const char* line : {"1 0 0 1", "  1\t0\t0\t1\r\n", "1, 0, 0, 1 more\n", "\t1 0 0\n"}) {
        scratch.write("ped", line);
        EXPECT_FALSE(scratch.run(text).says(words)) << line;
    }
    stops_with("ped", kFolder, text, "random factor           1 cannot be opened: ped");
}

TEST_F(Run, StopsAtFilesThatCannotBeOpenedOrWritten) {
    const std::string opening = "\nERROR OPENING FILES\n        File: ";
    // Neither a link that leads out of the folder nor what is no file becomes an output.
    const fs::path folder = scratch.folder() / "folder", pipe = scratch.folder() / "pipe";
    fs::create_directory(folder);
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0666), 0);
    const fs::path outside = fs::path(scratch.folder()) += ".outside";
    std::ofstream(outside) << "kept";
    const char* const link = "it is a link that leads out of the working directory, or to no file";
    const std::pair<std::string, const char*> kinds[] = {
        {outside.string(), link},
        {"nothing", link},
        {"/dev/null", link},
        {"folder", "it is a folder"},
        {"pipe", "it is a pipe, a socket or a device"}};
    std::size_t n = 0;
    for (std::string file : {"MODINF", "CODE_TABLE", "RCDATA_I", "RCDATA_R", "PEDDATA", "INBREED",
                             "oldsol", "KVE_LOG", "AINV1", "PEDFILE1"}) {
        const auto& [target, words] = kinds[n++ % std::size(kinds)];
        stops_with(file, target.c_str(), directives("$OLDSOL data\n$VAR_STR 1 PED 1 BINARY data\n"),
                   "ERROR - the output " + file + " cannot be opened: " + words + ": remove it" +
                       opening + file);
    }
    EXPECT_EQ(fs::file_size(outside), 4U);
    fs::remove(outside);
    std::ofstream(folder / "model") << "of an earlier run";
    fs::remove(scratch.folder() / "MODINF");
    fs::create_symlink("folder/model", scratch.folder() / "MODINF");
    ends_well(directives());
    EXPECT_GT(framed_records(scratch.read("folder/model")).size(), 80U);
    fs::remove(scratch.folder() / "MODINF");
    // Devices and pipes are no input.
    for (const std::string& name : {pipe.string(), std::string("/dev/zero")})
        stops("$ANALYSE 1 1 0 0\n$DATA ASCII (1,1,-9.0) data\n$MODEL " + name + "\n",
              opening + name);
    stops_with("data", kFolder, directives(), opening + "data");
}

TEST_F(Run, MakesNoFileThatIsAnotherInputOrOutput) {
    const fs::path folder = scratch.folder();
    const std::string all =
        "$ANALYSE 1 1 0 0\n$DATA ASCII (1,1,-9.0) data\n$MODEL model\n$PRIOR prior\n$OLDSOL old\n"
        "$FINFO foreign\n$KVE4\nx\n$VAR_STR 1 PGMIX 1 ASCII ped typed genomic\n$VAR_STR 2 COR "
        "ASCII "
        "matrix\n$VAR_STR 3 PED 1 ASCII ped\n$VAR_STR 4 GREL ASCII matrix\n";
    const std::vector<std::string> inputs{"data",    "model",  "prior",        "old",
                                          "foreign", "ped",    "typed",        "genomic",
                                          "matrix",  "KVEDIM", "directives.in"},
        outputs{"KVE4.dir",   "CVREST.DIR", "KVE_LOG",  "PEDDATA",  "INBREED",   "MODINF",
                "CODE_TABLE", "RCDATA_I",   "RCDATA_R", "oldsol",   "RC_F_INFO", "PGMIX1",
                "COR2",       "MISS_ID2",   "AINV3",    "PEDFILE3", "GINV4"};
    for (const std::string& input : inputs) scratch.write(input, "&kvedim /\n");
    const auto refuses = [&](const std::string& words) {
        const Outcome outcome = scratch.run(all);
        EXPECT_TRUE(outcome.status == 16 && outcome.says(words) &&
                    outcome.words.ends_with("TERMINATED"))
            << words << outcome.listing;
        for (const std::string& name : inputs)
            EXPECT_EQ(scratch.read(name), name == "directives.in" ? all : "&kvedim /\n") << name;
        for (const char* name : {"PEDDATA", "RCDATA_R", "KVE_LOG"})
            EXPECT_TRUE(!scratch.has(name) || !scratch.read(name).empty()) << words;
    };
    for (std::size_t k = 0; k < std::max(inputs.size(), outputs.size()); ++k) {
        const std::string &input = inputs[k % inputs.size()], &output = outputs[k % outputs.size()];
        SCOPED_TRACE(input + output);
        if (k % 2 == 0)
            fs::create_symlink(input, folder / output);
        else
            fs::create_hard_link(folder / input, folder / output);
        refuses(k == 0 ? "the text below it goes to the file KVE4.dir"
                       : "the file " + output + " is input and output of this run: by name or by");
        fs::remove(folder / output);
    }
    // Links to nothing, too.
    fs::create_symlink("RCDATA_R", folder / "RCDATA_I");
    refuses("the files RCDATA_I and RCDATA_R are one file");
    fs::remove(folder / "RCDATA_I");
    fs::create_symlink("./one", folder / "RC_F_INFO");
    fs::create_symlink(folder / "one", folder / "COR2");
    refuses("the files RC_F_INFO and COR2 are one file");
    fs::remove(folder / "COR2");
    fs::remove(folder / "RC_F_INFO");
    for (const auto& [listing, words] : {std::pair{">  MODINF", "files of the listing and MODINF"},
                                         {">> data", "file of the listing is input and output"}}) {
        const std::string run =
            "cd '" + folder.string() + "' && '" KVE1_PROGRAM "' < directives.in ";
        EXPECT_NE(std::system((run + listing).c_str()), 0);
        EXPECT_NE(scratch.read(std::string(listing).substr(3)).find(words), std::string::npos);
    }
}
