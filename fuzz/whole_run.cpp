// Whole runs in which the fuzzer writes one of the input files. FUZZED is the name of the target.
#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "process.h"
#include "run/driver.h"
#include "small_inputs.h"

namespace {

std::string directives(const std::string& task, const std::string& lines, const std::string& model,
                       const std::string& priors, const std::string& data = "ASCII (4,6,-9) data") {
    return "$ANALYSE " + task + " 1 2\n$DATA " + data + "\n$VARIABLE\nA B C D X W Y1 Y2 V Z\n" +
           lines + "$MODEL" + model + "$PRIOR" + priors;
}

const std::string kTwoFactors = "\n1\n0\n3 2 3 1 2 2\n2 1 2\n0\n0\n";
const std::string kPriors = "\n1 1 1 1\n2 1 1 1\n3 1 1 1\n";
const std::string kPedigree = "$VAR_STR 1 PED 1 ASCII ped\n";

std::string structure(const std::string& line, const std::string& task = "1 1") {
    const std::string other = line[0] == '2' ? kPedigree : "";
    return directives(task, other + "$VAR_STR " + line + "\n", kTwoFactors, kPriors);
}

// Without directives the fuzzer writes these. Else the first byte of the input says which of them
// read the file, and the file is what follows it.
struct Target {
    std::string name;
    std::string file;
    std::vector<std::string> directives;
};

const std::string kAbsorbed = "\n1\n1 1\n3 0 2 4 2\n1 1\n1 1\n0\n";
const std::string kSequence =
    "$REDUCE\n1\n1\n$CURE 3 4 2 1\n$VAR_STR 1 PED 2 RAM ASCII ped\n$VAR_STR 2 GROUP 3\n";
const std::string kTwoGaussian = "\n2 2 0 0 0\n0\n0\n3 2 2 1 2\n4 0 2 1 2\n1 1\n1 1\n0\n1 1\n0\n";
const std::string kTwoTraits = "\n2\n0\n0\n3 0 2 1 2\n4 0 2 1 2\n1 1\n1 1\n0\n0\n0\n";

const Target kTargets[] = {
    {"directives", "directives.in", {}},
    {"data",
     "data",
     {directives("11 9", kPedigree, kTwoFactors, kPriors),
      directives("12 1", "", kAbsorbed, kPriors),
      directives("2 0", kSequence, kTwoGaussian, kPriors),
      directives("11 9", "", kTwoFactors, kPriors, "ASCII (4,6,-9) data data"),
      directives("11 9", "", kTwoFactors, kPriors, "BINARY (2,1,-9) data"),
      directives("11 9", "$GLMM 1 VARF=BINOMIAL LINK=LOGIT OFFSET=2\n$CENS 1 CENS=1\n", kTwoFactors,
                 kPriors)}},
    {"pedigree",
     "ped",
     {structure("1 PED 1 ASCII ped"), structure("1 PED 2 ASCII ped"),
      structure("1 PED 4 ASCII ped"), structure("1 PED 6 ASCII ped"),
      structure("1 PED 6 R 1.5 ASCII ped"), structure("1 PED 1 BINARY ped"),
      structure("1 PED 1 ASCII ped", "12 1"), structure("1 PED 6 RAM ASCII ped", "2 0"),
      structure("1 PGMIX 1 ASCII ped typed genomic 0.05 G-ADJUST")}},
    {"matrices",
     "elements",
     {structure("1 COR ASCII elements"), structure("1 COR BINARY elements"),
      structure("1 GREL ASCII elements"), structure("1 GREL BINARY elements"),
      structure("2 DOM 1 ASCII elements"), structure("2 DOM 1 BINARY elements"),
      structure("2 ABS_QTL 1 ASCII elements"),
      structure("1 PGMIX 1 ASCII ped typed elements 0.05 G-ADJUST"),
      structure("1 PGMIX 1 ASCII ped elements genomic 0.25"),
      structure("1 PGMIX 1 BINARY elements typed genomic 0.25")}},
    {"model",
     "model",
     {directives("1 1", "", " model\n", kPriors),
      directives("11 9", kPedigree, " model\n", kPriors),
      directives("12 1", "", " model\n", kPriors),
      directives("2 0", kSequence, " model\n", kPriors),
      directives("2 0", "$REDUCE\n1 2 1\n1 1\n1 2 3\n", " model\n", kPriors)}},
    {"priors",
     "prior",
     {directives("11 9", "", kTwoTraits, " prior\n"),
      directives("2 0", kSequence, kTwoGaussian, " prior\n")}},
    {"restrictions", "CVREST.DIR", {directives("1 1", "", kTwoTraits, kPriors)}},
    {"old_solutions",
     "old",
     {directives("11 9", kPedigree + "$OLDSOL old\n", kTwoFactors, kPriors),
      directives("12 1", kPedigree + "$OLDSOL old\n", kAbsorbed, kPriors)}},
    {"foreign_information",
     "foreign",
     {directives("11 9", kPedigree + "$FINFO foreign\n", kTwoFactors, kPriors),
      directives("11 9", "$VAR_STR 1 PED 6 ASCII grouped\n$FINFO foreign\n", kTwoFactors,
                 kPriors)}},
};

void prepare_files(const Target& target, std::string_view input) {
    static const Files inputs = input_files(12);
    empty_scratch_folder();
    for (const auto& [name, content] : inputs) write_file(name, content);
    // Small tables, so that they grow.
    write_file("KVEDIM", "&kvedim MFL=20 MDL=15 MAXNRM=30 /");
    if (target.directives.empty()) return write_file(target.file, input);
    const std::size_t which = input.empty() ? 0 : static_cast<unsigned char>(input[0]);
    write_file("directives.in", target.directives[which % target.directives.size()]);
    write_file(target.file, input.substr(std::min<std::size_t>(1, input.size())));
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t count) {
    static const Target& target = *std::find_if(std::begin(kTargets), std::end(kTargets),
                                                [](const Target& t) { return t.name == FUZZED; });
    prepare_files(target, as_text(bytes, count));
    read_standard_input_from("directives.in");
    send_listing_to("listing.out");
    const int status = run_fresh(kve::run);
    require(status == 0 || status == 16);
    return 0;
}
