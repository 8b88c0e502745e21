#include "reports/banner.h"

#include "listing/listing.h"

namespace kve {
namespace {

constexpr const char* kLetters[] = {
    "                       ##    ##   ##      ##   ########",
    "                       ##   ##    ##      ##   ##",
    "                       #####       ##    ##    ######",
    "                       ##  ##       ##  ##     ##",
    "                       ##   ##       ####      ##",
    "                       ##    ##       ##       ########",
};

constexpr const char* kNotice[] = {
    "",
    "KVE",
    "A package for the analysis of multivariate mixed models",
    "",
    "KVE1 prepares an analysis. It",
    "",
    "   - reads one directive file from standard input",
    "   - checks the model, the data and the prior (co)variances",
    "   - recodes every class variable to consecutive level numbers",
    "   - counts the levels and the equations",
    "   - writes the files that the analysis programs read",
    "",
    "Every message below tells what was understood or what is wrong. A run that",
    "reaches its end says so in its last line and has exit status 0. Every stop",
    "caused by an error has exit status 16.",
    "",
    "Files left in the working directory",
    "",
    "   RCDATA_I, RCDATA_R    recoded data",
    "   MODINF                the model with everything learned from the data",
    "   CODE_TABLE            identities in the data and their level numbers",
    "   AINV*, PEDFILE*       inverse relationship matrices, pedigrees by level",
    "   PGMIX*, COR*, GINV*   other relationship matrices, also DOM* and IBD*",
    "   KVE_LOG               what was understood of the model section",
    "   KVE*.dir, PARIN       sections of the directive file",
    "",
    "The dimensions of the large tables grow by themselves. A file KVEDIM in the",
    "working directory sets them from the start, which saves time. The prefix of",
    "relative file names is taken from the file ST_DIR, if any.",
};

}  // namespace

void print_banner() {
    blank(2);
    for (const char* row : kLetters) say("%s", row);
    blank();
    say("                                Version: %s, Release: %s", KVE1_VERSION, KVE1_RELEASE);
    blank();
    say("+--------------------------------------------------------------------------------+");
    for (const char* row : kNotice) say("|  %-76s  |", row);
    say("+--------------------------------------------------------------------------------+");
    count_lines(42);
}

}  // namespace kve
