// What the looks of a check share. They run in the process in which KVE1's stages have run, after
// them: the tables in kve::state are what KVE1 has understood.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "kve/check/directive_text.h"
#include "kve/check/findings.h"
#include "kve/check/reading.h"

namespace kve::companion {

struct Look {
    const DirectiveText& text;
    const Reading& reading;
    std::string inputs;  // folder in which they lie
    bool fast;           // the first kFastLines of each file only
    Findings& findings;
};
inline constexpr int64_t kFastLines = 100'000;

// Where a line of the model, of $REDUCE or of the priors stands: in the directive file, or in the
// file that it names; with the column of a word.
Place place_in_model(const Look& look, int64_t line, std::string_view word = {});
Place place_in_reduce(const Look& look, int64_t line, std::string_view word = {});
Place place_in_priors(const Look& look, int64_t line, std::string_view word = {});

// A line of the priors as it stands, empty behind their end.
std::string prior_line(const Look& look, int64_t line);

// The words of KVE1 that told a fault, with the place and in better words where they are known. A
// step that has stopped gives an error at least.
void tell_what_was_said(Look& look);

// After a fault that ends the reading of the directive file: its text without that fault, so that
// the rest can be read. Nothing when there is no such fault, or no way to mend it.
std::optional<std::string> mend(const Look& look);

void look_at_outputs(Look& look);     // that would not be made in the user's folder
void look_at_directives(Look& look);  // what the text says and the reader does not mind
void look_at_model(Look& look);       // counts, columns, names
void look_at_priors(Look& look);

// The model as KVE1 understands it: for people, one formula a trait and one line a random factor;
// for programs.
std::string model_as_text(const Look& look);
nlohmann::json model_as_json(const Look& look);

}  // namespace kve::companion
