#include "run/dimensions.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "run/big_tables.h"
#include "stops.h"

using namespace kve;

WRITES(DIMENSIONS);

namespace {

class Kvedim : public testing::Test {
 protected:
    void SetUp() override {
        std::string pattern = (std::filesystem::temp_directory_path() / "kvedim-XXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        std::filesystem::current_path(folder_ = pattern);
    }
    void TearDown() override {
        std::filesystem::current_path("/");
        std::filesystem::remove_all(folder_);
    }

    static std::string read(const std::string& text) {
        std::ofstream("KVEDIM") << text;
        DIMENSIONS = Dimensions{};
        read_dimensions();
        return std::to_string(DIMENSIONS.MFL.now) + " " + std::to_string(DIMENSIONS.MDL.now) + " " +
               std::to_string(DIMENSIONS.MAXNRM.now);
    }

    std::filesystem::path folder_;
};

const char* const kDefaults = "100000 300000 300000";

}  // namespace

TEST_F(Kvedim, WithoutFileTheDefaultsStand) {
    read_dimensions();
    EXPECT_EQ(DIMENSIONS.MFL.now, 100000);
    EXPECT_EQ(read(""), kDefaults);
}

TEST_F(Kvedim, TakesEveryFormOfAGroup) {
    EXPECT_EQ(read("&kvedim mfl=5 /\n&KVEDIM MFL = 7, mdl=+8/"), "7 8 300000");
    EXPECT_EQ(read("title &kvedim\r\n mfl\n=\n5 maxnrm=9 &end tail mdl=3"), "5 300000 9");
    EXPECT_EQ(read("&kvedim mfl=5,\tmdl=6 maxzhz=1 ifspwsp=1 mgsgr=1"), "5 6 300000");
    EXPECT_EQ(read("&kvedim mfl=5 ! mdl=6 /\n maxnrm=4!x\n/"), "5 300000 4");
    EXPECT_EQ(read("! &kvedim mfl=5 /\n&other mfl=6 / &kvedims mfl=7 /"), kDefaults);
    EXPECT_EQ(read("&other a=1 &kvedim mfl=5 /"), "5 300000 300000");
    EXPECT_EQ(read("&kvedim/ &kvedim mfl=, mdl= maxnrm=3 /"), "100000 300000 3");
    EXPECT_EQ(read("&kvedim mfl= /"), kDefaults);
    EXPECT_EQ(read("&kvedim mfl=0 mdl=-2147483648 /"), "1 1 300000");
    EXPECT_EQ(read("&kvedim mfl=5 mdl"), "5 300000 300000");
    EXPECT_EQ(read("&kvedim mfl=5 mdl="), "5 300000 300000");
}

TEST_F(Kvedim, StopsAtUnknownNamesAndBadValues) {
    for (const char* text : {"&kvedim mfx=5 /", "&kvedim mfl= x=1 /", "&kvedim x"})
        EXPECT_STOP(read(text), "\nERROR READING KVEDIM\n\nIO-status = +2\n\nProgram terminates\n");
    for (const char* text :
         {"mfl=abc", "mfl=1.5", "mfl=1e5", "mfl=2*5", "mfl='5'", "mfl(1)=5", "mfl=2147483648",
          "mfl 5", "mfl=5 6", "=5", "mfl=5 &kvedim mdl=1", "mfl=mdl(1)=5"})
        EXPECT_STOP(read(std::string("&kvedim ") + text + " /"), "IO-status = +3\n") << text;
}

TEST_F(Kvedim, StopsAtAFolder) {
    std::filesystem::create_directory("KVEDIM");
    EXPECT_STOP(read_dimensions(), "IO-status = +1\n");
}
