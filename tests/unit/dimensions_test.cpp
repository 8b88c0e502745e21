#include "directives/dimensions.h"

#include "model_builder.h"

using namespace kve;

using state::DIMENSIONS;

using Kvedim = ModelTest;

namespace {

std::string dimensions_of(const std::string& text) {
    std::ofstream("KVEDIM") << text;
    DIMENSIONS = Dimensions{};
    read_dimensions();
    return std::to_string(DIMENSIONS.MFL.now) + " " + std::to_string(DIMENSIONS.MDL.now) + " " +
           std::to_string(DIMENSIONS.MAXNRM.now);
}

}  // namespace

TEST_F(Kvedim, TakesEveryFormOfAGroup) {
    const char* const defaults = "100000 300000 300000";
    read_dimensions();  // no file
    EXPECT_EQ(DIMENSIONS.MFL.now, 100000);
    const std::pair<const char*, const char*> cases[] = {
        {"", defaults},
        {"&kvedim mfl=5 /\n&KVEDIM MFL = 7, mdl=+8/", "7 8 300000"},
        {"title &kvedim\r\n mfl\n=\n5 maxnrm=9 &end tail mdl=3", "5 300000 9"},
        {"&kvedim mfl=5,\tmdl=6 maxzhz=1 ifspwsp=1 mgsgr=1", "5 6 300000"},
        {"&kvedim mfl=5 ! mdl=6 /\n maxnrm=4!x\n/", "5 300000 4"},
        {"! &kvedim mfl=5 /\n&other mfl=6 / &kvedims mfl=7 /", defaults},
        {"&other a=1 &kvedim mfl=5 /", "5 300000 300000"},
        {"&kvedim/ &kvedim mfl=, mdl= maxnrm=3 /", "100000 300000 3"},
        {"&kvedim mfl= /", defaults},
        {"&kvedim mfl=0 mdl=-2147483648 /", "1 1 300000"},
        {"&kvedim mfl=5 mdl", "5 300000 300000"},
        {"&kvedim mfl=5 mdl=", "5 300000 300000"}};
    for (auto [text, expected] : cases) EXPECT_EQ(dimensions_of(text), expected) << text;
}

TEST_F(Kvedim, StopsAtUnknownNamesAndBadValues) {
    for (std::string text : {"mfx=5", "mfl= x=1", "x"})
        EXPECT_STOP(dimensions_of("&kvedim " + text),
                    "\nERROR READING KVEDIM\n\nIO-status = +2\n\nProgram terminates\n");
    for (std::string text :
         {"mfl=abc", "mfl=1.5", "mfl=1e5", "mfl=2*5", "mfl='5'", "mfl(1)=5", "mfl=2147483648",
          "mfl 5", "mfl=5 6", "=5", "mfl=5 &kvedim mdl=1", "mfl=mdl(1)=5"})
        EXPECT_STOP(dimensions_of("&kvedim " + text + " /"), "IO-status = +3\n") << text;
    std::filesystem::remove("KVEDIM");
    std::filesystem::create_directory("KVEDIM");
    EXPECT_STOP(read_dimensions(), "IO-status = +1\n");
}
