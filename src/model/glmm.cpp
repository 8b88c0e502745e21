#include "model/glmm.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "base/state.h"
#include "base/text.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "model/function_string.h"
#include "model/model_records.h"

namespace kve {

READS(DIRECTIVES);
READS(KVEINT);
WRITES(MODEL);

namespace {

constexpr std::string_view kUser = "USER";

struct Family {
    VarianceFamily family;
    std::string_view word, var_f, deviance;
};

struct Link {
    std::string_view word, link_f, dlink_f, invlink_f;
};

constexpr Family kFamilies[] = {
    {VarianceFamily::NORMAL, "NORMAL", "1", "(Y-MU)**2"},
    {VarianceFamily::POISSON, "POISSON", "MU", "2*(Y*LOG(Y/MU)-(Y-MU))"},
    {VarianceFamily::BINOMIAL, "BINOMIAL", "MU*(1-MU)", "2*(Y*LOG(Y/MU)+(1-Y)*LOG((1-Y)/(1-MU)))"},
    {VarianceFamily::GAMMA, "GAMMA", "MU**2", "2*(Y/MU-1+LOG(MU/Y))"},
    {VarianceFamily::INVGAUSSIAN, "INVGAUSSIAN", "MU**3", "((Y-MU)**2)/((MU**2)*Y)"},
};

// Kept: the bracket that is missing after the second PROBIT, and the inverse of COMPLOG and
// LOGLOG, which is that of neither. The analysis programs know these texts as they stand.
constexpr Link kLinks[] = {
    {"IDENTITY", "MU", "1", "ETA"},
    {"LOG", "LOG(MU)", "1/MU", "EXP(ETA)"},
    {"EXPONENTIAL", "EXP(MU)", "EXP(MU)", "LOG(ETA)"},
    {"RECIPROCAL", "1/MU", "-1/(MU**2)", "1/ETA"},
    {"LOGIT", "LOG(MU/(1-MU))", "1/(MU*(1-MU))", "EXP(ETA)/(1+EXP(ETA))"},
    {"PROBIT", "PROBIT(MU)", "(PROBIT(MU+NUMDER)-PROBIT(MU-NUMDER)/(2*NUMDER)", "PROBNORM(ETA)"},
    {"COMPLOG", "LOG(-LOG(1-MU))", "-1/((1-MU)*LOG(1-MU))", "EXP(-EXP(ETA))"},
    {"LOGLOG", "-LOG(-LOG(MU))", "-1/(MU*LOG(MU))", "EXP(-EXP(ETA))"},
};
constexpr Family kNormal = kFamilies[0];
constexpr Link kIdentity = kLinks[0];

constexpr std::string_view kMu[] = {"MU"};
constexpr std::string_view kEta[] = {"ETA"};
constexpr std::string_view kObservedAndMu[] = {"Y", "MU"};

// A function that the user can give.
struct UserFunction {
    Text<256> Model::*field;
    int32_t number;  // among the functions of a trait
    std::span<const std::string_view> variables;
    const char* error;
};
constexpr int32_t kFunctionsOfTrait = 5;

constexpr UserFunction kVarianceParts[] = {
    {&Model::var_f, 1, kMu, "ERROR - In user specified Variance function for trait no."},
    {&Model::deviance, 5, kObservedAndMu,
     "ERROR - In user specified Deviance function for trait no."},
};
constexpr UserFunction kLinkParts[] = {
    {&Model::link_f, 2, kMu, "ERROR - In user specified link function for trait no."},
    {&Model::dlink_f, 3, kMu,
     "ERROR - In user specified 1st derivative of link function for trait no."},
    {&Model::invlink_f, 4, kEta, "ERROR - In user specified inverse link function for trait no."},
};

void say_function_error(const char* head, int32_t trait, const FunctionMessages& messages) {
    std::size_t n = messages.size();
    while (n > 0 && messages[n - 1].blank()) --n;
    Block block;
    block.blank();
    block.line("%s%12d", head, trait);
    for (std::size_t k = 0; k < n; ++k) block.line("%.*s", KVE_SV(messages[k].view()));
    block.print();
}

// `arguments` is what stands after USER, in brackets. All commas after the last part but one
// belong to the last part. The number of functions with errors.
int take_user_functions(int32_t trait, std::string_view arguments,
                        std::span<const UserFunction> parts, FunctionTable& functions) {
    int faults = 0;
    std::string_view rest = arguments.size() < 2 ? "" : arguments.substr(1, arguments.size() - 2);
    for (const UserFunction& part : parts) {
        const bool is_last = &part == &parts.back();
        const std::string_view text = rest.substr(0, is_last ? rest.npos : rest.find(','));
        rest.remove_prefix(std::min(text.size() + 1, rest.size()));
        MODEL(trait).*part.field = text;
        FunctionMessages messages;
        const int32_t number = (trait - 1) * kFunctionsOfTrait + part.number;
        if (parse_function(functions, number, text, part.variables, messages) == 0) continue;
        ++faults;
        say_function_error(part.error, trait, messages);
    }
    return faults;
}

// The word USER, whose functions are taken, or the word of the table of families or links. The
// number of functions with errors.
int take_word(Text<256>& word, int32_t trait, const Text<256>& given,
              std::span<const UserFunction> parts, FunctionTable& functions) {
    word = given;
    if (!given.view().starts_with(kUser)) return 0;
    word = kUser;
    return take_user_functions(trait, given.view().substr(kUser.size()), parts, functions);
}

bool trait_is_free(const GLMM_NODE& node) {
    if (node.trait < 1 || node.trait > KVEINT.nt) {
        Block block;
        block.blank();
        block.line("ERROR - GLMM specification for trait no.:          %12d", node.trait);
        block.line(" Number of traits in this analysis:                %12d", KVEINT.nt);
        block.print();
        return false;
    }
    if (MODEL(node.trait).l_glmm) {
        Block block;
        block.blank();
        block.line("ERROR - Repeated GLMM specification for trait no.: %12d", node.trait);
        block.print();
        return false;
    }
    return true;
}

// The last bracket of USER(...) is lost with the rest, and what is left may still be a function.
int refuse_cut_functions(const GLMM_NODE& node) {
    if (!node.is_cut) return 0;
    Block block;
    block.blank();
    block.line("ERROR - VARF= or LINK= is longer than 256 characters for trait no.: %12d",
               node.trait);
    block.line("        Shorten the functions");
    block.print();
    return 1;
}

// The number of faults in the line.
int take_line(const GLMM_NODE& node, FunctionTable& functions) {
    if (!trait_is_free(node)) return 1;
    Model& m = MODEL(node.trait);
    m.l_glmm = true;
    int faults = take_word(m.var_fn, node.trait, node.varf, kVarianceParts, functions);
    faults += take_word(m.link_fn, node.trait, node.link, kLinkParts, functions);
    faults += refuse_cut_functions(node);
    m.corr_fact = node.corr_fact;
    m.offset_inp = node.offset_column;
    if (node.offset_column >= 0 && node.offset_column <= DIRECTIVES.NR) return faults;
    Block block;
    block.blank();
    block.line("ERROR - Illegal OFFSET real variable for trait no.: %12d value: %12d", node.trait,
               node.offset_column);
    block.print();
    return faults + 1;
}

// Null for an unknown word.
template <class Entry, std::size_t N>
const Entry* find_word(const Entry (&table)[N], const Text<256>& word) {
    for (const Entry& entry : table)
        if (word == entry.word) return &entry;
    return nullptr;
}

// 0, or 1 for an unknown word.
int settle_variance(Model& m, int32_t trait) {
    if (m.l_glmm && m.var_fn == kUser) return 0;
    const Family* family = m.l_glmm ? find_word(kFamilies, m.var_fn) : &kNormal;
    if (family != nullptr) {
        m.family = family->family;
        m.var_f = family->var_f;
        m.deviance = family->deviance;
        return 0;
    }
    Block block;
    block.blank();
    block.line(
        "ERROR - Specified variance function %.*s for trait %12d is not implemented. "
        "Try to specify the variance function as a",
        KVE_SV(m.var_fn.view()), trait);
    block.line(" USER defined function");
    block.print();
    return 1;
}

int settle_link(Model& m, int32_t trait) {
    if (m.l_glmm && m.link_fn == kUser) return 0;
    const Link* link = m.l_glmm ? find_word(kLinks, m.link_fn) : &kIdentity;
    if (link != nullptr) {
        m.link_f = link->link_f;
        m.dlink_f = link->dlink_f;
        m.invlink_f = link->invlink_f;
        return 0;
    }
    Block block;
    block.line("ERROR - Specified link function %.*s for trait %12d is not implemented.",
               KVE_SV(m.link_fn.view()), trait);
    block.line(" Try to specify the link function as a");
    block.line(" USER defined function");
    block.print();
    return 1;
}

}  // namespace

int set_generalized_models() {
    const int64_t n_functions = int64_t{kFunctionsOfTrait} * KVEINT.nt;
    FunctionTable functions;
    check_allocated(functions.allocate(n_functions), "GLMM", "FUNCTIONS", n_functions);
    int faults = 0;
    for (const GLMM_NODE& node : DIRECTIVES.glmm) faults += take_line(node, functions);
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        faults += settle_variance(MODEL(i), i);
        faults += settle_link(MODEL(i), i);
    }
    return faults;
}

}  // namespace kve
