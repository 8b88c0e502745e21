#include "directives/catalogue.h"

#include "base/text.h"

namespace kve {
namespace {

constexpr std::string_view KEYWORD_NAME[kKeywords] = {
    "COMMENT",  "ANALYSE", "DATA", "VARIABLE",  "MODEL",  "REDUCE",    "VAR_STR", "PRIOR",
    "OLDSOL",   "FINFO",   "KVE4", "KVE5",      "KVEAI",  "KVEMGP",    "KVEGS",   "MIXTURE",
    "VAR_REST", "GLMM",    "CURE", "RESIDUALS", "TD_PTD", "GLMM_PRED", "SOL_COV", "CENS",
};

struct Task {
    int32_t task;
    Text<20> label;
};

constexpr Task TASK_NAME[] = {
    {1, "AI-REML"},
    {2, "KVEGS"},
    {11, "BLUE & BLUP - KVE4"},
    {12, "BLUE & BLUP - KVE5"},
};

// A label is held in 42 characters; the rest of a longer one never shows. Method 0 exists for task
// 2 alone.
struct Method {
    int32_t task, method;
    Text<42> label;
};

constexpr Method METHOD_LABEL[] = {
    {1, 1, "AI-REML with EM crash recovery"},
    {1, 2, "EM-REML Robin Thompson version"},
    {1, 3, "EM-REML Esa Mantysaari version"},
    {1, 4, "AI-REML with step halving"},
    {1, 11, "AI-REML with EM crash recovery (Metis)"},
    {1, 12, "EM-REML Robin Thompson version (Metis)"},
    {1, 13, "EM-REML Esa Mantysaari version (Metis)"},
    {1, 14, "AI-REML with step halving (Metis)"},
    {1, 31, "AI-REML with EM crash recovery (Dense-PD)"},
    {1, 32, "EM-REML Robin Thompson version (Dense-PD)"},
    {1, 33, "EM-REML Esa Mantysaari version (Dense-PD)"},
    {1, 34, "AI-REML with step halving (Dense-PD)"},
    {1, 41, "AI-REML with EM crash recovery (Dense)"},
    {1, 42, "EM-REML Robin Thompson version (Dense)"},
    {1, 43, "EM-REML Esa Mantysaari version (Dense)"},
    {1, 44, "AI-REML with step halving (Dense)"},
    {2, 0, "MCMC"},
    {11, 1, "ITPACK JCG"},
    {11, 2, "ITPACK JSI"},
    {11, 3, "ITPACK SOR"},
    {11, 4, "ITPACK SSORCG"},
    {11, 5, "ITPACK SSORSI"},
    {11, 6, "ITPACK RSCG"},
    {11, 7, "ITPACK RSSI"},
    {11, 8, "FSPAK SE/SP calculated element by element"},
    {11, 9, "FSPAK SE/SP calculated speed optimised"},
    {11, 10, "FSPAK SE/SP calculated memory optimised"},
    {11, 11, "FSPAK - METIS SE/SP calculated element by element"},
    {11, 12, "FSPAK - METIS SE/SP calculated speed optimised"},
    {11, 13, "FSPAK - METIS SE/SP calculated memory optimised"},
    {11, 20, "IMKL - PARADISO min. degree reordering"},
    {11, 21, "IMKL - PARADISO reordering by METIS"},
    {11, 22, "IMKL - PARADISO parallel min. degree reordering"},
    {11, 30, "DENSE MME - Positive definit coefficnt matrix"},
    {11, 31, "DENSE MME - Simi-positive definit coefficnt matrix"},
    {11, 100, "STORE MME ON FILE"},
    {12, 1, "GAUSS-SEIDEL - 2. order JACOBI"},
    {12, 2, "PRECOND. CONJUGATE GRADIENT"},
};

constexpr std::string_view STRUCT_TYPE[kStructures] = {
    "PED", "GROUP", "ABS_QTL", "DOM", "COR", "PGMIX", "GREL",
};

struct StructureMethod {
    Structure structure;
    int32_t method;
    std::string_view label;
};

constexpr StructureMethod STRUCT_METHOD_LABEL[] = {
    {Structure::PED, 1, "Sire Dam - inbreed"},
    {Structure::PED, 2, "Sire Dam - non inbreed"},
    {Structure::PED, 3, "Sire MGS - inbreed"},
    {Structure::PED, 4, "Sire MGS - non inbreed"},
    {Structure::PED, 6, "Sire Dam - PHG - non inbreed"},
};

}  // namespace

std::string_view keyword_name(Keyword keyword) {
    int32_t number = static_cast<int32_t>(keyword);
    return number >= 1 && number <= kKeywords ? KEYWORD_NAME[number - 1] : std::string_view();
}

Keyword keyword_of(std::string_view name) {
    for (int32_t number = 1; number <= kKeywords; ++number)
        if (KEYWORD_NAME[number - 1] == name) return keyword_number(number);
    return Keyword::text;
}

std::string_view task_label(int32_t task) {
    for (const Task& entry : TASK_NAME)
        if (entry.task == task) return entry.label.view();
    return {};
}

std::string_view method_label(int32_t task, int32_t method) {
    for (const Method& entry : METHOD_LABEL)
        if (entry.task == task && entry.method == method) return entry.label.view();
    return {};
}

std::string_view structure_name(Structure structure) {
    if (structure == Structure::I) return "I";
    int32_t number = static_cast<int32_t>(structure);
    return number >= 1 && number <= kStructures ? STRUCT_TYPE[number - 1] : std::string_view();
}

Structure structure_of(std::string_view name) {
    for (int32_t number = 1; number <= kStructures; ++number)
        if (STRUCT_TYPE[number - 1] == name) return static_cast<Structure>(number);
    return Structure::unknown;
}

std::string_view structure_method_label(Structure structure, int32_t method) {
    for (const StructureMethod& entry : STRUCT_METHOD_LABEL)
        if (entry.structure == structure && entry.method == method) return entry.label;
    return {};
}

}  // namespace kve
