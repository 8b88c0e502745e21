// What the package can be asked for: the keywords of the directive file, the tasks with their
// methods, the (co)variance structures with the labels of their inverse methods.
#pragma once

#include <cstdint>
#include <string_view>

#include "directives/directives.h"

namespace kve {

// What a logical line of the directive file is. The order number of a keyword is its identity in
// all tables and messages.
enum class Keyword : int32_t {
    end_of_file = -1,
    text = 0,  // a line that is no keyword line
    COMMENT,
    ANALYSE,
    DATA,
    VARIABLE,
    MODEL,
    REDUCE,
    VAR_STR,
    PRIOR,
    OLDSOL,
    FINFO,
    KVE4,
    KVE5,
    KVEAI,
    KVEMGP,
    KVEGS,
    MIXTURE,
    VAR_REST,
    GLMM,
    CURE,
    RESIDUALS,
    TD_PTD,
    GLMM_PRED,
    SOL_COV,
    CENS,
};
inline constexpr int32_t kKeywords = 24;

constexpr Keyword keyword_number(int32_t number) { return static_cast<Keyword>(number); }

// Name without "$"; empty for what is no keyword. The other way, `text` for an unknown name.
std::string_view keyword_name(Keyword keyword);
Keyword keyword_of(std::string_view name);

inline constexpr int32_t kMostTasks = 12;
inline constexpr int32_t kMostMethods = 100;  // also of the structures

// Labels, empty where there is no such task or method, for any number.
std::string_view task_label(int32_t task);
std::string_view method_label(int32_t task, int32_t method);

inline bool task_is_legal(int32_t task) { return !task_label(task).empty(); }
inline bool method_is_legal(int32_t task, int32_t method) {
    return !method_label(task, method).empty();
}

inline constexpr int32_t kStructures = 7;

// Name of a structure, empty for `unknown`. The other way, `unknown` for what $VAR_STR does not
// know, "I" included.
std::string_view structure_name(Structure structure);
Structure structure_of(std::string_view name);

// Label of an inverse method, empty where there is none. Labels serve messages only: a method
// without a label may be legal.
std::string_view structure_method_label(Structure structure, int32_t method);

}  // namespace kve
